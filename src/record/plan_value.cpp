#include "record/plan_value.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <utility>

#include "expr/name_hint.h"
#include "record/plan_expr.h"
#include "record/plan_path.h"

namespace OstraneRecord {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;

bool IsLiteral(const Expr& node) {
    switch (node.m_self.m_type) {
        case OstraneCommon::EXPR_UINT:
        case OstraneCommon::EXPR_INT:
        case OstraneCommon::EXPR_FLOAT:
        case OstraneCommon::EXPR_STRING:
        case OstraneCommon::EXPR_BYTES:
            return true;
        default:
            return false;
    }
}

// Members of a oneof that the user wrote, not of one that tracks a proto3 `optional`.
const google::protobuf::OneofDescriptor* RealOneof(const FieldDescriptor* field) {
#if GOOGLE_PROTOBUF_VERSION >= 3012000
    return field->real_containing_oneof();
#else
    return field->containing_oneof();
#endif
}

}  // namespace

int FailBothSet(const OneofUse::Member& first, const OneofUse::Member& second, const std::string& hint,
                Failure& failure) {
    return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, second.place,
                "'" + std::string(first.field->name()) + "' and '" + std::string(second.field->name()) +
                    "' cannot both be set: they are of the oneof " +
                    std::string(second.field->containing_oneof()->full_name()),
                hint, second.field);
}

int ValueCompiler::DepthOf(const CompiledStatement& statement) {
    const bool isSplit = statement.form == PlanForm::SetEach;
    const int tail = PathDepth(statement.tail);
    return isSplit ? PathDepth(statement.path) + tail : std::max(PathDepth(statement.path), tail);
}

Place ValueCompiler::PlaceOf(const Expr* node) const {
    return TokenAt(m_compiled.text, node->m_self.m_tokenOffset);
}

int ValueCompiler::FailTooDeep(const Place& place, const FieldDescriptor* field) {
    return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, place,
                "messages are nested deeper than " + std::to_string(kMaxRecordDepth), "", field);
}

int ValueCompiler::Whole(Expr* node, const FieldDescriptor* field, bool nullClears, ValueNode& out) {
    out.field = field;
    out.place = PlaceOf(node);
    const bool isNull = node->m_self.m_type == OstraneCommon::EXPR_NULL;
    if (field->is_repeated() && isNull && nullClears) {
        out.kind = ValueNode::Kind::Null;
        return 0;
    }
    if (field->is_map()) {
        return Entries(node, field, nullClears, out);
    }
    if (field->is_repeated()) {
        return List(node, field, nullClears, out);
    }
    if (isNull) {
        if (field->is_required()) {
            return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, out.place,
                        NameOf(field) + " is required and cannot be cleared", "", field);
        }
        out.kind = ValueNode::Kind::Null;
        return 0;
    }
    return field->message_type() != nullptr ? Message(node, field, out) : Scalar(node, field, false, out);
}

int ValueCompiler::Element(Expr* node, const FieldDescriptor* field, ValueNode& out) {
    out.field = field;
    out.place = PlaceOf(node);
    if (node->m_self.m_type == OstraneCommon::EXPR_NULL) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
                    "null is no element of " + NameOf(field), "POP removes elements", field);
    }
    return field->message_type() != nullptr ? Message(node, field, out) : Scalar(node, field, true, out);
}

int ValueCompiler::Pushed(Expr* node, const FieldDescriptor* field, ValueNode& out) {
    ++m_newDepth;
    out.field = field;
    out.place = PlaceOf(node);
    int ret = 0;
    if (node->m_self.m_type == OstraneCommon::EXPR_VALUE_LIST) {
        ret = List(node, field, false, out);
    } else if (node->m_self.m_type == OstraneCommon::EXPR_QUESTION) {
        ret = Parameter(node, field, false, field->message_type() == nullptr, true, out);
    } else {
        out.kind = ValueNode::Kind::List;
        out.items.emplace_back();
        ret = Element(node, field, out.items.back());
    }
    --m_newDepth;
    return ret;
}

// A list of one name may have been meant as an extension.
std::string ValueCompiler::ExtensionHint(const Expr& list) const {
    const Expr* item = list.OperandCount() == 1 ? list.Operand(0) : nullptr;
    const bool isName = item != nullptr && item->m_self.m_type == OstraneCommon::EXPR_UNRESOLVE;
    const bool isExtension =
        isName && m_compiled.descriptor->file()->pool()->FindExtensionByName(item->m_self.m_str) != nullptr;
    return isExtension ? "an extension is written $$.[" + item->m_self.m_str + "]" : "";
}

