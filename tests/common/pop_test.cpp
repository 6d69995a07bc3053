#include <google/protobuf/text_format.h>

#include "selection_fixture.h"
#include "support/broken_message.h"

// ClearedCount, which tells what protobuf keeps.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

class PopTest : public SelectionTest {
protected:
    fields::Fields& Fill(const std::string& content) {
        EXPECT_TRUE(TextFormat::ParseFromString(content, &m_message));
        return m_message;
    }
};

// PopWithExpr, step by step

TEST_F(PopTest, NoReflectionComesFirst) {
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    Expr& pop = *m_tree.Node(OstraneCommon::EXPR_OP_POP, "", {m_tree.Int(1)});
    EXPECT_EQ(PopWithExpr({&broken, fields::Fields::descriptor()->FindFieldByName("many_int32")}, pop),
              OstraneErrCode::GEN_ERR_ERR);
    EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.cpp PopWithExpr: GetReflection failed, "
                                    "field=fields.Fields.many_int32"}));
    // Before everything is cleared, too.
    Expr everything;
    for (Expr* expr : {&everything, &m_tree.Pop("")}) {
        EXPECT_EQ(PopWithExpr({&broken, fields::Fields::descriptor()->FindFieldByName("many_int32")}, *expr),
                  OstraneErrCode::GEN_ERR_ERR);
    }
    EXPECT_EQ(m_log.Lines().size(), 3U);
}

TEST_F(PopTest, WithoutOperandListEverythingLeaves) {
    Fill("many_int32: [1, 2, 3]");
    Expr pop;
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), pop), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[]");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, WithAnEmptyOperandListEverythingLeaves) {
    Fill("many_string: ['a', 'b']");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_string"), *m_tree.Node(OstraneCommon::EXPR_OP_POP, "", {})), 0);
    EXPECT_EQ(Show(m_message, "many_string"), "[]");
}

TEST_F(PopTest, EverythingMayLeaveAnEmptyField) {
    Expr pop;
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), pop), 0);
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("")), 0);
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, OperandThatIsNoIndexIsRefusedBeforeAnEmptyField) {
    Expr& pop = *m_tree.Node(OstraneCommon::EXPR_OP_POP, "", {m_tree.Text("0")});
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), pop), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(m_log.Lines(),
              (Lines{"ERROR src/common/protobuf_record_util.cpp PopWithExpr: invalid array index expr = '0'"}));
}

TEST_F(PopTest, EmptyRangeTextEmptiesWhateverTheFilterSays) {
    Fill("many_int32: [1, 2, 3]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("", Less("$", 2))), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[]");
    Fill("many_int32: [1, 2, 3]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("", Failing())), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[]");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, SelectionFromAnEmptyFieldIsRefusedBeforeItsText) {
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("no range")),
              OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(m_log.Lines(),
              (Lines{"ERROR src/common/protobuf_record_util.cpp PopWithExpr: 'fields.Fields.many_int32' is empty"}));
}

TEST_F(PopTest, RangeTextThatDoesNotParseIsRefused) {
    Fill("many_int32: [1, 2]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("0..x")),
              OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.cpp PopWithExpr: invalid range=0..x"}));
    EXPECT_EQ(Show(m_message, "many_int32"), "[1, 2]");
}

TEST_F(PopTest, RangesAndFilterDecideTogether) {
    Fill("many_int32: [1, 20, 3, 4, 50]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("0..2, -1", Less("$", 10))), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[20, 4, 50]");
}

TEST_F(PopTest, FurtherOperandsAreIgnored) {
    Fill("many_int32: [1, 2, 3]");
    Expr& pop = *m_tree.Node(OstraneCommon::EXPR_OP_POP, "", {m_tree.Index("*"), Less("$", 2), m_tree.Text("ignored")});
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), pop), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[2, 3]");
}

// PopWithRange and its workers

// The type is looked at last: behind the emptiness of the field and the text.
TEST_F(PopTest, AnEnumFieldIsRefusedForItsContentAndTheTextFirst) {
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_enum"), m_tree.Pop("0")),
              OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    // A list of ranges comes past that.
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_enum"), {{0, 0}}), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    Fill("many_enum: [RED, BLUE]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_enum"), m_tree.Pop("no range")),
              OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    const std::string place = "ERROR src/common/protobuf_record_util.cpp ";
    EXPECT_EQ(m_log.Lines(),
              (Lines{place + "PopWithExpr: 'fields.Fields.many_enum' is empty", place + "PopWithRange: invalid type=8",
                     place + "PopWithExpr: invalid range=no range"}));
    EXPECT_EQ(Show(m_message, "many_enum"), "[RED, BLUE]");
}

