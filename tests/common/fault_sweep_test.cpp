// Every operation with the k-th call of the expression library failing, then the k-th of reflection, then the k-th
// question of the log answered with no, until a run meets none. What each failure ends in stands in the table.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "host_libraries.h"
#include "support/expr_tree.h"
#include "support/message_kinds.h"
#include "support/reflection_faults.h"
#include "support/show.h"

namespace {

using google::protobuf::Message;
using OstraneCommon::Expr;
using OstraneCommon::PbField;

constexpr int GENERIC = OstraneErrCode::GEN_ERR_ERR;
constexpr int BAD_INDEX = OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
constexpr int BAD_TYPE = OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;

// Of every element type, and of singular fields what copies need.
constexpr const char* TARGET =
    "many_bool: [0, 0] many_int32: [1, 2] many_uint32: [1, 2] many_int64: [1, 2] many_uint64: [1, 2] "
    "many_double: [1, 2] many_float: [1, 2] many_enum: [RED, RED] many_string: ['a', 'b'] many_bytes: ['a', 'b'] "
    "many_message: [{a: 1}, {a: 2}] one_int32: 1";
constexpr const char* SOURCE =
    "many_bool: [1, 1] many_int32: [3, 4] many_uint32: [3, 4] many_int64: [3, 4] many_uint64: [3, 4] "
    "many_double: [3, 4] many_float: [3, 4] many_enum: [BLUE, GREEN] many_string: ['c', 'd'] many_bytes: ['c', 'd'] "
    "many_message: [{a: 3}, {a: 4}] one_int32: 2";

// How a run ends in which a call fails.
struct End {
    int code;
    size_t lines;
    const char* target;  // the field afterwards; null when it is as it was
};

struct Sweep {
    std::string name;
    std::string field;
    std::function<int(Message* target, Message* source)> run;
    std::vector<End> afterLibrary;     // one a call of the expression library
    std::vector<End> afterReflection;  // one a call of reflection that gives a container or an element
    // Which calls of reflection fail.
    ReflectionCall call = ReflectionCall::Any;
};

class FaultSweepTest : public testing::Test {
protected:
    FaultSweepTest() { m_record.m_pLog = &m_category; }

    static MutableProtobufField Field(Message* message, const std::string& name) {
        return {message, message->GetDescriptor()->FindFieldByName(name)};
    }
    void ResetHost() {
        TheHost() = Host();
        TheHost().text = &m_text;
        TheHost().isEveryElementMarked = true;
    }
    std::vector<Sweep> Sweeps();
    void AddSweepsWithoutFaults(std::vector<Sweep>& sweeps);
    // Runs one operation with what is set up to fail.
    void ExpectEnd(const Sweep& sweep, MessageKind kind, const End& end, const ReflectionFault* fault);

