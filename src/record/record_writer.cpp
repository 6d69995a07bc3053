#include "record/record_writer.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "record/value_expr.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace OstraneRecord {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using OstraneCommon::PbField;

// Whether the expression operations can take the literal as it is: singular values by plain names.
bool IsFlat(const ValueNode& literal, const ResolvedValues& values) {
    if (literal.members.empty()) {
        return false;
    }
    return std::none_of(literal.members.begin(), literal.members.end(), [&values](const ValueMember& member) {
        // An enum number read from a record may have no name, and names are all that they take.
        const bool isEnumNumber =
            member.value.kind == ValueNode::Kind::Computed && member.field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM;
        return member.field->is_repeated() || member.field->message_type() != nullptr || member.field->is_extension() ||
               isEnumNumber || values.IsNull(member.value);
    });
}

void AddMembers(const ValueNode& literal, const ResolvedValues& values, AssignExpr& expr) {
    for (const ValueMember& member : literal.members) {
        expr.Add(std::string(member.field->name()), values.Value(member.value), member.field);
    }
}

// The one element that a PUSH or a SET of a lone position writes, when it is known before any record; null
// otherwise. Of a PUSH of a parameter, the parameter.
const ValueNode* ElementNode(const CompiledStatement& statement, const ResolvedValues& values) {
    const ValueNode& value = statement.value;
    if (!statement.computed.empty() || statement.where >= 0 || values.IsNull(value)) {
        return nullptr;
    }
    if (statement.form == PlanForm::PushValues && values.ListSize(value) == 1) {
        return value.items.empty() ? &value : &value.items[0];
    }
    const PlanStep& last = statement.path.back();
    // The operation takes no other index from the end than the last one.
    const bool isLone = statement.form == PlanForm::SetElements && last.subscript == SubscriptKind::Index &&
                        values.Parameters().Index(last.index) >= -1;
    return isLone ? &value : nullptr;
}

template <typename T>
void Rotate(Message* message, const FieldDescriptor* field, int pos, int oldSize) {
    google::protobuf::RepeatedField<T>* elements = message->GetReflection()->MutableRepeatedField<T>(message, field);
    std::rotate(elements->begin() + pos, elements->begin() + oldSize, elements->end());
}

template <typename T>
void RotatePointers(Message* message, const FieldDescriptor* field, int pos, int oldSize) {
    google::protobuf::RepeatedPtrField<T>* elements =
        message->GetReflection()->MutableRepeatedPtrField<T>(message, field);
    std::rotate(elements->pointer_begin() + pos, elements->pointer_begin() + oldSize, elements->pointer_end());
}

// Moves the elements from `oldSize` on down to `pos`; the order of all others stays.
void MoveTailTo(Message* message, const FieldDescriptor* field, int pos, int oldSize) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
        case FieldDescriptor::CPPTYPE_ENUM:  // kept as its numbers
            return Rotate<int32_t>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_INT64:
            return Rotate<int64_t>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_UINT32:
            return Rotate<uint32_t>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_UINT64:
            return Rotate<uint64_t>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return Rotate<double>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_FLOAT:
            return Rotate<float>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_BOOL:
            return Rotate<bool>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_STRING:
            return RotatePointers<std::string>(message, field, pos, oldSize);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return RotatePointers<Message>(message, field, pos, oldSize);
    }
}

// A key as a text, for looking many up. Whole numbers are kept in 64 bits whatever their field's width.
std::string KeyText(const FieldValue& key, const FieldDescriptor* field) {
    return field->cpp_type() == FieldDescriptor::CPPTYPE_STRING ? key.text : std::to_string(key.bits);
}

// From this many entries on in one literal they are looked up by hash.
constexpr size_t kManyEntries = 8;

}  // namespace

bool ResolvedValues::IsNull(const ValueNode& node) const {
    return node.kind == ValueNode::Kind::Null ||
           (node.kind == ValueNode::Kind::Parameter && m_parameters.values != nullptr &&
            m_parameters.values->values[static_cast<size_t>(node.slot)].kind == BoundValue::Kind::Null);
}

const FieldValue& ResolvedValues::Value(const ValueNode& node) const {
    switch (node.kind) {
        case ValueNode::Kind::Parameter:
            return m_parameters.values->values[static_cast<size_t>(node.slot)].single;
        case ValueNode::Kind::Computed:
            return m_computed[static_cast<size_t>(node.slot)];
        default:
            return node.constant;
    }
}

