// Updates of a field or a whole message from a source field.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>

#include "fields3.pb.h"
#include "source_copy.h"
#include "support/watched_log.h"

namespace {

using namespace source_copy;  // NOLINT: the vocabulary of these tests
using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::DynamicMessageFactory;
using google::protobuf::FileDescriptorProto;

constexpr const char* UPDATE = "UpdateWithPbField";

class UpdateWithPbField : public SourceCopyTest {
protected:
    int Pop(Message* message, const FieldDescriptor* fieldDesc, PbField* src = nullptr) {
        MutableProtobufField field = {message, fieldDesc};
        return ProtobufRecordUtil(m_record).UpdateWithPbField(field, OstraneCommon::EXPR_OP_POP, src);
    }

    MessageMaker m_plainMaker{MessageKind::GeneratedOnHeap, fields::Plain::descriptor()};
    MessageMaker m_maker3{MessageKind::GeneratedOnHeap, fields3::Fields::descriptor()};
};

// ---- Pop

TEST_F(UpdateWithPbField, PopClearsAField) {
    for (const char* name :
         {"many_int32", "many_enum", "many_string", "many_message", "one_int32", "one_string", "one_message",
          "with_default", "choice_string", "by_name", "fields.ext_int32", "fields.ext_many_message"}) {
        Message* message = m_maker.Make(
            "many_int32: 1 many_enum: BLUE many_string: 'a' many_message {} one_int32: 1 one_string: 'a' one_message {}"
            " with_default: 7 choice_string: 'b' by_name { key: 'k' value: 1 } [fields.ext_int32]: 1"
            " [fields.ext_many_message] {} one_bool: true");
        const FieldDescriptor* fieldDesc = FieldOf(*message, name);
        EXPECT_EQ(Pop(message, fieldDesc), 0) << name;
        if (fieldDesc->is_repeated()) {
            EXPECT_EQ(message->GetReflection()->FieldSize(*message, fieldDesc), 0) << name;
        } else {
            EXPECT_FALSE(message->GetReflection()->HasField(*message, fieldDesc)) << name;
        }
        EXPECT_TRUE(static_cast<fields::Fields*>(message)->one_bool()) << name;
    }
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(UpdateWithPbField, PopWithoutDescriptorClearsTheMessage) {
    for (const MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("many_int32: [1, 2] one_message { a: 1 } [fields.ext_int32]: 5");
        EXPECT_EQ(Pop(message, nullptr), 0);
        EXPECT_EQ(Show(*message), "") << NameOf(kind);
    }
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(UpdateWithPbField, PopDoesNotLookAtTheSource) {
    Message* message = m_maker.Make("many_int32: [1, 2]");
    Message* other = m_maker.Make("many_string: 'x'");
    PbField src = Source(*other, "many_string", MUTABLE);
    EXPECT_EQ(Pop(message, FieldOf(*message, "many_int32"), &src), 0);
    EXPECT_EQ(Pop(message, nullptr, &src), 0);
    EXPECT_EQ(Show(*message), "");
    EXPECT_EQ(Show(*other), "many_string: \"x\"");
    EXPECT_EQ(TakeLines(), Lines());
}

// ---- The kind of update and the null source

TEST_F(UpdateWithPbField, EveryOtherKindReplaces) {
    Message* source = m_maker.Make("many_int32: [7, 8] one_string: 'new'");
    for (int type = 0; type <= OstraneCommon::EXPR_TYPE_MAX; ++type) {
        if (type == OstraneCommon::EXPR_OP_POP) {
            continue;
        }
        SCOPED_TRACE(type);
        const auto exprType = static_cast<OstraneCommon::ExprType>(type);
        Message* target = m_maker.Make("many_int32: [1, 2, 3] one_string: 'old'");
        EXPECT_EQ(Update(target, "many_int32", Source(*source, "many_int32"), exprType), 0);
        EXPECT_EQ(Update(target, "one_string", Source(*source, "one_string"), exprType), 0);
        EXPECT_EQ(Show(*target), "one_string: \"new\" many_int32: 7 many_int32: 8");
    }
}

TEST_F(UpdateWithPbField, ANullSourceIsAnError) {
    Message* message = m_maker.Make("many_int32: [1] one_int32: 2 one_message { a: 3 }");
    const std::string before = Show(*message);
    for (const char* name : {"many_int32", "one_int32", "one_message", ""}) {
        MutableProtobufField field = {message, *name == '\0' ? nullptr : FieldOf(*message, name)};
        EXPECT_EQ(ProtobufRecordUtil(m_record).UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, nullptr), -256);
        EXPECT_EQ(Show(*message), before);
        EXPECT_EQ(TakeLines(), Lines({Error(UPDATE, "input value is null")})) << name;
    }
}

// ---- A repeated target

TEST_F(UpdateWithPbField, ARepeatedFieldIsReplaced) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
        Message* source = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.x, kind.y}));
        EXPECT_EQ(Update(target, kind.field, Source(*source, kind.field)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
        const std::string shortName = FieldOf(*target, kind.field)->name();
        EXPECT_EQ(
            TakeLines(),
            Lines({Debug(UPDATE, "replace repeated field: " + shortName + ", src.isRange: 0, src.range: [0, 0]")}));
    }
}