    const std::string m_text = "new";
    // Errors alone: progress notes are no failures.
    int32_t m_low = LOG_PRIORITY_ERROR;
    LogCategory m_category = {nullptr, &m_low, nullptr};
    ProtobufRecord m_record;
    ExprTree m_tree;
};

std::vector<Sweep> FaultSweepTest::Sweeps() {
    std::vector<Sweep> sweeps;
    for (const std::string field : {"many_bool", "many_int32", "many_uint32", "many_int64", "many_uint64",
                                    "many_double", "many_float", "many_string", "many_bytes", "many_message"}) {
        const bool isMessage = field == "many_message";
        const bool isText = field == "many_string" || field == "many_bytes";
        const bool isNumber = !isMessage && !isText;
        const std::string name = isMessage ? "a" : "$";
        const size_t castLines = isMessage ? 2 : 1;
        const auto util = [this] { return ProtobufRecordUtil(m_record); };
        const auto source = [field](Message* message, bool isMutable) {
            PbField src;
            src.SetField(message, Field(message, field).m_pFieldDesc, isMutable);
            return src;
        };
        Expr* one = m_tree.Int(7);
        Expr& set = m_tree.Set("0", {m_tree.Assign(name, one)});
        Expr& push = m_tree.Push("0", {m_tree.Assign(name, one)});
        Expr& pop = m_tree.Pop("0");
        const End noContainer = {GENERIC, 1, nullptr};
        const End noMatch = {HOST_MATCH_FAILED, 2, nullptr};
        // Reflection sets a string without its container.
        sweeps.push_back({"set",
                          field,
                          [=, &set](Message* target, Message*) {
                              MutableProtobufField handle = Field(target, field);
                              return util().SetWithExpr(handle, set);
                          },
                          {{BAD_TYPE, castLines, nullptr}},
                          isText ? std::vector<End>{} : std::vector<End>{noContainer}});
        // A message whose container is not there afterwards stays where it was added.
        sweeps.push_back({"push",
                          field,
                          [=, &push](Message* target, Message*) {
                              MutableProtobufField handle = Field(target, field);
                              return util().PushWithExpr(handle, push);
                          },
                          {{BAD_TYPE, castLines, nullptr}},
                          isMessage ? std::vector<End>{noContainer, {GENERIC, 1, "[{a: 1}, {a: 2}, {}]"}}
                                    : std::vector<End>{noContainer}});
        sweeps.push_back({"pop by expression",
                          field,
                          [=, &pop](Message* target, Message*) {
                              MutableProtobufField handle = Field(target, field);
                              return util().PopWithExpr(handle, pop);
                          },
                          {{BAD_INDEX, 1, nullptr}, noMatch},
                          {noContainer}});
        sweeps.push_back({"pop",
                          field,
                          [=](Message* target, Message*) {
                              MutableProtobufField handle = Field(target, field);
                              OstraneCommon::IndexRangeList ranges = {{0, 0}};
                              return util().PopWithRange(handle, ranges, nullptr);
                          },
                          {noMatch},
                          {noContainer}});
        const auto get = [=](Message* target, Message* from, bool isMutable, bool isByHandle) {
            MutableProtobufField handle = Field(target, field);
            MutableProtobufField writable = Field(from, field);
            ProtobufField readable = {from, writable.m_pFieldDesc};
            OstraneCommon::IndexRangeList ranges;
            return isByHandle ? util().GetWithRange(writable, ranges, nullptr, handle, nullptr)
                              : util().GetWithRange(readable, isMutable, ranges, nullptr, handle, nullptr);
        };
        if (!isText) {
            // Strings that are only read come by the call that gives them to write, and cannot be missing.
            sweeps.push_back({"get by copy",
                              field,
                              [=](Message* target, Message* from) { return get(target, from, false, false); },
                              {noMatch},
                              {noContainer}});
        }
        sweeps.push_back({"get by move",
                          field,
                          [=](Message* target, Message* from) { return get(target, from, true, false); },
                          {noMatch},
                          {noContainer, noContainer}});
        sweeps.push_back({"get by handle",
                          field,
                          [=](Message* target, Message* from) { return get(target, from, true, true); },
                          {noMatch},
                          {noContainer, noContainer}});
        // Of strings and messages the containers are there when the elements are: nobody asks. A message that is
        // not added ends the push, behind those that were.
        for (const bool isMutable : {false, true}) {
            const auto setFrom = [=](Message* target, Message* from) {
                MutableProtobufField handle = Field(target, field);
                PbField src = source(from, isMutable);
                return util().SetWithPbField(handle, 0, 1, src);
            };
            const auto pushFrom = [=](Message* target, Message* from) {
                MutableProtobufField handle = Field(target, field);
                PbField src = source(from, isMutable);
                return util().PushWithPbField(handle, 1, src);
            };
            // Cleared before it is filled again.
            const auto update = [=](Message* target, Message* from) {
                MutableProtobufField handle = Field(target, field);
                PbField src = source(from, isMutable);
                return util().UpdateWithPbField(handle, OstraneCommon::EXPR_OP_SET, &src);
            };
            if (isNumber) {
                sweeps.push_back({"set from", field, setFrom, {}, {noContainer}});
                sweeps.push_back({"push from", field, pushFrom, {}, {noContainer}});
                sweeps.push_back({"update", field, update, {}, {{GENERIC, 1, "[]"}}});
                continue;
            }
            const std::vector<End> pushed = {noContainer, {GENERIC, 1, "[{a: 1}, {a: 2}, {}]"}};
            const std::vector<End> updated = {{GENERIC, 1, "[]"}, {GENERIC, 1, "[{}]"}};
            const ReflectionCall add = ReflectionCall::AddMessage;
            sweeps.push_back({"set from", field, setFrom, {}, {}, add});
            sweeps.push_back({"push from", field, pushFrom, {}, isMessage ? pushed : std::vector<End>{}, add});
            sweeps.push_back({"update", field, update, {}, isMessage ? updated : std::vector<End>{}, add});
        }
    }
    AddSweepsWithoutFaults(sweeps);
    return sweeps;
}

// What makes no call that could fail.
void FaultSweepTest::AddSweepsWithoutFaults(std::vector<Sweep>& sweeps) {
    using OstraneCommon::ExprType;
    const auto update = [this](Message* target, const std::string& field, ExprType type, PbField* src) {
        MutableProtobufField handle = {target, field.empty() ? nullptr : Field(target, field).m_pFieldDesc};
        return ProtobufRecordUtil(m_record).UpdateWithPbField(handle, type, src);
    };
    for (const std::string field : {"", "many_int32", "many_message", "one_int32"}) {
        sweeps.push_back(
            {"clear",
             field,
             [=](Message* target, Message*) { return update(target, field, OstraneCommon::EXPR_OP_POP, nullptr); },
             {},
             {}});
    }
    for (const bool isMutable : {false, true}) {
        for (const std::string field : {"", "one_int32"}) {
            sweeps.push_back({"update",
                              field,
                              [=](Message* target, Message* from) {
                                  PbField src;
                                  src.SetField(from, field.empty() ? nullptr : Field(from, field).m_pFieldDesc,
                                               isMutable);
                                  return update(target, field, OstraneCommon::EXPR_OP_SET, &src);
                              },
                              {},
                              {}});
        }
        // Enums are written one by one, by calls that give nothing.
        for (const bool isPush : {false, true}) {
            sweeps.push_back({isPush ? "push from" : "set from",
                              "many_enum",
                              [=](Message* target, Message* from) {
                                  MutableProtobufField handle = Field(target, "many_enum");
                                  PbField src;
                                  src.SetField(from, handle.m_pFieldDesc, isMutable);
                                  ProtobufRecordUtil util(m_record);
                                  return isPush ? util.PushWithPbField(handle, 1, src)
                                                : util.SetWithPbField(handle, 0, 1, src);
                              },
                              {},
                              {}});
        }
    }
}

void FaultSweepTest::ExpectEnd(const Sweep& sweep, MessageKind kind, const End& end, const ReflectionFault* fault) {
    MessageMaker maker(kind, fields::Fields::descriptor());
    Message* target = maker.Make(TARGET);
    Message* source = maker.Make(SOURCE);
    const std::string before = end.target == nullptr ? Show(*target, sweep.field) : end.target;
    const std::string sourceBefore = Show(*source);
    const int code = sweep.run(target, source);
    EXPECT_EQ(code, end.code);
    EXPECT_EQ(TheHost().lines.size(), end.lines);
    EXPECT_EQ(Show(*target, sweep.field), before);
    EXPECT_EQ(Show(*source), sourceBefore);
    EXPECT_TRUE(fault == nullptr || fault->HasFired());
}

// The last run of each sweep, which meets no fault.
#define OSTRANE_EXPECT_DONE(sweep, kind)                        \
    do {                                                        \
        MessageMaker maker(kind, fields::Fields::descriptor()); \
        Message* target = maker.Make(TARGET);                   \
        const std::string before = Show(*target);               \
        EXPECT_EQ(sweep.run(target, maker.Make(SOURCE)), 0);    \
        EXPECT_TRUE(TheHost().lines.empty());                   \
        EXPECT_NE(Show(*target), before);                       \
    } while (false)

TEST_F(FaultSweepTest, EachCallOfTheExpressionLibraryFails) {
    for (const Sweep& sweep : Sweeps()) {
        for (MessageKind kind : AllMessageKinds()) {
            for (size_t call = 1; call <= sweep.afterLibrary.size(); ++call) {
                SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", call " + std::to_string(call));
                ResetHost();
                TheHost().failingCall = static_cast<int>(call);
                ExpectEnd(sweep, kind, sweep.afterLibrary[call - 1], nullptr);
                EXPECT_EQ(TheHost().calls, static_cast<int>(call));
            }
            SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", no fault");
            ResetHost();
            OSTRANE_EXPECT_DONE(sweep, kind);
            EXPECT_EQ(TheHost().calls, static_cast<int>(sweep.afterLibrary.size()));
        }
    }
}

