#include "record/record_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "record/schema.h"
#include "support/temp_folder.h"

namespace {

using google::protobuf::Message;
using OstraneRecord::CodecOptions;
using OstraneRecord::InputError;
using OstraneRecord::RecordFormat;
using OstraneRecord::RecordReader;
using OstraneRecord::Schema;
using testing::HasSubstr;

// An open file that closes itself.
struct Input {
    explicit Input(const std::string& path) : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Input() { close(descriptor); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    int descriptor;
};

// Every record's place and bytes, one a line, up to the end or the error.
std::string ReadAll(int descriptor, RecordFormat format) {
    RecordReader reader(descriptor, "in", format);
    std::string shown;
    bool hasRecord = false;
    InputError error;
    while (reader.Next(hasRecord, error) == 0) {
        if (!hasRecord) {
            return shown;
        }
        const OstraneRecord::RawRecord record = reader.Current();
        shown += reader.Place(record) + " " + std::to_string(record.index) + " [" +
                 std::string(record.data, record.size) + "]\n";
    }
    return shown + std::to_string(error.code) + " " + error.ToStr();
}

std::string ReadText(const std::string& text, RecordFormat format) {
    TempFolder folder;
    const Input input(folder.Write("in", text));
    return ReadAll(input.descriptor, format);
}

TEST(RecordReader, AWholeInputIsOneRecord) {
    EXPECT_EQ(ReadText("{\n}", RecordFormat::Json), "in 0 [{\n}]\n");
    EXPECT_EQ(ReadText("", RecordFormat::Binary), "in 0 []\n");
    const std::string large(300000, 'x');
    EXPECT_EQ(ReadText(large, RecordFormat::Text), "in 0 [" + large + "]\n");
}

TEST(RecordReader, NdjsonIsLines) {
    EXPECT_EQ(ReadText("{}\n \t\r\n\n{1}\r\n{2}", RecordFormat::Ndjson), "in:1 0 [{}]\nin:4 1 [{1}\r]\nin:5 2 [{2}]\n");
    EXPECT_EQ(ReadText("", RecordFormat::Ndjson), "");
    const std::string large(300000, 'x');
    EXPECT_EQ(ReadText("a\n" + large + "\nb\n", RecordFormat::Ndjson),
              "in:1 0 [a]\nin:2 1 [" + large + "]\nin:3 2 [b]\n");
}

TEST(RecordReader, DelimitedHasLengths) {
    EXPECT_EQ(ReadText(std::string("\x02"
                                   "ab"
                                   "\x00"
                                   "\x01"
                                   "c",
                                   6),
                       RecordFormat::Delimited),
              "in: record 0 0 [ab]\nin: record 1 1 []\nin: record 2 2 [c]\n");
    EXPECT_EQ(ReadText("", RecordFormat::Delimited), "");
    const std::string large(200000, 'x');
    EXPECT_EQ(ReadText("\xc0\x9a\x0c" + large, RecordFormat::Delimited), "in: record 0 0 [" + large + "]\n");
}

TEST(RecordReader, ACutStreamTellsWhere) {
    EXPECT_EQ(ReadText("\x01"
                       "a\x05"
                       "bc",
                       RecordFormat::Delimited),
              "in: record 0 0 [a]\n-256 in: the input ends inside record 1: 5 bytes wanted, 2 left; "
              "the record starts at byte 2");
    EXPECT_EQ(ReadText("\x01"
                       "a\x85",
                       RecordFormat::Delimited),
              "in: record 0 0 [a]\n-256 in: the input ends inside the length of record 1 at byte 2");
    EXPECT_EQ(ReadText("\xff\xff\xff\xff\x0f", RecordFormat::Delimited),
              "-256 in: record 0 claims to be longer than 2 GiB at byte 0");
    EXPECT_EQ(ReadText(std::string(20, '\x80'), RecordFormat::Delimited),
              "-256 in: record 0 claims to be longer than 2 GiB at byte 0");
}

TEST(RecordReader, ReadsFromAPipeInAnyPieces) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&ends] {
        for (const char c : std::string("{1}\n{22}\n{3}")) {
            EXPECT_EQ(write(ends[1], &c, 1), 1);
        }
        close(ends[1]);
    });
    EXPECT_EQ(ReadAll(ends[0], RecordFormat::Ndjson), "in:1 0 [{1}]\nin:2 1 [{22}]\nin:3 2 [{3}]\n");
    writer.join();
    close(ends[0]);
}

TEST(RecordReader, AnUnreadableInputIsAnError) {
    TempFolder folder;
    const Input input(folder.Path());
    EXPECT_THAT(ReadAll(input.descriptor, RecordFormat::Json), HasSubstr("-256 in: cannot be read: Is a directory"));
    EXPECT_THAT(ReadAll(-1, RecordFormat::Ndjson), HasSubstr("-256 in: cannot be read: Bad file descriptor"));
}

