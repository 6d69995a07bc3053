// Message elements made from assignments to their sub-fields.
#include <google/protobuf/descriptor.pb.h>

#include "expr_operation_fixture.h"
#include "support/broken_message.h"

namespace {

using google::protobuf::Message;
using Peer = ProtobufRecordUtilPeer;

class MessageElementTest : public ExprOperationTest {
protected:
    Expr* AssignInt(const std::string& name, int64_t value) { return m_tree.Assign(name, m_tree.Int(value)); }
    Expr* AssignText(const std::string& name, const std::string& value) {
        return m_tree.Assign(name, m_tree.Text(value));
    }

    int SetFromNothing(MutableProtobufField field, int index) {
        std::vector<Expr*> none;
        ProtobufRecordUtil util = Util();
        return Peer::SetRepeatedMessageWithExpr(util, field, index, none.begin(), none.end());
    }
    int PushFromNothing(MutableProtobufField field, int pos) {
        std::vector<Expr*> none;
        ProtobufRecordUtil util = Util();
        return Peer::PushRepeatedMessageWithExpr(util, field, pos, none.begin(), none.end());
    }

    // A failing entry between two good ones, with the lines that it leaves.
    struct FailingRow {
        Expr* entry;
        int code;
        std::vector<std::string> texts;  // behind "AssignField: " when two, behind the worker's name when last
    };
    std::vector<FailingRow> FailingRows() {
        const std::string cast = "type cast failed, proto-cpp-type=";
        return {
            // No assignment at all; its text stands for a name.
            {m_tree.Text("a"), BAD_SYNTAX, {"invalid assign expr, field=a"}},
            {m_tree.Int(5), BAD_SYNTAX, {"invalid assign expr, field="}},
            {m_tree.Node(OstraneCommon::EXPR_COMPARE_EQ, "a", {m_tree.Int(5)}),
             BAD_SYNTAX,
             {"invalid assign expr, field=a"}},
            // No value, looked at before the name.
            {AssignWithoutValue("a"), BAD_SYNTAX, {"invalid assign expr, field=a"}},
            {AssignWithoutValue("nowhere"), BAD_SYNTAX, {"invalid assign expr, field=nowhere"}},
            {m_tree.Node(OstraneCommon::EXPR_ASSIGN, "a", {}), BAD_SYNTAX, {"invalid assign expr, field=a"}},
            // Unknown names: no paths, no element, no case folding, no numbers.
            {AssignInt("nowhere", 1), BAD_NAME, {"nowhere not exist in fields.Plain"}},
            {AssignInt("", 1), BAD_NAME, {" not exist in fields.Plain"}},
            {AssignInt("$", 1), BAD_NAME, {"$ not exist in fields.Plain"}},
            {AssignInt("sub.a", 1), BAD_NAME, {"sub.a not exist in fields.Plain"}},
            {AssignInt("A", 1), BAD_NAME, {"A not exist in fields.Plain"}},
            {AssignInt("fields.Plain.a", 1), BAD_NAME, {"fields.Plain.a not exist in fields.Plain"}},
            // Values that the sub-field does not take.
            {AssignText("a", "x"), BAD_TYPE, {cast + "1, variant='x'", "AssignField(a) failed, ret=-5145"}},
            {AssignInt("b", 5), BAD_TYPE, {cast + "9, variant=5", "AssignField(b) failed, ret=-5145"}},
            {AssignInt("color", 5), BAD_TYPE, {cast + "8, variant=5", "AssignField(color) failed, ret=-5145"}},
            {AssignText("color", "PINK"),
             BAD_TYPE,
             {cast + "8, variant='PINK'", "AssignField(color) failed, ret=-5145"}},
            {AssignInt("sub", 5), BAD_TYPE, {cast + "10, variant=5", "AssignField(sub) failed, ret=-5145"}},
        };
    }
    static Lines LinesOf(const FailingRow& row, const std::string& worker) {
        Lines lines;
        for (size_t i = 0; i + 1 < row.texts.size(); ++i) {
            lines.push_back(Line("AssignField: " + row.texts[i]));
        }
        lines.push_back(Line(worker + ": " + row.texts.back()));
        return lines;
    }
};

// Set

TEST_F(MessageElementTest, SetChangesTheNamedSubFieldsOfOneElement) {
    OnEveryKind([&](MessageMaker& maker) {
        const std::string element = "{a: 7 b: 'old' numbers: 5 color: BLUE sub {a: 3}}";
        Message* message = maker.Make("many_message: [" + element + ", " + element + "]");
        const std::string shown = "{a: 7 b: \"old\" numbers: 5 color: BLUE sub { a: 3 }}";
        Expr& set = m_tree.Set("0", {AssignInt("a", 1), AssignText("b", "two")});
        EXPECT_EQ(Set(Field(message, "many_message"), set), 0);
        EXPECT_EQ(Show(*message, "many_message"),
                  "[{a: 1 b: \"two\" numbers: 5 color: BLUE sub { a: 3 }}, " + shown + "]");
        EXPECT_EQ(Set(Field(message, "many_message"), m_tree.Set("-1", {AssignText("color", "GREEN")})), 0);
        EXPECT_EQ(Show(*message, "many_message"),
                  "[{a: 1 b: \"two\" numbers: 5 color: BLUE sub { a: 3 }}, "
                  "{a: 7 b: \"old\" numbers: 5 color: GREEN sub { a: 3 }}]");
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(MessageElementTest, SetKeepsWhatWasAssignedBeforeAFailure) {
    for (const FailingRow& row : FailingRows()) {
        SCOPED_TRACE(row.texts.back());
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("many_message: [{a: 1, b: 'x'}, {a: 2}]");
            Expr& set = m_tree.Set("0", {AssignInt("a", 9), row.entry, AssignText("b", "never")});
            EXPECT_EQ(Set(Field(message, "many_message"), set), row.code);
            EXPECT_EQ(m_log.TakeLines(), LinesOf(row, "SetRepeatedMessageWithExpr"));
            EXPECT_EQ(Show(*message, "many_message"), "[{a: 9 b: \"x\"}, {a: 2}]");
        }
    }
}

TEST_F(MessageElementTest, SetFromNothingLeavesTheElement) {
    Fill("many_message: [{a: 1}, {a: 2}] many_strict: {note: 'x'}");
    EXPECT_EQ(SetFromNothing(Field("many_message"), 1), 0);
    EXPECT_EQ(SetFromNothing(Field("many_strict"), 0), 0);
    EXPECT_EQ(Show(m_message), "many_message { a: 1 } many_message { a: 2 } many_strict { note: \"x\" }");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(MessageElementTest, SetAsksForNoRequiredSubField) {
    Fill("many_strict: {}");
    EXPECT_EQ(Set(Field("many_strict"), m_tree.Set("0", {AssignText("note", "x")})), 0);
    EXPECT_EQ(Show(m_message, "many_strict"), "[{note: \"x\"}]");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

// Push

TEST_F(MessageElementTest, PushFillsANewElementAtItsPosition) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("many_message: [{a: 1}, {b: 'y'}]");
        EXPECT_EQ(Push(Field(message, "many_message"), m_tree.Push("0", {AssignInt("a", 7)})), 0);
        Expr& push = m_tree.Push("2", {AssignText("b", "z"), AssignInt("a", -1), AssignText("color", "BLUE")});
        EXPECT_EQ(Push(Field(message, "many_message"), push), 0);
        EXPECT_EQ(Push(Field(message, "many_message"), m_tree.Push("-1", {AssignText("b", "last")})), 0);
        EXPECT_EQ(Show(*message, "many_message"),
                  "[{a: 7}, {a: 1}, {a: -1 b: \"z\" color: BLUE}, {b: \"y\"}, {b: \"last\"}]");
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(MessageElementTest, PushRemovesTheElementWhoseAssignmentFails) {
    for (const FailingRow& row : FailingRows()) {
        SCOPED_TRACE(row.texts.back());
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("many_message: [{a: 1, b: 'x'}, {a: 2}]");
            Expr& push = m_tree.Push("0", {AssignInt("a", 9), row.entry, AssignText("b", "never")});
            ExpectPushRefused(Field(message, "many_message"), push, row.code,
                              LinesOf(row, "PushRepeatedMessageWithExpr"));
            EXPECT_EQ(Show(*message, "many_message"), "[{a: 1 b: \"x\"}, {a: 2}]");
        }
    }
}

TEST_F(MessageElementTest, PushRemovesTheElementThatLacksARequiredSubField) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("many_strict: [{id: 1}, {note: 'lacks its own'}]");
        // The type stands with its short name, unlike in the other lines.
        ExpectPushRefused(
            Field(message, "many_strict"), m_tree.Push("0", {AssignText("note", "x")}), INCOMPLETE,
            {Line("PushRepeatedMessageWithExpr: PushRepeatedMessage(Strict) failed, miss required sub-fields")});
        // Other incomplete elements are not its business.
        EXPECT_EQ(Push(Field(message, "many_strict"), m_tree.Push("0", {AssignInt("id", 0)})), 0);
        EXPECT_EQ(Show(*message, "many_strict"), "[{id: 0}, {id: 1}, {note: \"lacks its own\"}]");
        EXPECT_EQ(m_log.Lines(), Lines{});
    }
}

// An unknown name is found before the required sub-fields are asked for.
TEST_F(MessageElementTest, PushAsksForRequiredSubFieldsLast) {
    ExpectPushRefused(Field("many_strict"), m_tree.Push("0", {AssignText("note", "x"), AssignInt("nowhere", 1)}),
                      BAD_NAME, {Line("PushRepeatedMessageWithExpr: nowhere not exist in fields.Strict")});
}

// No assignment reaches into a sub-message, so a type that requires one cannot be pushed.
TEST_F(MessageElementTest, PushAsksForRequiredSubMessagesAndWhatTheyRequire) {
    google::protobuf::FileDescriptorProto file;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(R"(
        name: "required.proto" package: "required"
        message_type { name: "Inner" field { name: "id" number: 1 type: TYPE_INT32 label: LABEL_REQUIRED } }
        message_type { name: "Middle"
          field { name: "inner" number: 1 type: TYPE_MESSAGE type_name: ".required.Inner" label: LABEL_REQUIRED }
          field { name: "note" number: 2 type: TYPE_STRING label: LABEL_OPTIONAL } }
        message_type { name: "Outer"
          field { name: "middles" number: 1 type: TYPE_MESSAGE type_name: ".required.Middle" label: LABEL_REPEATED } }
        )",
                                                              &file));
    google::protobuf::DescriptorPool pool;
    ASSERT_NE(pool.BuildFile(file), nullptr);
    MessageMaker maker(MessageKind::DynamicOnHeap, pool.FindMessageTypeByName("required.Outer"));
    Message* message = maker.Make("middles: {inner: {id: 1}}");
    ExpectPushRefused(
        Field(message, "middles"), m_tree.Push("0", {AssignText("note", "x")}), INCOMPLETE,
        {Line("PushRepeatedMessageWithExpr: PushRepeatedMessage(Middle) failed, miss required sub-fields")});
}

