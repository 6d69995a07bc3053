// The operators. Types were checked when the nodes were made; what is left here is NULL, which comes out
// of an operator as SQL has it, and the two errors of arithmetic.
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <utility>

#include "common/err_code.h"
#include "expr/eval_mask.h"
#include "expr/eval_node.h"
#include "expr/like_pattern.h"

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;

int FailEval(EvalContext& context, int32_t offset, const char* reason) {
    if (context.error != nullptr) {
        context.error->code = OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
        context.error->offset = static_cast<size_t>(std::max(offset, 0));
        context.error->length = 1;
        context.error->message = reason;
    }
    return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
}

int ListNode::Eval(EvalContext& context, Value& /*out*/) const {
    return FailEval(context, offset, "a repeated field is no value");
}

int ConstantListNode::Eval(EvalContext& context, Value& /*out*/) const {
    return FailEval(context, offset, "a list is no value");
}

Value IsEnumName(const google::protobuf::EnumDescriptor* enumType, const Value& number, const Value& name) {
    if (number.IsNull() || name.IsNull()) {
        return Value::Null();
    }
    const google::protobuf::EnumValueDescriptor* const value =
        enumType->FindValueByName(std::string(name.text, name.size));
    return Value::Bool(value != nullptr && number.tag == Value::Tag::Int && value->number() == number.int64);
}

namespace {

// Takes over what a node has from its operands.
void Adopt(BoundNode& node, const BoundNode& operand) {
    node.readsElement = node.readsElement || operand.readsElement;
    node.readsRecord = node.readsRecord || operand.readsRecord;
    node.type.mayBeNull = node.type.mayBeNull || operand.type.mayBeNull;
    node.tracksPresence = node.type.mayBeNull;
}

// NULL, true or false from two comparisons that must both hold.
Value Both(const Value& a, const Value& b) {
    if (a.IsFalse() || b.IsFalse()) {
        return Value::Bool(false);
    }
    return a.IsNull() || b.IsNull() ? Value::Null() : Value::Bool(true);
}

class ComparisonNode : public BoundNode {
public:
    ComparisonNode(ExprType op, NodePtr left, NodePtr right)
        : m_op(op), m_left(std::move(left)), m_right(std::move(right)) {
        type.kind = ValueKind::Bool;
        Adopt(*this, *m_left);
        Adopt(*this, *m_right);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value left;
        const int ret = m_left->Eval(context, left);
        if (ret != 0) {
            return ret;
        }
        if (m_right->Constant() != nullptr) {
            out = Compare(m_op, left, *m_right->Constant());
            return 0;
        }
        Value right;
        const int retRight = m_right->Eval(context, right);
        if (retRight != 0) {
            return retRight;
        }
        out = Compare(m_op, left, right);
        return 0;
    }

    MaskPtr ToMask(const FieldDescriptor* self) const override {
        if (m_left->IsSelfElement() && m_right->Constant() != nullptr) {
            return MakeComparisonMask(m_op, *m_right->Constant(), self);
        }
        if (m_right->IsSelfElement() && m_left->Constant() != nullptr) {
            return MakeComparisonMask(Mirrored(m_op), *m_left->Constant(), self);
        }
        return nullptr;
    }

private:
    static ExprType Mirrored(ExprType op) {
        switch (op) {
            case EXPR_COMPARE_LT:
                return EXPR_COMPARE_GT;
            case EXPR_COMPARE_LE:
                return EXPR_COMPARE_GE;
            case EXPR_COMPARE_GT:
                return EXPR_COMPARE_LT;
            case EXPR_COMPARE_GE:
                return EXPR_COMPARE_LE;
            default:
                return op;
        }
    }

