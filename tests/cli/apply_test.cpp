// `ostrane apply` on one record: what it prints, writes and leaves alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::StartsWith;

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
              "             ^\n"
              "  hint: its positions are 0 .. 3, or -4 .. -1\n");
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

}  // namespace
