// Scripts that complete a command line in a shell: commands, options, files, and values that are fixed.
#ifndef OSTRANE_CLI_COMPLETION_H_
#define OSTRANE_CLI_COMPLETION_H_

#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace OstraneCli {

std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_COMPLETION_H_
