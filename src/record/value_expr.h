// The tree of one set or push expression of a single value, as the field operations read it.
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

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_VALUE_EXPR_H_
