// The ways into the grammar. Each reads the builder's whole text and throws ParseFailure when it is not
// what is asked for; what was read is then taken from the builder.
#ifndef OSTRANE_EXPR_GRAMMAR_H_
#define OSTRANE_EXPR_GRAMMAR_H_

#include "expr/parse_builder.h"

namespace OstraneCommon {

void ReadStatements(ParseBuilder& builder);
// One value or condition.
void ReadExpr(ParseBuilder& builder);
// A name as in an expression.
void ReadName(ParseBuilder& builder);
// What stands between a selector's brackets.
void ReadRanges(ParseBuilder& builder);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_GRAMMAR_H_
