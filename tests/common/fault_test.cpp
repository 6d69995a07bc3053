// Pop, get and copies from source fields where protobuf gives null for what it should give, and every
// operation with each of its calls failing in turn.
#include <functional>
#include <limits>

#include "selection_fixture.h"
#include "support/broken_message.h"
#include "support/reflection_faults.h"

namespace {

using google::protobuf::Message;
using OstraneCommon::PbField;
using Peer = ProtobufRecordUtilPeer;

constexpr int GENERIC = OstraneErrCode::GEN_ERR_ERR;

// A field of every element type, the call that gives its container, and which workers take it.
struct Kind {
    const char* field;
    const char* content;
    const char* shown;
    ReflectionCall container;
    const char* worker;  // PopRepeated.., GetRepeated..
    bool isScalar;

    // Which of these calls of a get asks for the container of the target. Marking comes first for strings
    // and messages, and protobuf gives strings that are only read by the same call.
    int TargetCall() const { return std::string(worker) == "String" ? 2 : 1; }
};

const Kind KINDS[] = {
    {"many_bool", "[true, false, true]", "[true, false, true]", ReflectionCall::MutableBools, "Field", true},
    {"many_int32", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableInt32s, "Field", true},
    {"packed_int32", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableInt32s, "Field", true},
    {"many_uint32", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableUInt32s, "Field", true},
    {"many_int64", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableInt64s, "Field", true},
    {"many_uint64", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableUInt64s, "Field", true},
    {"many_double", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableDoubles, "Field", true},
    {"many_float", "[1, 2, 3]", "[1, 2, 3]", ReflectionCall::MutableFloats, "Field", true},
    {"many_string", "['a', 'b', 'c']", "[\"a\", \"b\", \"c\"]", ReflectionCall::MutableStrings, "String", false},
    {"many_bytes", "['a', 'b', 'c']", "[\"a\", \"b\", \"c\"]", ReflectionCall::MutableStrings, "String", false},
    {"many_message", "[{a: 1}, {}, {a: 3}]", "[{a: 1}, {}, {a: 3}]", ReflectionCall::MutableElements, "Message", false},
};

class FaultTest : public SelectionTest {
protected:
    // Runs `test` on each element type and each way to make a message.
    template <typename Test>
    static void OnEveryKind(Test test) {
        for (MessageKind messageKind : AllMessageKinds()) {
            for (const Kind& kind : KINDS) {
                SCOPED_TRACE(NameOf(messageKind) + " " + kind.field);
                MessageMaker maker(messageKind, fields::Fields::descriptor());
                test(maker, kind);
            }
        }
    }
    static Message* Filled(MessageMaker& maker, const Kind& kind) {
        return maker.Make(std::string(kind.field) + ": " + kind.content);
    }
    static std::string Line(const std::string& function, const std::string& text) {
        return "ERROR src/common/protobuf_record_util.cpp " + function + ": " + text;
    }
    // The scalar workers are templates, and stand in the header.
    static std::string WorkerLine(const Kind& kind, const std::string& operation, const std::string& text) {
        return std::string("ERROR src/common/protobuf_record_util.") + (kind.isScalar ? "h " : "cpp ") + operation +
               kind.worker + ": " + text;
    }
    static std::string FullName(const Kind& kind) { return std::string("fields.Fields.") + kind.field; }

