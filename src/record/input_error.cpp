#include "record/input_error.h"

#include <algorithm>

#include "record/statement_result.h"

namespace OstraneRecord {

std::string InputError::ToStr() const {
    std::string text;
    if (!file.empty()) {
        text += file;
    }
    if (line != 0) {
        text += (text.empty() ? "" : ":") + std::to_string(line) + ":" + std::to_string(column);
    }
    if (!text.empty()) {
        text += ": ";
    }
    text += message;
    if (line == 0 && hasOffset) {
        text += " at byte " + std::to_string(offset);
    }
    if (!hint.empty()) {
        text += "; " + hint;
    }
    // Names and values of hostile input may hold line breaks; an error is one line.
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    return text;
}

int FailInput(InputError& error, int code, const std::string& message, const std::string& hint) {
    error.code = code;
    error.message = message;
    error.hint = hint;
    return code;
}

std::string ShowError(const InputError& error) {
    return "error " + std::to_string(error.code) + " " + CodeName(error.code) + ": " + error.ToStr();
}

void LocateInput(const char* text, size_t size, size_t offset, InputError& error) {
    error.offset = offset;
    error.hasOffset = true;
    error.line = 1;
    error.column = 1;
    for (size_t i = 0; i < std::min(offset, size); ++i) {
        if (text[i] == '\n') {
            ++error.line;
            error.column = 1;
        } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
            ++error.column;
        }
    }
}

}  // namespace OstraneRecord
