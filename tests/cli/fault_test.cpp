// What a stream does when something breaks in the middle of it: nothing is lost, and nothing is left behind.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/player_program.h"
#include "cli/process.h"

namespace {

using testing::HasSubstr;

std::string Records(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += "{\"name\":\"player " + std::to_string(i) + "\",\"scores\":[1,2,3]}\n";
    }
    return text;
}

size_t FileCount(const TempFolder& folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(folder.Path())) {
        ++count;
    }
    return count;
}

// A pipe with a name, held open at both ends by the test.
class NamedPipe {
public:
    explicit NamedPipe(const std::string& path) : m_isMade(mkfifo(path.c_str(), 0600) == 0) {
        m_end = m_isMade ? open(path.c_str(), O_RDWR | O_CLOEXEC) : -1;
    }
    ~NamedPipe() { close(m_end); }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    // Waits until something has been written into it.
    bool WaitForByte() const {
        char byte = 0;
        return m_isMade && read(m_end, &byte, 1) == 1;
    }

private:
    bool m_isMade;
    int m_end = -1;
};

// Signals

// The report goes into a pipe that nobody empties, so that the run stops in the middle until it is ended.
int EndInTheMiddle(const TempFolder& folder, int signalNumber, const char* threads) {
    const NamedPipe report(folder.At("report"));
    Process process(Player("apply", {"--in", folder.At("a.ndjson"), "--in-place", "--threads", threads, "--report",
                                     folder.At("report"), "PUSH scores = 4"}),
                    ProcessSetup());
    EXPECT_TRUE(report.WaitForByte());
    process.Signal(signalNumber);
    const int status = process.Wait();
    unlink(folder.At("report").c_str());
    return status;
}

TEST(Signal, InTheMiddleOfInPlaceTheOldFileStaysAndNothingElse) {
    const std::string text = Records(5000);
    for (const char* threads : {"1", "3"}) {
        for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
            TempFolder folder;
            folder.Write("a.ndjson", text);
            EXPECT_EQ(EndInTheMiddle(folder, signalNumber, threads), -signalNumber);
            EXPECT_TRUE(folder.Read("a.ndjson") == text) << signalNumber;
            EXPECT_EQ(FileCount(folder), 1U) << signalNumber;
        }
    }
}

// Whatever the run is about when it comes: before the temporary file, while it is made, at the end.
TEST(Signal, AtAnyMomentNoTemporaryFileStays) {
    TempFolder folder;
    const std::string text = Records(300);
    for (int round = 0; round < 60; ++round) {
        const std::string in = folder.Write("a.ndjson", text);
        Process process(Player("apply", {"--in", in, "--in-place", "PUSH scores = 4"}), ProcessSetup());
        usleep(static_cast<useconds_t>(round) * 500);
        process.Signal(SIGTERM);
        const int status = process.Wait();
        EXPECT_TRUE(status == -SIGTERM || status == 0) << status;
        EXPECT_EQ(FileCount(folder), 1U) << round;
        const std::string left = folder.Read("a.ndjson");
        // Wholly old or wholly new: the signal may have come behind the rename.
        const size_t changed = left.size() - text.size();
        EXPECT_TRUE(left == text || changed == 2U * 300) << changed;
    }
}

// It cannot be answered: the temporary file stays beside the old one, and disturbs no later run.
TEST(Signal, AKillLeavesTheOldFileAndTheTemporaryOne) {
    TempFolder folder;
    const std::string text = Records(5000);
    const std::string in = folder.Write("a.ndjson", text);
    EXPECT_EQ(EndInTheMiddle(folder, SIGKILL, "1"), -SIGKILL);
    EXPECT_TRUE(folder.Read("a.ndjson") == text);
    EXPECT_EQ(FileCount(folder), 2U);
    EXPECT_EQ(RunOstrane(Player("apply", {"--in", in, "--in-place", "POP scores"})).status, 0);
    EXPECT_EQ(folder.Read("a.ndjson").find("scores"), std::string::npos);
}

// Output

TEST(SlowStream, WhatBecameOfARecordIsThereBeforeTheNextOne) {
    for (const char* threads : {"1", "3"}) {
        TempFolder folder;
        const std::string path = folder.At("pipe");
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        const int writer = open(path.c_str(), O_RDWR | O_CLOEXEC);
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ProcessSetup setup;
        setup.out = ends[1];
        Process process(
            Player("apply", {"--in", path, "--in-format", "ndjson", "--threads", threads, "PUSH scores = 4"}), setup);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(write(writer, "{\"name\":\"a\"}\n", 13), 13);
            char buffer[100];
            const ssize_t count = read(ends[0], buffer, sizeof(buffer));
            EXPECT_EQ(std::string(buffer, count < 0 ? 0 : static_cast<size_t>(count)),
                      "{\"name\":\"a\",\"scores\":[4]}\n");
        }
        close(writer);
        EXPECT_EQ(process.Wait(), 0);
        close(ends[0]);
        close(ends[1]);
    }
}

TEST(StreamFault, AReaderThatLeavesEndsTheRunQuietly) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", Records(20000));
    for (const char* threads : {"1", "3"}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ProcessSetup setup;
        setup.out = ends[1];
        Process process(Player("apply", {"--in", in, "--threads", threads, "PUSH scores = 4"}), setup);
        close(ends[1]);
        char buffer[100];
        EXPECT_GT(read(ends[0], buffer, sizeof(buffer)), 0);
        close(ends[0]);
        EXPECT_EQ(process.Wait(), 2);
        EXPECT_EQ(process.Err(), "");
    }
}

