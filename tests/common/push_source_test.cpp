// Elements of a source field inserted into a repeated field.
#include <google/protobuf/dynamic_message.h>

#include "fields3.pb.h"
#include "source_copy.h"
#include "support/broken_message.h"

namespace {

using namespace source_copy;  // NOLINT: the vocabulary of these tests

constexpr const char* PUSH = "PushWithPbField";

class PushWithPbField : public SourceCopyTest {
protected:
    MessageMaker m_plainMaker{MessageKind::GeneratedOnHeap, fields::Plain::descriptor()};
};

std::vector<ElementKind> MovedKinds() {
    std::vector<ElementKind> kinds = TextKinds();
    kinds.insert(kinds.end(), MessageElementKinds().begin(), MessageElementKinds().end());
    return kinds;
}

bool IsEnum(const ElementKind& kind) {
    return FieldOf(fields::Fields::default_instance(), kind.field)->cpp_type() == FieldDescriptor::CPPTYPE_ENUM;
}

// ---- The steps, in order

TEST_F(PushWithPbField, AnEmptySourceIsASuccessThatNamesTheTarget) {
    Message* source = m_maker.Make("many_int32: 1");
    const Lines expected = {Debug(PUSH, "src repeated field(fields.Fields.many_string) is empty")};

    Message* target = m_maker.Make("many_string: ['a', 'b']");
    EXPECT_EQ(Push(target, "many_string", 0, Source(*source, "many_bytes")), 0);
    EXPECT_EQ(ShowField(*target, "many_string"), "[\"a\", \"b\"]");
    EXPECT_EQ(TakeLines(), expected);

    // Whatever is wrong otherwise.
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    EXPECT_EQ(Push(&broken, "many_string", 0, Source(*source, "many_bytes")), 0);
    EXPECT_EQ(TakeLines(), expected);
    EXPECT_EQ(Push(target, "many_string", 9, SourceRange(*source, "many_bytes", 2, 1, MUTABLE)), 0);
    EXPECT_EQ(ShowField(*target, "many_string"), "[\"a\", \"b\"]");
    EXPECT_EQ(TakeLines(), expected);
}

TEST_F(PushWithPbField, TheNoteAboutAnEmptySourceHeedsTheBounds) {
    struct Row {
        int32_t low;
        int32_t high;
        size_t lineCount;
    };
    Message* target = m_maker.Make("many_int32: 1");
    Message* source = m_maker.Make();
    for (const Row& row : std::vector<Row>{
             {-1, -1, 1}, {700, -1, 1}, {699, -1, 0}, {300, -1, 0}, {-1, 700, 1}, {-1, 701, 0}, {800, 0, 1}}) {
        int32_t low = row.low;
        int32_t high = row.high;
        m_log.Category()->piPriorityLow = &low;
        m_log.Category()->piPriorityHigh = &high;
        EXPECT_EQ(Push(target, "many_int32", 0, Source(*source, "many_int32")), 0);
        EXPECT_EQ(TakeLines().size(), row.lineCount) << row.low << ' ' << row.high;
    }
    m_log.Category()->piPriorityLow = nullptr;
    m_log.Category()->piPriorityHigh = nullptr;
}

TEST_F(PushWithPbField, ATargetWithoutReflectionIsTheFirstError) {
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    Message* source = m_maker.Make("many_string: 'a' many_message {}");
    EXPECT_EQ(Push(&broken, "many_string", 5, Source(*source, "many_string")), -256);
    EXPECT_EQ(Push(&broken, "many_message", 5, WholeMessage(*m_plainMaker.Make())), -256);
    EXPECT_EQ(TakeLines(), Lines({Error(PUSH, "GetReflection failed, field=fields.Fields.many_string"),
                                  Error(PUSH, "GetReflection failed, field=fields.Fields.many_message")}));
}

TEST_F(PushWithPbField, APositionBehindTheEndIsTheSecond) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x}));
        EXPECT_EQ(Push(target, kind.field, 3, Source(*source, kind.field, MUTABLE)), -4633);
        EXPECT_EQ(Push(target, kind.field, 2147483647, Source(*source, kind.field)), -4633);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.a, kind.b}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x}));
        EXPECT_EQ(TakeLines(), Lines({Error(PUSH, "invalid idx = 3, count = 2"),
                                      Error(PUSH, "invalid idx = 2147483647, count = 2")}));
    }
}

