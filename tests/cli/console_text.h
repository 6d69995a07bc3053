// Shell sessions in Markdown, run as a reader would type them.
//
//   ```console
//   $ ostrane codes | head -n 1
//   0      OK                                        done
//   ```
//
// A command starts with "$ " and goes on in the lines that start with "> "; what follows is all that it says, on
// stdout and stderr.
#ifndef OSTRANE_TESTS_CLI_CONSOLE_TEXT_H_
#define OSTRANE_TESTS_CLI_CONSOLE_TEXT_H_

#include <string>
#include <vector>

struct ConsoleCommand {
    int line = 0;         // of the file, from 1
    std::string typed;    // without the prompts
    std::string said;     // as the file has it
    std::string outcome;  // as it came out
};

// The commands of all the blocks of a file, in order.
std::vector<ConsoleCommand> ReadConsole(const std::string& path);

// Runs them in one shell, in `folder`, and fills in what came out.
void RunConsole(const std::string& folder, std::vector<ConsoleCommand>& commands);

#endif  // OSTRANE_TESTS_CLI_CONSOLE_TEXT_H_
