// The values that bound expressions compute with, and what the operators do to them.
#ifndef OSTRANE_EXPR_EVAL_VALUE_H_
#define OSTRANE_EXPR_EVAL_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "common/expr.h"

namespace OstraneCommon {

// One value, cheap to copy. Text is a view: it lives in the record, in the bound program, or in the
// scratch of the evaluation that read it.
struct Value {
    // UInt is used only beyond the largest int64, so that every integer has one form. An enum value is
    // an Int: its type is known when the expression is bound.
    enum class Tag : uint8_t { Null, Bool, Int, UInt, Double, Text, Bytes };

    Tag tag = Tag::Null;
    bool boolean = false;
    union {
        int64_t int64 = 0;
        uint64_t uint64;
        double real;
        const char* text;
    };
    size_t size = 0;  // of text, in bytes

    static Value Null() { return Value(); }
    static Value Bool(bool value) {
        Value out;
        out.tag = Tag::Bool;
        out.boolean = value;
        return out;
    }
    static Value Int(int64_t value) {
        Value out;
        out.tag = Tag::Int;
        out.int64 = value;
        return out;
    }
    static Value UInt(uint64_t value) {
        Value out;
        if (value <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
            out.tag = Tag::Int;
            out.int64 = static_cast<int64_t>(value);
            return out;
        }
        out.tag = Tag::UInt;
        out.uint64 = value;
        return out;
    }
    static Value Double(double value) {
        Value out;
        out.tag = Tag::Double;
        out.real = value;
        return out;
    }
    static Value Text(const char* data, size_t size, bool isBytes) {
        Value out;
        out.tag = isBytes ? Tag::Bytes : Tag::Text;
        out.text = data;
        out.size = size;
        return out;
    }

    bool IsNull() const { return tag == Tag::Null; }
    bool IsTrue() const { return tag == Tag::Bool && boolean; }
    bool IsFalse() const { return tag == Tag::Bool && !boolean; }
    bool IsInteger() const { return tag == Tag::Int || tag == Tag::UInt; }
    bool IsNumber() const { return IsInteger() || tag == Tag::Double; }
    bool IsText() const { return tag == Tag::Text || tag == Tag::Bytes; }
    // The number as a double, rounded to nearest.
    double AsDouble() const {
        return tag == Tag::Double ? real : tag == Tag::Int ? static_cast<double>(int64) : static_cast<double>(uint64);
    }
};

// How two values lie to each other. Unordered: one is NaN, or the two are of kinds that do not compare.
enum class Order { Less, Equal, Greater, Unordered };

// Numbers compare as the numbers they are, whatever their form; texts and bytes by bytes; false before true.
// Neither value may be NULL.
Order CompareValues(const Value& a, const Value& b);

// Whether `op`, EXPR_COMPARE_EQ to EXPR_COMPARE_GE, holds of values that lie so.
inline bool OrderSatisfies(ExprType op, Order order) {
    switch (op) {
        case EXPR_COMPARE_EQ:
            return order == Order::Equal;
        case EXPR_COMPARE_NE:
            return order != Order::Equal;
        case EXPR_COMPARE_LT:
            return order == Order::Less;
        case EXPR_COMPARE_LE:
            return order == Order::Less || order == Order::Equal;
        case EXPR_COMPARE_GT:
            return order == Order::Greater;
        default:
            return order == Order::Greater || order == Order::Equal;
    }
}

// The same of two integers, without a jump that depends on them.
inline bool CompareInts(ExprType op, int64_t a, int64_t b) {
    switch (op) {
        case EXPR_COMPARE_EQ:
            return a == b;
        case EXPR_COMPARE_NE:
            return a != b;
        case EXPR_COMPARE_LT:
            return a < b;
        case EXPR_COMPARE_LE:
            return a <= b;
        case EXPR_COMPARE_GT:
            return a > b;
        default:
            return a >= b;
    }
}

// The three-valued comparison.
inline Value Compare(ExprType op, const Value& a, const Value& b) {
    if (a.tag == Value::Tag::Int && b.tag == Value::Tag::Int) {
        return Value::Bool(CompareInts(op, a.int64, b.int64));
    }
    if (a.IsNull() || b.IsNull()) {
        return Value::Null();
    }
    return Value::Bool(OrderSatisfies(op, CompareValues(a, b)));
}

// a op b for EXPR_OP_ADD, SUB, MULT, DIV and EXPR_BITWISE_AND; NULL when one of them is. Integers are
// exact. Returns null, or why there is no result: overflow, or a division by zero. The operands are
// numbers, of EXPR_BITWISE_AND integers.
const char* Arithmetic(ExprType op, const Value& a, const Value& b, Value& out);

// -a, and ~a, which is -a - 1: the same bits upside down in two's complement of any width.
const char* Negate(const Value& a, Value& out);
const char* Complement(const Value& a, Value& out);

// The number rounded to float, as a double.
Value RoundedToFloat(const Value& number);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_EVAL_VALUE_H_
