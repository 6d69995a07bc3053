// Paths bound to a message type.
#ifndef OSTRANE_EXPR_EVAL_PATH_H_
#define OSTRANE_EXPR_EVAL_PATH_H_

#include <memory>
#include <string>
#include <vector>

#include "expr/eval_node.h"

namespace OstraneCommon {

// Where a path starts.
enum class PathStart {
    Record,   // the record's message
    Element,  // the message whose fields bare names are
    Self,     // the message in the singular field `$`
};

// One step: a field, and which of its elements.
struct BoundStep {
    enum class Access { Whole, Index, Key };
    const google::protobuf::FieldDescriptor* field = nullptr;
    Access access = Access::Whole;
    int64_t index = 0;  // of Index; negative from the end
    Value key;          // of Key; its text lives in the program
};

// A field reached from a message: first the steps to the message that holds it, then the field itself.
struct BoundPath {
    PathStart start = PathStart::Record;
    const google::protobuf::FieldDescriptor* self = nullptr;  // of PathStart::Self
    std::vector<BoundStep> steps;                             // at least one
};

// The node of a path: a ListNode when the last step is a whole repeated field or map. One that asks for
// presence is NULL where nothing is set, default or not, and else not NULL.
NodePtr MakePath(BoundPath path, bool asksPresence);
// `$` where it is an element of a repeated field that holds no messages.
NodePtr MakeSelfElement(const google::protobuf::FieldDescriptor* self);
// `$` where it is the value of a singular field.
NodePtr MakeSelfField(const google::protobuf::FieldDescriptor* self, bool asksPresence);
// A whole message that is always there: `$` of message elements, `$$`.
NodePtr MakeWholeMessage(bool isRecord, const google::protobuf::Descriptor* type);

// The message that holds the last step's field, from the start message on; null when something on the way is
// unset or missing.
const google::protobuf::Message* FindHolder(const google::protobuf::Message& start, const BoundPath& path);
// The entry with this key, or null. The last one counts, as on the wire.
const google::protobuf::Message* FindMapEntry(const google::protobuf::Message& message,
                                              const google::protobuf::FieldDescriptor* field, const Value& key);
// The element at `index`, negative from the end; -1 when there is none.
int FindElement(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field,
                int64_t index);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_EVAL_PATH_H_
