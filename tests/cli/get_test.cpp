// `ostrane get`: elements on stdout.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

TEST(Get, PrintsOneElementALine) {
    const Surroundings setup =
        WithInput(R"({"name":"a","items":[{"sku":"x","qty":1},{"sku":"y","qty":9},{"sku":"z","qty":2}]})");
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "json", "GET items[*] WHERE qty < 5"}), setup).out,
              "{\"sku\":\"x\",\"qty\":1}\n{\"sku\":\"z\",\"qty\":2}\n");
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "json", "--positions", "GET items[1..]"}), setup).out,
              "1\t{\"sku\":\"y\",\"qty\":9}\n2\t{\"sku\":\"z\",\"qty\":2}\n");
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "json", "GET name"}), setup).out, "\"a\"\n");
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "json", "GET hits"}), setup).out, "");
}

TEST(Get, PositionsInAStreamHaveTheRecordFirst) {
    const Surroundings setup = WithInput("{\"name\":\"a\",\"scores\":[5]}\n\n{\"name\":\"b\",\"scores\":[6,7]}\n");
    const Outcome outcome =
        RunOstrane(Player("get", {"--in-format", "ndjson", "--positions", "GET scores[-1]"}), setup);
    EXPECT_EQ(outcome.out, "0\t0\t5\n1\t1\t7\n");
    EXPECT_EQ(outcome.err, "records 2, matched 2, changed 0, failed 0\n");
}

TEST(Get, TakesOneGet) {
    const Surroundings setup = WithInput(RECORD);
    for (const char* statements : {"POP scores[0]", "TAKE scores[0]", "GET scores; GET name"}) {
        const Outcome outcome = RunOstrane(Player("get", {"--in-format", "json", statements}), setup);
        EXPECT_EQ(outcome.status, 2) << statements;
        EXPECT_EQ(outcome.err, "ostrane: get takes one GET statement; ostrane apply runs the others\n");
    }
}

}  // namespace