// ---- Copies

TEST_F(PushWithPbField, OneElementIsInsertedAnywhere) {
    struct Row {
        int pos;
        std::vector<int> order;  // of a, b, c and x, which is 3
    };
    for (const Row& row : std::vector<Row>{
             {0, {3, 0, 1, 2}}, {1, {0, 3, 1, 2}}, {2, {0, 1, 3, 2}}, {3, {0, 1, 2, 3}}, {-1, {0, 1, 2, 3}}}) {
        for (const ElementKind& kind : AllElementKinds()) {
            for (const bool isMutable : {false, true}) {
                SCOPED_TRACE(std::string(kind.field) + " at " + std::to_string(row.pos));
                const char* const elements[] = {kind.a, kind.b, kind.c, kind.x};
                std::vector<std::string> expected;
                for (const int element : row.order) {
                    expected.push_back(elements[element]);
                }
                Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
                Message* source = m_maker.Make(Content(*target, kind.field, {kind.x}));
                EXPECT_EQ(Push(target, kind.field, row.pos, Source(*source, kind.field, isMutable)), 0);
                EXPECT_EQ(ShowField(*target, kind.field), Printed(expected));
            }
        }
    }
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(PushWithPbField, AnyNumberIsAppended) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* source = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.x, kind.y, kind.c}));
        Message* target = m_maker.Make();
        EXPECT_EQ(Push(target, kind.field, -1, Source(*source, kind.field)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y, kind.c}));
        EXPECT_EQ(Push(target, kind.field, 3, SourceRange(*source, kind.field, 1, 2)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y, kind.c, kind.y, kind.c}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y, kind.c}));
    }
}

// The one pass that follows makes room for one element only.
TEST_F(PushWithPbField, TwoElementsInTheMiddleOverwriteOne) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        const std::string placeholder = IsEnum(kind) ? kind.x : kind.placeholder;
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.c, kind.x, kind.y}));
        EXPECT_EQ(Push(target, kind.field, 1, SourceRange(*source, kind.field, 1, 2)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.a, kind.x, kind.y, kind.c, placeholder}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.c, kind.x, kind.y}));
    }
}

TEST_F(PushWithPbField, ManyElementsAtTheFrontOverwriteAll) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        const std::string placeholder = IsEnum(kind) ? kind.x : kind.placeholder;
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y, kind.c, kind.a}));
        EXPECT_EQ(Push(target, kind.field, 0, Source(*source, kind.field)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y, kind.c, kind.a, placeholder, placeholder}));
    }
}

// The container keeps the values of elements that were removed, and hands them out again.
TEST_F(PushWithPbField, PlaceholdersAreNotWhatWasRemovedBefore) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target =
            m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c, kind.y, kind.c, kind.y}));
        const FieldDescriptor* fieldDesc = FieldOf(*target, kind.field);
        for (int i = 0; i < 4; ++i) {
            target->GetReflection()->RemoveLast(target, fieldDesc);
        }
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y, kind.x}));
        EXPECT_EQ(Push(target, kind.field, 0, Source(*source, kind.field)), 0);
        const std::string placeholder = IsEnum(kind) ? kind.x : kind.placeholder;
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y, kind.x, placeholder, placeholder}));
    }
}

TEST_F(PushWithPbField, AnEmptyRunStillMovesTheLastElement) {
    for (const ElementKind& kind : AllElementKinds()) {
        for (const bool isMutable : {false, true}) {
            for (const int end : {0, -1}) {
                SCOPED_TRACE(std::string(kind.field) + " ..." + std::to_string(end));
                Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
                Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
                // end 0: a run of none; end -1: one that ends earlier still.
                EXPECT_EQ(Push(target, kind.field, 0, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.c, kind.a, kind.b}));
                // In front of the last element and behind it there is nothing to pass.
                EXPECT_EQ(Push(target, kind.field, 2, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(Push(target, kind.field, 3, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(Push(target, kind.field, -1, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.c, kind.a, kind.b}));
                EXPECT_EQ(Push(target, kind.field, 1, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.c, kind.b, kind.a}));
                EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));

                Message* empty = m_maker.Make();
                EXPECT_EQ(Push(empty, kind.field, -1, SourceRange(*source, kind.field, 1, end, isMutable)), 0);
                EXPECT_EQ(Show(*empty), "");
            }
        }
    }
    EXPECT_EQ(TakeLines(), Lines());
}

