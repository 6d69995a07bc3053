#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "cli/program.h"
#include "support/temp_folder.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char HEAD[] = "error -256 GEN_ERR_ERR: ";
constexpr char RECORD[] = R"({"name":"ada","scores":[10,20,30]})";

// The sample schema, then the rest.
std::vector<std::string> Player(const std::string& command, const std::vector<std::string>& rest) {
    std::vector<std::string> arguments = {command, "--proto", OSTRANE_EXAMPLES "/player.proto", "--type",
                                          "demo.Player"};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    return arguments;
}

Surroundings WithInput(const std::string& text) {
    Surroundings surroundings;
    surroundings.input = text;
    return surroundings;
}

// What the program says, the test's own folder taken out of it.
std::string Short(std::string text, const TempFolder& folder) {
    for (size_t at = text.find(folder.Path()); at != std::string::npos; at = text.find(folder.Path())) {
        text.replace(at, folder.Path().size(), "DIR");
    }
    return text;
}

// The main job

TEST(Apply, PrintsTheChangedRecord) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "PUSH scores[1] = 7"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "{\n  \"name\": \"ada\",\n  \"scores\": [10, 7, 20, 30]\n}\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(folder.Read("a.json"), RECORD);
}

TEST(Apply, StatementsApplyTogetherOrNotAtAll) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in", in, "--in-place", "PUSH scores[1] = 7;\nSET scores[9] = 1"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 4 elements of demo.Player.scores (line 2, "
              "column 12)\n"
              "  SET scores[9] = 1\n"
              "             ^\n");
    EXPECT_EQ(folder.Read("a.json"), RECORD);
}

struct FormatRow {
    const char* file;
    const char* format;
};

TEST(Apply, EveryFormatIntoEveryOther) {
    TempFolder folder;
    const FormatRow rows[] = {
        {"a.json", "json"}, {"a.txtpb", "text"}, {"a.pb", "binary"}, {"a.ndjson", "ndjson"}, {"a.delim", "delimited"}};
    folder.Write("start.json", RECORD);
    for (const FormatRow& row : rows) {
        const Outcome made = RunOstrane(
            Player("apply", {"--in", folder.At("start.json"), "--out", folder.At(row.file), "SET level = 2"}));
        ASSERT_EQ(made.status, 0) << made.err;
        EXPECT_EQ(made.out, "");
    }
    EXPECT_EQ(folder.Read("a.txtpb"), "name: \"ada\"\nlevel: 2\nscores: 10\nscores: 20\nscores: 30\n");
    EXPECT_EQ(folder.Read("a.pb"),
              "\x0a\x03"
              "ada\x10\x02\x50\x0a\x50\x14\x50\x1e");
    EXPECT_EQ(folder.Read("a.delim"), "\x0d" + folder.Read("a.pb"));
    for (const FormatRow& row : rows) {
        const bool isStream = std::string(row.format) == "ndjson" || std::string(row.format) == "delimited";
        const Outcome read =
            RunOstrane(Player("apply", {"--in", folder.At(row.file), "--out-format", "ndjson", "POP scores[0]"}));
        EXPECT_EQ(read.status, 0) << read.err;
        EXPECT_EQ(read.out, "{\"name\":\"ada\",\"level\":2,\"scores\":[20,30]}\n") << row.file;
        EXPECT_EQ(read.err, isStream ? "records 1, matched 1, changed 1, failed 0\n" : "") << row.file;
        // The same from stdin, where the format has to be named.
        Surroundings setup;
        setup.input = folder.Read(row.file);
        const Outcome piped =
            RunOstrane(Player("apply", {"--in-format", row.format, "--out-format", "ndjson", "POP scores[0]"}), setup);
        EXPECT_EQ(piped.out, read.out) << row.file;
    }
}

