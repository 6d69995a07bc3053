// How single values look in JSON: strings and numbers.
#ifndef OSTRANE_RECORD_JSON_TEXT_H_
#define OSTRANE_RECORD_JSON_TEXT_H_

#include <cstdint>
#include <string>

namespace OstraneRecord {

// Appends `text`, which must be UTF-8, in quotes.
void AppendJsonString(const std::string& text, std::string& out);

// Appends the shortest text that reads back as the same number; "NaN", "Infinity" and "-Infinity" in quotes.
void AppendJsonNumber(double value, std::string& out);
void AppendJsonNumber(float value, std::string& out);

// Reads a number text, such as 7, -1, 1e2 or 2.0, exactly. False when it is no number, not integral, or
// does not fit.
bool ParseInteger(const std::string& text, int64_t& value);
bool ParseInteger(const std::string& text, uint64_t& value);

// Reads a number text as the nearest double or float. False when it is no number or too large; one too
// small for a digit is 0.
bool ParseFloating(const std::string& text, double& value);
bool ParseFloating(const std::string& text, float& value);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_TEXT_H_
