// Binding of operators: the types of the operands are checked, constants are brought into the form that
// their partner compares with, and what is constant altogether is computed at once.
#include "expr/eval_bind.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <utility>

#include "common/err_code.h"
#include "expr/base64.h"
#include "expr/name_hint.h"

namespace OstraneCommon {
namespace {

// A parsed tree is at most twice as deep as its nesting; one put together by hand may be anything, a cycle
// too.
constexpr int MAX_DEPTH = 2 * MAX_NESTING + 16;

bool IsNumberKind(ValueKind kind) {
    return kind == ValueKind::Integer || kind == ValueKind::Double;
}

std::string SymbolOf(ExprType op) {
    switch (op) {
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
        case EXPR_NOT_CONTAINS:
            return "CONTAINS";
        case EXPR_LIKE:
        case EXPR_NOT_LIKE:
            return "LIKE";
        case EXPR_IN:
        case EXPR_NOT_IN:
            return "IN";
        case EXPR_BETWEEN:
            return "BETWEEN";
        default:
            return "the function";
    }
}

}  // namespace

std::string KindText(const BoundNode& node) {
    switch (node.type.kind) {
        case ValueKind::Null:
            return "NULL";
        case ValueKind::Bool:
            return "a bool";
        case ValueKind::Integer:
            return "an integer";
        case ValueKind::Double:
            return "a float";
        case ValueKind::Text:
            return "a text";
        case ValueKind::Bytes:
            return "bytes";
        case ValueKind::Enum:
            return "an enum value";
        case ValueKind::Message:
            return "a message";
        case ValueKind::List:
            return "a list";
        case ValueKind::Map:
            return "a map";
    }
    return "nothing";
}

std::string KindsText(const BoundNode& left, const BoundNode& right) {
    const bool areEnums = left.type.kind == ValueKind::Enum && right.type.kind == ValueKind::Enum;
    return areEnums ? "values of two enums" : KindText(left) + " and " + KindText(right);
}

bool IsOneKind(const BoundNode& left, const BoundNode& right) {
    const ValueKind a = left.type.kind;
    const ValueKind b = right.type.kind;
    if (a == ValueKind::Enum && b == ValueKind::Enum) {
        return left.type.enumType == right.type.enumType;
    }
    const auto goesWithEnum = [](ValueKind kind) { return kind == ValueKind::Integer || kind == ValueKind::Text; };
    return a == ValueKind::Null || b == ValueKind::Null || (IsNumberKind(a) && IsNumberKind(b)) ||
           (IsTextKind(a) && IsTextKind(b)) || (a == ValueKind::Bool && b == ValueKind::Bool) ||
           (a == ValueKind::Enum && goesWithEnum(b)) || (b == ValueKind::Enum && goesWithEnum(a));
}

ConstantNode* AsConstant(const NodePtr& node) {
    return node->Constant() == nullptr ? nullptr : static_cast<ConstantNode*>(node.get());
}

NodePtr Binder::FailAt(int code, int32_t offset, size_t length, const std::string& message, const std::string& hint) {
    m_error.code = code;
    m_error.offset = static_cast<size_t>(std::max(offset, 0));
    m_error.length = length;
    m_error.message = message;
    m_error.hint = hint;
    return nullptr;
}

NodePtr Binder::Fail(int code, const ExprVariant& place, const std::string& message, const std::string& hint) {
    const size_t length = place.m_type == EXPR_UNRESOLVE ? place.m_str.size() : 1;
    return FailAt(code, place.m_tokenOffset, length, message, hint);
}

NodePtr Binder::TypeError(const ExprVariant& place, const std::string& message, const std::string& hint) {
    return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, place, message, hint);
}

NodePtr Binder::Bind(const Expr* expr) {
    if (m_depth >= MAX_DEPTH) {
        return FailAt(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, 0, 0, "the expression is nested too deep");
    }
    if (++m_nodeCount > static_cast<int64_t>(MAX_NODE_COUNT)) {
        return FailAt(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, 0, 0, "the expression has too many nodes");
    }
    ++m_depth;
    NodePtr node = Dispatch(*expr);
    --m_depth;
    if (node == nullptr) {
        return nullptr;
    }
    node->offset = expr->m_self.m_tokenOffset;
    return Folded(std::move(node));
}