TEST(Apply, InPlaceKeepsModeAndLink) {
    TempFolder folder;
    const std::string in = folder.Write("real.json", RECORD);
    ASSERT_EQ(chmod(in.c_str(), 0604), 0);
    std::filesystem::create_symlink("real.json", folder.At("link.json"));
    const Outcome outcome = RunOstrane(Player("apply", {"--in", folder.At("link.json"), "--in-place", "CLEAR scores"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(folder.Read("real.json"), "{\n  \"name\": \"ada\"\n}\n");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.At("link.json")));
    struct stat status = {};
    ASSERT_EQ(stat(in.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0604U);
}

TEST(Apply, OutLeavesTheInputAsItWas) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--out", folder.At("b.json"), "CLEAR scores"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(folder.Read("a.json"), RECORD);
    EXPECT_EQ(folder.Read("b.json"), "{\n  \"name\": \"ada\"\n}\n");
}

TEST(Apply, ANewFileIsNotMadeOnFailure) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in", in, "--out", folder.At("b.json"), "SET scores[9] = 1"})).status, 1);
    EXPECT_FALSE(std::filesystem::exists(folder.At("b.json")));
    const auto files = std::filesystem::directory_iterator(folder.Path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST(Apply, ReadsADescriptorSetOfProtobufsOwnFiles) {
    TempFolder folder;
    const std::string set = folder.At("set.pb");
    const std::string command = std::string(OSTRANE_PROTOC) + " --include_imports --descriptor_set_out=" + set +
                                " google/protobuf/descriptor.proto google/protobuf/struct.proto";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::vector<std::string> schema = {
        "--proto", "google/protobuf/descriptor.proto", "--type", "google.protobuf.FileDescriptorSet", "--in", set};
    const auto with = [&schema](const std::string& name, const std::vector<std::string>& rest) {
        std::vector<std::string> arguments = {name};
        arguments.insert(arguments.end(), schema.begin(), schema.end());
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    };
    const Outcome got = RunOstrane(with("get", {"GET file[0].message_type[0].name"}));
    EXPECT_EQ(got.out, "\"FileDescriptorSet\"\n") << got.err;
    // What is written back without a change in substance is what protoc wrote.
    const std::string before = folder.Read("set.pb");
    EXPECT_EQ(RunOstrane(with("apply", {"--in-place", "PUSH file[0].dependency = 'x.proto'"})).status, 0);
    EXPECT_NE(folder.Read("set.pb"), before);
    EXPECT_EQ(RunOstrane(with("apply", {"--in-place", "POP file[0].dependency[-1]"})).status, 0);
    EXPECT_EQ(folder.Read("set.pb"), before);
}

// Options

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

TEST(Apply, ElementsGoToStdoutWhenTheRecordDoesNot) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--in-place", "TAKE scores[0..1]; GET name"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "10\n20\n\"ada\"\n");
    EXPECT_EQ(folder.Read("a.json"), "{\n  \"name\": \"ada\",\n  \"scores\": [30]\n}\n");
    const Outcome placed = RunOstrane(
        Player("apply", {"--in", in, "--out", folder.At("b.json"), "--positions", "PUSH scores = 8; TAKE scores[-1]"}));
    EXPECT_EQ(placed.status, 0) << placed.err;
    EXPECT_EQ(placed.out, "1\t8\n");
    const Outcome refused = RunOstrane(Player("apply", {"--in", in, "TAKE scores[0]"}));
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, StartsWith("ostrane: GET and TAKE print to stdout, where the record goes too: "));
}

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

// Wrong usage: status 2 and one line.

struct UsageRow {
    std::vector<std::string> arguments;
    const char* said;
};