TEST_F(FaultSweepTest, EachCallOfReflectionFails) {
    for (const Sweep& sweep : Sweeps()) {
        for (MessageKind kind : AllMessageKinds()) {
            for (size_t call = 1; call <= sweep.afterReflection.size(); ++call) {
                SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", call " + std::to_string(call));
                ResetHost();
                const ReflectionFault fault(sweep.call, static_cast<int>(call));
                ExpectEnd(sweep, kind, sweep.afterReflection[call - 1], &fault);
            }
            SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", no fault");
            ResetHost();
            const ReflectionFault fault(sweep.call, static_cast<int>(sweep.afterReflection.size()) + 1);
            OSTRANE_EXPECT_DONE(sweep, kind);
            EXPECT_FALSE(fault.HasFired());
        }
    }
}

// What the log answers changes no code and no record.
TEST_F(FaultSweepTest, EachQuestionOfTheLogIsRefused) {
    for (const Sweep& sweep : Sweeps()) {
        const size_t libraryCalls = sweep.afterLibrary.size();
        for (size_t call = 1; call <= libraryCalls + sweep.afterReflection.size(); ++call) {
            const bool isLibrary = call <= libraryCalls;
            End end = isLibrary ? sweep.afterLibrary[call - 1] : sweep.afterReflection[call - libraryCalls - 1];
            const size_t lines = end.lines;
            for (size_t question = 1; question <= lines; ++question) {
                SCOPED_TRACE(sweep.name + " " + sweep.field + ", call " + std::to_string(call) + ", question " +
                             std::to_string(question));
                ResetHost();
                TheHost().failingCall = isLibrary ? static_cast<int>(call) : 0;
                TheHost().refusedQuestion = question;
                end.lines = lines - 1;
                const ReflectionFault fault(sweep.call, isLibrary ? 1000 : static_cast<int>(call - libraryCalls));
                ExpectEnd(sweep, MessageKind::GeneratedOnHeap, end, isLibrary ? nullptr : &fault);
                EXPECT_EQ(TheHost().questions.size(), lines);
            }
        }
    }
}

// Neither do its answers to notes of progress.
TEST_F(FaultSweepTest, EachNoteIsRefused) {
    m_low = LOG_PRIORITY_DEBUG;
    for (const Sweep& sweep : Sweeps()) {
        std::string expected;
        // The first run, in which nothing is refused, counts them.
        size_t notes = 0;
        for (size_t question = 0; question <= notes; ++question) {
            SCOPED_TRACE(sweep.name + " " + sweep.field + ", question " + std::to_string(question));
            ResetHost();
            TheHost().refusedQuestion = question;
            MessageMaker maker(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
            Message* target = maker.Make(TARGET);
            Message* source = maker.Make(SOURCE);
            EXPECT_EQ(sweep.run(target, source), 0);
            const std::string left = Show(*target) + " / " + Show(*source);
            if (question == 0) {
                expected = left;
                notes = TheHost().questions.size();
                EXPECT_EQ(notes, sweep.name == "update" ? 1U : 0U);
            }
            EXPECT_EQ(left, expected);
            EXPECT_EQ(TheHost().lines.size(), question == 0 ? notes : notes - 1);
        }
    }
}

}  // namespace
