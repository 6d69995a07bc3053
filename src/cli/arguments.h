// What was asked for on the command line, checked for what fits together.
#ifndef OSTRANE_CLI_ARGUMENTS_H_
#define OSTRANE_CLI_ARGUMENTS_H_

#include <string>
#include <vector>

#include "record/codec.h"

namespace OstraneCli {

enum class Command { Apply, Get, Explain, Codes, Completion, Manual, Help };
enum class LogLevel { Off, Error, Debug };

struct Arguments {
    Command command = Command::Codes;

    std::string protoFile;
    std::vector<std::string> roots;
    std::string descriptorSet;
    std::string type;

    bool hasInput = true;  // explain does without
    std::string inFile;    // empty: stdin
    OstraneRecord::RecordFormat inFormat = OstraneRecord::RecordFormat::Json;
    std::string outFile;  // empty: stdout, unless in place
    bool inPlace = false;
    OstraneRecord::RecordFormat outFormat = OstraneRecord::RecordFormat::Json;

    std::string statements;
    std::string statementFile;            // empty: `statements` is the text
    std::vector<std::string> parameters;  // NAME=JSON
    std::string where;                    // empty: every record
    bool strict = false;
    bool partial = false;
    bool dryRun = false;
    bool camelNames = false;
    bool positions = false;
    std::string report;  // empty: none; "-": stdout
    bool keepGoing = false;
    int threads = 1;
    bool hasProgress = true;  // where there is a terminal to show it
    LogLevel log = LogLevel::Off;

    bool WritesFile() const { return inPlace || !outFile.empty(); }
};

// Exit statuses.
constexpr int EXIT_DONE = 0;
constexpr int EXIT_STATEMENT_FAILED = 1;  // the record is as it was
constexpr int EXIT_NOT_POSSIBLE = 2;      // wrong usage, unreadable input, output that cannot be written

// Parses the command line. Returns true when there is something to do; otherwise everything has been said
// (help, the version, or what is wrong) and `exitStatus` tells how to end.
bool ParseArguments(int argc, const char* const* argv, Arguments& arguments, int& exitStatus);

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_ARGUMENTS_H_
