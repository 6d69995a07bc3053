// The progress line: its text, and what a terminal sees of it.
#include "cli/progress.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "cli/player_program.h"
#include "cli/process.h"

namespace {

using namespace std::chrono_literals;
using OstraneCli::Progress;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr char CLEAR[] = "\r\x1b[K";

const Progress::Time BEGIN = Progress::Time() + 1h;

TEST(Progress, ShowsShareRateAndTimeLeft) {
    Progress progress(1000, BEGIN);
    EXPECT_EQ(progress.Line(450, 90, BEGIN + 9s, 100), " 45% [#########...........] 90 records, 10/s, 0:11 left");
    EXPECT_EQ(progress.Line(5, 1, BEGIN + 20s, 100), "  0% [....................] 1 records, 0/s, 1:06:20 left");
    EXPECT_EQ(progress.Line(1000, 200, BEGIN + 20s, 100), "100% [####################] 200 records, 10/s, 0:00 left");
    // Of a file that has grown meanwhile.
    EXPECT_EQ(progress.Line(3000, 200, BEGIN + 20s, 100), "100% [####################] 200 records, 10/s, 0:00 left");
    EXPECT_EQ(progress.Line(0, 0, BEGIN, 100), "  0% [....................] 0 records, 0/s");
}

TEST(Progress, OfUnknownLengthShowsCountAndRate) {
    Progress progress(0, BEGIN);
    EXPECT_EQ(progress.Line(450, 90, BEGIN + 9s, 100), "90 records, 10/s");
}

TEST(Progress, StaysInOneLineOfTheTerminal) {
    Progress progress(1000, BEGIN);
    EXPECT_EQ(progress.Line(450, 90, BEGIN + 9s, 10), " 45% [####");
}

TEST(Progress, AShortRunShowsNoneAndALongOneNotAllTheTime) {
    Progress progress(1000, BEGIN);
    EXPECT_FALSE(progress.IsDue(BEGIN + 499ms));
    EXPECT_TRUE(progress.IsDue(BEGIN + 500ms));
    progress.Line(450, 90, BEGIN + 9s, 10);
    EXPECT_FALSE(progress.IsDue(BEGIN + 9s + 199ms));
    EXPECT_TRUE(progress.IsDue(BEGIN + 9s + 200ms));
}

// On a terminal

// Every piece between two clearings is a line that stands alone, or text that ends its last line.
void ExpectUnmixed(const std::string& shown) {
    size_t begin = 0;
    while (begin < shown.size()) {
        const size_t end = std::min(shown.find(CLEAR, begin), shown.size());
        const std::string piece = shown.substr(begin, end - begin);
        const bool isStatus = piece.find(" records, ") != std::string::npos;
        EXPECT_EQ(piece.find('\n') == std::string::npos, isStatus || piece.empty()) << piece;
        begin = end + sizeof(CLEAR) - 1;
    }
}

// Feeds a named pipe for as long as the test wants, and then ends it behind a whole record.
class Feed {
public:
    explicit Feed(const std::string& path) {
        mkfifo(path.c_str(), 0600);
        m_end = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        for (int i = 0; i < 50; ++i) {
            m_text += "{\"name\":\"player\",\"scores\":[1]}\n";
        }
        m_text += "{\"name\":\"no scores\"}\n";
    }
    ~Feed() { close(m_end); }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    void Write() {
        const ssize_t count = write(m_end, m_text.data() + m_written, m_text.size() - m_written);
        m_written += count > 0 ? static_cast<size_t>(count) : 0;
        m_written = m_written == m_text.size() ? 0 : m_written;
    }
    void End() {
        while (m_written != 0) {
            Write();
        }
        close(m_end);
        m_end = -1;
    }

private:
    int m_end = -1;
    std::string m_text;
    size_t m_written = 0;
};

TEST(ProgressOnATerminal, OfAPipeShowsCountAndRateBesideErrorsAndIsCleared) {
    for (const char* threads : {"1", "2"}) {
        TempFolder folder;
        Feed feed(folder.At("pipe"));
        ProcessSetup setup;
        setup.isTerminal = true;
        Process process(Player("apply", {"--in", folder.At("pipe"), "--in-format", "ndjson", "--threads", threads,
                                         "--keep-going", "SET scores[0] = 2"}),
                        setup);
        while (process.Err().find(" records, ") == std::string::npos && process.Read(1)) {
            feed.Write();
        }
        feed.End();
        EXPECT_EQ(process.Wait(), 1);
        EXPECT_THAT(process.Err(), HasSubstr(" records, "));
        EXPECT_THAT(process.Err(), Not(HasSubstr("%")));
        ExpectUnmixed(process.Err());
        const size_t last = process.Err().rfind("records ");
        EXPECT_EQ(process.Err().substr(0, last).rfind('\n') + 1, last) << "the summary begins a line";
    }
}

TEST(ProgressOnATerminal, OfAFileShowsABarAndTheTimeLeft) {
    TempFolder folder;
    std::string text;
    for (int i = 0; i < 60000; ++i) {
        text += "{\"name\":\"a player with a name\",\"scores\":[1]}\n";
    }
    const std::string in = folder.Write("a.ndjson", text);
    const std::string pipe = folder.At("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ProcessSetup setup;
    setup.isTerminal = true;
    Process process(Player("apply", {"--in", in, "--out", pipe, "--out-format", "ndjson", "PUSH scores = 4"}), setup);
    // The run cannot go on faster than the test empties the pipe: slowly, until the line is there.
    char buffer[32768];
    bool isRunning = true;
    while (isRunning) {
        isRunning = process.Read(process.Err().empty() ? 50 : 1);
        while (read(reader, buffer, sizeof(buffer)) < 0 && errno == EINTR) {
        }
    }
    EXPECT_EQ(process.Wait(), 0);
    close(reader);
    EXPECT_THAT(process.Err(), HasSubstr("% ["));
    EXPECT_THAT(process.Err(), HasSubstr(" left"));
    EXPECT_THAT(process.Err(),
                EndsWith(std::string(CLEAR) + "records 60000, matched 60000, changed 60000, failed 0\r\n"));
    ExpectUnmixed(process.Err());
}

// Long enough that a line would have been drawn: half a second passes between the first record and the last.
std::string SaidWithout(const std::vector<std::string>& option, bool isTerminal, const TempFolder& folder) {
    Feed feed(folder.At("pipe"));
    std::vector<std::string> rest = {"--in", folder.At("pipe"), "--in-format", "ndjson", "--keep-going"};
    rest.insert(rest.end(), option.begin(), option.end());
    rest.emplace_back("CLEAR scores");
    ProcessSetup setup;
    setup.isTerminal = isTerminal;
    Process process(Player("apply", rest), setup);
    const auto begin = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begin < 1500ms && process.Read(1)) {
        feed.Write();
    }
    feed.End();
    EXPECT_EQ(process.Wait(), 0);
    return process.Err();
}

TEST(ProgressOnATerminal, IsNotShownWhereItIsNotWanted) {
    for (const bool isTerminal : {true, false}) {
        TempFolder folder;
        const std::vector<std::string> option =
            isTerminal ? std::vector<std::string>{"--no-progress"} : std::vector<std::string>();
        const std::string said = SaidWithout(option, isTerminal, folder);
        EXPECT_THAT(said, Not(HasSubstr(" records, ")));
        EXPECT_EQ(said.compare(0, 8, "records "), 0) << said;
    }
}

}  // namespace
