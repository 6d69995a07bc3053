// A constant is first turned into the elements' own type, so that the loop compares two numbers of one
// type and nothing else: `$ < 5.5` over int32 is `$ <= 5`, `$ < 2^40` is always true.
#include "expr/eval_mask.h"

#include <google/protobuf/descriptor.h>

#include <cmath>
#include <limits>
#include <utility>

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;

class ConstantMask : public MaskNode {
public:
    explicit ConstantMask(bool isTrue) : m_mask(isTrue ? ~uint64_t{0} : 0) {}
    uint64_t Mask(const void* /*scalars*/, int /*begin*/, int /*count*/) const override { return m_mask; }

private:
    const uint64_t m_mask;
};

struct Equal {
    template <typename T>
    bool operator()(T a, T b) const {
        return a == b;
    }
};

struct Less {
    template <typename T>
    bool operator()(T a, T b) const {
        return a < b;
    }
};

struct LessEqual {
    template <typename T>
    bool operator()(T a, T b) const {
        return a <= b;
    }
};

// `holds(element, bound)`, or of a mirrored one `holds(bound, element)`.
template <typename T, typename Holds, bool IS_MIRRORED>
class ComparisonMask : public MaskNode {
public:
    explicit ComparisonMask(T bound) : m_bound(bound) {}

    uint64_t Mask(const void* scalars, int begin, int count) const override {
        const T* const elements = static_cast<const T*>(scalars) + begin;
        const T bound = m_bound;
        uint64_t mask = 0;
        // In bytes first: compilers turn this loop into vector code, but not one that shifts bits.
        unsigned char flags[64];
        for (int i = 0; i < count; ++i) {
            flags[i] = (IS_MIRRORED ? Holds()(bound, elements[i]) : Holds()(elements[i], bound)) ? 1 : 0;
        }
        for (int i = 0; i < count; ++i) {
            mask |= static_cast<uint64_t>(flags[i]) << i;
        }
        return mask;
    }

private:
    const T m_bound;
};

class ConnectiveMask : public MaskNode {
public:
    ConnectiveMask(bool isAnd, std::vector<MaskPtr> masks) : m_isAnd(isAnd), m_masks(std::move(masks)) {}

    uint64_t Mask(const void* scalars, int begin, int count) const override {
        uint64_t mask = m_isAnd ? ~uint64_t{0} : 0;
        for (const MaskPtr& operand : m_masks) {
            const uint64_t next = operand->Mask(scalars, begin, count);
            mask = m_isAnd ? mask & next : mask | next;
        }
        return mask;
    }

private:
    const bool m_isAnd;
    const std::vector<MaskPtr> m_masks;
};

class NotMask : public MaskNode {
public:
    explicit NotMask(MaskPtr mask) : m_mask(std::move(mask)) {}
    uint64_t Mask(const void* scalars, int begin, int count) const override {
        return ~m_mask->Mask(scalars, begin, count);
    }

private:
    const MaskPtr m_mask;
};

template <typename T>
MaskPtr MaskOf(ExprType op, T bound) {
    switch (op) {
        case EXPR_COMPARE_EQ:
            return std::make_unique<ComparisonMask<T, Equal, false>>(bound);
        case EXPR_COMPARE_NE:
            return MakeNotMask(std::make_unique<ComparisonMask<T, Equal, false>>(bound));
        case EXPR_COMPARE_LT:
            return std::make_unique<ComparisonMask<T, Less, false>>(bound);
        case EXPR_COMPARE_LE:
            return std::make_unique<ComparisonMask<T, LessEqual, false>>(bound);
        case EXPR_COMPARE_GT:
            return std::make_unique<ComparisonMask<T, Less, true>>(bound);
        case EXPR_COMPARE_GE:
            return std::make_unique<ComparisonMask<T, LessEqual, true>>(bound);
        default:
            return nullptr;
    }
}