// Told of a pipe that stays open: asking does not wait for its next bytes.
TEST(RecordReader, TellsWhetherTheNextRecordIsAtHand) {
    const struct {
        RecordFormat format;
        std::string text;
        std::string atHand;  // after each record
    } rows[] = {
        {RecordFormat::Ndjson, "{}\n{}\n{", "10"},
        {RecordFormat::Ndjson, "{}\n{}\n{}\n", "110"},
        {RecordFormat::Delimited,
         std::string("\x01"
                     "a"
                     "\x02"
                     "bc",
                     5),
         "10"},
        {RecordFormat::Delimited,
         std::string("\x01"
                     "a"
                     "\x02"
                     "b",
                     4),
         "0"},
        {RecordFormat::Delimited,
         std::string("\x01"
                     "a"
                     "\x00"
                     "\x80",
                     4),
         "10"},
    };
    for (const auto& row : rows) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ASSERT_EQ(write(ends[1], row.text.data(), row.text.size()), static_cast<ssize_t>(row.text.size()));
        RecordReader reader(ends[0], "in", row.format);
        std::string atHand;
        for (size_t i = 0; i < row.atHand.size(); ++i) {
            bool hasRecord = false;
            InputError error;
            ASSERT_EQ(reader.Next(hasRecord, error), 0);
            ASSERT_TRUE(hasRecord);
            atHand += reader.IsNextAtHand() ? '1' : '0';
        }
        EXPECT_EQ(atHand, row.atHand) << row.text;
        close(ends[0]);
        close(ends[1]);
    }
}

TEST(RecordReader, EndsWhileItWaitsWhenItIsTold) {
    int in[2] = {-1, -1};
    int end[2] = {-1, -1};
    ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(end, O_CLOEXEC), 0);
    RecordReader reader(in[0], "in", RecordFormat::Ndjson);
    reader.EndWith(end[0]);
    ASSERT_EQ(write(in[1], "{}\n", 3), 3);
    bool hasRecord = false;
    InputError error;
    EXPECT_EQ(reader.Next(hasRecord, error), 0);
    EXPECT_TRUE(hasRecord);
    close(end[1]);
    EXPECT_EQ(reader.Next(hasRecord, error), 0);
    EXPECT_FALSE(hasRecord);
    close(end[0]);
    close(in[0]);
    close(in[1]);
}

TEST(RecordReader, DecodingErrorsHaveTheirPlaceInTheInput) {
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(OSTRANE_TESTDATA "/kinds.proto", {}, error), 0);
    const std::unique_ptr<Message> message = schema.NewRecord(schema.FindType("kinds.All", error));
    const auto decodeSecond = [&](const std::string& text, RecordFormat format) {
        TempFolder folder;
        const Input input(folder.Write("in", text));
        RecordReader reader(input.descriptor, "in", format);
        bool hasRecord = false;
        EXPECT_EQ(reader.Next(hasRecord, error), 0);
        EXPECT_EQ(reader.Decode(reader.Current(), CodecOptions(), *message, error), 0) << error.ToStr();
        EXPECT_EQ(reader.Next(hasRecord, error), 0);
        EXPECT_NE(reader.Decode(reader.Current(), CodecOptions(), *message, error), 0);
        return error.ToStr();
    };
    EXPECT_EQ(decodeSecond("{}\n\n{\"i32\":x}\n", RecordFormat::Ndjson), "in:3:8: expected a value, found 'x'");
    EXPECT_EQ(error.offset, 11U);
    EXPECT_EQ(decodeSecond("{}\n{\"parts\":[{}]}", RecordFormat::Ndjson),
              "in:2:1: a record of kinds.All lacks required fields: parts[0].id");
    EXPECT_EQ(decodeSecond(std::string("\x00\x02\x08\x80", 4), RecordFormat::Delimited),
              "in: record 1: the data ends inside kinds.All.i32 at byte 3");
}

// What the process has held at most so far, in KiB.
long PeakMemory() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// In KiB, for a stream of 100 MB. The address sanitizer keeps freed memory for a while.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr long MAX_GROWTH = 8192;
#else
constexpr long MAX_GROWTH = 1024;
#endif
#elif defined(__SANITIZE_ADDRESS__)
constexpr long MAX_GROWTH = 8192;
#else
constexpr long MAX_GROWTH = 1024;
#endif

TEST(RecordReader, MemoryDoesNotGrowWithTheStream) {
    TempFolder folder;
    const std::string line(1000, ' ');
    {
        std::ofstream out(folder.At("in"), std::ios::binary);
        for (int i = 0; i < 100000; ++i) {
            out << "{}" << line << "\n";
        }
    }
    const Input input(folder.At("in"));
    RecordReader reader(input.descriptor, "in", RecordFormat::Ndjson);
    const long before = PeakMemory();
    InputError error;
    bool hasRecord = true;
    while (reader.Next(hasRecord, error) == 0 && hasRecord) {
    }
    EXPECT_EQ(reader.Current().index, 99999);
    EXPECT_LT(PeakMemory() - before, MAX_GROWTH);
}

}  // namespace
