// What the program shows on a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Terminal, ErrorsAreInColourUnlessItIsUnwanted) {
    const std::vector<std::string> arguments = Player("apply", {"--in-format", "json", "PUSH scroes = 1"});
    EXPECT_EQ(RunOnTerminal(arguments, {"TERM=xterm", "NO_COLOR"}).out,
              "\x1b[1;31merror -4889 COMMON_ERR_INVALID_FIELD_NAME:\x1b[0m demo.Player has no field 'scroes'\r\n"
              "  PUSH scroes = 1\r\n"
              "       \x1b[1;32m^\x1b[0m\r\n"
              "  \x1b[36mhint:\x1b[0m did you mean 'scores'?\r\n");
    for (const std::vector<std::string>& environment :
         {std::vector<std::string>{"TERM=xterm", "NO_COLOR=1"}, {"TERM=dumb", "NO_COLOR"}, {"TERM", "NO_COLOR"}}) {
        const Outcome plain = RunOnTerminal(arguments, environment);
        EXPECT_EQ(plain.status, 1);
        EXPECT_THAT(plain.out, AllOf(StartsWith("error -4889 "), Not(HasSubstr("\x1b"))));
    }
}

}  // namespace
