// What the operations rely on in values, trees, source fields and resolvers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "common/expr.h"
#include "fields.pb.h"
#include "support/expr_tree.h"

namespace {

using namespace OstraneCommon;

// Kinds

TEST(ExprKinds, AreNumberedInTheirOrder) {
    const std::vector<ExprType> kinds = {EXPR_NONE,
                                         EXPR_COMPARE_EQ,
                                         EXPR_COMPARE_NE,
                                         EXPR_COMPARE_LT,
                                         EXPR_COMPARE_LE,
                                         EXPR_COMPARE_GT,
                                         EXPR_COMPARE_GE,
                                         EXPR_COMPARE_AE,
                                         EXPR_COMPARE_SE,
                                         EXPR_COMPARE_ME,
                                         EXPR_COMPARE_DE,
                                         EXPR_COMPARE_BIT_NE,
                                         EXPR_COMPARE_BIT_OE,
                                         EXPR_COMPARE_BIT_SR,
                                         EXPR_COMPARE_BIT_SL,
                                         EXPR_LIST,
                                         EXPR_AND,
                                         EXPR_OR,
                                         EXPR_NOT,
                                         EXPR_BITWISE_AND,
                                         EXPR_BITWISE_NOT,
                                         EXPR_OP_ADD,
                                         EXPR_OP_SUB,
                                         EXPR_OP_MULT,
                                         EXPR_OP_DIV,
                                         EXPR_CONTAINS,
                                         EXPR_NOT_CONTAINS,
                                         EXPR_LIKE,
                                         EXPR_NOT_LIKE,
                                         EXPR_IN,
                                         EXPR_NOT_IN,
                                         EXPR_BETWEEN,
                                         EXPR_VALUE_LIST,
                                         EXPR_STRING,
                                         EXPR_STRING_PTR,
                                         EXPR_BINARY_STRING,
                                         EXPR_BYTES,
                                         EXPR_BYTES_TEXT,
                                         EXPR_CSTR,
                                         EXPR_UINT,
                                         EXPR_INT,
                                         EXPR_FLOAT,
                                         EXPR_UINT_STRING,
                                         EXPR_INT_STRING,
                                         EXPR_FLOAT_STRING,
                                         EXPR_TIME,
                                         EXPR_QUESTION,
                                         EXPR_BUFF,
                                         EXPR_NULL,
                                         EXPR_DEFAULT,
                                         EXPR_OP_GET,
                                         EXPR_OP_PUSH,
                                         EXPR_OP_POP,
                                         EXPR_OP_SET,
                                         EXPR_INDEX_RANGE,
                                         EXPR_STRUCT,
                                         EXPR_TREE,
                                         EXPR_ASSIGN,
                                         EXPR_ASSIGN_LIST,
                                         EXPR_COMMA,
                                         EXPR_UNRESOLVE,
                                         EXPR_UNRESOLVE_FILTER,
                                         EXPR_CMD_USE,
                                         EXPR_CMD_SELECT,
                                         EXPR_CMD_COLUMN,
                                         EXPR_CMD_COLUMN_ALIAS,
                                         EXPR_CMD_COLUMNS,
                                         EXPR_CMD_FROM,
                                         EXPR_CMD_INTO,
                                         EXPR_CMD_USING,
                                         EXPR_CMD_USE_SLAVE,
                                         EXPR_CMD_USE_MASTER,
                                         EXPR_CMD_USE_SCAN,
                                         EXPR_CMD_UPDATE,
                                         EXPR_CMD_QUERY,
                                         EXPR_CMD_DELETE,
                                         EXPR_CMD_INSERT,
                                         EXPR_CMD_ON_DUPLICATE_KEY_UPDATE,
                                         EXPR_CMD_VALUES,
                                         EXPR_CMD_WHERE,
                                         EXPR_CMD_TABLE,
                                         EXPR_CMD_LIMIT,
                                         EXPR_CMD_OFFSET,
                                         EXPR_CMD_SET,
                                         EXPR_CMD_FUNC_CALL,
                                         EXPR_CMD_SHOW,
                                         EXPR_CMD_ORDER_BY,
                                         EXPR_CMD_ORDER_DESC,
                                         EXPR_CMD_ORDER_ASC,
                                         EXPR_TYPE_MAX};
    ASSERT_EQ(kinds.size(), 90U);
    for (size_t number = 0; number < kinds.size(); ++number) {
        EXPECT_EQ(static_cast<size_t>(kinds[number]), number);
    }
    static_assert(std::is_same<std::underlying_type<ExprType>::type, int32_t>::value, "kinds have 32 bits");
}

// Values and nodes

TEST(ExprVariant, StartsAsNothing) {
    const ExprVariant variant;
    EXPECT_EQ(variant.m_type, EXPR_NONE);
    EXPECT_EQ(variant.m_flags, 0U);
    EXPECT_EQ(variant.m_tokenOffset, 0);
    EXPECT_EQ(variant.m_str, "");
    // The union's first member is zeroed, the widest one with it.
    EXPECT_EQ(variant.m_data.valUInt64, 0U);
    EXPECT_EQ(variant.m_data.pb.pFieldDesc, nullptr);
    EXPECT_EQ(variant.m_data.pb.idxEnd, 0);
    EXPECT_FALSE(variant.m_data.pb.isMutable);
}

TEST(ExprVariant, HasItsMembersInOrder) {
    EXPECT_LT(offsetof(ExprVariant, m_type), offsetof(ExprVariant, m_flags));
    EXPECT_LT(offsetof(ExprVariant, m_flags), offsetof(ExprVariant, m_tokenOffset));
    EXPECT_LT(offsetof(ExprVariant, m_tokenOffset), offsetof(ExprVariant, m_data));
    EXPECT_LT(offsetof(ExprVariant, m_data), offsetof(ExprVariant, m_str));
    EXPECT_EQ(offsetof(Expr, m_self), 0U);
    EXPECT_LT(offsetof(Expr, m_operands), offsetof(Expr, m_children));
}

TEST(Expr, WithoutListCountsAsWithoutOperands) {
    Expr expr;
    EXPECT_EQ(expr.m_operands, nullptr);
    EXPECT_EQ(expr.m_children, nullptr);
    EXPECT_EQ(expr.m_self.m_type, EXPR_NONE);
    EXPECT_TRUE(expr.IsOperandEmpty());
    EXPECT_EQ(expr.OperandCount(), 0U);
    EXPECT_EQ(expr.Operand(0), nullptr);
    EXPECT_EQ(const_cast<const Expr&>(expr).Operand(3), nullptr);
}

TEST(Expr, WithAnEmptyListHasNoOperandsEither) {
    Expr expr;
    std::vector<Expr*> operands;
    expr.m_operands = &operands;
    EXPECT_TRUE(expr.IsOperandEmpty());
    EXPECT_EQ(expr.OperandCount(), 0U);
}

TEST(Expr, GivesItsOperandsByPosition) {
    Expr first;
    Expr second;
    std::vector<Expr*> operands = {&first, &second};
    Expr expr;
    expr.m_operands = &operands;
    EXPECT_FALSE(expr.IsOperandEmpty());
    EXPECT_EQ(expr.OperandCount(), 2U);
    EXPECT_EQ(expr.Operand(1), &second);
    EXPECT_EQ(&expr.OperandRef(0), &first);
    // The children are another list.
    expr.m_operands = nullptr;
    expr.m_children = &operands;
    EXPECT_TRUE(expr.IsOperandEmpty());
}

// Narrowing casts

ExprVariant Int(int64_t value) {
    ExprTree tree;
    return tree.Int(value)->m_self;
}

ExprVariant UInt(uint64_t value) {
    ExprTree tree;
    return tree.UInt(value)->m_self;
}

ExprVariant Float(double value) {
    ExprTree tree;
    return tree.Float(value)->m_self;
}

template <typename T>
T CastInt(const ExprVariant& variant) {
    T value = T{};
    EXPECT_TRUE(variant.CastInt<T>(value));
    return value;
}

TEST(ExprVariant, IntegersAreCutToTheirLowBits) {
    EXPECT_EQ(CastInt<int32_t>(Int(-1)), -1);
    EXPECT_EQ(CastInt<int32_t>(UInt((uint64_t{1} << 32) + 1)), 1);
    EXPECT_EQ(CastInt<int32_t>(UInt(4294967295U)), -1);
    EXPECT_EQ(CastInt<int32_t>(UInt(uint64_t{1} << 31)), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(CastInt<uint32_t>(Int(-1)), 4294967295U);
    EXPECT_EQ(CastInt<uint32_t>(UInt((uint64_t{7} << 32) + 9)), 9U);
    EXPECT_EQ(CastInt<int64_t>(UInt(std::numeric_limits<uint64_t>::max())), -1);
    EXPECT_EQ(CastInt<int64_t>(Int(std::numeric_limits<int64_t>::min())), std::numeric_limits<int64_t>::min());
}

TEST(ExprVariant, AnyBitMakesABoolTrue) {
    EXPECT_FALSE(CastInt<bool>(Int(0)));
    EXPECT_TRUE(CastInt<bool>(Int(2)));
    EXPECT_TRUE(CastInt<bool>(Int(-1)));
    // The low 32 bits alone are zero.
    EXPECT_TRUE(CastInt<bool>(UInt(uint64_t{1} << 32)));
    EXPECT_TRUE(CastInt<bool>(UInt(uint64_t{1} << 63)));
}

TEST(ExprVariant, AFloatIsTheDoubleNarrowed) {
    float value = 0;
    EXPECT_TRUE(Float(0.1).Cast(value));
    EXPECT_EQ(value, 0.1F);
    EXPECT_TRUE(Int(16777217).Cast(value));
    EXPECT_EQ(value, 16777216.0F);
    EXPECT_TRUE(Float(std::numeric_limits<double>::infinity()).Cast(value));
    EXPECT_TRUE(std::isinf(value));
}

TEST(ExprVariant, CastsThatFailLeaveTheirTarget) {
    const ExprVariant nothing;
    int32_t number = 7;
    bool flag = true;
    float small = 1.5F;
    double wide = 2.5;
    uint64_t bits = 9;
    const std::string text = "kept";
    const std::string* ref = &text;
    EXPECT_FALSE(nothing.CastInt<int32_t>(number));
    EXPECT_FALSE(nothing.CastInt<bool>(flag));
    EXPECT_FALSE(nothing.Cast(small));
    EXPECT_FALSE(nothing.Cast(wide));
    EXPECT_FALSE(nothing.Cast(bits));
    EXPECT_FALSE(nothing.CastRef(ref));
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(flag);
    EXPECT_EQ(small, 1.5F);
    EXPECT_EQ(wide, 2.5);
    EXPECT_EQ(bits, 9U);
    EXPECT_EQ(ref, &text);
}

// Source fields

TEST(PbField, SetFieldNamesAWholeFieldWhateverItNamedBefore) {
    const int map = 0;
    fields::Fields before;
    PbField source = {&map, &before, nullptr, 3, 4, true, true, true};
    fields::Fields message;
    const google::protobuf::FieldDescriptor* field = fields::Fields::descriptor()->FindFieldByName("many_int32");
    source.SetField(&message, field, false);
    EXPECT_EQ(source.pMap, nullptr);
    EXPECT_EQ(source.pMessage, &message);
    EXPECT_EQ(source.pFieldDesc, field);
    EXPECT_EQ(source.idxBegin, 0);
    EXPECT_EQ(source.idxEnd, 0);
    EXPECT_FALSE(source.isMutable);
    EXPECT_FALSE(source.isArrayRange);
    EXPECT_FALSE(source.isArrayElement);
    source.SetField(&message, nullptr, true);
    EXPECT_EQ(source.pFieldDesc, nullptr);
    EXPECT_TRUE(source.isMutable);
}

TEST(PbField, NarrowsToARunOrToAnElement) {
    fields::Fields message;
    PbField source;
    source.SetField(&message, fields::Fields::descriptor()->FindFieldByName("many_int32"), true);
    source.SetArrayRange(2, 5);
    EXPECT_EQ(source.idxBegin, 2);
    EXPECT_EQ(source.idxEnd, 5);
    EXPECT_TRUE(source.isArrayRange);
    EXPECT_FALSE(source.isArrayElement);
    source.SetArrayElementIdx(3);
    EXPECT_EQ(source.idxBegin, 3);
    EXPECT_EQ(source.idxEnd, 3);
    EXPECT_FALSE(source.isArrayRange);
    EXPECT_TRUE(source.isArrayElement);
    EXPECT_TRUE(source.isMutable);
}

TEST(PbField, IsAnAggregateOfAUnion) {
    static_assert(std::is_aggregate<PbField>::value, "initialised by braces");
    static_assert(std::is_trivial<PbField>::value, "a member of a union");
    static_assert(std::is_trivial<ExprData>::value, "copied by its bytes");
    EXPECT_LT(offsetof(PbField, pMap), offsetof(PbField, pMessage));
    EXPECT_LT(offsetof(PbField, pMessage), offsetof(PbField, pFieldDesc));
    EXPECT_LT(offsetof(PbField, pFieldDesc), offsetof(PbField, idxBegin));
    EXPECT_LT(offsetof(PbField, idxBegin), offsetof(PbField, idxEnd));
    EXPECT_LT(offsetof(PbField, idxEnd), offsetof(PbField, isMutable));
    EXPECT_LT(offsetof(PbField, isMutable), offsetof(PbField, isArrayRange));
    EXPECT_LT(offsetof(PbField, isArrayRange), offsetof(PbField, isArrayElement));
}

// Resolvers

#if defined(__GNUC__) && defined(__x86_64__)
// The place of a virtual member in the dispatch table: a pointer to it holds 1 plus the offset.
template <typename Member>
size_t Slot(Member member) {
    uintptr_t words[2];
    static_assert(sizeof(member) == sizeof(words), "a member pointer is an offset and an adjustment");
    std::memcpy(words, &member, sizeof(words));
    return (words[0] - 1) / sizeof(void*);
}

// Hosts derive resolvers in libraries that were compiled earlier.
TEST(ExprResolver, KeepsItsDispatchTable) {
    const std::vector<size_t> slots = {
        Slot(&ExprResolver::Resolve),       Slot(&ExprResolver::Cast),          Slot(&ExprResolver::IsDeltaRecord),
        Slot(&ExprResolver::IsStruct),      Slot(&ExprResolver::IsArray),       Slot(&ExprResolver::IsMap),
        Slot(&ExprResolver::ArraySize),     Slot(&ExprResolver::MapSize),       Slot(&ExprResolver::ArrayGet),
        Slot(&ExprResolver::ArrayGetRange), Slot(&ExprResolver::ArrayGetFirst), Slot(&ExprResolver::MapFind),
        Slot(&ExprResolver::Update),        Slot(&ExprResolver::ArrayUpdate),   Slot(&ExprResolver::MapUpdate),
        Slot(&ExprResolver::ApplyMapUpdate)};
    for (size_t i = 0; i < slots.size(); ++i) {
        // The destructor has the first two.
        EXPECT_EQ(slots[i], i + 2);
    }
    static_assert(std::has_virtual_destructor<ExprResolver>::value, "deleted through its base");
}
#endif

}  // namespace
