// Elements of a repeated field overwritten by those of a source field.
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>

#include "fields3.pb.h"
#include "source_copy.h"
#include "support/broken_message.h"
#include "support/record_util_peer.h"

namespace {

using namespace source_copy;  // NOLINT: the vocabulary of these tests

constexpr const char* SET = "SetWithPbField";

class SetWithPbField : public SourceCopyTest {};

// ---- The steps, in order

TEST_F(SetWithPbField, AnEmptySourceIsTheFirstErrorAndNamesTheTarget) {
    Message* source = m_maker.Make("many_int32: 1");
    const Lines expected = {Error(SET, "src repeated field(fields.Fields.many_string) is empty")};

    Message* target = m_maker.Make("many_string: ['a', 'b']");
    EXPECT_EQ(Set(target, "many_string", 0, 1, Source(*source, "many_bytes")), -4633);
    EXPECT_EQ(ShowField(*target, "many_string"), "[\"a\", \"b\"]");
    EXPECT_EQ(TakeLines(), expected);

    // Whatever else is wrong.
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    EXPECT_EQ(Set(&broken, "many_string", 5, 1, Source(*source, "many_bytes")), -4633);
    EXPECT_EQ(TakeLines(), expected);
    EXPECT_EQ(Set(m_maker.Make(), "many_string", 5, 1, SourceRange(*source, "many_bytes", 0, 3)), -4633);
    EXPECT_EQ(TakeLines(), expected);
}

TEST_F(SetWithPbField, ATargetWithoutReflectionIsTheSecond) {
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    Message* source = m_maker.Make("many_string: 'a'");
    EXPECT_EQ(Set(&broken, "many_string", 5, 1, Source(*source, "many_string")), -256);
    EXPECT_EQ(TakeLines(), Lines({Error(SET, "GetReflection failed, field=fields.Fields.many_string")}));
}

// The positions are told as they were given.
TEST_F(SetWithPbField, AnEmptyTargetIsTheThird) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* source = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a}));
        Message* target = m_maker.Make();
        EXPECT_EQ(Set(target, kind.field, -1, -3, Source(*source, kind.field)), -4633);
        EXPECT_EQ(Set(target, kind.field, 0, 0, Source(*source, kind.field)), -4633);
        EXPECT_EQ(Show(*target), "");
        EXPECT_EQ(TakeLines(), Lines({Error(SET, "invalid idxBegin: -1, idxEnd: -3, count: 0"),
                                      Error(SET, "invalid idxBegin: 0, idxEnd: 0, count: 0")}));
    }
}

struct PositionRow {
    int begin;
    int end;
    const char* result;  // of [1, 2, 3] from [7, 8, 9], or the positions in the line
};

TEST_F(SetWithPbField, PositionsCountFromEitherEnd) {
    for (const PositionRow& row : std::vector<PositionRow>{
             {0, 0, "[7, 2, 3]"},
             {1, 1, "[1, 7, 3]"},
             {2, 2, "[1, 2, 7]"},
             {0, 2, "[7, 8, 9]"},
             {1, 2, "[1, 7, 8]"},
             // From the end.
             {-1, -1, "[1, 2, 7]"},
             {-3, -1, "[7, 8, 9]"},
             {-3, -3, "[7, 2, 3]"},
             {-2, 2, "[1, 7, 8]"},
             {0, -2, "[7, 8, 3]"},
         }) {
        SCOPED_TRACE(std::to_string(row.begin) + ".." + std::to_string(row.end));
        Message* target = m_maker.Make("many_int32: [1, 2, 3]");
        Message* source = m_maker.Make("many_int32: [7, 8, 9]");
        EXPECT_EQ(Set(target, "many_int32", row.begin, row.end, Source(*source, "many_int32")), 0);
        EXPECT_EQ(ShowField(*target, "many_int32"), row.result);
        EXPECT_EQ(TakeLines(), Lines());
    }
}

