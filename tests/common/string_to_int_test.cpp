// Number texts, as the index operands of set and push are read.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "common/string_util.h"

namespace {

constexpr int UNTOUCHED = 77;

std::string Bytes(const char* text, size_t size) {
    return std::string(text, size);
}

struct TakenRow {
    std::string text;
    int value;
};

TEST(StringToInt, WholeDecimalTextsWithinTheBoundsAreTaken) {
    const std::vector<TakenRow> rows = {
        // Bounds -1 .. 4, both inclusive
        {"4", 4},
        {"0", 0},
        {"-1", -1},
        // Signs and leading zeros
        {"+3", 3},
        {"007", 7},
        {"+0004", 4},
        {"-0", 0},
        {"+0", 0},
        {"-001", -1},
        {std::string(100, '0') + "4", 4},
    };
    for (const TakenRow& row : rows) {
        SCOPED_TRACE(row.text);
        int val = UNTOUCHED;
        EXPECT_TRUE(StringToInt<int>(row.text, val, row.value == 7 ? 7 : 4, -1));
        EXPECT_EQ(val, row.value);
    }
}

TEST(StringToInt, OtherTextsAreRefusedAndLeaveTheValue) {
    const std::vector<std::string> rows = {
        // Outside the bounds
        "5",
        "-2",
        "10",
        "-10",
        // No number
        "",
        "-",
        "+",
        "x",
        "x2",
        "2x",
        "2-",
        "2+",
        "*",
        "0..1",
        "1,2",
        "1.0",
        "1e0",
        "0x3",
        "'1'",
        "+-3",
        "-+3",
        "--1",
        "++1",
        "- 1",
        "+ 1",
        // Spaces of every kind, before, behind and alone
        " ",
        " 3",
        "3 ",
        " 3 ",
        "\t3",
        "3\t",
        "\n3",
        "3\n",
        "\v3",
        "3\v",
        "\f3",
        "3\f",
        "\r3",
        "3\r",
        "\t",
        "\n-1",
        " +3",
        // A NUL ends no text
        Bytes("\0", 1),
        Bytes("3\0", 2),
        Bytes("\0"
              "3",
              2),
        Bytes("3\0"
              "3",
              3),
        Bytes("-1\0", 3),
        // Beyond ASCII: a no-break space, digits of other scripts
        "\xc2\xa0"
        "3",
        "\xa0"
        "3",
        "3\xa0",
        "\xd9\xa3",
        "\xef\xbc\x93",
        // Wider than 32 bits: the low bits would fit
        "4294967296",
        "4294967299",
        "-4294967297",
        "2147483648",
        "-2147483649",
        // The limits of 64 bits, and beyond, where the low bits would fit as well
        "9223372036854775807",
        "-9223372036854775808",
        "9223372036854775808",
        "-9223372036854775809",
        "18446744073709551615",
        "18446744073709551616",
        "18446744073709551619",
        "-18446744073709551617",
        "100000000000000000000000000000000000000000000000000000000000003",
    };
    for (const std::string& text : rows) {
        SCOPED_TRACE(testing::PrintToString(text));
        int val = UNTOUCHED;
        EXPECT_FALSE(StringToInt<int>(text, val, 4, -1));
        EXPECT_EQ(val, UNTOUCHED);
    }
}

TEST(StringToInt, BoundsAreInclusiveWhereverTheyLie) {
    int val = UNTOUCHED;
    EXPECT_TRUE(StringToInt<int>("2147483647", val, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()));
    EXPECT_EQ(val, std::numeric_limits<int>::max());
    EXPECT_TRUE(StringToInt<int>("-2147483648", val, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()));
    EXPECT_EQ(val, std::numeric_limits<int>::min());
    EXPECT_TRUE(StringToInt<int>("2", val, 2, 2));
    EXPECT_EQ(val, 2);
    EXPECT_FALSE(StringToInt<int>("1", val, 3, 2));
    EXPECT_FALSE(StringToInt<int>("4", val, 3, 2));
    EXPECT_FALSE(StringToInt<int>("-1", val, -2, -5));
    EXPECT_EQ(val, 2);
    EXPECT_TRUE(StringToInt<int>("-5", val, -2, -5));
    EXPECT_EQ(val, -5);
    // As for a position in front of nothing
    EXPECT_FALSE(StringToInt<int>("0", val, -1, -1));
    EXPECT_EQ(val, -5);
    EXPECT_TRUE(StringToInt<int>("-1", val, -1, -1));
    EXPECT_EQ(val, -1);
}

TEST(StringToInt, ReversedBoundsTakeNothing) {
    int val = UNTOUCHED;
    for (const char* text : {"-1", "0", "1", "-2"}) {
        EXPECT_FALSE(StringToInt<int>(text, val, -2, -1)) << text;
    }
    EXPECT_EQ(val, UNTOUCHED);
}

TEST(StringToInt, SixtyFourBitValuesAreExactAtTheirLimits) {
    constexpr int64_t MAX = std::numeric_limits<int64_t>::max();
    constexpr int64_t MIN = std::numeric_limits<int64_t>::min();
    int64_t val = UNTOUCHED;
    EXPECT_TRUE(StringToInt<int64_t>("9223372036854775807", val, MAX, MIN));
    EXPECT_EQ(val, MAX);
    EXPECT_TRUE(StringToInt<int64_t>("-9223372036854775808", val, MAX, MIN));
    EXPECT_EQ(val, MIN);
    EXPECT_TRUE(StringToInt<int64_t>("9223372036854775806", val, MAX, MIN));
    EXPECT_EQ(val, MAX - 1);
    // One more saturates to the same number.
    val = UNTOUCHED;
    EXPECT_FALSE(StringToInt<int64_t>("9223372036854775808", val, MAX, MIN));
    EXPECT_FALSE(StringToInt<int64_t>("-9223372036854775809", val, MAX, MIN));
    EXPECT_FALSE(StringToInt<int64_t>("9223372036854775807", val, MAX - 1, MIN));
    EXPECT_FALSE(StringToInt<int64_t>("-9223372036854775808", val, MAX, MIN + 1));
    EXPECT_EQ(val, UNTOUCHED);
}

TEST(StringToInt, ShortValuesAreNotCutOff) {
    short val = UNTOUCHED;
    EXPECT_TRUE(StringToInt<short>("32767", val, 32767, -1));
    EXPECT_EQ(val, 32767);
    EXPECT_TRUE(StringToInt<short>("-32768", val, 32767, -32768));
    EXPECT_EQ(val, -32768);
    val = UNTOUCHED;
    for (const char* text : {"32768", "65535", "65536", "65540", "-2"}) {
        EXPECT_FALSE(StringToInt<short>(text, val, 32767, -1)) << text;
    }
    EXPECT_EQ(val, UNTOUCHED);
}

TEST(StringToInt, UnsignedThirtyTwoBitValuesAreTakenWhole) {
    uint32_t val = UNTOUCHED;
    EXPECT_TRUE(StringToInt<uint32_t>("4294967295", val, 4294967295U, 0));
    EXPECT_EQ(val, 4294967295U);
    EXPECT_FALSE(StringToInt<uint32_t>("-1", val, 4294967295U, 0));
    EXPECT_FALSE(StringToInt<uint32_t>("4294967296", val, 4294967295U, 0));
    EXPECT_EQ(val, 4294967295U);
}

TEST(StringToInt, ErrnoIsNeitherReadNorLeftChanged) {
    int val = UNTOUCHED;
    errno = ERANGE;
    EXPECT_TRUE(StringToInt<int>("3", val, 4, -1));
    EXPECT_EQ(errno, ERANGE);
    errno = 0;
    EXPECT_FALSE(StringToInt<int>("9223372036854775808", val, 4, -1));
    EXPECT_EQ(errno, 0);
}

}  // namespace
