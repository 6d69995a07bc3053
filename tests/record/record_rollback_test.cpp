// A list that fails leaves the record as it was, whatever its statements had changed.
#include "record/record_rollback.h"

#include <google/protobuf/arena.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <cmath>

#include "fields3.pb.h"
#include "record/player_record.h"

namespace {

using google::protobuf::Message;
using OstraneRecord::RecordRollback;

const char BEFORE[] =
    "level: 3 balance: -0.0 scores: [10, 20, 30] tags: 'a' history: [ROOKIE, LEGEND] laps: 1.5 keys: '\\000\\377' "
    "profile { email: 'm' address { city: 'x' position: [1, 2] } } "
    "items { sku: 'a' qty: 1 state: SOLD tags: 't' } items { sku: 'b' qty: 2 } hand { sku: 'h' qty: 9 } "
    "attrs { key: 'hp' value: 5 } byId { key: 7 value { city: 'y' } } phone: 77 "
    "Guild { title: 'g' ranks: 4 } [demo.nickname]: 'nick' [demo.visits]: [1, 2]";

// Statements that succeed, to stand in front of one that fails.
const char* const CHANGES[] = {
    // Repeated fields of every kind
    "PUSH scores[0] = 1",
    "POP scores[1]",
    "SET scores = []",
    "PUSH tags = ['b', 'c']",
    "SET history[0] = 'VETERAN'",
    "CLEAR laps",
    "PUSH keys = x'01'",
    "POP items[0]",
    "SET items[*].qty = qty + 1",
    "SET items[1].origin.city = 'z'",
    "PUSH inbox = {subject: 's'}",
    "TAKE items[*]",
    // Singular ones, there and not there
    "SET level = 4",
    "CLEAR level",
    "SET balance = 2.5",
    "SET hits = 1",
    "SET active = true",
    "SET rank = 'LEGEND'",
    "SET avatar = x'0A'",
    "SET profile.address.city = 'z'",
    "CLEAR profile",
    "SET hand.qty = 1",
    "SET postal.city = 'p'; SET phone = 5",
    "SET stats.double_value = 1.5",
    // Members of one oneof, groups, maps, extensions
    "SET mail_address = 'm'",
    "SET postal.city = 'p'",
    "CLEAR phone",
    "SET phone = 1; SET mail_address = 'm'; CLEAR mail_address",
    "SET guild.title = 'h'",
    "SET attrs['hp'] = 6",
    "CLEAR attrs['hp']; PUSH scores = 1",
    "SET byId[8].city = 'w'",
    "SET [demo.nickname] = 'n'",
    "PUSH [demo.visits] = 3",
    // A field twice, and a map after what was kept before
    "PUSH scores = 1; PUSH scores = 2; POP scores[0]",
    "PUSH scores = 1; SET attrs['mp'] = 1; PUSH scores = 2; SET level = 9",
    "SET level = 8; CLEAR balance; SET odds[1] = 0.5; SET level = 9; CLEAR odds",
    "SET scores FROM scores[0]; SET tags FROM profile.languages; SET hand FROM items[0]",
};

void ExpectUndone(PlayerRecord& player, const std::string& changes) {
    Message& message = player.Message();
    message.GetReflection()->MutableUnknownFields(&message)->AddVarint(999, 5);
    std::unique_ptr<Message> before(message.New());
    before->CopyFrom(message);
    for (const char* failing : {"; SET scores[99] = 1", "; SET level = coalesce(hits, level, 1) / 0"}) {
        ASSERT_NE(player.Run(changes + failing), 0) << changes;
        ASSERT_GT(player.Result().statements.size(), 1U) << changes << ": " << player.Result().error.message;
        EXPECT_TRUE(player.Result().statements.front().undone) << changes;
        EXPECT_EQ(message.ShortDebugString(), before->ShortDebugString()) << changes << failing;
        EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(message, *before)) << changes << failing;
    }
}

TEST(RecordRollback, AFailedListLeavesTheRecordAsItWas) {
    for (const char* changes : CHANGES) {
        PlayerRecord full(BEFORE);
        ExpectUndone(full, changes);
    }
}

TEST(RecordRollback, OnAnArenaToo) {
    for (const char* changes : CHANGES) {
        google::protobuf::Arena arena;
        PlayerRecord owner(BEFORE);
        Message* message = owner.Message().New(&arena);
        message->CopyFrom(owner.Message());
        owner.Record().m_pMessage = message;
        const std::string before = message->ShortDebugString();
        ASSERT_NE(owner.Run(std::string(changes) + "; SET scores[99] = 1"), 0) << changes;
        EXPECT_EQ(message->ShortDebugString(), before) << changes;
        EXPECT_TRUE(google::protobuf::util::MessageDifferencer::Equals(*message, owner.Message())) << changes;
    }
}

// What was never set is unset again.
TEST(RecordRollback, AnEmptyRecordIsEmptyAgain) {
    for (const char* changes :
         {"PUSH scores = 1", "SET level = 2", "SET balance = 0", "SET profile.address.city = 'c'", "SET phone = 1",
          "SET mail_address = ''", "SET attrs['a'] = 1", "SET [demo.nickname] = 'n'", "PUSH [demo.visits] = 1",
          "PUSH items = {sku: 's', qty: 1}", "SET guild.title = 't'", "SET stats.float_value = 1"}) {
        PlayerRecord player;
        ASSERT_NE(player.Run(std::string(changes) + "; SET scores[9] = 1"), 0) << changes;
        EXPECT_EQ(player.Show(), "") << changes;
    }
}

// A number without presence: minus zero counts as unset, and is put back as it was.
TEST(RecordRollback, MinusZeroComesBack) {
    fields3::Fields message;
    message.set_one_double(-0.0);
    RecordRollback rollback(&message);
    rollback.Keep(message.GetDescriptor()->FindFieldByName("one_double"));
    message.set_one_double(1);
    rollback.Restore();
    EXPECT_EQ(message.one_double(), 0);
    EXPECT_TRUE(std::signbit(message.one_double()));
}

// What the statements do not change is not copied: the record still holds the very same elements.
TEST(RecordRollback, OtherFieldsStayWhereTheyAre) {
    PlayerRecord player(BEFORE);
    Message& message = player.Message();
    const google::protobuf::Reflection* reflection = message.GetReflection();
    const Message* item = &reflection->GetRepeatedMessage(message, player.Field("items"), 0);
    ASSERT_NE(player.Run("PUSH scores = 1; SET phone = 5; SET scores[99] = 1"), 0);
    EXPECT_EQ(&reflection->GetRepeatedMessage(message, player.Field("items"), 0), item);
    EXPECT_EQ(reflection->GetInt64(message, player.Field("phone")), 77);
}

}  // namespace
