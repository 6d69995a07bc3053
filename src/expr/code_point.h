// The code points of a text that need not be UTF-8.
#ifndef OSTRANE_EXPR_CODE_POINT_H_
#define OSTRANE_EXPR_CODE_POINT_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace OstraneCommon {

struct CodePoint {
    uint32_t value = 0;
    size_t length = 1;     // in bytes
    bool isValid = false;  // false: one byte that is not part of a UTF-8 sequence
};

// The code point that starts at `offset`, which lies within the text. No overlong forms, no
// surrogates, nothing beyond U+10FFFF.
CodePoint CodePointAt(const char* text, size_t size, size_t offset);
inline CodePoint CodePointAt(const std::string& text, size_t offset) {
    return CodePointAt(text.data(), text.size(), offset);
}

// The number of leading bytes that are UTF-8: `size` when all are.
size_t ValidUtf8Prefix(const char* text, size_t size);
inline bool IsUtf8(const std::string& text) {
    return ValidUtf8Prefix(text.data(), text.size()) == text.size();
}

// Appends the UTF-8 bytes of `value`, which is a code point and no surrogate.
void AppendCodePoint(uint32_t value, std::string& out);

// Whether a terminal or a log must not be given it as it is: control characters, and those that
// reorder or hide the text around them.
bool IsUnsafeCodePoint(uint32_t value);

struct CodePointRange {
    uint32_t first;
    uint32_t last;
};

template <size_t N>
bool IsInRanges(const CodePointRange (&ranges)[N], uint32_t value) {
    for (const CodePointRange& range : ranges) {
        if (value >= range.first && value <= range.last) {
            return true;
        }
    }
    return false;
}

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_CODE_POINT_H_
