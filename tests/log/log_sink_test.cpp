// The sinks: how a printed line looks, files that rotate, and what happens when a file fails.
#include "log/log_sink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "log/log_category.h"
#include "support/temp_folder.h"

namespace {

using OstraneLog::LogChannel;

constexpr char SOURCE_FILE[] = "src/common/protobuf_record_util.cpp";

void WriteText(LogCategory* category, int32_t priority, const std::string& text) {
    const LogLocation location = {SOURCE_FILE, 120, "SetWithExpr", nullptr};
    LogEvent event = {};
    event.evt_priority = priority;
    event.evt_loc = &location;
    LogWriteV(category, &event, "%s", text.c_str());
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// A printed line from the priority's name on.
std::string WithoutPrefix(const std::string& line) {
    static const std::regex prefix(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d \[\d+\] )");
    std::smatch match;
    return std::regex_search(line, match, prefix) ? match.suffix().str() : "no time and thread: " + line;
}

std::vector<std::string> Printed(const std::string& text) {
    std::vector<std::string> lines = LinesOf(text);
    std::transform(lines.begin(), lines.end(), lines.begin(), WithoutPrefix);
    return lines;
}

// Sends stderr to a file while it lives.
class StderrToFile {
public:
    explicit StderrToFile(const std::string& path) : m_stderr(dup(STDERR_FILENO)) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~StderrToFile() {
        dup2(m_stderr, STDERR_FILENO);
        close(m_stderr);
    }
    StderrToFile(const StderrToFile&) = delete;
    StderrToFile& operator=(const StderrToFile&) = delete;

private:
    const int m_stderr;
};

// --- Printed lines

TEST(ShowEvent, NamesPriorityPlaceAndText) {
    char text[] = "no '$'";
    const LogLocation location = {SOURCE_FILE, 120, "SetWithExpr", nullptr};
    LogEvent event = {};
    event.evt_priority = LOG_PRIORITY_ERROR;
    event.evt_msg = text;
    event.evt_msg_len = 6;
    event.evt_loc = &location;
    EXPECT_EQ(OstraneLog::ShowEvent(event), "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: no '$'");
    event.evt_cls = 9;
    EXPECT_EQ(OstraneLog::ShowEvent(event),
              "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr [id 0, class 9]: no '$'");
    event.evt_cls = 0;
    event.evt_loc = nullptr;
    EXPECT_EQ(OstraneLog::ShowEvent(event), "ERROR: no '$'");
    const LogLocation nowhere = {nullptr, 0, nullptr, nullptr};
    event.evt_loc = &nowhere;
    EXPECT_EQ(OstraneLog::ShowEvent(event), "ERROR: no '$'");
}

TEST(ShowEvent, IsOneLineWhateverTheText) {
    std::string text = std::string("a\nb\r\tc\x1b[31m\x7f") + '\0' + "d\xc3\xa9 {} %s";
    LogEvent event = {};
    event.evt_priority = LOG_PRIORITY_INFO;
    event.evt_msg = &text[0];
    event.evt_msg_len = static_cast<int32_t>(text.size());
    EXPECT_EQ(OstraneLog::ShowEvent(event), "INFO: a\\nb\\r\\tc\\x1b[31m\\x7f\\x00d\xc3\xa9 {} %s");
    event.evt_is_msg_binary = 1;
    EXPECT_EQ(OstraneLog::ShowEvent(event), "INFO: a\\nb\\r\\tc\\x1b[31m\\x7f\\x00d\\xc3\\xa9 {} %s");
}

TEST(StderrSink, PrintsTimeThreadAndLine) {
    const TempFolder folder;
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToStderr(error);
    ASSERT_NE(channel, nullptr) << error;
    {
        const StderrToFile redirection(folder.At("stderr"));
        WriteText(channel->Category(), LOG_PRIORITY_ERROR, "braces {} {0} and percent %s %d");
        WriteText(channel->Category(), LOG_PRIORITY_TRACE, "two\nERROR lines");
    }
    EXPECT_EQ(Printed(folder.Read("stderr")),
              (std::vector<std::string>{
                  "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: braces {} {0} and percent %s %d",
                  "TRACE src/common/protobuf_record_util.cpp:120 SetWithExpr: two\\nERROR lines"}));
    EXPECT_EQ(channel->LostLines(), 0U);
}

// --- Priorities

// Notes the level and the message that spdlog's sinks get.
class LevelSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    std::vector<std::string> seen;

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        const spdlog::string_view_t level = spdlog::level::to_string_view(message.level);
        seen.push_back(std::string(level.data(), level.size()) + " | " +
                       std::string(message.payload.data(), message.payload.size()));
    }
    void flush_() override {}
};

