// Literals as the statement language writes them.
#ifndef OSTRANE_EXPR_LITERAL_TEXT_H_
#define OSTRANE_EXPR_LITERAL_TEXT_H_

#include <cstddef>
#include <string>

namespace OstraneCommon {

// 'it\'s' between single quotes. Any bytes parse back; what is written is UTF-8 and safe to show.
void AppendQuoted(const std::string& text, std::string& out);

// x'0AFF'
void AppendBytes(const void* data, size_t size, std::string& out);

// The shortest text that parses back to the same double, with a point or an exponent: 5.0, 1e+22, -inf.
void AppendDouble(double value, std::string& out);

// Names and selectors as they are; quoted when they are empty or unsafe to show.
void AppendName(const std::string& name, std::string& out);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_LITERAL_TEXT_H_
