// The trees of set and push expressions, as the field operations read them.
#ifndef OSTRANE_RECORD_VALUE_EXPR_H_
#define OSTRANE_RECORD_VALUE_EXPR_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

#include "common/expr.h"
#include "record/field_value.h"

namespace OstraneRecord {

// The index text, then one assignment to "$". Points to the value, which outlives it. The operations only
// read it, so a finished tree may be shared by threads.
class ValueExpr {
public:
    ValueExpr(bool isSet, int index, const FieldValue& value, const google::protobuf::FieldDescriptor* field) {
        ToVariant(value, field, m_value.m_self);
        m_valueList.assign(1, &m_value);
        m_assign.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
        m_assign.m_self.m_str = "$";
        m_assign.m_operands = &m_valueList;
        m_index.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
        m_index.m_self.m_str = std::to_string(index);
        m_operands.reserve(2);
        m_operands.push_back(&m_index);
        m_operands.push_back(&m_assign);
        m_tree.m_self.m_type = isSet ? OstraneCommon::EXPR_OP_SET : OstraneCommon::EXPR_OP_PUSH;
        m_tree.m_operands = &m_operands;
    }
    ValueExpr(const ValueExpr&) = delete;
    ValueExpr& operator=(const ValueExpr&) = delete;

    OstraneCommon::Expr& Tree() { return m_tree; }

private:
    OstraneCommon::Expr m_tree;
    OstraneCommon::Expr m_index;
    OstraneCommon::Expr m_assign;
    OstraneCommon::Expr m_value;
    std::vector<OstraneCommon::Expr*> m_operands;
    std::vector<OstraneCommon::Expr*> m_valueList;
};

// The same with any number of assignments: to "$", or one to each sub-field of a message.
class AssignExpr {
public:
    AssignExpr(bool isSet, int index, size_t assigns) : m_assigns(assigns), m_values(assigns), m_lists(assigns) {
        m_tree.m_self.m_type = isSet ? OstraneCommon::EXPR_OP_SET : OstraneCommon::EXPR_OP_PUSH;
        m_index.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
        m_index.m_self.m_str = std::to_string(index);
        m_operands.reserve(assigns + 1);
        m_operands.push_back(&m_index);
        m_tree.m_operands = &m_operands;
    }
    AssignExpr(const AssignExpr&) = delete;
    AssignExpr& operator=(const AssignExpr&) = delete;

    void Add(const std::string& target, const FieldValue& value, const google::protobuf::FieldDescriptor* field) {
        const size_t i = m_operands.size() - 1;
        ToVariant(value, field, m_values[i].m_self);
        m_lists[i].push_back(&m_values[i]);
        m_assigns[i].m_self.m_type = OstraneCommon::EXPR_ASSIGN;
        m_assigns[i].m_self.m_str = target;
        m_assigns[i].m_operands = &m_lists[i];
        m_operands.push_back(&m_assigns[i]);
    }
    OstraneCommon::Expr& Tree() { return m_tree; }

private:
    OstraneCommon::Expr m_tree;
    OstraneCommon::Expr m_index;
    std::vector<OstraneCommon::Expr> m_assigns;
    std::vector<OstraneCommon::Expr> m_values;
    std::vector<std::vector<OstraneCommon::Expr*>> m_lists;
    std::vector<OstraneCommon::Expr*> m_operands;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_VALUE_EXPR_H_
