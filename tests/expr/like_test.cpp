// LIKE against a table that is filled cell by cell, and on patterns made to be slow.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "expr/like_pattern.h"

namespace {

using OstraneCommon::HasSubstring;
using OstraneCommon::LikePattern;

// Characters of a text of two: one byte, and one of two bytes.
std::vector<std::string> Characters(const std::string& text, bool isBytes) {
    std::vector<std::string> out;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isContinuation = !isBytes && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
        if (isContinuation && !out.empty()) {
            out.back() += text[i];
        } else {
            out.emplace_back(1, text[i]);
        }
    }
    return out;
}

// cell[j]: the pattern's first i characters match the text's first j.
bool Reference(const std::string& text, const std::string& pattern, bool isBytes) {
    const std::vector<std::string> characters = Characters(text, isBytes);
    std::vector<bool> cell(characters.size() + 1, false);
    cell[0] = true;
    for (const std::string& wanted : Characters(pattern, isBytes)) {
        std::vector<bool> next(cell.size(), false);
        if (wanted == "%") {
            bool isReached = false;
            for (size_t j = 0; j < cell.size(); ++j) {
                isReached = isReached || cell[j];
                next[j] = isReached;
            }
        } else {
            for (size_t j = 0; j + 1 < cell.size(); ++j) {
                next[j + 1] = cell[j] && (wanted == "_" || wanted == characters[j]);
            }
        }
        cell = next;
    }
    return cell.back();
}

bool Matches(const std::string& text, const std::string& pattern, bool isBytes = false) {
    LikePattern like;
    EXPECT_TRUE(like.Compile(pattern.data(), pattern.size(), isBytes));
    return like.Matches(text.data(), text.size());
}

TEST(Like, AgreesWithTheTable) {
    std::mt19937 random(11);
    static const char* const letters[] = {"a", "b", "\xC3\xA4"};
    static const char* const pieces[] = {"a", "b", "\xC3\xA4", "_", "%", "a", "b"};
    int matches = 0;
    for (int i = 0; i < 40000; ++i) {
        std::string text;
        std::string pattern;
        const bool isLong = i % 200 == 0;
        for (size_t n = random() % (isLong ? 400 : 9); n > 0; --n) {
            text += letters[random() % (isLong ? 2 : 3)];
        }
        for (size_t n = random() % (isLong ? 150 : 7); n > 0; --n) {
            pattern += isLong && random() % 8 != 0 ? "_" : pieces[random() % 7];
        }
        const bool isBytes = i % 3 == 0;
        const bool expected = Reference(text, pattern, isBytes);
        ASSERT_EQ(Matches(text, pattern, isBytes), expected) << text << " LIKE " << pattern << " " << isBytes;
        matches += expected ? 1 : 0;
    }
    EXPECT_GT(matches, 2000);
}

TEST(Like, TakesAnyBytes) {
    // A byte that is no UTF-8 is one character.
    EXPECT_TRUE(Matches("\xFFz", "_z"));
    EXPECT_TRUE(Matches("\xC3", "_"));
    EXPECT_FALSE(Matches("\xC3\xA4", "__"));
    EXPECT_TRUE(Matches("\xC3\xA4", "__", true));
    EXPECT_TRUE(Matches("\xED\xA0\x80", "___"));
    EXPECT_TRUE(Matches(std::string("a\0b", 3), "a_b"));
    // No part of a character is found.
    EXPECT_FALSE(Matches("\xC3\xA4", "%\xA4%"));
    EXPECT_TRUE(Matches("\xC3\xA4", "%\xA4%", true));
}

TEST(Like, EscapesTakeTheNextCharacterAsItIs) {
    EXPECT_TRUE(Matches("50%", "50\\%"));
    EXPECT_FALSE(Matches("500", "50\\%"));
    EXPECT_TRUE(Matches("a\\b", "a\\\\b"));
    EXPECT_TRUE(Matches("a_\xC3\xA4", "\\a\\_\\\xC3\xA4"));
    LikePattern like;
    EXPECT_FALSE(like.Compile("a\\", 2, false));
    EXPECT_TRUE(like.Compile("a\\\\", 3, false));
}

// What it takes is counted, as `like_long_parts` of bench/counts.txt.
TEST(Like, LongPartsThatNearlyStandEverywhere) {
    const std::string text(100000, 'a');
    const std::string part(2000, 'a');
    EXPECT_FALSE(Matches(text, "%" + part + "b%"));
    EXPECT_FALSE(Matches(text, "%" + part + "b%" + part + "b%"));
    EXPECT_TRUE(Matches(text + "b", "%" + part + "%" + part + "b%"));
    EXPECT_FALSE(Matches(text, "%a%a%a%a%a%a%a%a%a%a%a%a%a%a%a%b"));
    EXPECT_FALSE(HasSubstring(text.data(), text.size(), (part + "b").data(), part.size() + 1));
    EXPECT_TRUE(HasSubstring(text.data(), text.size(), part.data(), part.size()));
}

}  // namespace
