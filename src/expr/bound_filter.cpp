// Running what was bound.
#include "expr/bound_filter.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <utility>

#include "common/err_code.h"
#include "expr/bound_program.h"

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

ExprVariant ListOf(const std::vector<ExprVariant>* items) {
    ExprVariant list;
    list.m_type = EXPR_VALUE_LIST;
    // The union has no member for reading alone.
    list.m_data.ptr = const_cast<std::vector<ExprVariant>*>(items);
    return list;
}

// The texts of strings that values point to are of no use once their maker is gone.
ExprVariant Copied(const ExprVariant& value) {
    if (value.m_type != EXPR_STRING_PTR || value.m_data.pStr == nullptr) {
        return value;
    }
    ExprVariant copy;
    copy.m_type = EXPR_STRING;
    copy.m_str = *value.m_data.pStr;
    return copy;
}

template <typename Map, typename Key>
const ExprVariant* FindIn(const Map& bindings, const Key& key) {
    const auto found = bindings.find(key);
    return found == bindings.end() ? nullptr : &found->second.value;
}

}  // namespace

void ExprBindings::Set(const std::string& name, const ExprVariant& value) {
    m_named[name] = Binding{Copied(value), nullptr};
}

void ExprBindings::Set(uint64_t number, const ExprVariant& value) {
    m_numbered[number] = Binding{Copied(value), nullptr};
}

void ExprBindings::SetList(const std::string& name, const std::vector<ExprVariant>& items) {
    const auto kept = std::make_shared<const std::vector<ExprVariant>>(items);
    m_named[name] = Binding{ListOf(kept.get()), kept};
}

void ExprBindings::SetList(uint64_t number, const std::vector<ExprVariant>& items) {
    const auto kept = std::make_shared<const std::vector<ExprVariant>>(items);
    m_numbered[number] = Binding{ListOf(kept.get()), kept};
}

const ExprVariant* ExprBindings::Find(const ExprVariant& question) const {
    return question.m_str.empty() ? FindIn(m_numbered, question.m_data.valUInt64) : FindIn(m_named, question.m_str);
}

ExprScope ExprScope::OfElements(const FieldDescriptor* field, const google::protobuf::Descriptor* record) {
    ExprScope scope;
    scope.record = record;
    scope.element = field->message_type();
    scope.self = field;
    return scope;
}

int EvalProgram(const BoundProgram& program, EvalContext& context, Value& out) {
    if (program.root == nullptr) {
        out = Value::Bool(true);
        return 0;
    }
    const ValueKind kind = program.root->type.kind;
    if (kind == ValueKind::Message || kind == ValueKind::List || kind == ValueKind::Map) {
        return FailEval(context, program.root->offset, "a message, a list or a map is no value");
    }
    return program.root->Eval(context, out);
}

ExprVariant VariantOf(const Value& value, const ValueType& type) {
    ExprVariant out;
    switch (value.tag) {
        case Value::Tag::Null:
            out.m_type = EXPR_NULL;
            return out;
        case Value::Tag::Bool:
            out.m_type = EXPR_UINT;
            out.m_flags = EXPR_FLAG_BOOL;
            out.m_data.valUInt64 = value.boolean ? 1 : 0;
            return out;
        case Value::Tag::Int:
            out.m_type = value.int64 < 0 ? EXPR_INT : EXPR_UINT;
            out.m_data.valInt64 = value.int64;
            break;
        case Value::Tag::UInt:
            out.m_type = EXPR_UINT;
            out.m_data.valUInt64 = value.uint64;
            break;
        case Value::Tag::Double:
            out.m_type = EXPR_FLOAT;
            out.m_data.valFloat = value.real;
            break;
        case Value::Tag::Text:
        case Value::Tag::Bytes:
            out.m_type = value.tag == Value::Tag::Text ? EXPR_STRING : EXPR_BYTES;
            out.m_str.assign(value.text, value.size);
            break;
    }
    if (type.kind == ValueKind::Enum && type.enumType != nullptr && value.tag == Value::Tag::Int) {
        const google::protobuf::EnumValueDescriptor* const name =
            type.enumType->FindValueByNumber(static_cast<int>(value.int64));
        out.m_str = name == nullptr ? std::string() : std::string(name->name());
    }
    return out;
}

int BoundExpr::Bind(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, BoundExpr& out,
                    ExprError& error) {
    return BindAs(expr, scope, parameters, false, out, error);
}

int BoundExpr::BindCondition(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, BoundExpr& out,
                             ExprError& error) {
    return BindAs(expr, scope, parameters, true, out, error);
}

int BoundExpr::BindAs(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, bool isCondition,
                      BoundExpr& out, ExprError& error) {
    BindSource source;
    source.parameters = &parameters;
    const auto program = std::make_shared<BoundProgram>();
    const int ret = BindProgram(expr, scope, source, isCondition, *program, error);
    if (ret == 0) {
        out.m_program = program;
    }
    return ret;
}

ValueType BoundExpr::Type() const {
    if (m_program->root != nullptr) {
        return m_program->root->type;
    }
    ValueType type;
    type.kind = ValueKind::Bool;
    return type;
}

bool BoundExpr::IsConstant() const {
    const BoundNode* const root = m_program->root.get();
    return root == nullptr || (!root->readsElement && !root->readsRecord);
}

int BoundExpr::Calculate(const ExprRow& row, ExprVariant& out, ExprError& error) const {
    EvalContext context;
    context.row = row;
    context.error = &error;
    Value value;
    const int ret = EvalProgram(*m_program, context, value);
    if (ret == 0) {
        out = VariantOf(value, Type());
    }
    return ret;
}

int BoundExpr::Test(const ExprRow& row, bool& isTrue, ExprError& error) const {
    EvalContext context;
    context.row = row;
    context.error = &error;
    Value value;
    const int ret = EvalProgram(*m_program, context, value);
    if (ret == 0) {
        isTrue = value.IsTrue();
    }
    return ret;
}

int BoundExpr::FindMatches(const Message* record, const Message& owner, const IndexRangeList& ranges,
                           std::vector<bool>& vecMatch, int& matchCount, int& minMatch, ExprError& error) const {
    const FieldDescriptor* const self = m_program->scope.self;
    if (self == nullptr || !self->is_repeated() || self->containing_type() != owner.GetDescriptor()) {
        error.code = OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
        error.message = "the condition was bound to no array of this message";
        return error.code;
    }
    return SearchProgram(*m_program, record, owner, ranges, vecMatch, matchCount, minMatch, error);
}

}  // namespace OstraneCommon
