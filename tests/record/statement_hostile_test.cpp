// Texts, schemas and records made to break things.
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "player_record.h"
#include "record/codec.h"

namespace {

using namespace OstraneErrCode;
using namespace OstraneRecord;

TEST(HostileStatements, APathDeeperThanARecordMayBe) {
    std::string path = "quests[0]";
    for (int i = 0; i < 5000; ++i) {
        path += ".steps[0]";
    }
    PlayerRecord player("quests { name: \"q\" }");
    EXPECT_EQ(player.Run("PUSH " + path + ".steps = {}"), COMMON_ERR_INVALID_EXPR_SYNTAX);
    EXPECT_EQ(player.Result().error.message, "the path is deeper than 100 messages");
}

TEST(HostileStatements, ALiteralDeeperThanARecordMayBe) {
    std::string literal = "{}";
    for (int i = 0; i < 98; ++i) {
        literal = "{steps: [" + literal + "]}";
    }
    PlayerRecord fits;
    EXPECT_EQ(fits.Run("PUSH quests = " + literal), 0);
    EXPECT_EQ(fits.Run("PUSH quests = {steps: [" + literal + "]}"), COMMON_ERR_INVALID_EXPR_SYNTAX);
    std::string half = "{name: 'x'}";
    for (int i = 0; i < 60; ++i) {
        half = "{steps: [" + half + "]}";
    }
    PlayerRecord player;
    ASSERT_EQ(player.Run("PUSH quests = " + half), 0) << player.Result().error.message;
    std::string path = "quests[0]";
    for (int i = 0; i < 60; ++i) {
        path += ".steps[0]";
    }
    EXPECT_EQ(player.Run("PUSH " + path + ".steps = " + half), COMMON_ERR_INVALID_EXPR_SYNTAX);
    EXPECT_EQ(player.Result().error.message, "messages are nested deeper than 100");
}

// A record of tests/testdata/kinds.proto, which holds itself and has maps.
class KindsRecord {
public:
    KindsRecord() {
        InputError error;
        EXPECT_EQ(m_schema.ImportProto("kinds.proto", {OSTRANE_TESTDATA}, error), 0) << error.ToStr();
        m_type = m_schema.FindType("kinds.All", error);
        m_message = m_schema.NewRecord(m_type);
        m_record.m_pMessage = m_message.get();
    }

