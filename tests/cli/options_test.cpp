// Each option of the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(Options, Roots) {
    const Outcome outcome =
        RunOstrane({"apply", "-I", OSTRANE_TESTDATA, "-I", OSTRANE_EXAMPLES, "--proto", "player.proto", "--type",
                    "demo.Player", "--in-format", "ndjson", "POP scores[0]"},
                   WithInput(RECORD));
    EXPECT_EQ(outcome.out, "{\"name\":\"ada\",\"scores\":[20,30]}\n") << outcome.err;
}

TEST(Options, DescriptorSet) {
    TempFolder folder;
    const std::string set = folder.At("set.pb");
    const std::string command = std::string(OSTRANE_PROTOC) + " -I " OSTRANE_EXAMPLES " --descriptor_set_out=" + set +
                                " --include_imports player.proto";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const Outcome outcome =
        RunOstrane({"get", "--descriptor-set", set, "--type", "demo.Player", "--in-format", "json", "GET scores"},
                   WithInput(RECORD));
    EXPECT_EQ(outcome.out, "10\n20\n30\n") << outcome.err;
}

TEST(Options, StatementsFromAFile) {
    TempFolder folder;
    const std::string file = folder.Write("s.txt", "-- two steps\nPUSH scores[0] = 1;\nPOP scores[-1]\n");
    const Outcome outcome = RunOstrane(Player("apply", {"--file", file, "--in-format", "ndjson"}), WithInput(RECORD));
    EXPECT_EQ(outcome.out, "{\"name\":\"ada\",\"scores\":[1,10,20]}\n") << outcome.err;
    folder.Write("s.txt", "POP scores[0];\nPOP scroes[0]\n");
    const Outcome wrong = RunOstrane(Player("apply", {"--file", file, "--in-format", "ndjson"}), WithInput(RECORD));
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(Short(wrong.err, folder),
              "error -4889 COMMON_ERR_INVALID_FIELD_NAME: demo.Player has no field 'scroes' (line 2, column 5)\n"
              "  POP scroes[0]\n"
              "      ^\n"
              "  hint: did you mean 'scores'?\n"
              "  in DIR/s.txt\n");
}

struct ParameterRow {
    std::vector<std::string> options;
    const char* statements;
    int status;
    const char* said;  // on stdout when the status is 0, else on stderr
};

