#include "common/string_util.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>

namespace {

struct Row {
    std::string text;
    int max;
    bool isTaken;
    int value;
};

TEST(StringToInt, TakesWholeDecimalTextsWithinBounds) {
    const Row rows[] = {
        // Bounds: -1 is the lowest, the given number the highest.
        {"4", 4, true, 4},
        {"5", 4, false, 0},
        {"-1", 4, true, -1},
        {"-2", 4, false, 0},
        {"0", 0, true, 0},
        {"0", -1, false, 0},
        {"-1", -1, true, -1},
        // Signs and leading zeros
        {"+3", 9, true, 3},
        {"007", 9, true, 7},
        {"-0", 9, true, 0},
        {"+", 9, false, 0},
        {"-", 9, false, 0},
        {"+-3", 9, false, 0},
        {"--3", 9, false, 0},
        // Not wholly a number
        {"", 9, false, 0},
        {"2x", 9, false, 0},
        {"x2", 9, false, 0},
        {"0x2", 9, false, 0},
        {"1.0", 9, false, 0},
        {"1e0", 9, false, 0},
        {std::string("3\0", 2), 9, false, 0},
        {std::string("\0", 1), 9, false, 0},
        // Spaces
        {" 3", 9, false, 0},
        {"3 ", 9, false, 0},
        {"\t3", 9, false, 0},
        {"\n3", 9, false, 0},
        {"\v3", 9, false, 0},
        {"\f3", 9, false, 0},
        {"\r3", 9, false, 0},
        {" ", 9, false, 0},
        // Limits of int and of 64 bits
        {"2147483647", INT_MAX, true, INT_MAX},
        {"2147483648", INT_MAX, false, 0},
        {"4294967296", INT_MAX, false, 0},
        {"9223372036854775807", INT_MAX, false, 0},
        {"9223372036854775808", INT_MAX, false, 0},
        {"-9223372036854775808", INT_MAX, false, 0},
        {"-9223372036854775809", INT_MAX, false, 0},
        {"99999999999999999999999999999999", INT_MAX, false, 0},
        {"18446744073709551616", INT_MAX, false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE("'" + row.text + "' up to " + std::to_string(row.max));
        int value = 77;
        EXPECT_EQ(StringToInt<int>(row.text, value, row.max, -1), row.isTaken);
        EXPECT_EQ(value, row.isTaken ? row.value : 77);
    }
}

TEST(StringToInt, ServesOtherSignedTypes) {
    int64_t wide = 0;
    EXPECT_TRUE(StringToInt<int64_t>("9223372036854775807", wide, INT64_MAX, INT64_MIN));
    EXPECT_EQ(wide, INT64_MAX);
    EXPECT_TRUE(StringToInt<int64_t>("-9223372036854775808", wide, INT64_MAX, INT64_MIN));
    EXPECT_EQ(wide, INT64_MIN);
    EXPECT_FALSE(StringToInt<int64_t>("9223372036854775808", wide, INT64_MAX, INT64_MIN));
    EXPECT_FALSE(StringToInt<int64_t>("-9223372036854775809", wide, INT64_MAX, INT64_MIN));
    int16_t narrow = 0;
    EXPECT_TRUE(StringToInt<int16_t>("-32768", narrow, INT16_MAX, INT16_MIN));
    EXPECT_EQ(narrow, INT16_MIN);
    EXPECT_FALSE(StringToInt<int16_t>("32768", narrow, INT16_MAX, INT16_MIN));
}

TEST(StringToInt, LeavesErrnoAlone) {
    int value = 0;
    errno = EDOM;
    EXPECT_FALSE(StringToInt<int>("99999999999999999999", value, 4, -1));
    EXPECT_EQ(errno, EDOM);
}

}  // namespace
