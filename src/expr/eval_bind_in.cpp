// Binding of IN, and of CONTAINS over a list, which asks the same from the other side.
#include <google/protobuf/descriptor.h>

#include <utility>

#include "expr/eval_bind.h"

namespace OstraneCommon {

NodePtr Binder::BindIn(const Expr& expr) {
    if (!TakeOperands(expr, 2, 2)) {
        return nullptr;
    }
    NodePtr value = Bind(expr.Operand(0));
    if (value == nullptr || !IsScalar(*value)) {
        return nullptr;
    }
    const Expr& list = expr.OperandRef(1);
    NodePtr node;
    if (list.m_self.m_type == EXPR_VALUE_LIST && list.m_operands != nullptr) {
        if (!TakeOperands(list, 1, MAX_NODE_COUNT)) {
            return nullptr;
        }
        std::vector<NodePtr> items;
        for (const Expr* const item : *list.m_operands) {
            items.push_back(Bind(item));
            if (items.back() == nullptr) {
                HintAtQuotes(*item, expr.OperandRef(0));
                return nullptr;
            }
        }
        node = BindInItems(std::move(value), std::move(items));
    } else {
        NodePtr field = Bind(&list);
        if (field == nullptr) {
            return nullptr;
        }
        // A parameter that is NULL: nothing is known to be in it.
        const bool isUnknown = list.m_self.m_type == EXPR_QUESTION && field->type.kind == ValueKind::Null;
        if (field->type.kind != ValueKind::List && !isUnknown) {
            return TypeError(list.m_self, "IN looks into a list or a repeated field, not into " + KindText(*field));
        }
        if (isUnknown) {
            std::vector<NodePtr> items;
            items.push_back(std::move(field));
            node = BindInItems(std::move(value), std::move(items));
        } else {
            node = BindInField(std::move(value), std::move(field));
        }
    }
    if (node == nullptr) {
        return nullptr;
    }
    return expr.m_self.m_type == EXPR_IN ? std::move(node) : MakeNot(std::move(node));
}

// Puts the item where its comparison with the value is done.
bool Binder::SettleItem(const BoundNode& value, NodePtr item, std::vector<Value>& constants, bool& hasNull,
                        std::vector<InItem>& items) {
    if (value.Constant() != nullptr) {
        // A constant value may be wanted in another form by every item.
        InItem out;
        out.kind = InItem::Kind::Truth;
        out.node = Compared(EXPR_COMPARE_EQ, std::make_unique<ConstantNode>(static_cast<const ConstantNode&>(value)),
                            std::move(item));
        if (out.node == nullptr) {
            return false;
        }
        items.push_back(std::move(out));
        return true;
    }
    const ConstantNode* const literal = AsConstant(item);
    if (literal != nullptr && literal->Constant()->IsNull()) {
        hasNull = true;
        return true;
    }
    // Only the types of the value matter, and it is no constant that would have to change.
    NodePtr twin = std::make_unique<ConstantNode>(Value::Null());
    twin->type = value.type;
    twin->offset = value.offset;
    twin->isFloatField = value.isFloatField;
    bool isEnumName = false;
    if (!Settle(twin, item, EXPR_COMPARE_EQ, isEnumName)) {
        return false;
    }
    if (item->Constant() != nullptr && !isEnumName) {
        constants.push_back(*item->Constant());
        return true;
    }
    InItem out;
    if (isEnumName) {
        const bool isValue = value.type.kind == ValueKind::Enum;
        out.kind = isValue ? InItem::Kind::ValueIsEnum : InItem::Kind::ItemIsEnum;
        out.enumType = isValue ? value.type.enumType : item->type.enumType;
    }
    out.node = std::move(item);
    items.push_back(std::move(out));
    return true;
}

NodePtr Binder::BindInItems(NodePtr value, std::vector<NodePtr> items) {
    std::vector<Value> constants;
    bool hasNull = false;
    std::vector<InItem> others;
    for (NodePtr& item : items) {
        if (!SettleItem(*value, std::move(item), constants, hasNull, others)) {
            return nullptr;
        }
    }
    std::vector<NodePtr*> places{&value};
    for (InItem& other : others) {
        places.push_back(&other.node);
    }
    ShareAll(places);
    return MakeIn(std::move(value), std::move(constants), hasNull, std::move(others));
}

NodePtr Binder::BindInField(NodePtr value, NodePtr list) {
    if (ConstantListNode* const constant = dynamic_cast<ConstantListNode*>(list.get())) {
        return BindInItems(std::move(value), std::move(constant->items));
    }
    // An element stands for all.
    const google::protobuf::FieldDescriptor* const field = static_cast<const ListNode&>(*list).Field();
    NodePtr element = MakeSelfElement(field);
    element->offset = list->offset;
    if (element->type.kind == ValueKind::Message) {
        ExprVariant place;
        place.m_tokenOffset = list->offset;
        return TypeError(place, "the elements of " + std::string(field->full_name()) + " are messages");
    }
    bool isEnumName = false;
    if (!Settle(value, element, EXPR_COMPARE_EQ, isEnumName)) {
        return nullptr;
    }
    if (isEnumName) {
        ExprVariant place;
        place.m_tokenOffset = value->offset;
        return TypeError(place,
                         "a text that is read from a field is not looked for in a list of enum values, "
                         "nor the other way round");
    }
    Share(value, list);
    return MakeInField(std::move(value), std::move(list));
}

}  // namespace OstraneCommon
