// A path is walked message by message; whatever is unset or missing on the way makes the whole NULL. The
// common case, one field of the message itself, has a node of its own that knows the field's type.
#include "expr/eval_path.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <utility>

#include "common/err_code.h"

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// How a singular field's absence reads.
bool ReadsAsNull(const FieldDescriptor* field) {
    return TracksPresence(field) && !field->has_default_value();
}

const Message* StartMessage(const EvalContext& context, PathStart start) {
    return start == PathStart::Record ? context.row.record : context.row.element;
}

void SetReads(BoundNode& node, PathStart start) {
    node.readsRecord = start == PathStart::Record;
    node.readsElement = start != PathStart::Record;
}

// What a name reads when the message that it starts at is null.
int ReadAbsent(EvalContext& context, int32_t offset, Value& out) {
    if (!context.row.isAbsentNull) {
        return FailEval(context, offset, "there is no message to read the name from");
    }
    out = Value::Null();
    return 0;
}

// Steps into the message that `step` names, or leaves null.
const Message* Enter(const Message& message, const BoundStep& step) {
    const Reflection* const reflection = message.GetReflection();
    if (step.access == BoundStep::Access::Whole) {
        return reflection->HasField(message, step.field) ? &reflection->GetMessage(message, step.field) : nullptr;
    }
    if (step.access == BoundStep::Access::Index) {
        const int index = FindElement(message, step.field, step.index);
        return index < 0 ? nullptr : &reflection->GetRepeatedMessage(message, step.field, index);
    }
    const Message* const entry = FindMapEntry(message, step.field, step.key);
    if (entry == nullptr) {
        return nullptr;
    }
    return &entry->GetReflection()->GetMessage(*entry, entry->GetDescriptor()->FindFieldByNumber(2));
}

const Message* Walk(const EvalContext& context, const BoundPath& path, bool& hasRow) {
    const Message* message = StartMessage(context, path.start);
    hasRow = true;
    if (path.start == PathStart::Self) {
        hasRow = context.row.owner != nullptr;
        if (!hasRow) {
            return nullptr;
        }
        const Reflection* const reflection = context.row.owner->GetReflection();
        if (!reflection->HasField(*context.row.owner, path.self)) {
            return nullptr;
        }
        message = &reflection->GetMessage(*context.row.owner, path.self);
    }
    hasRow = message != nullptr;
    return hasRow ? FindHolder(*message, path) : nullptr;
}

// Whether a field that reads as this value, and has no default of its own, can be unset. Asking a message
// costs as much as reading it, and mostly it need not be asked.
bool MayBeUnset(const Value& value, const FieldDescriptor* field) {
    switch (value.tag) {
        case Value::Tag::Bool:
            return !value.boolean;
        case Value::Tag::Int:
            // The first value of an enum need not be 0.
            return value.int64 == 0 || field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM;
        case Value::Tag::Double:
            return value.real == 0;
        case Value::Tag::Text:
        case Value::Tag::Bytes:
            return value.size == 0;
        default:
            return value.tag == Value::Tag::Null;
    }
}

// One singular field of the start message.
class DirectFieldNode : public BoundNode {
public:
    DirectFieldNode(PathStart start, const FieldDescriptor* field)
        : m_start(start), m_field(field), m_readsAsNull(ReadsAsNull(field)) {}

    int Eval(EvalContext& context, Value& out) const override {
        const Message* const message = StartMessage(context, m_start);
        if (message == nullptr) {
            return ReadAbsent(context, offset, out);
        }
        const Reflection* const reflection = ReflectionOf(context, *message);
        ReadSingular(*reflection, *message, m_field, context.scratch, out);
        if (m_readsAsNull && MayBeUnset(out, m_field) && !reflection->HasField(*message, m_field)) {
            out = Value::Null();
        }
        return 0;
    }

protected:
    const Reflection* ReflectionOf(const EvalContext& context, const Message& message) const {
        const bool isShared = m_start == PathStart::Element && context.elementReflection != nullptr;
        return isShared ? context.elementReflection : message.GetReflection();
    }