int ValueCompiler::Scalar(Expr* node, const FieldDescriptor* field, bool isElement, ValueNode& out) {
    if (node->m_self.m_type == OstraneCommon::EXPR_QUESTION) {
        return Parameter(node, field, !isElement && !field->is_required(), true, false, out);
    }
    if (node->m_self.m_type == OstraneCommon::EXPR_VALUE_LIST) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
                    "a list does not fit " + NameOf(field) +
                        (isElement ? ", one element of which is set" : ", " + KindOf(field)),
                    isElement ? "write one value, or replace the whole field without [..]" : ExtensionHint(*node),
                    field);
    }
    if (node->m_self.m_type == OstraneCommon::EXPR_ASSIGN_LIST) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
                    "{..} is a message and does not fit " + NameOf(field) + ", " + KindOf(field), "", field);
    }
    if (!IsLiteral(*node)) {
        return Computed(node, field, out);
    }
    Misfit misfit;
    out.kind = ValueNode::Kind::Constant;
    const int ret = ConvertValue(node->m_self, field, false, out.constant, misfit);
    if (ret != 0) {
        return Fail(m_failure, ret, out.place, misfit.message, misfit.hint, field);
    }
    return 0;
}

int ValueCompiler::Message(Expr* node, const FieldDescriptor* field, ValueNode& out) {
    if (node->m_self.m_type == OstraneCommon::EXPR_QUESTION && !field->is_repeated()) {
        return Parameter(node, field, !field->is_required(), false, false, out);
    }
    if (node->m_self.m_type != OstraneCommon::EXPR_ASSIGN_LIST) {
        const bool isName = node->m_self.m_type == OstraneCommon::EXPR_UNRESOLVE;
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
                    "the value does not fit " + NameOf(field) + ", " + KindOf(field),
                    isName ? "FROM copies whole messages" : OstraneCommon::MessageHint(field->message_type()), field);
    }
    if (m_depth >= kMaxRecordDepth) {
        return FailTooDeep(out.place, field);
    }
    out.kind = ValueNode::Kind::Message;
    if (node->m_operands == nullptr) {
        return 0;
    }
    ++m_depth;
    ++m_open;
    if (!field->is_repeated()) {
        m_chain.push_back(field);
    }
    OneofUses oneofs;
    for (Expr* assign : *node->m_operands) {
        const int ret = Member(assign, field->message_type(), oneofs, out);
        if (ret != 0) {
            return ret;
        }
    }
    for (auto& [oneof, use] : oneofs) {
        if (use.members.size() > 1) {
            use.statement = m_statement.number;
            m_compiled.oneofUses.push_back(std::move(use));
        }
    }
    if (!field->is_repeated()) {
        m_chain.pop_back();
    }
    --m_open;
    --m_depth;
    return 0;
}

int ValueCompiler::Member(Expr* assign, const Descriptor* type, OneofUses& oneofs, ValueNode& out) {
    const Place place = PlaceOf(assign);
    if (assign->m_self.m_type != OstraneCommon::EXPR_ASSIGN || assign->OperandCount() != 1) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, place, "expected a field and its value");
    }
    const std::string& name = assign->m_self.m_str;
    if (name.empty()) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                    std::string(type->full_name()) + " is no map: its fields have names",
                    "write the name without quotes");
    }
    const bool isExtension = name.size() > 2 && name.front() == '[' && name.back() == ']';
    ValueMember member;
    int ret = FindField(type, isExtension ? name.substr(1, name.size() - 2) : name, isExtension, place, member.field,
                        m_failure);
    if (ret != 0) {
        return ret;
    }
    Expr* value = assign->Operand(0);
    ret = CheckName(member, out, place);
    if (ret == 0) {
        ret = Whole(value, member.field, true, member.value);
    }
    if (ret == 0) {
        ret = CheckOneof(member, place, oneofs);
    }
    if (ret != 0) {
        return ret;
    }
    out.members.push_back(std::move(member));
    return 0;
}

int ValueCompiler::CheckName(const ValueMember& member, const ValueNode& literal, const Place& place) {
    for (const ValueMember& before : literal.members) {
        if (before.field == member.field) {
            return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, place,
                        "'" + std::string(member.field->name()) + "' is named twice", "", member.field);
        }
    }
    return 0;
}