TEST(Options, Parameters) {
    const ParameterRow rows[] = {
        {{"--param", "v=7"}, "PUSH scores[0] = :v", 0, "{\"name\":\"ada\",\"scores\":[7,10,20,30]}\n"},
        {{"--param", "2=1", "--param", "1=7"}, "PUSH scores[?] = ?", 1, "index 7 is beyond 3 elements"},
        {{"--param", "1=1", "--param", "2=7"}, "PUSH scores[?] = ?", 0, "{\"name\":\"ada\",\"scores\":[10,7,20,30]}\n"},
        {{"--param", "n=\"it's; DROP = :x\""},
         "SET name = :n",
         0,
         "{\"name\":\"it's; DROP = :x\",\"scores\":[10,20,30]}\n"},
        {{"--param", "b=\"AP8=\""}, "SET avatar = :b; CLEAR scores", 0, "{\"name\":\"ada\",\"avatar\":\"AP8=\"}\n"},
        {{"--param", "l=[1,2]"}, "SET scores = :l", 0, "{\"name\":\"ada\",\"scores\":[1,2]}\n"},
        {{"--param", "v"}, "PUSH scores = :v", 2, "ostrane: --param takes NAME=JSON, not 'v'\n"},
        {{"--param", ":v=1"}, "PUSH scores = :v", 2, "ostrane: --param takes the name without its colon: v=1\n"},
        {{"--param", "=1"}, "PUSH scores = :v", 2, "ostrane: --param takes NAME=JSON, not '=1'\n"},
        {{"--param", "v=ada"}, "SET name = :v", 2, "a text stands in double quotes\n"},
        {{"--param", "v={}"}, "SET name = :v", 2, "ostrane: --param v: a parameter cannot be a JSON object\n"},
        {{"--param", "v=18446744073709551616"},
         "SET name = :v",
         2,
         "the integer 18446744073709551616 is beyond 64 bits\n"},
        {{"--param", "v=1", "--param", "v=2"}, "PUSH scores = :v", 2, "ostrane: --param v is given twice\n"},
        {{"--param", "2=1"}, "PUSH scores = ?", 2, "ostrane: --param 2 is given, but --param 1 is not\n"},
        {{"--param", "0=1"}, "PUSH scores = ?", 2, "ostrane: --param 0: parameters count from 1\n"},
        {{}, "PUSH scores = :v", 1, "error -4889 COMMON_ERR_INVALID_FIELD_NAME: "},
        {{"--param", "v=\"x\""}, "PUSH scores = :v", 1, "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: "},
        {{"--param", "w=1"}, "PUSH scores = 1", 1, "error -4889 COMMON_ERR_INVALID_FIELD_NAME: "},
    };
    for (const ParameterRow& row : rows) {
        std::vector<std::string> rest = row.options;
        rest.insert(rest.end(), {"--in-format", "ndjson", row.statements});
        const Outcome outcome = RunOstrane(Player("apply", rest), WithInput(RECORD));
        EXPECT_EQ(outcome.status, row.status) << row.statements << outcome.err;
        EXPECT_THAT(row.status == 0 ? outcome.out : outcome.err, HasSubstr(row.said)) << row.statements;
    }
}

TEST(Options, Strict) {
    const Surroundings setup = WithInput(RECORD);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in-format", "json", "POP scores[7..9]"}), setup).status, 0);
    const Outcome strict = RunOstrane(Player("apply", {"--in-format", "json", "--strict", "POP scores[7..9]"}), setup);
    EXPECT_EQ(strict.status, 1);
    EXPECT_THAT(strict.err, StartsWith("error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: "));
}

TEST(Options, Partial) {
    const Surroundings setup = WithInput(R"({"scores":[1]})");
    const Outcome outcome = RunOstrane(Player("apply", {"--in-format", "ndjson", "PUSH scores = 2"}), setup);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "error -537 COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE: standard input:1:1: a record of demo.Player lacks "
              "required fields: name\nrecords 1, matched 0, changed 0, failed 1\n");
    const Outcome partial =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--partial", "PUSH scores = 2"}), setup);
    EXPECT_EQ(partial.status, 0) << partial.err;
    EXPECT_EQ(partial.out, "{\"scores\":[1,2]}\n");
}

TEST(Options, DryRunWritesNothing) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in", in, "--in-place", "--dry-run", "POP scores WHERE $ > 10"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "dry run, nothing written: records 1, matched 2, changed 2, failed 0\n");
    EXPECT_EQ(folder.Read("a.json"), RECORD);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in", in, "--dry-run", "SET scores[9] = 1"})).status, 1);
}

TEST(Options, JsonNames) {
    const Surroundings setup = WithInput(R"({"name":"a","mailAddress":"x"})");
    EXPECT_EQ(RunOstrane(Player("apply", {"--in-format", "ndjson", "SET level = 2"}), setup).out,
              "{\"name\":\"a\",\"level\":2,\"mail_address\":\"x\"}\n");
    EXPECT_EQ(
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--json-names", "proto", "SET level = 2"}), setup).out,
        "{\"name\":\"a\",\"level\":2,\"mail_address\":\"x\"}\n");
    EXPECT_EQ(
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--json-names", "camel", "SET level = 2"}), setup).out,
        "{\"name\":\"a\",\"level\":2,\"mailAddress\":\"x\"}\n");
}

