// What is UTF-8: no overlong forms, no surrogates, nothing beyond U+10FFFF.
#ifndef OSTRANE_RECORD_UTF8_H_
#define OSTRANE_RECORD_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace OstraneRecord {

// The bytes of the code point at `text`, 1 to 4; 0 when there is no valid one.
size_t Utf8SequenceLength(const char* text, size_t size);

// The number of leading bytes that are valid: `size` when all are.
size_t Utf8ValidPrefix(const char* text, size_t size);

inline bool IsUtf8(const std::string& text) {
    return Utf8ValidPrefix(text.data(), text.size()) == text.size();
}

// Appends the bytes of `codePoint`, which must be a valid one.
void AppendUtf8(uint32_t codePoint, std::string& out);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_UTF8_H_
