// Many threads log to one channel while its bounds change.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "support/captured_log.h"
#include "support/temp_folder.h"

namespace {

constexpr int THREADS = 8;
constexpr int LINES = 500;

// Long enough that a line needs the second pass of the formatting now and then.
std::string Padding(int line) {
    return std::string(line % 50 == 0 ? 3000 : 20, static_cast<char>('a' + line % 26));
}

TEST(LogThreads, EveryLineThatWasFormattedArrivesWholeAndInOrder) {
    const TempFolder folder;
    std::string error;
    const auto capture = std::make_shared<OstraneLog::CaptureSink>();
    const auto file = OstraneLog::OpenRotatingFileSink(folder.At("log"), 64 << 20, 1, error);
    ASSERT_NE(file, nullptr) << error;
    OstraneLog::LogChannel channel({capture, file});

    std::atomic<int> formatted{0};
    std::atomic<int> running{THREADS};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&channel, &formatted, &running, thread] {
            // On a busy machine the bounds may stay closed over all of them; one line must come through.
            for (int line = 0; line < LINES || formatted.load(std::memory_order_relaxed) == 0; ++line) {
                OSTRANE_LOG(channel.Category(), line % 2 == 0 ? LOG_PRIORITY_ERROR : LOG_PRIORITY_DEBUG, "file.cpp",
                            "%d %d %s", thread, (formatted.fetch_add(1, std::memory_order_relaxed), line),
                            Padding(line).c_str());
            }
            running.fetch_sub(1);
        });
    }
    for (int i = 0; running.load() > 0; ++i) {
        channel.SetBounds(i % 3 == 0 ? -1 : LOG_PRIORITY_ERROR, i % 2 == 0 ? LOG_PRIORITY_ERROR : -1);
        channel.SetAccepting(i % 5 != 0);
        (void)channel.LostLines();
        (void)channel.Flush();
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<OstraneLog::CapturedLine> lines = capture->Lines();
    EXPECT_EQ(static_cast<int>(lines.size()), formatted.load());
    EXPECT_GT(lines.size(), 0U);
    EXPECT_EQ(channel.LostLines(), 0U);
    std::map<int, int> lastLineOfThread;
    for (const OstraneLog::CapturedLine& captured : lines) {
        int thread = -1;
        int line = -1;
        ASSERT_EQ(std::sscanf(captured.text.c_str(), "%d %d", &thread, &line), 2) << captured.text;
        EXPECT_EQ(captured.text, std::to_string(thread) + ' ' + std::to_string(line) + ' ' + Padding(line));
        const auto found = lastLineOfThread.find(thread);
        EXPECT_TRUE(found == lastLineOfThread.end() || found->second < line) << captured.text;
        lastLineOfThread[thread] = line;
    }

    EXPECT_TRUE(channel.Flush());
    std::istringstream text(folder.Read("log"));
    size_t linesInFile = 0;
    for (std::string line; std::getline(text, line); ++linesInFile) {
        EXPECT_EQ(line.find("file.cpp:"), line.rfind("file.cpp:")) << line;
    }
    EXPECT_EQ(linesInFile, lines.size());
}

TEST(LogThreads, EveryThreadSeesTheLastBounds) {
    CapturedLog log;
    log.Channel().SetBounds(LOG_PRIORITY_FATAL, LOG_PRIORITY_ERROR);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&log] {
            OSTRANE_LOG(log.Category(), LOG_PRIORITY_DEBUG, "file.cpp", "not wanted");
            OSTRANE_LOG(log.Category(), LOG_PRIORITY_ERROR, "file.cpp", "wanted");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.Lines(), std::vector<std::string>(THREADS, "ERROR file.cpp operator(): wanted"));
}

}  // namespace
