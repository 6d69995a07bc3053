// What statements allocate, and what happens when they cannot.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "player_record.h"
#include "record/record_file.h"
#include "support/counted_heap.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OSTRANE_FINDS_LEAKS
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define OSTRANE_FINDS_LEAKS
#endif
#if defined(OSTRANE_FINDS_LEAKS)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace OstraneErrCode;
using namespace OstraneRecord;

constexpr size_t kLarge = 1024 * 1024;

// While one lives, the address sanitizer does not tell of leaks: protobuf 3.21 loses a new element or field for which
// no place can be allocated.
struct LeaksOfProtobuf {
#if defined(OSTRANE_FINDS_LEAKS)
    LeaksOfProtobuf() {
        __lsan_disable();
    }
    ~LeaksOfProtobuf() {
        __lsan_enable();
    }
#else
    LeaksOfProtobuf() {}
    ~LeaksOfProtobuf() {}
#endif
    LeaksOfProtobuf(const LeaksOfProtobuf&) = delete;
    LeaksOfProtobuf& operator=(const LeaksOfProtobuf&) = delete;
};

// What one execution allocates on a record of more than a megabyte.
size_t BytesOf(const std::string& statements) {
    PlayerRecord player("scores: [1, 2, 3] items { sku: \"a\" qty: 1 } tags: \"t\"");
    const google::protobuf::Message& message = player.Message();
    message.GetReflection()->AddString(&player.Message(), player.Field("keys"), std::string(kLarge, 'x'));
    StatementPlan plan;
    StatementError error;
    BoundPlan bound;
    EXPECT_EQ(StatementPlan::Compile(statements, PlayerRecord::Type(), {}, plan, error), 0) << error.message;
    EXPECT_EQ(plan.Bind({}, bound, error), 0);
    ExecutionResult result;
    const size_t before = TheHeap().bytes;
    bound.Execute(player.Record(), result);
    return TheHeap().bytes - before;
}

TEST(StatementMemory, OneStatementCopiesNoRecord) {
    for (const char* statement :
         {"PUSH scores[1] = 7", "SET items[*].qty = qty + 1 WHERE sku = 'a'", "POP scores[0]", "SET scores[9] = 1",
          "PUSH items = {sku: 'b', qty: 1, origin: {city: 'x'}}", "PUSH scores FROM scores", "TAKE tags", "CLEAR items",
          "SET profile.address.city = 'Oslo'", "SET hand FROM items[0]", "SET scores = [1, 2]"}) {
        EXPECT_LT(BytesOf(statement), kLarge / 16) << statement;
    }
}

TEST(StatementMemory, AListCopiesWhatItChangesForUndoing) {
    EXPECT_LT(BytesOf("PUSH scores = 7; SET items[0].qty = 8; SET level = 2; CLEAR tags"), kLarge / 16)
        << "the large field is not changed";
    EXPECT_LT(BytesOf("SET profile.email = 'a'; SET profile.email = 'b'; PUSH scores = 1"), kLarge / 16)
        << "a message that is there";
    EXPECT_LT(BytesOf("SET balance = 1.5; PUSH scores = 1"), kLarge / 16) << "a number that is unset and may be";
    EXPECT_GT(BytesOf("PUSH keys = x'01'; PUSH scores = 8"), kLarge);
    EXPECT_LT(BytesOf("PUSH keys = x'01'; PUSH scores = 8; POP keys[1]; PUSH keys = x'02'"), 2 * kLarge) << "one copy";
    EXPECT_GT(BytesOf("PUSH scores = 8; PUSH keys = x'01'"), kLarge) << "memory may run out while the last one writes";
    EXPECT_LT(BytesOf("PUSH scores = 8; POP keys[0]"), kLarge / 16) << "the last one needs none to write";
    EXPECT_LT(BytesOf("GET scores; GET tags; PUSH scores = 9"), kLarge / 16);
}

