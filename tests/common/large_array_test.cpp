// Arrays of ten million elements, and numbers of elements near 2^31. Labelled `long`.
#include <climits>
#include <cstdint>
#include <limits>

#include "selection_fixture.h"

namespace {

using google::protobuf::RepeatedField;
using OstraneCommon::PbField;
using Peer = ProtobufRecordUtilPeer;

constexpr int MANY = 10 * 1000 * 1000;
constexpr int BAD_INDEX = OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;

class LargeArrayTest : public SelectionTest {
protected:
    LargeArrayTest() {
        Ints().Reserve(MANY);
        for (int i = 0; i < MANY; ++i) {
            Ints().AddAlreadyReserved(i);
        }
    }
    RepeatedField<int32_t>& Ints() { return *m_message.mutable_many_int32(); }
    MutableProtobufField IntField() { return Field(&m_message, "many_int32"); }
};

TEST_F(LargeArrayTest, PushAndSetReachBothEnds) {
    const std::string size = std::to_string(MANY);
    MutableProtobufField field = IntField();
    EXPECT_EQ(Util().PushWithExpr(field, m_tree.Push("0", {m_tree.Assign("$", m_tree.Int(-7))})), 0);
    EXPECT_EQ(Util().PushWithExpr(field, m_tree.Push("-1", {m_tree.Assign("$", m_tree.Int(-8))})), 0);
    EXPECT_EQ(Util().SetWithExpr(field, m_tree.Set(size, {m_tree.Assign("$", m_tree.Int(-9))})), 0);
    ASSERT_EQ(Ints().size(), MANY + 2);
    EXPECT_EQ(Ints().Get(0), -7);
    EXPECT_EQ(Ints().Get(1), 0);
    EXPECT_EQ(Ints().Get(MANY), -9);
    EXPECT_EQ(Ints().Get(MANY + 1), -8);
    const std::string behind = std::to_string(MANY + 3);
    EXPECT_EQ(Util().PushWithExpr(field, m_tree.Push(behind, {m_tree.Assign("$", m_tree.Int(1))})), BAD_INDEX);
    EXPECT_EQ(Ints().size(), MANY + 2);
}

TEST_F(LargeArrayTest, PopsTheLowerHalfByCondition) {
    // Then the ends of what is left, by ranges.
    EXPECT_EQ(PopWithRange(IntField(), {}, Less("$", MANY / 2)), 0);
    ASSERT_EQ(Ints().size(), MANY / 2);
    EXPECT_EQ(Ints().Get(0), MANY / 2);
    EXPECT_EQ(PopWithRange(IntField(), {{0, 0}, {-1, -1}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}}), 0);
    ASSERT_EQ(Ints().size(), MANY / 2 - 2);
    for (int i = 0; i < Ints().size(); ++i) {
        ASSERT_EQ(Ints().Get(i), MANY / 2 + 1 + i);
    }
}

TEST_F(LargeArrayTest, PopsAnyPattern) {
    OstraneCommon::IndexRangeList ranges;
    for (int i = 0; i < MANY; i += 2) {
        ranges.push_back({i, i});
    }
    EXPECT_EQ(PopWithRange(IntField(), ranges), 0);
    ASSERT_EQ(Ints().size(), MANY / 2);
    for (int i = 0; i < Ints().size(); ++i) {
        ASSERT_EQ(Ints().Get(i), 2 * i + 1);
    }
}

TEST_F(LargeArrayTest, GetsAndCopiesAll) {
    fields::Fields target;
    Positions positions;
    EXPECT_EQ(
        Get(IntField(), false, {{MANY - 3, INT_MAX}, {INT_MIN, 1}}, nullptr, Field(&target, "many_int32"), &positions),
        0);
    EXPECT_EQ(Show(target, "many_int32"), "[0, 1, 9999997, 9999998, 9999999]");
    EXPECT_EQ(positions, (Positions{0, 1, 9999997, 9999998, 9999999}));
    PbField src;
    src.SetField(&m_message, IntField().m_pFieldDesc, false);
    MutableProtobufField field = Field(&target, "many_int32");
    EXPECT_EQ(Util().PushWithPbField(field, 5, src), 0);
    EXPECT_EQ(Util().SetWithPbField(field, 5, -1, src), 0);
    ASSERT_EQ(target.many_int32_size(), MANY + 5);
    EXPECT_EQ(target.many_int32(MANY + 4), MANY - 1);
    // Five elements less than places.
    EXPECT_EQ(Util().SetWithPbField(field, 0, -1, src), BAD_INDEX);
}

// A field that can be doubled no further: the sum lies behind the largest int.
TEST_F(LargeArrayTest, MoreElementsThanCanBeCountedAreRefused) {
    ProtobufRecordUtil util = Util();
    for (const int count : {INT_MAX, INT_MAX - MANY + 1}) {
        m_log.Clear();
        // No value is read, so none needs to be there.
        const int32_t* values = Ints().data() + MANY;
        EXPECT_EQ(Peer::PushRepeatedField<int32_t>(util, IntField(), 0, values, count), OstraneErrCode::GEN_ERR_ERR);
        EXPECT_EQ(m_log.Lines(), (Lines{"ERROR src/common/protobuf_record_util.h PushRepeatedField: Add "
                                        "element(fields.Fields.many_int32) failed"}));
        EXPECT_EQ(Ints().size(), MANY);
    }
}

}  // namespace
