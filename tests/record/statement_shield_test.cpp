// What a field operation does when it is called directly, and what a statement does instead.
#include <google/protobuf/stubs/common.h>
#include <gtest/gtest.h>

#include "player_record.h"
#include "support/expr_tree.h"

namespace {

using OstraneCommon::PbField;
using namespace OstraneErrCode;

TEST(Shield, AnIntegerBeyondItsTypeIsNotCut) {
    ExprTree tree;
    PlayerRecord bare;
    MutableProtobufField scores = bare.Handle("scores");
    EXPECT_EQ(bare.Util().PushWithExpr(scores, tree.Push("-1", {tree.Assign("$", tree.UInt(4294967295U))})), 0);
    EXPECT_EQ(bare.Show(), "scores: -1");

    PlayerRecord player;
    EXPECT_EQ(player.Run("PUSH scores = 4294967295"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Show(), "");
}

TEST(Shield, ANumberIsNoTruthValue) {
    ExprTree tree;
    PlayerRecord bare;
    MutableProtobufField attendance = bare.Handle("attendance");
    EXPECT_EQ(bare.Util().PushWithExpr(attendance, tree.Push("-1", {tree.Assign("$", tree.UInt(7))})), 0);
    EXPECT_EQ(bare.Show(), "attendance: true");

    PlayerRecord player;
    EXPECT_EQ(player.Run("PUSH attendance = 7"), COMMON_ERR_INVALID_EXPR_TYPE);
}

TEST(Shield, SeveralElementsInTheMiddleLoseNothing) {
    PlayerRecord bare("scores: [1, 2, 3] Guild { ranks: [7, 8] }");
    MutableProtobufField scores = bare.Handle("scores");
    const google::protobuf::FieldDescriptor* guild = bare.Field("guild");
    const google::protobuf::Message& guildMessage = bare.Message().GetReflection()->GetMessage(bare.Message(), guild);
    PbField source;
    source.SetField(&guildMessage, guild->message_type()->FindFieldByName("ranks"), false);
    EXPECT_EQ(bare.Util().PushWithPbField(scores, 1, source), 0);
    EXPECT_EQ(bare.Show(), "scores: 1 scores: 7 scores: 8 scores: 3 scores: 0 Guild { ranks: 7 ranks: 8 }");

    PlayerRecord player("scores: [1, 2, 3] Guild { ranks: [7, 8] }");
    EXPECT_EQ(player.Run("PUSH scores[1] FROM guild.ranks"), 0);
    EXPECT_EQ(player.Show(), "scores: 1 scores: 7 scores: 8 scores: 2 scores: 3 Guild { ranks: 7 ranks: 8 }");
}

TEST(Shield, AFilterWithoutASelectorFilters) {
    ExprTree tree;
    PlayerRecord bare("scores: [1, 5, 9]");
    MutableProtobufField scores = bare.Handle("scores");
    ExprTree::Expr* filter = tree.Node(OstraneCommon::EXPR_COMPARE_GT, "", {tree.Name("$"), tree.Int(4)});
    EXPECT_EQ(bare.Util().PopWithExpr(scores, tree.Pop("", filter)), 0);
    EXPECT_EQ(bare.Show(), "");

    PlayerRecord player("scores: [1, 5, 9]");
    EXPECT_EQ(player.Run("POP scores WHERE $ > 4"), 0);
    EXPECT_EQ(player.Show(), "scores: 1");
}

TEST(Shield, ASelectionFromAnEmptyFieldIsNothing) {
    ExprTree tree;
    PlayerRecord bare;
    MutableProtobufField scores = bare.Handle("scores");
    EXPECT_EQ(bare.Util().PopWithExpr(scores, tree.Pop("0..1")), COMMON_ERR_INVALID_ARRAY_INDEX);

    PlayerRecord player;
    EXPECT_EQ(player.Run("POP scores[0..1]"), 0);
    EXPECT_EQ(player.Result().statements.at(0).matched, 0);
}

TEST(Shield, AnEmptySourceRunMovesNothing) {
    PlayerRecord bare("scores: [1, 2, 3]");
    MutableProtobufField scores = bare.Handle("scores");
    PbField source = bare.Source("scores");
    source.SetArrayRange(1, 0);
    EXPECT_EQ(bare.Util().PushWithPbField(scores, 0, source), 0);
    EXPECT_EQ(bare.Show(), "scores: 3 scores: 1 scores: 2");

    PlayerRecord player("scores: [1, 2, 3]");
    EXPECT_EQ(player.Run("PUSH scores[0] FROM scores[3..]"), 0);
    EXPECT_EQ(player.Show(), "scores: 1 scores: 2 scores: 3");
}

TEST(Shield, ARunOverItselfIsCopiedFirst) {
    PlayerRecord bare("scores: [1, 2, 3, 4]");
    MutableProtobufField scores = bare.Handle("scores");
    PbField source = bare.Source("scores");
    source.SetArrayRange(0, 2);
    EXPECT_EQ(bare.Util().SetWithPbField(scores, 1, 3, source), 0);
    EXPECT_EQ(bare.Show(), "scores: 1 scores: 1 scores: 1 scores: 1");

    PlayerRecord player("scores: [1, 2, 3, 4]");
    EXPECT_EQ(player.Run("SET scores[1..3] FROM scores[0..2]"), 0);
    EXPECT_EQ(player.Show(), "scores: 1 scores: 1 scores: 2 scores: 3");
}

TEST(Shield, RepeatedEnumsAreServed) {
    ExprTree tree;
    PlayerRecord bare("history: [ROOKIE, LEGEND]");
    MutableProtobufField history = bare.Handle("history");
    EXPECT_EQ(bare.Util().SetWithExpr(history, tree.Set("0", {tree.Assign("$", tree.Text("VETERAN"))})),
              COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(bare.Util().PushWithExpr(history, tree.Push("0", {tree.Assign("$", tree.Text("VETERAN"))})),
              COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(bare.Util().PopWithExpr(history, tree.Pop("0")), COMMON_ERR_INVALID_EXPR_TYPE);

    PlayerRecord player("history: [ROOKIE, LEGEND]");
    EXPECT_EQ(player.Run("SET history[0] = 'VETERAN'; PUSH history[1] = 'ROOKIE'; POP history[-1]"), 0);
    EXPECT_EQ(player.Show(), "history: VETERAN history: ROOKIE");
}

TEST(Shield, NestedSubFieldsAreSet) {
    ExprTree tree;
    PlayerRecord bare("inbox { subject: \"a\" }");
    MutableProtobufField hand = bare.Handle("items");
    EXPECT_EQ(bare.Util().PushWithExpr(hand, tree.Push("-1", {tree.Assign("sku", tree.Text("a")),
                                                              tree.Assign("origin", tree.Text("Oslo"))})),
              COMMON_ERR_INVALID_EXPR_TYPE);

    PlayerRecord player;
    EXPECT_EQ(player.Run("PUSH items = {sku: 'a', qty: 1, origin: {city: 'Oslo'}}"), 0);
    EXPECT_EQ(player.Show(), "items { sku: \"a\" qty: 1 origin { city: \"Oslo\" } }");
}

TEST(Shield, AFailingSetLeavesNoHalfChangedElement) {
    ExprTree tree;
    PlayerRecord bare("items { sku: \"a\" qty: 1 }");
    MutableProtobufField items = bare.Handle("items");
    EXPECT_EQ(bare.Util().SetWithExpr(
                  items, tree.Set("0", {tree.Assign("qty", tree.Int(5)), tree.Assign("nosuch", tree.Int(1))})),
              COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(bare.Show(), "items { sku: \"a\" qty: 5 }");

    PlayerRecord player("items { sku: \"a\" qty: 1 }");
    EXPECT_EQ(player.Run("SET items[0] = {qty: 5, nosuch: 1}"), COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(player.Run("SET items[0] = {qty: 5, price: 1 / (qty - 1)}"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Show(), "items { sku: \"a\" qty: 1 }");
}

TEST(Shield, APresentMessageIsReplacedByAMessage) {
    PlayerRecord bare("hand { sku: \"old\" qty: 1 price: 2 } items { sku: \"a\" qty: 1 }");
    MutableProtobufField hand = bare.Handle("hand");
    PbField field = bare.Source("hand");
    EXPECT_EQ(bare.Util().UpdateWithPbField(hand, OstraneCommon::EXPR_OP_SET, &field), COMMON_ERR_INVALID_EXPR_TYPE);
    PbField whole;
    whole.SetField(&bare.Message().GetReflection()->GetRepeatedMessage(bare.Message(), bare.Field("items"), 0), nullptr,
                   false);
    EXPECT_EQ(bare.Util().UpdateWithPbField(hand, OstraneCommon::EXPR_OP_SET, &whole), COMMON_ERR_INVALID_FIELD_NAME);

    PlayerRecord player("hand { sku: \"old\" qty: 1 price: 2 } items { sku: \"a\" qty: 1 }");
    EXPECT_EQ(player.Run("SET hand FROM items[0]"), 0);
    EXPECT_EQ(player.Show(), "items { sku: \"a\" qty: 1 } hand { sku: \"a\" qty: 1 }");
}

TEST(Shield, ASourceWithOneIndexIsOneValue) {
    PlayerRecord bare("scores: [1, 2, 3]");
    MutableProtobufField scores = bare.Handle("scores");
    PbField source = bare.Source("scores");
    source.SetArrayElementIdx(1);
    EXPECT_EQ(bare.Util().PushWithPbField(scores, -1, source), 0);
    EXPECT_EQ(bare.Show(), "scores: 1 scores: 2 scores: 3 scores: 1 scores: 2 scores: 3");

    PlayerRecord player("scores: [1, 2, 3]");
    EXPECT_EQ(player.Run("PUSH scores FROM scores[1]"), 0);
    EXPECT_EQ(player.Show(), "scores: 1 scores: 2 scores: 3 scores: 2");
}

TEST(Shield, AFailingReplacementKeepsTheField) {
    PlayerRecord bare("scores: [1, 2, 3]");
    MutableProtobufField scores = bare.Handle("scores");
    PbField source = bare.Source("scores");
    EXPECT_EQ(bare.Util().UpdateWithPbField(scores, OstraneCommon::EXPR_OP_SET, &source), 0);
    EXPECT_EQ(bare.Show(), "") << "cleared first, and then there is nothing left to copy";

    PlayerRecord player("scores: [1, 2, 3]");
    EXPECT_EQ(player.Run("SET scores FROM scores"), 0);
    EXPECT_EQ(player.Show(), "scores: 1 scores: 2 scores: 3");
}

TEST(Shield, ATypeMismatchIsAnErrorAndNoException) {
    PlayerRecord bare("scores: [1] tags: \"a\"");
    MutableProtobufField scores = bare.Handle("scores");
    PbField source = bare.Source("tags");
#if defined(PROTOBUF_USE_EXCEPTIONS) && GOOGLE_PROTOBUF_VERSION < 4022000
    EXPECT_THROW(bare.Util().PushWithPbField(scores, -1, source), google::protobuf::FatalException);
#endif
    PlayerRecord player("scores: [1] tags: \"a\"");
    EXPECT_EQ(player.Run("PUSH scores FROM tags"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Show(), "scores: 1 tags: \"a\"");
}

TEST(Shield, NegativePositionsAreCheckedBeforeTheOperationIsCalled) {
    // The operations take -2 as a position, and a run that begins before the first element, on trust: that
    // would write outside the array.
    PlayerRecord player("scores: [1] Guild { ranks: [7, 8] }");
    EXPECT_EQ(player.Run("PUSH scores[-2] FROM guild.ranks"), COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(player.Run("SET scores[-2..-1] FROM guild.ranks"), COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(player.Show(), "scores: 1 Guild { ranks: 7 ranks: 8 }");
}

TEST(Shield, AMessageDoesNotBecomePresentWithoutItsRequiredFields) {
    ExprTree tree;
    PlayerRecord bare;
    google::protobuf::Message* hand =
        bare.Message().GetReflection()->MutableMessage(&bare.Message(), bare.Field("hand"));
    EXPECT_FALSE(hand->IsInitialized());

    PlayerRecord player;
    EXPECT_EQ(player.Run("SET hand.qty = 1"), COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE);
    EXPECT_EQ(player.Run("SET hand = {}"), COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE);
    EXPECT_EQ(player.Show(), "");
}

TEST(Shield, AnIncompleteMessageIsCopiedWhenPartialIsAskedFor) {
    OstraneRecord::StatementOptions partial;
    partial.partial = true;
    PlayerRecord player("items { sku: \"a\" }");
    EXPECT_EQ(player.Run("PUSH items FROM items[0]"), COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE);
    EXPECT_EQ(player.Run("PUSH items FROM items[0]", {}, partial), 0);
    EXPECT_EQ(player.Show(), "items { sku: \"a\" } items { sku: \"a\" }");
}

TEST(Shield, TextThatIsNotUtf8IsNotShownAsNothing) {
    PlayerRecord player;
    player.Message().GetReflection()->AddString(&player.Message(), player.Field("tags"), "\xff");
    EXPECT_EQ(player.Run("GET tags"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Result().error.field, "demo.Player.tags");
    // What cannot be handed out is not removed either.
    EXPECT_EQ(player.Run("TAKE tags"), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Show(), "tags: \"\\377\"");
}

TEST(Shield, UnknownFieldsOfElementsAreLeftOutAndSaid) {
    PlayerRecord player("items { sku: \"a\" qty: 1 }");
    google::protobuf::Message* item =
        player.Message().GetReflection()->MutableRepeatedMessage(&player.Message(), player.Field("items"), 0);
    item->GetReflection()->MutableUnknownFields(item)->AddVarint(77, 5);
    EXPECT_EQ(player.Run("GET items"), 0);
    EXPECT_EQ(player.Result().statements.at(0).elements.at(0), "{\"sku\":\"a\",\"qty\":1}");
    EXPECT_TRUE(player.Result().statements.at(0).unknownFields);
    EXPECT_NE(OstraneRecord::ReportLine(0, player.Result().statements.at(0)).find("\"unknownFields\":true"),
              std::string::npos);
}

TEST(Shield, ARecordNeverBecomesDeeperThanParsersRead) {
    PlayerRecord player("quests { name: \"q\" }");
    int copies = 0;
    while (player.Run("SET quests[0].steps FROM quests") == 0) {
        ASSERT_LT(++copies, 200);
    }
    EXPECT_EQ(player.Result().code, COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(player.Result().error.message, "the record would be nested deeper than 100 messages");
    EXPECT_EQ(copies, 98);
    std::string bytes;
    ASSERT_TRUE(player.Message().SerializePartialToString(&bytes));
    EXPECT_TRUE(PlayerRecord::NewPlayer()->ParsePartialFromString(bytes));
}

}  // namespace
