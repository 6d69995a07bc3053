// The patterns of LIKE, and other questions about texts.
#ifndef OSTRANE_EXPR_LIKE_PATTERN_H_
#define OSTRANE_EXPR_LIKE_PATTERN_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace OstraneCommon {

// A pattern made ready: `%` stands for any run, `_` for one character, `\` takes the next one as it is.
//
//   LikePattern pattern;
//   pattern.Compile("50\\%%", 5, false);   // starts with 50%
//   pattern.Matches("50% off", 7);         // true
//
// A character is a code point, or a byte where the subject is bytes. A byte that is no part of valid
// UTF-8 is one character, equal to itself alone.
class LikePattern {
public:
    // False when the pattern ends in a lone `\`.
    bool Compile(const char* pattern, size_t size, bool isBytes);
    // Time grows with the sizes of text and pattern added, not multiplied; a part that holds `_` costs one
    // word operation a character of the text for every 64 of its own.
    bool Matches(const char* text, size_t size) const;

private:
    // What stands between two `%`.
    struct Part {
        std::vector<uint32_t> characters;  // ANY_CHARACTER for `_`
        bool hasAny = false;
        std::vector<size_t> fallback;  // without `_`: the longest border of each prefix
        size_t wordCount = 0;          // with `_`: of the bit sets below
        std::vector<uint64_t> anyMask;
        std::vector<std::pair<uint32_t, std::vector<uint64_t>>> masks;  // by character, ascending
    };
    class Reader;

    static void Prepare(Part& part);
    static bool MatchHere(const Part& part, Reader& reader);
    static bool SearchPlain(const Part& part, Reader& reader, size_t limit);
    static bool SearchAny(const Part& part, Reader& reader, size_t limit);

    std::vector<Part> m_parts;  // one more than there are runs of `%`
    bool m_isBytes = false;
};

// Whether `part` stands somewhere in `text`, byte by byte, in time that grows with their sizes added.
bool HasSubstring(const char* text, size_t textSize, const char* part, size_t partSize);

// The characters of a text, counted as LikePattern does.
size_t CountCodePoints(const char* text, size_t size);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_LIKE_PATTERN_H_
