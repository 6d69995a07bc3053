// Numbers, strings and bytes. The grammar has seen to their shape; what they stand for is found here.
#include <limits>

#include "expr/code_point.h"
#include "expr/number_text.h"
#include "expr/parse_builder.h"

namespace OstraneCommon {
namespace {

// 0 .. 15, or -1.
int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

void ParseBuilder::PushNumber(const char* begin, const char* end) {
    const bool isNegative = *begin == '-';
    const char* at = isNegative ? begin + 1 : begin;
    const bool isHex = end - at > 2 && (at[1] | 0x20) == 'x';
    const uint64_t base = isHex ? 16 : 10;
    const uint64_t limit = isNegative ? uint64_t{1} << 63 : std::numeric_limits<uint64_t>::max();
    uint64_t value = 0;
    bool isTooLarge = false;
    for (at += isHex ? 2 : 0; at != end; ++at) {
        const int digit = HexValue(*at);
        if (digit < 0 || digit >= static_cast<int>(base)) {
            break;
        }
        const uint64_t next = static_cast<uint64_t>(digit);
        isTooLarge = isTooLarge || value > (limit - next) / base;
        value = isTooLarge ? value : value * base + next;
    }
    if (at != end) {  // a point, an exponent, inf or nan
        Expr* const node = NewNode(EXPR_FLOAT, begin);
        if (!DoubleOfText(std::string(begin, end), node->m_self.m_data.valFloat)) {
            Fail(Fault::FloatRange, begin);
        }
        PushValue(node, 0);
        return;
    }
    if (isTooLarge) {
        Fail(Fault::IntegerRange, begin);
    }
    const bool isBelowZero = isNegative && value != 0;
    PushWord(isBelowZero ? EXPR_INT : EXPR_UINT, begin, isBelowZero ? 0 - value : value, 0);
}

void ParseBuilder::PushString(const char* begin, const char* end) {
    Expr* const node = NewNode(EXPR_STRING, begin);
    DecodeString(begin + 1, end - 1, node->m_self.m_str);
    PushValue(node, 0);
}

void ParseBuilder::DecodeString(const char* begin, const char* end, std::string& out) {
    const char* run = begin;
    for (const char* at = begin; at != end;) {
        if (*at != '\\') {
            ++at;
            continue;
        }
        out.append(run, at);
        at = DecodeEscape(at, end, out);
        run = at;
    }
    out.append(run, end);
}

// Decodes the escape whose backslash is at `at`; a character follows it. Returns what is behind it.
const char* ParseBuilder::DecodeEscape(const char* at, const char* end, std::string& out) {
    const char letter = at[1];
    switch (letter) {
        case 'n':
            out += '\n';
            return at + 2;
        case 't':
            out += '\t';
            return at + 2;
        case 'r':
            out += '\r';
            return at + 2;
        case '\\':
        case '\'':
        case '"':
            out += letter;
            return at + 2;
        case 'x':
            out += static_cast<char>(HexDigits(at + 2, end, 2, at));
            return at + 4;
        case 'u':
        case 'U': {
            const int count = letter == 'u' ? 4 : 8;
            const uint32_t value = HexDigits(at + 2, end, count, at);
            if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
                Fail(Fault::EscapeCodePoint, at);
            }
            AppendCodePoint(value, out);
            return at + 2 + count;
        }
        default:
            Fail(Fault::EscapeUnknown, at);
    }
}

uint32_t ParseBuilder::HexDigits(const char* at, const char* end, int count, const char* escape) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i, ++at) {
        const int digit = at == end ? -1 : HexValue(*at);
        if (digit < 0) {
            Fail(Fault::EscapeDigits, escape);
        }
        value = value << 4 | static_cast<uint32_t>(digit);
    }
    return value;
}

void ParseBuilder::PushBytes(const char* begin, const char* end) {
    Expr* const node = NewNode(EXPR_BYTES, begin);
    std::string& bytes = node->m_self.m_str;
    const char* const last = end - 1;
    for (const char* at = begin + 2; at != last; at += 2) {
        if (HexValue(*at) < 0) {
            Fail(Fault::BytesDigits, at);
        }
        if (at + 1 == last) {
            Fail(Fault::BytesOdd, begin);
        }
        if (HexValue(at[1]) < 0) {
            Fail(Fault::BytesDigits, at + 1);
        }
        bytes += static_cast<char>(HexValue(*at) << 4 | HexValue(at[1]));
    }
    PushValue(node, 0);
}

}  // namespace OstraneCommon
