#include "record/json_text.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace OstraneRecord {

namespace {

template <typename T>
void AppendFloating(T value, std::string& out) {
    if (std::isnan(value)) {
        out += "\"NaN\"";
        return;
    }
    if (std::isinf(value)) {
        out += value > 0 ? "\"Infinity\"" : "\"-Infinity\"";
        return;
    }
    char text[64];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), value);
    out.append(text, end.ptr);
}

// A decimal number as digits * 10^exponent, the digits without zeros at either end. Zero has no digits.
struct Decimal {
    bool isNegative = false;
    std::string digits;
    int64_t exponent = 0;
};

bool ParseDecimal(const std::string& text, Decimal& decimal) {
    size_t pos = 0;
    if (pos < text.size() && text[pos] == '-') {
        decimal.isNegative = true;
        ++pos;
    }
    bool hasPoint = false;
    bool hasDigit = false;
    for (; pos < text.size(); ++pos) {
        const char c = text[pos];
        if (c == '.' && !hasPoint) {
            hasPoint = true;
            continue;
        }
        if (c < '0' || c > '9') {
            break;
        }
        hasDigit = true;
        decimal.exponent -= hasPoint ? 1 : 0;
        if (c != '0' || !decimal.digits.empty()) {
            decimal.digits += c;
        }
    }
    if (!hasDigit || text[pos - 1] == '.') {
        return false;
    }
    if (pos < text.size()) {
        if (text[pos] != 'e' && text[pos] != 'E') {
            return false;
        }
        ++pos;
        if (pos < text.size() && text[pos] == '+') {
            ++pos;
            if (pos < text.size() && text[pos] == '-') {
                return false;
            }
        }
        int64_t exponent = 0;
        const char* const end = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data() + pos, end, exponent);
        if (result.ptr != end || pos == text.size()) {
            return false;
        }
        // Beyond this every number is too large or zero, and sums stay within 64 bits.
        constexpr int64_t MAX_EXPONENT = 1000000000000;
        const bool isOut = result.ec == std::errc::result_out_of_range;
        if (isOut || exponent > MAX_EXPONENT || exponent < -MAX_EXPONENT) {
            exponent = text[pos] == '-' ? -MAX_EXPONENT : MAX_EXPONENT;
        }
        decimal.exponent += exponent;
    }
    while (!decimal.digits.empty() && decimal.digits.back() == '0') {
        decimal.digits.pop_back();
        ++decimal.exponent;
    }
    return true;
}

// The digits of an integer with its sign, short enough for 64 bits or clearly too large.
bool ParseIntegerDigits(const std::string& text, std::string& digits) {
    Decimal decimal;
    if (!ParseDecimal(text, decimal)) {
        return false;
    }
    if (decimal.digits.empty()) {
        digits = "0";
        return true;
    }
    constexpr size_t MAX_DIGITS = 20;
    if (decimal.exponent < 0 || decimal.digits.size() > MAX_DIGITS ||
        decimal.exponent > static_cast<int64_t>(MAX_DIGITS)) {
        return false;
    }
    digits = (decimal.isNegative ? "-" : "") + decimal.digits;
    digits.append(static_cast<size_t>(decimal.exponent), '0');
    return true;
}

template <typename T>
bool ParseIntegerAs(const std::string& text, T& value) {
    std::string digits;
    if (!ParseIntegerDigits(text, digits)) {
        return false;
    }
    T parsed = 0;
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, parsed);
    if (result.ec != std::errc() || result.ptr != end) {
        return false;
    }
    value = parsed;
    return true;
}

template <typename T>
bool ParseFloatingAs(const std::string& text, T& value) {
    Decimal decimal;
    if (!ParseDecimal(text, decimal)) {
        return false;
    }
    T parsed = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, parsed);
    if (result.ec == std::errc::result_out_of_range) {
        const int64_t magnitude = decimal.exponent + static_cast<int64_t>(decimal.digits.size());
        if (magnitude > 0) {
            return false;
        }
        value = decimal.isNegative ? -T(0) : T(0);
        return true;
    }
    if (result.ec != std::errc() || result.ptr != end) {
        return false;
    }
    value = parsed;
    return true;
}

}  // namespace

void AppendJsonString(const std::string& text, std::string& out) {
    static const char HEX[] = "0123456789abcdef";
    out += '"';
    size_t runStart = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\' && c != 0x7f) {
            continue;
        }
        out.append(text, runStart, i - runStart);
        runStart = i + 1;
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                out += "\\u00";
                out += HEX[static_cast<unsigned char>(c) >> 4];
                out += HEX[static_cast<unsigned char>(c) & 0xF];
                break;
        }
    }
    out.append(text, runStart, text.size() - runStart);
    out += '"';
}

void AppendJsonNumber(double value, std::string& out) {
    AppendFloating(value, out);
}

void AppendJsonNumber(float value, std::string& out) {
    AppendFloating(value, out);
}

bool ParseInteger(const std::string& text, int64_t& value) {
    return ParseIntegerAs(text, value);
}

bool ParseInteger(const std::string& text, uint64_t& value) {
    return ParseIntegerAs(text, value);
}

bool ParseFloating(const std::string& text, double& value) {
    return ParseFloatingAs(text, value);
}

bool ParseFloating(const std::string& text, float& value) {
    return ParseFloatingAs(text, value);
}

}  // namespace OstraneRecord