// An element of a real type that says of itself that it lacks something.
class IncompleteElement : public BrokenMessage {
public:
    explicit IncompleteElement(const Message& like) : BrokenMessage(like.GetDescriptor(), like.GetReflection()) {}
    bool IsInitialized() const override { return false; }
};

// The question goes to the whole element, which knows about its sub-messages, and not to its type.
TEST_F(MessageElementTest, PushAsksTheElementItselfWhetherItIsComplete) {
    MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
    Message* message = maker.Make("many_message: {a: 1}");
    const MutableProtobufField field = Field(message, "many_message");
    auto* element = new IncompleteElement(*maker.Factory()->GetPrototype(field.m_pFieldDesc->message_type()));
    message->GetReflection()->AddAllocatedMessage(message, field.m_pFieldDesc, element);
    message->GetReflection()->RemoveLast(message, field.m_pFieldDesc);
    EXPECT_EQ(element->clearCount, 1);
    EXPECT_EQ(PushFromNothing(field, 0), INCOMPLETE);
    EXPECT_EQ(m_log.TakeLines(), (Lines{Line("PushRepeatedMessageWithExpr: PushRepeatedMessage(Plain) failed, miss "
                                             "required sub-fields")}));
    EXPECT_EQ(element->clearCount, 2);
    EXPECT_EQ(Show(*message), "many_message { a: 1 }");
}

