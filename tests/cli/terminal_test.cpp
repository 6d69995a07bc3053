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

TEST(Terminal, EveryKindOfErrorHasAColouredHead) {
    // Empty is as good as not set.
    const std::vector<std::string> environment = {"TERM=xterm", "NO_COLOR="};
    EXPECT_THAT(RunOnTerminal({"aply"}, environment).out,
                StartsWith("\x1b[1;31mostrane:\x1b[0m 'aply' was not expected"));
    EXPECT_THAT(RunOnTerminal(Player("get", {"--in", "none.json", "GET name"}), environment).out,
                StartsWith("\x1b[1;31merror -256 GEN_ERR_ERR:\x1b[0m none.json: cannot be opened: "));
}

TEST(Terminal, ErrorsInAFileAreNeverInColour) {
    TempFolder folder;
    const std::string command = std::string(OSTRANE_PROGRAM) + " aply 2>" + folder.At("err");
    EXPECT_EQ(TypeInto({"sh", "-c", command}, "", {"TERM=xterm", "NO_COLOR"}).status, 2);
    EXPECT_THAT(folder.Read("err"), StartsWith("ostrane: 'aply' was not expected"));
}

// Results are the same text wherever they go.
TEST(Terminal, ResultsHaveNoColour) {
    const std::vector<std::string> arguments = Player("get", {"--in", OSTRANE_EXAMPLES "/player.json", "GET items[1]"});
    EXPECT_EQ(RunOnTerminal(arguments, {"TERM=xterm", "NO_COLOR"}).out,
              "{\"sku\":\"b\",\"qty\":8,\"state\":\"CLOSED\"}\r\n");
    EXPECT_THAT(RunOnTerminal({"help"}, {"TERM=xterm", "NO_COLOR"}).out, Not(HasSubstr("\x1b")));
}

}  // namespace