    static PbField Source(Message* message, const std::string& name, bool isMutable) {
        PbField src;
        src.SetField(message, Field(message, name).m_pFieldDesc, isMutable);
        return src;
    }
    int SetFrom(MutableProtobufField field, int idxBegin, int idxEnd, PbField src) {
        return Util().SetWithPbField(field, idxBegin, idxEnd, src);
    }
    int PushFrom(MutableProtobufField field, int pos, PbField src) { return Util().PushWithPbField(field, pos, src); }
};

// Pop

TEST_F(FaultTest, PopAsksForTheContainerBeforeTheFilter) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        Message* message = Filled(maker, kind);
        const Lines lines = {WorkerLine(kind, "PopRepeated", "pRepeated(" + FullName(kind) + ") is null")};
        {
            const ReflectionFault fault(kind.container);
            EXPECT_EQ(PopWithRange(Field(message, kind.field), {{0, 0}}, Failing()), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(), lines);
        {
            const ReflectionFault fault(kind.container);
            EXPECT_EQ(PopWithExpr(Field(message, kind.field), m_tree.Pop("0")), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(), lines);
        EXPECT_EQ(Show(*message, kind.field), kind.shown);
        // Before it is known to be empty, too.
        {
            const ReflectionFault fault(kind.container);
            EXPECT_EQ(PopWithRange(Field(maker.Make(), kind.field), {{0, 0}}), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(), lines);
    });
}

// The filter may have read the map by key, so its container is asked for twice.
TEST_F(FaultTest, PopOfAMapAsksForTheContainerOnceMoreBehindTheFilter) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("by_name {key: 'hp' value: 5} by_name {key: 'mp' value: 7}");
        {
            const ReflectionFault fault(ReflectionCall::MutableElements, 2);
            EXPECT_EQ(PopWithRange(Field(message, "by_name"), {{0, 0}}), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(), (Lines{Line("PopRepeatedMessage", "pRepeated(fields.Fields.by_name) is null")}));
        EXPECT_EQ(Show(*message), "by_name { key: \"hp\" value: 5 } by_name { key: \"mp\" value: 7 }");
    }
}

TEST_F(FaultTest, PopOfEverythingNeedsNoContainer) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        Message* message = Filled(maker, kind);
        const ReflectionFault fault(ReflectionCall::Any);
        EXPECT_EQ(PopWithExpr(Field(message, kind.field), m_tree.Pop("")), 0);
        EXPECT_FALSE(fault.HasFired());
        EXPECT_EQ(message->GetReflection()->FieldSize(*message, Field(message, kind.field).m_pFieldDesc), 0);
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(FaultTest, ExtensionsStandInLinesWithTheirScope) {
    m_message.AddExtension(fields::ext_many_string, "a");
    const google::protobuf::FieldDescriptor* extension =
        fields::Fields::descriptor()->file()->FindExtensionByName("ext_many_string");
    {
        const ReflectionFault fault(ReflectionCall::MutableStrings);
        EXPECT_EQ(PopWithRange({&m_message, extension}, {}), GENERIC);
    }
    EXPECT_EQ(m_log.Lines(), (Lines{Line("PopRepeatedString", "pRepeated(fields.ext_many_string) is null")}));
    EXPECT_EQ(Show(m_message, extension), "[\"a\"]");
}

// Get

TEST_F(FaultTest, GetFailsWithoutTheContainerOfItsTarget) {
    for (bool isMutable : {false, true}) {
        OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
            SCOPED_TRACE(isMutable ? "moved" : "copied");
            Message* source = Filled(maker, kind);
            Message* target = Filled(maker, kind);
            Positions positions = {9};
            {
                const ReflectionFault fault(kind.container, kind.TargetCall());
                EXPECT_EQ(Get(Field(source, kind.field), isMutable, {}, nullptr, Field(target, kind.field), &positions),
                          GENERIC);
            }
            EXPECT_EQ(m_log.TakeLines(),
                      (Lines{WorkerLine(kind, "GetRepeated", "pTargetRepeated(" + FullName(kind) + ") is null")}));
            EXPECT_EQ(Show(*source, kind.field), kind.shown);
            EXPECT_EQ(Show(*target, kind.field), kind.shown);
            EXPECT_EQ(positions, Positions{9});
        });
    }
}

// The scalar worker takes the container of the target before it marks, the others after.
TEST_F(FaultTest, TargetContainerAndMarkingHaveTheirOrder) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        Message* source = Filled(maker, kind);
        Message* empty = maker.Make();
        {
            const ReflectionFault fault(kind.container, kind.TargetCall());
            const int ret = Get(Field(source, kind.field), true, {}, Failing(), Field(empty, kind.field));
            EXPECT_EQ(ret, kind.isScalar ? GENERIC : OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
            EXPECT_EQ(fault.HasFired(), kind.isScalar);
        }
        const Lines lines = m_log.TakeLines();
        if (kind.isScalar) {
            EXPECT_EQ(lines,
                      (Lines{WorkerLine(kind, "GetRepeated", "pTargetRepeated(" + FullName(kind) + ") is null")}));
            return;
        }
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[1],
                  WorkerLine(kind, "GetRepeated", "MarkMatchPositions failed, src=" + FullName(kind) + ", ret=-4889"));
        // Nothing to hand out: from an empty source, and where no element is selected.
        for (const auto& row : std::vector<std::pair<Message*, IndexRangeList>>{{empty, {}}, {source, {{7, 9}}}}) {
            const ReflectionFault fault(kind.container, kind.TargetCall());
            EXPECT_EQ(Get(Field(row.first, kind.field), true, row.second, nullptr, Field(empty, kind.field)), 0);
            EXPECT_FALSE(fault.HasFired());
        }
        EXPECT_EQ(m_log.TakeLines(), Lines{});
    });
}

