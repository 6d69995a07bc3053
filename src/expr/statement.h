// Statements as they are written: what was typed, with its places, before any schema is looked at.
//
//   ExprParseContext context;
//   StatementList list;
//   ExprError error;
//   ParseStatements("PUSH scores[1] = 7; POP items[*] WHERE qty < 5", context, list, error);
//
// How the parts of a statement become nodes:
//
//   7  -7  1.5            EXPR_UINT (not negative), EXPR_INT (negative), EXPR_FLOAT (-inf and -nan too)
//   'a'  x'0AFF'          EXPR_STRING, EXPR_BYTES (decoded, in m_str)
//   true  null            EXPR_UINT 1 with EXPR_FLAG_BOOL, EXPR_NULL
//   ?  :name              EXPR_QUESTION: the number from 1 in m_data.valUInt64, or the name in m_str
//   a.b[3].c  $  $$.a     EXPR_UNRESOLVE with EXPR_FLAG_NAME, its canonical text in m_str (ParseName
//                         takes it apart); the parameters among its indexes as operands, in order
//   [v, w]                EXPR_VALUE_LIST
//   {a: v, b: w}          EXPR_ASSIGN_LIST of EXPR_ASSIGN, each with the name in m_str ("[pkg.name]" of
//                         an extension) and operand 0 the value; a key that is no name ('hp', 7, a
//                         parameter) is children[0] instead; true and false have both
//   0..2, 7               EXPR_INDEX_RANGE, its canonical text in m_str; parameters as operands
//   x AND y AND z         EXPR_AND with two or more operands, EXPR_OR alike; parentheses keep their own node
//   x = y  x <> y ..      EXPR_COMPARE_EQ .. with two operands; IS NULL is EXPR_COMPARE_EQ with EXPR_NULL,
//                         IS NOT NULL is EXPR_COMPARE_NE with it
//   x BETWEEN a AND b     EXPR_BETWEEN with three operands; NOT BETWEEN is EXPR_NOT over it
//   x IN (a, b)           EXPR_IN with x and an EXPR_VALUE_LIST, a name or a parameter
//   x + y  x & y          EXPR_OP_ADD, EXPR_BITWISE_AND .. with two operands, the left one the chain before
//   -x  ~x                EXPR_OP_SUB with one operand, EXPR_BITWISE_NOT
//   size(x)               EXPR_CMD_FUNC_CALL with the name in m_str, in small letters
//
// A leaf has depth 0 and any other node one more than its deepest operand, an EXPR_ASSIGN none more. No
// parsed tree is deeper than MAX_NESTING: whoever walks one may recurse.
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
    std::string name;          // of the field, or the full name of the extension
    bool isExtension = false;  // written .[pkg.name]
    int32_t offset = 0;        // of the name
    // Null; or
    //   EXPR_UINT, EXPR_INT              a lone number, an index or a map key; an index beyond 32 bits stands
    //                                    for the largest or smallest one, a key is what it is
    //   EXPR_UINT_STRING, EXPR_INT_STRING  a lone number beyond 64 bits, its text in m_str; no map's key
    //   EXPR_STRING, EXPR_UINT with EXPR_FLAG_BOOL  a map key
    //   EXPR_QUESTION                    a parameter, an index or a map key
    //   EXPR_INDEX_RANGE                 a selector that is not a lone number; in statements' paths alone
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
    Expr* where = nullptr;  // never of PUSH, CLEAR and SET .. FROM
};

struct StatementList {
    std::vector<Statement> statements;
    int parameterCount = 0;                   // of parameters written `?`
    std::vector<std::string> parameterNames;  // of parameters written `:name`, each once, in order
};

// Where the first step of a name in an expression is looked up.
enum class NameRoot {
    Bare,     // a.b: in the element where the elements are messages, otherwise in the record
    Element,  // $ or $.a
    Record,   // $$.a
};

// A name in an expression, taken apart. `$` alone has no steps.
struct NamePath {
    NameRoot root = NameRoot::Bare;
    std::vector<PathStep> steps;
};

// Most brackets open at once, most prefix operators in a row, and most operators one inside another.
constexpr int MAX_NESTING = 200;
// Longest text, in bytes.
constexpr size_t MAX_TEXT_SIZE = size_t{16} << 20;
// Most nodes and path steps of one text.
constexpr size_t MAX_NODE_COUNT = 1000000;

// Parses statements separated by ';'. The nodes live in `context`. Returns 0, or
// COMMON_ERR_INVALID_EXPR_SYNTAX, of a function that is not there COMMON_ERR_INVALID_FIELD_NAME, with the
// first error's place and reason and `out` untouched.
int ParseStatements(const std::string& text, ExprParseContext& context, StatementList& out, ExprError& error);

// Parses a name as an expression writes it, such as the m_str of an EXPR_UNRESOLVE. Parameters among
// its indexes come in the order of that node's operands. Returns like ParseStatements.
int ParseName(const std::string& text, ExprParseContext& context, NamePath& out, ExprError& error);

// Appends the ranges of an EXPR_INDEX_RANGE whose operands, the parameters, have these values in
// order. Returns 0, or COMMON_ERR_INVALID_EXPR_SYNTAX and leaves `out` as it was when `selector` is no
// selector or has another number of parameters.
int BindIndexRange(const Expr& selector, const std::vector<int32_t>& values, IndexRangeList& out);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_STATEMENT_H_