size_t ResolvedValues::ListSize(const ValueNode& node) const {
    if (node.kind != ValueNode::Kind::Parameter) {
        return node.items.size();
    }
    const BoundValue& bound = m_parameters.values->values[static_cast<size_t>(node.slot)];
    return bound.kind == BoundValue::Kind::Single ? 1 : bound.list.size();
}

const FieldValue& ResolvedValues::ListValue(const ValueNode& node, size_t i) const {
    if (node.kind != ValueNode::Kind::Parameter) {
        return Value(node.items[i]);
    }
    const BoundValue& bound = m_parameters.values->values[static_cast<size_t>(node.slot)];
    return bound.kind == BoundValue::Kind::Single ? bound.single : bound.list[i];
}

std::string MissingRequired(const Descriptor* type, const FieldDescriptor* only) {
    std::string missing;
    for (int i = 0; i < type->field_count(); ++i) {
        if (type->field(i)->is_required() && type->field(i) != only) {
            missing += (missing.empty() ? "" : ", ") + std::string(type->field(i)->name());
        }
    }
    return missing.empty() ? missing : std::string(type->full_name()) + " lacks " + missing;
}

std::string MissingRequiredItems(const Message* holder, const ValueNode& literal, const ResolvedValues& values) {
    std::string missing;
    for (const ValueNode& item : literal.items) {
        if (item.kind == ValueNode::Kind::Message && missing.empty()) {
            missing = MissingRequired(nullptr, item, item.field->message_type(), values);
        }
    }
    if (literal.kind != ValueNode::Kind::Entries) {
        return missing;
    }
    const FieldDescriptor* keyField = literal.field->message_type()->FindFieldByNumber(1);
    for (const ValueMember& entry : literal.members) {
        if (entry.value.kind != ValueNode::Kind::Message || !missing.empty()) {
            continue;
        }
        const Message* existing = nullptr;
        const int found = holder == nullptr
                              ? -1
                              : FindEntry(*holder, literal.field, values.Parameters().Key(entry.key, entry.keySlot));
        // An entry that the literal itself removes first is made anew.
        const bool isRemoved = std::any_of(literal.members.data(), &entry, [&](const ValueMember& before) {
            return values.IsNull(before.value) &&
                   KeyText(values.Parameters().Key(before.key, before.keySlot), keyField) ==
                       KeyText(values.Parameters().Key(entry.key, entry.keySlot), keyField);
        });
        if (found >= 0 && !isRemoved) {
            const Message& known = holder->GetReflection()->GetRepeatedMessage(*holder, literal.field, found);
            existing = &known.GetReflection()->GetMessage(known, entry.field);
        }
        missing = MissingRequired(existing, entry.value, entry.field->message_type(), values);
    }
    return missing;
}

std::string MissingRequired(const Message* existing, const ValueNode& literal, const Descriptor* type,
                            const ResolvedValues& values) {
    if (existing == nullptr) {
        std::string missing;
        for (int i = 0; i < type->field_count(); ++i) {
            const FieldDescriptor* field = type->field(i);
            const bool isGiven = std::any_of(literal.members.begin(), literal.members.end(),
                                             [field, &values](const ValueMember& member) {
                                                 return member.field == field && !values.IsNull(member.value);
                                             });
            if (field->is_required() && !isGiven) {
                missing += (missing.empty() ? "" : ", ") + std::string(field->name());
            }
        }
        if (!missing.empty()) {
            return std::string(type->full_name()) + " lacks " + missing;
        }
    }
    for (const ValueMember& member : literal.members) {
        std::string missing = MissingRequiredItems(existing, member.value, values);
        if (member.value.kind == ValueNode::Kind::Message) {
            const Reflection* reflection = existing == nullptr ? nullptr : existing->GetReflection();
            const Message* sub = reflection != nullptr && reflection->HasField(*existing, member.field)
                                     ? &reflection->GetMessage(*existing, member.field)
                                     : nullptr;
            missing = MissingRequired(sub, member.value, member.field->message_type(), values);
        }
        if (!missing.empty()) {
            return missing;
        }
    }
    return std::string();
}

