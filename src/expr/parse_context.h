// Where parsed nodes live, and how a parse error is told.
#ifndef OSTRANE_EXPR_PARSE_CONTEXT_H_
#define OSTRANE_EXPR_PARSE_CONTEXT_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "common/expr.h"

namespace OstraneCommon {

// Owns the nodes of everything parsed into it, and frees them all when it ends.
class ExprParseContext {
public:
    ExprParseContext() = default;
    ExprParseContext(const ExprParseContext&) = delete;
    ExprParseContext& operator=(const ExprParseContext&) = delete;

    // A node of this kind whose token starts at `offset`. The address stays valid.
    Expr* NewNode(ExprType type, int32_t offset);
    // An empty list of nodes. The address stays valid.
    std::vector<Expr*>* NewList();
    size_t NodeCount() const { return m_nodes.size(); }

private:
    std::deque<Expr> m_nodes;
    std::deque<std::vector<Expr*>> m_lists;
};

// Why and where a text does not parse or does not fit.
struct ExprError {
    int code = 0;         // a negative result code
    size_t offset = 0;    // of the offending text, in bytes from 0
    size_t length = 0;    // of the offending text in bytes; 0 at the end of the input
    int line = 0;         // from 1
    int column = 0;       // in code points, from 1
    std::string message;  // one sentence without a full stop: expected ']' after the index
    std::string hint;     // what to write instead, or empty
    int statement = 0;    // its number from 1 when a list of statements does not parse
};

// Sets line and column of `error` from its offset into `text`. Lines end with '\n'; a byte that is not
// part of a UTF-8 sequence counts as one code point.
void LocateError(const std::string& text, ExprError& error);

// What a person is shown: the code with its name, the line of `text` with a caret, and the hint.
//
//   error -4377 COMMON_ERR_INVALID_EXPR_SYNTAX: expected ']' after the index
//     PUSH scores[1 = 7
//                   ^
//
// Only what a terminal can show is in it: control bytes and what is not UTF-8 become replacement
// characters, and a long line is cut around the caret. An error whose line is 0 has no place and shows its
// message and hint alone. Ends with a line feed.
std::string ShowError(const std::string& text, const ExprError& error, const std::string& codeName);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_PARSE_CONTEXT_H_
