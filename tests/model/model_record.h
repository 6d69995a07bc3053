// A record as plain data: what the reference works on and what a message is read into, to compare both.
//
//   fields.Fields {many_int32: [1, 2] child: {one_string: "x"}}
//     -> Node{type Fields, values {22: ["1", "2"], 41: [Node{...}]}}
#ifndef OSTRANE_TESTS_MODEL_MODEL_RECORD_H_
#define OSTRANE_TESTS_MODEL_MODEL_RECORD_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace model {

struct Node;

// One value of a field. Numbers, bool and enum numbers are kept as decimal text, floating point as its
// hexadecimal text; a message is a node, and copies of the value share it.
struct Value {
    std::string text;
    std::shared_ptr<Node> node;
};
using Values = std::vector<Value>;

// A message. A field that is empty or unset has no entry; the entry of a map has always its key and value.
struct Node {
    explicit Node(const google::protobuf::Descriptor* itsType) : type(itsType) {}

    const google::protobuf::Descriptor* type;
    // By field number; under 0, as the bytes that they are written as, the fields that the type does not know.
    std::map<int, Values> fields;

    const Values& Of(const google::protobuf::FieldDescriptor* field) const;
    int Size(const google::protobuf::FieldDescriptor* field) const { return static_cast<int>(Of(field).size()); }
    bool Has(const google::protobuf::FieldDescriptor* field) const { return !Of(field).empty(); }
    // Forgets the entry when nothing is left.
    void Put(const google::protobuf::FieldDescriptor* field, Values values);
    // As a setter does: a oneof's other members leave, a default is no value where there is no presence.
    void PutSingular(const google::protobuf::FieldDescriptor* field, const std::string& text);
    void Clear();
};

std::string TextOf(bool value);
std::string TextOf(int32_t value);
std::string TextOf(int64_t value);
std::string TextOf(uint32_t value);
std::string TextOf(uint64_t value);
std::string TextOf(double value);

// What an element of a field holds that got no value: 0, false, "", the first enum value, an empty message.
Value Blank(const google::protobuf::FieldDescriptor* field);
std::shared_ptr<Node> NewNode(const google::protobuf::Descriptor* type);
std::shared_ptr<Node> DeepCopy(const Node& node);
Value DeepCopy(const Value& value);
// Whether `inner` is `outer` or lies in it.
bool IsInside(const Node* inner, const Node& outer);
bool HasAllRequired(const Node& node);
// Whether two entries of one map have one key, at any depth. Such a map has no defined content.
bool HasDoubleKeys(const Node& node);
size_t CountNodes(const Node& node);

// The message, by the getters of its reflection.
std::shared_ptr<Node> Read(const google::protobuf::Message& message);
// Both printed with maps sorted: equal records have equal texts.
std::string Print(const Node& node);

}  // namespace model

#endif  // OSTRANE_TESTS_MODEL_MODEL_RECORD_H_
