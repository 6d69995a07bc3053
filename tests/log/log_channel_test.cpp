// A channel: what it takes, what it makes of a format, and what it does when a sink fails.
#include "log/log_category.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <stdexcept>

#include "support/captured_log.h"

namespace {

using OstraneLog::CapturedLine;
using OstraneLog::LogChannel;
using OstraneLog::LogSink;

constexpr char SOURCE_FILE[] = "src/common/protobuf_record_util.cpp";

class ThrowingSink : public LogSink {
public:
    void Write(const LogEvent&) override { throw std::runtime_error("disk full"); }
    void Flush() override { throw 7; }
};

LogEvent EventAt(const LogLocation* location, int32_t priority) {
    LogEvent event = {};
    event.evt_priority = priority;
    event.evt_loc = location;
    return event;
}

// What is captured of LogWriteV(format, arguments...).
template <typename... Args>
std::string Written(const char* format, Args... args) {
    CapturedLog log;
    LogEvent event = EventAt(nullptr, LOG_PRIORITY_ERROR);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#endif
    LogWriteV(log.Category(), &event, format, args...);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    const std::vector<CapturedLine> lines = log.Captured();
    return lines.size() == 1 ? lines[0].text : "lines: " + std::to_string(lines.size());
}

// --- What a channel takes

TEST(LogChannel, StartsWithoutBounds) {
    CapturedLog log;
    EXPECT_EQ(log.Channel().HighBound(), -1);
    EXPECT_EQ(log.Channel().LowBound(), -1);
    EXPECT_TRUE(LogIsWanted(log.Category(), LOG_PRIORITY_FATAL));
    EXPECT_TRUE(LogIsWanted(log.Category(), LOG_PRIORITY_UNKNOWN));
}

TEST(LogChannel, BoundsChangeWhileItRuns) {
    CapturedLog log;
    LogCategory* const category = log.Category();
    log.Channel().SetBounds(LOG_PRIORITY_CRIT, LOG_PRIORITY_ERROR);
    EXPECT_EQ(log.Channel().HighBound(), 200);
    EXPECT_EQ(log.Channel().LowBound(), 300);
    for (const int32_t priority : {199, 200, 300, 301}) {
        const bool isWanted = priority == 200 || priority == 300;
        EXPECT_EQ(LogIsWanted(category, priority), isWanted) << priority;
        // Asked without the guard, the library says the same.
        EXPECT_EQ(LogCanWrite(category, priority, 0, 0) != 0, isWanted) << priority;
    }
    log.Channel().SetBounds(-1, LOG_PRIORITY_DEBUG);
    EXPECT_TRUE(LogIsWanted(category, LOG_PRIORITY_FATAL));
    EXPECT_TRUE(LogIsWanted(category, LOG_PRIORITY_DEBUG));
    EXPECT_FALSE(LogIsWanted(category, LOG_PRIORITY_DEBUG + 1));
}

TEST(LogChannel, RefusesUntilAcceptingAgain) {
    CapturedLog log;
    log.Channel().SetAccepting(false);
    EXPECT_EQ(LogCanWrite(log.Category(), LOG_PRIORITY_FATAL, 0, 0), 0);
    OSTRANE_LOG(log.Category(), LOG_PRIORITY_FATAL, SOURCE_FILE, "refused");
    log.Channel().SetAccepting(true);
    OSTRANE_LOG(log.Category(), LOG_PRIORITY_FATAL, SOURCE_FILE, "taken");
    EXPECT_EQ(log.Lines(), std::vector<std::string>{"FATAL src/common/protobuf_record_util.cpp TestBody: taken"});
}

TEST(LogChannel, WithoutSinksRefuses) {
    LogChannel channel({nullptr, nullptr});
    EXPECT_EQ(LogCanWrite(channel.Category(), LOG_PRIORITY_FATAL, 0, 0), 0);
    LogEvent event = EventAt(nullptr, LOG_PRIORITY_FATAL);
    LogWriteV(channel.Category(), &event, "unasked");
    EXPECT_EQ(channel.LostLines(), 0U);
}

TEST(LogChannel, CategoryWithoutHostRefusesAndWritesNothing) {
    LogCategory category = {nullptr, nullptr, nullptr};
    EXPECT_EQ(LogCanWrite(&category, LOG_PRIORITY_FATAL, 0, 0), 0);
    LogEvent event = EventAt(nullptr, LOG_PRIORITY_FATAL);
    event.evt_msg_len = 99;
    LogWriteV(&category, &event, "%d", 1);
    EXPECT_EQ(event.evt_msg_len, 99);
}

TEST(LogChannel, CategoryHoldsTheChannelsBounds) {
    CapturedLog log;
    log.Channel().SetBounds(100, 400);
    ASSERT_NE(log.Category(), nullptr);
    EXPECT_EQ(*log.Category()->piPriorityHigh, 100);
    EXPECT_EQ(*log.Category()->piPriorityLow, 400);
    EXPECT_EQ(log.Category()->pHost, &log.Channel());
}

// --- What reaches a sink

TEST(LogChannel, SinkSeesTheWholeEvent) {
    CapturedLog log;
    const LogLocation location = {SOURCE_FILE, 42, "SetWithExpr", nullptr};
    LogEvent event = EventAt(&location, LOG_PRIORITY_NOTICE);
    event.evt_is_msg_binary = 1;
    event.evt_id = 7;
    event.evt_cls = 9;
    LogWriteV(log.Category(), &event, "%s=%d", "n", 5);
    ASSERT_EQ(log.Captured().size(), 1U);
    const CapturedLine line = log.Captured()[0];
    EXPECT_EQ(line.priority, LOG_PRIORITY_NOTICE);
    EXPECT_EQ(line.text, "n=5");
    EXPECT_EQ(line.file, SOURCE_FILE);
    EXPECT_EQ(line.line, 42);
    EXPECT_EQ(line.function, "SetWithExpr");
    EXPECT_EQ(line.id, 7U);
    EXPECT_EQ(line.cls, 9U);
    EXPECT_TRUE(line.isBinary);
}

// Copies what the library filled in, as it is during the write.
class EventSink : public LogSink {
public:
    void Write(const LogEvent& event) override {
        seen = event;
        text = event.evt_msg;  // up to its NUL
    }

