// Selectors' texts: every short text against a reader too simple to be wrong, and tables.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/err_code.h"
#include "expr/statement.h"

namespace {

using namespace OstraneCommon;

std::string Show(const IndexRangeList& ranges) {
    std::string out;
    for (const auto& range : ranges) {
        out += "(" + std::to_string(range.first) + "," + std::to_string(range.second) + ")";
    }
    return out;
}

// "(0,2)(7,7)", or "error".
std::string Parsed(const std::string& text) {
    IndexRangeList ranges;
    const int ret = ParseIndexRange(text, ranges);
    if (ret == 0) {
        return Show(ranges);
    }
    EXPECT_EQ(ret, OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX);
    EXPECT_TRUE(ranges.empty()) << text;
    return "error";
}

TEST(ParseIndexRange, Ranges) {
    EXPECT_EQ(Parsed("0"), "(0,0)");
    EXPECT_EQ(Parsed("7"), "(7,7)");
    EXPECT_EQ(Parsed("-1"), "(-1,-1)");
    EXPECT_EQ(Parsed("0..2"), "(0,2)");
    EXPECT_EQ(Parsed("2..2"), "(2,2)");
    EXPECT_EQ(Parsed("-3..-1"), "(-3,-1)");
    EXPECT_EQ(Parsed("3..-1"), "(3,-1)");
    EXPECT_EQ(Parsed("-1..3"), "(-1,3)");
    EXPECT_EQ(Parsed("3.."), "(3,-1)");
    EXPECT_EQ(Parsed("-3.."), "(-3,-1)");
    EXPECT_EQ(Parsed("..3"), "(0,3)");
    EXPECT_EQ(Parsed("..-2"), "(0,-2)");
    EXPECT_EQ(Parsed("*"), "(0,-1)");
    EXPECT_EQ(Parsed("0..2, 7, -3..-1"), "(0,2)(7,7)(-3,-1)");
    EXPECT_EQ(Parsed("7,*,..1,1.."), "(7,7)(0,-1)(0,1)(1,-1)");
    EXPECT_EQ(Parsed("1,1,1"), "(1,1)(1,1)(1,1)");
}

TEST(ParseIndexRange, Numbers) {
    EXPECT_EQ(Parsed("007"), "(7,7)");
    EXPECT_EQ(Parsed("-007"), "(-7,-7)");
    EXPECT_EQ(Parsed("-0"), "(0,0)");
    EXPECT_EQ(Parsed("-0..1"), "(0,1)");
    EXPECT_EQ(Parsed("2147483647"), "(2147483647,2147483647)");
    EXPECT_EQ(Parsed("2147483648"), "(2147483647,2147483647)");
    EXPECT_EQ(Parsed("-2147483648"), "(-2147483648,-2147483648)");
    EXPECT_EQ(Parsed("-2147483649"), "(-2147483648,-2147483648)");
    EXPECT_EQ(Parsed("4294967296"), "(2147483647,2147483647)");
    EXPECT_EQ(Parsed("18446744073709551616"), "(2147483647,2147483647)");
    EXPECT_EQ(Parsed("-" + std::string(100, '9')), "(-2147483648,-2147483648)");
    EXPECT_EQ(Parsed(std::string(100, '0') + "5"), "(5,5)");
    // Both stand for the largest number: not reversed
    EXPECT_EQ(Parsed("9999999999..8888888888"), "(2147483647,2147483647)");
}

TEST(ParseIndexRange, Blanks) {
    EXPECT_EQ(Parsed(" 1 "), "(1,1)");
    EXPECT_EQ(Parsed("1 .. 2"), "(1,2)");
    EXPECT_EQ(Parsed("\t1\n,\r* "), "(1,1)(0,-1)");
    EXPECT_EQ(Parsed("1, 2"), "(1,1)(2,2)");
}

TEST(ParseIndexRange, Faults) {
    for (const char* text :
         {"",      " ",    ",",      "1,",     ",1",     "1,,2", "..", "...",  "1...3", "1..2..3", "1.2",
          "1. .2", "- 1",  "1..- 1", "+1",     "0x1",    "1e2",  "1a", "a",    "1 2",   "1:2",     "1-2",
          "1 - 2", "--1",  "5..2",   "-1..-3", "0,5..2", "* *",  "**", "*..2", "1..*",  "?",       ":a",
          "'a'",   "true", "null",   "[1]",    "1]",     "$",    "-",  "1--2", "1;",    "1 OR 2"}) {
        EXPECT_EQ(Parsed(text), "error") << text;
    }
    EXPECT_EQ(Parsed(std::string("\0", 1)), "error");
    EXPECT_EQ(Parsed(std::string("1\0", 2)), "error");
}

TEST(ParseIndexRange, AppendsOnSuccessAlone) {
    IndexRangeList ranges{{9, 9}};
    EXPECT_EQ(ParseIndexRange("1..2", ranges), 0);
    EXPECT_EQ(Show(ranges), "(9,9)(1,2)");
    EXPECT_NE(ParseIndexRange("3, 4, x", ranges), 0);
    EXPECT_EQ(Show(ranges), "(9,9)(1,2)");
}

// The reference: cut at commas, then at "..", and look at each number.

std::string Trimmed(const std::string& text) {
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

bool ReferenceNumber(const std::string& text, int32_t& out) {
    const size_t sign = !text.empty() && text[0] == '-' ? 1 : 0;
    if (text.size() == sign || text.find_first_not_of("0123456789", sign) != std::string::npos) {
        return false;
    }
    out = static_cast<int32_t>(std::stol(text));
    return true;
}

bool ReferenceRange(const std::string& text, std::pair<int32_t, int32_t>& out) {
    if (text == "*") {
        out = {0, -1};
        return true;
    }
    const size_t dots = text.find("..");
    if (dots == std::string::npos) {
        out.second = 0;
        const bool isNumber = ReferenceNumber(text, out.first);
        out.second = out.first;
        return isNumber;
    }
    const std::string left = Trimmed(text.substr(0, dots));
    const std::string right = Trimmed(text.substr(dots + 2));
    out = {0, -1};
    if ((left.empty() && right.empty()) || (!left.empty() && !ReferenceNumber(left, out.first)) ||
        (!right.empty() && !ReferenceNumber(right, out.second))) {
        return false;
    }
    const bool isSameSide = (out.first < 0) == (out.second < 0);
    return left.empty() || right.empty() || !isSameSide || out.first <= out.second;
}

// Comments end the text; two minus signs that are none are no number either.
std::string WithoutComment(const std::string& text) {
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        const bool startsHere = i == 0 || text[i - 1] == ' ';
        const bool endsHere = i + 2 == text.size() || text[i + 2] == ' ';
        if (text[i] == '-' && text[i + 1] == '-') {
            return startsHere && endsHere ? text.substr(0, i) : "error";
        }
    }
    return text;
}

std::string Reference(const std::string& text) {
    std::string rest = WithoutComment(text) + ",";
    IndexRangeList ranges;
    while (!rest.empty()) {
        const size_t comma = rest.find(',');
        std::pair<int32_t, int32_t> range;
        if (!ReferenceRange(Trimmed(rest.substr(0, comma)), range)) {
            return "error";
        }
        ranges.push_back(range);
        rest = rest.substr(comma + 1);
    }
    return Show(ranges);
}

// Calls `check` with every text of up to `size` letters of `alphabet`.
template <typename Check>
void ForEachText(const std::string& alphabet, size_t size, const Check& check) {
    std::vector<std::string> texts{""};
    for (size_t length = 0; length < size; ++length) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            for (char letter : alphabet) {
                longer.push_back(text + letter);
                check(longer.back());
            }
        }
        texts = std::move(longer);
    }
}

