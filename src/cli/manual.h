// The man page, with the options as the program knows them.
#ifndef OSTRANE_CLI_MANUAL_H_
#define OSTRANE_CLI_MANUAL_H_

#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace OstraneCli {

// In the man macros of roff.
std::string ManualPage(const CLI::App& app);

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_MANUAL_H_