TEST_F(MessageElementTest, PushFromNothingAddsADefaultElement) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("many_message: [{a: 1}]");
        EXPECT_EQ(PushFromNothing(Field(message, "many_message"), 0), 0);
        EXPECT_EQ(Show(*message, "many_message"), "[{}, {a: 1}]");
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
    EXPECT_EQ(PushFromNothing(Field("many_strict"), 0), INCOMPLETE);
    EXPECT_EQ(m_log.Lines(), (Lines{Line("PushRepeatedMessageWithExpr: PushRepeatedMessage(Strict) failed, miss "
                                         "required sub-fields")}));
    EXPECT_EQ(Show(m_message), "");
}

TEST_F(MessageElementTest, ARemovedElementIsEmptiedAndReusedByTheNextAdd) {
    const std::string longText = "a text that is longer than a string holds in itself";
    Expr& good = m_tree.Push("0", {AssignText("note", longText), AssignInt("id", 1)});
    const struct {
        Expr* bad;
        int code;
    } rows[] = {
        {&m_tree.Push("0", {AssignText("note", longText)}), INCOMPLETE},
        {&m_tree.Push("0", {AssignInt("id", 5), AssignText("note", longText), m_tree.Text("id")}), BAD_SYNTAX},
        {&m_tree.Push("0", {AssignInt("id", 5), AssignText("note", longText), AssignInt("no", 1)}), BAD_NAME},
        {&m_tree.Push("0", {AssignInt("id", 5), AssignText("note", longText), AssignText("id", "x")}), BAD_TYPE},
    };
    for (MessageKind kind : AllMessageKinds()) {
        for (const auto& row : rows) {
            SCOPED_TRACE(NameOf(kind) + " " + std::to_string(row.code));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make();
            const MutableProtobufField field = Field(message, "many_strict");
            const google::protobuf::Reflection* reflection = message->GetReflection();
            // The element that the container holds beyond its size, and will hand out next.
            const Message* spare = reflection->AddMessage(message, field.m_pFieldDesc, nullptr);
            reflection->RemoveLast(message, field.m_pFieldDesc);
            EXPECT_EQ(Push(field, *row.bad), row.code);
            EXPECT_EQ(reflection->FieldSize(*message, field.m_pFieldDesc), 0);
            Message* reused = reflection->AddMessage(message, field.m_pFieldDesc, nullptr);
            EXPECT_EQ(reused, spare);
            EXPECT_EQ(Show(*reused), "");
            reflection->RemoveLast(message, field.m_pFieldDesc);
            EXPECT_EQ(Push(field, good), 0);
            EXPECT_EQ(&reflection->GetRepeatedMessage(*message, field.m_pFieldDesc, 0), spare);
            EXPECT_EQ(Show(*message, "many_strict"), "[{id: 1 note: \"" + longText + "\"}]");
        }
    }
}

