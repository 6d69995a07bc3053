// Operators on values. Integers are computed in 128 bits and then checked, so that no case is lost to a
// wrap; an integer and a double are compared without turning the integer into a double, which would
// make 2^53 + 1 equal to 2^53.
#include "expr/eval_value.h"

#include <algorithm>
#include <cmath>

namespace OstraneCommon {
namespace {

__extension__ typedef __int128 Int128;

constexpr double TWO_TO_63 = 9223372036854775808.0;
constexpr double TWO_TO_64 = 18446744073709551616.0;

constexpr char OVERFLOW_TEXT[] = "the result lies outside -2^63 .. 2^64 - 1";
constexpr char DIVISION_TEXT[] = "an integer is divided by zero";

Int128 Wide(const Value& integer) {
    return integer.tag == Value::Tag::Int ? Int128{integer.int64} : Int128{integer.uint64};
}

const char* Narrow(Int128 wide, Value& out) {
    if (wide < std::numeric_limits<int64_t>::min() || wide > std::numeric_limits<uint64_t>::max()) {
        return OVERFLOW_TEXT;
    }
    out = wide < 0 ? Value::Int(static_cast<int64_t>(wide)) : Value::UInt(static_cast<uint64_t>(wide));
    return nullptr;
}

template <typename T>
Order OrderOf(T a, T b) {
    return a < b ? Order::Less : b < a ? Order::Greater : Order::Equal;
}

Order OrderOfDoubles(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return Order::Unordered;
    }
    return OrderOf(a, b);
}

Order Reversed(Order order) {
    return order == Order::Less ? Order::Greater : order == Order::Greater ? Order::Less : order;
}

Order OrderOfIntegerAndDouble(const Value& integer, double number) {
    if (std::isnan(number)) {
        return Order::Unordered;
    }
    if (number >= TWO_TO_64) {
        return Order::Less;
    }
    if (number < -TWO_TO_63) {
        return Order::Greater;
    }
    const double whole = std::trunc(number);
    const Int128 wide = whole < 0 ? Int128{static_cast<int64_t>(whole)} : Int128{static_cast<uint64_t>(whole)};
    const Order order = OrderOf(Wide(integer), wide);
    // Equal up to the fraction, which then decides.
    return order == Order::Equal ? OrderOf(0.0, number - whole) : order;
}

Order OrderOfTexts(const Value& a, const Value& b) {
    const size_t common = std::min(a.size, b.size);
    const int order = common == 0 ? 0 : std::memcmp(a.text, b.text, common);
    return order == 0 ? OrderOf(a.size, b.size) : OrderOf(order, 0);
}

const char* DivideIntegers(const Value& a, const Value& b, Value& out) {
    const Int128 divisor = Wide(b);
    if (divisor == 0) {
        return DIVISION_TEXT;
    }
    return Narrow(Wide(a) / divisor, out);
}

const char* MultiplyIntegers(const Value& a, const Value& b, Value& out) {
    Int128 product = 0;
    // Two numbers of 64 bits may pass even 127.
    if (__builtin_mul_overflow(Wide(a), Wide(b), &product)) {
        return OVERFLOW_TEXT;
    }
    return Narrow(product, out);
}

}  // namespace

Order CompareValues(const Value& a, const Value& b) {
    if (a.IsNumber() && b.IsNumber()) {
        if (a.tag == Value::Tag::Double) {
            return b.tag == Value::Tag::Double ? OrderOfDoubles(a.real, b.real)
                                               : Reversed(OrderOfIntegerAndDouble(b, a.real));
        }
        return b.tag == Value::Tag::Double ? OrderOfIntegerAndDouble(a, b.real) : OrderOf(Wide(a), Wide(b));
    }
    if (a.IsText() && b.IsText()) {
        return OrderOfTexts(a, b);
    }
    if (a.tag == Value::Tag::Bool && b.tag == Value::Tag::Bool) {
        return OrderOf(a.boolean ? 1 : 0, b.boolean ? 1 : 0);
    }
    return Order::Unordered;
}

const char* Arithmetic(ExprType op, const Value& a, const Value& b, Value& out) {
    if (a.IsNull() || b.IsNull()) {
        out = Value::Null();
        return nullptr;
    }
    if (a.IsInteger() && b.IsInteger()) {
        switch (op) {
            case EXPR_OP_ADD:
                return Narrow(Wide(a) + Wide(b), out);
            case EXPR_OP_SUB:
                return Narrow(Wide(a) - Wide(b), out);
            case EXPR_OP_MULT:
                return MultiplyIntegers(a, b, out);
            case EXPR_OP_DIV:
                return DivideIntegers(a, b, out);
            default:
                return Narrow(Wide(a) & Wide(b), out);
        }
    }
    const double left = a.AsDouble();
    const double right = b.AsDouble();
    switch (op) {
        case EXPR_OP_ADD:
            out = Value::Double(left + right);
            return nullptr;
        case EXPR_OP_SUB:
            out = Value::Double(left - right);
            return nullptr;
        case EXPR_OP_MULT:
            out = Value::Double(left * right);
            return nullptr;
        default:
            out = Value::Double(left / right);
            return nullptr;
    }
}

const char* Negate(const Value& a, Value& out) {
    if (a.IsNull()) {
        out = a;
        return nullptr;
    }
    if (a.tag == Value::Tag::Double) {
        out = Value::Double(-a.real);
        return nullptr;
    }
    return Narrow(-Wide(a), out);
}

const char* Complement(const Value& a, Value& out) {
    if (a.IsNull()) {
        out = a;
        return nullptr;
    }
    return Narrow(-Wide(a) - 1, out);
}

Value RoundedToFloat(const Value& number) {
    // Straight from the integer: by way of a double it would be rounded twice.
    const float rounded = number.tag == Value::Tag::Int    ? static_cast<float>(number.int64)
                          : number.tag == Value::Tag::UInt ? static_cast<float>(number.uint64)
                                                           : static_cast<float>(number.real);
    return Value::Double(static_cast<double>(rounded));
}

}  // namespace OstraneCommon