    const ExprType m_op;
    const NodePtr m_left;
    const NodePtr m_right;
};

class EnumNameNode : public BoundNode {
public:
    EnumNameNode(ExprType op, NodePtr enumNode, NodePtr text)
        : m_op(op), m_enum(std::move(enumNode)), m_text(std::move(text)), m_enumType(m_enum->type.enumType) {
        type.kind = ValueKind::Bool;
        Adopt(*this, *m_enum);
        Adopt(*this, *m_text);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value number;
        Value text;
        int ret = m_enum->Eval(context, number);
        if (ret == 0) {
            ret = m_text->Eval(context, text);
        }
        if (ret != 0) {
            return ret;
        }
        out = IsEnumName(m_enumType, number, text);
        if (m_op == EXPR_COMPARE_NE && !out.IsNull()) {
            out.boolean = !out.boolean;
        }
        return 0;
    }

private:
    const ExprType m_op;
    const NodePtr m_enum;
    const NodePtr m_text;
    const google::protobuf::EnumDescriptor* const m_enumType;
};

class BetweenNode : public BoundNode {
public:
    BetweenNode(NodePtr value, NodePtr low, NodePtr high)
        : m_value(std::move(value)), m_low(std::move(low)), m_high(std::move(high)) {
        type.kind = ValueKind::Bool;
        Adopt(*this, *m_value);
        Adopt(*this, *m_low);
        Adopt(*this, *m_high);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value value;
        Value low;
        Value high;
        int ret = m_value->Eval(context, value);
        if (ret == 0) {
            ret = m_low->Eval(context, low);
        }
        if (ret == 0) {
            ret = m_high->Eval(context, high);
        }
        if (ret != 0) {
            return ret;
        }
        out = Both(Compare(EXPR_COMPARE_GE, value, low), Compare(EXPR_COMPARE_LE, value, high));
        return 0;
    }

    MaskPtr ToMask(const FieldDescriptor* self) const override {
        if (!m_value->IsSelfElement() || m_low->Constant() == nullptr || m_high->Constant() == nullptr) {
            return nullptr;
        }
        std::vector<MaskPtr> masks;
        masks.push_back(MakeComparisonMask(EXPR_COMPARE_GE, *m_low->Constant(), self));
        masks.push_back(MakeComparisonMask(EXPR_COMPARE_LE, *m_high->Constant(), self));
        return MakeConnectiveMask(EXPR_AND, std::move(masks));
    }

private:
    const NodePtr m_value;
    const NodePtr m_low;
    const NodePtr m_high;
};

class ConnectiveNode : public BoundNode {
public:
    ConnectiveNode(ExprType op, std::vector<NodePtr> operands) : m_op(op), m_operands(std::move(operands)) {
        type.kind = ValueKind::Bool;
        for (const NodePtr& operand : m_operands) {
            Adopt(*this, *operand);
        }
    }

    int Eval(EvalContext& context, Value& out) const override {
        // What decides alone: false for AND, true for OR.
        const bool deciding = m_op == EXPR_OR;
        bool hasNull = false;
        for (const NodePtr& operand : m_operands) {
            Value value;
            const int ret = operand->Eval(context, value);
            if (ret != 0) {
                return ret;
            }
            if (value.IsNull()) {
                hasNull = true;
            } else if (value.boolean == deciding) {
                out = value;
                return 0;
            }
        }
        out = hasNull ? Value::Null() : Value::Bool(!deciding);
        return 0;
    }

    MaskPtr ToMask(const FieldDescriptor* self) const override {
        std::vector<MaskPtr> masks;
        for (const NodePtr& operand : m_operands) {
            masks.push_back(operand->ToMask(self));
            if (masks.back() == nullptr) {
                return nullptr;
            }
        }
        return MakeConnectiveMask(m_op, std::move(masks));
    }

private:
    const ExprType m_op;
    const std::vector<NodePtr> m_operands;
};

// A node with one operand: what it makes of the operand's value is its subclass's.
class UnaryNode : public BoundNode {
public:
    UnaryNode(NodePtr operand, ValueKind kind) : m_operand(std::move(operand)) {
        type.kind = kind;
        Adopt(*this, *m_operand);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value value;
        const int ret = m_operand->Eval(context, value);
        return ret != 0 ? ret : Apply(context, value, out);
    }

protected:
    virtual int Apply(EvalContext& context, const Value& value, Value& out) const = 0;

    const NodePtr m_operand;
};

class NotNode : public UnaryNode {
public:
    explicit NotNode(NodePtr operand) : UnaryNode(std::move(operand), ValueKind::Bool) {}

