#include "expr/base64.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace OstraneCommon {
namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int SixBits(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+' || c == '-') {
        return 62;
    }
    return c == '/' || c == '_' ? 63 : -1;
}

}  // namespace

void AppendBase64(const std::string& bytes, std::string& out) {
    uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char c : bytes) {
        bits = (bits << 8) | static_cast<unsigned char>(c);
        bitCount += 8;
        while (bitCount >= 6) {
            bitCount -= 6;
            out += ALPHABET[(bits >> bitCount) & 0x3F];
        }
    }
    if (bitCount == 0) {
        return;
    }
    out += ALPHABET[(bits << (6 - bitCount)) & 0x3F];
    out += bitCount == 2 ? "==" : "=";
}

bool DecodeBase64(const std::string& text, std::string& bytes) {
    size_t size = text.size();
    if (size % 4 == 0 && size > 0 && text[size - 1] == '=') {
        size -= text[size - 2] == '=' ? 2 : 1;
    }
    if (size % 4 == 1) {
        return false;
    }
    std::string out;
    uint32_t bits = 0;
    int bitCount = 0;
    for (size_t i = 0; i < size; ++i) {
        const int value = SixBits(text[i]);
        if (value < 0) {
            return false;
        }
        bits = (bits << 6) | static_cast<uint32_t>(value);
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            out += static_cast<char>((bits >> bitCount) & 0xFF);
        }
    }
    bytes = std::move(out);
    return true;
}

}  // namespace OstraneCommon
