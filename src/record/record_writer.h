// Writing the values of a statement into a record, after every check has passed.
#ifndef OSTRANE_RECORD_RECORD_WRITER_H_
#define OSTRANE_RECORD_RECORD_WRITER_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "record/compiled_statements.h"
#include "record/record_location.h"

namespace OstraneRecord {

// The values of one statement for one target: constants of the plan, parameters, and what was calculated.
class ResolvedValues {
public:
    ResolvedValues(const PlanParameters& parameters, const std::vector<FieldValue>& computed)
        : m_parameters(parameters), m_computed(computed) {}

    const PlanParameters& Parameters() const { return m_parameters; }
    // A parameter without a value yet counts as not null.
    bool IsNull(const ValueNode& node) const;
    // Of a node that is one value and no message.
    const FieldValue& Value(const ValueNode& node) const;
    // Of a node that stands for several elements: how many there are, and one that is no message.
    size_t ListSize(const ValueNode& node) const;
    const FieldValue& ListValue(const ValueNode& node, size_t i) const;

private:
    const PlanParameters& m_parameters;
    const std::vector<FieldValue>& m_computed;
};

// What a message literal would leave without its required fields: the names, separated by commas, with the
// type in front; empty when nothing. `existing` is the message that it changes, null when it makes one.
std::string MissingRequired(const google::protobuf::Message* existing, const ValueNode& literal,
                            const google::protobuf::Descriptor* type, const ResolvedValues& values);

// The same for the items of a list, each of which makes a message, and for the entries of a map, which
// change the one that `holder`'s map has, or make one. `holder` may be null.
std::string MissingRequiredItems(const google::protobuf::Message* holder, const ValueNode& literal,
                                 const ResolvedValues& values);

// The same for a message of `type` that is made with `only` set and nothing else.
std::string MissingRequired(const google::protobuf::Descriptor* type, const google::protobuf::FieldDescriptor* only);

// Makes the trees of what every execution pushes or sets alike. `out` holds the parameters.
void PrepareTrees(const CompiledStatements& compiled, BoundValues& out);

class RecordWriter {
public:
    explicit RecordWriter(ProtobufRecord& record) : m_util(record) {}

    // Changes the members that a message literal names; gives a field what the node says, null clearing it.
    void ApplyMessage(google::protobuf::Message* message, const ValueNode& literal, const ResolvedValues& values);
    void ApplyField(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
                    const ValueNode& node, const ResolvedValues& values);

    // The following return 0 or the code of the field operation beneath, which checked arguments leave no
    // reason to fail.

    // Overwrites one element, or changes the members of one that is a message.
    int SetElement(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int index,
                   const ValueNode& node, const ResolvedValues& values);
    int SetElement(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int index,
                   const FieldValue& value);
    // Inserts the elements before `pos`, 0 .. size, in the order written.
    int Push(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int pos,
             const ValueNode& node, const ResolvedValues& values);
    int PushOne(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int pos,
                const FieldValue& value);
    // Inserts a whole message, which is consumed.
    int PushMessage(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int pos,
                    google::protobuf::Message* element);
    // Inserts all elements of `from`'s repeated field `source`, which is consumed.
    int PushRun(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int pos,
                google::protobuf::Message* from, const google::protobuf::FieldDescriptor* source);
    // Removes, of the `size` elements, those at the ascending positions.
    int Remove(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int size,
               const std::vector<int32_t>& positions);

    ProtobufRecordUtil& Util() { return m_util; }

private:
    void ApplyEntries(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* map,
                      const ValueNode& node, const ResolvedValues& values);
    void AddElements(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
                     const ValueNode& node, const ResolvedValues& values);
    int PushFlat(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field, int pos,
                 const ValueNode& literal, const ResolvedValues& values, bool isSet);

    ProtobufRecordUtil m_util;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_RECORD_WRITER_H_