    const PathStart m_start;
    const FieldDescriptor* const m_field;
    const bool m_readsAsNull;

    friend NodePtr OstraneCommon::MakeFieldComparison(ExprType op, const BoundNode& field, const Value& constant);
};

// Such a field, an integer, compared with one: what most conditions over messages are made of.
template <typename T, T (Reflection::*GET)(const Message&, const FieldDescriptor*) const>
class IntFieldComparisonNode : public DirectFieldNode {
public:
    IntFieldComparisonNode(const DirectFieldNode& field, ExprType op, int64_t constant)
        : DirectFieldNode(field), m_op(op), m_constant(constant), m_fieldOffset(field.offset) {
        type.kind = ValueKind::Bool;
        isFloatField = false;
        tracksPresence = type.mayBeNull;
    }

    int Eval(EvalContext& context, Value& out) const override {
        const Message* const message = StartMessage(context, m_start);
        if (message == nullptr) {
            return ReadAbsent(context, m_fieldOffset, out);
        }
        const Reflection* const reflection = ReflectionOf(context, *message);
        const T value = (reflection->*GET)(*message, m_field);
        if (value == 0 && m_readsAsNull && !reflection->HasField(*message, m_field)) {
            out = Value::Null();
            return 0;
        }
        out.tag = Value::Tag::Bool;
        out.boolean = CompareInts(m_op, static_cast<int64_t>(value), m_constant);
        return 0;
    }

private:
    const ExprType m_op;
    const int64_t m_constant;
    const int32_t m_fieldOffset;
};

// Anything deeper that ends in a value.
class PathNode : public BoundNode {
public:
    explicit PathNode(BoundPath path) : m_path(std::move(path)) {}

    int Eval(EvalContext& context, Value& out) const override {
        bool hasRow = false;
        const Message* const message = Walk(context, m_path, hasRow);
        if (!hasRow) {
            return ReadAbsent(context, offset, out);
        }
        out = Value::Null();
        if (message != nullptr) {
            ReadLast(*message, m_path.steps.back(), context.scratch, out);
        }
        return 0;
    }

    // Reads what `step` names in `message`; leaves NULL when it is not there.
    static void ReadLast(const Message& message, const BoundStep& step, std::list<std::string>& scratch, Value& out) {
        if (step.access == BoundStep::Access::Index) {
            const int index = FindElement(message, step.field, step.index);
            if (index >= 0) {
                ArrayReader reader;
                reader.Open(message, step.field);
                reader.Get(index, scratch, out);
            }
            return;
        }
        if (step.access == BoundStep::Access::Key) {
            const Message* const entry = FindMapEntry(message, step.field, step.key);
            if (entry != nullptr) {
                ReadSingular(*entry->GetReflection(), *entry, entry->GetDescriptor()->FindFieldByNumber(2), scratch,
                             out);
            }
            return;
        }
        if (!ReadsAsNull(step.field) || message.GetReflection()->HasField(message, step.field)) {
            ReadSingular(*message.GetReflection(), message, step.field, scratch, out);
        }
    }

private:
    const BoundPath m_path;
};

// Whether something is there, true or NULL: the operand of IS NULL, where a default does not count, and
// whole messages, which have no value.
class PresenceNode : public BoundNode {
public:
    explicit PresenceNode(BoundPath path) : m_path(std::move(path)) {}

    int Eval(EvalContext& context, Value& out) const override {
        bool hasRow = false;
        const Message* const message = Walk(context, m_path, hasRow);
        if (!hasRow) {
            return ReadAbsent(context, offset, out);
        }
        out = message != nullptr && IsThere(*message) ? Value::Bool(true) : Value::Null();
        return 0;
    }

private:
    bool IsThere(const Message& message) const {
        const BoundStep& step = m_path.steps.back();
        if (step.access == BoundStep::Access::Index) {
            return FindElement(message, step.field, step.index) >= 0;
        }
        if (step.access == BoundStep::Access::Key) {
            return FindMapEntry(message, step.field, step.key) != nullptr;
        }
        return !TracksPresence(step.field) || message.GetReflection()->HasField(message, step.field);
    }