// Compiles with the k-th allocation failing, for every k until none does.
TEST(StatementMemory, NoFailedAllocationLeavesTheCompiler) {
    const std::string text =
        "SET items[*] = {qty: qty + :v, tags: ['a', sku]} WHERE sku LIKE 'a%' AND qty IN (1, 2); PUSH scrs = 1";
    PlayerRecord player;
    int failures = 0;
    for (long k = 0;; ++k) {
        StatementPlan plan;
        StatementError error;
        TheHeap().left = k;
        const int ret = StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error);
        TheHeap().left = CountedHeap::ALL;
        if (ret != GEN_ERR_ERR) {
            EXPECT_EQ(ret, COMMON_ERR_INVALID_FIELD_NAME);
            break;
        }
        ++failures;
        ASSERT_EQ(error.message, "out of memory");
    }
    EXPECT_GT(failures, 50);
}

// Runs with the k-th allocation failing, for every k until none does: what failed has changed nothing and says so.
TEST(StatementMemory, NoFailedAllocationLeavesAHalfChangedRecord) {
    for (const char* text : {"PUSH scores[1] = 7", "SET scores[1] = 7", "PUSH scores = [7, 8, 9]",
                             "PUSH scores FROM scores", "PUSH tags = 'b'; PUSH scores = 1; POP scores[0]",
                             "SET profile.email = 'a'; SET items[0].qty = 7; PUSH scores = 1"}) {
        StatementPlan plan;
        StatementError error;
        BoundPlan bound;
        ASSERT_EQ(StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error), 0) << error.message;
        ASSERT_EQ(plan.Bind({}, bound, error), 0);
        int failures = 0;
        for (long k = 0;; ++k) {
            SCOPED_TRACE(text + std::string(", allocation ") + std::to_string(k));
            PlayerRecord player("scores: [1, 2, 3] items { sku: \"a\" qty: 1 } tags: \"t\" profile { email: \"m\" }");
            const std::string before = player.Message().SerializeAsString();
            ExecutionResult result;
            const LeaksOfProtobuf leaks;
            TheHeap().left = k;
            const int ret = bound.Execute(player.Record(), result);
            TheHeap().left = CountedHeap::ALL;
            if (ret == 0) {
                break;
            }
            ++failures;
            ASSERT_EQ(ret, GEN_ERR_ERR);
            EXPECT_EQ(result.error.message, "out of memory");
            EXPECT_EQ(player.Message().SerializeAsString(), before);
            EXPECT_EQ(result.Changed(), 0);
            for (const StatementResult& statement : result.statements) {
                const bool isLast = &statement == &result.statements.back();
                EXPECT_EQ(statement.code, isLast ? GEN_ERR_ERR : 0) << statement.number;
                EXPECT_EQ(statement.undone, !isLast);
                EXPECT_TRUE(!isLast || (statement.matched == 0 && statement.positions.empty()));
            }
        }
        EXPECT_GT(failures, 1) << text;
    }
}

// The number that the next file gets: a larger one tells that a file was left open.
int NextDescriptor() {
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(descriptor);
    return descriptor;
}

// Reads a record with the k-th allocation failing: the one that was there stays.
TEST(StatementMemory, NoFailedAllocationLeavesTheReadingOfAFile) {
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error), 0) << error.ToStr();
    const std::string file = OSTRANE_EXAMPLES "/player.json";
    const std::string type = "demo.Player";
    // Protobuf's factory does not get over memory that runs out while it makes the first record of a type.
    std::unique_ptr<google::protobuf::Message> first;
    ASSERT_EQ(LoadRecordFile(file, schema, type, {}, first, error), 0) << error.ToStr();
    const int descriptor = NextDescriptor();
    int failures = 0;
    for (long k = 0;; ++k) {
        std::unique_ptr<google::protobuf::Message> message;
        const LeaksOfProtobuf leaks;
        TheHeap().left = k;
        const int ret = LoadRecordFile(file, schema, type, {}, message, error);
        TheHeap().left = CountedHeap::ALL;
        if (ret == 0) {
            EXPECT_NE(message, nullptr);
            break;
        }
        ++failures;
        ASSERT_EQ(ret, GEN_ERR_ERR);
        ASSERT_EQ(error.message, "out of memory");
        ASSERT_EQ(message, nullptr);
    }
    EXPECT_GT(failures, 50);
    EXPECT_EQ(NextDescriptor(), descriptor);
}

