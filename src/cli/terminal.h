// What a person sees: errors and notes on stderr, in colour on a terminal, and plain text on stdout.
//
// NO_COLOR, set to anything but nothing, turns colour off.
#ifndef OSTRANE_CLI_TERMINAL_H_
#define OSTRANE_CLI_TERMINAL_H_

#include <cstddef>
#include <string>

#include "record/input_error.h"
#include "record/output_file.h"
#include "record/statement_result.h"

namespace OstraneCli {

// "ostrane: message".
void PrintUsageError(const std::string& message);
// "error -256 GEN_ERR_ERR: player.json:3:12: message".
void PrintInputError(const OstraneRecord::InputError& error);
// The error with the statement's line and a caret; `statements` is the text that was compiled. `place`
// tells the record, when there are many; else empty.
void PrintStatementError(const OstraneRecord::StatementError& error, const std::string& statements,
                         const std::string& place);
// The same of an output; nothing when its reader has gone, who wants no more.
void PrintOutputError(const OstraneRecord::OutputFile& out, const OstraneRecord::InputError& error);
// A line of its own, such as a summary.
void PrintNote(const std::string& message);

// A line on stderr that is drawn over by the next one, and cleared before anything else is printed. Whether
// there is a terminal that can do that, and how many characters it shows.
bool CanShowStatus();
size_t StatusWidth();
void ShowStatus(const std::string& line);
void ClearStatus();
// The same for a signal handler.
void ClearStatusInSignal();

// Writes to stdout. False, and the reason on stderr, when it cannot be written.
bool PrintText(const std::string& text);

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_TERMINAL_H_
