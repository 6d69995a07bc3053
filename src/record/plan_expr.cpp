#include "record/plan_expr.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using OstraneCommon::BoundExpr;
using OstraneCommon::Expr;
using OstraneCommon::ExprBindings;
using OstraneCommon::ExprError;
using OstraneCommon::ExprVariant;
using OstraneCommon::ValueKind;
using OstraneCommon::ValueType;

template <typename Visit>
void Walk(const Expr* tree, const Visit& visit) {
    if (tree == nullptr) {
        return;
    }
    visit(*tree);
    if (tree->m_operands != nullptr) {
        for (const Expr* operand : *tree->m_operands) {
            Walk(operand, visit);
        }
    }
    if (tree->m_children != nullptr) {
        for (const Expr* child : *tree->m_children) {
            Walk(child, visit);
        }
    }
}

// Stand-ins for the parameters, so that everything else can be checked: a list where IN takes one, else
// NULL, which fits wherever a value does.
ExprBindings StandIns(const Expr* tree) {
    ExprBindings standIns;
    Walk(tree, [&standIns](const Expr& node) {
        if (node.m_self.m_type != OstraneCommon::EXPR_QUESTION) {
            return;
        }
        ExprVariant null;
        null.m_type = OstraneCommon::EXPR_NULL;
        if (node.m_self.m_str.empty()) {
            standIns.Set(node.m_self.m_data.valUInt64, null);
        } else {
            standIns.Set(node.m_self.m_str, null);
        }
    });
    Walk(tree, [&standIns](const Expr& node) {
        const bool isIn =
            node.m_self.m_type == OstraneCommon::EXPR_IN || node.m_self.m_type == OstraneCommon::EXPR_NOT_IN;
        if (!isIn || node.OperandCount() < 2) {
            return;
        }
        const ExprVariant& list = node.Operand(1)->m_self;
        if (list.m_type != OstraneCommon::EXPR_QUESTION) {
            return;
        }
        if (list.m_str.empty()) {
            standIns.SetList(list.m_data.valUInt64, {});
        } else {
            standIns.SetList(list.m_str, {});
        }
    });
    return standIns;
}

bool IsAtParameter(const ExprError& error, const std::vector<const Expr*>& parameters) {
    for (const Expr* parameter : parameters) {
        if (parameter->m_self.m_tokenOffset >= 0 &&
            static_cast<size_t>(parameter->m_self.m_tokenOffset) == error.offset) {
            return true;
        }
    }
    return false;
}

}  // namespace

void CollectParameters(const Expr* tree, std::vector<const Expr*>& out) {
    Walk(tree, [&out](const Expr& node) {
        if (node.m_self.m_type == OstraneCommon::EXPR_QUESTION) {
            out.push_back(&node);
        }
    });
}

bool NamesElement(const Expr* tree) {
    bool found = false;
    Walk(tree, [&found](const Expr& node) {
        found = found || (node.m_self.m_type == OstraneCommon::EXPR_UNRESOLVE && node.m_self.m_str == "$");
    });
    return found;
}

int CompileExpr(bool isCondition, CompiledStatements& compiled, int statement, int index, PlanExpr& expr,
                ValueType& type, Failure& failure) {
    std::vector<const Expr*> parameters;
    CollectParameters(expr.tree, parameters);
    BoundExpr bound;
    ExprError error;
    const ExprBindings standIns = parameters.empty() ? ExprBindings() : StandIns(expr.tree);
    const int ret = isCondition ? BoundExpr::BindCondition(*expr.tree, expr.scope, standIns, bound, error)
                                : BoundExpr::Bind(*expr.tree, expr.scope, standIns, bound, error);
    // What is wrong with a stand-in says nothing about the parameter.
    if (ret != 0 && !IsAtParameter(error, parameters)) {
        return Fail(failure, ret, error);
    }
    if (ret == 0) {
        type = bound.Type();
    }
    if (parameters.empty()) {
        expr.bound = bound;
        return 0;
    }
    type.mayBeNull = true;
    ExpressionUse use;
    use.statement = statement;
    use.isCondition = isCondition;
    use.index = index;
    use.slot = expr.slot = static_cast<int>(compiled.expressionUses.size());
    compiled.expressionUses.push_back(use);
    return 0;
}

int CheckComputedType(const ValueType& type, const PlanExpr& expr, const FieldDescriptor* field, Failure& failure) {
    bool fits = false;
    std::string hint;
    switch (type.kind) {
        case ValueKind::Null:
            // Of an expression whose kind its parameters decide.
            fits = expr.slot >= 0;
            break;
        case ValueKind::Bool:
            fits = field->cpp_type() == FieldDescriptor::CPPTYPE_BOOL;
            break;
        case ValueKind::Integer:
        case ValueKind::Double:
            fits = field->cpp_type() != FieldDescriptor::CPPTYPE_BOOL &&
                   field->cpp_type() != FieldDescriptor::CPPTYPE_ENUM &&
                   field->cpp_type() != FieldDescriptor::CPPTYPE_STRING &&
                   field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE;
            break;
        case ValueKind::Text:
            fits = field->cpp_type() == FieldDescriptor::CPPTYPE_STRING ||
                   field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM;
            break;
        case ValueKind::Bytes:
            fits = field->type() == FieldDescriptor::TYPE_BYTES;
            break;
        case ValueKind::Enum:
            fits = field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM && field->enum_type() == type.enumType;
            break;
        case ValueKind::Message:
        case ValueKind::List:
        case ValueKind::Map:
            hint = "FROM copies whole messages and arrays";
            break;
    }
    if (fits) {
        return 0;
    }
    return Fail(failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, expr.place,
                "the value does not fit " + NameOf(field) + ", " + KindOf(field), hint, field);
}

std::string UnsetFieldOf(const PlanExpr& expr, const OstraneCommon::ExprRow& row, const std::string& shownSelf) {
    std::string name;
    Walk(expr.tree, [&name, &expr, &row, &shownSelf](const Expr& node) {
        if (!name.empty() || node.m_self.m_type != OstraneCommon::EXPR_UNRESOLVE) {
            return;
        }
        BoundExpr field;
        ExprError error;
        ExprVariant value;
        if (BoundExpr::Bind(node, expr.scope, ExprBindings(), field, error) == 0 &&
            field.Calculate(row, value, error) == 0 && value.m_type == OstraneCommon::EXPR_NULL) {
            name = node.m_self.m_str == "$" && expr.scope.self != nullptr ? shownSelf : node.m_self.m_str;
        }
    });
    return name;
}

}  // namespace OstraneRecord
