#include "record/utf8.h"

#include <cstring>

namespace OstraneRecord {

namespace {

bool IsTail(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

size_t Utf8SequenceLength(const char* text, size_t size) {
    if (size == 0) {
        return 0;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const unsigned char lead = bytes[0];
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    if (lead < 0xE0) {
        return size >= 2 && IsTail(bytes[1]) ? 2 : 0;
    }
    if (lead < 0xF0) {
        const bool isOverlong = size >= 2 && lead == 0xE0 && bytes[1] < 0xA0;
        const bool isSurrogate = size >= 2 && lead == 0xED && bytes[1] >= 0xA0;
        return size >= 3 && IsTail(bytes[1]) && IsTail(bytes[2]) && !isOverlong && !isSurrogate ? 3 : 0;
    }
    const bool isOverlong = size >= 2 && lead == 0xF0 && bytes[1] < 0x90;
    const bool isBeyond = size >= 2 && lead == 0xF4 && bytes[1] >= 0x90;
    const bool hasTails = size >= 4 && IsTail(bytes[1]) && IsTail(bytes[2]) && IsTail(bytes[3]);
    return hasTails && !isOverlong && !isBeyond ? 4 : 0;
}

size_t Utf8ValidPrefix(const char* text, size_t size) {
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
        const size_t length = Utf8SequenceLength(text + pos, size - pos);
        if (length == 0) {
            return pos;
        }
        pos += length;
    }
    return pos;
}

void AppendUtf8(uint32_t codePoint, std::string& out) {
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
        return;
    }
    if (codePoint < 0x10000) {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
        return;
    }
    out += static_cast<char>(0xF0 | (codePoint >> 18));
    out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
}

}  // namespace OstraneRecord