    const BoundPath m_path;
};

class PathListNode : public ListNode {
public:
    explicit PathListNode(BoundPath path) : m_path(std::move(path)) {}

    int Open(EvalContext& context, ArrayReader& reader, bool& isNull) const override {
        bool hasRow = false;
        const Message* const message = Walk(context, m_path, hasRow);
        if (!hasRow) {
            Value none;
            isNull = true;
            return ReadAbsent(context, offset, none);
        }
        isNull = message == nullptr;
        if (!isNull) {
            reader.Open(*message, m_path.steps.back().field);
        }
        return 0;
    }
    const FieldDescriptor* Field() const override { return m_path.steps.back().field; }

private:
    const BoundPath m_path;
};

class SelfElementNode : public BoundNode {
public:
    explicit SelfElementNode(const FieldDescriptor* self) : m_self(self) {}

    int Eval(EvalContext& context, Value& out) const override {
        if (context.selfReader != nullptr) {
            context.selfReader->Get(context.row.index, context.scratch, out);
            return 0;
        }
        if (context.row.owner == nullptr) {
            return ReadAbsent(context, offset, out);
        }
        const int index = FindElement(*context.row.owner, m_self, context.row.index);
        if (index < 0) {
            return FailEval(context, offset, "there is no such element");
        }
        ArrayReader reader;
        reader.Open(*context.row.owner, m_self);
        reader.Get(index, context.scratch, out);
        return 0;
    }

    bool IsSelfElement() const override { return true; }

private:
    const FieldDescriptor* const m_self;
};

class SelfFieldNode : public BoundNode {
public:
    SelfFieldNode(const FieldDescriptor* self, bool asksPresence)
        : m_self(self), m_asksPresence(asksPresence), m_readsAsNull(ReadsAsNull(self)) {}

    int Eval(EvalContext& context, Value& out) const override {
        const Message* const owner = context.row.owner;
        if (owner == nullptr) {
            return ReadAbsent(context, offset, out);
        }
        const bool asksField = m_asksPresence ? TracksPresence(m_self) : m_readsAsNull;
        if (asksField && !owner->GetReflection()->HasField(*owner, m_self)) {
            out = Value::Null();
            return 0;
        }
        if (m_asksPresence) {
            out = Value::Bool(true);
            return 0;
        }
        ReadSingular(*owner->GetReflection(), *owner, m_self, context.scratch, out);
        return 0;
    }

private:
    const FieldDescriptor* const m_self;
    const bool m_asksPresence;
    const bool m_readsAsNull;
};

class WholeMessageNode : public BoundNode {
public:
    int Eval(EvalContext& /*context*/, Value& out) const override {
        out = Value::Bool(true);
        return 0;
    }
};

}  // namespace

const Message* FindHolder(const Message& start, const BoundPath& path) {
    const Message* message = &start;
    for (size_t i = 0; i + 1 < path.steps.size() && message != nullptr; ++i) {
        message = Enter(*message, path.steps[i]);
    }
    return message;
}

const Message* FindMapEntry(const Message& message, const FieldDescriptor* field, const Value& key) {
    const Reflection* const reflection = message.GetReflection();
    const FieldDescriptor* const keyField = field->message_type()->FindFieldByNumber(1);
    std::list<std::string> scratch;
    for (int i = reflection->FieldSize(message, field) - 1; i >= 0; --i) {
        const Message& entry = reflection->GetRepeatedMessage(message, field, i);
        Value entryKey;
        ReadSingular(*entry.GetReflection(), entry, keyField, scratch, entryKey);
        if (CompareValues(entryKey, key) == Order::Equal) {
            return &entry;
        }
    }
    return nullptr;
}

