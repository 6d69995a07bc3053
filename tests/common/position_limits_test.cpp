// Positions and ranges at the ends of int.
#include <climits>

#include "source_copy.h"
#include "support/expr_tree.h"

namespace {

using namespace source_copy;  // NOLINT: the vocabulary of these tests

constexpr int BAD_INDEX = OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;

using PositionLimits = SourceCopyTest;

TEST_F(PositionLimits, IndexTextsBeyondTheFieldAreRefused) {
    ExprTree tree;
    Message* message = m_maker.Make("many_int32: [1, 2]");
    MutableProtobufField field = {message, FieldOf(*message, "many_int32")};
    for (const char* text : {"2147483647", "2147483648", "-2147483648", "-2147483649", "9223372036854775807",
                             "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "4294967296"}) {
        SCOPED_TRACE(text);
        ProtobufRecordUtil util(m_record);
        EXPECT_EQ(util.SetWithExpr(field, tree.Set(text, {tree.Assign("$", tree.Int(7))})), BAD_INDEX);
        EXPECT_EQ(util.PushWithExpr(field, tree.Push(text, {tree.Assign("$", tree.Int(7))})), BAD_INDEX);
    }
    EXPECT_EQ(Show(*message, "many_int32"), "[1, 2]");
}

TEST_F(PositionLimits, RunsOfATargetAreRefusedWithoutOverflow) {
    Message* source = m_maker.Make("many_int32: [7, 8]");
    Message* target = m_maker.Make("many_int32: [1, 2]");
    struct Row {
        int begin;
        int end;
        const char* line;
    };
    const Row rows[] = {
        {0, INT_MAX, "invalid idxBegin: 0, idxEnd: 2147483647, count: 2"},
        {INT_MAX, INT_MAX, "invalid idxBegin: 2147483647, idxEnd: 2147483647, count: 2"},
        {INT_MAX, INT_MIN, "invalid idxBegin: 2147483647, idxEnd: -2147483646, count: 2"},
        {0, INT_MIN, "invalid idxBegin: 0, idxEnd: -2147483646, count: 2"},
        {INT_MAX, 0, "invalid idxBegin: 2147483647, idxEnd: 0, count: 2"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Set(target, "many_int32", row.begin, row.end, Source(*source, "many_int32")), BAD_INDEX);
        EXPECT_EQ(TakeLines(), Lines{Error("SetWithPbField", row.line)});
    }
    EXPECT_EQ(Push(target, "many_int32", INT_MAX, Source(*source, "many_int32")), BAD_INDEX);
    EXPECT_EQ(TakeLines(), Lines{Error("PushWithPbField", "invalid idx = 2147483647, count = 2")});
    EXPECT_EQ(Show(*target, "many_int32"), "[1, 2]");
}

TEST_F(PositionLimits, RangesReachFromOneEndOfIntToTheOther) {
    const std::vector<std::pair<OstraneCommon::IndexRangeList, const char*>> rows = {
        {{{INT_MIN, INT_MAX}}, "[1, 2, 3]"},
        {{{INT_MAX, INT_MIN}}, "[]"},
        {{{INT_MIN, INT_MIN}}, "[]"},
        {{{INT_MAX, INT_MAX}}, "[]"},
        {{{1, INT_MAX}}, "[2, 3]"},
        {{{INT_MIN, -3}}, "[1]"},
        {{{INT_MIN, 0}, {2, INT_MAX}}, "[1, 3]"},
    };
    for (const auto& row : rows) {
        Message* source = m_maker.Make("many_int32: [1, 2, 3]");
        Message* target = m_maker.Make();
        ProtobufField from = {source, FieldOf(*source, "many_int32")};
        MutableProtobufField to = {target, from.m_pFieldDesc};
        OstraneCommon::IndexRangeList ranges = row.first;
        EXPECT_EQ(ProtobufRecordUtil(m_record).GetWithRange(from, false, ranges, nullptr, to, nullptr), 0);
        EXPECT_EQ(Show(*target, "many_int32"), row.second);
    }
}

}  // namespace