    MaskPtr ToMask(const FieldDescriptor* self) const override { return MakeNotMask(m_operand->ToMask(self)); }

protected:
    int Apply(EvalContext& /*context*/, const Value& value, Value& out) const override {
        out = value.IsNull() ? value : Value::Bool(!value.boolean);
        return 0;
    }
};

class IsNullNode : public UnaryNode {
public:
    explicit IsNullNode(NodePtr operand) : UnaryNode(std::move(operand), ValueKind::Bool) {
        type.mayBeNull = false;
        tracksPresence = false;
    }

protected:
    int Apply(EvalContext& /*context*/, const Value& value, Value& out) const override {
        out = Value::Bool(value.IsNull());
        return 0;
    }
};

class SignNode : public UnaryNode {
public:
    SignNode(ExprType op, NodePtr operand) : UnaryNode(std::move(operand), ValueKind::Null), m_op(op) {
        type.kind = m_operand->type.kind;
    }

protected:
    int Apply(EvalContext& context, const Value& value, Value& out) const override {
        const char* const reason = m_op == EXPR_OP_SUB ? Negate(value, out) : Complement(value, out);
        return reason == nullptr ? 0 : FailEval(context, offset, reason);
    }

private:
    const ExprType m_op;
};

class ArithmeticNode : public BoundNode {
public:
    ArithmeticNode(ExprType op, NodePtr left, NodePtr right)
        : m_op(op), m_left(std::move(left)), m_right(std::move(right)) {
        const bool isDouble = m_left->type.kind == ValueKind::Double || m_right->type.kind == ValueKind::Double;
        type.kind = isDouble ? ValueKind::Double : ValueKind::Integer;
        Adopt(*this, *m_left);
        Adopt(*this, *m_right);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value left;
        Value right;
        int ret = m_left->Eval(context, left);
        if (ret == 0) {
            ret = m_right->Eval(context, right);
        }
        if (ret != 0) {
            return ret;
        }
        const char* const reason = Arithmetic(m_op, left, right, out);
        return reason == nullptr ? 0 : FailEval(context, offset, reason);
    }

private:
    const ExprType m_op;
    const NodePtr m_left;
    const NodePtr m_right;
};

class CoalesceNode : public BoundNode {
public:
    explicit CoalesceNode(std::vector<NodePtr> operands) : m_operands(std::move(operands)) {
        bool mayBeNull = true;
        for (const NodePtr& operand : m_operands) {
            Adopt(*this, *operand);
            mayBeNull = mayBeNull && operand->type.mayBeNull;
        }
        type.mayBeNull = mayBeNull;
        tracksPresence = mayBeNull;
    }

    int Eval(EvalContext& context, Value& out) const override {
        out = Value::Null();
        for (const NodePtr& operand : m_operands) {
            const int ret = operand->Eval(context, out);
            if (ret != 0 || !out.IsNull()) {
                return ret;
            }
        }
        return 0;
    }

private:
    const std::vector<NodePtr> m_operands;
};

class LikeNode : public BoundNode {
public:
    LikeNode(NodePtr subject, NodePtr pattern)
        : m_subject(std::move(subject)),
          m_patternNode(std::move(pattern)),
          m_isBytes(m_subject->type.kind == ValueKind::Bytes) {
        type.kind = ValueKind::Bool;
        Adopt(*this, *m_subject);
        Adopt(*this, *m_patternNode);
        const Value* const constant = m_patternNode->Constant();
        if (constant != nullptr && constant->IsText()) {
            m_isReady = m_pattern.Compile(constant->text, constant->size, m_isBytes);
        }
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value subject;
        int ret = m_subject->Eval(context, subject);
        if (ret != 0) {
            return ret;
        }
        if (m_isReady) {
            out = subject.IsNull() ? subject : Value::Bool(m_pattern.Matches(subject.text, subject.size));
            return 0;
        }
        Value text;
        ret = m_patternNode->Eval(context, text);
        if (ret != 0) {
            return ret;
        }
        if (subject.IsNull() || text.IsNull()) {
            out = Value::Null();
            return 0;
        }
        LikePattern pattern;
        if (!pattern.Compile(text.text, text.size, m_isBytes)) {
            return FailEval(context, offset, "the pattern ends in a lone backslash");
        }
        out = Value::Bool(pattern.Matches(subject.text, subject.size));
        return 0;
    }

private:
    const NodePtr m_subject;
    const NodePtr m_patternNode;
    const bool m_isBytes;
    LikePattern m_pattern;
    bool m_isReady = false;  // m_pattern is made of a constant
};

class SubstringNode : public BoundNode {
public:
    SubstringNode(NodePtr text, NodePtr part) : m_text(std::move(text)), m_part(std::move(part)) {
        type.kind = ValueKind::Bool;
        Adopt(*this, *m_text);
        Adopt(*this, *m_part);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value text;
        Value part;
        int ret = m_text->Eval(context, text);
        if (ret == 0) {
            ret = m_part->Eval(context, part);
        }
        if (ret != 0) {
            return ret;
        }
        if (text.IsNull() || part.IsNull()) {
            out = Value::Null();
            return 0;
        }
        out = Value::Bool(HasSubstring(text.text, text.size, part.text, part.size));
        return 0;
    }

private:
    const NodePtr m_text;
    const NodePtr m_part;
};

class SizeNode : public BoundNode {
public:
    explicit SizeNode(NodePtr operand) : m_operand(std::move(operand)) {
        Adopt(*this, *m_operand);
        type.kind = ValueKind::Integer;
    }