TEST_F(UpdateWithPbField, ARangeReplacesARepeatedField) {
    Message* target = m_maker.Make("many_string: ['a', 'b', 'c']");
    Message* source = m_maker.Make("many_string: ['p', 'q', 'r', 's']");
    EXPECT_EQ(Update(target, "many_string", SourceRange(*source, "many_string", 1, 2)), 0);
    EXPECT_EQ(ShowField(*target, "many_string"), "[\"q\", \"r\"]");
    EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE,
                                        "replace repeated field: many_string, src.isRange: 1, src.range: [1, "
                                        "2]")}));
}

// The positions are told as they stand in the source, also where they are not read.
TEST_F(UpdateWithPbField, ASingleElementStandsForTheWholeFieldAndItsPositionIsTold) {
    const int map = 0;
    Message* target = m_maker.Make("many_int32: [1, 2, 3] many_string: ['a'] one_int32: 1");
    Message* source = m_maker.Make("many_int32: [7, 8] many_string: ['p', 'q'] one_int32: 5");
    for (const std::string name : {"many_int32", "many_string"}) {
        PbField src = Source(*source, name);
        src.SetArrayElementIdx(1);
        src.pMap = &map;
        EXPECT_EQ(Update(target, name, src), 0);
        EXPECT_EQ(ShowField(*target, name), ShowField(*source, name));
        EXPECT_EQ(TakeLines(),
                  Lines({Debug(UPDATE, "replace repeated field: " + name + ", src.isRange: 0, src.range: [1, 1]")}));
    }
}

TEST_F(UpdateWithPbField, AMutableSourceLeavesPlaceholdersBehind) {
    Message* target = m_maker.Make("many_string: ['a'] many_message { a: 1 } many_int32: 1");
    Message* source = m_maker.Make("many_string: ['p', 'q', 'r'] many_message { a: 2 } many_int32: 2");
    EXPECT_EQ(Update(target, "many_string", SourceRange(*source, "many_string", 1, 2, MUTABLE)), 0);
    EXPECT_EQ(Update(target, "many_message", Source(*source, "many_message", MUTABLE)), 0);
    EXPECT_EQ(Update(target, "many_int32", Source(*source, "many_int32", MUTABLE)), 0);
    EXPECT_EQ(Show(*target), "many_int32: 2 many_string: \"q\" many_string: \"r\" many_message { a: 2 }");
    EXPECT_EQ(Show(*source), "many_int32: 2 many_string: \"p\" many_string: \"\" many_string: \"\" many_message { }");
}

TEST_F(UpdateWithPbField, AnEmptySourceEmptiesARepeatedField) {
    Message* source = m_maker.Make();
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b}));
        EXPECT_EQ(Update(target, kind.field, SourceRange(*source, kind.field, 3, 5)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), "[]");
        const FieldDescriptor* fieldDesc = FieldOf(*target, kind.field);
        EXPECT_EQ(TakeLines(),
                  Lines({Debug(UPDATE, "replace repeated field: " + std::string(fieldDesc->name()) +
                                           ", src.isRange: 1, src.range: [3, 5]"),
                         Debug("PushWithPbField",
                               "src repeated field(" + std::string(fieldDesc->full_name()) + ") is empty")}));
    }
}

