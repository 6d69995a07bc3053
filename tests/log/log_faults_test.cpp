// Memory that runs out: every allocation of a step fails once, until a run meets none that fails.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "log/log_category.h"
#include "support/temp_folder.h"

namespace {

constexpr int NEVER = 0;

// The allocation of this thread that fails, counted down from the arming on.
thread_local int allocationsLeft = NEVER;
thread_local bool hasFailed = false;

bool FailsNow() {
    if (allocationsLeft == NEVER || --allocationsLeft != 0) {
        return false;
    }
    hasFailed = true;
    return true;
}

}  // namespace

void* operator new(size_t size) {
    void* const memory = FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

// Of arrays too: those of a sanitizer's runtime do not come by the ones above.
void* operator new[](size_t size) {
    return operator new(size);
}

void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace {

using OstraneLog::LogChannel;

// Runs `step` with the k-th allocation failing, for every k until none does, and `check` after each.
// Returns how many failed.
template <typename Step, typename Check>
int SweepAllocations(const Step& step, const Check& check) {
    for (int k = 1;; ++k) {
        hasFailed = false;
        allocationsLeft = k;
        step();
        allocationsLeft = NEVER;
        SCOPED_TRACE("allocation " + std::to_string(k));
        check(hasFailed);
        if (!hasFailed || testing::Test::HasFailure()) {
            return k - 1;
        }
    }
}

void WriteText(LogCategory* category, const std::string& text) {
    const LogLocation location = {"src/common/protobuf_record_util.cpp", 120, "SetWithExpr", nullptr};
    LogEvent event = {};
    event.evt_priority = LOG_PRIORITY_ERROR;
    event.evt_loc = &location;
    LogWriteV(category, &event, "%s", text.c_str());
}

TEST(LogOutOfMemory, ALineIsWrittenWholeOrCutOrCounted) {
    const TempFolder folder;
    for (const size_t length : {10U, 5000U}) {
        const std::string text(length, 'x');
        const std::string cutMark = " [cut: out of memory]";
        const std::string cutText = std::string(1023 - cutMark.size(), 'x') + cutMark;
        const auto capture = std::make_shared<OstraneLog::CaptureSink>();
        std::string error;
        const auto file = OstraneLog::OpenRotatingFileSink(folder.At("log"), 1 << 20, 1, error);
        ASSERT_NE(file, nullptr) << error;
        LogChannel channel({capture, file});
        uint64_t lostBefore = 0;
        bool wasCut = false;
        const int failures = SweepAllocations([&] { WriteText(channel.Category(), text); },
                                              [&](bool isOutOfMemory) {
                                                  const std::vector<OstraneLog::CapturedLine> lines = capture->Lines();
                                                  const uint64_t lost = channel.LostLines() - lostBefore;
                                                  lostBefore = channel.LostLines();
                                                  capture->Clear();
                                                  ASSERT_LE(lines.size(), 1U);
                                                  if (!lines.empty() && lines[0].text != text) {
                                                      EXPECT_EQ(lines[0].text, cutText);
                                                      wasCut = true;
                                                  }
                                                  // One failure costs one sink its line, or the line its end.
                                                  const bool isCut = !lines.empty() && lines[0].text != text;
                                                  EXPECT_EQ(lost, isOutOfMemory && !isCut ? 1U : 0U);
                                              });
        EXPECT_GT(failures, 2);
        EXPECT_EQ(wasCut, length > 1023);
    }
}

TEST(LogOutOfMemory, AChannelThatCannotBeHadIsAnError) {
    const TempFolder folder;
    const std::string path = folder.At("a folder with a long name/log");
    std::unique_ptr<LogChannel> channel;
    std::string error;
    const auto check = [&](bool isOutOfMemory) {
        EXPECT_EQ(channel == nullptr, isOutOfMemory);
        EXPECT_EQ(error, isOutOfMemory ? "out of memory" : "");
        channel = nullptr;
        error.clear();
    };
    EXPECT_GT(SweepAllocations([&] { channel = LogChannel::ToStderr(error); }, check), 2);
    EXPECT_GT(SweepAllocations([&] { channel = LogChannel::ToRotatingFile(path, 1000, 2, error); }, check), 2);
    EXPECT_GT(SweepAllocations([&] { channel = LogChannel::ToRotatingFile("", 1000, 2, error); },
                               [&](bool isOutOfMemory) {
                                   EXPECT_EQ(channel, nullptr);
                                   EXPECT_EQ(error, isOutOfMemory ? "out of memory" : "the log file has no name");
                                   error = std::string();  // without the memory that it has by now
                               }),
              0);
}

}  // namespace
