// Number texts.
//
//   int idx = 0;
//   StringToInt<int>("-1", idx, size - 1, -1);   // true, idx == -1
#ifndef OSTRANE_COMMON_STRING_UTIL_H_
#define OSTRANE_COMMON_STRING_UTIL_H_

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <type_traits>

// Stores the decimal integer that is the whole of `str` into `val`, when it lies in [min_, max_].
// A sign and leading zeros are allowed, spaces are not. Returns false otherwise and leaves `val`.
template <typename T>
bool StringToInt(const std::string& str, T& val, T max_, T min_) {
    static_assert(std::is_integral<T>::value && (std::is_signed<T>::value || sizeof(T) < sizeof(long long)),
                  "every value of T must fit a signed 64-bit integer");
    // strtoll itself would pass over leading spaces.
    if (str.empty() || std::isspace(static_cast<unsigned char>(str.front())) != 0) {
        return false;
    }
    char* end = nullptr;
    const int savedErrno = errno;
    errno = 0;
    const long long number = std::strtoll(str.c_str(), &end, 10);
    const bool isOutOfRange = errno == ERANGE;
    errno = savedErrno;
    if (end != str.c_str() + str.size()) {
        return false;
    }
    if (isOutOfRange) {
        return false;
    }
    if (number > static_cast<long long>(max_) || number < static_cast<long long>(min_)) {
        return false;
    }
    val = static_cast<T>(number);
    return true;
}

#endif  // OSTRANE_COMMON_STRING_UTIL_H_