    LogEvent seen = {};
    std::string text;
};

TEST(LogChannel, FillsTheFieldsThatTheWriterLeaves) {
    const auto sink = std::make_shared<EventSink>();
    LogChannel channel({sink});
    LogEvent event;
    event.evt_priority = LOG_PRIORITY_ERROR;
    event.evt_loc = nullptr;
    event.evt_is_msg_binary = 0;
    event.evt_id = 0;
    event.evt_cls = 0;
    LogWriteV(channel.Category(), &event, "%d elements", 12);
    EXPECT_EQ(sink->text, "12 elements");
    EXPECT_EQ(sink->seen.evt_msg_len, 11);
    EXPECT_EQ(sink->seen.evt_type, OstraneLog::EVENT_TYPE_LINE);
    EXPECT_EQ(sink->seen.evt_version, OstraneLog::EVENT_VERSION);
    // The text lives as long as the call; the rest stays for the writer.
    EXPECT_EQ(event.evt_msg, nullptr);
    EXPECT_EQ(event.evt_msg_len, 11);
    EXPECT_EQ(event.evt_type, OstraneLog::EVENT_TYPE_LINE);
    EXPECT_EQ(event.evt_version, OstraneLog::EVENT_VERSION);
}

TEST(LogChannel, EverySinkGetsTheLineInTurn) {
    const auto first = std::make_shared<OstraneLog::CaptureSink>();
    const auto second = std::make_shared<OstraneLog::CaptureSink>();
    LogChannel channel({first, nullptr, second});
    OSTRANE_LOG(channel.Category(), LOG_PRIORITY_ERROR, SOURCE_FILE, "both");
    ASSERT_EQ(first->Lines().size(), 1U);
    ASSERT_EQ(second->Lines().size(), 1U);
    EXPECT_EQ(second->Lines()[0].text, "both");
}

TEST(CapturedLog, ShowsPriorityPlaceAndText) {
    CapturedLog log;
    OSTRANE_LOG_AS(log.Category(), LOG_PRIORITY_ERROR, SOURCE_FILE, "SetWithExpr", "not found field '%s'", "x");
    EXPECT_EQ(log.TakeLines(),
              std::vector<std::string>{"ERROR src/common/protobuf_record_util.cpp SetWithExpr: not found field 'x'"});
    EXPECT_EQ(log.Lines(), std::vector<std::string>());
}

// --- What becomes of a format

TEST(LogWriteV, FormatsByPrintfsRules) {
    EXPECT_EQ(Written("%s: %d of %zu, %5.2f|%-4s|%04x", "f", -3, size_t{10}, 1.5, "ab", 255U),
              "f: -3 of 10,  1.50|ab  |00ff");
    EXPECT_EQ(Written("%%"), "%");
    EXPECT_EQ(Written("%s", ""), "");
}

TEST(LogWriteV, BracesAndPercentOfAnArgumentAreText) {
    EXPECT_EQ(Written("%s", "{} {0} {:n} }{ %n %s %% %v"), "{} {0} {:n} }{ %n %s %% %v");
    EXPECT_EQ(Written("{} {1} }{"), "{} {1} }{");
}

TEST(LogWriteV, KeepsEveryByteAroundTheBuffersEnd) {
    for (const size_t length : {1022U, 1023U, 1024U, 1025U, 4096U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(Written("%s", text.c_str()), text) << length;
        EXPECT_EQ(Written("%s%d", text.c_str(), 42), text + "42") << length;
    }
}

TEST(LogWriteV, WritesALineOfAMegabyte) {
    std::string text(1 << 20, 'a');
    text.back() = 'z';
    EXPECT_TRUE(Written("<%s>", text.c_str()) == '<' + text + '>');
}

TEST(LogWriteV, KeepsANulInTheText) {
    EXPECT_EQ(Written("a%cb", 0), std::string("a\0b", 3));
}

TEST(LogWriteV, WritesTheFormatWhenItCannotBeFormatted) {
    // No multibyte character of the C locale stands for this wide one.
    EXPECT_EQ(Written("field %ls", L"\x1234"), "field %ls [cannot be formatted]");
    const std::string longFormat = std::string(3000, 'x') + "%ls";
    const std::string mark = " [cannot be formatted]";
    EXPECT_EQ(Written(longFormat.c_str(), L"\x1234"), std::string(1023 - mark.size(), 'x') + mark);
}

TEST(LogWriteV, LeavesErrnoAloneAndShowsIt) {
    errno = ENOENT;
    EXPECT_EQ(Written("%m"), "No such file or directory");
    CapturedLog log;
    LogEvent event = EventAt(nullptr, LOG_PRIORITY_ERROR);
    errno = EDOM;
    LogWriteV(log.Category(), &event, "%ls", L"\x1234");  // fails with EILSEQ
    EXPECT_EQ(errno, EDOM);
    const std::string text(5000, 'x');
    errno = ENOENT;
    LogWriteV(log.Category(), &event, "%s%m", text.c_str());
    EXPECT_EQ(log.Captured().back().text, text + "No such file or directory");
}

// --- What happens when a sink fails

TEST(LogChannel, CountsTheLinesThatASinkThrowsAway) {
    const auto capture = std::make_shared<OstraneLog::CaptureSink>();
    LogChannel channel({std::make_shared<ThrowingSink>(), capture, std::make_shared<ThrowingSink>()});
    OSTRANE_LOG(channel.Category(), LOG_PRIORITY_ERROR, SOURCE_FILE, "one");
    EXPECT_EQ(channel.LostLines(), 2U);
    OSTRANE_LOG(channel.Category(), LOG_PRIORITY_ERROR, SOURCE_FILE, "two");
    EXPECT_EQ(channel.LostLines(), 4U);
    // The sinks beside it are served all the same.
    EXPECT_EQ(capture->Lines().size(), 2U);
}

TEST(LogChannel, FlushTellsOfASinkThatFails) {
    const auto capture = std::make_shared<OstraneLog::CaptureSink>();
    EXPECT_FALSE(LogChannel({std::make_shared<ThrowingSink>(), capture}).Flush());
    EXPECT_TRUE(LogChannel({capture}).Flush());
}

}  // namespace