// The target is cleared before the source is read.
TEST_F(UpdateWithPbField, ARepeatedFieldReplacedByItselfIsEmptied) {
    for (const bool isMutable : {false, true}) {
        Message* message = m_maker.Make("many_string: ['a', 'b'] many_message { a: 1 } many_int32: [1, 2]");
        for (const char* name : {"many_string", "many_message", "many_int32"}) {
            EXPECT_EQ(Update(message, name, Source(*message, name, isMutable)), 0);
        }
        EXPECT_EQ(Show(*message), "");
    }
}

TEST_F(UpdateWithPbField, AWholeMessageReplacesARepeatedField) {
    for (const bool isMutable : {false, true}) {
        Message* target = m_maker.Make("many_message [{ a: 1 }, { a: 2 }]");
        Message* source = m_plainMaker.Make("a: 7");
        EXPECT_EQ(Update(target, "many_message", WholeMessage(*source, isMutable)), 0);
        EXPECT_EQ(Show(*target), "many_message { a: 7 }");
        EXPECT_EQ(Show(*source), isMutable ? "" : "a: 7");
    }
}

// An element that the clear keeps allocated is what the push fills.
TEST_F(UpdateWithPbField, AnElementAsWholeMessageReplacesItsOwnField) {
    for (const bool isMutable : {false, true}) {
        fields::Fields target;
        target.add_children()->set_one_int32(1);
        target.add_children()->set_one_int32(2);
        EXPECT_EQ(Update(&target, "children", WholeMessage(target.children(0), isMutable)), 0);
        EXPECT_EQ(Show(target), "children { }");
    }
}

TEST_F(UpdateWithPbField, AMessageReplacesItsOwnRepeatedField) {
    for (const bool isMutable : {false, true}) {
        Message* message = m_maker.Make("one_int32: 5 children { one_int32: 6 }");
        EXPECT_EQ(Update(message, "children", WholeMessage(*message, isMutable)), 0);
        EXPECT_EQ(Show(*message), "one_int32: 5 children { one_int32: 5 }");
    }
}

// ---- A whole message as target

TEST_F(UpdateWithPbField, AnUnsetSourceFieldClearsTheMessage) {
    Message* source = m_maker.Make();
    for (const char* name : {"one_int32", "with_default", "one_message", "choice_string", "fields.ext_int32"}) {
        Message* target = m_maker.Make("one_int32: 1 many_string: 'a'");
        EXPECT_EQ(UpdateMessage(target, Source(*source, name)), 0);
        EXPECT_EQ(Show(*target), "") << name;
    }
    // Zero is unset where a field has no presence.
    Message* source3 = m_maker3.Make("one_int32: 0");
    Message* target = m_maker.Make("one_int32: 1");
    EXPECT_EQ(UpdateMessage(target, Source(*source3, "one_int32")), 0);
    EXPECT_EQ(Show(*target), "");
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(UpdateWithPbField, ASetOrRepeatedSourceFieldIsNoMessage) {
    Message* source = m_maker3.Make("one_int32: 1 maybe_int32: 0 one_message {} many_int32: 1");
    Message* target = m_maker.Make("one_int32: 1");
    for (const char* name : {"one_int32", "maybe_int32", "one_message", "many_int32", "many_string", "by_name"}) {
        EXPECT_EQ(UpdateMessage(target, Source(*source, name, MUTABLE)), -4889);
        EXPECT_EQ(Show(*target), "one_int32: 1");
        EXPECT_EQ(TakeLines(), Lines({Error(UPDATE,
                                            "expect sourceFieldDesc is null, source: fields3.Fields, target: "
                                            "fields.Fields")}))
            << name;
    }
}

TEST_F(UpdateWithPbField, AMessageOfAnotherTypeIsAnError) {
    Message* target = m_maker.Make("one_int32: 1");
    for (const bool isMutable : {false, true}) {
        EXPECT_EQ(UpdateMessage(target, WholeMessage(*m_maker3.Make("one_int32: 2"), isMutable)), -4889);
        EXPECT_EQ(Show(*target), "one_int32: 1");
        EXPECT_EQ(TakeLines(),
                  Lines({Error(UPDATE, "inconsistent message, source: fields3.Fields, target: fields.Fields")}));
    }
}

TEST_F(UpdateWithPbField, TypesAreComparedByIdentityNotByName) {
    FileDescriptorProto file;
    fields::Fields::descriptor()->file()->CopyTo(&file);
    DescriptorPool pool;
    const Descriptor* twin = pool.BuildFile(file)->FindMessageTypeByName("Fields");
    DynamicMessageFactory factory;
    const std::unique_ptr<Message> source(factory.GetPrototype(twin)->New());
    Message* target = m_maker.Make("one_int32: 1");
    EXPECT_EQ(UpdateMessage(target, WholeMessage(*source)), -4889);
    EXPECT_EQ(Show(*target), "one_int32: 1");
    EXPECT_EQ(TakeLines(),
              Lines({Error(UPDATE, "inconsistent message, source: fields.Fields, target: fields.Fields")}));
}

TEST_F(UpdateWithPbField, AWholeMessageIsCopiedOrExchanged) {
    const std::string targetContent = "one_int32: 1 many_string: \"t\" one_message { a: 1 }";
    const std::string sourceContent = "one_int32: 2 many_string: \"s\" many_string: \"r\" [fields.ext_int32]: 9";
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind));
            MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
            MessageMaker sourceMaker(sourceKind, fields::Fields::descriptor());
            Message* target = targetMaker.Make(targetContent);
            Message* source = sourceMaker.Make(sourceContent);
            const std::string targetBefore = Show(*target);
            const std::string sourceBefore = Show(*source);

            EXPECT_EQ(UpdateMessage(target, WholeMessage(*source, MUTABLE)), 0);
            EXPECT_EQ(Show(*target), sourceBefore);
            EXPECT_EQ(Show(*source), targetBefore);
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "swap message fields.Fields")}));

            EXPECT_EQ(UpdateMessage(source, WholeMessage(*target)), 0);
            EXPECT_EQ(Show(*target), sourceBefore);
            EXPECT_EQ(Show(*source), sourceBefore);
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "copy message fields.Fields")}));
        }
    }
}

