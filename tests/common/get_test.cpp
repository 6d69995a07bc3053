#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>

#include "fields3.pb.h"
#include "selection_fixture.h"
#include "support/broken_message.h"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;

class GetTest : public SelectionTest {
protected:
    fields::Fields& Fill(const std::string& content) {
        EXPECT_TRUE(TextFormat::ParseFromString(content, &m_message));
        return m_message;
    }

    // The sub-message of an element of many_message.
    static const Message* InnerMessage(const Message& message, int i) {
        const google::protobuf::FieldDescriptor* field = message.GetDescriptor()->FindFieldByName("many_message");
        const Message& element = message.GetReflection()->GetRepeatedMessage(message, field, i);
        return &element.GetReflection()->GetMessage(element, element.GetDescriptor()->FindFieldByName("sub"));
    }

    fields::Fields m_target;
};

TEST_F(GetTest, CopiesBehindWhatIsThereAndReportsPositions) {
    Fill("many_string: ['a', 'b', 'c', 'd']");
    m_target.add_many_string("x");
    Positions positions = {9};
    EXPECT_EQ(Get(Field(&m_message, "many_string"), false, {{1, 1}, {3, 3}}, nullptr, Field(&m_target, "many_string"),
                  &positions),
              0);
    EXPECT_EQ(Show(m_target, "many_string"), "[\"x\", \"b\", \"d\"]");
    EXPECT_EQ(positions, (Positions{9, 1, 3}));
    EXPECT_EQ(Show(m_message, "many_string"), "[\"a\", \"b\", \"c\", \"d\"]");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(GetTest, PositionsMayBeLeftOut) {
    Fill("many_int32: [1, 2, 3]");
    EXPECT_EQ(Get(Field(&m_message, "many_int32"), false, {{-1, -1}}, nullptr, Field(&m_target, "many_int32")), 0);
    EXPECT_EQ(Show(m_target, "many_int32"), "[3]");
}

// Each row: the field, its content, what a selection of 0 and 2 hands out, and what a move leaves.
TEST_F(GetTest, EveryElementTypeIsCopiedAndMoved) {
    struct Row {
        const char* field;
        const char* content;
        const char* whole;
        const char* taken;
        const char* left;
    };
    const Row rows[] = {
        {"many_bool", "many_bool: [true, true, true]", "[true, true, true]", "[true, true]", "[false, true, false]"},
        {"many_int32", "many_int32: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_uint32", "many_uint32: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_int64", "many_int64: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_uint64", "many_uint64: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_double", "many_double: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_float", "many_float: [1, 2, 3]", "[1, 2, 3]", "[1, 3]", "[0, 2, 0]"},
        {"many_string", "many_string: ['a', 'b', 'c']", "[\"a\", \"b\", \"c\"]", "[\"a\", \"c\"]",
         "[\"\", \"b\", \"\"]"},
        {"many_bytes", "many_bytes: ['a', 'b', 'c']", "[\"a\", \"b\", \"c\"]", "[\"a\", \"c\"]", "[\"\", \"b\", \"\"]"},
        {"many_message", "many_message: [{a: 1}, {a: 2}, {a: 3, b: 'x'}]", "[{a: 1}, {a: 2}, {a: 3 b: \"x\"}]",
         "[{a: 1}, {a: 3 b: \"x\"}]", "[{}, {a: 2}, {}]"},
        {"pair", "Pair {left: 1} Pair {left: 2} Pair {left: 3}", "[{left: 1}, {left: 2}, {left: 3}]",
         "[{left: 1}, {left: 3}]", "[{}, {left: 2}, {}]"},
    };
    for (MessageKind sourceKind : AllMessageKinds()) {
        for (MessageKind targetKind : AllMessageKinds()) {
            MessageMaker sources(sourceKind, fields::Fields::descriptor());
            MessageMaker targets(targetKind, fields::Fields::descriptor());
            for (const Row& row : rows) {
                SCOPED_TRACE(NameOf(sourceKind) + " to " + NameOf(targetKind) + ", " + row.field);
                Message* source = sources.Make(row.content);
                Message* copied = targets.Make();
                EXPECT_EQ(Get(Field(source, row.field), false, {{0, 0}, {2, 2}}, nullptr, Field(copied, row.field)), 0);
                EXPECT_EQ(Show(*copied, row.field), row.taken);
                EXPECT_EQ(Show(*source, row.field), row.whole);
                Message* moved = targets.Make();
                EXPECT_EQ(Get(Field(source, row.field), true, {{0, 0}, {2, 2}}, nullptr, Field(moved, row.field)), 0);
                EXPECT_EQ(Show(*moved, row.field), row.taken);
                EXPECT_EQ(Show(*source, row.field), row.left);
                // What was handed out is whole enough to be written and read.
                std::string bytes;
                EXPECT_TRUE(moved->SerializePartialToString(&bytes));
                EXPECT_TRUE(copied->ParsePartialFromString(bytes));
                EXPECT_EQ(Show(*copied, row.field), row.taken);
            }
        }
    }
    EXPECT_EQ(m_log.Lines(), Lines{});
}

// Fields that this program's types do not have, but whoever wrote the record did.
TEST_F(GetTest, UnknownFieldsOfAnElementComeAlong) {
    for (MessageKind sourceKind : AllMessageKinds()) {
        for (MessageKind targetKind : AllMessageKinds()) {
            for (bool isMutable : {false, true}) {
                SCOPED_TRACE(NameOf(sourceKind) + " to " + NameOf(targetKind) + (isMutable ? ", moved" : ", copied"));
                MessageMaker sources(sourceKind, fields::Fields::descriptor());
                MessageMaker targets(targetKind, fields::Fields::descriptor());
                Message* source = sources.Make("many_message: {a: 1}");
                Message* target = targets.Make();
                const MutableProtobufField from = Field(source, "many_message");
                const MutableProtobufField to = Field(target, "many_message");
                Message* element = source->GetReflection()->MutableRepeatedMessage(source, from.m_pFieldDesc, 0);
                element->GetReflection()->MutableUnknownFields(element)->AddVarint(1000, 7);
                EXPECT_EQ(Get(from, isMutable, {}, nullptr, to), 0);
                const Message& taken = target->GetReflection()->GetRepeatedMessage(*target, to.m_pFieldDesc, 0);
                EXPECT_EQ(taken.GetReflection()->GetUnknownFields(taken).field_count(), 1);
                EXPECT_EQ(element->GetReflection()->GetUnknownFields(*element).field_count(), isMutable ? 0 : 1);
            }
        }
    }
}

TEST_F(GetTest, MovedStringsAreNotCopied) {
    const std::string text(100, 'x');
    m_message.add_many_string(text);
    const char* place = m_message.many_string(0).data();
    EXPECT_EQ(Get(Field(&m_message, "many_string"), true, {}, nullptr, Field(&m_target, "many_string")), 0);
    EXPECT_EQ(m_target.many_string(0).data(), place);
    EXPECT_EQ(m_message.many_string(0), "");
}

// Few or many of them.
TEST_F(GetTest, MovedMessagesAreNotCopied) {
    for (const int count : {1, 30}) {
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind) + ", " + std::to_string(count));
            MessageMaker maker(kind, fields::Fields::descriptor());
            std::string content;
            for (int i = 0; i < count; ++i) {
                content += "many_message: {sub: {a: 1}} ";
            }
            Message* message = maker.Make(content);
            Message* target = maker.Make();
            std::vector<const Message*> inner;
            for (int i = 0; i < count; ++i) {
                inner.push_back(InnerMessage(*message, i));
            }
            EXPECT_EQ(Get(Field(message, "many_message"), true, {}, nullptr, Field(target, "many_message")), 0);
            for (int i = 0; i < count; ++i) {
                EXPECT_EQ(InnerMessage(*target, i), inner[static_cast<size_t>(i)]);
            }
        }
    }
}