// Nor is a map behind the source.
TEST_F(PushWithPbField, TheMarkOfASingleElementIsNotRead) {
    const int map = 0;
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
        PbField src = Source(*source, kind.field);
        src.SetArrayElementIdx(1);
        src.pMap = &map;
        EXPECT_EQ(Push(target, kind.field, -1, src), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.a, kind.x, kind.y}));
    }
}

TEST_F(PushWithPbField, AnEnumNumberWithoutNameIsCopied) {
    fields3::Fields source;
    source.add_many_enum(static_cast<fields3::Color>(77));
    source.add_many_enum(fields3::BLUE);
    fields3::Fields target;
    target.add_many_enum(fields3::GREEN);
    EXPECT_EQ(Push(&target, "many_enum", 0, Source(source, "many_enum")), 0);
    EXPECT_EQ(ShowField(target, "many_enum"), "[77, BLUE, 77]");
}

TEST_F(PushWithPbField, EntriesOfAMapAreMessages) {
    for (const bool isMutable : {false, true}) {
        for (const MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* target = maker.Make("by_number { key: 1 value { a: 1 } }");
            Message* source = maker.Make("by_number { key: 7 value { a: 7 } }");
            EXPECT_EQ(Push(target, "by_number", 0, Source(*source, "by_number", isMutable)), 0);
            fields::Fields reread;
            ASSERT_TRUE(reread.ParseFromString(target->SerializeAsString()));
            EXPECT_EQ(reread.by_number_size(), 2);
            EXPECT_EQ(reread.by_number().at(1).a(), 1);
            EXPECT_EQ(reread.by_number().at(7).a(), 7);
        }
    }
}

// ---- Moves

struct MoveRow {
    int pos;
    int begin;
    int end;
    std::vector<int> target;  // of a, b, c as 0, 1, 2; of x, y, y as 3, 4, 5; a placeholder as -1
    std::vector<int> source;
};

TEST_F(PushWithPbField, AMutableSourceGetsWhatStoodAtTheNewPlaces) {
    for (const MoveRow& row : std::vector<MoveRow>{
             // At the end: placeholders.
             {-1, 0, 2, {0, 1, 2, 3, 4, 5}, {-1, -1, -1}},
             {3, 1, 1, {0, 1, 2, 4}, {3, -1, 5}},
             // One in the middle or at the front: the placeholder that the pass brought there.
             {1, 0, 0, {0, 3, 1, 2}, {-1, 4, 5}},
             {0, 2, 2, {5, 0, 1, 2}, {3, 4, -1}},
             // More: the overwritten elements move into the source.
             {1, 0, 1, {0, 3, 4, 2, -1}, {-1, 1, 5}},
             {0, 0, 2, {3, 4, 5, 2, -1, -1}, {-1, 0, 1}},
             {2, 0, 2, {0, 1, 3, 4, 5, -1}, {-1, 2, -1}},
         }) {
        for (const MessageKind messageKind : AllMessageKinds()) {
            MessageMaker maker(messageKind, fields::Fields::descriptor());
            for (const ElementKind& kind : MovedKinds()) {
                SCOPED_TRACE(NameOf(messageKind) + " " + kind.field + " at " + std::to_string(row.pos) + " from " +
                             std::to_string(row.begin) + ".." + std::to_string(row.end));
                const std::vector<std::string> elements = {kind.a, kind.b, kind.c, kind.x, kind.y, kind.y};
                const auto printed = [&](const std::vector<int>& order) {
                    std::vector<std::string> texts;
                    for (const int element : order) {
                        texts.push_back(element < 0 ? kind.placeholder : elements[static_cast<size_t>(element)]);
                    }
                    return Printed(texts);
                };
                Message* target = maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
                Message* source = maker.Make(Content(*m_maker.Make(), kind.field, {kind.x, kind.y, kind.y}));
                PbField src = SourceRange(*source, kind.field, row.begin, row.end, MUTABLE);
                EXPECT_EQ(Push(target, kind.field, row.pos, src), 0);
                EXPECT_EQ(ShowField(*target, kind.field), printed(row.target));
                EXPECT_EQ(ShowField(*source, kind.field), printed(row.source));
            }
        }
    }
}

