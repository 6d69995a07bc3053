// Number texts.
//
//   int idx = 0;
//   StringToInt<int>("-1", idx, size - 1, -1);   // true, idx == -1
#ifndef OSTRANE_COMMON_STRING_UTIL_H_
#define OSTRANE_COMMON_STRING_UTIL_H_

#include <charconv>
#include <string>
#include <system_error>
#include <type_traits>

// Stores the decimal integer that is the whole of `str` into `val`, when it lies in [min_, max_].
// A sign and leading zeros are allowed, spaces are not. Returns false otherwise and leaves `val`.
template <typename T>
bool StringToInt(const std::string& str, T& val, T max_, T min_) {
    static_assert(std::is_integral<T>::value && (std::is_signed<T>::value || sizeof(T) < sizeof(long long)),
                  "every value of T must fit a signed 64-bit integer");
    const char* begin = str.data();
    const char* const end = begin + str.size();
    if (str.size() > 1 && begin[0] == '+' && begin[1] != '-') {
        ++begin;
    }
    long long number = 0;
    const std::from_chars_result read = std::from_chars(begin, end, number);
    if (read.ec != std::errc() || read.ptr != end) {
        return false;
    }
    if (number > static_cast<long long>(max_) || number < static_cast<long long>(min_)) {
        return false;
    }
    val = static_cast<T>(number);
    return true;
}

#endif  // OSTRANE_COMMON_STRING_UTIL_H_
