// Memory that runs out: every allocation of a step fails once, until a run meets none that fails.
#include <gtest/gtest.h>

#include "log/log_category.h"
#include "support/counted_heap.h"
#include "support/temp_folder.h"

namespace {

using OstraneLog::LogChannel;

// Runs `step` with the k-th allocation failing, for every k until none does, and `check` after each.
// Returns how many failed.
template <typename Step, typename Check>
int SweepAllocations(const Step& step, const Check& check) {
    CountedHeap& heap = TheHeap();
    heap.failsOnce = true;
    for (int k = 0;; ++k) {
        heap.hasFailed = false;
        heap.left = k;
        step();
        heap.left = CountedHeap::ALL;
        SCOPED_TRACE("allocation " + std::to_string(k));
        check(heap.hasFailed);
        if (!heap.hasFailed || testing::Test::HasFailure()) {
            return k;
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
