// A text is split once into sign, digits and exponent. Integers are then built from the digits alone,
// because a detour over double would lose the low bits of 18446744073709551615; doubles come from the
// library's own correctly rounding conversion, which does not depend on the locale.
#include "expr/number_text.h"

#include <charconv>
#include <cstddef>
#include <limits>
#include <system_error>

namespace OstraneCommon {
namespace {

enum class Shape { Decimal, Hex, Infinity, NotANumber };

struct NumberParts {
    Shape shape = Shape::Decimal;
    bool isNegative = false;
    size_t begin = 0;      // of the text behind sign and 0x
    std::string digits;    // without leading zeros; empty for zero
    int64_t exponent = 0;  // of ten, behind the digits
};

// Larger exponents than this change no answer: the number is zero or beyond any double.
constexpr int64_t MAX_EXPONENT = 1000000000;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

int HexDigit(char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Whether text[begin..] is `word`, which is in lower case.
bool IsWord(const std::string& text, size_t begin, const char* word) {
    size_t i = 0;
    for (; word[i] != '\0'; ++i) {
        if (begin + i >= text.size() || (text[begin + i] | 0x20) != word[i]) {
            return false;
        }
    }
    return begin + i == text.size();
}

bool SplitHex(const std::string& text, NumberParts& out) {
    out.shape = Shape::Hex;
    out.begin += 2;
    if (out.begin == text.size()) {
        return false;
    }
    size_t i = out.begin;
    while (i < text.size() && text[i] == '0') {
        ++i;
    }
    for (; i < text.size(); ++i) {
        if (HexDigit(text[i]) < 0) {
            return false;
        }
        out.digits += text[i];
    }
    return true;
}

// Reads the exponent that starts behind an 'e' at `i`, which must be the rest of the text.
bool SplitExponent(const std::string& text, size_t i, int64_t& exponent) {
    const bool isNegative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        ++i;
    }
    if (i == text.size()) {
        return false;
    }
    int64_t value = 0;
    for (; i < text.size(); ++i) {
        if (!IsDigit(text[i])) {
            return false;
        }
        value = value > MAX_EXPONENT ? value : value * 10 + (text[i] - '0');
    }
    exponent += isNegative ? -value : value;
    return true;
}

bool SplitNumber(const std::string& text, NumberParts& out) {
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        out.isNegative = text[0] == '-';
        out.begin = 1;
    }
    if (IsWord(text, out.begin, "inf")) {
        out.shape = Shape::Infinity;
        return true;
    }
    if (IsWord(text, out.begin, "nan")) {
        out.shape = Shape::NotANumber;
        return true;
    }
    if (out.begin + 1 < text.size() && text[out.begin] == '0' && (text[out.begin + 1] | 0x20) == 'x') {
        return SplitHex(text, out);
    }
    size_t i = out.begin;
    const auto takeDigits = [&] {
        const size_t first = i;
        for (; i < text.size() && IsDigit(text[i]); ++i) {
            if (text[i] != '0' || !out.digits.empty()) {
                out.digits += text[i];
            }
        }
        return i - first;
    };
    if (takeDigits() == 0) {
        return false;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        const size_t fraction = takeDigits();
        if (fraction == 0) {
            return false;
        }
        out.exponent -= static_cast<int64_t>(fraction);
    }
    if (i < text.size() && (text[i] | 0x20) == 'e') {
        return SplitExponent(text, i + 1, out.exponent);
    }
    return i == text.size();
}

// The digits in base `base` followed by `zeros` more; false beyond 2^64 - 1.
bool Magnitude(const std::string& digits, unsigned base, int64_t zeros, uint64_t& out) {
    uint64_t value = 0;
    const auto append = [&](unsigned digit) {
        if (value > (std::numeric_limits<uint64_t>::max() - digit) / base) {
            return false;
        }
        value = value * base + digit;
        return true;
    };
    for (const char c : digits) {
        if (!append(static_cast<unsigned>(HexDigit(c)))) {
            return false;
        }
    }
    for (int64_t i = 0; i < zeros && value != 0; ++i) {
        if (!append(0)) {
            return false;
        }
    }
    out = value;
    return true;
}

}  // namespace

bool IntegerOfText(const std::string& text, uint64_t& bits) {
    NumberParts parts;
    if (!SplitNumber(text, parts)) {
        return false;
    }
    if (parts.shape == Shape::Infinity || parts.shape == Shape::NotANumber) {
        return false;
    }
    if (parts.shape == Shape::Decimal) {
        while (!parts.digits.empty() && parts.digits.back() == '0') {
            parts.digits.pop_back();
            ++parts.exponent;
        }
        if (!parts.digits.empty() && parts.exponent < 0) {
            return false;
        }
    }
    uint64_t magnitude = 0;
    if (!Magnitude(parts.digits, parts.shape == Shape::Hex ? 16 : 10, parts.exponent, magnitude)) {
        return false;
    }
    if (!parts.isNegative) {
        bits = magnitude;
        return true;
    }
    if (magnitude > uint64_t{1} << 63) {
        return false;
    }
    bits = 0 - magnitude;
    return true;
}

bool DoubleOfText(const std::string& text, double& number) {
    NumberParts parts;
    if (!SplitNumber(text, parts)) {
        return false;
    }
    double value = 0;
    if (parts.shape == Shape::Infinity) {
        value = std::numeric_limits<double>::infinity();
    } else if (parts.shape == Shape::NotANumber) {
        value = std::numeric_limits<double>::quiet_NaN();
    } else if (!parts.digits.empty()) {
        const std::chars_format format =
            parts.shape == Shape::Hex ? std::chars_format::hex : std::chars_format::general;
        const char* const end = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data() + parts.begin, end, value, format);
        if (result.ec == std::errc::result_out_of_range) {
            if (parts.shape == Shape::Hex || parts.exponent + static_cast<int64_t>(parts.digits.size()) > 0) {
                return false;
            }
            value = 0;
        }
    }
    number = parts.isNegative ? -value : value;
    return true;
}

}  // namespace OstraneCommon