// The container to move from is the last that a scalar get asks for: behind the marking, and when there is an
// element to move.
TEST_F(FaultTest, ScalarsAskForTheContainerToMoveFromWhenSomethingIsSelected) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        if (!kind.isScalar) {
            return;
        }
        Message* source = Filled(maker, kind);
        Message* target = maker.Make();
        {
            const ReflectionFault fault(kind.container, 2);
            EXPECT_EQ(Get(Field(source, kind.field), true, {}, Failing(), Field(target, kind.field)),
                      OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
            EXPECT_FALSE(fault.HasFired());
        }
        EXPECT_EQ(m_log.TakeLines().size(), 2U);
        {
            const ReflectionFault fault(kind.container, 2);
            EXPECT_EQ(Get(Field(source, kind.field), true, {{7, 9}}, nullptr, Field(target, kind.field)), 0);
            EXPECT_FALSE(fault.HasFired());
        }
        EXPECT_EQ(m_log.TakeLines(), Lines{});
        EXPECT_EQ(Show(*source, kind.field), kind.shown);
        EXPECT_EQ(Show(*target), "");
    });
}

TEST_F(FaultTest, GetThatMovesFailsWithoutTheContainerOfItsSource) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        const std::string text = kind.isScalar ? "pSrcMutableRepeated(" : "pMutableRepeated(";
        Message* source = Filled(maker, kind);
        Message* target = Filled(maker, kind);
        Positions positions = {9};
        {
            const ReflectionFault fault(kind.container, kind.TargetCall() + 1);
            EXPECT_EQ(Get(Field(source, kind.field), true, {}, nullptr, Field(target, kind.field), &positions),
                      GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(), (Lines{WorkerLine(kind, "GetRepeated", text + FullName(kind) + ") is null")}));
        EXPECT_EQ(Show(*source, kind.field), kind.shown);
        EXPECT_EQ(Show(*target, kind.field), kind.shown);
        EXPECT_EQ(positions, Positions{9});
    });
}

TEST_F(FaultTest, LinesOfAGetNameTheFieldThatIsMissing) {
    struct Row {
        ReflectionCall call;
        int targetCall;
        const char* source;
        const char* target;
        std::string function;
        std::string sourceWord;
    };
    const Row rows[] = {
        {ReflectionCall::MutableInt32s, 1, "many_int32", "packed_int32", ".h GetRepeatedField", "pSrcMutableRepeated"},
        {ReflectionCall::MutableStrings, 2, "many_string", "many_bytes", ".cpp GetRepeatedString", "pMutableRepeated"},
        {ReflectionCall::MutableElements, 1, "many_message", "ext_many_message", ".cpp GetRepeatedMessage",
         "pMutableRepeated"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.source);
        const google::protobuf::FieldDescriptor* target = Field(&m_message, row.target).m_pFieldDesc;
        if (target == nullptr) {
            target = fields::Fields::descriptor()->file()->FindExtensionByName(row.target);
        }
        MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
        Message* message = maker.Make("many_int32: 1 many_string: 'a' many_message: {a: 1}");
        const std::string place = "ERROR src/common/protobuf_record_util" + row.function + ": ";
        for (bool isTarget : {true, false}) {
            {
                const ReflectionFault fault(row.call, row.targetCall + (isTarget ? 0 : 1));
                EXPECT_EQ(Get(Field(message, row.source), true, {}, nullptr, {message, target}), GENERIC);
            }
            const std::string missing = isTarget ? "pTargetRepeated(" + std::string(target->full_name())
                                                 : row.sourceWord + "(fields.Fields." + row.source;
            EXPECT_EQ(m_log.TakeLines(), (Lines{place + missing + ") is null"}));
        }
        EXPECT_EQ(Show(*message), "many_int32: 1 many_string: \"a\" many_message { a: 1 }");
    }
}