// Fields that this program's types do not have, but whoever wrote the record did.
TEST_F(UpdateWithPbField, UnknownFieldsOfAWholeMessageComeAlong) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            for (const bool isMutable : {false, true}) {
                SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind) + (isMutable ? ", moved" : ", copied"));
                MessageMaker targetMaker(targetKind, fields::Plain::descriptor());
                MessageMaker sourceMaker(sourceKind, fields::Plain::descriptor());
                Message* target = targetMaker.Make("a: 1");
                Message* source = sourceMaker.Make("a: 2");
                source->GetReflection()->MutableUnknownFields(source)->AddVarint(1000, 7);
                EXPECT_EQ(UpdateMessage(target, WholeMessage(*source, isMutable)), 0);
                EXPECT_EQ(target->GetReflection()->GetUnknownFields(*target).field_count(), 1);
                EXPECT_EQ(source->GetReflection()->GetUnknownFields(*source).field_count(), isMutable ? 0 : 1);
            }
        }
    }
}

TEST_F(UpdateWithPbField, AMessageReplacedByItselfStays) {
    Message* message = m_maker.Make("one_int32: 1 many_string: 'a'");
    const std::string before = Show(*message);
    EXPECT_EQ(UpdateMessage(message, WholeMessage(*message)), 0);
    EXPECT_EQ(UpdateMessage(message, WholeMessage(*message, MUTABLE)), 0);
    EXPECT_EQ(Show(*message), before);
}

// ---- A message field from a whole message

TEST_F(UpdateWithPbField, AMessageFieldTakesAWholeMessage) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind));
            MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
            MessageMaker sourceMaker(sourceKind, fields::Plain::descriptor());
            Message* source = sourceMaker.Make("a: 1 numbers: [2, 3]");

            Message* target = targetMaker.Make("one_int32: 5");
            EXPECT_EQ(Update(target, "one_message", WholeMessage(*source)), 0);
            EXPECT_EQ(Show(*target), "one_int32: 5 one_message { a: 1 numbers: 2 numbers: 3 }");
            EXPECT_EQ(Show(*source), "a: 1 numbers: 2 numbers: 3");
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "copy message fields.Plain")}));

            target = targetMaker.Make("one_int32: 5");
            EXPECT_EQ(Update(target, "one_message", WholeMessage(*source, MUTABLE)), 0);
            EXPECT_EQ(Show(*target), "one_int32: 5 one_message { a: 1 numbers: 2 numbers: 3 }");
            EXPECT_EQ(Show(*source), "");
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "swap message fields.Plain")}));
        }
    }
}

