// The frame that every operation stands in: handles, result codes, the record, and the guarded line.
#include <google/protobuf/struct.pb.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "host_libraries.h"
#include "support/counted_heap.h"
#include "support/expr_tree.h"
#include "support/record_util_peer.h"

namespace {

using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;
using OstraneCommon::ExprVariant;
using OstraneCommon::IndexRangeList;
using OstraneCommon::PbField;

// Result codes

TEST(ErrCode, IsFormedFromModuleAndNumber) {
    using namespace OstraneErrCode;
    EXPECT_EQ(ErrorCode(25, 18), -((18 << 8) | 25));
    EXPECT_EQ(ErrorCode(0, 1), -256);
    EXPECT_EQ(ErrorCode(MAX_MODULE_NUM - 1, MAX_NEGATIVE_ERR_CODE_NUM_PER_MODULE - 1), -((255 << 8) | 63));
    EXPECT_EQ(InfoCode(25, 3), (3 << 8) | 25);
    EXPECT_EQ(MAX_MODULE_NUM, 64);
    EXPECT_EQ(MAX_NEGATIVE_ERR_CODE_NUM_PER_MODULE, 256);
    EXPECT_EQ(MAX_POSITIVE_ERR_CODE_NUM_PER_MODULE, 16);
}

TEST(ErrCode, NumbersStayAsCallersStoredThem) {
    using namespace OstraneErrCode;
    EXPECT_EQ(GEN_ERR_ERR, -256);
    EXPECT_EQ(COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, -537);
    EXPECT_EQ(COMMON_ERR_INVALID_EXPR_SYNTAX, -4377);
    EXPECT_EQ(COMMON_ERR_INVALID_ARRAY_INDEX, -4633);
    EXPECT_EQ(COMMON_ERR_INVALID_FIELD_NAME, -4889);
    EXPECT_EQ(COMMON_ERR_INVALID_EXPR_TYPE, -5145);
}

// Handles and the record

TEST(Handles, ArePairsOfPointersWithoutConstructors) {
    static_assert(std::is_aggregate<ProtobufField>::value && std::is_trivial<ProtobufField>::value, "plain");
    static_assert(std::is_aggregate<MutableProtobufField>::value && std::is_trivial<MutableProtobufField>::value,
                  "plain");
    static_assert(sizeof(ProtobufField) == 2 * sizeof(void*), "nothing is cached");
    static_assert(sizeof(MutableProtobufField) == 2 * sizeof(void*), "nothing is cached");
    static_assert(std::is_aggregate<LogCategory>::value && std::is_aggregate<LogLocation>::value, "plain");
    static_assert(std::is_aggregate<LogEvent>::value, "plain");
    fields::Fields message;
    const FieldDescriptor* field = fields::Fields::descriptor()->FindFieldByName("many_int32");
    const ProtobufField readable = {&message, field};
    const MutableProtobufField writable = {&message, field};
    EXPECT_EQ(readable.m_pParent, &message);
    EXPECT_EQ(readable.m_pFieldDesc, field);
    EXPECT_EQ(writable.m_pParent, &message);
    EXPECT_EQ(writable.m_pFieldDesc, field);
}

TEST(Record, HasItsMembersInOrder) {
    const std::vector<size_t> offsets = {
        offsetof(ProtobufRecord, m_pLog),
        offsetof(ProtobufRecord, m_pMessage),
        offsetof(ProtobufRecord, m_pFactory),
        offsetof(ProtobufRecord, m_lastAccessTime),
        offsetof(ProtobufRecord, m_originRecordBuff),
        offsetof(ProtobufRecord, m_originRecordBuffSize),
        offsetof(ProtobufRecord, m_listIndex),
        offsetof(ProtobufRecord, m_isLazyDeserialization),
        offsetof(ProtobufRecord, m_isMutable),
        offsetof(ProtobufRecord, m_isDelta),
    };
    for (size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_LT(offsets[i - 1], offsets[i]);
    }
    const ProtobufRecord record;
    EXPECT_EQ(record.m_pLog, nullptr);
    EXPECT_EQ(record.m_pMessage, nullptr);
}

TEST(RecordUtil, BindsTheRecordAndCopiesItsCategory) {
    static_assert(!std::is_default_constructible<ProtobufRecordUtil>::value, "needs a record");
    static_assert(!std::is_copy_assignable<ProtobufRecordUtil>::value, "bound to its record");
    static_assert(!std::is_polymorphic<ProtobufRecordUtil>::value, "no virtual operations");
    static_assert(sizeof(ProtobufRecordUtil) == 2 * sizeof(void*), "two members");
    LogCategory category = {nullptr, nullptr, nullptr};
    ProtobufRecord record;
    record.m_pLog = &category;
    const ProtobufRecordUtil util(record);
    EXPECT_EQ(ProtobufRecordUtilPeer::Record(util), &record);
    EXPECT_EQ(ProtobufRecordUtilPeer::Log(util), &category);
    record.m_pLog = nullptr;
    EXPECT_EQ(ProtobufRecordUtilPeer::Log(util), &category);
    EXPECT_EQ(ProtobufRecordUtilPeer::Log(ProtobufRecordUtil(record)), nullptr);
}

// The guard in the operations' use

constexpr int32_t NO_POINTER = INT32_MIN;

struct GuardRow {
    const char* name;
    bool hasCategory;
    int32_t high;
    int32_t low;
    int canWrite;
    size_t questions;
    size_t lines;
};

// One a step of the guard, in order.
const GuardRow GUARD_ROWS[] = {
    {"no category", false, NO_POINTER, NO_POINTER, 1, 0, 0},
    {"low bound 200", true, NO_POINTER, 200, 1, 0, 0},
    {"low bound 299", true, -1, 299, 1, 0, 0},
    {"low bound 300", true, -1, 300, 1, 1, 1},
    {"high bound 400", true, 400, NO_POINTER, 1, 0, 0},
    {"high bound 301", true, 301, -1, 1, 0, 0},
    {"high bound 300", true, 300, -1, 1, 1, 1},
    {"both bounds -1", true, -1, -1, 1, 1, 1},
    {"both bounds -1, refusing", true, -1, -1, 0, 1, 0},
    {"no bounds", true, NO_POINTER, NO_POINTER, 1, 1, 1},
    {"no bounds, refusing", true, NO_POINTER, NO_POINTER, 0, 1, 0},
};

class FrameTest : public testing::Test {
protected:
    FrameTest() {
        TheHost() = Host();
        m_record.m_pLog = &m_category;
        m_message.add_many_int32(10);
        m_message.add_many_string("a");
        m_message.add_many_enum(fields::RED);
        m_message.add_many_message()->set_a(1);
    }

