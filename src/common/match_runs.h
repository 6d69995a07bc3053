// Sets and walks the marks of a selection 64 at a time instead of bit by bit.
//
//   marks 0 0 0 0 0
//   MatchMarker: Mark(1, 2), Mark(3, 5)          marks 0 1 0 1 1
//   ForEachMatch(marks, 1, visit)                visits 1, 3, 4
//   MoveUnmarkedDown(data, 1, marks)             [a, b, c, d, e] -> [a, c, ...], returns 2
//
// std::vector<bool> has no public words. libstdc++ shows them through its iterator; elsewhere, and
// when OSTRANE_PORTABLE_MATCH_WORDS is defined, a word is put together from its bits. Define that for every
// source file of a program or for none.
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

#if defined(__GLIBCXX__) && !defined(_GLIBCXX_DEBUG) && !defined(OSTRANE_PORTABLE_MATCH_WORDS) && \
    ULONG_MAX == UINT64_MAX
#define OSTRANE_HAS_MATCH_WORDS 1
#else
#define OSTRANE_HAS_MATCH_WORDS 0
#endif

constexpr size_t MATCH_WORD_BITS = 64;
constexpr uint64_t ALL_MATCH = ~uint64_t{0};

// Marks 64 * wordIndex .. 64 * wordIndex + 63, the lowest in bit 0; bits beyond the end are 0.
inline uint64_t MatchWord(const std::vector<bool>& marks, size_t wordIndex) {
    const size_t begin = wordIndex * MATCH_WORD_BITS;
    const size_t size = std::min(marks.size() - begin, MATCH_WORD_BITS);
#if OSTRANE_HAS_MATCH_WORDS
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

// Marks runs of a vector. The word that is being marked is kept aside until another one is, so that
// many short runs beside each other cost no store each; it is written when the marker ends.
class MatchMarker {
public:
    explicit MatchMarker(std::vector<bool>& marks) : m_marks(marks) {}
    MatchMarker(const MatchMarker&) = delete;
    MatchMarker& operator=(const MatchMarker&) = delete;
    ~MatchMarker() { Flush(); }

    // Marks begin .. end - 1, which lie inside and are at least one.
    void Mark(size_t begin, size_t end) {
#if OSTRANE_HAS_MATCH_WORDS
        const size_t first = begin / MATCH_WORD_BITS;
        const size_t last = (end - 1) / MATCH_WORD_BITS;
        if (first != m_wordIndex) {
            Flush();
            m_wordIndex = first;
            m_word = 0;
        }
        const uint64_t lastBits = ALL_MATCH >> (MATCH_WORD_BITS - 1 - (end - 1) % MATCH_WORD_BITS);
        m_word |= ALL_MATCH << (begin % MATCH_WORD_BITS) & (first == last ? lastBits : ALL_MATCH);
        if (first != last) {
            Flush();
            unsigned long* const words = m_marks.begin()._M_p;
            std::fill(words + first + 1, words + last, ALL_MATCH);
            m_wordIndex = last;
            m_word = lastBits;
        }
#else
        std::fill(m_marks.begin() + static_cast<std::ptrdiff_t>(begin),
                  m_marks.begin() + static_cast<std::ptrdiff_t>(end), true);
#endif
    }

    // Marks one position.
    void Mark(size_t position) {
#if OSTRANE_HAS_MATCH_WORDS
        if (position / MATCH_WORD_BITS != m_wordIndex) {
            Flush();
            m_wordIndex = position / MATCH_WORD_BITS;
            m_word = 0;
        }
        m_word |= uint64_t{1} << (position % MATCH_WORD_BITS);
#else
        m_marks[position] = true;
#endif
    }

private:
    void Flush() {
#if OSTRANE_HAS_MATCH_WORDS
        if (m_word != 0) {
            m_marks.begin()._M_p[m_wordIndex] |= m_word;
        }
#endif
    }

    std::vector<bool>& m_marks;
#if OSTRANE_HAS_MATCH_WORDS
    size_t m_wordIndex = 0;
    uint64_t m_word = 0;
#endif
};

// The number of marks.
inline size_t CountMatches(const std::vector<bool>& marks) {
    size_t count = 0;
    for (size_t begin = 0; begin < marks.size(); begin += MATCH_WORD_BITS) {
        count += static_cast<size_t>(__builtin_popcountll(MatchWord(marks, begin / MATCH_WORD_BITS)));
    }
    return count;
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
            word &= ALL_MATCH << (begin - wordBegin);
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
            word &= ALL_MATCH << (begin - wordBegin);
        }
        for (; word != 0; word &= word - 1) {
            visit(wordBegin + LowestBit(word));
        }
    }
}

// Moves the unmarked values at or above `begin` down over the marked ones, keeping their order, and
// returns how many values now stand in front. `data` holds as many values as there are marks. What
// lies behind them is unspecified. Words of nothing but survivors move as one block.
template <typename T>
size_t MoveUnmarkedDown(T* data, size_t begin, const std::vector<bool>& marks) {
    static_assert(std::is_trivially_copyable<T>::value, "values are moved as bytes");
    const size_t count = marks.size();
    size_t write = begin;
    size_t wordBegin = begin - begin % MATCH_WORD_BITS;
    while (wordBegin < count) {
        size_t wordEnd = std::min(wordBegin + MATCH_WORD_BITS, count);
        uint64_t survivors = ~MatchWord(marks, wordBegin / MATCH_WORD_BITS);
        if (wordBegin < begin) {
            survivors &= ALL_MATCH << (begin - wordBegin);
        }
        if (survivors == ALL_MATCH) {
            while (wordEnd < count && MatchWord(marks, wordEnd / MATCH_WORD_BITS) == 0) {
                wordEnd = std::min(wordEnd + MATCH_WORD_BITS, count);
            }
            std::memmove(data + write, data + wordBegin, (wordEnd - wordBegin) * sizeof(T));
            write += wordEnd - wordBegin;
            wordBegin = wordEnd;
            continue;
        }
        survivors &= ALL_MATCH >> (wordBegin + MATCH_WORD_BITS - wordEnd);
        for (; survivors != 0; survivors &= survivors - 1) {
            data[write++] = data[wordBegin + LowestBit(survivors)];
        }
        wordBegin = wordEnd;
    }
    return write;
}

}  // namespace OstraneCommon

#endif  // OSTRANE_COMMON_MATCH_RUNS_H_