int FindElement(const Message& message, const FieldDescriptor* field, int64_t index) {
    const int size = message.GetReflection()->FieldSize(message, field);
    const int64_t place = index < 0 ? index + size : index;
    return place < 0 || place >= size ? -1 : static_cast<int>(place);
}

NodePtr MakePath(BoundPath path, bool asksPresence) {
    // A copy: the path is moved into its node.
    const BoundStep last = path.steps.back();
    const PathStart start = path.start;
    const bool isList = last.access == BoundStep::Access::Whole && last.field->is_repeated();
    bool isSafe = start != PathStart::Self;
    // Only a field of the start message itself lies inside nothing that may be unset or missing.
    isSafe = isSafe && path.steps.size() == 1 && last.access == BoundStep::Access::Whole;
    const FieldDescriptor* const valueField =
        last.access == BoundStep::Access::Key ? last.field->message_type()->FindFieldByNumber(2) : last.field;
    ValueType type = TypeOfElement(valueField);
    const bool isDirect = path.steps.size() == 1 && start != PathStart::Self;
    const bool isUnset = last.access == BoundStep::Access::Whole && ReadsAsNull(last.field);
    const bool tracksPresence = !isSafe || TracksPresence(last.field);
    NodePtr node;
    if (isList) {
        type.kind = last.field->is_map() ? ValueKind::Map : ValueKind::List;
        node = std::make_unique<PathListNode>(std::move(path));
    } else if (asksPresence || type.kind == ValueKind::Message) {
        node = std::make_unique<PresenceNode>(std::move(path));
    } else if (isDirect && last.access == BoundStep::Access::Whole) {
        node = std::make_unique<DirectFieldNode>(start, last.field);
    } else {
        node = std::make_unique<PathNode>(std::move(path));
    }
    type.mayBeNull = !isSafe || isUnset;
    node->type = type;
    node->tracksPresence = tracksPresence;
    node->isFloatField = valueField->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
    SetReads(*node, start);
    return node;
}

NodePtr MakeFieldComparison(ExprType op, const BoundNode& field, const Value& constant) {
    const auto* const direct = dynamic_cast<const DirectFieldNode*>(&field);
    if (direct == nullptr || constant.tag != Value::Tag::Int) {
        return nullptr;
    }
    switch (direct->m_field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            return std::make_unique<IntFieldComparisonNode<int32_t, &Reflection::GetInt32>>(*direct, op,
                                                                                            constant.int64);
        case FieldDescriptor::CPPTYPE_UINT32:
            return std::make_unique<IntFieldComparisonNode<uint32_t, &Reflection::GetUInt32>>(*direct, op,
                                                                                              constant.int64);
        case FieldDescriptor::CPPTYPE_INT64:
            return std::make_unique<IntFieldComparisonNode<int64_t, &Reflection::GetInt64>>(*direct, op,
                                                                                            constant.int64);
        default:
            return nullptr;
    }
}

NodePtr MakeSelfElement(const FieldDescriptor* self) {
    NodePtr node = std::make_unique<SelfElementNode>(self);
    node->type = TypeOfElement(self);
    node->isFloatField = self->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
    node->readsElement = true;
    return node;
}

NodePtr MakeSelfField(const FieldDescriptor* self, bool asksPresence) {
    const bool isMessage = self->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    NodePtr node = std::make_unique<SelfFieldNode>(self, asksPresence || isMessage);
    node->type = TypeOfElement(self);
    node->type.mayBeNull = ReadsAsNull(self);
    node->tracksPresence = TracksPresence(self);
    node->isFloatField = self->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
    node->readsElement = true;
    return node;
}

NodePtr MakeWholeMessage(bool isRecord, const google::protobuf::Descriptor* type) {
    NodePtr node = std::make_unique<WholeMessageNode>();
    node->type.kind = ValueKind::Message;
    node->type.messageType = type;
    node->readsRecord = isRecord;
    node->readsElement = !isRecord;
    return node;
}

}  // namespace OstraneCommon