// Both

TEST_F(MessageElementTest, ASubFieldNamedTwiceIsAssignedTwice) {
    Fill("many_message: {a: 1}");
    EXPECT_EQ(Set(Field("many_message"), m_tree.Set("0", {AssignInt("a", 2), AssignInt("a", 3)})), 0);
    EXPECT_EQ(Push(Field("many_message"), m_tree.Push("1", {AssignInt("a", 4), AssignInt("a", 5)})), 0);
    EXPECT_EQ(Show(m_message, "many_message"), "[{a: 3}, {a: 5}]");
    // The first is done before the second fails.
    EXPECT_EQ(Set(Field("many_message"), m_tree.Set("0", {AssignInt("a", 6), AssignText("a", "x")})), BAD_TYPE);
    EXPECT_EQ(Show(m_message, "many_message"), "[{a: 6}, {a: 5}]");
}

TEST_F(MessageElementTest, EverySingularTypeIsAssigned) {
    Expr* const assigns[] = {
        m_tree.Assign("one_bool", m_tree.UInt(7)),
        AssignInt("one_int32", -1),
        AssignInt("one_uint32", -1),
        AssignInt("one_int64", -5),
        AssignInt("one_uint64", -1),
        m_tree.Assign("one_double", m_tree.Float(0.1)),
        m_tree.Assign("one_float", m_tree.Float(0.5)),
        AssignText("one_enum", "BLUE"),
        AssignText("one_string", "s"),
        AssignText("one_bytes", std::string("\0\xff", 2)),
    };
    const std::string expected =
        "one_bool: true one_int32: -1 one_uint32: 4294967295 one_int64: -5 one_uint64: 18446744073709551615 "
        "one_double: 0.1 one_float: 0.5 one_enum: BLUE one_string: \"s\" one_bytes: \"\\000\\377\"";
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("children: {one_int32: 3}");
        const std::vector<Expr*> all(std::begin(assigns), std::end(assigns));
        EXPECT_EQ(Set(Field(message, "children"), m_tree.Set("0", all)), 0);
        EXPECT_EQ(Push(Field(message, "children"), m_tree.Push("1", all)), 0);
        EXPECT_EQ(Show(*message, "children"), "[{" + expected + "}, {" + expected + "}]");
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(MessageElementTest, AOneofMemberTakesThePlaceOfTheOther) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("children: {choice_message: {a: 1}}");
        Expr& set = m_tree.Set("0", {AssignInt("choice_int32", 5)});
        EXPECT_EQ(Set(Field(message, "children"), set), 0);
        Expr& push = m_tree.Push("1", {AssignInt("choice_int32", 5), AssignText("choice_string", "s")});
        EXPECT_EQ(Push(Field(message, "children"), push), 0);
        EXPECT_EQ(Show(*message, "children"), "[{choice_int32: 5}, {choice_string: \"s\"}]");
        // A value that is refused takes nobody's place.
        EXPECT_EQ(Set(Field(message, "children"), m_tree.Set("0", {AssignInt("choice_string", 5)})), BAD_TYPE);
        EXPECT_EQ(Set(Field(message, "children"), m_tree.Set("1", {AssignInt("choice_message", 5)})), BAD_TYPE);
        EXPECT_EQ(Show(*message, "children"), "[{choice_int32: 5}, {choice_string: \"s\"}]");
    });
}