TEST_F(SetWithPbField, PositionsOutsideTheTargetAreTheFourth) {
    for (const PositionRow& row : std::vector<PositionRow>{
             {0, 3, "invalid idxBegin: 0, idxEnd: 3, count: 3"},
             {3, 3, "invalid idxBegin: 3, idxEnd: 3, count: 3"},
             {2, 1, "invalid idxBegin: 2, idxEnd: 1, count: 3"},
             {4, 3, "invalid idxBegin: 4, idxEnd: 3, count: 3"},
             // From the end, told as counted.
             {-1, 0, "invalid idxBegin: 2, idxEnd: 0, count: 3"},
             {-1, -2, "invalid idxBegin: 2, idxEnd: 1, count: 3"},
             {0, -4, "invalid idxBegin: 0, idxEnd: -1, count: 3"},
             {-1, 3, "invalid idxBegin: 2, idxEnd: 3, count: 3"},
             {0, 2147483647, "invalid idxBegin: 0, idxEnd: 2147483647, count: 3"},
             {0, -2147483647 - 1, "invalid idxBegin: 0, idxEnd: -2147483645, count: 3"},
         }) {
        SCOPED_TRACE(std::to_string(row.begin) + ".." + std::to_string(row.end));
        for (const ElementKind& kind : AllElementKinds()) {
            const std::vector<std::string> elements = {kind.a, kind.b, kind.c};
            Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, elements));
            Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
            EXPECT_EQ(Set(target, kind.field, row.begin, row.end, Source(*source, kind.field, MUTABLE)), -4633);
            EXPECT_EQ(ShowField(*target, kind.field), Printed(elements));
            EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
            EXPECT_EQ(TakeLines(), Lines({Error(SET, row.result)})) << kind.field;
        }
    }
}

std::string WorkerOf(const ElementKind& kind) {
    const FieldDescriptor* fieldDesc = FieldOf(fields::Fields::default_instance(), kind.field);
    switch (fieldDesc->cpp_type()) {
        case FieldDescriptor::CPPTYPE_ENUM:
            return "SetRepeatedEnumWithPbField";
        case FieldDescriptor::CPPTYPE_STRING:
            return "SetRepeatedStringWithPbField";
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return "SetRepeatedMessageWithPbField";
        default:
            return "";
    }
}

// The line of a source that has `srcEnd - srcBegin + 1` elements for more places.
std::string TooFew(const ElementKind& kind, int begin, int end, int srcBegin, int srcEnd) {
    const FieldDescriptor* fieldDesc = FieldOf(fields::Fields::default_instance(), kind.field);
    const std::string text = "assign element(" + std::string(fieldDesc->full_name()) +
                             ") count not match, idxBegin: " + std::to_string(begin) +
                             ", idxEnd: " + std::to_string(end);
    const std::string worker = WorkerOf(kind);
    if (worker.empty()) {
        return Error(HEADER, "SetRepeatedField", text + ", assignCount: " + std::to_string(srcEnd - srcBegin + 1));
    }
    return Error(worker,
                 text + ", srcIdxBegin: " + std::to_string(srcBegin) + ", srcIdxEnd: " + std::to_string(srcEnd));
}

TEST_F(SetWithPbField, ASourceWithTooFewElementsIsTheLast) {
    for (const bool isMutable : {false, true}) {
        for (const ElementKind& kind : AllElementKinds()) {
            SCOPED_TRACE(kind.field);
            const std::vector<std::string> elements = {kind.a, kind.b, kind.c};
            Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, elements));
            Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
            EXPECT_EQ(Set(target, kind.field, 0, 2, Source(*source, kind.field, isMutable)), -4633);
            EXPECT_EQ(Set(target, kind.field, -2, -1, SourceRange(*source, kind.field, 1, 1, isMutable)), -4633);
            // A run that is empty.
            EXPECT_EQ(Set(target, kind.field, 1, 1, SourceRange(*source, kind.field, 1, 0, isMutable)), -4633);
            EXPECT_EQ(ShowField(*target, kind.field), Printed(elements));
            EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
            EXPECT_EQ(TakeLines(),
                      Lines({TooFew(kind, 0, 2, 0, 1), TooFew(kind, 1, 2, 1, 1), TooFew(kind, 1, 1, 1, 0)}));
        }
    }
}

// That is left to the caller: what is looked at next is the number of elements.
TEST_F(SetWithPbField, AFirstPositionBeforeTheTargetIsNotRefused) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        const std::vector<std::string> elements = {kind.a, kind.b, kind.c};
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, elements));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x}));
        EXPECT_EQ(Set(target, kind.field, -5, 0, Source(*source, kind.field)), -4633);
        EXPECT_EQ(Set(target, kind.field, -9, -5, Source(*source, kind.field)), -4633);
        EXPECT_EQ(ShowField(*target, kind.field), Printed(elements));
        EXPECT_EQ(TakeLines(), Lines({TooFew(kind, -2, 0, 0, 0), TooFew(kind, -6, -2, 0, 0)}));
    }
}

