// Index texts: StringToInt against a reading digit by digit, within bounds that the input chooses.
//
// Input: four bytes a bound, the upper one first, then the text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/string_util.h"

namespace {

// Too simple to be wrong: an optional sign, then one digit or more and nothing else, the number
// within the bounds. Stops growing beyond any bound.
bool ReadByDigits(const std::string& text, int32_t& val, int32_t max, int32_t min) {
    const bool hasSign = !text.empty() && (text[0] == '-' || text[0] == '+');
    if (text.size() == (hasSign ? 1U : 0U)) {
        return false;
    }
    int64_t number = 0;
    for (size_t i = hasSign ? 1 : 0; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
        if (number < (int64_t{1} << 40)) {
            number = number * 10 + (text[i] - '0');
        }
    }
    if (hasSign && text[0] == '-') {
        number = -number;
    }
    if (number > max || number < min) {
        return false;
    }
    val = static_cast<int32_t>(number);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int32_t bounds[2];
    if (size < sizeof(bounds)) {
        return 0;
    }
    std::memcpy(bounds, data, sizeof(bounds));
    const std::string text(reinterpret_cast<const char*>(data) + sizeof(bounds), size - sizeof(bounds));

    const int32_t untouched = 123456789;
    int32_t expected = untouched;
    int32_t actual = untouched;
    const bool isExpected = ReadByDigits(text, expected, bounds[0], bounds[1]);
    const bool isActual = StringToInt<int32_t>(text, actual, bounds[0], bounds[1]);
    if (isExpected != isActual || expected != actual) {
        std::abort();
    }
    return 0;
}