// Room is made once for what is selected. Grown element by element, it would double to 128.
TEST_F(GetTest, RoomIsMadeOnceForTheSelection) {
    for (int i = 0; i < 99; ++i) {
        m_message.add_many_int32(i);
        m_message.add_many_string("x");
        m_message.add_many_message();
    }
    for (const char* name : {"many_int32", "many_string", "many_message"}) {
        SCOPED_TRACE(name);
        Positions positions;
        EXPECT_EQ(Get(Field(&m_message, name), false, {}, nullptr, Field(&m_target, name), &positions), 0);
        EXPECT_EQ(positions.size(), 99U);
        EXPECT_LT(positions.capacity(), 128U);
    }
    EXPECT_LT(m_target.many_int32().Capacity(), 128);
    EXPECT_LT(m_target.many_string().Capacity(), 128);
    EXPECT_LT(m_target.many_message().Capacity(), 128);
}

// The room is that of the selection alone, and not what is there besides: behind that, containers grow by their own
// rule.
TEST_F(GetTest, RoomIsMadeForTheSelectionAlone) {
    constexpr int COUNT = 50;
    constexpr int THERE = 4;
    const auto add = [](fields::Fields& message, int count) {
        for (int i = 0; i < count; ++i) {
            message.add_many_int32(i);
            message.add_many_string("x");
            message.add_many_message();
        }
    };
    fields::Fields expected;
    add(m_message, COUNT);
    add(m_target, THERE);
    add(expected, THERE);
    expected.mutable_many_int32()->Reserve(COUNT);
    expected.mutable_many_string()->Reserve(COUNT);
    expected.mutable_many_message()->Reserve(COUNT);
    add(expected, COUNT);
    for (const char* name : {"many_int32", "many_string", "many_message"}) {
        SCOPED_TRACE(name);
        Positions positions(100, 9);
        positions.shrink_to_fit();
        Positions expectedPositions = positions;
        expectedPositions.reserve(COUNT);
        for (int i = 0; i < COUNT; ++i) {
            expectedPositions.push_back(i);
        }
        ASSERT_GT(expectedPositions.capacity(), 150U);
        EXPECT_EQ(Get(Field(&m_message, name), false, {}, nullptr, Field(&m_target, name), &positions), 0);
        EXPECT_EQ(positions, expectedPositions);
        EXPECT_EQ(positions.capacity(), expectedPositions.capacity());
    }
    ASSERT_GT(expected.many_int32().Capacity(), THERE + COUNT);
    EXPECT_EQ(m_target.many_int32().Capacity(), expected.many_int32().Capacity());
    ASSERT_GT(expected.many_string().Capacity(), THERE + COUNT);
    EXPECT_EQ(m_target.many_string().Capacity(), expected.many_string().Capacity());
    ASSERT_GT(expected.many_message().Capacity(), THERE + COUNT);
    EXPECT_EQ(m_target.many_message().Capacity(), expected.many_message().Capacity());
}

