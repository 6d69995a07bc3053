// Puts expression trees together by hand.
//
//   ExprTree tree;
//   Expr& push = tree.Push("1", {tree.Assign("$", tree.Int(7))});
#ifndef OSTRANE_TESTS_SUPPORT_EXPR_TREE_H_
#define OSTRANE_TESTS_SUPPORT_EXPR_TREE_H_

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "common/expr.h"

class ExprTree {
public:
    using Expr = OstraneCommon::Expr;

    Expr* Node(OstraneCommon::ExprType type, std::string text = std::string()) {
        m_nodes.emplace_back();
        m_nodes.back().m_self.m_type = type;
        m_nodes.back().m_self.m_str = std::move(text);
        return &m_nodes.back();
    }
    Expr* Node(OstraneCommon::ExprType type, std::string text, std::vector<Expr*> operands) {
        Expr* node = Node(type, std::move(text));
        m_lists.push_back(std::move(operands));
        node->m_operands = &m_lists.back();
        return node;
    }

    Expr* Int(int64_t value) {
        Expr* node = Node(OstraneCommon::EXPR_INT);
        node->m_self.m_data.valInt64 = value;
        return node;
    }
    Expr* UInt(uint64_t value) {
        Expr* node = Node(OstraneCommon::EXPR_UINT);
        node->m_self.m_data.valUInt64 = value;
        return node;
    }
    Expr* Bool(bool value) {
        Expr* node = UInt(value ? 1 : 0);
        node->m_self.m_flags = OstraneCommon::EXPR_FLAG_BOOL;
        return node;
    }
    Expr* Float(double value) {
        Expr* node = Node(OstraneCommon::EXPR_FLOAT);
        node->m_self.m_data.valFloat = value;
        return node;
    }
    Expr* Text(std::string value) { return Node(OstraneCommon::EXPR_STRING, std::move(value)); }
    Expr* Name(std::string path) {
        Expr* node = Node(OstraneCommon::EXPR_UNRESOLVE, std::move(path));
        node->m_self.m_flags = OstraneCommon::EXPR_FLAG_NAME;
        return node;
    }

    Expr* Index(std::string text) { return Node(OstraneCommon::EXPR_INDEX_RANGE, std::move(text)); }
    Expr* Assign(std::string name, Expr* value) { return Node(OstraneCommon::EXPR_ASSIGN, std::move(name), {value}); }
    Expr& Set(std::string index, std::vector<Expr*> assigns) {
        return Operation(OstraneCommon::EXPR_OP_SET, std::move(index), std::move(assigns));
    }
    Expr& Push(std::string pos, std::vector<Expr*> assigns) {
        return Operation(OstraneCommon::EXPR_OP_PUSH, std::move(pos), std::move(assigns));
    }
    Expr& Pop(std::string range) { return Operation(OstraneCommon::EXPR_OP_POP, std::move(range), {}); }
    Expr& Pop(std::string range, Expr* filter) {
        return Operation(OstraneCommon::EXPR_OP_POP, std::move(range), {filter});
    }

private:
    Expr& Operation(OstraneCommon::ExprType type, std::string index, std::vector<Expr*> rest) {
        rest.insert(rest.begin(), Index(std::move(index)));
        return *Node(type, std::string(), std::move(rest));
    }

    std::deque<Expr> m_nodes;
    std::deque<std::vector<Expr*>> m_lists;
};

#endif  // OSTRANE_TESTS_SUPPORT_EXPR_TREE_H_
