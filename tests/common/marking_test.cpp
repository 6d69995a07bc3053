// What a pop or get hands to the matching, and what becomes of its answers: an expression library of a host's own
// may return any code but 0 for a failure, and may read the field on its way.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "host_libraries.h"
#include "support/expr_tree.h"
#include "support/record_util_peer.h"
#include "support/show.h"

namespace {

using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;
using OstraneCommon::IndexRangeList;

const char* const NAMES[] = {"many_bool",   "many_int32", "many_uint32", "many_int64", "many_uint64",
                             "many_double", "many_float", "many_string", "many_bytes", "many_message"};

constexpr const char* CONTENT =
    "many_bool: [true, false] many_int32: [1, 2] many_uint32: [1, 2] many_int64: [1, 2] many_uint64: [1, 2] "
    "many_double: [1, 2] many_float: [1, 2] many_string: ['a', 'b'] many_bytes: ['a', 'b'] "
    "many_message: [{a: 1}, {a: 2}]";

class MarkingTest : public testing::Test {
protected:
    struct Operation {
        const char* name;
        const char* worker;
        const char* fieldWord;  // how its line calls the field
        bool isMutable;
        std::function<int(const std::string&)> run;
    };

    MarkingTest() {
        TheHost() = Host();
        m_record.m_pLog = &m_category;
        Fill(CONTENT);
    }
    ~MarkingTest() override { TheHost() = Host(); }

    void Fill(const std::string& content) {
        EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(content, &m_message));
    }
    static MutableProtobufField Field(fields::Fields& message, const std::string& name) {
        return {&message, fields::Fields::descriptor()->FindFieldByName(name)};
    }
    ProtobufRecordUtil Util() { return ProtobufRecordUtil(m_record); }
    int Pop(const std::string& name) {
        MutableProtobufField field = Field(m_message, name);
        return Util().PopWithRange(field, m_ranges, m_filter);
    }
    int Get(const std::string& name, bool isMutable) {
        const MutableProtobufField field = Field(m_message, name);
        ProtobufField source = {field.m_pParent, field.m_pFieldDesc};
        MutableProtobufField target = Field(m_target, name);
        return Util().GetWithRange(source, isMutable, m_ranges, m_filter, target, nullptr);
    }
    int GetByHandle(const std::string& name) {
        MutableProtobufField source = Field(m_message, name);
        MutableProtobufField target = Field(m_target, name);
        return Util().GetWithRange(source, m_ranges, m_filter, target, nullptr);
    }
    // All that marks.
    std::vector<Operation> Operations() {
        return {
            {"pop", "PopRepeated", "field", true, [this](const std::string& name) { return Pop(name); }},
            {"get by copy", "GetRepeated", "src", false, [this](const std::string& name) { return Get(name, false); }},
            {"get by move", "GetRepeated", "src", true, [this](const std::string& name) { return Get(name, true); }},
            {"get by handle", "GetRepeated", "src", true,
             [this](const std::string& name) { return GetByHandle(name); }},
        };
    }

    LogCategory m_category = {nullptr, nullptr, nullptr};
    ProtobufRecord m_record;
    ExprTree m_tree;
    fields::Fields m_message;
    fields::Fields m_target;
    IndexRangeList m_ranges;
    Expr* m_filter = nullptr;
};

// A resolver over the record, the array as a whole, whether it may be consumed, no marks, none counted, and the lowest
// behind the last.
TEST_F(MarkingTest, AMatchingIsHandedTheArrayAndNoMarks) {
    m_ranges = {{1, 1}, {0, -2}};
    for (Expr* filter : {static_cast<Expr*>(nullptr), m_tree.Bool(true)}) {
        m_filter = filter;
        for (const Operation& operation : Operations()) {
            for (const char* name : NAMES) {
                SCOPED_TRACE(std::string(operation.name) + " " + name + (filter == nullptr ? "" : ", filtered"));
                TheHost() = Host();
                EXPECT_EQ(operation.run(name), 0);
                ASSERT_EQ(TheHost().matches.size(), 1U);
                const HostMatch& match = TheHost().matches[0];
                EXPECT_EQ(match.record, &m_record);
                EXPECT_EQ(match.filterType, filter == nullptr ? OstraneCommon::EXPR_NONE : OstraneCommon::EXPR_UINT);
                EXPECT_EQ(match.arrayType, OstraneCommon::EXPR_UNRESOLVE);
                EXPECT_EQ(match.array.pMap, nullptr);
                EXPECT_EQ(match.array.pMessage, &m_message);
                EXPECT_EQ(match.array.pFieldDesc, Field(m_message, name).m_pFieldDesc);
                EXPECT_EQ(match.array.idxBegin, 0);
                EXPECT_EQ(match.array.idxEnd, 0);
                EXPECT_EQ(match.array.isMutable, operation.isMutable);
                EXPECT_FALSE(match.array.isArrayRange);
                EXPECT_FALSE(match.array.isArrayElement);
                EXPECT_EQ(match.ranges, m_ranges);
                EXPECT_EQ(match.marks, 0U);
                EXPECT_EQ(match.matchCount, 0);
                EXPECT_EQ(match.minMatch, 2);
            }
        }
    }
    EXPECT_TRUE(TheHost().lines.empty());
}