// A text, a list in a list and, where memory lasts that long, a reason that is told.
const std::vector<std::string> kValues = {"[1, [2.5, \"a text that no small string can hold\"], null]",
                                          "\"another text that needs memory of its own\""};
constexpr char kNoJson[] = "\"a text that no small string can hold\" \"and one behind it\"";

// Reads one value with the k-th allocation failing: the one that was there stays.
TEST(StatementMemory, NoFailedAllocationLeavesTheReadingOfAValue) {
    for (const std::string& text : {kValues[0], std::string(kNoJson)}) {
        int failures = 0;
        for (long k = 0;; ++k) {
            ParameterValue value = ParameterValue::MakeInt(7);
            std::string message;
            TheHeap().left = k;
            const int ret = ParameterValue::FromJson(text, value, message);
            TheHeap().left = CountedHeap::ALL;
            if (message != "out of memory") {
                EXPECT_EQ(ret, text == kNoJson ? GEN_ERR_ERR : 0) << message;
                EXPECT_EQ(message, text == kNoJson ? "not JSON at byte 58; a text stands in double quotes" : "");
                break;
            }
            ++failures;
            ASSERT_EQ(ret, GEN_ERR_ERR);
            ASSERT_EQ(value.kind, ParameterValue::Kind::UInt);
            ASSERT_EQ(value.bits, 7U);
        }
        EXPECT_GT(failures, 5) << text;
    }
}

TEST(StatementMemory, NoFailedAllocationLeavesTheReadingOfParameters) {
    for (const bool isJson : {true, false}) {
        std::vector<std::string> values = kValues;
        values.push_back(isJson ? "true" : kNoJson);
        int failures = 0;
        for (long k = 0;; ++k) {
            StatementParameters parameters;
            parameters.positional.push_back(ParameterValue::MakeInt(7));
            InputError error;
            TheHeap().left = k;
            const int ret = StatementParameters::FromJson(values, parameters, error);
            TheHeap().left = CountedHeap::ALL;
            if (error.message != "out of memory") {
                EXPECT_EQ(ret, isJson ? 0 : GEN_ERR_ERR);
                EXPECT_EQ(parameters.positional.size(), isJson ? 3U : 1U);
                EXPECT_EQ(error.message,
                          isJson ? "" : "parameter 3: not JSON at byte 58; a text stands in double quotes");
                break;
            }
            ++failures;
            ASSERT_EQ(ret, GEN_ERR_ERR);
            ASSERT_EQ(error.code, GEN_ERR_ERR);
            ASSERT_EQ(parameters.positional.size(), 1U);
        }
        EXPECT_GT(failures, 10);
    }
}

// Looks with the k-th allocation failing: a statement that has not begun to write changes nothing.
TEST(StatementMemory, NoFailedAllocationLeavesAnExecution) {
    StatementPlan plan;
    StatementError error;
    BoundPlan bound;
    const std::string text = "GET items[*] WHERE sku LIKE 'a%'; GET attrs; GET scores[0, -1]; SET scores[9] = 1";
    ASSERT_EQ(StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error), 0);
    ASSERT_EQ(plan.Bind({}, bound, error), 0);
    PlayerRecord player("scores: [1, 2] items { sku: \"a\" qty: 1 } attrs { key: \"hp\" value: 4 }");
    const std::string before = player.Show();
    int failures = 0;
    for (long k = 0;; ++k) {
        ExecutionResult result;
        TheHeap().left = k;
        const int ret = bound.Execute(player.Record(), result);
        TheHeap().left = CountedHeap::ALL;
        ASSERT_EQ(player.Show(), before);
        if (ret != GEN_ERR_ERR) {
            EXPECT_EQ(ret, COMMON_ERR_INVALID_ARRAY_INDEX);
            break;
        }
        ++failures;
    }
    EXPECT_GT(failures, 20);
}

}  // namespace