TEST(Usage, WrongOnesAreToldInOneLine) {
    const std::string proto = OSTRANE_EXAMPLES "/player.proto";
    const UsageRow rows[] = {
        {{}, "name a command: apply, get, explain or codes; see ostrane --help"},
        {{"aply"}, "'aply' was not expected; did you mean 'apply'? See ostrane --help"},
        {{"apply", "--tpye", "x"}, "'--tpye' was not expected; did you mean '--type'? See ostrane apply --help"},
        {{"apply"}, "name the schema with --proto FILE or --descriptor-set FILE"},
        {{"apply", "--proto", "a", "--descriptor-set", "b"}, "--proto and --descriptor-set exclude each other"},
        {{"apply", "--descriptor-set", "b", "-I", "c"}, "-I goes with --proto"},
        {{"apply", "--proto", "a", "X"}, "name the record's message type with --type NAME"},
        {{"apply", "--proto", "a", "--type", "b"}, "give the statements, or a file of them with --file"},
        {{"apply", "--proto", "a", "--type", "b", "--file", "f", "X"},
         "statements on the command line and --file exclude each other"},
        {{"apply", "--proto", "a", "--type", "b", "X", "Y"}, "'Y' was not expected; see ostrane apply --help"},
        {{"apply", "--proto", "a", "--type", "b", "X"}, "reading stdin needs --in-format; or name a file with --in"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.x", "X"},
         "the ending of 'f.x' names no format: give --in-format"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-format", "jsn", "X"},
         "--in-format takes json, ndjson, text, binary or delimited, not 'jsn'; did you mean 'json'?"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--out-format", "x", "X"},
         "--out-format takes json, ndjson, text, binary or delimited, not 'x'"},
        {{"apply", "--proto", "a", "--type", "b", "--in-format", "json", "--in-place", "X"},
         "--in-place needs a file, named with --in"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-place", "--out", "g", "X"},
         "--in-place and --out exclude each other"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-place", "--out-format", "text", "X"},
         "--in-place keeps the format; --out FILE writes another one"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.ndjson", "--out", "g.json", "X"},
         "json holds one record, the input any number: choose ndjson or delimited for the output"},
    };
    for (const UsageRow& row : rows) {
        const Outcome outcome = RunOstrane(row.arguments);
        EXPECT_EQ(outcome.status, 2) << row.said;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, std::string("ostrane: ") + row.said + "\n");
    }
}

TEST(Usage, AValueOfOneOptionIsOneArgument) {
    // The statement after -I DIR and --param NAME=JSON is the statement.
    const Outcome outcome = RunOstrane({"apply", "--proto", "player.proto", "--type", "demo.Player", "--in-format",
                                        "ndjson", "-I", OSTRANE_EXAMPLES, "--param", "v=1", "SET scores = [:v]"},
                                       WithInput(RECORD));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "{\"name\":\"ada\",\"scores\":[1]}\n");
}

// Bad input: one line each, and the file as it was.

struct BadRow {
    const char* file;
    const char* contents;
    const char* statement;
    int status;
    const char* said;
};

