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

struct PlanRow {
    const char* statement;
    const char* plan;
};

TEST(Explain, EveryFormNamesItsOperationAndField) {
    const PlanRow rows[] = {
        {"GET scores[0..1]", "read elements of demo.Player.scores (a repeated int32 field) at scores[0..1]"},
        {"GET level", "read demo.Player.level (an int32 field) at level"},
        {"GET attrs", "read the entries of demo.Player.attrs (a map) at attrs"},
        {"TAKE scores[0]", "hand out and remove elements of demo.Player.scores (a repeated int32 field) at scores[0]"},
        {"POP scores", "remove elements of demo.Player.scores (a repeated int32 field) at scores"},
        {"SET scores[0] = level + 1",
         "overwrite elements of demo.Player.scores (a repeated int32 field) at scores[0], calculated first: level + 1"},
        {"SET items[*].qty = 3",
         "change a field of elements of demo.Player.items (a repeated field of demo.Item) at items[*].qty: 3"},
        {"SET level = ?", "set demo.Player.level (an int32 field) at level: ?"},
        {"SET scores = [1, ?]",
         "replace the elements of demo.Player.scores (a repeated int32 field) at scores: [1, ?]"},
        {"SET attrs = {\"a\": 1}", "set entries of demo.Player.attrs (a map) at attrs: {'a': 1}"},
        {"SET scores[0..1] FROM guild.ranks",
         "overwrite a run of elements of demo.Player.scores (a repeated int32 field) at scores[0..1] from guild.ranks"},
        {"SET hand FROM items[0]", "replace demo.Player.hand (a field of demo.Item) at hand from items[0]"},
        {"PUSH scores = 1", "insert into demo.Player.scores (a repeated int32 field) at scores: 1"},
        {"PUSH scores[2] FROM guild.ranks[1..]",
         "insert into demo.Player.scores (a repeated int32 field) at scores[2] from guild.ranks[1..]"},
        {"CLEAR level", "clear demo.Player.level (an int32 field) at level"},
        {"CLEAR attrs[\"a\"]", "remove an entry of demo.Player.attrs (a map) at attrs[\"a\"]"},
    };
    for (const PlanRow& row : rows) {
        const Outcome outcome = RunOstrane(Player("explain", {row.statement}));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, StartsWith(std::string("1: ") + row.statement + "\n  plan\n    " + row.plan + "\n"));
    }
}

TEST(Explain, OfAStreamEveryRecordUpToTheOneThatFails) {
    const Outcome outcome =
        RunOstrane(Player("explain", {"--in-format", "ndjson", "--where", "level IS NOT NULL OR size(scores) < 2",
                                      "POP scores[-1]; SET scores[0] = 3"}),
                   WithInput(THREE));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out,
              "1: POP scores[-1]\n"
              "  plan\n"
              "    remove elements of demo.Player.scores (a repeated int32 field) at scores[-1]\n"
              "2: SET scores[0] = 3\n"
              "  plan\n"
              "    overwrite elements of demo.Player.scores (a repeated int32 field) at scores[0]: 3\n"
              "  value\n"
              "    3\n"
              "standard input:1\n"
              "  1: matched 1 at 0, changed 1, size 1 -> 0\n"
              "  2: fails, and the record stays as it was\n");
    EXPECT_THAT(outcome.err, StartsWith("error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 0 is beyond 0 elements"));
    const Outcome all = RunOstrane(
        Player("explain", {"--in-format", "ndjson", "--where", "size(scores) > 0", "POP scores[0]"}), WithInput(THREE));
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_THAT(all.out, testing::EndsWith("standard input:1\n"
                                           "  1: matched 1 at 0, changed 1, size 1 -> 0\n"
                                           "standard input:2\n"
                                           "  not chosen by --where\n"
                                           "standard input:3\n"
                                           "  1: matched 1 at 0, changed 1, size 2 -> 1\n"));
}

TEST(Explain, ManyPositionsAreCounted) {
    std::string scores = "0";
    for (int i = 1; i < 25; ++i) {
        scores += "," + std::to_string(i);
    }
    const Outcome outcome = RunOstrane(Player("explain", {"--in-format", "json", "SET scores[*] = 1"}),
                                       WithInput("{\"name\":\"a\",\"scores\":[" + scores + "]}"));
    EXPECT_THAT(outcome.out,
                testing::EndsWith("  1: matched 25 at 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, "
                                  "17, 18, 19 and 5 more, changed 25, size 25 -> 25\n"));
}

TEST(Explain, ParametersAreNeededOnlyForARecord) {
    const Outcome plan = RunOstrane(Player("explain", {"--strict", "POP scores[?]"}));
    EXPECT_EQ(plan.status, 0) << plan.err;
    EXPECT_EQ(
        plan.out,
        "1: POP scores[?]\n  plan\n    remove elements of demo.Player.scores (a repeated int32 field) at scores[?]; "
        "selecting none is an error\n");
    const Outcome without = RunOstrane(Player("explain", {"--in-format", "json", "POP scores[?]"}), WithInput(RECORD));
    EXPECT_EQ(without.status, 1);
    EXPECT_THAT(without.err, StartsWith("error -4889 COMMON_ERR_INVALID_FIELD_NAME: "));
    const Outcome with =
        RunOstrane(Player("explain", {"--in-format", "json", "--param", "1=2", "POP scores[?]"}), WithInput(RECORD));
    EXPECT_THAT(with.out, testing::EndsWith("standard input\n  1: matched 1 at 2, changed 1, size 3 -> 2\n"));
    const Outcome wrong = RunOstrane(Player("explain", {"--param", "1=\"x\"", "POP scores[?]"}));
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.err, StartsWith("error -5145 COMMON_ERR_INVALID_EXPR_TYPE: "));
}

}  // namespace
