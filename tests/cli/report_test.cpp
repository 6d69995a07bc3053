// The file of --report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

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

TEST(ReportOption, NeverWritesOverWhatIsRead) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const std::string file = folder.Write("s.txt", "CLEAR scores");
    std::filesystem::create_hard_link(in, folder.At("b.json"));
    const std::string rows[][2] = {
        {in, in}, {folder.At("b.json"), in}, {file, file}, {folder.At("c.json"), folder.At("c.json")}};
    for (const auto& row : rows) {
        const Outcome outcome =
            RunOstrane(Player("apply", {"--in", in, "--out", folder.At("c.json"), "--file", file, "--report", row[0]}));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "ostrane: --report would write over '" + row[1] + "'\n");
        EXPECT_EQ(folder.Read("a.json"), RECORD);
        EXPECT_EQ(folder.Read("s.txt"), "CLEAR scores");
        EXPECT_FALSE(std::filesystem::exists(folder.At("c.json")));
    }
}

// Every member, with its value and in its order.
TEST(ReportOption, LinesAreExact) {
    TempFolder folder;
    const std::string report = folder.At("r.jsonl");
    const auto lines = [&](const std::vector<std::string>& rest, const std::string& input, int status) {
        std::vector<std::string> all = {"--in-format", "ndjson", "--report", report};
        all.insert(all.end(), rest.begin(), rest.end());
        const Outcome outcome = RunOstrane(Player("apply", all), WithInput(input));
        EXPECT_EQ(outcome.status, status) << outcome.err;
        return folder.Read("r.jsonl");
    };
    EXPECT_EQ(
        lines({"TAKE scores[1..]; GET level; SET level = 3; GET name; PUSH tags[0] = ['x', 'y']; CLEAR attrs"}, RECORD,
              0),
        R"({"record":0,"statement":1,"text":"TAKE scores[1..]","code":0,"codeName":"OK","field":"demo.Player.scores",)"
        R"("matched":2,"changed":2,"positions":[1,2],"sizeBefore":3,"sizeAfter":1,"elements":[20,30]})"
        "\n"
        R"({"record":0,"statement":2,"text":"GET level","code":0,"codeName":"OK","field":"demo.Player.level",)"
        R"("matched":0,"changed":0,"positions":[],"sizeBefore":0,"sizeAfter":0,"elements":[]})"
        "\n"
        R"({"record":0,"statement":3,"text":"SET level = 3","code":0,"codeName":"OK","field":"demo.Player.level",)"
        R"("matched":1,"changed":1,"positions":[],"sizeBefore":0,"sizeAfter":1})"
        "\n"
        R"({"record":0,"statement":4,"text":"GET name","code":0,"codeName":"OK","field":"demo.Player.name",)"
        R"("matched":1,"changed":0,"positions":[],"sizeBefore":1,"sizeAfter":1,"elements":["ada"]})"
        "\n"
        R"({"record":0,"statement":5,"text":"PUSH tags[0] = ['x', 'y']","code":0,"codeName":"OK",)"
        R"("field":"demo.Player.tags","matched":2,"changed":2,"positions":[0,1],"sizeBefore":0,"sizeAfter":2})"
        "\n"
        R"({"record":0,"statement":6,"text":"CLEAR attrs","code":0,"codeName":"OK","field":"demo.Player.attrs",)"
        R"("matched":0,"changed":0,"positions":[],"sizeBefore":0,"sizeAfter":0})"
        "\n");
    // The offset counts bytes, the column code points.
    EXPECT_EQ(
        lines({"POP scores;\nSET tags = ['ä']; SET scores[0] = 3"}, RECORD, 1),
        R"({"record":0,"statement":1,"text":"POP scores","code":0,"codeName":"OK","field":"demo.Player.scores",)"
        R"("matched":3,"changed":3,"positions":[0,1,2],"sizeBefore":3,"sizeAfter":0,"undone":true})"
        "\n"
        R"({"record":0,"statement":2,"text":"SET tags = ['ä']","code":0,"codeName":"OK","field":"demo.Player.tags",)"
        R"("matched":0,"changed":1,"positions":[],"sizeBefore":0,"sizeAfter":1,"undone":true})"
        "\n"
        R"({"record":0,"statement":3,"text":"SET scores[0] = 3","code":-4633,)"
        R"("codeName":"COMMON_ERR_INVALID_ARRAY_INDEX","field":"demo.Player.scores",)"
        R"("error":{"message":"index 0 is beyond 0 elements of demo.Player.scores",)"
        R"("hint":"it is empty: PUSH inserts elements","text":"0","offset":42,"line":2,)"
        R"("column":30}})"
        "\n");
    // What does not compile runs nothing: its line stands alone.
    EXPECT_EQ(lines({"CLEAR level; CLEAR scroes"}, THREE, 1),
              R"({"record":0,"statement":2,"text":"CLEAR level; CLEAR scroes","code":-4889,)"
              R"("codeName":"COMMON_ERR_INVALID_FIELD_NAME","error":{"message":"demo.Player has no field 'scroes'",)"
              R"("hint":"did you mean 'scores'?","text":"scroes","offset":19,"line":1,"column":20}})"
              "\n");
}

TEST(ReportOption, TellsUnknownFields) {
    TempFolder folder;
    // An item with field 1023, which the schema does not have.
    const std::string in = folder.Write("a.pb",
                                        "\x0a\x01"
                                        "a\xaa\x01\x08\x0a\x01"
                                        "x\x10\x01\xf8\x3f\x05");
    const std::string note = "note: unknown fields of what was selected are left out\n";
    const Outcome got = RunOstrane(Player("get", {"--in", in, "GET items"}));
    EXPECT_EQ(got.out, "{\"sku\":\"x\",\"qty\":1}\n");
    EXPECT_EQ(got.err, note);
    const Outcome taken = RunOstrane(
        Player("apply", {"--in", in, "--out", folder.At("b.pb"), "--report", folder.At("r"), "TAKE items; GET items"}));
    EXPECT_EQ(taken.out, got.out);
    EXPECT_EQ(taken.err, note);
    EXPECT_THAT(folder.Read("r"),
                testing::HasSubstr("\"elements\":[{\"sku\":\"x\",\"qty\":1}],\"unknownFields\":true}\n"));
    EXPECT_EQ(RunOstrane(Player("apply", {"--in", in, "--report", folder.At("r"), "GET items"})).err, note);
    // A record that passes keeps them, without a word.
    const Outcome kept =
        RunOstrane(Player("apply", {"--in", in, "--out", folder.At("c.pb"), "SET level = 1; CLEAR level"}));
    EXPECT_EQ(kept.err, "");
    EXPECT_EQ(folder.Read("c.pb"), folder.Read("a.pb"));
}

}  // namespace
