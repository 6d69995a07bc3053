// Texts, schemas and records made to break things.
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <string>

#include "player_record.h"

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