// ---- Copies

TEST_F(SetWithPbField, ElementsAreCopied) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
        EXPECT_EQ(Set(target, kind.field, 1, 2, Source(*source, kind.field)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.a, kind.x, kind.y}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
    }
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(SetWithPbField, ARangeBeginsAtItsFirstElementAndSurplusIsIgnored) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.c, kind.x, kind.y, kind.c}));
        EXPECT_EQ(Set(target, kind.field, 0, 0, SourceRange(*source, kind.field, 1, 3)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.b}));
        EXPECT_EQ(Set(target, kind.field, 0, 1, Source(*source, kind.field)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.c, kind.x}));
    }
}

// One element alone is a range of one; a source that only says "element" stands for the whole field. A map behind
// it is its maker's.
TEST_F(SetWithPbField, TheMarkOfASingleElementIsNotRead) {
    const int map = 0;
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y, kind.c}));
        PbField src = Source(*source, kind.field);
        src.SetArrayElementIdx(2);
        src.pMap = &map;
        EXPECT_EQ(Set(target, kind.field, 0, 0, src), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x}));
    }
}

TEST_F(SetWithPbField, AMessageElementKeepsNothingOfItsFormerContent) {
    Message* target = m_maker.Make("many_message { a: 1 b: 'b' numbers: [1, 2] sub { a: 1 } }");
    Message* source = m_maker.Make("many_message { numbers: 3 }");
    EXPECT_EQ(Set(target, "many_message", 0, 0, Source(*source, "many_message")), 0);
    EXPECT_EQ(Show(*target), "many_message { numbers: 3 }");
}

// Fields that this program's types do not have, but whoever wrote the record did.
TEST_F(SetWithPbField, UnknownFieldsOfAnElementComeAlong) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            for (const bool isMutable : {false, true}) {
                SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind) + (isMutable ? ", moved" : ", copied"));
                MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
                MessageMaker sourceMaker(sourceKind, fields::Fields::descriptor());
                Message* target = targetMaker.Make("many_message { a: 1 }");
                Message* source = sourceMaker.Make("many_message { a: 2 }");
                const FieldDescriptor* fieldDesc = FieldOf(*target, "many_message");
                Message* from = source->GetReflection()->MutableRepeatedMessage(source, fieldDesc, 0);
                from->GetReflection()->MutableUnknownFields(from)->AddVarint(1000, 7);
                EXPECT_EQ(Set(target, "many_message", 0, 0, Source(*source, "many_message", isMutable)), 0);
                const int counts[] = {1, isMutable ? 0 : 1};
                int i = 0;
                for (const Message* message : {target, source}) {
                    const Message& element = message->GetReflection()->GetRepeatedMessage(*message, fieldDesc, 0);
                    EXPECT_EQ(element.GetReflection()->GetUnknownFields(element).field_count(), counts[i]);
                    ++i;
                }
            }
        }
    }
}

TEST_F(SetWithPbField, EntriesOfAMapAreMessages) {
    for (const bool isMutable : {false, true}) {
        for (const MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* target = maker.Make("by_name { key: 'a' value: 1 }");
            Message* source = maker.Make("by_name { key: 'x' value: 7 }");
            EXPECT_EQ(Set(target, "by_name", 0, 0, Source(*source, "by_name", isMutable)), 0);
            EXPECT_EQ(Show(*target), "by_name { key: \"x\" value: 7 }");
            EXPECT_EQ(Show(*source), isMutable ? "by_name { key: \"a\" value: 1 }" : "by_name { key: \"x\" value: 7 }");
            fields::Fields reread;
            ASSERT_TRUE(reread.ParseFromString(target->SerializeAsString()));
            EXPECT_EQ(reread.by_name().at("x"), 7);
        }
    }
}

TEST_F(SetWithPbField, AnEnumNumberWithoutNameIsCopied) {
    fields3::Fields source;
    source.add_many_enum(static_cast<fields3::Color>(77));
    fields3::Fields target;
    target.add_many_enum(fields3::GREEN);
    EXPECT_EQ(Set(&target, "many_enum", 0, 0, Source(source, "many_enum")), 0);
    EXPECT_EQ(static_cast<int>(target.many_enum(0)), 77);
}