TEST(BadInput, IsToldAndTheFileStays) {
    const BadRow rows[] = {
        {"a.json", "{\"name\":\"a\",\n \"scores\":[1 2]}", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:2:14: expected ',' or ']', found '2'\n"},
        {"a.json", "{\"name\":\"a\",\"scroes\":[]}", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:1:13: demo.Player has no field 'scroes'; did you mean 'scores'?\n"},
        {"a.json", "", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:1:1: expected '{', found the end of the text\n"},
        {"a.pb",
         "\x0a\x03"
         "ab",
         "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.pb: the data ends inside demo.Player.name: 3 bytes wanted, 2 left at byte 2\n"},
        {"a.txtpb", "name: 'a'\nscroes: 1", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.txtpb:2:7: Message type \"demo.Player\" has no field named \"scroes\".\n"},
        {"a.delim",
         "\x05"
         "abc",
         "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.delim: the input ends inside record 0: 5 bytes wanted, 3 left; the record "
         "starts "
         "at byte 0\nrecords 0, matched 0, changed 0, failed 0\n"},
        {"a.json", "{\"level\":1}", "CLEAR scores", 2,
         "error -537 COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE: DIR/a.json: a record of demo.Player lacks required "
         "fields: "
         "name\n"},
        {"a.json", RECORD, "PUSH scroes = 1", 1,
         "error -4889 COMMON_ERR_INVALID_FIELD_NAME: demo.Player has no field 'scroes'\n  PUSH scroes = 1\n       ^\n"
         "  hint: did you mean 'scores'?\n"},
        {"a.json", RECORD, "PUSH scores[9] = 1", 1,
         "error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 3 elements of demo.Player.scores\n"
         "  PUSH scores[9] = 1\n              ^\n"},
        {"a.json", RECORD, "PUSH scores[1 = 7", 1,
         "error -4377 COMMON_ERR_INVALID_EXPR_SYNTAX: expected ']' after the index\n  PUSH scores[1 = 7\n"
         "                ^\n"},
    };
    for (const BadRow& row : rows) {
        TempFolder folder;
        const std::string in = folder.Write(row.file, row.contents);
        const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--in-place", row.statement}));
        EXPECT_EQ(outcome.status, row.status) << row.said;
        EXPECT_EQ(Short(outcome.err, folder), row.said);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(folder.Read(row.file), row.contents);
    }
}

TEST(BadInput, UnreadableFiles) {
    TempFolder folder;
    EXPECT_EQ(Short(RunOstrane(Player("apply", {"--in", folder.At("none.json"), "CLEAR scores"})).err, folder),
              std::string(HEAD) + "DIR/none.json: cannot be opened: No such file or directory\n");
    EXPECT_EQ(
        Short(RunOstrane(Player("apply", {"--in", folder.Path(), "--in-format", "json", "CLEAR scores"})).err, folder),
        std::string(HEAD) + "DIR: cannot be read: Is a directory at byte 0\n");
    EXPECT_EQ(Short(RunOstrane(Player("apply", {"--in-format", "json", "--file", folder.At("none")})).err, folder),
              std::string(HEAD) + "DIR/none: cannot be opened: No such file or directory\n");
}

TEST(BadInput, Schemas) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const auto apply = [&](const std::string& proto, const std::string& type) {
        const Outcome outcome = RunOstrane({"apply", "--proto", proto, "--type", type, "--in", in, "CLEAR scores"});
        EXPECT_EQ(outcome.status, 2);
        return Short(outcome.err, folder);
    };
    EXPECT_EQ(apply(OSTRANE_EXAMPLES "/player.proto", "demo.Plyer"),
              "error -4889 COMMON_ERR_INVALID_FIELD_NAME: the schema has no message type 'demo.Plyer'; did you mean "
              "'demo.Player'?\n");
    EXPECT_EQ(apply(folder.At("none.proto"), "X"), std::string(HEAD) + "DIR/none.proto: no such file\n");
    const std::string proto = folder.Write("a.proto", "syntax = \"proto3\";\nimport \"dep.proto\";\nmessage A {}\n");
    EXPECT_EQ(apply(proto, "A"),
              std::string(HEAD) + "DIR/a.proto:2:1: the import \"dep.proto\" is not found; looked below 'DIR'\n");
    // A schema without a syntax line loads, and nothing of protobuf's own is printed.
    const std::string plain =
        folder.Write("plain.proto", "message A { repeated int32 scores = 1; optional string name = 2; }\n");
    const Outcome outcome = RunOstrane({"apply", "--proto", plain, "--type", "A", "--in", in, "CLEAR scores"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

// Output that cannot be written: status 2 and the reason.

TEST(BadOutput, AFullDevice) {
    Surroundings full = WithInput(RECORD);
    full.outPath = "/dev/full";
    const std::string said = std::string(HEAD) + "standard output: cannot be written: No space left on device\n";
    for (const std::vector<std::string>& arguments : {Player("apply", {"--in-format", "json", "CLEAR scores"}),
                                                      Player("get", {"--in-format", "json", "GET scores"}),
                                                      {"codes"},
                                                      {"--help"},
                                                      {"--version"}}) {
        const Outcome outcome = RunOstrane(arguments, full);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, said);
    }
    const Outcome named =
        RunOstrane(Player("apply", {"--in-format", "json", "--out", "/dev/full", "CLEAR scores"}), full);
    EXPECT_EQ(named.status, 2);
    EXPECT_EQ(named.err, std::string(HEAD) + "/dev/full: cannot be written: No space left on device\n");
}

TEST(BadOutput, AClosedPipe) {
    Surroundings unread = WithInput(RECORD);
    unread.closesOut = true;
    const Outcome outcome = RunOstrane(Player("apply", {"--in-format", "json", "CLEAR scores"}), unread);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, std::string(HEAD) + "standard output: cannot be written: Broken pipe\n");
}

TEST(BadOutput, WhatJsonCannotCarry) {
    TempFolder folder;
    const std::string in = folder.Write("a.txtpb", "name: 'a'\nGuild { title: 'g' }\n");
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--out", folder.At("a.json"), "SET level = 1"}));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(Short(outcome.err, folder),
              "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: DIR/a.txtpb: the group "
              "demo.Player.guild has no form in JSON\n");
    EXPECT_FALSE(std::filesystem::exists(folder.At("a.json")));
}

// Streams

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

// Three records; the second has no scores.
constexpr char THREE[] =
    "{\"name\":\"a\",\"scores\":[1]}\n{ \"name\": \"b\" }\n{\"name\":\"c\",\"level\":9,\"scores\":[1,2]}\n";

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

TEST(ReportOption, OneLineAStatementAndRecord) {
    TempFolder folder;
    const std::string report = folder.At("r.jsonl");
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in-format", "ndjson", "--report", report, "TAKE scores[0]; SET level = 3"}),
                   WithInput(THREE));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "{\"name\":\"a\",\"level\":3}\n{\"name\":\"b\",\"level\":3}\n"
              "{\"name\":\"c\",\"level\":3,\"scores\":[2]}\n");
    std::istringstream lines(folder.Read("r.jsonl"));
    std::vector<nlohmann::json> rows;
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(nlohmann::json::parse(line));
    }
    ASSERT_EQ(rows.size(), 6U);
    EXPECT_EQ(rows[4]["record"], 2);
    EXPECT_EQ(rows[4]["statement"], 1);
    EXPECT_EQ(rows[4]["field"], "demo.Player.scores");
    EXPECT_EQ(rows[4]["elements"], nlohmann::json::parse("[1]"));
    EXPECT_EQ(rows[4]["sizeBefore"], 2);
    EXPECT_EQ(rows[4]["sizeAfter"], 1);
    EXPECT_EQ(rows[3]["statement"], 2);
    EXPECT_EQ(rows[3]["changed"], 1);
}

