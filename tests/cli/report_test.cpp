// The file of --report.
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

}  // namespace