// null sets no member: it only takes one away. Whether a parameter is null is seen when it is bound.
int ValueCompiler::CheckOneof(const ValueMember& member, const Place& place, OneofUses& oneofs) {
    const google::protobuf::OneofDescriptor* oneof = RealOneof(member.field);
    if (oneof == nullptr || member.value.kind == ValueNode::Kind::Null) {
        return 0;
    }
    OneofUse::Member added;
    added.field = member.field;
    added.slot = member.value.kind == ValueNode::Kind::Parameter ? member.value.slot : -1;
    added.place = place;
    OneofUse& use = oneofs[oneof];
    for (const OneofUse::Member& before : use.members) {
        if (before.slot < 0 && added.slot < 0) {
            return FailBothSet(before, added, "", m_failure);
        }
    }
    use.members.push_back(added);
    return 0;
}

int ValueCompiler::Entries(Expr* node, const FieldDescriptor* field, bool nullClears, ValueNode& out) {
    if (node->m_self.m_type == OstraneCommon::EXPR_QUESTION) {
        return Parameter(node, field, nullClears, false, false, out);
    }
    if (node->m_self.m_type != OstraneCommon::EXPR_ASSIGN_LIST) {
        return Fail(
            m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
            "the value does not fit " + NameOf(field) + ", a map",
            node->m_self.m_type == OstraneCommon::EXPR_NULL ? "CLEAR empties it" : "a map is written {key: value, ..}",
            field);
    }
    if (m_depth >= kMaxRecordDepth) {
        return FailTooDeep(out.place, field);
    }
    out.kind = ValueNode::Kind::Entries;
    if (node->m_operands == nullptr) {
        return 0;
    }
    const FieldDescriptor* valueField = field->message_type()->FindFieldByNumber(2);
    ++m_newDepth;
    ++m_open;
    m_depth += 1;
    for (Expr* assign : *node->m_operands) {
        if (assign->m_self.m_type != OstraneCommon::EXPR_ASSIGN || assign->OperandCount() != 1) {
            return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, PlaceOf(assign),
                        "expected a key and its value");
        }
        if (assign->m_children == nullptr || assign->m_children->empty()) {
            return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, PlaceOf(assign),
                        "'" + assign->m_self.m_str + "' is no key of " + NameOf(field),
                        field->message_type()->FindFieldByNumber(1)->cpp_type() == FieldDescriptor::CPPTYPE_STRING
                            ? "write the key in quotes"
                            : "",
                        field);
        }
        ValueMember member;
        member.field = valueField;
        Expr* key = assign->m_children->front();
        int ret =
            ResolveKey(key, field, m_compiled, m_statement.number, PlaceOf(key), member.key, member.keySlot, m_failure);
        if (ret == 0) {
            ret = Whole(assign->Operand(0), valueField, false, member.value);
        }
        if (ret != 0) {
            return ret;
        }
        out.members.push_back(std::move(member));
    }
    m_depth -= 1;
    --m_open;
    --m_newDepth;
    return 0;
}

// What to write instead of one value for a repeated field.
std::string ValueCompiler::ListHint(const Expr& node, const FieldDescriptor* field) const {
    const std::string value = IsLiteral(node) ? ShowValue(node.m_self) : "..";
    // One path has one selector.
    if (m_open > 0 || m_statement.form == PlanForm::SetEach) {
        return "write [" + value + "]";
    }
    // The path as it was written.
    const PlanPath& path = m_statement.tail.empty() ? m_statement.path : m_statement.tail;
    const size_t begin = m_statement.path.front().place.offset;
    const size_t end = path.back().place.offset + path.back().place.length;
    const bool isShort = end > begin && end - begin <= 100 && !field->is_extension();
    const std::string name = isShort ? m_compiled.text.substr(begin, end - begin) : std::string(field->name());
    return node.m_self.m_type == OstraneCommon::EXPR_NULL ? "CLEAR " + name + " empties it"
                                                          : "write " + name + "[*] = " + value + ", or [" + value + "]";
}

int ValueCompiler::List(Expr* node, const FieldDescriptor* field, bool nullClears, ValueNode& out) {
    if (node->m_self.m_type == OstraneCommon::EXPR_QUESTION) {
        return Parameter(node, field, nullClears, false, true, out);
    }
    if (node->m_self.m_type != OstraneCommon::EXPR_VALUE_LIST) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, out.place,
                    "one value does not fit " + NameOf(field) + ", " + KindOf(field), ListHint(*node, field), field);
    }
    out.kind = ValueNode::Kind::List;
    if (node->m_operands == nullptr) {
        return 0;
    }
    ++m_newDepth;
    for (Expr* item : *node->m_operands) {
        out.items.emplace_back();
        const int ret = Element(item, field, out.items.back());
        if (ret != 0) {
            return ret;
        }
    }
    --m_newDepth;
    return 0;
}