// A container keeps the elements that were cleared: strings are used again, messages stay behind.
TEST_F(GetTest, ClearedElementsOfTheTargetShowNothingOld) {
    Fill("many_string: ['a'] many_message: [{a: 1}]");
    std::string* cleared = m_target.add_many_string();
    *cleared = "old";
    m_target.add_many_message()->set_b("old");
    m_target.Clear();
    for (const char* name : {"many_string", "many_message"}) {
        EXPECT_EQ(Get(Field(&m_message, name), true, {}, nullptr, Field(&m_target, name)), 0);
    }
    EXPECT_EQ(Show(m_target), "many_string: \"a\" many_message { a: 1 }");
    EXPECT_EQ(Show(m_message), "many_string: \"\" many_message { }");
    EXPECT_EQ(&m_target.many_string(0), cleared);
    m_target.add_many_message();
    EXPECT_EQ(Show(m_target, "many_message"), "[{a: 1}, {}]");
}

// A long selection is moved by pointer where that is safe; nothing but the cost tells it from a short one.
TEST_F(GetTest, LongSelectionsAreMovedLikeShortOnes) {
    constexpr int COUNT = 50;
    for (MessageKind sourceKind : AllMessageKinds()) {
        for (MessageKind targetKind : AllMessageKinds()) {
            // Plain cannot hold Fields; Fields can, and is exchanged whatever the number.
            for (const char* name : {"many_message", "children"}) {
                SCOPED_TRACE(NameOf(sourceKind) + " to " + NameOf(targetKind) + ", " + name);
                const std::string number = name == std::string("children") ? "one_int32: " : "a: ";
                MessageMaker sources(sourceKind, fields::Fields::descriptor());
                MessageMaker targets(targetKind, fields::Fields::descriptor());
                std::string content;
                std::string taken;
                std::string left;
                for (int i = 0; i < COUNT; ++i) {
                    content += std::string(name) + " {" + number + std::to_string(i) + "} ";
                    const std::string element = "{" + number + std::to_string(i) + "}";
                    taken += i % 2 == 0 ? (i > 0 ? ", " : "") + element : "";
                    left += (i > 0 ? ", " : "") + (i % 2 == 0 ? "{}" : element);
                }
                IndexRangeList ranges;
                for (int i = 0; i < COUNT; i += 2) {
                    ranges.push_back({i, i});
                }
                Message* source = sources.Make(content);
                Message* target = targets.Make();
                EXPECT_EQ(Get(Field(source, name), true, ranges, nullptr, Field(target, name)), 0);
                EXPECT_EQ(Show(*target, name), "[" + taken + "]");
                EXPECT_EQ(Show(*source, name), "[" + left + "]");
                // Into the field itself.
                EXPECT_EQ(Get(Field(target, name), true, {}, nullptr, Field(target, name)), 0);
                std::string empty;
                for (int i = 0; i < COUNT / 2; ++i) {
                    empty += "{}, ";
                }
                EXPECT_EQ(Show(*target, name), "[" + empty + taken + "]");
            }
        }
    }
}

