// The commands and options of the program, in one table: the command line is parsed by it, and the help, the
// man page and the shells' completion are made from it.
#ifndef OSTRANE_CLI_OPTIONS_H_
#define OSTRANE_CLI_OPTIONS_H_

#include <string>
#include <vector>

#include "arguments.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace OstraneCli {

// What was written, of options that need more than their own text to be understood.
struct RawArguments {
    std::string inFormat;
    std::string outFormat;
    std::string helpOf;  // the command that `help` is asked about, or empty
    std::string shell;   // whose completion is wanted
};

// Fills `app`; what it parses goes to `arguments` and `raw`, which must outlive it.
void DefineCommands(CLI::App& app, Arguments& arguments, RawArguments& raw);

// What a kind of value may be, where that is fixed: of FORMAT json, ndjson, text, binary and delimited. Empty
// of other kinds, such as FILE.
const std::vector<std::string>& FixedValues(const std::string& kind);

// "--in", "-I", "STATEMENTS": as a person writes it.
std::string WrittenName(const CLI::Option& option);

// "a, b or c".
std::string Enumerate(const std::vector<std::string>& names);

// The exit statuses in one sentence.
extern const char EXIT_STATUS_TEXT[];

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_OPTIONS_H_
