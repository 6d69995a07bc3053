// The guard in front of every line, step by step, over a logging library that records its calls.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "common/log.h"

namespace {

// What the library was asked to write.
struct WrittenLine {
    LogCategory* category;
    LogEvent event;
    LogLocation location;
    std::string format;
    std::string text;
};

struct Library {
    int canWrite = 1;
    std::vector<std::string> questions;  // "category priority id cls" of each LogCanWrite
    std::vector<const LogCategory*> askedCategories;
    std::vector<WrittenLine> lines;
};

Library library;

}  // namespace

int LogCanWrite(LogCategory* category, int32_t priority, uint32_t id, uint32_t cls) {
    library.askedCategories.push_back(category);
    library.questions.push_back(std::to_string(priority) + ' ' + std::to_string(id) + ' ' + std::to_string(cls));
    return library.canWrite;
}

void LogWriteV(LogCategory* category, LogEvent* event, const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    WrittenLine line{category, {}, *event->evt_loc, format, text};
    // The fields that the writer sets; the others are not there to be read.
    line.event.evt_priority = event->evt_priority;
    line.event.evt_is_msg_binary = event->evt_is_msg_binary;
    line.event.evt_id = event->evt_id;
    line.event.evt_cls = event->evt_cls;
    library.lines.push_back(line);
}

namespace {

constexpr char SOURCE_FILE[] = "src/common/protobuf_record_util.h";

class LogGuard : public testing::Test {
protected:
    LogGuard() { library = Library(); }

    // An argument of the line.
    const char* Text() {
        ++m_evaluations;
        return "text";
    }

    void Write(LogCategory* category, LogPriority priority) {
        OSTRANE_LOG(category, priority, SOURCE_FILE, "a %s", Text());
    }

