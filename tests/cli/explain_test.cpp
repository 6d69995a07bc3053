// `ostrane explain`: plans, trees, and what would happen to a record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::StartsWith;

TEST(Explain, ShowsPlanAndTrees) {
    const Outcome outcome =
        RunOstrane(Player("explain", {"PUSH scores[1] = 7;\nPOP items[*] WHERE qty < :limit AND state = 'OPEN'"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "1: PUSH scores[1] = 7\n"
              "  plan\n"
              "    insert into demo.Player.scores (a repeated int32 field) at scores[1]: 7\n"
              "  value\n"
              "    7\n"
              "2: POP items[*] WHERE qty < :limit AND state = 'OPEN'\n"
              "  plan\n"
              "    remove elements of demo.Player.items (a repeated field of demo.Item) at items[*] where qty < :limit "
              "AND state = 'OPEN'\n"
              "  where\n"
              "    qty < :limit AND state = 'OPEN'\n"
              "      qty < :limit\n"
              "        qty\n"
              "        :limit\n"
              "      state = 'OPEN'\n"
              "        state\n"
              "        'OPEN'\n");
}

TEST(Explain, ShowsWhatWouldHappenToARecordAndWritesNothing) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome = RunOstrane(Player("explain", {"--in", in, "POP scores WHERE $ > 10; SET level = 2"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(Short(outcome.out, folder), testing::EndsWith("DIR/a.json\n"
                                                              "  1: matched 2 at 1, 2, changed 2, size 3 -> 1\n"
                                                              "  2: matched 1, changed 1, size 0 -> 1\n"));
    EXPECT_EQ(folder.Read("a.json"), RECORD);
    const Outcome chosen = RunOstrane(Player("explain", {"--in", in, "--where", "level > 5", "CLEAR scores"}));
    EXPECT_THAT(Short(chosen.out, folder), testing::EndsWith("DIR/a.json\n  not chosen by --where\n"));
    const Outcome failing = RunOstrane(Player("explain", {"--in", in, "SET scores[9] = 1"}));
    EXPECT_EQ(failing.status, 1);
    EXPECT_THAT(failing.err, StartsWith("error -4633 "));
    EXPECT_EQ(RunOstrane(Player("explain", {"SET scroes[9] = 1"})).status, 1);
}

}  // namespace
