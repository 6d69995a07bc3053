// Statements as they are written: what was typed, with its places, before any schema is looked at.
//
//   ExprParseContext context;
//   StatementList list;
//   ExprError error;
//   ParseStatements("PUSH scores[1] = 7; POP items[*] WHERE qty < 5", context, list, error);
//
// How the parts of a statement become nodes:
//
//   7  -7  1.5            EXPR_UINT (not negative), EXPR_INT (negative), EXPR_FLOAT
//   'a'  x'0AFF'          EXPR_STRING, EXPR_BYTES (decoded, in m_str)
//   true  null            EXPR_UINT 1 with EXPR_FLAG_BOOL, EXPR_NULL
//   ?  :name              EXPR_QUESTION: the number from 1 in m_data.valUInt64, or the name in m_str
//   a.b[3].c              EXPR_UNRESOLVE with EXPR_FLAG_NAME, its canonical text in m_str; the
//                         parameters among its indexes as operands, in order
//   [v, w]                EXPR_VALUE_LIST
//   {a: v, b: w}          EXPR_ASSIGN_LIST of EXPR_ASSIGN, each with the name in m_str and operand 0 the
//                         value; a key that is no name ('hp', 7, true) is children[0] instead
//   0..2, 7               EXPR_INDEX_RANGE, its canonical text in m_str; parameters as operands
//   x = y  x <> y ..      EXPR_COMPARE_EQ .. with two operands; IS NULL is EXPR_COMPARE_EQ with EXPR_NULL
//   x BETWEEN a AND b     EXPR_BETWEEN with three operands; NOT BETWEEN is EXPR_NOT over it
//   x IN (a, b)           EXPR_IN with x and an EXPR_VALUE_LIST, a name or a parameter
//   -x  ~x                EXPR_OP_SUB with one operand, EXPR_BITWISE_NOT
//   size(x)               EXPR_CMD_FUNC_CALL with the name in m_str
#ifndef OSTRANE_EXPR_STATEMENT_H_
#define OSTRANE_EXPR_STATEMENT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "common/expr.h"
#include "expr/parse_context.h"

namespace OstraneCommon {

enum class StatementKind { Get, Take, Pop, Set, Push, Clear };

// One step of a path: a field and what stands in brackets behind it.
struct PathStep {
    std::string name;           // of the field, or the full name of the extension
    bool isExtension = false;   // written .[pkg.name]
    int32_t offset = 0;         // of the name
    // Null; or a lone index EXPR_INT / EXPR_UINT, a map key EXPR_STRING or EXPR_UINT with
    // EXPR_FLAG_BOOL, a parameter EXPR_QUESTION, or a selector of ranges EXPR_INDEX_RANGE.
    Expr* subscript = nullptr;
};

struct StatementPath {
    std::vector<PathStep> steps;
    int32_t begin = 0;  // of the path in the text
    int32_t end = 0;    // one past it
};

struct Statement {
    StatementKind kind = StatementKind::Get;
    int number = 0;     // from 1
    int32_t begin = 0;  // of the statement in the text
    int32_t end = 0;    // one past it
    StatementPath path;
    Expr* value = nullptr;  // of SET and PUSH with '='
    bool hasFrom = false;
    StatementPath from;     // of SET and PUSH with FROM
    Expr* where = nullptr;
};

struct StatementList {
    std::vector<Statement> statements;
    int parameterCount = 0;                   // of parameters written `?`
    std::vector<std::string> parameterNames;  // of parameters written `:name`, each once, in order
};

// Parses statements separated by ';'. The nodes live in `context`. Returns 0, or
// COMMON_ERR_INVALID_EXPR_SYNTAX with the first error's place and reason and `out` untouched.
int ParseStatements(const std::string& text, ExprParseContext& context, StatementList& out, ExprError& error);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_STATEMENT_H_
