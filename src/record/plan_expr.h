// Expressions of statements: checked when the text is compiled, bound again when parameters come.
#ifndef OSTRANE_RECORD_PLAN_EXPR_H_
#define OSTRANE_RECORD_PLAN_EXPR_H_

#include "record/compiled_statements.h"

namespace OstraneRecord {

// Every parameter below `tree`, itself included.
void CollectParameters(const OstraneCommon::Expr* tree, std::vector<const OstraneCommon::Expr*>& out);

// Whether the tree names `$` itself, rather than a field of it.
bool NamesElement(const OstraneCommon::Expr* tree);

// Binds `expr.tree` in `expr.scope`. One that reads parameters is checked as far as it can be without them,
// stays unbound and gets a slot.
int CompileExpr(bool isCondition, CompiledStatements& compiled, int statement, int index, PlanExpr& expr,
                OstraneCommon::ValueType& type, Failure& failure);

// Whether a computed value of this type can fit the field at all.
int CheckComputedType(const OstraneCommon::ValueType& type, const PlanExpr& expr,
                      const google::protobuf::FieldDescriptor* field, Failure& failure);

// The name of the first field that the expression reads and that is unset, `shownSelf` for `$`; empty when none is.
std::string UnsetFieldOf(const PlanExpr& expr, const OstraneCommon::ExprRow& row, const std::string& shownSelf);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_PLAN_EXPR_H_