// Elements change their container only where none of them can hold the target, which would go with it: known of
// types that cannot, at whatever depth. Else their contents change places.
TEST_F(GetTest, OfLongSelectionsElementsMoveThatCannotHoldTheTarget) {
    constexpr int COUNT = 30;
    fields::Fields target;
    google::protobuf::ListValue list;
    google::protobuf::FileDescriptorSet files;
    google::protobuf::FileDescriptorSet otherFiles;
    for (int i = 0; i < COUNT; ++i) {
        m_message.add_many_strict()->set_id(i);
        list.add_values()->set_number_value(i);
        files.add_file()->set_name(std::to_string(i));
    }
    const fields::Strict* strict = &m_message.many_strict(5);
    EXPECT_EQ(Get(Field(&m_message, "many_strict"), true, {}, nullptr, Field(&target, "many_strict")), 0);
    EXPECT_EQ(&target.many_strict(5), strict);
    EXPECT_EQ(target.many_strict(5).id(), 5);

    // A value holds lists of values.
    google::protobuf::ListValue* inner = list.mutable_values(0)->mutable_list_value();
    const google::protobuf::Value* value = &list.values(5);
    EXPECT_EQ(Get(Field(&list, "values"), true, {{1, -1}}, nullptr, Field(inner, "values")), 0);
    EXPECT_EQ(&list.values(5), value);
    EXPECT_EQ(&list.values(0).list_value(), inner);
    ASSERT_EQ(inner->values_size(), COUNT - 1);
    for (int i = 1; i < COUNT; ++i) {
        EXPECT_EQ(list.values(i).kind_case(), google::protobuf::Value::KIND_NOT_SET);
        EXPECT_EQ(inner->values(i - 1).number_value(), i);
    }

    // Too many types to look at.
    const google::protobuf::FileDescriptorProto* file = &files.file(5);
    EXPECT_EQ(Get(Field(&files, "file"), true, {}, nullptr, Field(&otherFiles, "file")), 0);
    EXPECT_EQ(&files.file(5), file);
    EXPECT_EQ(Show(files.file(5)), "");
    EXPECT_EQ(otherFiles.file(5).name(), "5");
}

TEST_F(GetTest, AnElementMayBeTakenIntoAFieldOfItsOwn) {
    for (const int count : {2, 30}) {
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind) + ", " + std::to_string(count));
            MessageMaker maker(kind, fields::Plain::descriptor());
            std::string content = "list {a: 0 list {a: 100}} ";
            std::string taken = "list { a: 0 list { a: 100 } }";
            std::string left;
            for (int i = 1; i < count; ++i) {
                content += "list {a: " + std::to_string(i) + "} ";
                taken += " list { a: " + std::to_string(i) + " }";
                left += ", {}";
            }
            Message* message = maker.Make(content);
            const MutableProtobufField list = Field(message, "list");
            Message* first = message->GetReflection()->MutableRepeatedMessage(message, list.m_pFieldDesc, 0);
            EXPECT_EQ(Get(list, true, {}, nullptr, Field(first, "list")), 0);
            EXPECT_EQ(Show(*message, "list"), "[{" + taken + "}" + left + "]");
        }
    }
}