TEST_F(PushWithPbField, ScalarsAndEnumsOfAMutableSourceStay) {
    std::vector<ElementKind> kinds = ScalarKinds();
    kinds.insert(kinds.end(), EnumKinds().begin(), EnumKinds().end());
    for (const ElementKind& kind : kinds) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
        EXPECT_EQ(Push(target, kind.field, 1, Source(*source, kind.field, MUTABLE)), 0);
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
    }
}

// ---- A whole message

TEST_F(PushWithPbField, AWholeMessageIsOneElement) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            for (const bool isMutable : {false, true}) {
                SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind));
                MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
                MessageMaker sourceMaker(sourceKind, fields::Plain::descriptor());
                Message* target = targetMaker.Make("many_message [{ a: 1 }, { a: 2 }]");
                Message* source = sourceMaker.Make("a: 7");
                EXPECT_EQ(Push(target, "many_message", 1, WholeMessage(*source, isMutable)), 0);
                EXPECT_EQ(ShowField(*target, "many_message"), "[{a: 1}, {a: 7}, {a: 2}]");
                EXPECT_EQ(Show(*source), isMutable ? "" : "a: 7");
            }
        }
    }
    EXPECT_EQ(TakeLines(), Lines());
}

// Each new place takes the message; moved, it is empty from the second place on.
TEST_F(PushWithPbField, AWholeMessageWithARangeIsThatManyElements) {
    for (const bool isMutable : {false, true}) {
        Message* target = m_maker.Make("many_message { a: 1 }");
        Message* source = m_plainMaker.Make("a: 7");
        PbField src = WholeMessage(*source, isMutable);
        src.SetArrayRange(0, 1);
        EXPECT_EQ(Push(target, "many_message", -1, src), 0);
        EXPECT_EQ(ShowField(*target, "many_message"), isMutable ? "[{a: 1}, {a: 7}, {}]" : "[{a: 1}, {a: 7}, {a: 7}]");
        EXPECT_EQ(Show(*source), isMutable ? "" : "a: 7");
        // A run of none still moves the last element.
        src.SetArrayRange(1, 0);
        target = m_maker.Make("many_message [{ a: 1 }, { a: 2 }]");
        EXPECT_EQ(Push(target, "many_message", 0, src), 0);
        EXPECT_EQ(ShowField(*target, "many_message"), "[{a: 2}, {a: 1}]");
    }
    EXPECT_EQ(TakeLines(), Lines());
}

// An empty message is an element too: only a field can be empty.
TEST_F(PushWithPbField, AnEmptyWholeMessageIsPushed) {
    Message* target = m_maker.Make();
    EXPECT_EQ(Push(target, "many_message", 0, WholeMessage(*m_plainMaker.Make())), 0);
    EXPECT_EQ(Show(*target), "many_message { }");
    EXPECT_EQ(TakeLines(), Lines());
}

// It cannot be moved into itself, so it is copied, as it was before the push.
TEST_F(PushWithPbField, AMessageIsPushedIntoItsOwnField) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("one_int32: 1 children { one_int32: 2 }");
            EXPECT_EQ(Push(message, "children", 0, WholeMessage(*message, isMutable)), 0);
            EXPECT_EQ(Show(*message),
                      "one_int32: 1 children { one_int32: 1 children { one_int32: 2 } } children { one_int32: 2 }");
        }
    }
}

