// Undoing a list of statements: a record's fields as they were before the first change of each.
#ifndef OSTRANE_RECORD_RECORD_ROLLBACK_H_
#define OSTRANE_RECORD_RECORD_ROLLBACK_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <vector>

namespace OstraneRecord {

// A statement changes what lies in one field of the record, and perhaps the other members of its oneof. That
// alone is copied, so that a list costs what it changes and not what the record holds. Beside a map, and a number
// without presence that may be minus zero, the whole record is.
class RecordRollback {
public:
    explicit RecordRollback(google::protobuf::Message* message) : m_message(message) {}

    // Copies what is in `field`, one of the message itself, before a change. Once it is kept, nothing is done.
    void Keep(const google::protobuf::FieldDescriptor* field);

    // Gives everything kept back to the message, once.
    void Restore();

private:
    bool IsKept(const google::protobuf::FieldDescriptor* field) const;
    void KeepWhole();

    google::protobuf::Message* m_message;
    std::unique_ptr<google::protobuf::Message> m_copy;
    std::vector<const google::protobuf::FieldDescriptor*> m_fields;
    bool m_isWhole = false;  // m_copy is the whole message
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_RECORD_ROLLBACK_H_
