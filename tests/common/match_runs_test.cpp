#include "common/match_runs.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using OstraneCommon::AddMarks;
using OstraneCommon::CountMatches;
using OstraneCommon::ForEachMatch;
using OstraneCommon::ForEachUnmarked;
using OstraneCommon::MatchMarker;
using OstraneCommon::MatchWord;
using OstraneCommon::MoveUnmarkedDown;
using OstraneCommon::RemoveMarks;

std::vector<bool> Marks(const std::string& bits) {
    std::vector<bool> marks;
    for (char bit : bits) {
        marks.push_back(bit == '1');
    }
    return marks;
}

std::vector<size_t> Matches(const std::vector<bool>& marks, size_t begin) {
    std::vector<size_t> found;
    ForEachMatch(marks, begin, [&found](size_t i) {
        found.push_back(i);
        return true;
    });
    return found;
}

std::vector<size_t> Unmarked(const std::vector<bool>& marks, size_t begin) {
    std::vector<size_t> found;
    ForEachUnmarked(marks, begin, [&found](size_t i) { found.push_back(i); });
    return found;
}

TEST(MatchWord, BitsBeyondTheEndAreZero) {
    std::vector<bool> marks(70, true);
    marks.resize(66);
    EXPECT_EQ(MatchWord(marks, 0), ~uint64_t{0});
    EXPECT_EQ(MatchWord(marks, 1), uint64_t{3});
}

// Sizes before, at and behind the ends of words.
const size_t BORDER_SIZES[] = {1, 63, 64, 65, 127, 128, 129, 200};

TEST(MatchWord, TellsEveryMarkOfEveryWord) {
    for (const size_t size : BORDER_SIZES) {
        for (size_t position = 0; position < size; ++position) {
            std::vector<bool> marks(size);
            marks[position] = true;
            for (size_t word = 0; word * 64 < size; ++word) {
                const uint64_t expected = position / 64 == word ? uint64_t{1} << (position % 64) : 0;
                ASSERT_EQ(MatchWord(marks, word), expected) << position << " of " << size;
            }
        }
    }
}

TEST(MatchWord, AddsAndRemovesMarksOfItsWordAlone) {
    constexpr uint64_t ADDED = 0x8000000000000005;
    std::vector<bool> marks(192);
    AddMarks(marks, 1, ADDED);
    AddMarks(marks, 1, 2);
    EXPECT_EQ(MatchWord(marks, 0), 0U);
    EXPECT_EQ(MatchWord(marks, 1), ADDED | 2U);
    EXPECT_EQ(MatchWord(marks, 2), 0U);
    marks.assign(192, true);
    RemoveMarks(marks, 1, ADDED);
    EXPECT_EQ(MatchWord(marks, 0), ~uint64_t{0});
    EXPECT_EQ(MatchWord(marks, 1), ~ADDED);
    EXPECT_EQ(MatchWord(marks, 2), ~uint64_t{0});
}

TEST(MatchWord, AddsAndRemovesMarksOfTheLastWord) {
    std::vector<bool> marks(66);
    AddMarks(marks, 1, 3);
    EXPECT_EQ(CountMatches(marks), 2U);
    RemoveMarks(marks, 1, 2);
    EXPECT_EQ(CountMatches(marks), 1U);
    EXPECT_TRUE(marks[64]);
}

TEST(MatchMarker, EveryRunAcrossWords) {
    for (const size_t size : BORDER_SIZES) {
        for (size_t begin = 0; begin < size; ++begin) {
            for (size_t end = begin + 1; end <= size; ++end) {
                std::vector<bool> marks(size);
                {
                    MatchMarker marker(marks);
                    marker.Mark(begin, end);
                }
                std::vector<bool> expected(size);
                std::fill(expected.begin() + static_cast<std::ptrdiff_t>(begin),
                          expected.begin() + static_cast<std::ptrdiff_t>(end), true);
                ASSERT_EQ(marks, expected) << begin << " to " << end << " of " << size;
            }
        }
    }
}

// Words that were left keep their marks when they are marked again.
TEST(MatchMarker, ComesBackToAWord) {
    std::vector<bool> marks(200);
    {
        MatchMarker marker(marks);
        marker.Mark(5);
        marker.Mark(70);
        marker.Mark(6);
        marker.Mark(60, 130);
        marker.Mark(7);
    }
    EXPECT_EQ(Matches(marks, 0).size(), 73U);
    EXPECT_TRUE(marks[5] && marks[6] && marks[7] && marks[70]);
}