NodePtr Binder::Dispatch(const Expr& expr) {
    switch (expr.m_self.m_type) {
        case EXPR_COMPARE_EQ:
        case EXPR_COMPARE_NE:
        case EXPR_COMPARE_LT:
        case EXPR_COMPARE_LE:
        case EXPR_COMPARE_GT:
        case EXPR_COMPARE_GE:
            return BindComparison(expr);
        case EXPR_AND:
        case EXPR_OR:
        case EXPR_NOT:
            return BindConnective(expr);
        case EXPR_OP_SUB:
            return expr.OperandCount() == 1 ? BindSign(expr) : BindArithmetic(expr);
        case EXPR_BITWISE_NOT:
            return BindSign(expr);
        case EXPR_OP_ADD:
        case EXPR_OP_MULT:
        case EXPR_OP_DIV:
        case EXPR_BITWISE_AND:
            return BindArithmetic(expr);
        case EXPR_CONTAINS:
        case EXPR_NOT_CONTAINS:
            return BindContains(expr);
        case EXPR_LIKE:
        case EXPR_NOT_LIKE:
            return BindLike(expr);
        case EXPR_IN:
        case EXPR_NOT_IN:
            return BindIn(expr);
        case EXPR_BETWEEN:
            return BindBetween(expr);
        case EXPR_CMD_FUNC_CALL:
            return BindFunction(expr);
        case EXPR_QUESTION:
            return BindParameter(expr);
        case EXPR_UNRESOLVE:
            return BindName(expr, false);
        default:
            return MakeConstant(expr.m_self, expr.m_self);
    }
}

bool Binder::TakeOperands(const Expr& expr, size_t least, size_t most) {
    const size_t count = expr.OperandCount();
    if (count < least || count > most) {
        const std::string wanted = least == most ? std::to_string(least) : "at least " + std::to_string(least);
        TypeError(expr.m_self,
                  SymbolOf(expr.m_self.m_type) + " has " + std::to_string(count) + " operands, not " + wanted);
        return false;
    }
    for (const Expr* const operand : *expr.m_operands) {
        if (operand == nullptr) {
            TypeError(expr.m_self, "an operand of " + SymbolOf(expr.m_self.m_type) + " is missing");
            return false;
        }
    }
    return true;
}

// Whether the operand is one value.
bool Binder::IsScalar(const BoundNode& node) {
    ExprVariant place;
    place.m_tokenOffset = node.offset;
    switch (node.type.kind) {
        case ValueKind::Message:
            TypeError(place, "a message is no value",
                      (node.type.messageType == nullptr ? "" : FieldsHint(node.type.messageType) + ": ") +
                          std::string("name one, or ask IS NULL"));
            return false;
        case ValueKind::List:
            TypeError(place, "a repeated field or a list is no value",
                      "ask with IN, CONTAINS or size(), or name one element");
            return false;
        case ValueKind::Map:
            TypeError(place, "a map is no value", "ask for one key, or size()");
            return false;
        default:
            return true;
    }
}

// Computes a node whose operands are all known. An error, such as a division by zero, is left to happen
// when the value is asked for.
NodePtr Binder::Folded(NodePtr node) {
    const ValueKind kind = node->type.kind;
    const bool isList = kind == ValueKind::List || kind == ValueKind::Map || kind == ValueKind::Message;
    if (isList || node->readsElement || node->readsRecord || node->Constant() != nullptr) {
        return node;
    }
    EvalContext context;
    Value value;
    if (node->Eval(context, value) != 0) {
        return node;
    }
    NodePtr constant = std::make_unique<ConstantNode>(value);
    constant->type = node->type;
    constant->offset = node->offset;
    constant->tracksPresence = node->tracksPresence;
    return constant;
}