TEST_F(UpdateWithPbField, APresentMessageFieldIsNotOverwritten) {
    for (const char* content : {"one_message { a: 1 }", "one_message { }"}) {
        for (const bool isMutable : {false, true}) {
            Message* target = m_maker.Make(content);
            Message* source = m_plainMaker.Make("a: 7");
            EXPECT_EQ(Update(target, "one_message", WholeMessage(*source, isMutable)), -4889);
            EXPECT_EQ(Show(*target), content);
            EXPECT_EQ(Show(*source), "a: 7");
            EXPECT_EQ(TakeLines(),
                      Lines({Error(UPDATE, "expect fieldDesc is null, source: fields.Plain, target: fields.Fields")}));
        }
    }
}

TEST_F(UpdateWithPbField, AMessageOfAOneofDisplacesTheOtherMember) {
    Message* target = m_maker.Make("choice_int32: 4");
    EXPECT_EQ(Update(target, "choice_message", WholeMessage(*m_plainMaker.Make("a: 7"))), 0);
    EXPECT_EQ(Show(*target), "choice_message { a: 7 }");
}

// Opening the target frees the member that was set, and what lies in it.
TEST_F(UpdateWithPbField, AMessageOfAOneofTakesOneOutOfTheMemberItDisplaces) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            const std::string note = isMutable ? "swap message " : "copy message ";

            Message* message =
                maker.Make("choice_fields { one_message { b: 'a text that is freed with its member' } }");
            const Message& member = message->GetReflection()->GetMessage(*message, FieldOf(*message, "choice_fields"));
            const Message& inside = member.GetReflection()->GetMessage(member, FieldOf(member, "one_message"));
            EXPECT_EQ(Update(message, "choice_message", WholeMessage(inside, isMutable)), 0);
            EXPECT_EQ(Show(*message), "choice_message { b: \"a text that is freed with its member\" }");
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, note + "fields.Plain")}));

            Message* target = maker.Make("choice_fields { one_int32: 1 }");
            Message* source = maker.Make("one_message { b: 'a text elsewhere, which stays where it is' }");
            const Message& outside = source->GetReflection()->GetMessage(*source, FieldOf(*source, "one_message"));
            EXPECT_EQ(Update(target, "choice_message", WholeMessage(outside, isMutable)), 0);
            EXPECT_EQ(Show(*target), "choice_message { b: \"a text elsewhere, which stays where it is\" }");
            EXPECT_EQ(Show(outside), isMutable ? "" : "b: \"a text elsewhere, which stays where it is\"");
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, note + "fields.Plain")}));
        }
    }
}

// The parent cannot be moved into itself, so it is copied, as it was before.
TEST_F(UpdateWithPbField, AMessageFieldTakesItsOwnParent) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("one_int32: 1 many_string: 'a'");
            EXPECT_EQ(Update(message, "child", WholeMessage(*message, isMutable)), 0);
            EXPECT_EQ(Show(*message), "one_int32: 1 many_string: \"a\" child { one_int32: 1 many_string: \"a\" }");
            EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "copy message fields.Fields")}));
        }
    }
}

// ---- A singular field from a field

struct SingularKind {
    const char* field;
    const char* value;
    const char* other;
};

const std::vector<SingularKind>& SingularKinds() {
    static const std::vector<SingularKind> kinds = {
        {"one_int32", "-2147483648", "1"},
        {"one_int64", "-9223372036854775808", "1"},
        {"one_uint32", "4294967295", "1"},
        {"one_uint64", "18446744073709551615", "1"},
        {"one_double", "-1.5e+300", "1"},
        {"one_float", "-1.5e+30", "1"},
        {"one_bool", "true", "false"},
        {"one_enum", "BLUE", "GREEN"},
        {"one_string", "\"a text that does not fit into a string object\"", "\"b\""},
        {"one_bytes", "\"\\000\\377\"", "\"b\""},
        {"one_sint32", "-3", "1"},
        {"one_fixed64", "3", "1"},
        {"with_default", "42", "1"},
        {"choice_int32", "0", "1"},
        {"choice_string", "\"\"", "\"b\""},
        {"fields.ext_int32", "0", "1"},
        {"fields.ext_enum", "RED", "BLUE"},
    };
    return kinds;
}

