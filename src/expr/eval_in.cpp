// IN over lists and over repeated fields. SQL's rule: true where one item is equal, else NULL where a
// comparison with one was NULL, else false; so nothing is in an empty list, and neither is NULL.
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <utility>

#include "expr/eval_mask.h"
#include "expr/eval_node.h"

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;

// From here on, sorted constants are found faster than they are tried one by one.
constexpr size_t SORTED_FROM = 8;

class InNode : public BoundNode {
public:
    InNode(NodePtr value, std::vector<Value> constants, bool hasNull, std::vector<InItem> items)
        : m_value(std::move(value)), m_constants(std::move(constants)), m_hasNull(hasNull), m_items(std::move(items)) {
        type.kind = ValueKind::Bool;
        type.mayBeNull = m_hasNull || m_value->type.mayBeNull;
        readsElement = m_value->readsElement;
        readsRecord = m_value->readsRecord;
        for (const InItem& item : m_items) {
            readsElement = readsElement || item.node->readsElement;
            readsRecord = readsRecord || item.node->readsRecord;
            type.mayBeNull = type.mayBeNull || item.node->type.mayBeNull;
        }
        tracksPresence = type.mayBeNull;
        // NaN equals nothing, and would upset the order.
        const auto isNan = [](const Value& constant) { return CompareValues(constant, constant) != Order::Equal; };
        m_isEmpty = m_constants.empty() && m_items.empty() && !m_hasNull;
        m_constants.erase(std::remove_if(m_constants.begin(), m_constants.end(), isNan), m_constants.end());
        std::sort(m_constants.begin(), m_constants.end(), IsBefore);
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value value;
        int ret = m_value->Eval(context, value);
        if (ret != 0) {
            return ret;
        }
        if (m_isEmpty) {
            out = Value::Bool(false);
            return 0;
        }
        bool sawNull = m_hasNull || value.IsNull();
        if (!value.IsNull() && IsConstant(value)) {
            out = Value::Bool(true);
            return 0;
        }
        for (const InItem& item : m_items) {
            Value other;
            ret = item.node->Eval(context, other);
            if (ret != 0) {
                return ret;
            }
            const Value isEqual = IsEqual(item, value, other);
            if (isEqual.IsTrue()) {
                out = isEqual;
                return 0;
            }
            sawNull = sawNull || isEqual.IsNull();
        }
        out = sawNull ? Value::Null() : Value::Bool(false);
        return 0;
    }

    MaskPtr ToMask(const FieldDescriptor* self) const override {
        if (!m_value->IsSelfElement() || m_hasNull || !m_items.empty() || m_constants.empty() ||
            m_constants.size() > SORTED_FROM) {
            return nullptr;
        }
        std::vector<MaskPtr> masks;
        for (const Value& constant : m_constants) {
            masks.push_back(MakeComparisonMask(EXPR_COMPARE_EQ, constant, self));
        }
        return MakeConnectiveMask(EXPR_OR, std::move(masks));
    }

private:
    static Value IsEqual(const InItem& item, const Value& value, const Value& other) {
        switch (item.kind) {
            case InItem::Kind::Truth:
                return other;
            case InItem::Kind::ValueIsEnum:
                return IsEnumName(item.enumType, value, other);
            case InItem::Kind::ItemIsEnum:
                return IsEnumName(item.enumType, other, value);
            default:
                return Compare(EXPR_COMPARE_EQ, value, other);
        }
    }

    static bool IsBefore(const Value& a, const Value& b) { return CompareValues(a, b) == Order::Less; }

    bool IsConstant(const Value& value) const {
        if (m_constants.size() < SORTED_FROM) {
            for (const Value& constant : m_constants) {
                if (Compare(EXPR_COMPARE_EQ, value, constant).IsTrue()) {
                    return true;
                }
            }
            return false;
        }
        const auto place = std::lower_bound(m_constants.begin(), m_constants.end(), value, IsBefore);
        return place != m_constants.end() && CompareValues(*place, value) == Order::Equal;
    }

    const NodePtr m_value;
    std::vector<Value> m_constants;  // ascending
    const bool m_hasNull;
    const std::vector<InItem> m_items;
    bool m_isEmpty = false;
};

class InFieldNode : public BoundNode {
public:
    InFieldNode(NodePtr value, NodePtr list) : m_value(std::move(value)), m_list(std::move(list)) {
        type.kind = ValueKind::Bool;
        type.mayBeNull = m_value->type.mayBeNull || m_list->type.mayBeNull;
        tracksPresence = type.mayBeNull;
        readsElement = m_value->readsElement || m_list->readsElement;
        readsRecord = m_value->readsRecord || m_list->readsRecord;
    }

    int Eval(EvalContext& context, Value& out) const override {
        Value value;
        int ret = m_value->Eval(context, value);
        if (ret != 0) {
            return ret;
        }
        ArrayReader reader;
        bool isNull = false;
        ret = static_cast<const ListNode&>(*m_list).Open(context, reader, isNull);
        if (ret != 0) {
            return ret;
        }
        if (isNull) {
            out = Value::Null();
            return 0;
        }
        if (value.IsNull()) {
            out = reader.Count() == 0 ? Value::Bool(false) : Value::Null();
            return 0;
        }
        for (int i = 0; i < reader.Count(); ++i) {
            Value element;
            reader.Get(i, context.scratch, element);
            if (Compare(EXPR_COMPARE_EQ, value, element).IsTrue()) {
                out = Value::Bool(true);
                return 0;
            }
        }
        out = Value::Bool(false);
        return 0;
    }

private:
    const NodePtr m_value;
    const NodePtr m_list;
};

}  // namespace

NodePtr MakeIn(NodePtr value, std::vector<Value> constants, bool hasNull, std::vector<InItem> items) {
    return std::make_unique<InNode>(std::move(value), std::move(constants), hasNull, std::move(items));
}

NodePtr MakeInField(NodePtr value, NodePtr list) {
    return std::make_unique<InFieldNode>(std::move(value), std::move(list));
}

}  // namespace OstraneCommon