TEST_F(MessageElementTest, ExtensionsOfTheElementAreNotFoundByNameNorFieldsByAnother) {
    for (const std::string name : {"ext_int32", "fields.ext_int32", "[fields.ext_int32]",
                                   // As JSON names it, and as a type does.
                                   "oneInt32", "oneint32", "ONE_INT32"}) {
        ExpectPushRefused(Field("children"), m_tree.Push("0", {AssignInt(name, 1)}), BAD_NAME,
                          {Line("PushRepeatedMessageWithExpr: " + name + " not exist in fields.Fields")});
    }
}

TEST_F(MessageElementTest, ElementsOfExtensionFieldsFailByTheFullNameOfTheirType) {
    Fill("[fields.ext_many_message]: {a: 1}");
    ExpectSetRefused(Extension("ext_many_message"), m_tree.Set("0", {AssignInt("no", 1)}), BAD_NAME,
                     {Line("SetRepeatedMessageWithExpr: no not exist in fields.Plain")});
    ExpectPushRefused(Extension("ext_many_message"), m_tree.Push("0", {AssignInt("no", 1)}), BAD_NAME,
                      {Line("PushRepeatedMessageWithExpr: no not exist in fields.Plain")});
}

TEST_F(MessageElementTest, GroupsAreMessages) {
    Fill("Pair {left: 1} Pair {left: 2}");
    EXPECT_EQ(Set(Field("pair"), m_tree.Set("-1", {AssignInt("right", 8)})), 0);
    EXPECT_EQ(Push(Field("pair"), m_tree.Push("0", {AssignInt("left", 9), AssignInt("right", 9)})), 0);
    EXPECT_EQ(Show(m_message, "pair"), "[{left: 9 right: 9}, {left: 1}, {left: 2 right: 8}]");
    ExpectPushRefused(Field("pair"), m_tree.Push("0", {AssignInt("no", 1)}), BAD_NAME,
                      {Line("PushRepeatedMessageWithExpr: no not exist in fields.Fields.Pair")});
}

TEST_F(MessageElementTest, MapEntriesAreMessagesOfKeyAndValue) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make();
        Expr& push = m_tree.Push("-1", {AssignText("key", "hp"), AssignInt("value", 5)});
        EXPECT_EQ(Push(Field(message, "by_name"), push), 0);
        EXPECT_EQ(Show(*message, "by_name"), "[{key: \"hp\" value: 5}]");
        EXPECT_EQ(Set(Field(message, "by_name"), m_tree.Set("0", {AssignInt("value", 7)})), 0);
        EXPECT_EQ(Show(*message, "by_name"), "[{key: \"hp\" value: 7}]");
        EXPECT_EQ(m_log.TakeLines(), Lines{});
        const std::string entry(Field(message, "by_name").m_pFieldDesc->message_type()->full_name());
        ExpectPushRefused(Field(message, "by_name"), m_tree.Push("0", {AssignInt("id", 1)}), BAD_NAME,
                          {Line("PushRepeatedMessageWithExpr: id not exist in " + entry)});
        ExpectPushRefused(Field(message, "by_number"), m_tree.Push("0", {AssignInt("key", 1), AssignInt("value", 1)}),
                          BAD_TYPE,
                          {Line("AssignField: type cast failed, proto-cpp-type=10, variant=1"),
                           Line("PushRepeatedMessageWithExpr: AssignField(value) failed, ret=-5145")});
    });
}

TEST_F(MessageElementTest, TheMapKnowsAPushedAndAChangedEntry) {
    Expr& push = m_tree.Push("-1", {AssignText("key", "hp"), AssignInt("value", 5)});
    EXPECT_EQ(Push(Field("by_name"), push), 0);
    ASSERT_EQ(m_message.by_name().count("hp"), 1U);
    EXPECT_EQ(m_message.by_name().at("hp"), 5);
    EXPECT_EQ(Set(Field("by_name"), m_tree.Set("0", {AssignInt("value", 7)})), 0);
    EXPECT_EQ(m_message.by_name().at("hp"), 7);
}

}  // namespace