TEST(ParseIndexRange, EveryShortTextAgreesWithTheReference) {
    int accepted = 0;
    int failures = 0;
    const auto check = [&](const std::string& text) {
        const std::string expected = Reference(text);
        const std::string actual = Parsed(text);
        accepted += actual == "error" ? 0 : 1;
        if (actual != expected && ++failures < 20) {
            ADD_FAILURE() << "'" << text << "' gives " << actual << ", not " << expected;
        }
    };
    ForEachText("02.-, *x", 5, check);
    ForEachText("12.-,", 6, check);
    EXPECT_GT(accepted, 1000);
}

// In a statement the same texts are accepted, and what is kept of them means the same.
TEST(ParseIndexRange, StatementsReadTheSame) {
    int accepted = 0;
    ForEachText("02.-, *", 4, [&](const std::string& text) {
        if (text.find("--") != std::string::npos) {
            return;  // a comment would take the bracket with it
        }
        const std::string expected = Parsed(text);
        ExprParseContext context;
        StatementList list;
        ExprError error;
        const int ret = ParseStatements("POP a[" + text + "]", context, list, error);
        ASSERT_EQ(ret == 0, expected != "error") << text;
        if (ret != 0) {
            return;
        }
        const Expr* const selector = list.statements[0].path.steps[0].subscript;
        EXPECT_EQ(Parsed(selector->m_self.ToStr()), expected) << text;
        ++accepted;
    });
    EXPECT_GT(accepted, 200);
}

// The selector of "POP a[...]" with values for its parameters: its ranges, or "error".
std::string Bound(const std::string& text, const std::vector<int32_t>& values) {
    ExprParseContext context;
    StatementList list;
    ExprError error;
    EXPECT_EQ(ParseStatements("POP a[" + text + "]", context, list, error), 0) << text;
    IndexRangeList ranges{{9, 9}};
    const int ret = BindIndexRange(*list.statements.at(0).path.steps[0].subscript, values, ranges);
    if (ret != 0) {
        EXPECT_EQ(Show(ranges), "(9,9)");
        return "error";
    }
    return Show(ranges).substr(5);
}

TEST(BindIndexRange, PutsValuesInPlaceOfParameters) {
    EXPECT_EQ(Bound("?..?", {1, 2}), "(1,2)");
    EXPECT_EQ(Bound("?..", {3}), "(3,-1)");
    EXPECT_EQ(Bound("..?", {3}), "(0,3)");
    EXPECT_EQ(Bound("7, ?, *", {-4}), "(7,7)(-4,-4)(0,-1)");
    EXPECT_EQ(Bound(":lo..:hi, :lo", {0, 5, 0}), "(0,5)(0,0)");
    EXPECT_EQ(Bound("1..2", {}), "(1,2)");
    EXPECT_EQ(Bound("?..?", {INT32_MIN, INT32_MAX}), "(-2147483648,2147483647)");
}

TEST(BindIndexRange, AReversedRangeOfParametersSelectsNothing) {
    EXPECT_EQ(Bound("?..?", {5, 2}), "(5,2)");
    EXPECT_EQ(Bound("5..?", {2}), "(5,2)");
    EXPECT_EQ(Bound("?..2", {5}), "(5,2)");
}

TEST(BindIndexRange, TheNumberOfValuesMustFit) {
    EXPECT_EQ(Bound("?..?", {1}), "error");
    EXPECT_EQ(Bound("?..?", {}), "error");
    EXPECT_EQ(Bound("?..?", {1, 2, 3}), "error");
    EXPECT_EQ(Bound("1..2", {1}), "error");
    EXPECT_EQ(Bound("?", {1}), "error") << "a lone parameter is no selector";
}

}  // namespace