    int m_evaluations = 0;
};

TEST_F(LogGuard, NullCategoryWritesNothingAndAsksNobody) {
    Write(nullptr, LOG_PRIORITY_FATAL);
    EXPECT_TRUE(library.questions.empty());
    EXPECT_TRUE(library.lines.empty());
    EXPECT_EQ(m_evaluations, 0);
    EXPECT_FALSE(LogIsWanted(nullptr, LOG_PRIORITY_FATAL));
}

constexpr int32_t NO_POINTER = INT32_MIN;

struct BoundCase {
    int32_t high;
    int32_t low;
    LogPriority priority;
    bool isWritten;
};

void PrintTo(const BoundCase& row, std::ostream* out) {
    *out << "high " << row.high << ", low " << row.low << ", line " << row.priority;
}

TEST_F(LogGuard, BoundsLetThroughWhatIsBetweenThem) {
    const std::vector<BoundCase> cases = {
        // No bounds
        {NO_POINTER, NO_POINTER, LOG_PRIORITY_ERROR, true},
        {NO_POINTER, -1, LOG_PRIORITY_ERROR, true},
        {-1, NO_POINTER, LOG_PRIORITY_ERROR, true},
        {-1, -1, LOG_PRIORITY_ERROR, true},
        {-1, -1, LOG_PRIORITY_UNKNOWN, true},
        // The least severe priority
        {NO_POINTER, 200, LOG_PRIORITY_ERROR, false},
        {NO_POINTER, 299, LOG_PRIORITY_ERROR, false},
        {NO_POINTER, 300, LOG_PRIORITY_ERROR, true},
        {NO_POINTER, 301, LOG_PRIORITY_ERROR, true},
        {NO_POINTER, 0, LOG_PRIORITY_ERROR, false},
        {NO_POINTER, 0, LOG_PRIORITY_FATAL, true},
        {NO_POINTER, 699, LOG_PRIORITY_DEBUG, false},
        {NO_POINTER, 700, LOG_PRIORITY_DEBUG, true},
        // The most severe priority
        {300, NO_POINTER, LOG_PRIORITY_ERROR, true},
        {299, NO_POINTER, LOG_PRIORITY_ERROR, true},
        {301, NO_POINTER, LOG_PRIORITY_ERROR, false},
        {400, NO_POINTER, LOG_PRIORITY_ERROR, false},
        {700, NO_POINTER, LOG_PRIORITY_DEBUG, true},
        {701, NO_POINTER, LOG_PRIORITY_DEBUG, false},
        {0, NO_POINTER, LOG_PRIORITY_FATAL, true},
        // Both
        {300, 300, LOG_PRIORITY_ERROR, true},
        {300, 700, LOG_PRIORITY_DEBUG, true},
        {301, 299, LOG_PRIORITY_ERROR, false},
        {400, 700, LOG_PRIORITY_ERROR, false},
        {400, -1, LOG_PRIORITY_ERROR, false},
        {-1, 200, LOG_PRIORITY_ERROR, false},
        // Only -1 is no bound
        {NO_POINTER, -2, LOG_PRIORITY_FATAL, false},
        {-2, NO_POINTER, LOG_PRIORITY_FATAL, true},
        {LOG_PRIORITY_FATAL, NO_POINTER, LOG_PRIORITY_NULL, false},
    };
    for (BoundCase row : cases) {
        SCOPED_TRACE(testing::PrintToString(row));
        library = Library();
        m_evaluations = 0;
        LogCategory category = {row.high == NO_POINTER ? nullptr : &row.high,
                                row.low == NO_POINTER ? nullptr : &row.low, nullptr};
        Write(&category, row.priority);
        EXPECT_EQ(library.lines.size(), row.isWritten ? 1U : 0U);
        // A bound ends the guard before the library is asked.
        EXPECT_EQ(library.questions.size(), row.isWritten ? 1U : 0U);
        EXPECT_EQ(m_evaluations, row.isWritten ? 1 : 0);
    }
}

TEST_F(LogGuard, LowBoundIsReadBeforeHighBound) {
    // The high bound lies where a read ends the program.
    void* const unreadable = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(unreadable, MAP_FAILED);
    int32_t low = 299;
    LogCategory category = {static_cast<int32_t*>(unreadable), &low, nullptr};
    Write(&category, LOG_PRIORITY_ERROR);
    EXPECT_TRUE(library.lines.empty());
    munmap(unreadable, 4096);
}

TEST_F(LogGuard, RefusingLibraryIsAskedOnceAndWritesNothing) {
    library.canWrite = 0;
    LogCategory category = {nullptr, nullptr, nullptr};
    Write(&category, LOG_PRIORITY_ERROR);
    EXPECT_EQ(library.questions, std::vector<std::string>{"300 0 0"});
    EXPECT_EQ(library.askedCategories, std::vector<const LogCategory*>{&category});
    EXPECT_TRUE(library.lines.empty());
    EXPECT_EQ(m_evaluations, 0);
}

TEST_F(LogGuard, AnyAnswerButZeroIsYes) {
    LogCategory category = {nullptr, nullptr, nullptr};
    for (const int answer : {1, 2, -1}) {
        library.canWrite = answer;
        Write(&category, LOG_PRIORITY_DEBUG);
    }
    EXPECT_EQ(library.lines.size(), 3U);
    EXPECT_EQ(library.questions, (std::vector<std::string>{"700 0 0", "700 0 0", "700 0 0"}));
}

TEST_F(LogGuard, EventAndLocationSayWhereTheLineStands) {
    LogCategory category = {nullptr, nullptr, nullptr};
    const int32_t place = __LINE__ + 1;
    OSTRANE_LOG(&category, LOG_PRIORITY_DEBUG, SOURCE_FILE, "%s has %d", "field", 3);
    ASSERT_EQ(library.lines.size(), 1U);
    const WrittenLine& line = library.lines[0];
    EXPECT_EQ(line.category, &category);
    EXPECT_EQ(line.event.evt_priority, LOG_PRIORITY_DEBUG);
    EXPECT_EQ(line.event.evt_is_msg_binary, 0);
    EXPECT_EQ(line.event.evt_id, 0U);
    EXPECT_EQ(line.event.evt_cls, 0U);
    EXPECT_STREQ(line.location.loc_file, "src/common/protobuf_record_util.h");
    EXPECT_EQ(line.location.loc_line, place);
    EXPECT_STREQ(line.location.loc_function, "TestBody");
    EXPECT_EQ(line.location.loc_data, nullptr);
    EXPECT_EQ(line.format, "%s has %d");
    EXPECT_EQ(line.text, "field has 3");
}

TEST_F(LogGuard, AStepMaySpeakForItsCaller) {
    LogCategory category = {nullptr, nullptr, nullptr};
    OSTRANE_LOG_AS(&category, LOG_PRIORITY_ERROR, SOURCE_FILE, "PopWithExpr", "no arguments");
    ASSERT_EQ(library.lines.size(), 1U);
    EXPECT_STREQ(library.lines[0].location.loc_function, "PopWithExpr");
    EXPECT_EQ(library.lines[0].text, "no arguments");
}

TEST_F(LogGuard, CategoryIsEvaluatedOnce) {
    LogCategory category = {nullptr, nullptr, nullptr};
    LogCategory* next[] = {&category, nullptr};
    LogCategory** taken = next;
    OSTRANE_LOG(*taken++, LOG_PRIORITY_ERROR, SOURCE_FILE, "text");
    EXPECT_EQ(taken, next + 1);
    EXPECT_EQ(library.lines.size(), 1U);
}

TEST_F(LogGuard, IsOneStatement) {
    LogCategory category = {nullptr, nullptr, nullptr};
    for (const bool isFirst : {true, false}) {
        if (isFirst)
            OSTRANE_LOG(&category, LOG_PRIORITY_ERROR, SOURCE_FILE, "first");
        else
            OSTRANE_LOG(&category, LOG_PRIORITY_ERROR, SOURCE_FILE, "second");
    }
    ASSERT_EQ(library.lines.size(), 2U);
    EXPECT_EQ(library.lines[0].text, "first");
    EXPECT_EQ(library.lines[1].text, "second");
}

TEST(LogPriorities, KeepTheirNumbers) {
    EXPECT_EQ(LOG_PRIORITY_NULL, -1);
    EXPECT_EQ(LOG_PRIORITY_FATAL, 0);
    EXPECT_EQ(LOG_PRIORITY_ALERT, 100);
    EXPECT_EQ(LOG_PRIORITY_CRIT, 200);
    EXPECT_EQ(LOG_PRIORITY_ERROR, 300);
    EXPECT_EQ(LOG_PRIORITY_WARN, 400);
    EXPECT_EQ(LOG_PRIORITY_NOTICE, 500);
    EXPECT_EQ(LOG_PRIORITY_INFO, 600);
    EXPECT_EQ(LOG_PRIORITY_DEBUG, 700);
    EXPECT_EQ(LOG_PRIORITY_TRACE, 800);
    EXPECT_EQ(LOG_PRIORITY_NOTSET, 900);
    EXPECT_EQ(LOG_PRIORITY_UNKNOWN, 1000);
}

}  // namespace