TEST(ReportOption, HoldsTheErrorOfAFailure) {
    TempFolder folder;
    const std::string report = folder.Write("r.jsonl", "from an earlier run\n");
    const Outcome failed =
        RunOstrane(Player("apply", {"--in-format", "json", "--report", report, "SET level = 3; SET scores[9] = 1"}),
                   WithInput(RECORD));
    EXPECT_EQ(failed.status, 1);
    std::istringstream lines(folder.Read("r.jsonl"));
    std::string first;
    std::string second;
    std::string third;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_FALSE(std::getline(lines, third));
    EXPECT_EQ(nlohmann::json::parse(first)["undone"], true);
    EXPECT_EQ(nlohmann::json::parse(second)["code"], -4633);

    EXPECT_EQ(
        RunOstrane(Player("apply", {"--in-format", "json", "--report", report, "SET levle = 3"}), WithInput(RECORD))
            .status,
        1);
    const nlohmann::json line = nlohmann::json::parse(folder.Read("r.jsonl"));
    EXPECT_EQ(line["code"], -4889);
    EXPECT_EQ(line["error"]["column"], 5);
}

TEST(ReportOption, OnStdoutTheRecordGoesElsewhere) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--in-place", "--report", "-", "TAKE scores[0]"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(nlohmann::json::parse(outcome.out)["elements"], nlohmann::json::parse("[10]"));
    for (const char* command : {"apply", "get"}) {
        EXPECT_EQ(RunOstrane(Player(command, {"--in", in, "--report", "-", "GET scores"})).status, 2);
    }
    const Outcome full = RunOstrane(Player("get", {"--in", in, "--report", "/dev/full", "GET scores"}));
    EXPECT_EQ(full.status, 2);
    EXPECT_EQ(full.err, std::string(HEAD) + "/dev/full: cannot be written: No space left on device\n");
    EXPECT_EQ(RunOstrane(Player("get", {"--in", in, "--report", folder.At("none/r"), "GET scores"})).status, 2);
}

// The terminal

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

// Two runs on one file

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
