// Walks the marks of a selection 64 at a time instead of bit by bit.
//
//   marks 0 1 0 1 1
//   ForEachMatch(marks, 1, visit)                visits 1, 3, 4
//   MoveUnmarkedDown(data, 1, marks)             [a, b, c, d, e] -> [a, c, ...], returns 2
//
// std::vector<bool> has no public words. libstdc++ shows them through its iterator; elsewhere, and
// when OSTRANE_PORTABLE_MATCH_WORDS is defined, a word is gathered from its bits.
#ifndef OSTRANE_COMMON_MATCH_RUNS_H_
#define OSTRANE_COMMON_MATCH_RUNS_H_

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

namespace OstraneCommon {

constexpr size_t MATCH_WORD_BITS = 64;

// Marks 64 * wordIndex .. 64 * wordIndex + 63, the lowest in bit 0; bits beyond the end are 0.
inline uint64_t MatchWord(const std::vector<bool>& marks, size_t wordIndex) {
    const size_t begin = wordIndex * MATCH_WORD_BITS;
    const size_t size = std::min(marks.size() - begin, MATCH_WORD_BITS);
#if defined(__GLIBCXX__) && !defined(OSTRANE_PORTABLE_MATCH_WORDS) && ULONG_MAX == UINT64_MAX
    const uint64_t word = marks.begin()._M_p[wordIndex];
    return size == MATCH_WORD_BITS ? word : word & ((uint64_t{1} << size) - 1);
#else
    uint64_t word = 0;
    for (size_t bit = 0; bit < size; ++bit) {
        word |= static_cast<uint64_t>(marks[begin + bit]) << bit;
    }
    return word;
#endif
}

// The position of the lowest bit that is set; `word` must not be 0.
inline size_t LowestBit(uint64_t word) {
    return static_cast<size_t>(__builtin_ctzll(word));
}

// Calls visit(i) for every marked i at or above `begin`, ascending, until it returns false. Returns
// whether every mark was visited.
template <typename Visit>
bool ForEachMatch(const std::vector<bool>& marks, size_t begin, Visit visit) {
    for (size_t wordBegin = begin - begin % MATCH_WORD_BITS; wordBegin < marks.size(); wordBegin += MATCH_WORD_BITS) {
        uint64_t word = MatchWord(marks, wordBegin / MATCH_WORD_BITS);
        if (wordBegin < begin) {
            word &= ~uint64_t{0} << (begin - wordBegin);
        }
        for (; word != 0; word &= word - 1) {
            if (!visit(wordBegin + LowestBit(word))) {
                return false;
            }
        }
    }
    return true;
}

// Calls visit(i) for every unmarked i at or above `begin`, ascending.
template <typename Visit>
void ForEachUnmarked(const std::vector<bool>& marks, size_t begin, Visit visit) {
    for (size_t wordBegin = begin - begin % MATCH_WORD_BITS; wordBegin < marks.size(); wordBegin += MATCH_WORD_BITS) {
        const size_t bits = std::min(marks.size() - wordBegin, MATCH_WORD_BITS);
        uint64_t word = ~MatchWord(marks, wordBegin / MATCH_WORD_BITS);
        if (bits < MATCH_WORD_BITS) {
            word &= (uint64_t{1} << bits) - 1;
        }
        if (wordBegin < begin) {
            word &= ~uint64_t{0} << (begin - wordBegin);
        }
        for (; word != 0; word &= word - 1) {
            visit(wordBegin + LowestBit(word));
        }
    }
}

// Moves the unmarked values at or above `begin` down over the marked ones, keeping their order, and
// returns how many values now stand in front. `data` holds as many values as there are marks. What
// lies behind them is unspecified. Whole words of survivors move as one block, mixed words without a
// branch.
template <typename T>
size_t MoveUnmarkedDown(T* data, size_t begin, const std::vector<bool>& marks) {
    static_assert(std::is_trivially_copyable<T>::value, "values are moved as bytes");
    const size_t count = marks.size();
    size_t write = begin;
    size_t read = begin;
    while (read < count) {
        const size_t wordEnd = std::min(read - read % MATCH_WORD_BITS + MATCH_WORD_BITS, count);
        uint64_t word = MatchWord(marks, read / MATCH_WORD_BITS) >> (read % MATCH_WORD_BITS);
        if (word == 0) {
            size_t runEnd = wordEnd;
            while (runEnd < count && MatchWord(marks, runEnd / MATCH_WORD_BITS) == 0) {
                runEnd = std::min(runEnd + MATCH_WORD_BITS, count);
            }
            if (write != read) {
                std::memmove(data + write, data + read, (runEnd - read) * sizeof(T));
            }
            write += runEnd - read;
            read = runEnd;
            continue;
        }
        for (; read < wordEnd; ++read, word >>= 1) {
            data[write] = data[read];
            write += (~word) & 1;
        }
    }
    return write;
}

}  // namespace OstraneCommon

#endif  // OSTRANE_COMMON_MATCH_RUNS_H_