void PrepareTrees(const CompiledStatements& compiled, BoundValues& out) {
    PlanParameters parameters;
    parameters.values = &out;
    const std::vector<FieldValue> computed;
    const ResolvedValues values(parameters, computed);
    for (size_t i = 0; i < compiled.statements.size(); ++i) {
        const CompiledStatement& statement = compiled.statements[i];
        const FieldDescriptor* field = statement.Field();
        const bool isPush = statement.form == PlanForm::PushValues;
        const ValueNode* element = ElementNode(statement, values);
        if (element == nullptr || field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
            continue;
        }
        const PlanStep& last = statement.path.back();
        const int index = last.subscript == SubscriptKind::Index ? parameters.Index(last.index) : -1;
        std::unique_ptr<AssignExpr> expr;
        if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            expr = std::make_unique<AssignExpr>(!isPush, index, 1);
            expr->Add("$", isPush ? values.ListValue(statement.value, 0) : values.Value(*element), field);
        } else if (IsFlat(*element, values) &&
                   (!isPush || MissingRequired(nullptr, *element, field->message_type(), values).empty())) {
            expr = std::make_unique<AssignExpr>(!isPush, index, element->members.size());
            AddMembers(*element, values, *expr);
        }
        out.trees.resize(compiled.statements.size());
        out.trees[i] = std::move(expr);
    }
}

void RecordWriter::ApplyMessage(Message* message, const ValueNode& literal, const ResolvedValues& values) {
    for (const ValueMember& member : literal.members) {
        ApplyField(message, member.field, member.value, values);
    }
}

void RecordWriter::ApplyField(Message* message, const FieldDescriptor* field, const ValueNode& node,
                              const ResolvedValues& values) {
    const Reflection* reflection = message->GetReflection();
    if (values.IsNull(node)) {
        reflection->ClearField(message, field);
        return;
    }
    if (field->is_map()) {
        ApplyEntries(message, field, node, values);
        return;
    }
    if (field->is_repeated()) {
        reflection->ClearField(message, field);
        AddElements(message, field, node, values);
        return;
    }
    if (field->message_type() != nullptr) {
        ApplyMessage(reflection->MutableMessage(message, field), node, values);
        return;
    }
    SetFieldValue(message, field, values.Value(node));
}

void RecordWriter::ApplyEntries(Message* message, const FieldDescriptor* map, const ValueNode& node,
                                const ResolvedValues& values) {
    const Reflection* reflection = message->GetReflection();
    const FieldDescriptor* keyField = map->message_type()->FindFieldByNumber(1);
    std::unordered_map<std::string, int> known;
    const bool isMany = node.members.size() > kManyEntries;
    if (isMany) {
        const int size = reflection->FieldSize(*message, map);
        for (int i = 0; i < size; ++i) {
            known[KeyText(ReadFieldValue(reflection->GetRepeatedMessage(*message, map, i), keyField), keyField)] = i;
        }
    }
    for (const ValueMember& entry : node.members) {
        const FieldValue& key = values.Parameters().Key(entry.key, entry.keySlot);
        if (values.IsNull(entry.value)) {
            // Positions move: look the rest up one by one.
            RemoveEntry(message, map, key);
            known.clear();
            continue;
        }
        const auto found = isMany ? known.find(KeyText(key, keyField)) : known.end();
        Message* target = nullptr;
        if (found != known.end()) {
            target = reflection->MutableRepeatedMessage(message, map, found->second);
        } else if (isMany && !known.empty()) {
            target = reflection->AddMessage(message, map);
            SetFieldValue(target, keyField, key);
            known[KeyText(key, keyField)] = reflection->FieldSize(*message, map) - 1;
        } else {
            target = OpenEntry(message, map, key);
        }
        ApplyField(target, entry.field, entry.value, values);
    }
}

void RecordWriter::AddElements(Message* message, const FieldDescriptor* field, const ValueNode& node,
                               const ResolvedValues& values) {
    const size_t count = values.ListSize(node);
    if (field->message_type() == nullptr) {
        for (size_t i = 0; i < count; ++i) {
            AddElementValue(message, field, values.ListValue(node, i));
        }
        return;
    }
    for (const ValueNode& item : node.items) {
        ApplyMessage(message->GetReflection()->AddMessage(message, field), item, values);
    }
}

int RecordWriter::PushFlat(Message* parent, const FieldDescriptor* field, int pos, const ValueNode& literal,
                           const ResolvedValues& values, bool isSet) {
    AssignExpr expr(isSet, pos, literal.members.size());
    AddMembers(literal, values, expr);
    MutableProtobufField handle = {parent, field};
    return isSet ? m_util.SetWithExpr(handle, expr.Tree()) : m_util.PushWithExpr(handle, expr.Tree());
}

