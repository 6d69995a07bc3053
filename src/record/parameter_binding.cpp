// Parameters become what their uses need, once, before the first record is touched.
#include <algorithm>
#include <limits>
#include <utility>

#include "expr/base64.h"
#include "expr/name_hint.h"
#include "record/plan_expr.h"
#include "record/plan_value.h"
#include "record/statement_compiler.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;
using OstraneCommon::ExprVariant;

std::string ParameterName(const Expr& question) {
    return question.m_self.m_str.empty() ? "parameter " + std::to_string(question.m_self.m_data.valUInt64)
                                         : "parameter :" + question.m_self.m_str;
}

const ParameterValue* FindParameter(const StatementParameters& parameters, const Expr& question) {
    if (question.m_self.m_str.empty()) {
        const uint64_t number = question.m_self.m_data.valUInt64;
        return number == 0 || number > parameters.positional.size() ? nullptr : &parameters.positional[number - 1];
    }
    const auto found = parameters.named.find(question.m_self.m_str);
    return found == parameters.named.end() ? nullptr : &found->second;
}

// A value that is no list, as a literal of the same meaning would parse.
ExprVariant ToLiteral(const ParameterValue& value) {
    ExprVariant literal;
    switch (value.kind) {
        case ParameterValue::Kind::Null:
        case ParameterValue::Kind::List:
            literal.m_type = OstraneCommon::EXPR_NULL;
            break;
        case ParameterValue::Kind::Bool:
            literal.m_type = OstraneCommon::EXPR_UINT;
            literal.m_flags = OstraneCommon::EXPR_FLAG_BOOL;
            literal.m_data.valUInt64 = value.boolean ? 1 : 0;
            break;
        case ParameterValue::Kind::Int:
        case ParameterValue::Kind::UInt:
            literal.m_type =
                value.kind == ParameterValue::Kind::Int ? OstraneCommon::EXPR_INT : OstraneCommon::EXPR_UINT;
            literal.m_data.valUInt64 = value.bits;
            break;
        case ParameterValue::Kind::Double:
            literal.m_type = OstraneCommon::EXPR_FLOAT;
            literal.m_data.valFloat = value.number;
            break;
        case ParameterValue::Kind::String:
        case ParameterValue::Kind::Base64:
            literal.m_type = OstraneCommon::EXPR_STRING;
            literal.m_str = value.text;
            break;
        case ParameterValue::Kind::Bytes:
            literal.m_type = OstraneCommon::EXPR_BYTES;
            literal.m_str = value.text;
            break;
    }
    return literal;
}

class Binder {
public:
    Binder(const CompiledStatements& compiled, const StatementParameters& parameters, BoundValues& out,
           Failure& failure)
        : m_compiled(compiled), m_parameters(parameters), m_out(out), m_failure(failure) {}

    int BindUse(const ParameterUse& use);
    int CheckOneof(const OneofUse& use);
    int BindExpression(const ExpressionUse& use);
    int CheckAllUsed();

private:
    int Find(const Expr& question, const ParameterValue*& out);
    int BindIndex(const ParameterUse& use, const ParameterValue& value);
    int Convert(const ParameterUse& use, const ParameterValue& value, FieldValue& out);
    int FailUse(const ParameterUse& use, const std::string& reason, const std::string& hint = std::string()) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, use.place,
                    ParameterName(*use.question) + ": " + reason, hint, use.field);
    }

    const CompiledStatements& m_compiled;
    const StatementParameters& m_parameters;
    BoundValues& m_out;
    Failure& m_failure;
};

int Binder::Find(const Expr& question, const ParameterValue*& out) {
    out = FindParameter(m_parameters, question);
    if (out != nullptr) {
        return 0;
    }
    return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME,
                TokenAt(m_compiled.text, question.m_self.m_tokenOffset), ParameterName(question) + " has no value");
}

int Binder::BindIndex(const ParameterUse& use, const ParameterValue& value) {
    if (value.kind != ParameterValue::Kind::Int && value.kind != ParameterValue::Kind::UInt) {
        return FailUse(use, "an index is an integer");
    }
    constexpr int64_t kLargest = std::numeric_limits<int32_t>::max();
    constexpr int64_t kSmallest = std::numeric_limits<int32_t>::min();
    int64_t index = static_cast<int64_t>(value.bits);
    if (value.kind == ParameterValue::Kind::UInt && value.bits > static_cast<uint64_t>(kLargest)) {
        index = kLargest;
    }
    m_out.indexes[static_cast<size_t>(use.slot)] = static_cast<int32_t>(std::max(index, kSmallest));
    return 0;
}