// Operands of one node of which some change from element to element and some do not: the latter are kept.
void Binder::ShareAll(std::vector<NodePtr*> nodes) {
    const auto changes = [](const NodePtr* node) { return (*node)->readsElement; };
    if (std::none_of(nodes.begin(), nodes.end(), changes)) {
        return;
    }
    for (NodePtr* const node : nodes) {
        const ValueKind kind = (*node)->type.kind;
        const bool isList = kind == ValueKind::List || kind == ValueKind::Map;
        if (!isList && !(*node)->readsElement && (*node)->readsRecord) {
            *node = MakeCached(std::move(*node), m_program.slotCount++);
        }
    }
}

void Binder::Share(NodePtr& a, NodePtr& b) {
    ShareAll({&a, &b});
}

// Brings `constant` into the form that `fixed` compares with.
bool Binder::SettleSide(const BoundNode& fixed, NodePtr& constant) {
    ConstantNode* const literal = AsConstant(constant);
    if (literal == nullptr || !literal->isLiteral) {
        return true;
    }
    const Value value = *literal->Constant();
    ExprVariant place;
    place.m_tokenOffset = literal->offset;
    NodePtr settled;
    if (fixed.isFloatField && value.IsNumber()) {
        settled = std::make_unique<ConstantNode>(RoundedToFloat(value));
        settled->type.kind = ValueKind::Double;
    } else if (fixed.type.kind == ValueKind::Enum && value.tag == Value::Tag::Text) {
        const std::string name(value.text, value.size);
        const google::protobuf::EnumValueDescriptor* const number =
            fixed.type.enumType == nullptr ? nullptr : fixed.type.enumType->FindValueByName(name);
        if (number == nullptr) {
            const std::string typeName =
                fixed.type.enumType == nullptr ? "the enum" : std::string(fixed.type.enumType->full_name());
            TypeError(place, "'" + name + "' is no value of " + typeName,
                      fixed.type.enumType == nullptr ? "" : EnumValueHint(fixed.type.enumType, name));
            m_error.length = name.size() + 2;
            return false;
        }
        settled = std::make_unique<ConstantNode>(Value::Int(number->number()));
        settled->type = fixed.type;
        settled->type.mayBeNull = false;
    } else if (fixed.type.kind == ValueKind::Bytes && literal->isBase64) {
        std::string bytes;
        if (!DecodeBase64(std::string(value.text, value.size), bytes)) {
            TypeError(place, "the value for bytes is not base64", BASE64_HINT);
            return false;
        }
        settled = MakeText(bytes, true);
    } else {
        return true;
    }
    settled->offset = literal->offset;
    constant = std::move(settled);
    return true;
}

// Checks that the two compare by `op`, and readies constants for it. `isEnumName` when a text is to be
// compared with the names of an enum as it is read.
bool Binder::Settle(NodePtr& left, NodePtr& right, ExprType op, bool& isEnumName) {
    isEnumName = false;
    if (!IsScalar(*left) || !IsScalar(*right) || !SettleSide(*left, right) || !SettleSide(*right, left)) {
        return false;
    }
    const ValueKind a = left->type.kind;
    const ValueKind b = right->type.kind;
    const bool hasEnum = a == ValueKind::Enum || b == ValueKind::Enum;
    const bool fits = IsOneKind(*left, *right);
    ExprVariant place;
    place.m_tokenOffset = right->Constant() != nullptr || left->Constant() == nullptr ? right->offset : left->offset;
    if (hasEnum && op != EXPR_COMPARE_EQ && op != EXPR_COMPARE_NE) {
        TypeError(place, "enum values have no order, they compare by =, <> and IN");
        return false;
    }
    if (!fits) {
        TypeError(place, KindsText(*left, *right) + " do not compare");
    }
    isEnumName = fits && hasEnum && (a == ValueKind::Text || b == ValueKind::Text);
    return fits;
}

NodePtr Binder::Compared(ExprType op, NodePtr left, NodePtr right) {
    bool isEnumName = false;
    if (!Settle(left, right, op, isEnumName)) {
        return nullptr;
    }
    Share(left, right);
    if (!isEnumName) {
        return MakeComparison(op, std::move(left), std::move(right));
    }
    if (left->type.kind == ValueKind::Enum) {
        return MakeEnumNameComparison(op, std::move(left), std::move(right));
    }
    return MakeEnumNameComparison(op, std::move(right), std::move(left));
}

