// The tree of a push or a set of one element, as a parser would hand it to the operations.
#ifndef OSTRANE_BENCH_ELEMENT_EXPR_H_
#define OSTRANE_BENCH_ELEMENT_EXPR_H_

#include <list>
#include <string>
#include <vector>

#include "common/expr.h"

class ElementExpr {
public:
    ElementExpr(OstraneCommon::ExprType operation, int index) {
        m_index.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
        m_index.m_self.m_str = std::to_string(index);
        m_operands = {&m_index};
        m_tree.m_self.m_type = operation;
        m_tree.m_operands = &m_operands;
    }
    ElementExpr(const ElementExpr&) = delete;
    ElementExpr& operator=(const ElementExpr&) = delete;

    // `name`: "$" for the element itself, or one of its sub-fields.
    ElementExpr& Assign(const char* name, int32_t value) {
        OstraneCommon::ExprVariant& self = Value(name).m_self;
        self.m_type = OstraneCommon::EXPR_INT;
        self.m_data.valInt64 = value;
        return *this;
    }
    ElementExpr& Assign(const char* name, double value) {
        OstraneCommon::ExprVariant& self = Value(name).m_self;
        self.m_type = OstraneCommon::EXPR_FLOAT;
        self.m_data.valFloat = value;
        return *this;
    }
    ElementExpr& Assign(const char* name, const std::string& value) {
        OstraneCommon::ExprVariant& self = Value(name).m_self;
        self.m_type = OstraneCommon::EXPR_STRING;
        self.m_str = value;
        return *this;
    }
    OstraneCommon::Expr& Tree() { return m_tree; }

private:
    OstraneCommon::Expr& Value(const char* name) {
        m_assigns.emplace_back();
        Assignment& assign = m_assigns.back();
        assign.list = {&assign.value};
        assign.node.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
        assign.node.m_self.m_str = name;
        assign.node.m_operands = &assign.list;
        m_operands.push_back(&assign.node);
        return assign.value;
    }

    struct Assignment {
        OstraneCommon::Expr node;
        OstraneCommon::Expr value;
        std::vector<OstraneCommon::Expr*> list;
    };
    OstraneCommon::Expr m_tree;
    OstraneCommon::Expr m_index;
    std::list<Assignment> m_assigns;
    std::vector<OstraneCommon::Expr*> m_operands;
};

#endif  // OSTRANE_BENCH_ELEMENT_EXPR_H_