    // What fails is told; what succeeds can be read back.
    std::string Run(const std::string& text) {
        StatementPlan plan;
        ExecutionResult result;
        result.code = StatementPlan::Compile(text, m_type, {}, plan, result.error);
        if (result.code == 0) {
            plan.Execute(m_record, {}, result);
        }
        std::string bytes;
        EXPECT_TRUE(m_message->SerializePartialToString(&bytes));
        EXPECT_TRUE(m_schema.NewRecord(m_type)->ParsePartialFromString(bytes));
        return result.code == 0 ? "OK" : result.error.message;
    }

private:
    Schema m_schema;
    const google::protobuf::Descriptor* m_type = nullptr;
    std::unique_ptr<google::protobuf::Message> m_message;
    ProtobufRecord m_record;
};

// "inner.inner.inner"
std::string Inner(int count) {
    std::string path = "inner";
    for (int i = 1; i < count; ++i) {
        path += ".inner";
    }
    return path;
}

TEST(HostileStatements, TheEntryOfAMapIsAMessageToo) {
    const struct {
        const char* topic;
        int fits;  // most steps to the message that holds the map
        const char* rest;
        const char* error;
    } rows[] = {
        {"a value by its key", 98, ".by_name['a'] = 1", "the path is deeper than 100 messages"},
        {"a message by its key", 97, ".by_number[1] = {id: 'x'}", "messages are nested deeper than 100"},
        {"a field of one", 97, ".by_number[1].id = 'x'", "the path is deeper than 100 messages"},
        {"a map's literal", 98, ".by_name = {'a': 1}", "messages are nested deeper than 100"},
        {"a map's literal of messages", 97, ".by_number = {1: {id: 'x'}}", "messages are nested deeper than 100"},
        {"a map in a message's literal", 98, " = {by_name: {'a': 1}}", "messages are nested deeper than 100"},
        {"a copied value", 98, ".by_name['a'] FROM i32", "the path is deeper than 100 messages"},
        {"a copied message", 97, ".by_number[1] FROM parts[0]", "the record would be nested deeper than 100 messages"},
        {"a copied message of one", 97, ".inner FROM list[0]", "the record would be nested deeper than 100 messages"},
        {"no map at all", 99, " = {i32: 1}", "messages are nested deeper than 100"},
    };
    for (const auto& row : rows) {
        KindsRecord record;
        ASSERT_EQ(record.Run("SET i32 = 1; PUSH parts = {id: 'p'}; PUSH list = {by_name: {'b': 2}}"), "OK");
        EXPECT_EQ(record.Run("SET " + Inner(row.fits + 1) + row.rest), row.error) << row.topic;
        EXPECT_EQ(record.Run("SET " + Inner(row.fits) + row.rest), "OK") << row.topic;
    }
}

TEST(HostileStatements, TenMegabytes) {
    PlayerRecord player;
    const std::string big(10 * 1024 * 1024, 'x');
    EXPECT_EQ(player.Run("PUSH tags = '" + big + "'"), 0);
    const std::string misfit = "PUSH scores = '" + big.substr(0, 1024 * 1024) + "'";
    EXPECT_EQ(player.Run(misfit), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_LT(player.Result().error.message.size(), 300U);
    EXPECT_LT(ShowError(player.Result().error, misfit).size(), 1000U);
    EXPECT_EQ(player.Run("PUSH " + big + " = 1"), COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_LT(player.Result().error.message.size(), 300U);
    EXPECT_EQ(player.Run(std::string(17 * 1024 * 1024, ' ')), COMMON_ERR_INVALID_EXPR_SYNTAX);
}

TEST(HostileStatements, BytesThatAreNoText) {
    PlayerRecord player;
    for (const std::string& text : {std::string("PUSH tags = '\xff'"), std::string("PUSH \xc3\x28 = 1"),
                                    std::string("\0\0", 2), std::string("GET tags WHERE $ = '\xed\xa0\x80'")}) {
        player.Run(text);
        const std::string line = player.Result().statements.empty() ? ReportLine(0, player.Result().error, text)
                                                                    : ReportLine(0, player.Result().statements.back());
        EXPECT_EQ(line.front(), '{');
        EXPECT_EQ(line.find('\xff'), std::string::npos);
    }
    EXPECT_EQ(player.Show(), "");
}

TEST(HostileStatements, ARecordNestedThousandsDeep) {
    PlayerRecord player("quests { name: \"q\" }");
    google::protobuf::Message* deepest =
        player.Message().GetReflection()->MutableRepeatedMessage(&player.Message(), player.Field("quests"), 0);
    const google::protobuf::FieldDescriptor* steps = deepest->GetDescriptor()->FindFieldByName("steps");
    for (int i = 0; i < 3000; ++i) {
        deepest = deepest->GetReflection()->AddMessage(deepest, steps);
    }
    EXPECT_EQ(player.Run("PUSH quests FROM quests[0]"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Run("SET scores = [1]; POP quests[0]; SET hits = hits"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Run("POP quests[0]"), 0);
    EXPECT_EQ(player.Show(), "");
}

// Every beginning of a record is either an error that says where, or a record that statements run on.
TEST(HostileStatements, ARecordCutOffAnywhere) {
    PlayerRecord whole(
        "scores: [10, 20] items { sku: \"a\" qty: 3 } quests { name: \"q\" steps { name: \"s\" } } attrs { key: \"hp\" "
        "value: 4 } Guild { title: \"g\" ranks: [8, 9] } laps: [1, 2] [demo.nickname]: \"M\"");
    std::string bytes;
    ASSERT_TRUE(whole.Message().SerializeToString(&bytes));
    CodecOptions options;
    options.partial = true;
    int read = 0;
    int refused = 0;
    for (size_t size = 0; size < bytes.size(); ++size) {
        PlayerRecord cut;
        InputError error;
        if (DecodeRecord(RecordFormat::Binary, bytes.data(), size, options, cut.Message(), error) != 0) {
            EXPECT_EQ(error.code, GEN_ERR_ERR);
            EXPECT_TRUE(error.hasOffset && error.offset <= size) << error.ToStr();
            ++refused;
            continue;
        }
        // A field that ends here was read whole: what was read is what stood there.
        std::string again;
        ASSERT_TRUE(cut.Message().SerializePartialToString(&again));
        EXPECT_EQ(again, bytes.substr(0, size));
        EXPECT_EQ(cut.Run("PUSH scores[0] = 1; POP scores[0]; PUSH quests FROM quests; GET items"), 0);
        ++read;
    }
    EXPECT_EQ(read, 9);  // before and between the nine fields
    EXPECT_EQ(static_cast<size_t>(read + refused), bytes.size());
}

TEST(HostileStatements, ParametersThatAreNoText) {
    for (const char* bytes : {"\xff", "a\xc3", "\xed\xa0\x80", "\xf5\x80\x80\x80"}) {
        StatementParameters parameters;
        parameters.positional.push_back(ParameterValue::MakeString(bytes));
        PlayerRecord player("tags: \"a\"");
        for (const char* text : {"PUSH tags = ?", "SET tags[0] = ?", "SET mail_address = ?", "SET attrs[?] = 1",
                                 "PUSH quests = {name: ?}", "SET flags[true] = ?"}) {
            EXPECT_EQ(player.Run(text, parameters), COMMON_ERR_INVALID_EXPR_TYPE) << text;
            EXPECT_NE(player.Result().error.message.find("UTF-8"), std::string::npos) << player.Result().error.message;
        }
        EXPECT_EQ(player.Show(), "tags: \"a\"");
        // A bytes field takes any, and a comparison finds nothing.
        parameters.positional[0] = ParameterValue::MakeBytes(bytes);
        EXPECT_EQ(player.Run("PUSH keys = ?", parameters), 0);
        EXPECT_EQ(player.Run("GET keys WHERE $ = ?", parameters), 0);
        EXPECT_EQ(player.Result().Matched(), 1);
    }
}

TEST(HostileStatements, MessagesCopiedIntoThemselves) {
    const std::string before = "quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } }";
    const struct {
        const char* topic;
        const char* run;
        const char* after;
    } rows[] = {
        {"a message over the one inside it", "SET quests[0].steps[0] FROM quests[0]",
         "quests { name: \"a\" steps { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } } }"},
        {"a message over the one around it", "SET quests[0] FROM quests[0].steps[0]",
         "quests { name: \"b\" steps { name: \"c\" } }"},
        {"a message over itself", "SET quests[0] FROM quests[0]",
         "quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } }"},
        {"an array over the one around it", "SET quests FROM quests[0].steps[0].steps", "quests { name: \"c\" }"},
        {"into the array around it", "PUSH quests[0] FROM quests[0].steps[0].steps",
         "quests { name: \"c\" } quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } }"},
        {"into its own array", "PUSH quests FROM quests",
         "quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } } "
         "quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" } } }"},
        {"into the deepest message of itself", "PUSH quests[0].steps[0].steps[0].steps FROM quests[0].steps",
         "quests { name: \"a\" steps { name: \"b\" steps { name: \"c\" "
         "steps { name: \"b\" steps { name: \"c\" } } } } }"},
    };
    for (const auto& row : rows) {
        PlayerRecord player(before);
        EXPECT_EQ(player.Run(row.run), 0) << row.topic << ": " << player.Result().error.message;
        EXPECT_EQ(player.Show(), row.after) << row.topic;
    }
}

TEST(HostileStatements, ManyElementsInTheMiddle) {
    PlayerRecord player;
    ParameterValue list = ParameterValue::MakeList({});
    for (int i = 0; i < 200000; ++i) {
        list.items.push_back(ParameterValue::MakeInt(i));
    }
    StatementParameters parameters;
    parameters.named["list"] = list;
    ASSERT_EQ(player.Run("PUSH scores = [-1, -2]; PUSH scores[1] = :list", parameters), 0);
    ASSERT_EQ(player.Run("GET scores[0, 1, 200000, -1]"), 0);
    EXPECT_EQ(player.Result().statements.at(0).elements, (std::vector<std::string>{"-1", "0", "199999", "-2"}));
    ASSERT_EQ(player.Run("POP scores[*] WHERE $ >= 0"), 0);
    EXPECT_EQ(player.Show(), "scores: -1 scores: -2");
}

}  // namespace
