// Binding of LIKE, CONTAINS and the functions.
#include <algorithm>
#include <utility>

#include "common/err_code.h"
#include "expr/eval_bind.h"
#include "expr/like_pattern.h"
#include "expr/name_hint.h"

namespace OstraneCommon {

NodePtr Binder::BindLike(const Expr& expr) {
    if (!TakeOperands(expr, 2, 2)) {
        return nullptr;
    }
    NodePtr operands[2];
    for (int i = 0; i < 2; ++i) {
        operands[i] = Bind(expr.Operand(i));
        if (operands[i] == nullptr || !IsScalar(*operands[i])) {
            return nullptr;
        }
        if (operands[i]->type.kind != ValueKind::Null && !IsTextKind(operands[i]->type.kind)) {
            return TypeError(expr.Operand(i)->m_self, "LIKE compares texts, not " + KindText(*operands[i]));
        }
    }
    if (!SettleSide(*operands[0], operands[1]) || !SettleSide(*operands[1], operands[0])) {
        return nullptr;
    }
    const Value* const pattern = operands[1]->Constant();
    if (pattern != nullptr && pattern->IsText() && !LikePattern().Compile(pattern->text, pattern->size, false)) {
        return TypeError(expr.Operand(1)->m_self, "the pattern ends in a lone backslash",
                         "a backslash itself is written twice in a pattern");
    }
    Share(operands[0], operands[1]);
    NodePtr like = MakeLike(std::move(operands[0]), std::move(operands[1]));
    return expr.m_self.m_type == EXPR_LIKE ? std::move(like) : MakeNot(std::move(like));
}

NodePtr Binder::BindContains(const Expr& expr) {
    if (!TakeOperands(expr, 2, 2)) {
        return nullptr;
    }
    NodePtr whole = Bind(expr.Operand(0));
    if (whole == nullptr) {
        return nullptr;
    }
    NodePtr part = Bind(expr.Operand(1));
    if (part == nullptr) {
        return nullptr;
    }
    NodePtr node;
    if (whole->type.kind == ValueKind::List) {
        node = BindInField(std::move(part), std::move(whole));
    } else {
        if (!IsScalar(*whole) || !IsScalar(*part) || !SettleSide(*whole, part) || !SettleSide(*part, whole)) {
            return nullptr;
        }
        const bool fits = (IsTextKind(whole->type.kind) || whole->type.kind == ValueKind::Null) &&
                          (IsTextKind(part->type.kind) || part->type.kind == ValueKind::Null);
        if (!fits) {
            return TypeError(expr.m_self, "CONTAINS looks into a list or for a text in a text, not for " +
                                              KindText(*part) + " in " + KindText(*whole));
        }
        Share(whole, part);
        node = MakeSubstring(std::move(whole), std::move(part));
    }
    if (node == nullptr) {
        return nullptr;
    }
    return expr.m_self.m_type == EXPR_CONTAINS ? std::move(node) : MakeNot(std::move(node));
}

NodePtr Binder::BindFunction(const Expr& expr) {
    if (expr.m_self.m_str == "size") {
        return BindSize(expr);
    }
    if (expr.m_self.m_str == "coalesce") {
        return BindCoalesce(expr);
    }
    return Fail(OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, expr.m_self, UnknownFunction(expr.m_self.m_str),
                FUNCTION_HINT);
}

NodePtr Binder::BindSize(const Expr& expr) {
    if (!TakeOperands(expr, 1, 1)) {
        return nullptr;
    }
    NodePtr operand = Bind(expr.Operand(0));
    if (operand == nullptr) {
        return nullptr;
    }
    const ValueKind kind = operand->type.kind;
    const bool fits = kind == ValueKind::List || kind == ValueKind::Map || IsTextKind(kind) || kind == ValueKind::Null;
    if (!fits) {
        return TypeError(expr.Operand(0)->m_self,
                         "size() counts lists, maps, texts and bytes, not " + KindText(*operand));
    }
    if (const ConstantListNode* const list = dynamic_cast<const ConstantListNode*>(operand.get())) {
        NodePtr count = std::make_unique<ConstantNode>(Value::Int(list->count));
        count->type.kind = ValueKind::Integer;
        return count;
    }
    return MakeSize(std::move(operand));
}

NodePtr Binder::BindCoalesce(const Expr& expr) {
    if (!TakeOperands(expr, 1, MAX_NODE_COUNT)) {
        return nullptr;
    }
    std::vector<NodePtr> operands;
    size_t leader = 0;  // the operand whose type the others must fit
    for (const Expr* const operand : *expr.m_operands) {
        operands.push_back(Bind(operand));
        if (operands.back() == nullptr || !IsScalar(*operands.back())) {
            return nullptr;
        }
        const bool isEnum = operands.back()->type.kind == ValueKind::Enum;
        if (operands[leader]->type.kind == ValueKind::Null || (isEnum && operands[leader]->Constant() != nullptr)) {
            leader = operands.size() - 1;
        }
    }
    // One that is bytes settles all, wherever it stands.
    const auto isBytes = [](const NodePtr& operand) { return operand->type.kind == ValueKind::Bytes; };
    const size_t bytes =
        static_cast<size_t>(std::find_if(operands.begin(), operands.end(), isBytes) - operands.begin());
    for (size_t i = 0; i < operands.size() && bytes < operands.size(); ++i) {
        if (!SettleSide(*operands[bytes], operands[i])) {
            return nullptr;
        }
    }
    ValueType type = operands[leader]->type;
    for (size_t i = 0; i < operands.size(); ++i) {
        if (!IsOneKind(*operands[leader], *operands[i])) {
            const bool isBehind = i > leader;
            return TypeError(
                expr.Operand(static_cast<int>(i))->m_self,
                "coalesce() mixes " + KindsText(*operands[isBehind ? leader : i], *operands[isBehind ? i : leader]),
                "its values are all numbers, all texts, all bools, or all of one enum");
        }
        bool isEnumName = false;
        const bool isField = operands[leader]->isFloatField;
        // The values are handed on, not compared: a literal beside a float field stays as it is.
        operands[leader]->isFloatField = false;
        const bool fits = i == leader || Settle(operands[leader], operands[i], EXPR_COMPARE_EQ, isEnumName);
        operands[leader]->isFloatField = isField;
        if (!fits) {
            return nullptr;
        }
        if (isEnumName) {
            return TypeError(expr.Operand(static_cast<int>(i))->m_self, "coalesce() mixes an enum and a text");
        }
        if (operands[i]->type.kind == ValueKind::Double) {
            type = operands[i]->type;
        }
    }
    std::vector<NodePtr*> places;
    for (NodePtr& operand : operands) {
        places.push_back(&operand);
    }
    ShareAll(places);
    NodePtr node = MakeCoalesce(std::move(operands));
    node->type.kind = type.kind;
    node->type.enumType = type.enumType;
    return node;
}

}  // namespace OstraneCommon