TEST_F(PushWithPbField, AnElementIsPushedIntoItsOwnFieldAsWholeMessage) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("many_message [{ a: 1 }, { a: 2 }]");
            const FieldDescriptor* fieldDesc = FieldOf(*message, "many_message");
            const Message& element = message->GetReflection()->GetRepeatedMessage(*message, fieldDesc, 1);
            EXPECT_EQ(Push(message, "many_message", 0, WholeMessage(element, isMutable)), 0);
            EXPECT_EQ(ShowField(*message, "many_message"),
                      isMutable ? "[{a: 2}, {a: 1}, {}]" : "[{a: 2}, {a: 1}, {a: 2}]");
        }
    }
}

// The source lies in an element whose container grows and moves.
TEST_F(PushWithPbField, AFieldOfAnElementIsPushedBesideIt) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make("children { one_int32: 1 children [{ one_int32: 2 }, { one_int32: 3 }] }");
            const FieldDescriptor* fieldDesc = FieldOf(*message, "children");
            const Message& element = message->GetReflection()->GetRepeatedMessage(*message, fieldDesc, 0);
            EXPECT_EQ(Push(message, "children", -1, Source(element, "children", isMutable)), 0);
            const std::string rest = isMutable ? "{one_int32: 1 children { } children { }}"
                                               : "{one_int32: 1 children { one_int32: 2 } children { one_int32: 3 }}";
            EXPECT_EQ(ShowField(*message, "children"), "[" + rest + ", {one_int32: 2}, {one_int32: 3}]");
        }
    }
}

// ---- Source and target are one field

TEST_F(PushWithPbField, ACopyOfItsOwnRunIsTheRunAsItStood) {
    for (const MessageKind messageKind : AllMessageKinds()) {
        MessageMaker maker(messageKind, fields::Fields::descriptor());
        for (const ElementKind& kind : AllElementKinds()) {
            SCOPED_TRACE(NameOf(messageKind) + " " + kind.field);
            const std::string content = Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c});
            Message* message = maker.Make(content);
            EXPECT_EQ(Push(message, kind.field, -1, Source(*message, kind.field)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.a, kind.b, kind.c, kind.a, kind.b, kind.c}));

            message = maker.Make(content);
            EXPECT_EQ(Push(message, kind.field, 0, SourceRange(*message, kind.field, 2, 2)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.c, kind.a, kind.b, kind.c}));

            message = maker.Make(content);
            const std::string placeholder = IsEnum(kind) ? kind.b : kind.placeholder;
            EXPECT_EQ(Push(message, kind.field, 1, SourceRange(*message, kind.field, 1, 2)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.a, kind.b, kind.c, kind.c, placeholder}));
        }
    }
}

struct OwnMoveRow {
    int pos;
    int begin;
    int end;
    std::vector<int> result;  // of a, b, c, d as 0 .. 3; a placeholder as -1
};

TEST_F(PushWithPbField, AMoveOfItsOwnRunExchangesPlaces) {
    for (const OwnMoveRow& row : std::vector<OwnMoveRow>{
             {-1, 0, 3, {-1, -1, -1, -1, 0, 1, 2, 3}},
             {-1, 1, 1, {0, -1, 2, 3, 1}},
             {0, 3, 3, {3, 0, 1, 2, -1}},
             {2, 2, 2, {0, 1, 2, -1, 3}},
             // Of the pass [a, -, b, c, d, -] the places hold - and b.
             {1, 0, 1, {-1, 0, 1, 2, 3, -1}},
             // [a, b, -, c, d, -]: b goes where - was, c stays.
             {2, 1, 2, {0, -1, 1, 2, 3, -1}},
             // [-, a, b, c, d, -, -]: a and b stay where the pass left them .. c leaves to the place of b.
             {0, 0, 2, {0, 1, 2, -1, 3, -1, -1}},
             // [a, b, -, c, d, -, -]: c, then d at its place, then what stood at the place of that.
             {2, 0, 2, {-1, 3, 0, 1, 2, -1, -1}},
             {1, 2, 3, {0, 2, 3, -1, 1, -1}},
         }) {
        for (const MessageKind messageKind : AllMessageKinds()) {
            MessageMaker maker(messageKind, fields::Fields::descriptor());
            for (const ElementKind& kind : MovedKinds()) {
                SCOPED_TRACE(NameOf(messageKind) + " " + kind.field + " at " + std::to_string(row.pos) + " from " +
                             std::to_string(row.begin) + ".." + std::to_string(row.end));
                const std::vector<std::string> elements = {kind.a, kind.b, kind.c, kind.y};
                std::vector<std::string> expected;
                for (const int element : row.result) {
                    expected.push_back(element < 0 ? kind.placeholder : elements[static_cast<size_t>(element)]);
                }
                Message* message = maker.Make(Content(*m_maker.Make(), kind.field, elements));
                PbField src = SourceRange(*message, kind.field, row.begin, row.end, MUTABLE);
                EXPECT_EQ(Push(message, kind.field, row.pos, src), 0);
                EXPECT_EQ(ShowField(*message, kind.field), Printed(expected));
            }
        }
    }
}