NodePtr Binder::BindComparison(const Expr& expr) {
    if (!TakeOperands(expr, 2, 2)) {
        return nullptr;
    }
    const ExprType op = expr.m_self.m_type;
    const bool isEquality = op == EXPR_COMPARE_EQ || op == EXPR_COMPARE_NE;
    if (isEquality && expr.OperandRef(1).m_self.m_type == EXPR_NULL) {
        return BindIsNull(expr, expr.OperandRef(0));
    }
    if (isEquality && expr.OperandRef(0).m_self.m_type == EXPR_NULL) {
        return BindIsNull(expr, expr.OperandRef(1));
    }
    NodePtr left = Bind(expr.Operand(0));
    if (left == nullptr) {
        HintAtQuotes(expr.OperandRef(0), expr.OperandRef(1));
        return nullptr;
    }
    NodePtr right = Bind(expr.Operand(1));
    if (right == nullptr) {
        HintAtQuotes(expr.OperandRef(1), expr.OperandRef(0));
        return nullptr;
    }
    return Compared(op, std::move(left), std::move(right));
}

// Names of enum values are written without their quotes by whoever knows them from other languages, and texts.
void Binder::HintAtQuotes(const Expr& unknown, const Expr& partner) {
    if (m_error.code != OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME || unknown.m_self.m_type != EXPR_UNRESOLVE) {
        return;
    }
    ExprError error = m_error;
    const NodePtr node = Bind(&partner);
    if (node != nullptr && node->type.kind == ValueKind::Enum && node->type.enumType != nullptr &&
        node->type.enumType->FindValueByName(unknown.m_self.m_str) != nullptr) {
        error.hint = "write '" + unknown.m_self.m_str + "' in quotes";
    } else if (node != nullptr && node->type.kind == ValueKind::Text) {
        error.hint = QuotesHint(unknown.m_self.m_str, error.hint);
    }
    m_error = error;
}

NodePtr Binder::BindIsNull(const Expr& expr, const Expr& operand) {
    NodePtr node = operand.m_self.m_type == EXPR_UNRESOLVE ? BindName(operand, true) : Bind(&operand);
    if (node == nullptr) {
        return nullptr;
    }
    // NULL itself is never set, and has no kind.
    if (!node->tracksPresence && node->type.kind != ValueKind::Null) {
        return TypeError(operand.m_self, "IS NULL asks whether something is set, and this always is");
    }
    node = node->type.kind == ValueKind::List || node->type.kind == ValueKind::Map ? MakeSize(std::move(node))
                                                                                   : std::move(node);
    NodePtr isNull = MakeIsNull(std::move(node));
    return expr.m_self.m_type == EXPR_COMPARE_EQ ? std::move(isNull) : MakeNot(std::move(isNull));
}

NodePtr Binder::Truth(NodePtr node, const char* what) {
    if (node->type.kind == ValueKind::Bool || node->type.kind == ValueKind::Null) {
        return node;
    }
    ExprVariant place;
    place.m_tokenOffset = node->offset;
    return TypeError(place, std::string(what) + " is neither true nor false: it is " + KindText(*node));
}

NodePtr Binder::BindCondition(const Expr* expr, const char* what) {
    NodePtr node = Bind(expr);
    return node == nullptr ? nullptr : Truth(std::move(node), what);
}

NodePtr Binder::BindConnective(const Expr& expr) {
    const ExprType op = expr.m_self.m_type;
    if (!TakeOperands(expr, op == EXPR_NOT ? 1 : 2, op == EXPR_NOT ? 1 : MAX_NODE_COUNT)) {
        return nullptr;
    }
    std::vector<NodePtr> operands;
    for (const Expr* const operand : *expr.m_operands) {
        operands.push_back(BindCondition(operand, op == EXPR_NOT   ? "the operand of NOT"
                                                  : op == EXPR_AND ? "an operand of AND"
                                                                   : "an operand of OR"));
        if (operands.back() == nullptr) {
            return nullptr;
        }
    }
    if (op == EXPR_NOT) {
        return MakeNot(std::move(operands.front()));
    }
    std::vector<NodePtr*> places;
    for (NodePtr& operand : operands) {
        places.push_back(&operand);
    }
    ShareAll(places);
    return MakeConnective(op, std::move(operands));
}