TEST_F(UpdateWithPbField, ASingularFieldIsCopied) {
    for (const MessageKind messageKind : AllMessageKinds()) {
        MessageMaker maker(messageKind, fields::Fields::descriptor());
        for (const SingularKind& kind : SingularKinds()) {
            for (const bool isTargetSet : {false, true}) {
                for (const bool isMutable : {false, true}) {
                    SCOPED_TRACE(NameOf(messageKind) + " " + kind.field);
                    Message* source = maker.Make(Content(*m_maker.Make(), kind.field, {kind.value}));
                    Message* target =
                        isTargetSet ? maker.Make(Content(*source, kind.field, {kind.other})) : maker.Make();
                    const std::string before = Show(*source);
                    EXPECT_EQ(Update(target, kind.field, Source(*source, kind.field, isMutable)), 0);
                    EXPECT_EQ(Show(*target), before);
                    EXPECT_EQ(Show(*source), before);
                    EXPECT_EQ(
                        TakeLines(),
                        Lines({Debug(UPDATE, "set field: " + std::string(FieldOf(*target, kind.field)->full_name()))}));
                }
            }
        }
    }
}

TEST_F(UpdateWithPbField, AnUnsetSourceFieldClearsTheTarget) {
    Message* source = m_maker.Make();
    for (const SingularKind& kind : SingularKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*source, kind.field, {kind.value}) + " many_int32: 1");
        EXPECT_EQ(Update(target, kind.field, Source(*source, kind.field)), 0);
        EXPECT_EQ(Show(*target), "many_int32: 1");
    }
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(UpdateWithPbField, PresenceDecidesWhetherZeroIsAValue) {
    struct Row {
        const char* field;
        const char* content;
        const char* expected;
    };
    // The target holds 5 or "five" before; what is absent is cleared.
    for (const Row& row : std::vector<Row>{
             {"one_int32", "one_int32: 0", ""},
             {"one_string", "one_string: ''", ""},
             {"maybe_int32", "maybe_int32: 0", "maybe_int32: 0"},
             {"maybe_int32", "", ""},
             {"maybe_string", "maybe_string: ''", "maybe_string: \"\""},
             {"choice_int32", "choice_int32: 0", "choice_int32: 0"},
             {"choice_int32", "choice_string: 's'", ""},
         }) {
        SCOPED_TRACE(std::string(row.field) + " from " + row.content);
        Message* source = m_maker3.Make(row.content);
        const bool isText = FieldOf(*source, row.field)->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
        Message* target = m_maker3.Make(std::string(row.field) + (isText ? ": 'five'" : ": 5"));
        EXPECT_EQ(Update(target, row.field, Source(*source, row.field)), 0);
        EXPECT_EQ(Show(*target), row.expected);
    }
}

TEST_F(UpdateWithPbField, AMemberOfAOneofDisplacesTheOthers) {
    Message* source = m_maker.Make("one_string: 'new'");
    Message* target = m_maker.Make("choice_message { a: 1 }");
    EXPECT_EQ(Update(target, "choice_string", Source(*source, "one_string")), 0);
    EXPECT_EQ(Show(*target), "choice_string: \"new\"");
    // A member that is not the present one is unset already.
    EXPECT_EQ(Update(target, "choice_int32", Source(*source, "one_int32")), 0);
    EXPECT_EQ(Show(*target), "choice_string: \"new\"");
}

// Setting the string drops the message that the source text lies in.
TEST_F(UpdateWithPbField, AMemberOfAOneofTakesTheTextOfTheMemberItDisplaces) {
    fields::Fields message;
    message.mutable_choice_message()->set_b("a text that lives in the message to be dropped");
    EXPECT_EQ(Update(&message, "choice_string", Source(message.choice_message(), "b")), 0);
    EXPECT_EQ(Show(message), "choice_string: \"a text that lives in the message to be dropped\"");
}

TEST_F(UpdateWithPbField, SourceAndTargetMayBeDifferentFieldsAndTypes) {
    Message* source = m_maker3.Make("one_int32: 7 one_bytes: 'b'");
    Message* target = m_maker.Make();
    EXPECT_EQ(Update(target, "one_sint32", Source(*source, "one_int32")), 0);
    EXPECT_EQ(Update(target, "one_string", Source(*source, "one_bytes")), 0);
    EXPECT_EQ(Show(*target), "one_string: \"b\" one_sint32: 7");
    EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "set field: fields.Fields.one_sint32"),
                                  Debug(UPDATE, "set field: fields.Fields.one_string")}));
}

