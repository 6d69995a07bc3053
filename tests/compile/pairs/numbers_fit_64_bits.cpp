// A text is read into a type of which every value fits a signed 64-bit integer.
#include "common/string_util.h"

#ifdef FORBIDDEN
using Number = uint64_t;
#else
using Number = uint32_t;
#endif

bool Use(const std::string& text, Number& number);
bool Use(const std::string& text, Number& number) {
    return StringToInt<Number>(text, number, 7, 0);
}