    int Eval(EvalContext& context, Value& out) const override {
        if (m_operand->type.kind == ValueKind::List || m_operand->type.kind == ValueKind::Map) {
            ArrayReader reader;
            bool isNull = false;
            const int ret = static_cast<const ListNode&>(*m_operand).Open(context, reader, isNull);
            out = isNull ? Value::Null() : Value::Int(reader.Count());
            return ret;
        }
        Value text;
        const int ret = m_operand->Eval(context, text);
        if (ret != 0) {
            return ret;
        }
        if (text.IsNull()) {
            out = text;
            return 0;
        }
        const size_t size = text.tag == Value::Tag::Bytes ? text.size : CountCodePoints(text.text, text.size);
        out = Value::UInt(size);
        return 0;
    }

private:
    const NodePtr m_operand;
};

class CachedNode : public BoundNode {
public:
    CachedNode(NodePtr operand, size_t slot) : m_operand(std::move(operand)), m_slot(slot) {
        type = m_operand->type;
        offset = m_operand->offset;
        readsRecord = m_operand->readsRecord;
        isFloatField = m_operand->isFloatField;
        tracksPresence = m_operand->tracksPresence;
    }

    int Eval(EvalContext& context, Value& out) const override {
        if (m_slot >= context.cache.size()) {
            return m_operand->Eval(context, out);
        }
        EvalContext::CachedValue& cached = context.cache[m_slot];
        if (!cached.isKnown) {
            const int ret = m_operand->Eval(context, cached.value);
            if (ret != 0) {
                return ret;
            }
            cached.isKnown = true;
        }
        out = cached.value;
        return 0;
    }

private:
    const NodePtr m_operand;
    const size_t m_slot;
};

}  // namespace

NodePtr MakeComparison(ExprType op, NodePtr left, NodePtr right) {
    NodePtr ofField = right->Constant() == nullptr ? nullptr : MakeFieldComparison(op, *left, *right->Constant());
    if (ofField != nullptr) {
        return ofField;
    }
    return std::make_unique<ComparisonNode>(op, std::move(left), std::move(right));
}

NodePtr MakeEnumNameComparison(ExprType op, NodePtr enumNode, NodePtr text) {
    return std::make_unique<EnumNameNode>(op, std::move(enumNode), std::move(text));
}

NodePtr MakeBetween(NodePtr value, NodePtr low, NodePtr high) {
    return std::make_unique<BetweenNode>(std::move(value), std::move(low), std::move(high));
}

NodePtr MakeConnective(ExprType op, std::vector<NodePtr> operands) {
    return std::make_unique<ConnectiveNode>(op, std::move(operands));
}

NodePtr MakeNot(NodePtr operand) {
    return std::make_unique<NotNode>(std::move(operand));
}

NodePtr MakeArithmetic(ExprType op, NodePtr left, NodePtr right) {
    return std::make_unique<ArithmeticNode>(op, std::move(left), std::move(right));
}

NodePtr MakeUnary(ExprType op, NodePtr operand) {
    return std::make_unique<SignNode>(op, std::move(operand));
}

NodePtr MakeIsNull(NodePtr operand) {
    return std::make_unique<IsNullNode>(std::move(operand));
}

NodePtr MakeCoalesce(std::vector<NodePtr> operands) {
    return std::make_unique<CoalesceNode>(std::move(operands));
}

NodePtr MakeLike(NodePtr subject, NodePtr pattern) {
    return std::make_unique<LikeNode>(std::move(subject), std::move(pattern));
}

NodePtr MakeSubstring(NodePtr text, NodePtr part) {
    return std::make_unique<SubstringNode>(std::move(text), std::move(part));
}

NodePtr MakeSize(NodePtr operand) {
    return std::make_unique<SizeNode>(std::move(operand));
}

NodePtr MakeCached(NodePtr operand, size_t slot) {
    return std::make_unique<CachedNode>(std::move(operand), slot);
}

}  // namespace OstraneCommon
