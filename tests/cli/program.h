// Runs the built program and shows what it said: one call is one process.
//
//   const Outcome outcome = RunOstrane({"codes"});
//   EXPECT_EQ(outcome.status, 0);
#ifndef OSTRANE_TESTS_CLI_PROGRAM_H_
#define OSTRANE_TESTS_CLI_PROGRAM_H_

#include <string>
#include <vector>

struct Outcome {
    int status = -1;  // the exit status; -N when signal N ended the process
    std::string out;
    std::string err;
};

// What to change about the process before it starts.
struct Surroundings {
    std::string input;                          // goes to stdin
    std::string outPath;                        // stdout is this file in place of a pipe that is read
    std::string folder;                         // the working directory
    std::vector<std::string> environment = {};  // NAME=VALUE; NAME alone removes it
    bool closesOut = false;                     // nobody reads stdout
};

Outcome RunOstrane(const std::vector<std::string>& arguments, const Surroundings& setup = Surroundings());

// Another program, found on PATH, on a terminal into which `typed` is typed.
Outcome TypeInto(const std::vector<std::string>& command, const std::string& typed,
                 const std::vector<std::string>& environment = {});

// ostrane with a terminal as stdout and stderr, whose text is all in `out`, line ends as the terminal has them.
Outcome RunOnTerminal(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});

// Whether the program is found on PATH.
bool HasProgram(const std::string& name);

#endif  // OSTRANE_TESTS_CLI_PROGRAM_H_