int Binder::Convert(const ParameterUse& use, const ParameterValue& value, FieldValue& out) {
    ExprVariant literal = ToLiteral(value);
    if (value.kind == ParameterValue::Kind::Base64 && use.field->type() == FieldDescriptor::TYPE_BYTES) {
        literal.m_type = OstraneCommon::EXPR_BYTES;
        literal.m_str.clear();
        if (!OstraneCommon::DecodeBase64(value.text, literal.m_str)) {
            return FailUse(use, "the value for bytes is not base64", OstraneCommon::BASE64_HINT);
        }
    }
    Misfit misfit;
    const int ret = ConvertValue(literal, use.field, false, out, misfit);
    return ret == 0 ? 0 : FailUse(use, misfit.message, misfit.hint);
}

int Binder::BindUse(const ParameterUse& use) {
    const ParameterValue* value = nullptr;
    int ret = Find(*use.question, value);
    if (ret != 0) {
        return ret;
    }
    if (use.kind == ParameterUse::Kind::Index) {
        return BindIndex(use, *value);
    }
    BoundValue& bound = m_out.values[static_cast<size_t>(use.slot)];
    const std::string name = NameOf(use.field);
    if (value->kind == ParameterValue::Kind::Null) {
        if (use.kind == ParameterUse::Kind::Value && use.field->is_required()) {
            ret = FailUse(use, name + " is required and cannot be cleared");
            return m_failure.error.code = OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE;
        }
        bound.kind = BoundValue::Kind::Null;
        return use.takesNull ? 0 : FailUse(use, "null does not fit " + name);
    }
    if (value->kind == ParameterValue::Kind::List) {
        if (!use.takesList) {
            return FailUse(use, "a list does not fit " + name + ", where one value stands");
        }
        if (use.field->message_type() != nullptr && !value->items.empty()) {
            return FailUse(use, "no parameter can hold messages", "write them as {name: :parameter, ..}");
        }
        bound.kind = BoundValue::Kind::List;
        bound.list.resize(value->items.size());
        for (size_t i = 0; i < value->items.size() && ret == 0; ++i) {
            const bool isSingle = value->items[i].kind != ParameterValue::Kind::List &&
                                  value->items[i].kind != ParameterValue::Kind::Null;
            ret = isSingle ? Convert(use, value->items[i], bound.list[i])
                           : FailUse(use, "an element of the list is no value of " + name);
        }
        return ret;
    }
    if (use.field->message_type() != nullptr) {
        const std::string what = use.field->is_map() ? "map" : "message";
        return FailUse(
            use, "no parameter can hold a " + what,
            use.field->is_map() ? "write it as {'key': :parameter, ..}" : "write it as {name: :parameter, ..}");
    }
    if (!use.takesSingle && use.kind == ParameterUse::Kind::Value) {
        return FailUse(use, "one value does not fit " + name + ", " + KindOf(use.field), "give a list");
    }
    bound.kind = BoundValue::Kind::Single;
    return Convert(use, *value, bound.single);
}

// Behind BindUse of every member.
int Binder::CheckOneof(const OneofUse& use) {
    const OneofUse::Member* set = nullptr;
    for (const OneofUse::Member& member : use.members) {
        const bool isNull =
            member.slot >= 0 && m_out.values[static_cast<size_t>(member.slot)].kind == BoundValue::Kind::Null;
        if (!isNull && set != nullptr) {
            return FailBothSet(*set, member, "give null for one of them", m_failure);
        }
        set = isNull ? set : &member;
    }
    return 0;
}

int Binder::BindExpression(const ExpressionUse& use) {
    const CompiledStatement& statement = m_compiled.statements[static_cast<size_t>(use.statement)];
    const size_t index = static_cast<size_t>(use.index);
    const PlanExpr& expr = use.isCondition ? statement.conditions[index] : statement.computed[index].expr;
    int ret = BindTree(expr.tree, expr.scope, use.isCondition, m_compiled.text, m_parameters,
                       m_out.expressions[static_cast<size_t>(use.slot)], m_failure);
    if (ret == 0 && !use.isCondition) {
        ret = CheckComputedType(m_out.expressions[static_cast<size_t>(use.slot)].Type(), expr,
                                statement.computed[index].field, m_failure);
    }
    return ret;
}