TEST(SpdlogSink, EveryPriorityHasALevelAndKeepsItsName) {
    const auto levels = std::make_shared<LevelSink>();
    std::string error;
    LogChannel channel({OstraneLog::WrapSpdlogSink(levels, error)});
    for (const int32_t priority : {-1, 0, 100, 200, 300, 350, 400, 500, 600, 700, 800, 900, 1000, 1001}) {
        LogEvent event = {};
        event.evt_priority = priority;
        LogWriteV(channel.Category(), &event, "{}");
    }
    EXPECT_EQ(levels->seen, (std::vector<std::string>{
                                "critical | NULL: {}",
                                "critical | FATAL: {}",
                                "critical | ALERT: {}",
                                "critical | CRIT: {}",
                                "error | ERROR: {}",
                                "warning | priority 350: {}",
                                "warning | WARN: {}",
                                "info | NOTICE: {}",
                                "info | INFO: {}",
                                "debug | DEBUG: {}",
                                "trace | TRACE: {}",
                                "trace | NOTSET: {}",
                                "trace | UNKNOWN: {}",
                                "trace | priority 1001: {}",
                            }));
}

TEST(SpdlogSink, KeepsTheLevelThatTheHostSet) {
    const auto levels = std::make_shared<LevelSink>();
    levels->set_level(spdlog::level::err);
    std::string error;
    LogChannel channel({OstraneLog::WrapSpdlogSink(levels, error)});
    WriteText(channel.Category(), LOG_PRIORITY_WARN, "below");
    WriteText(channel.Category(), LOG_PRIORITY_ERROR, "at");
    ASSERT_EQ(levels->seen.size(), 1U);
    EXPECT_EQ(channel.LostLines(), 0U);
}

TEST(SpdlogSink, OfNothingIsAnError) {
    std::string error;
    EXPECT_EQ(OstraneLog::WrapSpdlogSink(nullptr, error), nullptr);
    EXPECT_EQ(error, "there is no sink to wrap");
}

// --- Files

TEST(RotatingFile, KeepsSoManyFilesOfSuchASize) {
    const TempFolder folder;
    std::string error;
    const std::string path = folder.At("log/records.log");
    {
        // A line takes some 115 bytes: four fit.
        const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(path, 500, 3, error);
        ASSERT_NE(channel, nullptr) << error;
        for (int i = 0; i < 40; ++i) {
            WriteText(channel->Category(), LOG_PRIORITY_ERROR, "line " + std::to_string(100 + i));
        }
        EXPECT_EQ(channel->LostLines(), 0U);
    }
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.At("log"))) {
        names.push_back(entry.path().filename().string());
        EXPECT_LE(entry.file_size(), 500U) << names.back();
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"records.1.log", "records.2.log", "records.log"}));

    // Oldest first they hold the last lines, none missing.
    const std::vector<std::string> lines =
        Printed(folder.Read("log/records.2.log") + folder.Read("log/records.1.log") + folder.Read("log/records.log"));
    ASSERT_GE(lines.size(), 9U);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i], "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: line " +
                                std::to_string(140 - lines.size() + i));
    }
}

TEST(RotatingFile, OneFileStartsAnewWhenFull) {
    const TempFolder folder;
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log"), 300, 1, error);
    ASSERT_NE(channel, nullptr) << error;
    for (int i = 0; i < 10; ++i) {
        WriteText(channel->Category(), LOG_PRIORITY_ERROR, "line " + std::to_string(i));
    }
    EXPECT_FALSE(std::filesystem::exists(folder.At("log.1")));
    EXPECT_LE(std::filesystem::file_size(folder.At("log")), 300U);
    EXPECT_EQ(Printed(folder.Read("log")).back(), "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: line 9");
}

TEST(RotatingFile, AppendsToWhatIsThere) {
    const TempFolder folder;
    folder.Write("log", "earlier\n");
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log"), 1 << 20, 2, error);
    ASSERT_NE(channel, nullptr) << error;
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, "later");
    const std::vector<std::string> lines = LinesOf(folder.Read("log"));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "earlier");
}

