// Numbers that are kept as their text: "42", "-0x1F", "1.50e3", "-inf".
#ifndef OSTRANE_EXPR_NUMBER_TEXT_H_
#define OSTRANE_EXPR_NUMBER_TEXT_H_

#include <cstdint>
#include <string>

namespace OstraneCommon {

// The integer that `text` stands for, exactly, as 64 bits: "1e3" is 1000, "2.50e1" is 25. False, and
// `bits` untouched, when the text is no number, has a fraction, or lies outside -2^63 .. 2^64 - 1.
bool IntegerOfText(const std::string& text, uint64_t& bits);

// The double nearest to the number that `text` stands for; what is too small for one is zero. False,
// and `number` untouched, when the text is no number or is too large for a double.
bool DoubleOfText(const std::string& text, double& number);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_NUMBER_TEXT_H_