TEST_F(UpdateWithPbField, AFieldReplacedByItselfStays) {
    for (const SingularKind& kind : SingularKinds()) {
        Message* message = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.value}));
        const std::string before = Show(*message);
        EXPECT_EQ(Update(message, kind.field, Source(*message, kind.field, MUTABLE)), 0);
        EXPECT_EQ(Show(*message), before) << kind.field;
    }
}

TEST_F(UpdateWithPbField, AnEnumNumberWithoutNameIsCopied) {
    fields3::Fields source;
    source.set_one_enum(static_cast<fields3::Color>(77));
    fields3::Fields target;
    EXPECT_EQ(Update(&target, "one_enum", Source(source, "one_enum")), 0);
    EXPECT_EQ(static_cast<int>(target.one_enum()), 77);
}

TEST_F(UpdateWithPbField, AMessageFieldFromAMessageFieldIsAnError) {
    Message* source = m_maker.Make("one_message { a: 1 } choice_message { a: 1 }");
    for (const char* content : {"", "one_message { a: 2 }"}) {
        Message* target = m_maker.Make(content);
        EXPECT_EQ(Update(target, "one_message", Source(*source, "one_message", MUTABLE)), -5145);
        EXPECT_EQ(Show(*target), content);
        EXPECT_EQ(Show(*source), "one_message { a: 1 } choice_message { a: 1 }");
        EXPECT_EQ(TakeLines(), Lines({Debug(UPDATE, "set field: fields.Fields.one_message"),
                                      Error(UPDATE, "fields.Fields.one_message, invalid type: 10")}));
    }
}

TEST_F(UpdateWithPbField, AnUnsetMessageFieldClearsAMessageField) {
    Message* target = m_maker.Make("one_message { a: 2 }");
    EXPECT_EQ(Update(target, "one_message", Source(*m_maker.Make(), "one_message")), 0);
    EXPECT_EQ(Show(*target), "");
    EXPECT_EQ(TakeLines(), Lines());
}

// ---- Where the lines go

// The category is read from the record at the time of the update, and by the push on a replaced field.
TEST_F(UpdateWithPbField, LinesGoToTheCategoryThatTheRecordHasNow) {
    CapturedLog later;
    ProtobufRecordUtil util(m_record);
    m_record.m_pLog = later.Category();
    Message* target = m_maker.Make("many_int32: 1");
    PbField src = Source(*m_maker.Make(), "many_int32");
    MutableProtobufField field = {target, FieldOf(*target, "many_int32")};
    EXPECT_EQ(util.UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &src), 0);
    EXPECT_EQ(TakeLines(), Lines());
    EXPECT_EQ(later.Lines(),
              Lines({Debug(UPDATE, "replace repeated field: many_int32, src.isRange: 0, src.range: [0, 0]"),
                     Debug("PushWithPbField", "src repeated field(fields.Fields.many_int32) is empty")}));
    later.Clear();
    EXPECT_EQ(util.UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, nullptr), -256);
    EXPECT_EQ(later.Lines(), Lines({Error(UPDATE, "input value is null")}));
}

// That of a whole message, of a message field and of a singular field too.
TEST_F(UpdateWithPbField, LinesOfEveryTargetGoToTheCategoryThatTheRecordHasNow) {
    CapturedLog later;
    ProtobufRecordUtil util(m_record);
    m_record.m_pLog = later.Category();
    Message* target = m_maker.Make();
    Message* source = m_maker.Make("one_int32: 4");
    struct Row {
        const char* field;  // empty for the message itself
        PbField src;
        std::string line;
    };
    const Row rows[] = {
        {"", WholeMessage(*m_maker3.Make()),
         Error(UPDATE, "inconsistent message, source: fields3.Fields, target: fields.Fields")},
        {"", Source(*source, "one_int32"),
         Error(UPDATE, "expect sourceFieldDesc is null, source: fields.Fields, target: fields.Fields")},
        {"", WholeMessage(*source), Debug(UPDATE, "copy message fields.Fields")},
        {"one_message", WholeMessage(*m_plainMaker.Make(), MUTABLE), Debug(UPDATE, "swap message fields.Plain")},
        {"one_message", WholeMessage(*m_plainMaker.Make()),
         Error(UPDATE, "expect fieldDesc is null, source: fields.Plain, target: fields.Fields")},
        {"one_int32", Source(*source, "one_int32"), Debug(UPDATE, "set field: fields.Fields.one_int32")},
    };
    for (const Row& row : rows) {
        MutableProtobufField field = {target, *row.field == '\0' ? nullptr : FieldOf(*target, row.field)};
        PbField src = row.src;
        util.UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &src);
        EXPECT_EQ(later.TakeLines(), Lines({row.line}));
    }
    EXPECT_EQ(TakeLines(), Lines());
}