TEST(StreamFault, AFullDeviceIsToldOnce) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", Records(5000));
    Surroundings full;
    full.outPath = "/dev/full";
    for (const char* threads : {"1", "3"}) {
        const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--threads", threads, "CLEAR tags"}), full);
        EXPECT_EQ(outcome.status, 2);
        const std::string said = std::string(HEAD) + "standard output: cannot be written: No space left on device\n";
        EXPECT_EQ(outcome.err.substr(0, said.size()), said);
        EXPECT_EQ(outcome.err.find("error", 1), std::string::npos) << outcome.err;
        const Outcome report = RunOstrane(
            Player("apply", {"--in", in, "--in-place", "--threads", threads, "--report", "/dev/full", "CLEAR scores"}));
        EXPECT_EQ(report.status, 2);
        EXPECT_TRUE(folder.Read("a.ndjson") == Records(5000));
    }
}

// Files that may not be read or written

class Unprivileged : public testing::Test {
protected:
    void SetUp() override {
        if (!CanRunUnprivileged()) {
            GTEST_SKIP() << "the program cannot be started as another user here";
        }
        chmod(m_folder.Path().c_str(), 0755);
    }
    int Run(const std::vector<std::string>& rest) {
        ProcessSetup setup;
        setup.isUnprivileged = true;
        Process process(Player("apply", rest), setup);
        const int status = process.Wait();
        m_said = Short(process.Err(), m_folder);
        return status;
    }

    TempFolder m_folder;
    std::string m_said;
};

TEST_F(Unprivileged, AFileThatMayNotBeRead) {
    const std::string in = m_folder.Write("a.ndjson", Records(1));
    chmod(in.c_str(), 0600);
    EXPECT_EQ(Run({"--in", in, "CLEAR scores"}), 2);
    EXPECT_EQ(m_said, std::string(HEAD) + "DIR/a.ndjson: cannot be opened: Permission denied\n");
}

TEST_F(Unprivileged, AFolderThatMayNotBeWritten) {
    const std::string in = m_folder.Write("a.ndjson", Records(1));
    chmod(in.c_str(), 0666);
    EXPECT_EQ(Run({"--in", in, "--in-place", "CLEAR scores"}), 2);
    EXPECT_EQ(m_said, std::string(HEAD) +
                          "DIR/a.ndjson: cannot be written: no file can be made in its folder: Permission denied\n");
    EXPECT_EQ(Run({"--in", in, "--out", m_folder.At("b.ndjson"), "CLEAR scores"}), 2);
    EXPECT_EQ(m_folder.Read("a.ndjson"), Records(1));
    EXPECT_EQ(FileCount(m_folder), 1U);
}

TEST_F(Unprivileged, AFileThatMayNotBeWritten) {
    const std::string in = m_folder.Write("a.ndjson", Records(1));
    chmod(m_folder.Path().c_str(), 0777);
    chmod(in.c_str(), 0444);
    EXPECT_EQ(Run({"--in", in, "--in-place", "CLEAR scores"}), 2);
    EXPECT_EQ(m_said, std::string(HEAD) + "DIR/a.ndjson: cannot be written: Permission denied\n");
    EXPECT_EQ(m_folder.Read("a.ndjson"), Records(1));
    EXPECT_EQ(FileCount(m_folder), 1U);
}

// One file twice

TEST(SameFile, TwoRunsAtOnceLeaveOneWholeResult) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", Records(3000));
    const std::string out = folder.At("b.ndjson");
    const auto results = [&](const char* statement) {
        return RunOstrane(Player("apply", {"--in", in, statement})).out;
    };
    const std::string first = results("SET level = 1");
    const std::string second = results("SET level = 2");
    for (int round = 0; round < 5; ++round) {
        Process one(Player("apply", {"--in", in, "--out", out, "SET level = 1"}), ProcessSetup());
        Process two(Player("apply", {"--in", in, "--out", out, "SET level = 2"}), ProcessSetup());
        EXPECT_EQ(one.Wait(), 0);
        EXPECT_EQ(two.Wait(), 0);
        const std::string left = folder.Read("b.ndjson");
        EXPECT_TRUE(left == first || left == second);
        EXPECT_EQ(FileCount(folder), 2U);
    }
}

// A run that reads what it writes would not end, or find nothing.
TEST(SameFile, AsInputAndStandardOutputIsRefused) {
    TempFolder folder;
    const std::string in = folder.Write("a.ndjson", Records(10));
    const int out = open(in.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    ASSERT_GE(out, 0);
    for (const std::vector<std::string>& arguments :
         {Player("apply", {"--in-format", "ndjson", "PUSH scores = 4"}),
          Player("apply", {"--in", in, "PUSH scores = 4"}), Player("get", {"--in", in, "GET scores"})}) {
        ProcessSetup setup;
        setup.in = in;
        setup.out = out;
        Process process(arguments, setup);
        EXPECT_EQ(process.Wait(), 2);
        EXPECT_THAT(process.Err(), HasSubstr("is also the input; --in-place or --out change a file\n"));
    }
    close(out);
    EXPECT_EQ(folder.Read("a.ndjson"), Records(10));
}

}  // namespace
