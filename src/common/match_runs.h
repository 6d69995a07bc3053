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

// The position of the lowest bit that is set; `word` must not be 0.
inline size_t LowestBit(uint64_t word) {
    return static_cast<size_t>(__builtin_ctzll(word));
}

#if !OSTRANE_HAS_MATCH_WORDS
// Where the marks of a word begin. The mask takes a bit that no size reaches: compilers see by it that the
// place is not negative, and so that the marks of one word share one word of storage.
inline std::ptrdiff_t WordBegin(size_t wordIndex) {
    return static_cast<std::ptrdiff_t>(wordIndex * MATCH_WORD_BITS & PTRDIFF_MAX);
}

// All 64 marks of a word, taken together in one expression, behind which compilers may find the word itself.
template <size_t... Bits>
uint64_t ReadBits(const std::vector<bool>& marks, size_t wordIndex, std::index_sequence<Bits...> /*bits*/) {
    const std::vector<bool>::const_iterator begin = marks.begin() + WordBegin(wordIndex);
    return ((static_cast<uint64_t>(begin[Bits]) << Bits) | ...);
}
#endif

// Marks 64 * wordIndex .. 64 * wordIndex + 63, the lowest in bit 0; bits beyond the end are 0.
inline uint64_t MatchWord(const std::vector<bool>& marks, size_t wordIndex) {
    const size_t size = std::min(marks.size() - wordIndex * MATCH_WORD_BITS, MATCH_WORD_BITS);
#if OSTRANE_HAS_MATCH_WORDS
    const uint64_t word = marks.begin()._M_p[wordIndex];
    return size == MATCH_WORD_BITS ? word : word & ((uint64_t{1} << size) - 1);
#else
    if (size == MATCH_WORD_BITS) {
        return ReadBits(marks, wordIndex, std::make_index_sequence<MATCH_WORD_BITS>());
    }
    const std::vector<bool>::const_iterator begin = marks.begin() + WordBegin(wordIndex);
    uint64_t word = 0;
    for (size_t bit = 0; bit < size; ++bit) {
        word |= static_cast<uint64_t>(begin[static_cast<std::ptrdiff_t>(bit)]) << bit;
    }
    return word;
#endif
}

// Sets, of the marks of a word, those of the bits that are set in `bits`; none lies beyond the end.
inline void AddMarks(std::vector<bool>& marks, size_t wordIndex, uint64_t bits) {
#if OSTRANE_HAS_MATCH_WORDS
    marks.begin()._M_p[wordIndex] |= bits;
#else
    const std::vector<bool>::iterator begin = marks.begin() + WordBegin(wordIndex);
    for (; bits != 0; bits &= bits - 1) {
        begin[static_cast<std::ptrdiff_t>(LowestBit(bits))] = true;
    }
#endif
}

// The same, but clears them.
inline void RemoveMarks(std::vector<bool>& marks, size_t wordIndex, uint64_t bits) {
#if OSTRANE_HAS_MATCH_WORDS
    marks.begin()._M_p[wordIndex] &= ~bits;
#else
    const std::vector<bool>::iterator begin = marks.begin() + WordBegin(wordIndex);
    for (; bits != 0; bits &= bits - 1) {
        begin[static_cast<std::ptrdiff_t>(LowestBit(bits))] = false;
    }
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
        const size_t first = begin / MATCH_WORD_BITS;
        const size_t last = (end - 1) / MATCH_WORD_BITS;
        const uint64_t lastBits = ALL_MATCH >> (MATCH_WORD_BITS - 1 - (end - 1) % MATCH_WORD_BITS);
        GoTo(first);
        m_word |= ALL_MATCH << (begin % MATCH_WORD_BITS) & (first == last ? lastBits : ALL_MATCH);
        if (first == last) {
            return;
        }
        GoTo(last);
        m_word = lastBits;
        std::fill(m_marks.begin() + static_cast<std::ptrdiff_t>((first + 1) * MATCH_WORD_BITS),
                  m_marks.begin() + static_cast<std::ptrdiff_t>(last * MATCH_WORD_BITS), true);
    }

    // Marks one position.
    void Mark(size_t position) {
        GoTo(position / MATCH_WORD_BITS);
        m_word |= uint64_t{1} << (position % MATCH_WORD_BITS);
    }

private:
    void GoTo(size_t wordIndex) {
        if (wordIndex != m_wordIndex) {
            Flush();
            m_wordIndex = wordIndex;
            m_word = 0;
        }
    }

    void Flush() {
        if (m_word != 0) {
            AddMarks(m_marks, m_wordIndex, m_word);
        }
    }

    std::vector<bool>& m_marks;
    size_t m_wordIndex = 0;
    uint64_t m_word = 0;
};

// The number of marks.
inline size_t CountMatches(const std::vector<bool>& marks) {
    size_t count = 0;
    for (size_t begin = 0; begin < marks.size(); begin += MATCH_WORD_BITS) {
        count += static_cast<size_t>(__builtin_popcountll(MatchWord(marks, begin / MATCH_WORD_BITS)));
    }
    return count;
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