// A note tells what comes: while it is written, nothing has changed but that a message field which takes a message is
// there, still empty.
TEST_F(UpdateWithPbField, NotesComeBeforeTheChange) {
    for (const bool isMutable : {false, true}) {
        SCOPED_TRACE(isMutable);
        Message* target = m_maker.Make("one_int32: 1 one_string: 'a' many_int32: 1");
        Message* source = m_maker.Make("one_int32: 2 one_string: 'b' many_int32: 2");
        Message* plain = m_plainMaker.Make("a: 7");
        Lines seen;
        WatchedLog watched([&] { seen.push_back(Show(*target)); });
        m_record.m_pLog = watched.Category();
        for (const char* name : {"one_int32", "one_string", "many_int32"}) {
            EXPECT_EQ(Update(target, name, Source(*source, name, isMutable)), 0);
        }
        EXPECT_EQ(Update(target, "one_message", WholeMessage(*plain, isMutable)), 0);
        EXPECT_EQ(UpdateMessage(target, WholeMessage(*source, isMutable)), 0);
        m_record.m_pLog = m_log.Category();
        EXPECT_EQ(seen, (Lines{
                            "one_int32: 1 one_string: \"a\" many_int32: 1",
                            "one_int32: 2 one_string: \"a\" many_int32: 1",
                            "one_int32: 2 one_string: \"b\" many_int32: 1",
                            "one_int32: 2 one_string: \"b\" one_message { } many_int32: 2",
                            "one_int32: 2 one_string: \"b\" one_message { a: 7 } many_int32: 2",
                        }));
        EXPECT_EQ(Show(*target), "one_int32: 2 one_string: \"b\" many_int32: 2");
    }
}

TEST_F(UpdateWithPbField, NotesAreSilentBelowTheBoundAndFailuresAreNot) {
    int32_t low = LOG_PRIORITY_INFO;
    m_log.Category()->piPriorityLow = &low;
    Message* target = m_maker.Make("one_message { a: 1 }");
    Message* source = m_maker.Make("one_int32: 4 many_int32: 4");
    EXPECT_EQ(Update(target, "one_int32", Source(*source, "one_int32")), 0);
    EXPECT_EQ(Update(target, "many_int32", Source(*source, "many_int32")), 0);
    EXPECT_EQ(Update(target, "many_string", Source(*source, "many_string")), 0);
    EXPECT_EQ(TakeLines(), Lines());
    EXPECT_EQ(Update(target, "one_message", WholeMessage(*m_plainMaker.Make())), -4889);
    EXPECT_EQ(TakeLines().size(), 1U);
    EXPECT_EQ(Show(*target), "one_int32: 4 one_message { a: 1 } many_int32: 4");
    m_log.Category()->piPriorityLow = nullptr;
}

TEST_F(UpdateWithPbField, WithoutACategoryTheCodesAreTheSame) {
    m_record.m_pLog = nullptr;
    Message* target = m_maker.Make("one_message { a: 1 } one_int32: 1");
    Message* source = m_maker.Make("one_message { a: 2 } one_int32: 2");
    EXPECT_EQ(Update(target, "one_int32", Source(*source, "one_int32")), 0);
    EXPECT_EQ(Update(target, "one_message", Source(*source, "one_message")), -5145);
    EXPECT_EQ(UpdateMessage(target, Source(*source, "one_message")), -4889);
    EXPECT_EQ(UpdateMessage(target, WholeMessage(*source, MUTABLE)), 0);
    EXPECT_EQ(Show(*target), "one_int32: 2 one_message { a: 2 }");
}

}  // namespace
