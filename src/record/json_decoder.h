// The decoder behind JsonToMessage. Its steps for messages, lists and maps are in json_decode.cpp, those for
// single values in json_decode_values.cpp.
#ifndef OSTRANE_RECORD_JSON_DECODER_H_
#define OSTRANE_RECORD_JSON_DECODER_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstddef>
#include <string>
#include <vector>

#include "record/json_cursor.h"
#include "record/json_well_known.h"

namespace OstraneRecord {

class JsonDecoder {
public:
    JsonDecoder(const char* json, size_t size) : m_cursor(json, size) {}

    bool ReadRecord(google::protobuf::Message& message) { return ReadMessage(message) && m_cursor.ExpectEnd(); }
    const JsonCursor& Cursor() const { return m_cursor; }
    const std::string& Hint() const { return m_hint; }
    const std::string& FieldName() const { return m_fieldName; }

private:
    // Which members of one object have been read.
    struct SeenMembers {
        explicit SeenMembers(const google::protobuf::Descriptor* type)
            : fields(static_cast<size_t>(type->field_count())), oneofs(static_cast<size_t>(type->oneof_decl_count())) {}
        std::vector<bool> fields;
        std::vector<bool> oneofs;
    };

    bool FailField(size_t offset, const google::protobuf::FieldDescriptor* field, const std::string& reason);
    bool Misfit(size_t offset, const google::protobuf::FieldDescriptor* field, const char* wanted,
                const std::string& found);

    bool ReadMessage(google::protobuf::Message& message);
    bool ReadMembers(google::protobuf::Message& message, bool isAnyContent);
    bool ReadMember(google::protobuf::Message& message, const std::string& name, size_t offset, SeenMembers& seen);
    const google::protobuf::FieldDescriptor* FindField(const google::protobuf::Descriptor* type,
                                                       const std::string& name, size_t offset);
    bool ReadField(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field);
    bool ReadArray(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field);
    bool ReadMap(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field);
    bool SetMapKey(google::protobuf::Message& entry, const google::protobuf::FieldDescriptor* field,
                   const std::string& text, size_t offset, std::string& canonical);
    bool ReadValue(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field);
    bool ReadInteger(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, size_t offset);
    bool ReadFloating(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, size_t offset);
    bool ReadBool(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, size_t offset);
    bool ReadText(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, size_t offset);
    bool ReadEnum(google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, size_t offset);
    bool ReadNumberText(const google::protobuf::FieldDescriptor* field, size_t offset, const char* wanted,
                        std::string& text);
    std::string ShowValue();
    bool ReadWellKnown(WellKnown kind, google::protobuf::Message& message);
    bool ReadDynamicValue(google::protobuf::Message& value);
    bool ReadAny(google::protobuf::Message& any);
    bool FindTypeUrl(std::string& url);

    JsonCursor m_cursor;
    int m_nesting = 0;
    std::string m_hint;
    std::string m_fieldName;
};

// The text, cut to what an error can show.
std::string ShortenForError(const std::string& text);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_DECODER_H_
