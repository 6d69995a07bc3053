// The casts of values, kind by kind, and what a resolver answers that supports nothing.
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "common/expr.h"
#include "filters.pb.h"

namespace {

using namespace OstraneCommon;

constexpr uint64_t UNTOUCHED = 0xABCDEF;

// What the casts make of `value`: "integer bits | double | text", "-" for a refusal that left the output.
std::string Casts(const ExprVariant& value) {
    uint64_t bits = UNTOUCHED;
    double number = 0.125;
    const std::string untouched = "untouched";
    const std::string* text = &untouched;
    std::string out;
    const bool isInteger = value.Cast(bits);
    out += isInteger ? std::to_string(bits) : bits == UNTOUCHED ? "-" : "touched";
    const bool isDouble = value.Cast(number);
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%.17g", number);
    out += " | " + (isDouble ? std::string(buffer) : std::string(number == 0.125 ? "-" : "touched"));
    const bool isText = value.CastRef(text);
    out += " | " + (isText ? "'" + *text + "'" : std::string(text == &untouched ? "-" : "touched"));
    return out;
}

ExprVariant OfKind(ExprType type, const std::string& text) {
    ExprVariant value;
    value.m_type = type;
    value.m_str = text;
    return value;
}

ExprVariant Int(int64_t number) {
    ExprVariant value;
    value.m_type = EXPR_INT;
    value.m_data.valInt64 = number;
    return value;
}

ExprVariant UInt(uint64_t number) {
    ExprVariant value;
    value.m_type = EXPR_UINT;
    value.m_data.valUInt64 = number;
    return value;
}

ExprVariant Float(double number) {
    ExprVariant value;
    value.m_type = EXPR_FLOAT;
    value.m_data.valFloat = number;
    return value;
}

TEST(Casts, OfIntegers) {
    EXPECT_EQ(Casts(UInt(7)), "7 | 7 | -");
    EXPECT_EQ(Casts(UInt(18446744073709551615U)), "18446744073709551615 | 1.8446744073709552e+19 | -");
    EXPECT_EQ(Casts(Int(-1)), "18446744073709551615 | -1 | -");
    EXPECT_EQ(Casts(Int(std::numeric_limits<int64_t>::min())), "9223372036854775808 | -9.2233720368547758e+18 | -");
    ExprVariant time = Int(-5);
    time.m_type = EXPR_TIME;
    EXPECT_EQ(Casts(time), "18446744073709551611 | -5 | -");
}

TEST(Casts, OfFloats) {
    EXPECT_EQ(Casts(Float(2)), "2 | 2 | -");
    EXPECT_EQ(Casts(Float(-2)), "18446744073709551614 | -2 | -");
    EXPECT_EQ(Casts(Float(-0.0)), "0 | -0 | -");
    EXPECT_EQ(Casts(Float(1.5)), "- | 1.5 | -");
    EXPECT_EQ(Casts(Float(-9223372036854775808.0)), "9223372036854775808 | -9.2233720368547758e+18 | -");
    EXPECT_EQ(Casts(Float(-9223372036854777856.0)), "- | -9.2233720368547779e+18 | -");
    EXPECT_EQ(Casts(Float(18446744073709549568.0)), "18446744073709549568 | 1.844674407370955e+19 | -");
    EXPECT_EQ(Casts(Float(18446744073709551616.0)), "- | 1.8446744073709552e+19 | -");
    EXPECT_EQ(Casts(Float(INFINITY)), "- | inf | -");
    EXPECT_EQ(Casts(Float(NAN)).substr(0, 2), "- ");
}

struct TextCase {
    const char* text;
    const char* expected;
};

const TextCase NUMBER_TEXTS[] = {
    // Integers, exact to the ends of 64 bits
    {"0", "0 | 0 | -"},
    {"-0", "0 | -0 | -"},
    {"+7", "7 | 7 | -"},
    {"007", "7 | 7 | -"},
    {"9223372036854775807", "9223372036854775807 | 9.2233720368547758e+18 | -"},
    {"9223372036854775808", "9223372036854775808 | 9.2233720368547758e+18 | -"},
    {"18446744073709551615", "18446744073709551615 | 1.8446744073709552e+19 | -"},
    {"18446744073709551616", "- | 1.8446744073709552e+19 | -"},
    {"-9223372036854775808", "9223372036854775808 | -9.2233720368547758e+18 | -"},
    {"-9223372036854775809", "- | -9.2233720368547758e+18 | -"},
    {"0x1F", "31 | 31 | -"},
    {"-0x10", "18446744073709551600 | -16 | -"},
    {"0xFFFFFFFFFFFFFFFF", "18446744073709551615 | 1.8446744073709552e+19 | -"},
    {"0x10000000000000000", "- | 1.8446744073709552e+19 | -"},
    // Floats, exact when integral
    {"1.5", "- | 1.5 | -"},
    {"1e3", "1000 | 1000 | -"},
    {"2.50e1", "25 | 25 | -"},
    {"1.0", "1 | 1 | -"},
    {"18446744073709551615.0", "18446744073709551615 | 1.8446744073709552e+19 | -"},
    {"9007199254740993.0", "9007199254740993 | 9007199254740992 | -"},
    {"10e-1", "1 | 1 | -"},
    {"0e999999999999", "0 | 0 | -"},
    {"1e-999", "- | 0 | -"},
    {"1e308", "- | 1e+308 | -"},
    {"1e309", "- | - | -"},
    {"inf", "- | inf | -"},
    {"-INF", "- | -inf | -"},
    // No numbers
    {"", "- | - | -"},
    {"-", "- | - | -"},
    {" 7", "- | - | -"},
    {"7 ", "- | - | -"},
    {"7x", "- | - | -"},
    {"1.", "- | - | -"},
    {".5", "- | - | -"},
    {"1e", "- | - | -"},
    {"1e+", "- | - | -"},
    {"0x", "- | - | -"},
    {"0xG", "- | - | -"},
    {"--1", "- | - | -"},
    {"infinity", "- | - | -"},
    {"1,5", "- | - | -"},
};

TEST(Casts, OfNumbersKeptAsText) {
    for (const TextCase& row : NUMBER_TEXTS) {
        for (const ExprType type : {EXPR_UINT_STRING, EXPR_INT_STRING, EXPR_FLOAT_STRING}) {
            EXPECT_EQ(Casts(OfKind(type, row.text)), row.expected) << "'" << row.text << "' as " << type;
        }
    }
    EXPECT_EQ(Casts(OfKind(EXPR_INT_STRING, std::string("7\0", 2))), "- | - | -");
}

TEST(Casts, OfTexts) {
    for (const ExprType type : {EXPR_STRING, EXPR_BINARY_STRING, EXPR_BYTES, EXPR_BYTES_TEXT}) {
        EXPECT_EQ(Casts(OfKind(type, "12")), "- | - | '12'") << type;
    }
    const std::string elsewhere = "12";
    ExprVariant pointer;
    pointer.m_type = EXPR_STRING_PTR;
    EXPECT_EQ(Casts(pointer), "- | - | -");
    pointer.m_data.pStr = &elsewhere;
    EXPECT_EQ(Casts(pointer), "- | - | '12'");
    const std::string* text = nullptr;
    ASSERT_TRUE(pointer.CastRef(text));
    EXPECT_EQ(text, &elsewhere);
    ExprVariant cText;
    cText.m_type = EXPR_CSTR;
    cText.m_data.pCStr = "12";
    EXPECT_EQ(Casts(cText), "- | - | -");
    ExprVariant buffer;
    buffer.m_type = EXPR_BUFF;
    buffer.m_data.buff.ptr = "12";
    buffer.m_data.buff.size = 2;
    EXPECT_EQ(Casts(buffer), "- | - | -");
}

TEST(Casts, OfAllOtherKindsFail) {
    for (int type = 0; type <= EXPR_TYPE_MAX; ++type) {
        const bool isOther =
            type < EXPR_STRING || type == EXPR_QUESTION || (type > EXPR_BUFF && type != EXPR_UNRESOLVE);
        if (isOther) {
            EXPECT_EQ(Casts(OfKind(static_cast<ExprType>(type), "1")), "- | - | -") << type;
        }
    }
}

// The field of `message` by name, or its element `index` from 0.
ExprVariant Field(const google::protobuf::Message& message, const char* name, int index = -1) {
    ExprVariant value;
    value.m_type = EXPR_UNRESOLVE;
    value.m_data.pb.SetField(&message, message.GetDescriptor()->FindFieldByName(name), false);
    if (index >= 0) {
        value.m_data.pb.SetArrayElementIdx(index);
    }
    return value;
}

TEST(Casts, OfFieldsAreTheirValues) {
    filters::Element element;
    element.set_i32(-1);
    element.set_i64(-2);
    element.set_u32(4294967295U);
    element.set_u64(18446744073709551615U);
    element.set_f(0.5F);
    element.set_d(3);
    element.set_b(true);
    element.set_s("text");
    element.set_raw("raw");
    element.set_state(filters::SOLD);
    element.add_ints(5);
    element.add_tags("tag");
    EXPECT_EQ(Casts(Field(element, "i32")), "18446744073709551615 | -1 | -");
    EXPECT_EQ(Casts(Field(element, "i64")), "18446744073709551614 | -2 | -");
    EXPECT_EQ(Casts(Field(element, "u32")), "4294967295 | 4294967295 | -");
    EXPECT_EQ(Casts(Field(element, "u64")), "18446744073709551615 | 1.8446744073709552e+19 | -");
    EXPECT_EQ(Casts(Field(element, "f")), "- | 0.5 | -");
    EXPECT_EQ(Casts(Field(element, "d")), "3 | 3 | -");
    EXPECT_EQ(Casts(Field(element, "b")), "1 | 1 | -");
    EXPECT_EQ(Casts(Field(element, "s")), "- | - | 'text'");
    EXPECT_EQ(Casts(Field(element, "raw")), "- | - | 'raw'");
    EXPECT_EQ(Casts(Field(element, "state")), "18446744073709551615 | -1 | -");
    EXPECT_EQ(Casts(Field(element, "preset")), "5 | 5 | -");
    EXPECT_EQ(Casts(Field(element, "place")), "- | - | -");
    // Repeated fields are no values, their elements are.
    EXPECT_EQ(Casts(Field(element, "ints")), "- | - | -");
    EXPECT_EQ(Casts(Field(element, "tags")), "- | - | -");
    EXPECT_EQ(Casts(Field(element, "ints", 0)), "5 | 5 | -");
    EXPECT_EQ(Casts(Field(element, "ints", 1)), "- | - | -");
    EXPECT_EQ(Casts(Field(element, "tags", 0)), "- | - | 'tag'");
}

TEST(Casts, OfBrokenFieldsFail) {
    filters::Element element;
    filters::Place place;
    ExprVariant value = Field(element, "i32");
    value.m_data.pb.pMessage = &place;
    EXPECT_EQ(Casts(value), "- | - | -");
    value.m_data.pb.pMessage = nullptr;
    EXPECT_EQ(Casts(value), "- | - | -");
    value = Field(element, "i32");
    value.m_data.pb.pFieldDesc = nullptr;
    EXPECT_EQ(Casts(value), "- | - | -");
    value = OfKind(EXPR_UNRESOLVE, "i32");
    value.m_flags = EXPR_FLAG_NAME;
    EXPECT_EQ(Casts(value), "- | - | -");
}

TEST(Casts, NarrowByTruncation) {
    int32_t narrow = 0;
    EXPECT_TRUE(Int(-1).CastInt(narrow));
    EXPECT_EQ(narrow, -1);
    EXPECT_TRUE(UInt(4294967297U).CastInt(narrow));
    EXPECT_EQ(narrow, 1);
    bool flag = false;
    EXPECT_TRUE(UInt(uint64_t{1} << 40).CastInt(flag));
    EXPECT_TRUE(flag);
    float real = 0;
    EXPECT_TRUE(Float(0.1).Cast(real));
    EXPECT_EQ(real, 0.1F);
    EXPECT_FALSE(OfKind(EXPR_STRING, "1").Cast(real));
    EXPECT_EQ(real, 0.1F);
}

TEST(BareResolver, SupportsNothing) {
    ExprResolver resolver;
    ExprVariant a;
    ExprVariant b;
    Expr node;
    bool isFound = true;
    EXPECT_EQ(resolver.Resolve(&a, b), -1);
    EXPECT_FALSE(resolver.Cast(a, b));
    EXPECT_FALSE(resolver.IsDeltaRecord());
    EXPECT_FALSE(resolver.IsStruct(a));
    EXPECT_FALSE(resolver.IsArray(a));
    EXPECT_FALSE(resolver.IsMap(a));
    EXPECT_EQ(resolver.ArraySize(a), -1);
    EXPECT_EQ(resolver.MapSize(a), -1);
    EXPECT_EQ(resolver.ArrayGet(a, 0, b), -1);
    EXPECT_EQ(resolver.ArrayGetRange(a, node, b), -1);
    EXPECT_EQ(resolver.ArrayGetFirst(a, b, true, isFound), -1);
    EXPECT_EQ(resolver.MapFind(a, node, b, true, isFound), -1);
    EXPECT_EQ(resolver.Update(a, EXPR_OP_SET, &b), -1);
    EXPECT_EQ(resolver.ArrayUpdate(a, node, EXPR_OP_SET, &b), -1);
    EXPECT_EQ(resolver.MapUpdate(a, node, EXPR_OP_SET, &b), -1);
    EXPECT_EQ(resolver.ApplyMapUpdate(a), 0);
    EXPECT_TRUE(isFound);
}

}  // namespace
