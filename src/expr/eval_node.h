// The nodes of a bound expression.
#ifndef OSTRANE_EXPR_EVAL_NODE_H_
#define OSTRANE_EXPR_EVAL_NODE_H_

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "expr/bound_filter.h"
#include "expr/eval_value.h"

namespace google {
namespace protobuf {
class Reflection;
}  // namespace protobuf
}  // namespace google

namespace OstraneCommon {

// Reads the elements of one repeated field. Scalars and texts come straight from their container.
//
// The elements of a map are asked of the reflection one by one: its container may move whenever
// somebody reads the map as a map.
class ArrayReader {
public:
    void Open(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field);
    int Count() const { return m_count; }
    // Element i as a value; `scratch` keeps a text that the message does not keep as one. Not for messages.
    void Get(int i, std::list<std::string>& scratch, Value& out) const;
    const google::protobuf::Message& GetMessage(int i) const;
    // The elements in a row, as the field's C++ type; null for enums, texts and messages.
    const void* Scalars() const { return m_scalars; }

private:
    const google::protobuf::Message* m_message = nullptr;
    const google::protobuf::FieldDescriptor* m_field = nullptr;
    const google::protobuf::Reflection* m_reflection = nullptr;
    const void* m_scalars = nullptr;    // const T*
    const void* m_container = nullptr;  // const RepeatedPtrField<std::string or Message>*
    int m_count = 0;
};

// One evaluation, or a run of evaluations over the elements of an array.
struct EvalContext {
    ExprRow row;
    const ArrayReader* selfReader = nullptr;  // of the array that is searched, which row.index is in
    // Of row.element, when every element has the same; asking each one costs more than reading it.
    const google::protobuf::Reflection* elementReflection = nullptr;
    ExprError* error = nullptr;
    std::list<std::string> scratch;  // texts that no message keeps; dropped with every element
    // Values that do not change from element to element, by slot; empty outside a search.
    struct CachedValue {
        bool isKnown = false;
        Value value;
    };
    std::vector<CachedValue> cache;
};

// What a search can do for 64 elements at a time: comparisons of `$`, a number, with constants, and the
// connectives of such comparisons.
class MaskNode {
public:
    virtual ~MaskNode() = default;
    // Bit i tells of element begin + i, i < count <= 64, of the row that `scalars` points to.
    virtual uint64_t Mask(const void* scalars, int begin, int count) const = 0;
};

using MaskPtr = std::unique_ptr<MaskNode>;

class BoundNode {
public:
    virtual ~BoundNode() = default;
    // Returns 0, or a negative code with the reason in context.error.
    virtual int Eval(EvalContext& context, Value& out) const = 0;
    // Not null when the value is known already.
    virtual const Value* Constant() const { return nullptr; }
    // Whether this is the element of the searched array itself.
    virtual bool IsSelfElement() const { return false; }
    // The condition as masks over the elements of `self`, or null when it is more than masks can do.
    virtual MaskPtr ToMask(const google::protobuf::FieldDescriptor* /*self*/) const { return nullptr; }

    ValueType type;
    int32_t offset = 0;
    bool readsElement = false;
    bool readsRecord = false;
    bool isFloatField = false;    // constants that it is compared with are rounded to float
    bool tracksPresence = false;  // IS NULL may be asked of it, even where a default stands in
};

using NodePtr = std::unique_ptr<BoundNode>;

class ConstantNode : public BoundNode {
public:
    explicit ConstantNode(const Value& value) : m_value(value) {}
    int Eval(EvalContext& /*context*/, Value& out) const override {
        out = m_value;
        return 0;
    }
    const Value* Constant() const override { return &m_value; }

    bool isLiteral = false;  // a literal or a parameter, rather than a field's value or a computed one
    bool isBase64 = false;   // where bytes are wanted, the text stands for the bytes that it encodes

private:
    Value m_value;
};

// A repeated field or a map: not a value, but something to count and to search.
class ListNode : public BoundNode {
public:
    int Eval(EvalContext& context, Value& out) const override;
    // Opens the field; `isNull` when it lies inside an unset message.
    virtual int Open(EvalContext& context, ArrayReader& reader, bool& isNull) const = 0;
    // The field whose elements are read.
    virtual const google::protobuf::FieldDescriptor* Field() const = 0;
};

// A list whose elements are known: of a parameter, or read through a resolver. A map is only counted.
class ConstantListNode : public BoundNode {
public:
    int Eval(EvalContext& context, Value& out) const override;
    std::vector<NodePtr> items;  // none of a map
    int64_t count = 0;
};

// An item of IN that is known only when it is read.
struct InItem {
    enum class Kind {
        Plain,        // a value
        Truth,        // the finished comparison of the value with the item
        ValueIsEnum,  // the item is the name of a value of enumType
        ItemIsEnum,   // the value is the name of a value of enumType
    };
    Kind kind = Kind::Plain;
    NodePtr node;
    const google::protobuf::EnumDescriptor* enumType = nullptr;
};

// Whether `name` names `number`; NULL when one of them is. A number may have several names.
Value IsEnumName(const google::protobuf::EnumDescriptor* enumType, const Value& number, const Value& name);

// Fails with COMMON_ERR_INVALID_EXPR_TYPE.
int FailEval(EvalContext& context, int32_t offset, const char* reason);

// Whether the message field is set; of one that tracks no presence always.
bool TracksPresence(const google::protobuf::FieldDescriptor* field);

// What a value of this field is, leaving aside that it is repeated.
ValueType TypeOfElement(const google::protobuf::FieldDescriptor* field);

// The singular field's value, its default when it is unset.
void ReadSingular(const google::protobuf::Reflection& reflection, const google::protobuf::Message& message,
                  const google::protobuf::FieldDescriptor* field, std::list<std::string>& scratch, Value& out);

// Makes the nodes of operators. Operands are of fitting types.
NodePtr MakeComparison(ExprType op, NodePtr left, NodePtr right);
// The same of one integer field of a message with an integer; null when these are something else.
NodePtr MakeFieldComparison(ExprType op, const BoundNode& field, const Value& constant);
// The names of an enum's values against a text that is known only when it is read.
NodePtr MakeEnumNameComparison(ExprType op, NodePtr enumNode, NodePtr text);
NodePtr MakeBetween(NodePtr value, NodePtr low, NodePtr high);
NodePtr MakeConnective(ExprType op, std::vector<NodePtr> operands);  // EXPR_AND, EXPR_OR
NodePtr MakeNot(NodePtr operand);
NodePtr MakeArithmetic(ExprType op, NodePtr left, NodePtr right);
NodePtr MakeUnary(ExprType op, NodePtr operand);  // EXPR_OP_SUB, EXPR_BITWISE_NOT
NodePtr MakeIsNull(NodePtr operand);
NodePtr MakeCoalesce(std::vector<NodePtr> operands);
NodePtr MakeLike(NodePtr subject, NodePtr pattern);
NodePtr MakeSubstring(NodePtr text, NodePtr part);
NodePtr MakeSize(NodePtr operand);
// value = one of the items: of the constants, none of which is NULL, or of the others.
NodePtr MakeIn(NodePtr value, std::vector<Value> constants, bool hasNull, std::vector<InItem> items);
// value = one of the field's elements; an enum's names are settled.
NodePtr MakeInField(NodePtr value, NodePtr list);
// Evaluates once a search what does not depend on the element.
NodePtr MakeCached(NodePtr operand, size_t slot);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_EVAL_NODE_H_