TEST_F(PopTest, SelectiveEnumPopIsRefusedButClearingIsNot) {
    Fill("many_enum: [RED, BLUE]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_enum"), m_tree.Pop("0")),
              OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.cpp PopWithRange: invalid type=8"}));
    EXPECT_EQ(Show(m_message, "many_enum"), "[RED, BLUE]");
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_enum"), m_tree.Pop("")), 0);
    EXPECT_EQ(Show(m_message, "many_enum"), "[]");
}

// Each row: the field, its content, and what stays when positions 1 and 3 leave.
TEST_F(PopTest, EveryElementTypeKeepsTheOrderOfTheOthers) {
    struct Row {
        const char* field;
        const char* content;
        const char* left;
    };
    const Row rows[] = {
        {"many_bool", "many_bool: [true, false, true, false, false]", "[true, true, false]"},
        {"many_int32", "many_int32: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_uint32", "many_uint32: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_int64", "many_int64: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_uint64", "many_uint64: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_double", "many_double: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_float", "many_float: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"many_string", "many_string: ['a', 'b', 'c', 'd', 'e']", "[\"a\", \"c\", \"e\"]"},
        {"many_bytes", "many_bytes: ['a', 'b', 'c', 'd', 'e']", "[\"a\", \"c\", \"e\"]"},
        {"many_message", "many_message: [{a: 1}, {a: 2}, {a: 3}, {}, {a: 5}]", "[{a: 1}, {a: 3}, {a: 5}]"},
        {"packed_int32", "packed_int32: [1, 2, 3, 4, 5]", "[1, 3, 5]"},
        {"pair", "Pair {left: 1} Pair {left: 2} Pair {left: 3} Pair {left: 4} Pair {left: 5}",
         "[{left: 1}, {left: 3}, {left: 5}]"},
    };
    for (MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        for (const Row& row : rows) {
            SCOPED_TRACE(NameOf(kind) + " " + row.field);
            Message* message = maker.Make(row.content);
            EXPECT_EQ(PopWithRange(Field(message, row.field), {{1, 1}, {3, 3}}), 0);
            EXPECT_EQ(Show(*message, row.field), row.left);
        }
    }
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, ExtensionsArePoppedThroughTheirDescriptor) {
    m_message.AddExtension(fields::ext_many_string, "a");
    m_message.AddExtension(fields::ext_many_string, "b");
    const google::protobuf::FieldDescriptor* extension =
        fields::Fields::descriptor()->file()->FindExtensionByName("ext_many_string");
    ASSERT_NE(extension, nullptr);
    EXPECT_EQ(PopWithRange({&m_message, extension}, {{0, 0}}), 0);
    EXPECT_EQ(Show(m_message, extension), "[\"b\"]");
}

TEST_F(PopTest, MapEntriesArePoppedAndTheMapKnows) {
    (*m_message.mutable_by_name())["hp"] = 5;
    (*m_message.mutable_by_name())["mp"] = 7;
    Expr* isHp = m_tree.Node(OstraneCommon::EXPR_COMPARE_EQ, "", {m_tree.Name("key"), m_tree.Text("hp")});
    EXPECT_EQ(PopWithRange(Field(&m_message, "by_name"), {}, isHp), 0);
    EXPECT_EQ(m_message.by_name().size(), 1U);
    EXPECT_EQ(m_message.by_name().at("mp"), 7);
}

TEST_F(PopTest, WorkersLeaveAnEmptyFieldWithoutAskingTheFilter) {
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_int32"), {}, Failing()), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_string"), {}, Failing()), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_message"), {}, Failing()), 0);
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, FailedMarkingWritesTwoLinesAndChangesNothing) {
    Fill("many_int32: [1, 2] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]");
    struct Row {
        const char* field;
        const char* content;
        const char* place;
    };
    const Row rows[] = {
        {"many_int32", "[1, 2]", "src/common/protobuf_record_util.h PopRepeatedField"},
        {"many_string", "[\"a\", \"b\"]", "src/common/protobuf_record_util.cpp PopRepeatedString"},
        {"many_message", "[{a: 1}, {a: 2}]", "src/common/protobuf_record_util.cpp PopRepeatedMessage"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.field);
        const int ret = PopWithRange(Field(&m_message, row.field), {}, Failing());
        EXPECT_EQ(ret, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
        const Lines lines = m_log.TakeLines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(
            lines[0].rfind("ERROR src/common/protobuf_record_util.cpp MarkMatchPositions: FindArrayMatchPositions "
                           "failed, ret: -4889, errmsg: ",
                           0),
            0U)
            << lines[0];
        EXPECT_EQ(lines[1], std::string("ERROR ") + row.place + ": MarkMatchPositions failed, field=fields.Fields." +
                                row.field + ", ret=-4889");
        EXPECT_EQ(Show(m_message, row.field), row.content);
    }
}

TEST_F(PopTest, NothingSelectedChangesNothing) {
    Fill("many_int32: [1, 2] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]");
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_int32"), {{5, 9}}), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_int32"), {}, Less("$", 0)), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_string"), {{1, 0}}), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_message"), {}, Less("a", 0)), 0);
    EXPECT_EQ(Show(m_message),
              "many_int32: 1 many_int32: 2 many_string: \"a\" many_string: \"b\" many_message { a: 1 } "
              "many_message { a: 2 }");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PopTest, StringsAndMessagesStayWhereTheyAre) {
    Fill("many_string: ['a', 'b', 'c'] many_message: [{a: 1}, {a: 2}, {a: 3}]");
    const std::string* last = &m_message.many_string(2);
    const fields::Plain* first = &m_message.many_message(0);
    const fields::Plain* third = &m_message.many_message(2);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_string"), {{0, 1}}), 0);
    EXPECT_EQ(&m_message.many_string(0), last);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_message"), {{1, 1}}), 0);
    EXPECT_EQ(&m_message.many_message(0), first);
    EXPECT_EQ(&m_message.many_message(1), third);
}

