// One thread and many: the same output, the same errors, the same report, in the same order.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::HasSubstr;

// More than a few batches of every thread.
constexpr int RECORDS = 3000;

// Records of different lengths; one in four has no scores, one in a thousand cannot be read.
std::string Records(bool hasBroken) {
    std::string text;
    for (int i = 0; i < RECORDS; ++i) {
        const std::string number = std::to_string(i);
        if (hasBroken && i % 1000 == 501) {
            text += "{\"name\":broken" + number + "}\n";
            continue;
        }
        text += "{\"name\":\"p" + number + "\",\"level\":" + number + ",\"tags\":[\"" +
                std::string(static_cast<size_t>(i % 90), 't') + "\"]";
        if (i % 4 != 0) {
            text += ",\"scores\":[" + number + (i % 3 == 0 ? ",7" : "") + "]";
        }
        text += i % 5 == 0 ? "}\n\n" : "}\n";
    }
    return text;
}

// What one run left behind, as one text.
std::string Show(const std::vector<std::string>& arguments, const std::string& threads, const TempFolder& folder) {
    std::vector<std::string> all = arguments;
    all.insert(all.end(), {"--threads", threads});
    const Outcome outcome = RunOstrane(all);
    std::string shown = "status " + std::to_string(outcome.status) + "\n" + outcome.err + outcome.out;
    for (const char* file : {"out.ndjson", "out.delim", "report.jsonl"}) {
        shown += std::string("--- ") + file + "\n" + folder.Read(file);
        unlink(folder.At(file).c_str());
    }
    return shown;
}

struct Row {
    const char* about;
    bool hasBroken;
    std::vector<std::string> arguments;
    const char* expected;  // a part of what is shown
};

TEST(Threads, ChangeNothingInWhatARunDoes) {
    TempFolder folder;
    const std::string whole = folder.Write("in.ndjson", Records(false));
    const std::string broken = folder.Write("broken.ndjson", Records(true));
    const std::string out = folder.At("out.ndjson");
    const std::string report = folder.At("report.jsonl");
    const Row rows[] = {
        {"changes", false, Player("apply", {"PUSH scores[0] = 3; SET level = level + 1"}),
         "records 3000, matched 6000, changed 6000, failed 0\n"},
        {"another format", false, Player("apply", {"--out", folder.At("out.delim"), "PUSH scores = 3"}),
         "changed 3000, failed 0\n"},
        {"where", false, Player("apply", {"--where", "level BETWEEN 900 AND 2000", "POP scores"}), "records 3000, "},
        {"a failing record ends the run", false, Player("apply", {"SET level = 1; SET scores[1] = 5"}), "\n  in "},
        {"a failing record deep in the stream", false, Player("apply", {"SET level = 1000 / (level - 2711)"}),
         "records 2712, matched 2711, changed 2711, failed 1\n"},
        {"a failing record and a file", false, Player("apply", {"--out", out, "SET level = 1000 / (level - 2711)"}),
         "status 1\n"},
        {"keep going", true, Player("apply", {"--keep-going", "--report", report, "SET scores[0] = 5"}),
         "records 3000, matched 2247, changed 2247, failed 753\n"},
        {"keep going into another format", true,
         Player("apply", {"--keep-going", "--out", folder.At("out.delim"), "SET level = 5"}), "status 2\n"},
        {"dry run", false, Player("apply", {"--dry-run", "--report", report, "TAKE scores[*] WHERE $ > 1500"}),
         "dry run, nothing written: records 3000"},
        {"elements beside the records", false,
         Player("apply", {"--out", out, "--positions", "TAKE scores[*] WHERE $ > 1500"}), "\n1501\t0\t1501\n"},
        {"get", false, Player("get", {"--positions", "GET scores[-1]"}), "\n9\t1\t7\n"},
        {"get and keep going", true, Player("get", {"--keep-going", "--strict", "--report", report, "GET scores[1]"}),
         "status 1\n"},
        {"where that fails", false, Player("get", {"--where", "10 / (level - 3) > 0", "GET level"}), "--where"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> arguments = row.arguments;
        arguments.insert(arguments.end(), {"--in", row.hasBroken ? broken : whole});
        const std::string alone = Show(arguments, "1", folder);
        // Not a matcher, which would print them: the texts are long.
        EXPECT_NE(alone.find(row.expected), std::string::npos) << row.about;
        for (const char* threads : {"2", "5"}) {
            EXPECT_TRUE(Show(arguments, threads, folder) == alone) << row.about << ", " << threads << " threads";
        }
    }
}

TEST(Threads, DelimitedStreamsAndTheirCuts) {
    TempFolder folder;
    const std::string in = folder.Write("in.ndjson", Records(false));
    const std::string delimited = folder.At("in.delim");
    ASSERT_EQ(RunOstrane(Player("apply", {"--in", in, "--out", delimited, "SET active = true"})).status, 0);
    const std::string bytes = folder.Read("in.delim");
    const std::string cut = folder.Write("cut.delim", bytes.substr(0, bytes.size() - 3));
    for (const std::string& input : {delimited, cut}) {
        const std::vector<std::string> arguments = Player("apply", {"--in", input, "PUSH scores = 3"});
        const std::string alone = Show(arguments, "1", folder);
        EXPECT_NE(alone.find(input == cut ? "the input ends inside record 2999: " : "status 0\n"), std::string::npos);
        EXPECT_TRUE(Show(arguments, "4", folder) == alone) << input;
    }
}

// The writer holds the pipe open: the run must end with its failing record, not with its input.
TEST(Threads, AFailingRecordEndsTheRunWhileOthersWaitForInput) {
    TempFolder folder;
    const std::string pipe = folder.At("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    const std::string text =
        "{\"name\":\"a\",\"scores\":[1]}\n{\"name\":\"b\"}\n{\"name\":\"c\",\"scores\":[1]}\n{\"na";
    ASSERT_EQ(write(writer, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    const Outcome outcome =
        RunOstrane(Player("apply", {"--in", pipe, "--in-format", "ndjson", "--threads", "3", "SET scores[0] = 2"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "{\"name\":\"a\",\"scores\":[2]}\n");
    EXPECT_THAT(outcome.err, HasSubstr("\nrecords 2, matched 1, changed 1, failed 1\n"));
    close(writer);
}

TEST(Threads, TheirNumberIsChecked) {
    for (const char* threads : {"0", "-1", "257", "two"}) {
        const Outcome outcome =
            RunOstrane(Player("apply", {"--in-format", "ndjson", "--threads", threads, "CLEAR tags"}));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("--threads takes a number from 1 to 256, not '")) << threads;
    }
}

}  // namespace
