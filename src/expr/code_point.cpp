#include "expr/code_point.h"

namespace OstraneCommon {
namespace {

constexpr CodePointRange UNSAFE[] = {
    {0x00, 0x1F}, {0x7F, 0x9F}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF},
};

}  // namespace

CodePoint CodePointAt(const char* text, size_t size, size_t offset) {
    const auto byteAt = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byteAt(offset);
    CodePoint out;
    if (first < 0x80) {
        out.value = first;
        out.isValid = true;
        return out;
    }
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || size - offset < length) {
        return out;
    }
    uint32_t value = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if ((byteAt(offset + i) & 0xC0) != 0x80) {
            return out;
        }
        value = (value << 6) | (byteAt(offset + i) & 0x3FU);
    }
    const bool isOverlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    if (isOverlong || (value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF) {
        return out;
    }
    out.value = value;
    out.length = length;
    out.isValid = true;
    return out;
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