TEST(Options, JsonNamesOfElements) {
    TempFolder folder;
    const Surroundings setup = WithInput(R"({"name":"a","stats":{"int32_value":1}})");
    const auto get = [&](const char* names) {
        return RunOstrane(
            Player("get", {"--in-format", "json", "--json-names", names, "--report", folder.At("r"), "GET stats"}),
            setup);
    };
    EXPECT_EQ(get("proto").out, "{\"int32_value\":1}\n");
    EXPECT_THAT(folder.Read("r"), HasSubstr("\"elements\":[{\"int32_value\":1}]"));
    EXPECT_EQ(get("camel").out, "{\"int32Value\":1}\n");
    EXPECT_THAT(folder.Read("r"), HasSubstr("\"elements\":[{\"int32Value\":1}]"));
}

TEST(Options, DryRunOfAStreamStillShowsAndReports) {
    TempFolder folder;
    const Outcome outcome = RunOstrane(
        Player("apply", {"--in-format", "ndjson", "--dry-run", "--report", folder.At("r"), "TAKE scores[-1]"}),
        WithInput(THREE));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1\n2\n");
    EXPECT_EQ(outcome.err, "dry run, nothing written: records 3, matched 2, changed 2, failed 0\n");
    EXPECT_THAT(folder.Read("r"), HasSubstr("{\"record\":2,\"statement\":1,"));
}

TEST(Options, PositionsOfASingularFieldAreEmpty) {
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "json", "--positions", "GET name"}), WithInput(RECORD)).out,
              "\t\"ada\"\n");
    EXPECT_EQ(RunOstrane(Player("get", {"--in-format", "ndjson", "--positions", "GET name"}), WithInput(RECORD)).out,
              "0\t\t\"ada\"\n");
}

TEST(Options, TheOtherJsonFormatIsNamed) {
    const Outcome lines =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "CLEAR scores"}), WithInput("{\n\"name\":\"a\"\n}\n"));
    EXPECT_THAT(lines.err, HasSubstr("; ndjson has a record a line; a record of many lines is json\n"));
    const Outcome many = RunOstrane(Player("apply", {"--in-format", "json", "CLEAR scores"}),
                                    WithInput("{\"name\":\"a\"}\n{\"name\":\"b\"}\n"));
    EXPECT_THAT(many.err, HasSubstr("; json has one record; a record a line is ndjson\n"));
}

TEST(Options, OutMayNameAPipe) {
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--out", "/dev/stdout", "PUSH scores = 7"}),
                   WithInput(R"({"name":"a"})"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "{\"name\":\"a\",\"scores\":[7]}\n");
}

TEST(Options, KeepGoingEndsWithOneWhereABrokenLineEndsWithTwo) {
    const Surroundings setup = WithInput("{\"name\":\"a\"}\n{broken\n");
    EXPECT_EQ(RunOstrane(Player("apply", {"--in-format", "ndjson", "CLEAR scores"}), setup).status, 2);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in-format", "ndjson", "--keep-going", "CLEAR scores"}), setup).status, 1);
}

TEST(Options, PartialStillKeepsRequiredFields) {
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "json", "--partial", "CLEAR name"}), WithInput(R"({"name":"a"})"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("error -537 "));
}

TEST(Options, LogShowsTheFieldOperations) {
    const Surroundings setup = WithInput(R"({"name":"a","profile":{"email":"x"}})");
    const auto applyWith = [&setup](const char* level) {
        return RunOstrane(Player("apply", {"--in-format", "json", "--log", level, "SET profile FROM profile"}), setup);
    };
    const Outcome debug = applyWith("debug");
    EXPECT_EQ(debug.status, 0);
    EXPECT_THAT(debug.err, HasSubstr(" DEBUG src/common/protobuf_record_util.cpp:"));
    for (const char* level : {"off", "error"}) {
        EXPECT_EQ(applyWith(level).err, "");
        EXPECT_EQ(applyWith(level).out, debug.out);
    }
}

}  // namespace