// ---- Moves

TEST_F(SetWithPbField, AMutableSourceHoldsTheFormerElements) {
    std::vector<ElementKind> kinds = TextKinds();
    kinds.insert(kinds.end(), MessageElementKinds().begin(), MessageElementKinds().end());
    for (const ElementKind& kind : kinds) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.c, kind.x, kind.y, kind.a}));
        EXPECT_EQ(Set(target, kind.field, 0, 1, SourceRange(*source, kind.field, 1, 3, MUTABLE)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y, kind.c}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.c, kind.a, kind.b, kind.a}));
    }
}

// Texts and sub-messages change places as they are.
TEST_F(SetWithPbField, AMoveCopiesNoTextAndNoSubMessage) {
    const std::string content = "many_string: '" + std::string(100, 'x') + "' many_message { sub { a: 1 } }";
    for (const MessageKind sourceKind : {MessageKind::GeneratedOnHeap, MessageKind::GeneratedOnArena}) {
        for (const MessageKind targetKind : {MessageKind::GeneratedOnHeap, MessageKind::GeneratedOnArena}) {
            SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind));
            MessageMaker sourceMaker(sourceKind, fields::Fields::descriptor());
            MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
            const bool isOneOwner = sourceKind == targetKind;
            auto* source = static_cast<fields::Fields*>(sourceMaker.Make(content));
            auto* target = static_cast<fields::Fields*>((isOneOwner ? sourceMaker : targetMaker).Make(content));
            const char* sourceText = source->many_string(0).data();
            const char* targetText = target->many_string(0).data();
            EXPECT_EQ(Set(target, "many_string", 0, 0, Source(*source, "many_string", MUTABLE)), 0);
            EXPECT_EQ(target->many_string(0).data(), sourceText);
            EXPECT_EQ(source->many_string(0).data(), targetText);
            if (!isOneOwner) {
                // A message does not leave the arena that it lives on.
                continue;
            }
            const fields::Plain* sourceSub = &source->many_message(0).sub();
            const fields::Plain* targetSub = &target->many_message(0).sub();
            EXPECT_EQ(Set(target, "many_message", 0, 0, Source(*source, "many_message", MUTABLE)), 0);
            EXPECT_EQ(&target->many_message(0).sub(), sourceSub);
            EXPECT_EQ(&source->many_message(0).sub(), targetSub);
        }
    }
}

TEST_F(SetWithPbField, ScalarsAndEnumsOfAMutableSourceStay) {
    std::vector<ElementKind> kinds = ScalarKinds();
    kinds.insert(kinds.end(), EnumKinds().begin(), EnumKinds().end());
    for (const ElementKind& kind : kinds) {
        SCOPED_TRACE(kind.field);
        Message* target = m_maker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b}));
        Message* source = m_maker.Make(Content(*target, kind.field, {kind.x, kind.y}));
        EXPECT_EQ(Set(target, kind.field, 0, 1, Source(*source, kind.field, MUTABLE)), 0);
        EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.y}));
        EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
    }
}

// ---- Heap and arena, generated and dynamic

TEST_F(SetWithPbField, MessagesMadeInAnyWayGetTheSameContents) {
    for (const MessageKind targetKind : AllMessageKinds()) {
        for (const MessageKind sourceKind : AllMessageKinds()) {
            for (const bool isOneMaker : {false, true}) {
                if (isOneMaker && targetKind != sourceKind) {
                    continue;
                }
                MessageMaker targetMaker(targetKind, fields::Fields::descriptor());
                MessageMaker otherMaker(sourceKind, fields::Fields::descriptor());
                MessageMaker& sourceMaker = isOneMaker ? targetMaker : otherMaker;
                for (const ElementKind& kind : AllElementKinds()) {
                    SCOPED_TRACE(NameOf(sourceKind) + " into " + NameOf(targetKind) + " " + kind.field);
                    Message* target = targetMaker.Make(Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c}));
                    Message* source = sourceMaker.Make(Content(*m_maker.Make(), kind.field, {kind.x, kind.y}));
                    EXPECT_EQ(Set(target, kind.field, 0, 0, Source(*source, kind.field)), 0);
                    EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.b, kind.c}));
                    EXPECT_EQ(ShowField(*source, kind.field), Printed({kind.x, kind.y}));
                    const bool isMoved =
                        *WorkerOf(kind).c_str() != '\0' && WorkerOf(kind) != "SetRepeatedEnumWithPbField";
                    EXPECT_EQ(Set(target, kind.field, 1, 2, Source(*source, kind.field, MUTABLE)), 0);
                    EXPECT_EQ(ShowField(*target, kind.field), Printed({kind.x, kind.x, kind.y}));
                    EXPECT_EQ(ShowField(*source, kind.field),
                              isMoved ? Printed({kind.b, kind.c}) : Printed({kind.x, kind.y}));
                }
            }
        }
    }
}