// An element that counts its end, to see that the heap frees what leaves and the arena does not.
class CountingMessage : public BrokenMessage {
public:
    CountingMessage(const Message& like, int* ended)
        : BrokenMessage(like.GetDescriptor(), like.GetReflection()), m_ended(ended) {}
    ~CountingMessage() override { ++*m_ended; }

private:
    int* m_ended;
};

TEST_F(PopTest, HeapElementsAreDestroyedOneByOne) {
    int ended = 0;
    MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
    Message* message = maker.Make();
    const MutableProtobufField field = Field(message, "many_message");
    const Message* like = maker.Factory()->GetPrototype(field.m_pFieldDesc->message_type());
    for (int i = 0; i < 5; ++i) {
        message->GetReflection()->AddAllocatedMessage(message, field.m_pFieldDesc, new CountingMessage(*like, &ended));
    }
    EXPECT_EQ(PopWithRange(field, {{1, 1}, {3, 4}}), 0);
    EXPECT_EQ(ended, 3);
    EXPECT_EQ(message->GetReflection()->FieldSize(*message, field.m_pFieldDesc), 2);
}

// What left is freed, and not kept for the next add.
TEST_F(PopTest, NoElementThatLeftIsKept) {
    Fill("many_string: ['a', 'b', 'c'] many_message: [{a: 1}, {a: 2}, {a: 3}]");
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_string"), {{0, 1}}), 0);
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_message"), {{0, 1}}), 0);
    EXPECT_EQ(m_message.many_string().ClearedCount(), 0);
    EXPECT_EQ(m_message.many_message().ClearedCount(), 0);
}

TEST_F(PopTest, ArenaElementsLiveUntilTheArenaEnds) {
    int ended = 0;
    {
        MessageMaker maker(MessageKind::DynamicOnArena, fields::Fields::descriptor());
        Message* message = maker.Make();
        const MutableProtobufField field = Field(message, "many_message");
        const Message* like = maker.Factory()->GetPrototype(field.m_pFieldDesc->message_type());
        for (int i = 0; i < 3; ++i) {
            message->GetReflection()->AddAllocatedMessage(message, field.m_pFieldDesc,
                                                          new CountingMessage(*like, &ended));
        }
        EXPECT_EQ(PopWithRange(field, {{0, 1}}), 0);
        EXPECT_EQ(message->GetReflection()->FieldSize(*message, field.m_pFieldDesc), 1);
        EXPECT_EQ(ended, 0);
    }
    EXPECT_EQ(ended, 3);
}

TEST_F(PopTest, NullElementsAreDroppedLikeOthers) {
    MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
    Message* message = maker.Make("many_message: [{a: 1}]");
    const MutableProtobufField field = Field(message, "many_message");
    message->GetReflection()->UnsafeArenaAddAllocatedMessage(message, field.m_pFieldDesc, nullptr);
    EXPECT_EQ(PopWithRange(field, {{1, 1}}), 0);
    EXPECT_EQ(Show(*message, "many_message"), "[{a: 1}]");
}

TEST_F(PopTest, WithoutLogTheCodesAreTheSame) {
    m_record.m_pLog = nullptr;
    EXPECT_EQ(PopWithExpr(Field(&m_message, "many_int32"), m_tree.Pop("0")),
              OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    Fill("many_enum: [RED]");
    EXPECT_EQ(PopWithRange(Field(&m_message, "many_enum"), {}), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
}

}  // namespace