TEST(MatchMarker, MarksRunsAndPositions) {
    std::vector<bool> marks(6);
    {
        MatchMarker marker(marks);
        marker.Mark(4, 6);
        marker.Mark(1);
        marker.Mark(1, 3);
    }
    EXPECT_EQ(marks, Marks("011011"));
    EXPECT_EQ(CountMatches(marks), 4U);
}

TEST(MatchMarker, MarksAcrossWords) {
    std::vector<bool> marks(200);
    {
        MatchMarker marker(marks);
        marker.Mark(63, 129);
    }
    EXPECT_EQ(CountMatches(marks), 66U);
    EXPECT_FALSE(marks[62]);
    EXPECT_TRUE(marks[63]);
    EXPECT_TRUE(marks[128]);
    EXPECT_FALSE(marks[129]);
}

TEST(MatchMarker, TakesNoMarksForAnEmptyVector) {
    std::vector<bool> marks;
    { MatchMarker marker(marks); }
    EXPECT_TRUE(marks.empty());
    EXPECT_EQ(CountMatches(marks), 0U);
}

TEST(ForEachMatch, StopsWhenToldTo) {
    std::vector<size_t> found;
    const bool isComplete = ForEachMatch(Marks("11111"), 1, [&found](size_t i) {
        found.push_back(i);
        return i < 2;
    });
    EXPECT_FALSE(isComplete);
    EXPECT_EQ(found, (std::vector<size_t>{1, 2}));
}

// Every mask of up to 10 marks, and of the ten around a word's end, against bit by bit.
TEST(MatchRuns, EveryMaskOfASmallWorld) {
    for (size_t lead : {size_t{0}, size_t{59}}) {
        for (size_t tail = 0; tail <= 10; ++tail) {
            for (unsigned mask = 0; mask < (1U << tail); ++mask) {
                std::vector<bool> marks(lead, false);
                std::vector<size_t> marked;
                std::vector<size_t> unmarked;
                for (size_t bit = 0; bit < tail; ++bit) {
                    const bool isMarked = (mask >> bit & 1U) != 0;
                    marks.push_back(isMarked);
                    (isMarked ? marked : unmarked).push_back(lead + bit);
                }
                ASSERT_EQ(Matches(marks, lead), marked) << lead << " " << tail << " " << mask;
                ASSERT_EQ(Unmarked(marks, lead), unmarked) << lead << " " << tail << " " << mask;
                ASSERT_EQ(CountMatches(marks), marked.size());

                std::vector<size_t> data;
                for (size_t i = 0; i < marks.size(); ++i) {
                    data.push_back(i);
                }
                const size_t left = MoveUnmarkedDown(data.data(), lead, marks);
                ASSERT_EQ(left, lead + unmarked.size());
                ASSERT_TRUE(std::equal(unmarked.begin(), unmarked.end(), data.begin() + static_cast<int>(lead)));
            }
        }
    }
}

// Long arrays with runs of all lengths, so that whole words of marks and of survivors come up.
TEST(MatchRuns, RandomRunsAgreeWithBitByBit) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 2000; ++round) {
        const size_t size = random() % 600 + 1;
        std::vector<bool> marks(size);
        std::vector<bool> expected(size);
        {
            MatchMarker marker(marks);
            for (unsigned runs = random() % 8; runs > 0; --runs) {
                const size_t begin = random() % size;
                const size_t end = random() % 2 == 0 ? begin + 1 : begin + 1 + random() % (size - begin);
                if (end == begin + 1 && random() % 2 == 0) {
                    marker.Mark(begin);
                } else {
                    marker.Mark(begin, end);
                }
                for (size_t i = begin; i < end; ++i) {
                    expected[i] = true;
                }
            }
        }
        ASSERT_EQ(marks, expected);
        const size_t begin = random() % size;
        std::vector<int> data;
        std::vector<int> survivors;
        for (size_t i = 0; i < size; ++i) {
            data.push_back(static_cast<int>(i));
            if (i < begin || !expected[i]) {
                survivors.push_back(static_cast<int>(i));
            }
        }
        data.resize(MoveUnmarkedDown(data.data(), begin, marks));
        ASSERT_EQ(data, survivors);
    }
}

}  // namespace