// An element moved out of an arena must outlive it.
TEST_F(SetWithPbField, AMovedElementOutlivesItsFormerOwner) {
    for (const MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        Message* target = m_maker.Make("many_string: 'a' many_message { a: 1 }");
        {
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* source = maker.Make(
                "many_string: 'a text that is kept outside of its string object'"
                " many_message { b: 'another text that is kept outside' }");
            EXPECT_EQ(Set(target, "many_string", 0, 0, Source(*source, "many_string", MUTABLE)), 0);
            EXPECT_EQ(Set(target, "many_message", 0, 0, Source(*source, "many_message", MUTABLE)), 0);
        }
        EXPECT_EQ(Show(*target),
                  "many_string: \"a text that is kept outside of its string object\" "
                  "many_message { b: \"another text that is kept outside\" }");
    }
}

// ---- Source and target are one field

TEST_F(SetWithPbField, ACopyOntoLaterElementsRepeatsTheLeadingOnes) {
    for (const ElementKind& kind : AllElementKinds()) {
        SCOPED_TRACE(kind.field);
        const std::string content = Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c, kind.y});
        Message* message = m_maker.Make(content);
        EXPECT_EQ(Set(message, kind.field, 1, 3, Source(*message, kind.field)), 0);
        EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.a, kind.a, kind.a, kind.a}));
        message = m_maker.Make(content);
        EXPECT_EQ(Set(message, kind.field, 2, 3, SourceRange(*message, kind.field, 1, 2)), 0);
        EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.a, kind.b, kind.b, kind.b}));
        message = m_maker.Make(content);
        EXPECT_EQ(Set(message, kind.field, 2, 3, SourceRange(*message, kind.field, 0, 1)), 0);
        EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.a, kind.b, kind.a, kind.b}));
    }
}

TEST_F(SetWithPbField, ACopyOntoEarlierElementsShiftsThem) {
    for (const bool isMutable : {false, true}) {
        for (const ElementKind& kind : AllElementKinds()) {
            SCOPED_TRACE(kind.field);
            const std::vector<std::string> elements = {kind.a, kind.b, kind.c, kind.y};
            Message* message = m_maker.Make(Content(*m_maker.Make(), kind.field, elements));
            EXPECT_EQ(Set(message, kind.field, 0, 3, Source(*message, kind.field, isMutable)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed(elements));
            if (!isMutable) {
                EXPECT_EQ(Set(message, kind.field, 0, 2, SourceRange(*message, kind.field, 1, 3)), 0);
                EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.b, kind.c, kind.y, kind.y}));
            }
        }
    }
}

// Exchanged one at a time in ascending order, so the first element wanders up.
TEST_F(SetWithPbField, AMoveWithinAFieldExchangesInAscendingOrder) {
    for (const MessageKind messageKind : AllMessageKinds()) {
        MessageMaker maker(messageKind, fields::Fields::descriptor());
        for (const ElementKind& kind : {TextKinds()[0], MessageElementKinds()[0], MessageElementKinds()[1]}) {
            SCOPED_TRACE(NameOf(messageKind) + " " + kind.field);
            const std::string content = Content(*m_maker.Make(), kind.field, {kind.a, kind.b, kind.c, kind.y});
            Message* message = maker.Make(content);
            EXPECT_EQ(Set(message, kind.field, 1, 3, Source(*message, kind.field, MUTABLE)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.b, kind.c, kind.y, kind.a}));
            message = maker.Make(content);
            EXPECT_EQ(Set(message, kind.field, 0, 2, SourceRange(*message, kind.field, 1, 3, MUTABLE)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.b, kind.c, kind.y, kind.a}));
            message = maker.Make(content);
            EXPECT_EQ(Set(message, kind.field, 2, 3, SourceRange(*message, kind.field, 0, 1, MUTABLE)), 0);
            EXPECT_EQ(ShowField(*message, kind.field), Printed({kind.c, kind.y, kind.a, kind.b}));
        }
    }
}

