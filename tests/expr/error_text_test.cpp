// Places of errors, and how they are shown.
#include <gtest/gtest.h>

#include <string>

#include "expr/parse_context.h"

namespace {

using namespace OstraneCommon;

std::string Place(const std::string& text, size_t offset) {
    ExprError error;
    error.offset = offset;
    LocateError(text, error);
    return std::to_string(error.line) + ":" + std::to_string(error.column);
}

TEST(LocateError, CountsLinesAndCodePoints) {
    EXPECT_EQ(Place("", 0), "1:1");
    EXPECT_EQ(Place("abc", 0), "1:1");
    EXPECT_EQ(Place("abc", 2), "1:3");
    EXPECT_EQ(Place("abc", 3), "1:4");
    EXPECT_EQ(Place("abc", 99), "1:4");
    EXPECT_EQ(Place("a\nb\n\nc", 2), "2:1");
    EXPECT_EQ(Place("a\nb\n\nc", 4), "3:1");
    EXPECT_EQ(Place("a\nb\n\nc", 5), "4:1");
    EXPECT_EQ(Place("a\n", 2), "2:1");
    EXPECT_EQ(Place("a\r\nb", 3), "2:1");
    EXPECT_EQ(Place("\tx", 1), "1:2");
    EXPECT_EQ(Place("\xC3\xA9x", 2), "1:2");
    EXPECT_EQ(Place("\xE2\x82\xAC\xF0\x9F\x98\x80x", 7), "1:3");
    // A byte that is not part of a UTF-8 sequence is one code point
    EXPECT_EQ(Place("\xFF\xFEx", 2), "1:3");
    EXPECT_EQ(Place("\xC3x", 1), "1:2");
    EXPECT_EQ(Place("\xE2\x82x", 2), "1:3");
    EXPECT_EQ(Place("\xC0\x80x", 2), "1:3");
    EXPECT_EQ(Place("\xED\xA0\x80x", 3), "1:4");
    EXPECT_EQ(Place("\xF4\x90\x80\x80x", 4), "1:5");
    // Within a code point: its own place
    EXPECT_EQ(Place("a\xC3\xA9x", 2), "1:2");
}

// What is shown of an error at `offset`, without its first line.
std::string Shown(const std::string& text, size_t offset, const std::string& hint = "") {
    ExprError error;
    error.code = -4377;
    error.offset = offset;
    error.message = "message";
    error.hint = hint;
    LocateError(text, error);
    const std::string shown = ShowError(text, error, "NAME");
    const size_t line = shown.find('\n');
    EXPECT_EQ(shown.substr(0, 25), "error -4377 NAME: message");
    return shown.substr(line + 1);
}

TEST(ShowError, PutsACaretBelowThePlace) {
    ExprError error;
    error.code = -4633;
    error.offset = 12;
    error.message = "index 9 is beyond 3 elements of demo.Player.scores";
    const std::string text = "PUSH scores[9] = 7";
    LocateError(text, error);
    EXPECT_EQ(ShowError(text, error, "COMMON_ERR_INVALID_ARRAY_INDEX"),
              "error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 3 elements of demo.Player.scores\n"
              "  PUSH scores[9] = 7\n"
              "              ^\n");
}

TEST(ShowError, EndsWithTheHint) {
    EXPECT_EQ(Shown("a b", 2, "write c"), "  a b\n    ^\n  hint: write c\n");
}

TEST(ShowError, WithoutAPlaceShowsMessageAndHint) {
    ExprError error;
    error.code = -1;
    error.message = "m";
    EXPECT_EQ(ShowError("GET a;\nGET b", error, "N"), "error -1 N: m\n");
    error.hint = "write c";
    EXPECT_EQ(ShowError("GET a;\nGET b", error, "N"), "error -1 N: m\n  hint: write c\n");
}

TEST(ShowError, NamesTheLineOfALongerText) {
    ExprError error;
    error.code = -1;
    error.offset = 8;
    error.message = "m";
    const std::string text = "GET a;\r\nGOT b;\r\n";
    LocateError(text, error);
    EXPECT_EQ(ShowError(text, error, "N"), "error -1 N: m (line 2, column 1)\n  GOT b;\n  ^\n");
}

TEST(ShowError, LinesUpWithWhatATerminalShows) {
    // A tab stays one on both lines
    EXPECT_EQ(Shown("\ta\tb", 3), "  \ta\tb\n  \t \t^\n");
    // One column, two columns, none
    EXPECT_EQ(Shown("\xC3\xA9x", 2), "  \xC3\xA9x\n   ^\n");
    EXPECT_EQ(Shown("\xE6\xBC\xA2x", 3), "  \xE6\xBC\xA2x\n    ^\n");
    EXPECT_EQ(Shown("\xF0\x9F\x98\x80x", 4), "  \xF0\x9F\x98\x80x\n    ^\n");
    EXPECT_EQ(Shown("e\xCC\x81x", 3), "  e\xCC\x81x\n   ^\n");
}

TEST(ShowError, GivesTheTerminalNothingHarmful) {
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(Shown("\x1B[31mx", 5), "  " + replaced + "[31mx\n       ^\n");
    EXPECT_EQ(Shown(std::string("\0x", 2), 1), "  " + replaced + "x\n   ^\n");
    EXPECT_EQ(Shown("\xFFx", 1), "  " + replaced + "x\n   ^\n");
    EXPECT_EQ(Shown("\xC2\x9Bx", 2), "  " + replaced + "x\n   ^\n");
    EXPECT_EQ(Shown("\xE2\x80\xAEx", 3), "  " + replaced + "x\n   ^\n");
    EXPECT_EQ(Shown("a\rb", 2), "  a" + replaced + "b\n    ^\n");
}

TEST(ShowError, CutsALongLineAroundTheCaret) {
    const std::string text = std::string(1000, 'a') + "X" + std::string(1000, 'b');
    EXPECT_EQ(Shown(text, 1000),
              "  ..." + std::string(60, 'a') + "X" + std::string(59, 'b') + "...\n  " + std::string(63, ' ') + "^\n");
    EXPECT_EQ(Shown(std::string(61, 'a'), 60), "  " + std::string(61, 'a') + "\n  " + std::string(60, ' ') + "^\n");
    // Code points are not cut in two, and a run of broken bytes stays short
    std::string accents;
    for (int i = 0; i < 100; ++i) {
        accents += "\xC3\xA9";
    }
    const std::string shown = Shown(accents, 200);
    EXPECT_EQ(shown.substr(0, 7), "  ...\xC3\xA9");
    EXPECT_LT(Shown(std::string(100000, '\x80'), 100000).size(), 2000U);
}

TEST(ShowError, ShowsTheEndOfTheText) {
    EXPECT_EQ(Shown("", 0), "  \n  ^\n");
    EXPECT_EQ(Shown("ab", 2), "  ab\n    ^\n");
    EXPECT_EQ(Shown("ab\n", 2), "  ab\n    ^\n");
    EXPECT_EQ(Shown("ab\n", 99), "  \n  ^\n");
}

}  // namespace