    MutableProtobufField Field(const std::string& name) {
        return {&m_message, fields::Fields::descriptor()->FindFieldByName(name)};
    }
    void SetBounds(int32_t high, int32_t low) {
        m_high = high;
        m_low = low;
        m_category.piPriorityHigh = high == NO_POINTER ? nullptr : &m_high;
        m_category.piPriorityLow = low == NO_POINTER ? nullptr : &m_low;
    }
    int Set(const std::string& field, Expr& expr) {
        MutableProtobufField handle = Field(field);
        return ProtobufRecordUtil(m_record).SetWithExpr(handle, expr);
    }
    int Push(const std::string& field, Expr& expr) {
        MutableProtobufField handle = Field(field);
        return ProtobufRecordUtil(m_record).PushWithExpr(handle, expr);
    }
    Expr& SetTo(const std::string& index, const std::string& name) {
        return m_tree.Set(index, {m_tree.Assign(name, m_tree.Int(1))});
    }
    Expr& PushTo(const std::string& pos, const std::string& name) {
        return m_tree.Push(pos, {m_tree.Assign(name, m_tree.Int(1))});
    }

    int32_t m_high = -1;
    int32_t m_low = -1;
    LogCategory m_category = {nullptr, nullptr, nullptr};
    ProtobufRecord m_record;
    ExprTree m_tree;
    fields::Fields m_message;
};

struct Failure {
    const char* name;
    std::function<int()> operation;
    int code;
    const char* function;
    const char* extension;
    const char* text;
};

TEST_F(FrameTest, ACodeIsReturnedWhetherOrNotItsLineIsWritten) {
    Expr empty;
    PbField source;
    fields::Fields nothing;
    source.SetField(&nothing, Field("many_int32").m_pFieldDesc, false);
    PbField one;
    one.SetField(&m_message, Field("many_int32").m_pFieldDesc, false);
    IndexRangeList ranges;
    MutableProtobufField ints = Field("many_int32");
    MutableProtobufField enums = Field("many_enum");
    ProtobufField readableEnums = {&m_message, enums.m_pFieldDesc};
    const int32_t value = 7;
    Expr& noAssignment = m_tree.Set("0", {m_tree.Text("x")});
    Expr& setFirst = SetTo("0", "$");
    Expr& pushFirst = PushTo("0", "$");
    Expr& popWithoutIndex = *m_tree.Node(OstraneCommon::EXPR_OP_POP, "", {m_tree.Int(1)});
    using Util = ProtobufRecordUtil;
    using Peer = ProtobufRecordUtilPeer;
    const Failure failures[] = {
        {"set", [&] { return Set("many_int32", empty); }, -4633, "SetWithExpr", "cpp",
         "invalid operands, expr = <tree>"},
        {"set enum", [&] { return Set("many_enum", SetTo("0", "$")); }, -5145, "SetWithExpr", "cpp", "invalid type=8"},
        {"push", [&] { return Push("many_int32", PushTo("9", "$")); }, -4633, "PushWithExpr", "cpp",
         "field=fields.Fields.many_int32, invalid array index=9, repeated.size=1"},
        {"push target", [&] { return Push("many_string", PushTo("0", "x")); }, -4889, "PushWithExpr", "cpp",
         "not found field 'x'"},
        {"push message", [&] { return Push("many_message", PushTo("0", "x")); }, -4889, "PushRepeatedMessageWithExpr",
         "cpp", "x not exist in fields.Plain"},
        // Of one operand the value is shown, and not the tree below it.
        {"set without assignment", [&] { return Set("many_int32", noAssignment); }, -4377, "SetWithExpr", "cpp",
         "require assign expr, expr=<value>"},
        {"set to no number",
         [&] {
             TheHost().isCastTaken = false;
             return Set("many_int32", setFirst);
         },
         -5145, "SetRepeatedFieldWithExpr", "h", "expr type cast failed, field=fields.Fields.many_int32, expr=<value>"},
        {"push of no number",
         [&] {
             TheHost().isCastTaken = false;
             return Push("many_int32", pushFirst);
         },
         -5145, "PushRepeatedFieldWithExpr", "h",
         "expr type cast failed, field=fields.Fields.many_int32, expr=<value>"},
        {"pop without index", [&] { return Util(m_record).PopWithExpr(ints, popWithoutIndex); }, -4633, "PopWithExpr",
         "cpp", "invalid array index expr = <value>"},
        {"primitive",
         [&] {
             Util util(m_record);
             return Peer::SetRepeatedField<int32_t>(util, ints, 0, 1, &value, 1);
         },
         -4633, "SetRepeatedField", "h",
         "assign element(fields.Fields.many_int32) count not match, idxBegin: 0, idxEnd: 1, assignCount: 1"},
        {"update", [&] { return Util(m_record).UpdateWithPbField(ints, OstraneCommon::EXPR_OP_SET, nullptr); }, -256,
         "UpdateWithPbField", "cpp", "input value is null"},
        {"set from field", [&] { return Util(m_record).SetWithPbField(ints, 0, 0, source); }, -4633, "SetWithPbField",
         "cpp", "src repeated field(fields.Fields.many_int32) is empty"},
        {"push from field", [&] { return Util(m_record).PushWithPbField(ints, 9, one); }, -4633, "PushWithPbField",
         "cpp", "invalid idx = 9, count = 1"},
        {"pop", [&] { return Util(m_record).PopWithRange(enums, ranges, nullptr); }, -5145, "PopWithRange", "cpp",
         "invalid type=8"},
        {"get", [&] { return Util(m_record).GetWithRange(readableEnums, false, ranges, nullptr, enums, nullptr); },
         -5145, "GetWithRange", "cpp", "invalid type=8"},
    };
    const std::string before = m_message.SerializePartialAsString();
    for (const Failure& failure : failures) {
        for (const GuardRow& row : GUARD_ROWS) {
            SCOPED_TRACE(std::string(failure.name) + ", " + row.name);
            TheHost() = Host();
            TheHost().canWrite = row.canWrite;
            SetBounds(row.high, row.low);
            m_record.m_pLog = row.hasCategory ? &m_category : nullptr;
            EXPECT_EQ(failure.operation(), failure.code);
            EXPECT_EQ(m_message.SerializePartialAsString(), before);
            ASSERT_EQ(TheHost().questions.size(), row.questions);
            for (const std::string& question : TheHost().questions) {
                EXPECT_EQ(question, "300 0 0");
            }
            ASSERT_EQ(TheHost().lines.size(), row.lines);
            for (const HostLine& line : TheHost().lines) {
                EXPECT_EQ(line.category, &m_category);
                EXPECT_EQ(line.priority, LOG_PRIORITY_ERROR);
                EXPECT_EQ(line.file, std::string("src/common/protobuf_record_util.") + failure.extension);
                EXPECT_EQ(line.function, failure.function);
                EXPECT_GT(line.line, 0);
                EXPECT_EQ(line.data, nullptr);
                EXPECT_EQ(line.text, failure.text);
            }
        }
    }
}

TEST_F(FrameTest, TextsOfValuesAreMadeOnlyForLinesThatAreWritten) {
    Expr empty;
    TheHost().isCastTaken = false;
    Expr& notAssigned = m_tree.Set("0", {m_tree.Text("x")});
    const std::vector<std::function<int()>> failures = {
        [&] { return Set("many_int32", empty); },
        [&] { return Set("many_int32", notAssigned); },
        [&] { return Set("many_int32", SetTo("0", "$")); },
        [&] { return Push("many_int32", PushTo("0", "$")); },
        [&] { return Set("many_string", SetTo("0", "$")); },
        [&] { return Push("many_string", PushTo("0", "$")); },
        // The inner line has the text, the outer one the name alone.
        [&] { return Set("many_message", SetTo("0", "a")); },
    };
    for (size_t i = 0; i < failures.size(); ++i) {
        SCOPED_TRACE(i);
        for (const GuardRow& row : GUARD_ROWS) {
            SCOPED_TRACE(row.name);
            TheHost().textsMade = 0;
            TheHost().canWrite = row.canWrite;
            SetBounds(row.high, row.low);
            m_record.m_pLog = row.hasCategory ? &m_category : nullptr;
            EXPECT_LT(failures[i](), 0);
            EXPECT_EQ(TheHost().textsMade, static_cast<int>(row.lines));
        }
    }
}

// The names of fields and types are too long to be kept inside of a text: one that is made allocates.
TEST_F(FrameTest, ARefusedOperationWhoseLineIsNotWantedAllocatesNothing) {
    TheHost().isCastTaken = false;
    TheHost().matches.reserve(2);
    MutableProtobufField ints = Field("many_int32");
    MutableProtobufField strings = Field("many_string");
    MutableProtobufField messages = Field("many_message");
    MutableProtobufField empty = Field("many_bool");
    const ProtobufField readableInts = {&m_message, ints.m_pFieldDesc};
    const ProtobufField readableStrings = {&m_message, strings.m_pFieldDesc};
    MutableProtobufField one = Field("one_int32");
    fields::Fields nothing;
    PbField noInts;
    noInts.SetField(&nothing, ints.m_pFieldDesc, false);
    PbField oneInt;
    oneInt.SetField(&m_message, ints.m_pFieldDesc, false);
    PbField oneString;
    oneString.SetField(&m_message, strings.m_pFieldDesc, false);
    MutableProtobufField whole = {&m_message, nullptr};
    MutableProtobufField oneMessage = Field("one_message");
    fields::Plain plain;
    PbField wholePlain;
    wholePlain.SetField(&plain, nullptr, false);
    PbField presentMessage;
    presentMessage.SetField(&m_message, oneMessage.m_pFieldDesc, false);
    m_message.mutable_one_message();
    m_message.add_many_string("b");
    Expr& setBehind = SetTo("5", "$");
    Expr& pushBehind = PushTo("9", "$");
    Expr& setFirst = SetTo("0", "$");
    Expr& pushFirst = PushTo("0", "$");
    Expr& setNowhere = SetTo("0", "x");
    Expr& setSubField = SetTo("0", "a");
    Expr& pop = m_tree.Pop("0");
    IndexRangeList ranges;
    ExprVariant value;
    const int32_t values[] = {7};
    using Util = ProtobufRecordUtil;
    using Peer = ProtobufRecordUtilPeer;
    struct Refusal {
        const char* name;
        std::function<int(Util&)> operation;
    };
    const Refusal refusals[] = {
        {"set outside", [&](Util& util) { return util.SetWithExpr(ints, setBehind); }},
        {"set from what is no number", [&](Util& util) { return util.SetWithExpr(ints, setFirst); }},
        {"set from what is no text", [&](Util& util) { return util.SetWithExpr(strings, setFirst); }},
        {"set a sub-field that is not there", [&](Util& util) { return util.SetWithExpr(messages, setNowhere); }},
        {"set a sub-field from what is no number", [&](Util& util) { return util.SetWithExpr(messages, setSubField); }},
        {"push outside", [&](Util& util) { return util.PushWithExpr(ints, pushBehind); }},
        {"push what is no number", [&](Util& util) { return util.PushWithExpr(ints, pushFirst); }},
        {"push what is no text", [&](Util& util) { return util.PushWithExpr(strings, pushFirst); }},
        {"assign what is no number", [&](Util& util) { return Peer::AssignField(util, one, value); }},
        {"too few values", [&](Util& util) { return Peer::SetRepeatedField<int32_t>(util, ints, 0, 1, values, 1); }},
        {"set from nothing", [&](Util& util) { return util.SetWithPbField(ints, 0, 0, noInts); }},
        {"set from too few texts",
         [&](Util& util) {
             PbField first = oneString;
             first.SetArrayRange(0, 0);
             return util.SetWithPbField(strings, 0, 1, first);
         }},
        {"update from another type",
         [&](Util& util) { return util.UpdateWithPbField(whole, OstraneCommon::EXPR_OP_SET, &wholePlain); }},
        {"update of a message from a field",
         [&](Util& util) { return util.UpdateWithPbField(whole, OstraneCommon::EXPR_OP_SET, &presentMessage); }},
        {"update of a message that is there",
         [&](Util& util) { return util.UpdateWithPbField(oneMessage, OstraneCommon::EXPR_OP_SET, &wholePlain); }},
        {"update of a message field from another",
         [&](Util& util) { return util.UpdateWithPbField(oneMessage, OstraneCommon::EXPR_OP_SET, &presentMessage); }},
        {"push from, outside", [&](Util& util) { return util.PushWithPbField(ints, 9, oneInt); }},
        {"pop from nothing", [&](Util& util) { return util.PopWithExpr(empty, pop); }},
        {"pop without a match", [&](Util& util) { return util.PopWithRange(ints, ranges, nullptr); }},
        {"pop texts without a match", [&](Util& util) { return util.PopWithRange(strings, ranges, nullptr); }},
        {"get without a match",
         [&](Util& util) {
             ProtobufField source = readableInts;
             return util.GetWithRange(source, false, ranges, nullptr, ints, nullptr);
         }},
        {"get texts without a match",
         [&](Util& util) {
             ProtobufField source = readableStrings;
             return util.GetWithRange(source, false, ranges, nullptr, strings, nullptr);
         }},
    };
    for (const Refusal& refusal : refusals) {
        for (const bool hasCategory : {false, true}) {
            SCOPED_TRACE(std::string(refusal.name) + (hasCategory ? ", low bound" : ", no category"));
            SetBounds(NO_POINTER, 299);
            m_record.m_pLog = hasCategory ? &m_category : nullptr;
            Util silent(m_record);
            TheHost().matchResult = HOST_MATCH_FAILED;
            TheHost().matches.clear();
            const size_t before = TheHeap().allocations;
            const int code = refusal.operation(silent);
            EXPECT_EQ(TheHeap().allocations, before);
            EXPECT_LT(code, 0);
            // The same operation, heard.
            SetBounds(NO_POINTER, NO_POINTER);
            m_record.m_pLog = &m_category;
            Util heard(m_record);
            TheHost().lines.clear();
            EXPECT_EQ(refusal.operation(heard), code);
            EXPECT_FALSE(TheHost().lines.empty());
        }
    }
}

TEST_F(FrameTest, AnUpdateReadsTheCategoryOfTheRecordTheOthersTheirCopy) {
    LogCategory other = {nullptr, nullptr, nullptr};
    ProtobufRecordUtil util(m_record);
    m_record.m_pLog = &other;
    MutableProtobufField ints = Field("many_int32");
    EXPECT_EQ(util.UpdateWithPbField(ints, OstraneCommon::EXPR_OP_SET, nullptr), -256);
    EXPECT_EQ(util.SetWithExpr(ints, SetTo("5", "$")), -4633);
    ASSERT_EQ(TheHost().lines.size(), 2U);
    EXPECT_EQ(TheHost().lines[0].category, &other);
    EXPECT_EQ(TheHost().lines[1].category, &m_category);
}

// Neither for a note that is not wanted nor for values on their way.
TEST_F(FrameTest, AnOperationThatNeedsNoRoomAllocatesNothing) {
    SetBounds(NO_POINTER, 699);
    fields::Fields source;
    source.set_one_int32(5);
    for (int i = 0; i < 3; ++i) {
        source.add_many_int32(i);
        source.add_many_string(std::string(100, 's'));
        m_message.add_many_int32(i);
        m_message.add_many_string(std::string(100, 't'));
    }
    m_message.mutable_many_int32()->Reserve(64);
    m_message.mutable_many_double()->Reserve(64);
    // Its name is too long to be kept inside of a text.
    google::protobuf::ListValue list;
    google::protobuf::ListValue otherList;
    otherList.add_values()->set_bool_value(true);
    // Protobuf makes the reflection of its own types when it is first asked for.
    ASSERT_NE(list.GetReflection(), nullptr);
    fields::Fields nothing;
    const auto from = [&](const google::protobuf::Message& message, const FieldDescriptor* field, bool isMutable) {
        PbField src;
        src.SetField(&message, field, isMutable);
        return src;
    };
    MutableProtobufField ints = Field("many_int32");
    MutableProtobufField strings = Field("many_string");
    MutableProtobufField doubles = Field("many_double");
    MutableProtobufField one = Field("one_int32");
    MutableProtobufField whole = {&list, nullptr};
    PbField sourceInts = from(source, ints.m_pFieldDesc, false);
    PbField sourceStrings = from(source, strings.m_pFieldDesc, true);
    PbField noDoubles = from(nothing, doubles.m_pFieldDesc, false);
    PbField sourceOne = from(source, one.m_pFieldDesc, false);
    PbField moved = from(otherList, nullptr, true);
    Expr& set = SetTo("0", "$");
    Expr& push = PushTo("0", "$");
    using Util = ProtobufRecordUtil;
    struct Row {
        const char* name;
        std::function<int(Util&)> operation;
    };
    const auto update = [](Util& util, MutableProtobufField& target, PbField& src) {
        return util.UpdateWithPbField(target, OstraneCommon::EXPR_OP_SET, &src);
    };
    const Row rows[] = {
        {"set a number", [&](Util& util) { return util.SetWithExpr(ints, set); }},
        {"push a number", [&](Util& util) { return util.PushWithExpr(ints, push); }},
        {"set from numbers", [&](Util& util) { return util.SetWithPbField(ints, 0, 2, sourceInts); }},
        {"push from numbers", [&](Util& util) { return util.PushWithPbField(ints, 1, sourceInts); }},
        {"set from strings that are moved",
         [&](Util& util) { return util.SetWithPbField(strings, 0, 2, sourceStrings); }},
        {"push from nothing", [&](Util& util) { return util.PushWithPbField(doubles, 0, noDoubles); }},
        {"update from nothing", [&](Util& util) { return update(util, doubles, noDoubles); }},
        {"update a number", [&](Util& util) { return update(util, one, sourceOne); }},
        {"move a message", [&](Util& util) { return update(util, whole, moved); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Util util(m_record);
        const size_t before = TheHeap().allocations;
        const int code = row.operation(util);
        EXPECT_EQ(TheHeap().allocations, before);
        EXPECT_EQ(code, 0);
    }
    EXPECT_EQ(list.values_size(), 1);
    EXPECT_TRUE(TheHost().lines.empty());
}

// Wherever a line stands: in an operation, in a step of it, or in a template.
TEST_F(FrameTest, LinesGoToTheCategoryThatTheObjectCopied) {
    LogCategory other = {nullptr, nullptr, nullptr};
    fields::Fields nothing;
    m_message.add_many_string("b");
    MutableProtobufField ints = Field("many_int32");
    MutableProtobufField strings = Field("many_string");
    MutableProtobufField messages = Field("many_message");
    MutableProtobufField one = Field("one_int32");
    ProtobufField readableInts = {&m_message, ints.m_pFieldDesc};
    ProtobufField readableStrings = {&m_message, strings.m_pFieldDesc};
    PbField noInts;
    noInts.SetField(&nothing, ints.m_pFieldDesc, false);
    PbField firstString;
    firstString.SetField(&m_message, strings.m_pFieldDesc, false);
    firstString.SetArrayRange(0, 0);
    Expr& twice = m_tree.Set("0", {m_tree.Int(1), m_tree.Int(1)});
    Expr& setFirst = SetTo("0", "$");
    Expr& pushFirst = PushTo("0", "$");
    Expr& pushNowhere = PushTo("0", "x");
    IndexRangeList ranges;
    ExprVariant value;
    const int32_t values[] = {7};
    using Util = ProtobufRecordUtil;
    using Peer = ProtobufRecordUtilPeer;
    struct Row {
        const char* function;  // of the last line
        std::function<int(Util&)> operation;
        size_t lines;
    };
    const Row rows[] = {
        {"SetWithExpr", [&](Util& util) { return util.SetWithExpr(ints, twice); }, 1},
        {"PushWithExpr", [&](Util& util) { return util.PushWithExpr(ints, twice); }, 1},
        {"SetRepeatedFieldWithExpr", [&](Util& util) { return util.SetWithExpr(ints, setFirst); }, 1},
        {"PushRepeatedFieldWithExpr", [&](Util& util) { return util.PushWithExpr(ints, pushFirst); }, 1},
        {"SetRepeatedStringWithExpr", [&](Util& util) { return util.SetWithExpr(strings, setFirst); }, 1},
        {"PushRepeatedMessageWithExpr", [&](Util& util) { return util.PushWithExpr(messages, pushNowhere); }, 1},
        {"AssignField", [&](Util& util) { return Peer::AssignField(util, one, value); }, 1},
        {"SetRepeatedField", [&](Util& util) { return Peer::SetRepeatedField(util, ints, 0, 1, values, 1); }, 1},
        {"SetRepeatedStringWithPbField", [&](Util& util) { return util.SetWithPbField(strings, 0, 1, firstString); },
         1},
        {"PushWithPbField", [&](Util& util) { return util.PushWithPbField(ints, 0, noInts); }, 1},
        {"PopRepeatedField", [&](Util& util) { return util.PopWithRange(ints, ranges, nullptr); }, 2},
        {"PopRepeatedString", [&](Util& util) { return util.PopWithRange(strings, ranges, nullptr); }, 2},
        {"GetRepeatedField",
         [&](Util& util) { return util.GetWithRange(readableInts, false, ranges, nullptr, ints, nullptr); }, 2},
        {"GetRepeatedString",
         [&](Util& util) { return util.GetWithRange(readableStrings, false, ranges, nullptr, strings, nullptr); }, 2},
    };
    TheHost().isCastTaken = false;
    TheHost().matchResult = HOST_MATCH_FAILED;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.function);
        m_record.m_pLog = &m_category;
        Util util(m_record);
        m_record.m_pLog = &other;
        TheHost().lines.clear();
        row.operation(util);
        ASSERT_EQ(TheHost().lines.size(), row.lines);
        EXPECT_EQ(TheHost().lines.back().function, row.function);
        for (const HostLine& line : TheHost().lines) {
            EXPECT_EQ(line.category, &m_category);
        }
    }
}

TEST_F(FrameTest, ARecordWithoutCategoryIsWorkedOnSilently) {
    m_record.m_pLog = nullptr;
    EXPECT_EQ(Push("many_int32", PushTo("0", "$")), 0);
    EXPECT_EQ(m_message.many_int32(0), 7);
    EXPECT_EQ(Set("many_int32", SetTo("5", "$")), -4633);
    EXPECT_TRUE(TheHost().lines.empty());
}

struct NoteRow {
    int32_t high;
    int32_t low;
    bool isWritten;
};

TEST_F(FrameTest, ANoteIsWrittenWhereTheCategoryTakesDebugLines) {
    const NoteRow rows[] = {
        {-1, -1, true},   {NO_POINTER, NO_POINTER, true},
        {-1, 700, true},  {-1, 800, true},
        {-1, 699, false}, {-1, 300, false},
        {700, -1, true},  {701, -1, false},
        {300, 700, true}, {300, 699, false},
    };
    fields::Fields nothing;
    PbField source;
    source.SetField(&nothing, Field("many_int32").m_pFieldDesc, false);
    MutableProtobufField target = Field("many_int32");
    for (const NoteRow& row : rows) {
        SCOPED_TRACE(std::to_string(row.high) + " .. " + std::to_string(row.low));
        TheHost() = Host();
        SetBounds(row.high, row.low);
        EXPECT_EQ(ProtobufRecordUtil(m_record).PushWithPbField(target, 0, source), 0);
        ASSERT_EQ(TheHost().lines.size(), row.isWritten ? 1U : 0U);
        if (row.isWritten) {
            EXPECT_EQ(TheHost().lines[0].priority, LOG_PRIORITY_DEBUG);
            EXPECT_EQ(TheHost().lines[0].text, "src repeated field(fields.Fields.many_int32) is empty");
            EXPECT_EQ(TheHost().questions, std::vector<std::string>{"700 0 0"});
        }
    }
}

// Casts of a library that differs from ours

TEST_F(FrameTest, ATextCastThatGivesNoTextCountsAsFailed) {
    TheHost().text = nullptr;
    EXPECT_EQ(Set("many_string", SetTo("0", "$")), -5145);
    EXPECT_EQ(Push("many_string", PushTo("0", "$")), -5145);
    ProtobufRecordUtil util(m_record);
    OstraneCommon::ExprVariant value;
    EXPECT_EQ(ProtobufRecordUtilPeer::AssignField(util, Field("one_string"), value), -5145);
    EXPECT_EQ(ProtobufRecordUtilPeer::AssignField(util, Field("one_enum"), value), -5145);
    ASSERT_EQ(TheHost().lines.size(), 4U);
    EXPECT_EQ(TheHost().lines[0].text, "cast to string failed, field=fields.Fields.many_string, expr=<value>");
    EXPECT_EQ(TheHost().lines[0].function, "SetRepeatedStringWithExpr");
    EXPECT_EQ(TheHost().lines[1].text, "cast to string failed, field=fields.Fields.many_string, expr=<value>");
    EXPECT_EQ(TheHost().lines[1].function, "PushRepeatedStringWithExpr");
    EXPECT_EQ(TheHost().lines[2].text, "type cast failed, proto-cpp-type=9, variant=<value>");
    EXPECT_EQ(TheHost().lines[3].text, "type cast failed, proto-cpp-type=8, variant=<value>");
    EXPECT_EQ(m_message.many_string_size(), 1);
    EXPECT_EQ(m_message.many_string(0), "a");
    EXPECT_FALSE(m_message.has_one_string());
    EXPECT_FALSE(m_message.has_one_enum());
}

TEST_F(FrameTest, EveryIntegerKindIsReadThroughTheUnsignedCast) {
    TheHost().bits = 0x8000000180000001ULL;
    TheHost().number = -0.5;
    const std::string text = "text";
    TheHost().text = &text;
    for (const char* field : {"many_bool", "many_int32", "many_uint32", "many_int64", "many_uint64", "many_double",
                              "many_float", "many_string"}) {
        EXPECT_EQ(Push(field, PushTo("0", "$")), 0) << field;
    }
    EXPECT_EQ(m_message.many_bool(0), true);
    EXPECT_EQ(m_message.many_int32(0), -2147483647);
    EXPECT_EQ(m_message.many_uint32(0), 2147483649U);
    EXPECT_EQ(m_message.many_int64(0), static_cast<int64_t>(0x8000000180000001ULL));
    EXPECT_EQ(m_message.many_uint64(0), 0x8000000180000001ULL);
    EXPECT_EQ(m_message.many_double(0), -0.5);
    EXPECT_EQ(m_message.many_float(0), -0.5F);
    EXPECT_EQ(m_message.many_string(0), "text");
}

}  // namespace
