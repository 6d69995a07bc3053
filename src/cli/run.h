// The commands: from arguments to an exit status.
#ifndef OSTRANE_CLI_RUN_H_
#define OSTRANE_CLI_RUN_H_

#include "arguments.h"

namespace OstraneCli {

int RunApply(const Arguments& arguments);
int RunGet(const Arguments& arguments);
int RunExplain(const Arguments& arguments);
int RunCodes();

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_RUN_H_