int Binder::CheckAllUsed() {
    const auto& names = m_compiled.list.parameterNames;
    for (const auto& named : m_parameters.named) {
        if (std::find(names.begin(), names.end(), named.first) == names.end()) {
            return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, Place(),
                        "the statements have no parameter :" + named.first,
                        OstraneCommon::NameHint(named.first, names));
        }
    }
    const size_t count = static_cast<size_t>(m_compiled.list.parameterCount);
    if (m_parameters.positional.size() > count) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, Place(),
                    std::to_string(m_parameters.positional.size()) + " values are given for " + std::to_string(count) +
                        " parameters");
    }
    return 0;
}

// Text from JSON is base64 where it meets bytes, and itself elsewhere: the expression knows which.
ExprVariant ToOperand(const ParameterValue& value) {
    ExprVariant operand = ToLiteral(value);
    if (value.kind == ParameterValue::Kind::Base64) {
        operand.m_type = OstraneCommon::EXPR_BYTES_TEXT;
    }
    return operand;
}

}  // namespace

int BindTree(const Expr* tree, const OstraneCommon::ExprScope& scope, bool isCondition, const std::string& text,
             const StatementParameters& parameters, OstraneCommon::BoundExpr& out, Failure& failure) {
    std::vector<const Expr*> questions;
    CollectParameters(tree, questions);
    OstraneCommon::ExprBindings bindings;
    for (const Expr* question : questions) {
        const Place place = TokenAt(text, question->m_self.m_tokenOffset);
        const ParameterValue* value = FindParameter(parameters, *question);
        if (value == nullptr) {
            return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, place,
                        ParameterName(*question) + " has no value");
        }
        const bool isNamed = !question->m_self.m_str.empty();
        const bool isList = value->kind == ParameterValue::Kind::List;
        std::vector<ExprVariant> items(isList ? value->items.size() : 1);
        for (size_t i = 0; i < items.size(); ++i) {
            const ParameterValue& item = isList ? value->items[i] : *value;
            if (isList && item.kind == ParameterValue::Kind::List) {
                return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, place,
                            ParameterName(*question) + ": lists in lists are no values");
            }
            items[i] = ToOperand(item);
        }
        if (isList) {
            isNamed ? bindings.SetList(question->m_self.m_str, items)
                    : bindings.SetList(question->m_self.m_data.valUInt64, items);
        } else {
            isNamed ? bindings.Set(question->m_self.m_str, items[0])
                    : bindings.Set(question->m_self.m_data.valUInt64, items[0]);
        }
    }
    OstraneCommon::ExprError error;
    const int ret = isCondition ? OstraneCommon::BoundExpr::BindCondition(*tree, scope, bindings, out, error)
                                : OstraneCommon::BoundExpr::Bind(*tree, scope, bindings, out, error);
    return ret == 0 ? 0 : Fail(failure, ret, error);
}

int BindParameters(const CompiledStatements& compiled, const StatementParameters& parameters, BoundValues& out,
                   int& statement, Failure& failure) {
    out.indexes.resize(static_cast<size_t>(compiled.indexSlots));
    out.values.resize(static_cast<size_t>(compiled.valueSlots));
    out.expressions.resize(compiled.expressionUses.size());
    Binder binder(compiled, parameters, out, failure);
    for (const ParameterUse& use : compiled.parameterUses) {
        const int ret = binder.BindUse(use);
        if (ret != 0) {
            statement = use.statement;
            NameField(compiled.statements[static_cast<size_t>(statement - 1)], failure);
            return ret;
        }
    }
    for (const OneofUse& use : compiled.oneofUses) {
        const int ret = binder.CheckOneof(use);
        if (ret != 0) {
            statement = use.statement;
            return ret;
        }
    }
    for (const ExpressionUse& use : compiled.expressionUses) {
        const int ret = binder.BindExpression(use);
        if (ret != 0) {
            statement = use.statement + 1;
            NameField(compiled.statements[static_cast<size_t>(use.statement)], failure);
            return ret;
        }
    }
    statement = 0;
    return binder.CheckAllUsed();
}

}  // namespace OstraneRecord