// At some of these sizes the container is full and moves to new storage.
TEST_F(PushWithPbField, AFieldThatIsPushedToItselfMayMoveWhileItGrows) {
    for (const MessageKind messageKind : AllMessageKinds()) {
        MessageMaker maker(messageKind, fields::Fields::descriptor());
        for (const ElementKind& kind : AllElementKinds()) {
            for (const bool isMutable : {false, true}) {
                for (int size = 1; size <= 40; size += 3) {
                    SCOPED_TRACE(NameOf(messageKind) + " " + kind.field + " " + std::to_string(size));
                    std::vector<std::string> elements;
                    for (int i = 0; i < size; ++i) {
                        elements.push_back(i % 3 == 0 ? kind.a : i % 3 == 1 ? kind.b : kind.y);
                    }
                    Message* message = maker.Make(Content(*m_maker.Make(), kind.field, elements));
                    EXPECT_EQ(Push(message, kind.field, -1, Source(*message, kind.field, isMutable)), 0);
                    const FieldDescriptor* fieldDesc = FieldOf(*message, kind.field);
                    const bool isMoved = isMutable && (fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_STRING ||
                                                       fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE);
                    std::vector<std::string> expected =
                        isMoved ? std::vector<std::string>(elements.size(), kind.placeholder) : elements;
                    expected.insert(expected.end(), elements.begin(), elements.end());
                    EXPECT_EQ(ShowField(*message, kind.field), Printed(expected));
                }
            }
        }
    }
}

// ---- Heap and arena, generated and dynamic

TEST_F(PushWithPbField, MessagesMadeInAnyWayGetTheSameContents) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
            MessageMaker sourceMaker(sourceKind, fields::Fields::descriptor());
            for (const ElementKind& kind : AllElementKinds()) {
                for (const bool isMutable : {false, true}) {
                    SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind) + " " + kind.field);
                    const std::string placeholder = IsEnum(kind) ? kind.x : kind.placeholder;
                    Message* target = targetMaker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
                    Message* source = sourceMaker.Make(Content(*m_maker.Make(), kind.field, {kind.x, kind.y}));
                    EXPECT_EQ(Push(target, kind.field, 1, Source(*source, kind.field, isMutable)), 0);
                    EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.a, kind.x, kind.y, kind.c, placeholder}));
                    const FieldDescriptor* fieldDesc = FieldOf(*target, kind.field);
                    const bool isMoved = isMutable && (fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_STRING ||
                                                       fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE);
                    EXPECT_EQ(ShowField(*source, kind.field),
                              isMoved ? Printed({kind.placeholder, kind.b}) : Printed({kind.x, kind.y}));
                }
            }
        }
    }
}

TEST_F(PushWithPbField, AMovedElementOutlivesItsFormerOwner) {
    for (const MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        Message* target = m_maker.Make("many_string: 'a' many_message { a: 1 }");
        {
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* source = maker.Make(
                "many_string: 'a text that is kept outside of its string object'"
                " many_message { b: 'another text that is kept outside' }");
            EXPECT_EQ(Push(target, "many_string", 0, Source(*source, "many_string", MUTABLE)), 0);
            EXPECT_EQ(Push(target, "many_message", 0, Source(*source, "many_message", MUTABLE)), 0);
        }
        EXPECT_EQ(Show(*target),
                  "many_string: \"a text that is kept outside of its string object\" many_string: \"a\" "
                  "many_message { b: \"another text that is kept outside\" } many_message { a: 1 }");
    }
}

}  // namespace
