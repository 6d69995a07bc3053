#include "expr/literal_text.h"

#include <charconv>
#include <cmath>

#include "expr/code_point.h"

namespace OstraneCommon {
namespace {

constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

void AppendHex(uint32_t value, int digits, std::string& out) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
        out += HEX_DIGITS[(value >> shift) & 0xFU];
    }
}

void AppendEscaped(const CodePoint& point, unsigned char byte, std::string& out) {
    switch (point.isValid ? point.value : 0x100U) {
        case '\n':
            out += "\\n";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\r':
            out += "\\r";
            return;
        default:
            break;
    }
    if (!point.isValid || point.value < 0x80) {
        out += "\\x";
        AppendHex(byte, 2, out);
        return;
    }
    out += "\\u";
    AppendHex(point.value, 4, out);
}

}  // namespace

void AppendQuoted(const std::string& text, std::string& out) {
    out += '\'';
    for (size_t i = 0; i < text.size();) {
        const CodePoint point = CodePointAt(text, i);
        if (!point.isValid || IsUnsafeCodePoint(point.value)) {
            AppendEscaped(point, static_cast<unsigned char>(text[i]), out);
        } else {
            if (text[i] == '\'' || text[i] == '\\') {
                out += '\\';
            }
            out.append(text, i, point.length);
        }
        i += point.length;
    }
    out += '\'';
}

void AppendBytes(const void* data, size_t size, std::string& out) {
    out += "x'";
    const unsigned char* const bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; bytes != nullptr && i < size; ++i) {
        AppendHex(bytes[i], 2, out);
    }
    out += '\'';
}

void AppendDouble(double value, std::string& out) {
    if (std::isnan(value) || std::isinf(value)) {
        out += std::signbit(value) ? "-" : "";
        out += std::isnan(value) ? "nan" : "inf";
        return;
    }
    // 17 digits, a sign, a point and an exponent at most.
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof(digits), value);
    const std::string text(digits, result.ptr);
    out += text;
    if (text.find_first_of(".e") == std::string::npos) {
        out += ".0";
    }
}

void AppendName(const std::string& name, std::string& out) {
    if (name.empty()) {
        out += "''";
        return;
    }
    for (size_t i = 0; i < name.size();) {
        const CodePoint point = CodePointAt(name, i);
        if (!point.isValid || IsUnsafeCodePoint(point.value)) {
            AppendQuoted(name, out);
            return;
        }
        i += point.length;
    }
    out += name;
}

}  // namespace OstraneCommon