TEST_F(FaultTest, ScalarsAreCopiedWithoutAWritableSource) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        if (!kind.isScalar) {
            return;
        }
        Message* source = Filled(maker, kind);
        Message* target = maker.Make();
        const ReflectionFault fault(kind.container, 2);
        EXPECT_EQ(Get(Field(source, kind.field), false, {}, nullptr, Field(target, kind.field)), 0);
        EXPECT_FALSE(fault.HasFired());
        EXPECT_EQ(Show(*target, kind.field), kind.shown);
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

// Copies from source fields

TEST_F(FaultTest, RunsOfScalarsNeedTheContainerOfTheTarget) {
    OnEveryKind([&](MessageMaker& maker, const Kind& kind) {
        if (!kind.isScalar) {
            return;
        }
        const std::string header = "ERROR src/common/protobuf_record_util.h ";
        const std::string text = ": pRepeated(" + FullName(kind) + ") is null";
        for (bool isMutable : {false, true}) {
            Message* source = Filled(maker, kind);
            Message* target = Filled(maker, kind);
            {
                const ReflectionFault fault(kind.container);
                EXPECT_EQ(SetFrom(Field(target, kind.field), 0, 1, Source(source, kind.field, isMutable)), GENERIC);
            }
            EXPECT_EQ(m_log.TakeLines(), (Lines{header + "SetRepeatedField" + text}));
            {
                const ReflectionFault fault(kind.container);
                EXPECT_EQ(PushFrom(Field(target, kind.field), 1, Source(source, kind.field, isMutable)), GENERIC);
            }
            EXPECT_EQ(m_log.TakeLines(), (Lines{header + "PushRepeatedField" + text}));
            EXPECT_EQ(Show(*source, kind.field), kind.shown);
            EXPECT_EQ(Show(*target, kind.field), kind.shown);
        }
    });
}

// Asked for before the number of values.
TEST_F(FaultTest, TheContainerComesBeforeTheCount) {
    m_message.add_many_int32(1);
    const int32_t value = 7;
    ProtobufRecordUtil util = Util();
    {
        const ReflectionFault fault(ReflectionCall::MutableInt32s);
        EXPECT_EQ(Peer::SetRepeatedField<int32_t>(util, Field(&m_message, "many_int32"), 0, 0, &value, 0), GENERIC);
    }
    EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.h SetRepeatedField: "
                                    "pRepeated(fields.Fields.many_int32) is null"}));
    EXPECT_EQ(Show(m_message, "many_int32"), "[1]");
}

TEST_F(FaultTest, MoreScalarsThanAFieldHoldsAreNotAdded) {
    m_message.add_many_bool(true);
    const bool value = false;
    ProtobufRecordUtil util = Util();
    // Refused by the number alone, so that no value behind the first is read.
    const int tooMany = std::numeric_limits<int>::max();
    EXPECT_EQ(Peer::PushRepeatedField<bool>(util, Field(&m_message, "many_bool"), 0, &value, tooMany), GENERIC);
    EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.h PushRepeatedField: Add "
                                    "element(fields.Fields.many_bool) failed"}));
    EXPECT_EQ(Show(m_message, "many_bool"), "[true]");
}

// Elements that were added before stay, without values and behind the others.
TEST_F(FaultTest, MessagesAddedBeforeAFailedOneStay) {
    const char* const left[] = {"[{a: 8}, {a: 9}]", "[{a: 8}, {a: 9}, {}]", "[{a: 8}, {a: 9}, {}, {}]"};
    for (MessageKind kind : AllMessageKinds()) {
        for (bool isMutable : {false, true}) {
            for (int ordinal : {1, 2, 3}) {
                SCOPED_TRACE(NameOf(kind) + (isMutable ? " moved " : " copied ") + std::to_string(ordinal));
                MessageMaker maker(kind, fields::Fields::descriptor());
                Message* source = maker.Make("many_message: [{a: 1}, {a: 2}, {a: 3}]");
                Message* target = maker.Make("many_message: [{a: 8}, {a: 9}]");
                {
                    const ReflectionFault fault(ReflectionCall::AddMessage, ordinal);
                    EXPECT_EQ(PushFrom(Field(target, "many_message"), 0, Source(source, "many_message", isMutable)),
                              GENERIC);
                }
                EXPECT_EQ(
                    m_log.TakeLines(),
                    (Lines{Line("PushRepeatedMessageWithPbField", "Add element(fields.Fields.many_message) failed")}));
                EXPECT_EQ(Show(*target, "many_message"), left[ordinal - 1]);
                EXPECT_EQ(Show(*source, "many_message"), "[{a: 1}, {a: 2}, {a: 3}]");
            }
        }
    }
}