int RecordWriter::SetElement(Message* parent, const FieldDescriptor* field, int index, const ValueNode& node,
                             const ResolvedValues& values) {
    if (field->message_type() == nullptr) {
        return SetElement(parent, field, index, values.Value(node));
    }
    if (IsFlat(node, values)) {
        return PushFlat(parent, field, index, node, values, true);
    }
    ApplyMessage(parent->GetReflection()->MutableRepeatedMessage(parent, field, index), node, values);
    return 0;
}

int RecordWriter::SetElement(Message* parent, const FieldDescriptor* field, int index, const FieldValue& value) {
    MutableProtobufField handle = {parent, field};
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        // The expression operation takes no enum elements; a source field brings them.
        std::unique_ptr<Message> scratch(parent->New());
        AddElementValue(scratch.get(), field, value);
        PbField source;
        source.SetField(scratch.get(), field, true);
        return m_util.SetWithPbField(handle, index, index, source);
    }
    ValueExpr expr(true, index, value, field);
    return m_util.SetWithExpr(handle, expr.Tree());
}

int RecordWriter::Push(Message* parent, const FieldDescriptor* field, int pos, const ValueNode& node,
                       const ResolvedValues& values) {
    if (values.ListSize(node) == 1) {
        if (field->message_type() == nullptr) {
            return PushOne(parent, field, pos, values.ListValue(node, 0));
        }
        if (IsFlat(node.items[0], values)) {
            return PushFlat(parent, field, pos, node.items[0], values, false);
        }
    }
    std::unique_ptr<Message> scratch(parent->New());
    AddElements(scratch.get(), field, node, values);
    return PushRun(parent, field, pos, scratch.get(), field);
}

int RecordWriter::PushOne(Message* parent, const FieldDescriptor* field, int pos, const FieldValue& value) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        std::unique_ptr<Message> scratch(parent->New());
        AddElementValue(scratch.get(), field, value);
        return PushRun(parent, field, pos, scratch.get(), field);
    }
    ValueExpr expr(false, pos, value, field);
    MutableProtobufField handle = {parent, field};
    return m_util.PushWithExpr(handle, expr.Tree());
}

int RecordWriter::PushMessage(Message* parent, const FieldDescriptor* field, int pos, Message* element) {
    PbField source;
    source.SetField(element, nullptr, true);
    MutableProtobufField handle = {parent, field};
    return m_util.PushWithPbField(handle, pos, source);
}

int RecordWriter::PushRun(Message* parent, const FieldDescriptor* field, int pos, Message* from,
                          const FieldDescriptor* source) {
    const int oldSize = parent->GetReflection()->FieldSize(*parent, field);
    const int count = from->GetReflection()->FieldSize(*from, source);
    PbField run;
    run.SetField(from, source, true);
    MutableProtobufField handle = {parent, field};
    if (count == 1 || pos == oldSize) {
        return m_util.PushWithPbField(handle, pos, run);
    }
    // The push itself moves one element only: several of them in the middle would overwrite what follows. So
    // they go to the end, where it loses nothing, and then into place.
    const int ret = m_util.PushWithPbField(handle, -1, run);
    if (ret == 0 && count > 0) {
        MoveTailTo(parent, field, pos, oldSize);
    }
    return ret;
}

int RecordWriter::Remove(Message* parent, const FieldDescriptor* field, int size,
                         const std::vector<int32_t>& positions) {
    if (positions.size() == static_cast<size_t>(size)) {
        parent->GetReflection()->ClearField(parent, field);
        return 0;
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        // The pop takes no enum elements. They are kept as their numbers.
        google::protobuf::RepeatedField<int32_t>* numbers =
            parent->GetReflection()->MutableRepeatedField<int32_t>(parent, field);
        int to = positions.empty() ? size : positions.front();
        size_t next = 0;
        for (int i = to; i < size; ++i) {
            if (next < positions.size() && positions[next] == i) {
                ++next;
                continue;
            }
            numbers->Set(to++, numbers->Get(i));
        }
        numbers->Truncate(to);
        return 0;
    }
    size_t runs = 0;
    for (size_t i = 0; i < positions.size(); ++i) {
        runs += i == 0 || positions[i - 1] + 1 != positions[i] ? 1 : 0;
    }
    OstraneCommon::IndexRangeList ranges;
    ranges.reserve(runs);
    for (const int32_t position : positions) {
        if (!ranges.empty() && ranges.back().second + 1 == position) {
            ranges.back().second = position;
        } else {
            ranges.emplace_back(position, position);
        }
    }
    MutableProtobufField handle = {parent, field};
    return m_util.PopWithRange(handle, ranges, nullptr);
}

}  // namespace OstraneRecord

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