// The marks and numbers are the caller's, and the code is the library's.
TEST_F(MarkingTest, MarkingHandsOnWhatItWasGiven) {
    const MutableProtobufField field = Field(m_message, "many_int32");
    ProtobufRecordUtil util = Util();
    for (bool isMutable : {false, true}) {
        SCOPED_TRACE(isMutable);
        TheHost() = Host();
        TheHost().matchResult = 5;
        std::vector<bool> marks(3, true);
        int matchCount = 4;
        int minMatch = 6;
        EXPECT_EQ(ProtobufRecordUtilPeer::MarkMatchPositions(util, {field.m_pParent, field.m_pFieldDesc}, isMutable,
                                                             m_ranges, nullptr, marks, matchCount, minMatch),
                  5);
        ASSERT_EQ(TheHost().matches.size(), 1U);
        EXPECT_EQ(TheHost().matches[0].array.isMutable, isMutable);
        EXPECT_EQ(TheHost().matches[0].marks, 3U);
        EXPECT_EQ(TheHost().matches[0].matchCount, 4);
        EXPECT_EQ(TheHost().matches[0].minMatch, 6);
        EXPECT_EQ(marks, std::vector<bool>(3, true));
        EXPECT_EQ(matchCount, 4);
        EXPECT_EQ(minMatch, 6);
        ASSERT_EQ(TheHost().lines.size(), 1U);
        EXPECT_EQ(TheHost().lines[0].text, "FindArrayMatchPositions failed, ret: 5, errmsg: <reason>");
    }
}

// Whatever its sign, and whatever has been marked.
TEST_F(MarkingTest, AnyCodeButZeroOfAMatchingIsAFailure) {
    const std::string before = Show(m_message);
    for (const int code : {5, 1, -1, INT32_MAX, INT32_MIN}) {
        for (const Operation& operation : Operations()) {
            for (const char* name : NAMES) {
                SCOPED_TRACE(std::string(operation.name) + " " + name + ", " + std::to_string(code));
                TheHost() = Host();
                TheHost().isEveryElementMarked = true;
                TheHost().matchResult = code;
                EXPECT_EQ(operation.run(name), code);
                ASSERT_EQ(TheHost().lines.size(), 2U);
                const std::string number = std::to_string(code);
                EXPECT_EQ(TheHost().lines[0].text,
                          "FindArrayMatchPositions failed, ret: " + number + ", errmsg: <reason>");
                EXPECT_EQ(TheHost().lines[1].function.rfind(operation.worker, 0), 0U) << TheHost().lines[1].function;
                EXPECT_EQ(TheHost().lines[1].text, std::string("MarkMatchPositions failed, ") + operation.fieldWord +
                                                       "=fields.Fields." + name + ", ret=" + number);
            }
        }
    }
    EXPECT_EQ(Show(m_message), before);
    EXPECT_EQ(Show(m_target), "");
}

TEST_F(MarkingTest, AnyCodeButZeroOfARangeTextIsAFailure) {
    const std::string before = Show(m_message);
    MutableProtobufField field = Field(m_message, "many_int32");
    for (const int code : {5, 1, -1, INT32_MAX, INT32_MIN}) {
        SCOPED_TRACE(code);
        TheHost() = Host();
        TheHost().isEveryElementMarked = true;
        TheHost().parseResult = code;
        EXPECT_EQ(Util().PopWithExpr(field, m_tree.Pop("0")), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
        EXPECT_TRUE(TheHost().matches.empty());
        ASSERT_EQ(TheHost().lines.size(), 1U);
        EXPECT_EQ(TheHost().lines[0].text, "invalid range=0");
    }
    EXPECT_EQ(Show(m_message), before);
}

// To read a map by key makes protobuf build its table, from then on the truth about the map.
TEST_F(MarkingTest, APopOfAMapHoldsWhenTheFilterReadsTheMapByKey) {
    Fill("by_name {key: 'hp' value: 5} by_name {key: 'mp' value: 7}");
    TheHost().isEveryElementMarked = true;
    int found = 0;
    TheHost().whileMatching = [this, &found] { found = m_message.by_name().at("hp"); };
    EXPECT_EQ(Pop("by_name"), 0);
    EXPECT_EQ(found, 5);
    EXPECT_EQ(m_message.by_name().size(), 0U);
    EXPECT_EQ(Show(m_message), "");
    EXPECT_TRUE(TheHost().lines.empty());
}

}  // namespace