int ValueCompiler::Parameter(Expr* node, const FieldDescriptor* field, bool takesNull, bool takesSingle, bool takesList,
                             ValueNode& out) {
    out.kind = ValueNode::Kind::Parameter;
    out.slot = m_compiled.valueSlots++;
    ParameterUse use;
    use.question = node;
    use.field = field;
    use.slot = out.slot;
    use.takesNull = takesNull;
    use.takesSingle = takesSingle;
    use.takesList = takesList;
    use.statement = m_statement.number;
    use.place = out.place;
    m_compiled.parameterUses.push_back(use);
    return 0;
}

// The way from the record to the singular message that is set by a literal; empty where none is, or where it lies in
// an element.
std::vector<const FieldDescriptor*> ValueCompiler::MessagePath() const {
    std::vector<const FieldDescriptor*> path;
    const bool isMessage = m_pElement == nullptr && m_open > 0 && !m_statement.tail.empty() &&
                           !m_statement.tail.back().field->is_repeated();
    for (size_t i = 0; isMessage && i < m_statement.tail.size(); ++i) {
        path.push_back(m_statement.tail[i].field);
    }
    return path;
}

// Of an entry's value the entry: as the path has it, or in a literal, whose keys may be anything, by its map.
std::string ValueCompiler::ShownName(const FieldDescriptor* field) const {
    const Descriptor* entry = field->containing_type();
    if (!entry->options().map_entry()) {
        return NameOf(field);
    }
    const PlanStep& last = m_statement.tail.empty() ? m_statement.path.back() : m_statement.tail.back();
    const size_t begin = last.place.offset;
    const size_t close = m_compiled.text.find(']', last.subscriptPlace.offset + last.subscriptPlace.length);
    if (m_open == 0 && last.subscript == SubscriptKind::Key && close - begin <= 100) {
        return m_compiled.text.substr(begin, close + 1 - begin);
    }
    const Descriptor* owner = entry->containing_type();
    const FieldDescriptor* map = owner->field(0);
    for (int i = 0; i < owner->field_count(); ++i) {
        map = owner->field(i)->message_type() == entry ? owner->field(i) : map;
    }
    return "an entry of " + NameOf(map);
}

int ValueCompiler::Computed(Expr* node, const FieldDescriptor* field, ValueNode& out) {
    const bool isSet = m_statement.kind == OstraneCommon::StatementKind::Set;
    out.kind = ValueNode::Kind::Computed;
    out.slot = static_cast<int>(m_statement.computed.size());
    ComputedValue computed;
    computed.field = field;
    computed.shown = ShownName(field);
    computed.expr.tree = node;
    computed.expr.place = out.place = TreePlace(m_compiled.text, *node);
    computed.expr.scope.record = m_compiled.descriptor;
    if (isSet) {
        computed.expr.scope.element = m_pElement;
        // `$` is the old value, where there is one; `$.name` starts at the element, or else at the singular message
        // whose literal this is.
        computed.expr.scope.selfPath = MessagePath();
        const bool hasOld = m_newDepth == 0 && (NamesElement(node) || m_pElement == nullptr);
        if (hasOld) {
            computed.expr.scope.self = field;
            computed.chain = m_chain;
        }
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM && node->m_self.m_type == OstraneCommon::EXPR_UNRESOLVE &&
        field->enum_type()->FindValueByName(node->m_self.m_str) != nullptr) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, out.place,
                    "there is no field '" + node->m_self.m_str + "'", "write '" + node->m_self.m_str + "' in quotes",
                    field);
    }
    OstraneCommon::ValueType type;
    int ret = CompileExpr(false, m_compiled, m_statement.number - 1, out.slot, computed.expr, type, m_failure);
    if (ret == 0) {
        ret = CheckComputedType(type, computed.expr, field, m_failure);
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING &&
               node->m_self.m_type == OstraneCommon::EXPR_UNRESOLVE) {
        m_failure.error.hint = OstraneCommon::QuotesHint(node->m_self.m_str, m_failure.error.hint);
    }
    if (ret != 0) {
        return ret;
    }
    computed.isEnumNumber = type.kind == OstraneCommon::ValueKind::Enum;
    m_statement.computed.push_back(std::move(computed));
    return 0;
}

}  // namespace OstraneRecord
