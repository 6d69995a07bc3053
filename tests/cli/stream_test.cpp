// Streams of records: order, failures, conditions, and two runs on one file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Stream, RecordsBeforeTheFailingOneAreWrittenToStdout) {
    const Surroundings setup =
        WithInput("{\"name\":\"a\",\"scores\":[1]}\n{\"name\":\"b\"}\n{\"name\":\"c\",\"scores\":[1]}\n");
    const Outcome outcome = RunOstrane(Player("apply", {"--in-format", "ndjson", "SET scores[0] = 2"}), setup);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "{\"name\":\"a\",\"scores\":[2]}\n");
    EXPECT_THAT(outcome.err, AllOf(StartsWith("error -4633 "), HasSubstr("\n  in standard input:2\n"),
                                   HasSubstr("\nrecords 2, matched 1, changed 1, failed 1\n")));
}

TEST(Stream, AFileIsLeftAsItWasWhenARecordFails) {
    TempFolder folder;
    const std::string text = "{\"name\":\"a\",\"scores\":[1]}\n{\"name\":\"b\"}\n";
    const std::string in = folder.Write("a.ndjson", text);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in", in, "--in-place", "SET scores[0] = 2"})).status, 1);
    EXPECT_EQ(folder.Read("a.ndjson"), text);
}

TEST(Stream, ACutOneIsWrittenUpToTheCut) {
    const Surroundings setup =
        WithInput(std::string("\x03\x0a\x01"
                              "a\x03\x0a\x01"
                              "b\x05\x0a",
                              10));
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "delimited", "--out-format", "ndjson", "SET level = 3"}), setup);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "{\"name\":\"a\",\"level\":3}\n{\"name\":\"b\",\"level\":3}\n");
    EXPECT_THAT(outcome.err,
                HasSubstr("the input ends inside record 2: 5 bytes wanted, 1 left; the record starts at byte 8\n"));
}

TEST(Where, OtherRecordsPassThrough) {
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--where", "size(scores) > 0", "PUSH scores[0] = 7"}),
                   WithInput(THREE));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "{\"name\":\"a\",\"scores\":[7,1]}\n{ \"name\": \"b\" }\n"
              "{\"name\":\"c\",\"level\":9,\"scores\":[7,1,2]}\n");
    EXPECT_EQ(outcome.err, "records 3, matched 2, changed 2, failed 0\n");
}

TEST(Where, GetReadsOnlyTheRecordsThatItChooses) {
    const Outcome outcome = RunOstrane(
        Player("get", {"--in-format", "ndjson", "--where", "name = :n", "--param", "n=\"c\"", "GET scores[*]"}),
        WithInput(THREE));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "1\n2\n");
}

TEST(Where, ParametersAreSharedWithTheStatements) {
    const std::vector<std::string> rest = {"--in-format", "ndjson", "--where", "level = :l",
                                           "--param",     "l=9",    "--param", "x=5"};
    const auto apply = [&rest](const std::string& statements) {
        std::vector<std::string> all = rest;
        all.push_back(statements);
        return RunOstrane(Player("apply", all), WithInput(THREE));
    };
    EXPECT_THAT(apply("SET level = :x").out, HasSubstr("{\"name\":\"c\",\"level\":5,"));
    EXPECT_THAT(apply("SET level = :x + :l").out, HasSubstr("{\"name\":\"c\",\"level\":14,"));
    // A parameter that neither asks for is a slip of the pen.
    const Outcome unused = apply("SET level = 1");
    EXPECT_EQ(unused.status, 1);
    EXPECT_THAT(unused.err, HasSubstr("the statements have no parameter :x"));
}

TEST(Where, ErrorsAreToldInItsOwnText) {
    const Outcome unknown = RunOstrane(
        Player("apply", {"--in-format", "ndjson", "--where", "levle > 3", "CLEAR scores"}), WithInput(THREE));
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.out, "");
    EXPECT_THAT(unknown.err, AllOf(StartsWith("error -4889 COMMON_ERR_INVALID_FIELD_NAME: "),
                                   HasSubstr("\n  levle > 3\n  ^\n"), HasSubstr("\n  in --where\n")));
    const Outcome divided =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--where", "1 / size(scores) > 0", "CLEAR scores"}),
                   WithInput(THREE));
    EXPECT_EQ(divided.status, 1);
    EXPECT_EQ(divided.out, "{\"name\":\"a\"}\n");
    EXPECT_THAT(divided.err, HasSubstr("\n  in --where, standard input:2\n"));
}