TEST_F(FaultTest, AFailedAddLeavesAFieldThatIsItsOwnSource) {
    for (bool isMutable : {false, true}) {
        MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
        Message* message = maker.Make("many_message: [{a: 1}, {a: 2}]");
        {
            const ReflectionFault fault(ReflectionCall::AddMessage, 2);
            EXPECT_EQ(PushFrom(Field(message, "many_message"), 1, Source(message, "many_message", isMutable)), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines().size(), 1U);
        EXPECT_EQ(Show(*message, "many_message"), "[{a: 1}, {a: 2}, {}]");
    }
}

// Only -1 and what lies behind the end are told apart; other positions are the caller's, and reach the worker.
TEST_F(FaultTest, APositionBeforeTheFieldIsNotRefused) {
    MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
    const char* const content = "many_int32: [1, 2] many_message: [{a: 1}, {a: 2}]";
    Message* source = maker.Make(content);
    Message* target = maker.Make(content);
    const std::string before = Show(*target);
    for (int pos : {-2, -3, std::numeric_limits<int>::min()}) {
        SCOPED_TRACE(pos);
        {
            const ReflectionFault fault(ReflectionCall::MutableInt32s);
            EXPECT_EQ(PushFrom(Field(target, "many_int32"), pos, Source(source, "many_int32", false)), GENERIC);
        }
        {
            const ReflectionFault fault(ReflectionCall::AddMessage);
            EXPECT_EQ(PushFrom(Field(target, "many_message"), pos, Source(source, "many_message", false)), GENERIC);
        }
        EXPECT_EQ(m_log.TakeLines(),
                  (Lines{"ERROR src/common/protobuf_record_util.h PushRepeatedField: "
                         "pRepeated(fields.Fields.many_int32) is null",
                         Line("PushRepeatedMessageWithPbField", "Add element(fields.Fields.many_message) failed")}));
    }
    EXPECT_EQ(Show(*target), before);
}

TEST_F(FaultTest, AReplacedFieldStaysEmptyWhenItsRefillFails) {
    m_log.Channel().SetBounds(-1, 300);
    MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
    Message* source = maker.Make("many_message: [{a: 1}, {a: 2}] many_int32: [1, 2]");
    Message* target = maker.Make("many_message: [{a: 8}] many_int32: [8]");
    for (const auto& row : std::vector<std::pair<const char*, ReflectionCall>>{
             {"many_message", ReflectionCall::AddMessage}, {"many_int32", ReflectionCall::MutableInt32s}}) {
        MutableProtobufField field = Field(target, row.first);
        PbField src = Source(source, row.first, false);
        const ReflectionFault fault(row.second);
        EXPECT_EQ(Util().UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &src), GENERIC);
    }
    EXPECT_EQ(m_log.Lines(),
              (Lines{Line("PushRepeatedMessageWithPbField", "Add element(fields.Fields.many_message) failed"),
                     "ERROR src/common/protobuf_record_util.h PushRepeatedField: "
                     "pRepeated(fields.Fields.many_int32) is null"}));
    EXPECT_EQ(Show(*target), "");
}

// A parent without reflection is found out by each operation that looks.
TEST_F(FaultTest, TargetsOfSourceCopiesNeedReflection) {
    m_message.add_many_int32(1);
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    const MutableProtobufField target = {&broken, Field(&m_message, "many_int32").m_pFieldDesc};
    // The position and the range do not fit either.
    EXPECT_EQ(SetFrom(target, 5, 3, Source(&m_message, "many_int32", false)), GENERIC);
    EXPECT_EQ(m_log.TakeLines(),
              (Lines{Line("SetWithPbField", "GetReflection failed, field=fields.Fields.many_int32")}));
    EXPECT_EQ(PushFrom(target, 5, Source(&m_message, "many_int32", false)), GENERIC);
    EXPECT_EQ(m_log.TakeLines(),
              (Lines{Line("PushWithPbField", "GetReflection failed, field=fields.Fields.many_int32")}));
    EXPECT_EQ(Show(m_message, "many_int32"), "[1]");
}