TEST_F(GetTest, FormWithAWritableSourceMoves) {
    Fill("many_string: ['a', 'b']");
    MutableProtobufField src = Field(&m_message, "many_string");
    MutableProtobufField dst = Field(&m_target, "many_string");
    IndexRangeList ranges = {{1, 1}};
    Positions positions;
    EXPECT_EQ(ProtobufRecordUtil(m_record).GetWithRange(src, ranges, nullptr, dst, &positions), 0);
    EXPECT_EQ(Show(m_target, "many_string"), "[\"b\"]");
    EXPECT_EQ(Show(m_message, "many_string"), "[\"a\", \"\"]");
    EXPECT_EQ(positions, Positions{1});
}

TEST_F(GetTest, RangesAndFilterDecideTogether) {
    Fill("many_message: [{a: 1}, {a: 20}, {a: 3}]");
    Positions positions;
    EXPECT_EQ(Get(Field(&m_message, "many_message"), false, {{1, -1}}, Less("a", 10), Field(&m_target, "many_message"),
                  &positions),
              0);
    EXPECT_EQ(Show(m_target, "many_message"), "[{a: 3}]");
    EXPECT_EQ(positions, Positions{2});
}

TEST_F(GetTest, EnumSourcesAreRefused) {
    Fill("many_enum: [RED]");
    EXPECT_EQ(Get(Field(&m_message, "many_enum"), false, {}, nullptr, Field(&m_target, "many_enum")),
              OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    const std::string line = "ERROR src/common/protobuf_record_util.cpp GetWithRange: invalid type=8";
    EXPECT_EQ(m_log.TakeLines(), (Lines{line}));
    // Whatever the target is, and however few the elements are.
    EXPECT_EQ(Get(Field(&m_message, "many_enum"), false, {}, nullptr, Field(&m_target, "many_int32")),
              OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    m_message.clear_many_enum();
    EXPECT_EQ(Get(Field(&m_message, "many_enum"), true, {}, nullptr, Field(&m_target, "many_enum")),
              OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(m_log.Lines(), (Lines{line, line}));
}

// The scalar worker asks for the marks of an empty source too, the others do not.
TEST_F(GetTest, OnlyTheScalarWorkerMarksAnEmptySource) {
    EXPECT_EQ(Get(Field(&m_message, "many_int32"), false, {}, Failing(), Field(&m_target, "many_int32")),
              OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(m_log.TakeLines().size(), 2U);
    EXPECT_EQ(Get(Field(&m_message, "many_int32"), false, {}, nullptr, Field(&m_target, "many_int32")), 0);
    EXPECT_EQ(Get(Field(&m_message, "many_string"), false, {}, Failing(), Field(&m_target, "many_string")), 0);
    EXPECT_EQ(Get(Field(&m_message, "many_message"), false, {}, Failing(), Field(&m_target, "many_message")), 0);
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(GetTest, FailedMarkingWritesTwoLinesAndTakesNothing) {
    Fill("many_int32: [1] many_string: ['a'] many_message: [{a: 1}]");
    const std::pair<const char*, const char*> rows[] = {
        {"many_int32", "src/common/protobuf_record_util.h GetRepeatedField"},
        {"many_string", "src/common/protobuf_record_util.cpp GetRepeatedString"},
        {"many_message", "src/common/protobuf_record_util.cpp GetRepeatedMessage"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        Positions positions;
        EXPECT_EQ(Get(Field(&m_message, row.first), true, {}, Failing(), Field(&m_target, row.first), &positions),
                  OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
        const Lines lines = m_log.TakeLines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(
            lines[0].rfind("ERROR src/common/protobuf_record_util.cpp MarkMatchPositions: FindArrayMatchPositions "
                           "failed, ret: -4889, errmsg: ",
                           0),
            0U)
            << lines[0];
        EXPECT_EQ(lines[1], std::string("ERROR ") + row.second + ": MarkMatchPositions failed, src=fields.Fields." +
                                row.first + ", ret=-4889");
        EXPECT_EQ(Show(m_target), "");
        EXPECT_EQ(positions, Positions{});
    }
    EXPECT_EQ(Show(m_message), "many_int32: 1 many_string: \"a\" many_message { a: 1 }");
}

TEST_F(GetTest, NothingSelectedLeavesTargetAndPositions) {
    Fill("many_int32: [1] many_string: ['a'] many_message: [{a: 1}]");
    Positions positions = {4};
    for (const char* name : {"many_int32", "many_string", "many_message"}) {
        EXPECT_EQ(Get(Field(&m_message, name), true, {{3, 5}}, nullptr, Field(&m_target, name), &positions), 0);
    }
    EXPECT_EQ(Show(m_target), "");
    EXPECT_EQ(positions, Positions{4});
    EXPECT_EQ(Show(m_message), "many_int32: 1 many_string: \"a\" many_message { a: 1 }");
}

// A message that cannot be made ends the get; what was handed out before stays, with its positions. The line names
// the field that lacks it.
TEST_F(GetTest, NewMessageThatFailsKeepsWhatWasTaken) {
    for (bool isMutable : {false, true}) {
        SCOPED_TRACE(isMutable);
        MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
        Message* source = maker.Make("many_message: [{a: 1}]");
        const MutableProtobufField field = Field(source, "many_message");
        const Message* like = maker.Factory()->GetPrototype(field.m_pFieldDesc->message_type());
        source->GetReflection()->AddAllocatedMessage(source, field.m_pFieldDesc,
                                                     new BrokenMessage(like->GetDescriptor(), like->GetReflection()));
        Message* target = maker.Make();
        const google::protobuf::FieldDescriptor* extension =
            fields::Fields::descriptor()->file()->FindExtensionByName("ext_many_message");
        Positions positions;
        EXPECT_EQ(Get(field, isMutable, {}, nullptr, {target, extension}, &positions), OstraneErrCode::GEN_ERR_ERR);
        EXPECT_EQ(m_log.TakeLines(), (Lines{"ERROR src/common/protobuf_record_util.cpp GetRepeatedMessage: new "
                                            "Message(fields.ext_many_message) failed"}));
        EXPECT_EQ(Show(*target, extension), "[{a: 1}]");
        EXPECT_EQ(positions, Positions{0});
    }
}

TEST_F(GetTest, MapEntriesAreHandedOutAsMessages) {
    (*m_message.mutable_by_name())["hp"] = 5;
    (*m_message.mutable_by_name())["mp"] = 7;
    Expr* isHp = m_tree.Node(OstraneCommon::EXPR_COMPARE_EQ, "", {m_tree.Name("key"), m_tree.Text("hp")});
    EXPECT_EQ(Get(Field(&m_message, "by_name"), false, {}, isHp, Field(&m_target, "by_name")), 0);
    EXPECT_EQ(m_target.by_name().size(), 1U);
    EXPECT_EQ(m_target.by_name().at("hp"), 5);
    EXPECT_EQ(m_message.by_name().size(), 2U);
}

// The entries stay with their map, however many they are.
TEST_F(GetTest, MapEntriesAreMovedByTheirContents) {
    constexpr int COUNT = 30;
    for (int i = 0; i < COUNT; ++i) {
        (*m_message.mutable_by_name())[std::to_string(i)] = i;
    }
    const MutableProtobufField source = Field(&m_message, "by_name");
    const google::protobuf::Reflection* reflection = m_message.GetReflection();
    const Message* entry = &reflection->GetRepeatedMessage(m_message, source.m_pFieldDesc, 5);
    EXPECT_EQ(Get(source, true, {}, nullptr, Field(&m_target, "by_name")), 0);
    EXPECT_EQ(&reflection->GetRepeatedMessage(m_message, source.m_pFieldDesc, 5), entry);
    ASSERT_EQ(m_target.by_name().size(), size_t{COUNT});
    for (int i = 0; i < COUNT; ++i) {
        EXPECT_EQ(m_target.by_name().at(std::to_string(i)), i);
    }
    // Those that stayed have one key.
    EXPECT_EQ(m_message.by_name().size(), 1U);
    EXPECT_EQ(m_message.by_name().at(""), 0);
}

TEST_F(GetTest, ExtensionsAreReadThroughTheirDescriptor) {
    m_message.AddExtension(fields::ext_many_message)->set_a(1);
    m_message.AddExtension(fields::ext_many_message)->set_a(2);
    const google::protobuf::FieldDescriptor* extension =
        fields::Fields::descriptor()->file()->FindExtensionByName("ext_many_message");
    EXPECT_EQ(Get({&m_message, extension}, true, {{1, 1}}, nullptr, Field(&m_target, "many_message")), 0);
    EXPECT_EQ(Show(m_target, "many_message"), "[{a: 2}]");
    EXPECT_EQ(Show(m_message, extension), "[{a: 1}, {}]");
}

TEST_F(GetTest, FieldsWithoutPresenceAreServedAlike) {
    fields3::Fields source;
    ASSERT_TRUE(TextFormat::ParseFromString("many_message: [{a: 1}, {}] many_int32: [0, 5]", &source));
    fields3::Fields target;
    EXPECT_EQ(Get(Field(&source, "many_message"), false, {}, nullptr, Field(&target, "many_message")), 0);
    EXPECT_EQ(Get(Field(&source, "many_int32"), false, {}, Less("$", 1), Field(&target, "many_int32")), 0);
    EXPECT_EQ(Show(target), "many_int32: 0 many_message { a: 1 } many_message { }");
}

// Source and target the same field: the selection is made before the first element is appended.
TEST_F(GetTest, AFieldMayBeItsOwnTarget) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* copied = maker.Make("many_int32: [1, 2, 3] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]");
        for (const char* name : {"many_int32", "many_string", "many_message"}) {
            EXPECT_EQ(Get(Field(copied, name), false, {}, nullptr, Field(copied, name)), 0);
        }
        EXPECT_EQ(Show(*copied, "many_int32"), "[1, 2, 3, 1, 2, 3]");
        EXPECT_EQ(Show(*copied, "many_string"), "[\"a\", \"b\", \"a\", \"b\"]");
        EXPECT_EQ(Show(*copied, "many_message"), "[{a: 1}, {a: 2}, {a: 1}, {a: 2}]");

        Message* moved = maker.Make("many_int32: [1, 2, 3] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]");
        for (const char* name : {"many_int32", "many_string", "many_message"}) {
            EXPECT_EQ(Get(Field(moved, name), true, {}, nullptr, Field(moved, name)), 0);
        }
        EXPECT_EQ(Show(*moved, "many_int32"), "[0, 0, 0, 1, 2, 3]");
        EXPECT_EQ(Show(*moved, "many_string"), "[\"\", \"\", \"a\", \"b\"]");
        EXPECT_EQ(Show(*moved, "many_message"), "[{}, {}, {a: 1}, {a: 2}]");
    }
}

TEST_F(GetTest, TheSourceMayLieInsideTheTarget) {
    Fill("children: {children: {one_int32: 1} children: {one_int32: 2}}");
    MutableProtobufField source = Field(m_message.mutable_children(0), "children");
    EXPECT_EQ(Get(source, false, {}, nullptr, Field(&m_message, "children")), 0);
    EXPECT_EQ(Show(m_message, "children"),
              "[{children { one_int32: 1 } children { one_int32: 2 }}, {one_int32: 1}, {one_int32: 2}]");
    EXPECT_EQ(Get(source, true, {{0, 0}}, nullptr, Field(&m_message, "children")), 0);
    EXPECT_EQ(Show(m_message, "children"),
              "[{children { } children { one_int32: 2 }}, {one_int32: 1}, {one_int32: 2}, "
              "{one_int32: 1}]");
}

TEST_F(GetTest, TheTargetMayLieInsideTheSource) {
    Fill("children: {one_int32: 1} children: {one_int32: 2}");
    MutableProtobufField target = Field(m_message.mutable_children(0), "children");
    EXPECT_EQ(Get(Field(&m_message, "children"), false, {}, nullptr, target), 0);
    EXPECT_EQ(Show(m_message, "children"),
              "[{one_int32: 1 children { one_int32: 1 } children { one_int32: 2 }}, {one_int32: 2}]");
}

}  // namespace