TEST(KeepGoing, AFailingRecordPassesThroughUnchanged) {
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--keep-going", "SET scores[0] = 7"}), WithInput(THREE));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out,
              "{\"name\":\"a\",\"scores\":[7]}\n{ \"name\": \"b\" }\n"
              "{\"name\":\"c\",\"level\":9,\"scores\":[7,2]}\n");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("\n  in standard input:2\n"),
                                   HasSubstr("\nrecords 3, matched 2, changed 2, failed 1\n")));
}

TEST(KeepGoing, SoDoesOneThatCannotBeRead) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", "{\"name\":\"a\"}\n{broken\n{\"name\":\"c\"}\n");
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--in-place", "--keep-going", "SET level = 1"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(folder.Read("a.ndjson"), "{\"name\":\"a\",\"level\":1}\n{broken\n{\"name\":\"c\",\"level\":1}\n");
    EXPECT_EQ(Short(outcome.err, folder),
              "error -256 GEN_ERR_ERR: DIR/a.ndjson:2:2: expected a name in double quotes, found 'b'\n"
              "records 3, matched 2, changed 2, failed 1\n");
    // In another format it has no form.
    const Outcome other =
        RunOstrane(Player("apply", {"--in", in, "--out", folder.At("b.delim"), "--keep-going", "SET level = 1"}));
    EXPECT_EQ(other.status, 2);
    EXPECT_FALSE(std::filesystem::exists(folder.At("b.delim")));
}

TEST(KeepGoing, SoDoesOneThatCannotBeWritten) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", "{\"name\":\"a\"}\n{ \"name\": \"b\", \"level\": 2 }\n");
    const std::string report = folder.At("r.jsonl");
    const std::string statements = "SET level = 3; GET level; SET guild.title = 'g'";
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--out", folder.At("b.ndjson"), "--where",
                                                        "level > 1", "--keep-going", "--report", report, statements}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(folder.Read("b.ndjson"), folder.Read("a.ndjson"));
    EXPECT_EQ(Short(outcome.err, folder),
              "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: DIR/a.ndjson:2: the group demo.Player.guild has no form in "
              "JSON\nrecords 2, matched 0, changed 0, failed 1\n");
    std::istringstream lines(folder.Read("r.jsonl"));
    size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_EQ(nlohmann::json::parse(line)["undone"], true) << line;
    }
    EXPECT_EQ(count, 3U);
    // In another format the record as it came is not at hand any more.
    const Outcome other = RunOstrane(Player("apply", {"--in", in, "--in-format", "ndjson", "--out",
                                                      folder.At("b.delim"), "--keep-going", "SET level = 3"}));
    EXPECT_EQ(other.status, 0) << other.err;
    const Outcome stopped = RunOstrane(Player("apply", {"--in", folder.At("b.delim"), "--out", folder.At("c.ndjson"),
                                                        "--keep-going", "SET guild.title = 'g'"}));
    EXPECT_EQ(stopped.status, 2);
    EXPECT_FALSE(std::filesystem::exists(folder.At("c.ndjson")));
}

TEST(KeepGoing, ACutStreamEndsTheRunAllTheSame) {
    const Outcome outcome = RunOstrane(Player("apply", {"--in-format", "delimited", "--keep-going", "SET level = 1"}),
                                       WithInput("\x03\x0a\x01"
                                                 "a\x09"));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out,
              "\x05\x0a\x01"
              "a\x10\x01");
}

TEST(KeepGoing, GetGoesOnToo) {
    const Outcome outcome = RunOstrane(
        Player("get", {"--in-format", "ndjson", "--keep-going", "--strict", "GET scores[0]"}), WithInput(THREE));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "1\n1\n");
}

TEST(InPlace, RunsOnOneFileGoOneAfterTheOther) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", R"({"name":"a"})");
    constexpr int RUNS = 12;
    std::string command;
    for (int i = 0; i < RUNS; ++i) {
        command += std::string(OSTRANE_PROGRAM) +
                   " apply --proto " OSTRANE_EXAMPLES "/player.proto --type demo.Player --in " + in +
                   " --in-place 'PUSH scores = 1' & ";
    }
    ASSERT_EQ(std::system((command + "wait").c_str()), 0);
    EXPECT_EQ(RunOstrane(Player("get", {"--in", in, "GET scores"})).out.size(), 2U * RUNS);
}

}  // namespace
