// Why a schema, a record or a parameter cannot be read or written, and where in which file.
//
// An error in a statement is another thing: its place is in the statement's text.
#ifndef OSTRANE_RECORD_INPUT_ERROR_H_
#define OSTRANE_RECORD_INPUT_ERROR_H_

#include <cstddef>
#include <string>

namespace OstraneRecord {

// What is unknown stays empty, or 0 in line and column.
struct InputError {
    int code = 0;       // a negative result code
    std::string file;   // as the user named it
    size_t line = 0;    // from 1
    size_t column = 0;  // in code points, from 1
    size_t offset = 0;  // in bytes from 0, when hasOffset
    bool hasOffset = false;
    std::string field;    // the full name of the field or type that is at fault
    std::string message;  // one sentence without a full stop
    std::string hint;     // what to write instead

    // "player.json:3:12: expected ..; did you mean ..": one line.
    std::string ToStr() const;
};

// Fills `error` and returns its code.
int FailInput(InputError& error, int code, const std::string& message, const std::string& hint = std::string());

// The error for a person, one line without a line end:
//
//   error -256 GEN_ERR_ERR: player.json:3:12: expected ',' or '}' after a member
std::string ShowError(const InputError& error);

// Sets offset, line and column of `error` for the byte `offset` of `text`.
void LocateInput(const char* text, size_t size, size_t offset, InputError& error);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_INPUT_ERROR_H_
