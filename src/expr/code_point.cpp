#include "expr/code_point.h"

#include <cstring>

namespace OstraneCommon {
namespace {

constexpr CodePointRange UNSAFE[] = {
    {0x00, 0x1F}, {0x7F, 0x9F}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
};

bool IsTail(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

CodePoint Valid(uint32_t value, size_t length) {
    CodePoint point;
    point.value = value;
    point.length = length;
    point.isValid = true;
    return point;
}

}  // namespace

// Each length is written out rather than looped over: this runs for every character of every text.
CodePoint CodePointAt(const char* text, size_t size, size_t offset) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text + offset);
    const size_t left = size - offset;
    const uint32_t first = bytes[0];
    if (first < 0x80) {
        return Valid(first, 1);
    }
    if (first < 0xC2 || first > 0xF4 || left < 2 || !IsTail(bytes[1])) {
        return CodePoint();
    }
    const uint32_t second = bytes[1] & 0x3FU;
    if (first < 0xE0) {
        return Valid(((first & 0x1FU) << 6) | second, 2);
    }
    if (left < 3 || !IsTail(bytes[2])) {
        return CodePoint();
    }
    const uint32_t third = bytes[2] & 0x3FU;
    if (first < 0xF0) {
        const uint32_t value = ((first & 0x0FU) << 12) | (second << 6) | third;
        const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
        return value < 0x800 || isSurrogate ? CodePoint() : Valid(value, 3);
    }
    if (left < 4 || !IsTail(bytes[3])) {
        return CodePoint();
    }
    const uint32_t value = ((first & 0x07U) << 18) | (second << 12) | (third << 6) | (bytes[3] & 0x3FU);
    return value < 0x10000 || value > 0x10FFFF ? CodePoint() : Valid(value, 4);
}

size_t ValidUtf8Prefix(const char* text, size_t size) {
    constexpr uint64_t HIGH_BITS = 0x8080808080808080U;
    size_t pos = 0;
    while (pos < size) {
        // Most text is ASCII: eight bytes at a time.
        uint64_t word = 0;
        if (size - pos >= sizeof(word)) {
            std::memcpy(&word, text + pos, sizeof(word));
            if ((word & HIGH_BITS) == 0) {
                pos += sizeof(word);
                continue;
            }
        }
        const CodePoint point = CodePointAt(text, size, pos);
        if (!point.isValid) {
            return pos;
        }
        pos += point.length;
    }
    return pos;
}

void AppendCodePoint(uint32_t value, std::string& out) {
    if (value < 0x80) {
        out += static_cast<char>(value);
        return;
    }
    if (value < 0x800) {
        out += static_cast<char>(0xC0U | (value >> 6));
        out += static_cast<char>(0x80U | (value & 0x3FU));
        return;
    }
    if (value < 0x10000) {
        out += static_cast<char>(0xE0U | (value >> 12));
        out += static_cast<char>(0x80U | ((value >> 6) & 0x3FU));
        out += static_cast<char>(0x80U | (value & 0x3FU));
        return;
    }
    out += static_cast<char>(0xF0U | (value >> 18));
    out += static_cast<char>(0x80U | ((value >> 12) & 0x3FU));
    out += static_cast<char>(0x80U | ((value >> 6) & 0x3FU));
    out += static_cast<char>(0x80U | (value & 0x3FU));
}

bool IsUnsafeCodePoint(uint32_t value) {
    return IsInRanges(UNSAFE, value);
}

}  // namespace OstraneCommon