TEST_F(SetWithPbField, AFieldOfTheSameMessageIsASourceLikeAnyOther) {
    Message* message = m_maker.Make("many_string: ['a', 'b'] many_bytes: ['x', 'y'] many_int32: 1 packed_int32: 2");
    EXPECT_EQ(Set(message, "many_string", 0, 1, Source(*message, "many_bytes", MUTABLE)), 0);
    EXPECT_EQ(Set(message, "many_int32", 0, 0, Source(*message, "packed_int32")), 0);
    EXPECT_EQ(Show(*message),
              "many_int32: 2 many_string: \"x\" many_string: \"y\" many_bytes: \"a\" "
              "many_bytes: \"b\" packed_int32: 2");
}

// ---- A whole message, which the worker takes and the entry does not

class SetRepeatedMessageWithPbField : public SourceCopyTest {
protected:
    int SetWhole(Message* target, int idxBegin, int idxEnd, PbField src) {
        ProtobufRecordUtil util(m_record);
        return ProtobufRecordUtilPeer::SetRepeatedMessageWithPbField(util, {target, FieldOf(*target, "many_message")},
                                                                     idxBegin, idxEnd, src);
    }
};

TEST_F(SetRepeatedMessageWithPbField, AWholeMessageIsOneElement) {
    for (const MessageKind kind : AllMessageKinds()) {
        for (const bool isMutable : {false, true}) {
            SCOPED_TRACE(NameOf(kind));
            MessageMaker maker(kind, fields::Plain::descriptor());
            Message* target = m_maker.Make("many_message [{ a: 1 }, { a: 2 }]");
            Message* source = maker.Make("a: 7");
            EXPECT_EQ(SetWhole(target, 1, 1, WholeMessage(*source, isMutable)), 0);
            EXPECT_EQ(ShowField(*target, "many_message"), "[{a: 1}, {a: 7}]");
            EXPECT_EQ(Show(*source), isMutable ? "a: 2" : "a: 7");
            EXPECT_EQ(TakeLines(), Lines());
        }
    }
}

TEST_F(SetRepeatedMessageWithPbField, AWholeMessageDoesNotFillTwoPlaces) {
    MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Plain::descriptor());
    Message* target = m_maker.Make("many_message [{ a: 1 }, { a: 2 }]");
    EXPECT_EQ(SetWhole(target, 0, 1, WholeMessage(*maker.Make("a: 7"))), -4633);
    EXPECT_EQ(ShowField(*target, "many_message"), "[{a: 1}, {a: 2}]");
    EXPECT_EQ(TakeLines(),
              Lines({Error("SetRepeatedMessageWithPbField",
                           "assign element(fields.Fields.many_message) count not match, idxBegin: 0, idxEnd: 1, "
                           "srcIdxBegin: 0, srcIdxEnd: 0")}));
}

// Each place takes the message, which has been exchanged with the one before when it is moved.
TEST_F(SetRepeatedMessageWithPbField, AWholeMessageWithARangeIsThatManyElements) {
    MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Plain::descriptor());
    for (const bool isMutable : {false, true}) {
        Message* target = m_maker.Make("many_message [{ a: 1 }, { a: 2 }, { a: 3 }]");
        Message* source = maker.Make("a: 7");
        PbField src = WholeMessage(*source, isMutable);
        src.SetArrayRange(3, 4);
        EXPECT_EQ(SetWhole(target, 1, 2, src), 0);
        EXPECT_EQ(ShowField(*target, "many_message"),
                  isMutable ? "[{a: 1}, {a: 7}, {a: 2}]" : "[{a: 1}, {a: 7}, {a: 7}]");
        EXPECT_EQ(Show(*source), isMutable ? "a: 3" : "a: 7");
        EXPECT_EQ(SetWhole(target, 0, 2, src), -4633);
        EXPECT_EQ(TakeLines(),
                  Lines({Error("SetRepeatedMessageWithPbField",
                               "assign element(fields.Fields.many_message) count not match, idxBegin: 0, idxEnd: 2, "
                               "srcIdxBegin: 3, srcIdxEnd: 4")}));
    }
}

}  // namespace
