// Nodes and lists live in deques, so that their addresses hold while more are made.
#include "expr/parse_context.h"

namespace OstraneCommon {

Expr* ExprParseContext::NewNode(ExprType type, int32_t offset) {
    Expr& node = m_nodes.emplace_back();
    node.m_self.m_type = type;
    node.m_self.m_tokenOffset = offset;
    return &node;
}

std::vector<Expr*>* ExprParseContext::NewList() {
    return &m_lists.emplace_back();
}

}  // namespace OstraneCommon
