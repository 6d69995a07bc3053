// From parsed statements to checked ones.
#ifndef OSTRANE_RECORD_STATEMENT_COMPILER_H_
#define OSTRANE_RECORD_STATEMENT_COMPILER_H_

#include "record/compiled_statements.h"

namespace OstraneRecord {

// Parses `compiled.text` and fills the rest of `compiled`, whose text, descriptor and options are set.
// Returns 0, or a negative code with the reason in `failure` and the number of the statement at fault in
// `statement`.
int CompileStatements(CompiledStatements& compiled, int& statement, Failure& failure);

// What fails without a field of its own, such as a condition, fails at the field that the statement is about.
void NameField(const CompiledStatement& statement, Failure& failure);

// Converts the parameters for every use. `statement` is that of the first use that does not fit.
int BindParameters(const CompiledStatements& compiled, const StatementParameters& parameters, BoundValues& out,
                   int& statement, Failure& failure);

// Binds an expression with the values of its parameters.
int BindTree(const OstraneCommon::Expr* tree, const OstraneCommon::ExprScope& scope, bool isCondition,
             const std::string& text, const StatementParameters& parameters, OstraneCommon::BoundExpr& out,
             Failure& failure);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_STATEMENT_COMPILER_H_
