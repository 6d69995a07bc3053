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

constexpr const char* TARGET = "many_int32: [1, 2] many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]";
constexpr const char* SOURCE = "many_int32: [3, 4] many_string: ['c', 'd'] many_message: [{a: 3}, {a: 4}]";

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
    for (const std::string field : {"many_int32", "many_string", "many_message"}) {
        const bool isMessage = field == "many_message";
        const bool isText = field == "many_string";
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
        // Of strings and messages the containers are there when the elements are: nobody asks.
        if (isNumber) {
            sweeps.push_back({"set from",
                              field,
                              [=](Message* target, Message* from) {
                                  MutableProtobufField handle = Field(target, field);
                                  PbField src = source(from, true);
                                  return util().SetWithPbField(handle, 0, 1, src);
                              },
                              {},
                              {noContainer}});
            sweeps.push_back({"push from",
                              field,
                              [=](Message* target, Message* from) {
                                  MutableProtobufField handle = Field(target, field);
                                  PbField src = source(from, false);
                                  return util().PushWithPbField(handle, 1, src);
                              },
                              {},
                              {noContainer}});
            // Cleared before it is filled again.
            sweeps.push_back({"update",
                              field,
                              [=](Message* target, Message* from) {
                                  MutableProtobufField handle = Field(target, field);
                                  PbField src = source(from, false);
                                  return util().UpdateWithPbField(handle, OstraneCommon::EXPR_OP_SET, &src);
                              },
                              {},
                              {{GENERIC, 1, "[]"}}});
        }
    }
    return sweeps;
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
        // Strings are read by the call that gives them to write, which reading does not expect to fail: the
        // calls that ask for a container come behind those that make the marks.
        for (MessageKind kind : AllMessageKinds()) {
            for (size_t call = 1; call <= sweep.afterReflection.size(); ++call) {
                SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", call " + std::to_string(call));
                ResetHost();
                const ReflectionFault fault(ReflectionCall::Any, static_cast<int>(call));
                ExpectEnd(sweep, kind, sweep.afterReflection[call - 1], &fault);
            }
            SCOPED_TRACE(sweep.name + " " + sweep.field + ", " + NameOf(kind) + ", no fault");
            ResetHost();
            const ReflectionFault fault(ReflectionCall::Any, static_cast<int>(sweep.afterReflection.size()) + 1);
            if (!sweep.afterReflection.empty()) {
                OSTRANE_EXPECT_DONE(sweep, kind);
                EXPECT_FALSE(fault.HasFired());
            }
        }
    }
}

// What the log answers changes no code and no record.
TEST_F(FaultSweepTest, EachQuestionOfTheLogIsRefused) {
    for (const Sweep& sweep : Sweeps()) {
        for (size_t call = 1; call <= sweep.afterLibrary.size(); ++call) {
            End end = sweep.afterLibrary[call - 1];
            const size_t lines = end.lines;
            for (size_t question = 1; question <= lines; ++question) {
                SCOPED_TRACE(sweep.name + " " + sweep.field + ", call " + std::to_string(call) + ", question " +
                             std::to_string(question));
                ResetHost();
                TheHost().failingCall = static_cast<int>(call);
                TheHost().refusedQuestion = question;
                end.lines = lines - 1;
                ExpectEnd(sweep, MessageKind::GeneratedOnHeap, end, nullptr);
                EXPECT_EQ(TheHost().questions.size(), lines);
            }
        }
    }
}

}  // namespace