// Every operation, with its first call failing, then its second, until a run meets none.

TEST_F(FaultTest, WhicheverCallFailsThereIsACodeAndOneLine) {
    const char* const content =
        "many_int32: [1, 2] many_double: [1, 2] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]";
    const char* const sourceContent =
        "many_int32: [3, 4] many_double: [3, 4] many_string: ['c', 'd'] many_message: [{a: 3}, {a: 4}]";
    struct Sweep {
        std::string name;
        int calls;  // that can fail
        std::function<int(Message* target, Message* source)> run;
    };
    std::vector<Sweep> sweeps;
    for (const std::string name : {"many_int32", "many_double", "many_string", "many_message"}) {
        const bool isString = name == "many_string";
        const bool isMessage = name == "many_message";
        const std::string value = isMessage ? "a" : "$";
        Expr* five = isString ? m_tree.Text("5") : m_tree.Int(5);
        // Reflection sets a string without its container.
        sweeps.push_back({"set " + name, isString ? 0 : 1, [=](Message* target, Message*) {
                              MutableProtobufField field = Field(target, name);
                              return Util().SetWithExpr(field, m_tree.Set("0", {m_tree.Assign(value, five)}));
                          }});
        sweeps.push_back({"push " + name, isMessage ? 2 : 1, [=](Message* target, Message*) {
                              MutableProtobufField field = Field(target, name);
                              return Util().PushWithExpr(field, m_tree.Push("0", {m_tree.Assign(value, five)}));
                          }});
        // Marks are made by reading strings through the call that gives them to write, and no reader asks
        // whether it gave any.
        if (!isString) {
            sweeps.push_back({"pop " + name, 1, [=](Message* target, Message*) {
                                  return PopWithRange(Field(target, name), {{0, 0}});
                              }});
            sweeps.push_back({"get " + name, 2, [=](Message* target, Message* source) {
                                  return Get(Field(source, name), true, {}, nullptr, Field(target, name));
                              }});
        }
        if (!isString && !isMessage) {
            sweeps.push_back({"set from " + name, 1, [=](Message* target, Message* source) {
                                  return SetFrom(Field(target, name), 0, 1, Source(source, name, true));
                              }});
            sweeps.push_back({"push from " + name, 1, [=](Message* target, Message* source) {
                                  return PushFrom(Field(target, name), 0, Source(source, name, true));
                              }});
        }
    }
    for (const Sweep& sweep : sweeps) {
        for (MessageKind kind : AllMessageKinds()) {
            MessageMaker maker(kind, fields::Fields::descriptor());
            for (int ordinal = 1;; ++ordinal) {
                SCOPED_TRACE(sweep.name + ", " + NameOf(kind) + ", call " + std::to_string(ordinal));
                Message* target = maker.Make(content);
                Message* source = maker.Make(sourceContent);
                const std::string targetBefore = Show(*target);
                const std::string sourceBefore = Show(*source);
                bool hasFired = false;
                int ret = 0;
                {
                    const ReflectionFault fault(ReflectionCall::Any, ordinal);
                    ret = sweep.run(target, source);
                    hasFired = fault.HasFired();
                }
                const Lines lines = m_log.TakeLines();
                if (!hasFired) {
                    EXPECT_EQ(ret, 0);
                    EXPECT_EQ(lines, Lines{});
                    EXPECT_NE(Show(*target), targetBefore);
                    EXPECT_EQ(ordinal, sweep.calls + 1);
                    break;
                }
                EXPECT_EQ(ret, GENERIC);
                EXPECT_EQ(lines.size(), 1U);
                EXPECT_EQ(Show(*source), sourceBefore);
                // Whatever is left is whole enough to be written and read.
                std::string bytes;
                EXPECT_TRUE(target->SerializeToString(&bytes));
                EXPECT_TRUE(maker.Make()->ParseFromString(bytes));
            }
        }
    }
}

}  // namespace