NodePtr Binder::BindArithmetic(const Expr& expr) {
    if (!TakeOperands(expr, 2, 2)) {
        return nullptr;
    }
    const ExprType op = expr.m_self.m_type;
    NodePtr operands[2];
    for (int i = 0; i < 2; ++i) {
        operands[i] = Bind(expr.Operand(i));
        if (operands[i] == nullptr || !IsScalar(*operands[i])) {
            return nullptr;
        }
        const ValueKind kind = operands[i]->type.kind;
        const bool fits = kind == ValueKind::Null || kind == ValueKind::Integer ||
                          (kind == ValueKind::Double && op != EXPR_BITWISE_AND);
        if (!fits) {
            return TypeError(expr.Operand(i)->m_self, SymbolOf(op) + " computes with " +
                                                          (op == EXPR_BITWISE_AND ? "integers" : "numbers") +
                                                          ", not with " + KindText(*operands[i]));
        }
    }
    Share(operands[0], operands[1]);
    return MakeArithmetic(op, std::move(operands[0]), std::move(operands[1]));
}

NodePtr Binder::BindSign(const Expr& expr) {
    if (!TakeOperands(expr, 1, 1)) {
        return nullptr;
    }
    const ExprType op = expr.m_self.m_type;
    NodePtr operand = Bind(expr.Operand(0));
    if (operand == nullptr || !IsScalar(*operand)) {
        return nullptr;
    }
    const ValueKind kind = operand->type.kind;
    const bool fits =
        kind == ValueKind::Null || kind == ValueKind::Integer || (kind == ValueKind::Double && op == EXPR_OP_SUB);
    if (!fits) {
        return TypeError(expr.Operand(0)->m_self, SymbolOf(op) + " computes with " +
                                                      (op == EXPR_OP_SUB ? "a number" : "an integer") + ", not with " +
                                                      KindText(*operand));
    }
    return MakeUnary(op, std::move(operand));
}

NodePtr Binder::BindBetween(const Expr& expr) {
    if (!TakeOperands(expr, 3, 3)) {
        return nullptr;
    }
    NodePtr operands[3];
    for (int i = 0; i < 3; ++i) {
        operands[i] = Bind(expr.Operand(i));
        if (operands[i] == nullptr) {
            return nullptr;
        }
    }
    if (ConstantNode* const value = AsConstant(operands[0])) {
        // Each bound may want the constant in a form of its own.
        std::vector<NodePtr> sides;
        sides.push_back(Compared(EXPR_COMPARE_GE, std::make_unique<ConstantNode>(*value), std::move(operands[1])));
        if (sides.back() == nullptr) {
            return nullptr;
        }
        sides.push_back(Compared(EXPR_COMPARE_LE, std::make_unique<ConstantNode>(*value), std::move(operands[2])));
        return sides.back() == nullptr ? nullptr : MakeConnective(EXPR_AND, std::move(sides));
    }
    bool isEnumName = false;
    if (!Settle(operands[0], operands[1], EXPR_COMPARE_GE, isEnumName) ||
        !Settle(operands[0], operands[2], EXPR_COMPARE_LE, isEnumName)) {
        return nullptr;
    }
    ShareAll({&operands[0], &operands[1], &operands[2]});
    return MakeBetween(std::move(operands[0]), std::move(operands[1]), std::move(operands[2]));
}

int BindProgram(const Expr& expr, const ExprScope& scope, const BindSource& source, bool isCondition, BoundProgram& out,
                ExprError& error) {
    out.scope = scope;
    if (isCondition && expr.m_self.m_type == EXPR_NONE) {
        return 0;
    }
    ExprError reason;
    Binder binder(scope, source, out, reason);
    out.root = isCondition ? binder.BindCondition(&expr, "the condition") : binder.Bind(&expr);
    if (out.root == nullptr) {
        error = reason;
        return reason.code;
    }
    if (isCondition && scope.self != nullptr && scope.self->is_repeated()) {
        out.mask = out.root->ToMask(scope.self);
    }
    return 0;
}

}  // namespace OstraneCommon
