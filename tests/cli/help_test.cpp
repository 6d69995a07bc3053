// What the program tells about itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Options, Version) {
    const Outcome outcome = RunOstrane({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ostrane " OSTRANE_VERSION "\n");
}

TEST(Options, HelpShowsExamplesAndOnlyWhatThereIs) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"apply", "--help"}, {"get", "--help"}, {"explain", "--help"}}) {
        const Outcome outcome = RunOstrane(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Examples:\n  ostrane "));
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(Codes, ListsThemAll) {
    const Outcome outcome = RunOstrane({"codes"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(StartsWith("0      OK "), HasSubstr("\n-256   GEN_ERR_ERR  "),
                                   HasSubstr("\n-537   COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE  "),
                                   HasSubstr("\n-4377  COMMON_ERR_INVALID_EXPR_SYNTAX  "),
                                   HasSubstr("\n-4633  COMMON_ERR_INVALID_ARRAY_INDEX  "),
                                   HasSubstr("\n-4889  COMMON_ERR_INVALID_FIELD_NAME  "),
                                   HasSubstr("\n-5145  COMMON_ERR_INVALID_EXPR_TYPE  ")));
}

}  // namespace