TEST(RotatingFile, HoldsALineOfAMegabyteWhole) {
    const TempFolder folder;
    const std::string text(1 << 20, 'x');
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log"), 1000, 2, error);
    ASSERT_NE(channel, nullptr) << error;
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, text);
    const std::vector<std::string> lines = Printed(folder.Read("log"));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0] == "ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: " + text);
}

TEST(RotatingFile, SevereLinesReachTheFileAtOnce) {
    const TempFolder folder;
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log"), 1 << 20, 2, error);
    ASSERT_NE(channel, nullptr) << error;
    WriteText(channel->Category(), LOG_PRIORITY_DEBUG, "held back");
    EXPECT_EQ(LinesOf(folder.Read("log")).size(), 0U);
    WriteText(channel->Category(), LOG_PRIORITY_WARN, "at once");
    EXPECT_EQ(LinesOf(folder.Read("log")).size(), 2U);
    WriteText(channel->Category(), LOG_PRIORITY_DEBUG, "held back");
    EXPECT_EQ(LinesOf(folder.Read("log")).size(), 2U);
    EXPECT_TRUE(channel->Flush());
    EXPECT_EQ(LinesOf(folder.Read("log")).size(), 3U);
}

TEST(RotatingFile, ThatCannotBeHadIsAnErrorWithItsReason) {
    const TempFolder folder;
    folder.Write("file", "");
    struct {
        std::string path;
        size_t maxBytes;
        size_t files;
        std::string error;
    } const cases[] = {
        {folder.At("file/log"), 1000, 1,
         "Failed opening file " + folder.At("file/log") + " for writing: Not a directory"},
        {folder.Path(), 1000, 1, "Failed opening file " + folder.Path() + " for writing: Is a directory"},
        {"", 1000, 1, "the log file has no name"},
        {folder.At("log"), 0, 1, "the log file " + folder.At("log") + " must be allowed at least 1 byte"},
        {folder.At("log"), 1000, 0, "of the log file " + folder.At("log") + " at least 1 file must be kept"},
        {folder.At("log"), 1000, 200002, "rotating sink constructor: max_files arg cannot exceed 200000"},
    };
    for (const auto& row : cases) {
        std::string error;
        EXPECT_EQ(LogChannel::ToRotatingFile(row.path, row.maxBytes, row.files, error), nullptr);
        EXPECT_EQ(error, row.error);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.At("log")));
}

TEST(RotatingFile, CountsTheLinesOfAFullDisk) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "there is no /dev/full";
    }
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile("/dev/full", 1 << 20, 1, error);
    ASSERT_NE(channel, nullptr) << error;
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, "one");
    EXPECT_EQ(channel->LostLines(), 1U);
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, "two");
    EXPECT_EQ(channel->LostLines(), 2U);
}

TEST(RotatingFile, ComesBackAfterARotationThatRanOutOfDescriptors) {
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
    GTEST_SKIP() << "this sanitizer looks at objects through a pipe, for which no descriptor is left";
#endif
#endif
    const TempFolder folder;
    std::string error;
    // The number that the log file will get.
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log"), 400, 2, error);
    ASSERT_NE(channel, nullptr) << error;
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, std::string(200, 'a'));

    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit noMore = limit;
    noMore.rlim_cur = static_cast<rlim_t>(descriptor);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &noMore), 0);
    WriteText(channel->Category(), LOG_PRIORITY_ERROR, std::string(200, 'b'));  // rotates, cannot open
    const uint64_t lostWhileOut = channel->LostLines();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(lostWhileOut, 1U);

    WriteText(channel->Category(), LOG_PRIORITY_ERROR, "back");
    EXPECT_EQ(channel->LostLines(), 1U);
    EXPECT_EQ(Printed(folder.Read("log")),
              std::vector<std::string>{"ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: back"});
}

TEST(RotatingFile, DoesNotTryToOpenForEveryLineOfABadTime) {
    const TempFolder folder;
    std::string error;
    const std::unique_ptr<LogChannel> channel = LogChannel::ToRotatingFile(folder.At("log/log"), 300, 2, error);
    ASSERT_NE(channel, nullptr) << error;
    // A file stands where the folder was: every attempt to open fails.
    std::filesystem::remove_all(folder.At("log"));
    folder.Write("log", "");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 500; ++i) {
        WriteText(channel->Category(), LOG_PRIORITY_ERROR, std::string(200, 'x'));
    }
    // The first line goes to the file that has lost its name. An attempt takes 50 ms, so 499 would take 25 s.
    EXPECT_EQ(channel->LostLines(), 499U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_FALSE(channel->Flush());
}

}  // namespace
