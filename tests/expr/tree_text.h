// Trees as text that hides nothing: kinds, flags, values and structure. Tests compare these.
//
//   qty < 5 AND state = 'OPEN'   ->   (AND (< qty 5) (= state 'OPEN'))
#ifndef OSTRANE_TESTS_EXPR_TREE_TEXT_H_
#define OSTRANE_TESTS_EXPR_TREE_TEXT_H_

#include <cinttypes>
#include <cstdio>
#include <string>

#include "common/expr.h"

namespace OstraneTests {

inline std::string HexText(const std::string& bytes) {
    std::string out;
    for (char c : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        out += digits;
    }
    return out;
}

// Printable text as it is, any other as bytes.
inline std::string PlainText(const std::string& text) {
    for (char c : text) {
        if (c < ' ' || c > '~') {
            return "#" + HexText(text);
        }
    }
    return "'" + text + "'";
}

inline std::string KindText(OstraneCommon::ExprType type) {
    using namespace OstraneCommon;
    switch (type) {
        case EXPR_COMPARE_EQ:
            return "=";
        case EXPR_COMPARE_NE:
            return "<>";
        case EXPR_COMPARE_LT:
            return "<";
        case EXPR_COMPARE_LE:
            return "<=";
        case EXPR_COMPARE_GT:
            return ">";
        case EXPR_COMPARE_GE:
            return ">=";
        case EXPR_AND:
            return "AND";
        case EXPR_OR:
            return "OR";
        case EXPR_NOT:
            return "NOT";
        case EXPR_BITWISE_AND:
            return "&";
        case EXPR_BITWISE_NOT:
            return "~";
        case EXPR_OP_ADD:
            return "+";
        case EXPR_OP_SUB:
            return "-";
        case EXPR_OP_MULT:
            return "*";
        case EXPR_OP_DIV:
            return "/";
        case EXPR_CONTAINS:
            return "CONTAINS";
        case EXPR_NOT_CONTAINS:
            return "NOT-CONTAINS";
        case EXPR_LIKE:
            return "LIKE";
        case EXPR_NOT_LIKE:
            return "NOT-LIKE";
        case EXPR_IN:
            return "IN";
        case EXPR_NOT_IN:
            return "NOT-IN";
        case EXPR_BETWEEN:
            return "BETWEEN";
        case EXPR_VALUE_LIST:
            return "LIST";
        case EXPR_ASSIGN_LIST:
            return "MESSAGE";
        case EXPR_ASSIGN:
            return "ASSIGN";
        case EXPR_CMD_FUNC_CALL:
            return "CALL";
        case EXPR_INDEX_RANGE:
            return "RANGE";
        default:
            return "kind" + std::to_string(static_cast<int>(type));
    }
}

inline std::string LeafText(const OstraneCommon::ExprVariant& value) {
    using namespace OstraneCommon;
    switch (value.m_type) {
        case EXPR_UINT:
            if ((value.m_flags & EXPR_FLAG_BOOL) != 0) {
                return value.m_data.valUInt64 == 1 ? "true" : value.m_data.valUInt64 == 0 ? "false" : "bad bool";
            }
            return std::to_string(value.m_data.valUInt64);
        case EXPR_INT:
            return value.m_data.valInt64 < 0 ? std::to_string(value.m_data.valInt64) : "bad int";
        case EXPR_FLOAT: {
            char text[40];
            std::snprintf(text, sizeof(text), "f%a", value.m_data.valFloat);
            return text;
        }
        case EXPR_UINT_STRING:
            return "digits" + value.m_str;
        case EXPR_INT_STRING:
            return "minus-digits" + value.m_str;
        case EXPR_STRING:
            return PlainText(value.m_str);
        case EXPR_BYTES:
            return "x" + HexText(value.m_str);
        case EXPR_NULL:
            return "null";
        case EXPR_QUESTION:
            return value.m_str.empty() ? "?" + std::to_string(value.m_data.valUInt64) : ":" + value.m_str;
        case EXPR_UNRESOLVE:
            return ((value.m_flags & EXPR_FLAG_NAME) != 0 ? "" : "not-a-name ") + value.m_str;
        default:
            return "";
    }
}

inline std::string TreeText(const OstraneCommon::Expr* node) {
    if (node == nullptr) {
        return "(nothing)";
    }
    const std::string leaf = LeafText(node->m_self);
    if (!leaf.empty() && node->IsOperandEmpty()) {
        return leaf;
    }
    std::string out = "(" + (leaf.empty() ? KindText(node->m_self.m_type) : leaf);
    if (leaf.empty() && !node->m_self.m_str.empty()) {
        out += " " + PlainText(node->m_self.m_str);
    }
    if (node->m_children != nullptr) {
        for (const OstraneCommon::Expr* child : *node->m_children) {
            out += " key:" + TreeText(child);
        }
    }
    for (size_t i = 0; i < node->OperandCount(); ++i) {
        out += " " + TreeText((*node->m_operands)[i]);
    }
    return out + ")";
}

}  // namespace OstraneTests

#endif  // OSTRANE_TESTS_EXPR_TREE_TEXT_H_