// What `op` says of every element when they all lie on one side of the constant.
MaskPtr OneSided(ExprType op, Order order) {
    return std::make_unique<ConstantMask>(OrderSatisfies(op, order));
}

template <typename T>
MaskPtr IntegerMask(ExprType op, Value constant) {
    const Value smallest = Value::Int(static_cast<int64_t>(std::numeric_limits<T>::min()));
    const Value largest = std::numeric_limits<T>::is_signed
                              ? Value::Int(static_cast<int64_t>(std::numeric_limits<T>::max()))
                              : Value::UInt(static_cast<uint64_t>(std::numeric_limits<T>::max()));
    const Order toSmallest = CompareValues(constant, smallest);
    if (toSmallest == Order::Unordered) {
        return OneSided(op, Order::Unordered);
    }
    if (toSmallest == Order::Less) {
        return OneSided(op, Order::Greater);
    }
    if (CompareValues(constant, largest) == Order::Greater) {
        return OneSided(op, Order::Less);
    }
    if (constant.tag == Value::Tag::Double) {
        const double whole = std::floor(constant.real);
        const bool hasFraction = whole != constant.real;
        if (hasFraction && (op == EXPR_COMPARE_EQ || op == EXPR_COMPARE_NE)) {
            return std::make_unique<ConstantMask>(op == EXPR_COMPARE_NE);
        }
        // Between whole and whole + 1: below it is up to whole, above it is beyond whole.
        if (hasFraction) {
            op = op == EXPR_COMPARE_LT || op == EXPR_COMPARE_LE ? EXPR_COMPARE_LE : EXPR_COMPARE_GT;
        }
        constant = whole < 0 ? Value::Int(static_cast<int64_t>(whole)) : Value::UInt(static_cast<uint64_t>(whole));
    }
    return constant.tag == Value::Tag::Int ? MaskOf<T>(op, static_cast<T>(constant.int64))
                                           : MaskOf<T>(op, static_cast<T>(constant.uint64));
}

template <typename T>
MaskPtr RealMask(ExprType op, const Value& constant) {
    const double number = constant.AsDouble();
    if (CompareValues(constant, Value::Double(number)) == Order::Unordered) {
        return OneSided(op, Order::Unordered);
    }
    const T bound = static_cast<T>(number);
    // A constant that T does not hold exactly is left to the exact comparison.
    if (CompareValues(constant, Value::Double(static_cast<double>(bound))) != Order::Equal) {
        return nullptr;
    }
    return MaskOf<T>(op, bound);
}

}  // namespace

MaskPtr MakeComparisonMask(ExprType op, const Value& constant, const FieldDescriptor* self) {
    if (self->cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
        return constant.tag == Value::Tag::Bool ? MaskOf<bool>(op, constant.boolean) : nullptr;
    }
    if (!constant.IsNumber()) {
        return nullptr;
    }
    switch (self->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            return IntegerMask<int32_t>(op, constant);
        case FieldDescriptor::CPPTYPE_INT64:
            return IntegerMask<int64_t>(op, constant);
        case FieldDescriptor::CPPTYPE_UINT32:
            return IntegerMask<uint32_t>(op, constant);
        case FieldDescriptor::CPPTYPE_UINT64:
            return IntegerMask<uint64_t>(op, constant);
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return RealMask<double>(op, constant);
        case FieldDescriptor::CPPTYPE_FLOAT:
            return RealMask<float>(op, constant);
        default:
            return nullptr;
    }
}

MaskPtr MakeConnectiveMask(ExprType op, std::vector<MaskPtr> masks) {
    for (const MaskPtr& mask : masks) {
        if (mask == nullptr) {
            return nullptr;
        }
    }
    return std::make_unique<ConnectiveMask>(op == EXPR_AND, std::move(masks));
}

MaskPtr MakeNotMask(MaskPtr mask) {
    return mask == nullptr ? nullptr : std::make_unique<NotMask>(std::move(mask));
}

}  // namespace OstraneCommon
