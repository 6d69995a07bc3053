// Which elements a selector and a condition choose.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "common/err_code.h"
#include "filter_fixture.h"
#include "filters.pb.h"
#include "support/broken_message.h"

namespace {

using namespace FilterTest;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// Ranges ---------------------------------------------------------------------------------------------

// The rule itself, an element at a time.
bool IsInRange(std::pair<int32_t, int32_t> range, int size, int index) {
    const int64_t first = range.first < 0 ? int64_t{range.first} + size : range.first;
    const int64_t last = range.second < 0 ? int64_t{range.second} + size : range.second;
    return first <= index && index <= last;
}

// The elements in the ranges whose value, which is their position, lies below `limit`.
std::string Expected(const IndexRangeList& ranges, int size, int limit = std::numeric_limits<int>::max()) {
    std::vector<bool> marks;
    int count = 0;
    int first = 99;
    for (int i = 0; i < size; ++i) {
        bool isIn = ranges.empty();
        for (const auto& range : ranges) {
            isIn = isIn || IsInRange(range, size, i);
        }
        isIn = isIn && i < limit;
        marks.push_back(isIn);
        count += isIn ? 1 : 0;
        first = isIn && first == 99 ? i : first;
    }
    return ShowMatches(marks, count, first);
}

class Ranges : public ::testing::Test {
protected:
    void Resize(int size) {
        m_record.clear_i32s();
        for (int i = 0; i < size; ++i) {
            m_record.add_i32s(i);
        }
    }
    std::string FindAll(const IndexRangeList& ranges) {
        Expr always;
        ProtobufRecord holder;
        holder.m_pMessage = &m_record;
        OstraneCommon::ProtobuFieldResolver resolver(holder);
        return Find(always, resolver, m_record, m_record.GetDescriptor()->FindFieldByName("i32s"), ranges);
    }
    filters::Record m_record;
};

TEST_F(Ranges, EveryPairOverSmallArrays) {
    for (int size = 0; size <= 5; ++size) {
        Resize(size);
        for (int first = -6; first <= 6; ++first) {
            for (int last = -6; last <= 6; ++last) {
                const IndexRangeList ranges{{first, last}};
                ASSERT_EQ(FindAll(ranges), Expected(ranges, size)) << size << ": " << first << ".." << last;
                ASSERT_EQ(Find("$ >= 0", m_record, "i32s", ranges), Expected(ranges, size));
            }
        }
    }
}

TEST_F(Ranges, EveryTwoPairsOverSmallArrays) {
    for (int size = 0; size <= 4; ++size) {
        Resize(size);
        for (int code = 0; code < 11 * 11 * 11 * 11; ++code) {
            const IndexRangeList ranges{{code % 11 - 5, code / 11 % 11 - 5},
                                        {code / 121 % 11 - 5, code / 1331 % 11 - 5}};
            ASSERT_EQ(FindAll(ranges), Expected(ranges, size)) << size << ": " << code;
        }
    }
}

// Lone positions are marked many at once: every list of three of them, in and out of order, twice, from
// the end, and outside the array, with a run behind or before them.
TEST_F(Ranges, EveryThreeLonePositions) {
    for (int size = 0; size <= 4; ++size) {
        Resize(size);
        for (int code = 0; code < 11 * 11 * 11; ++code) {
            const int a = code % 11 - 5;
            const int b = code / 11 % 11 - 5;
            const int c = code / 121 - 5;
            IndexRangeList ranges{{a, a}, {b, b}, {c, c}};
            ASSERT_EQ(FindAll(ranges), Expected(ranges, size)) << size << ": " << code;
            ranges.push_back({1, 2});
            ASSERT_EQ(FindAll(ranges), Expected(ranges, size)) << size << ": " << code << " and a run";
            std::rotate(ranges.begin(), ranges.begin() + 3, ranges.end());
            ASSERT_EQ(FindAll(ranges), Expected(ranges, size)) << size << ": a run and " << code;
        }
    }
}

TEST_F(Ranges, LonePositionsAroundTheEndsOfWords) {
    for (const int size : {63, 64, 65, 127, 128, 129}) {
        Resize(size);
        IndexRangeList ascending;
        IndexRangeList odd;
        for (int i = 0; i <= size; ++i) {
            ascending.push_back({i, i});
            if (i % 2 != 0) {
                odd.push_back({i, i});
            }
        }
        const IndexRangeList descending(ascending.rbegin(), ascending.rend());
        IndexRangeList mixed = odd;
        mixed.insert(mixed.end(), {{-size, -size}, {62, 65}, {0, 0}, {-1, -1}, {size + 9, size + 9}, {60, 60}});
        mixed.insert(mixed.end(), odd.begin(), odd.end());
        for (const IndexRangeList& ranges : {ascending, descending, odd, mixed}) {
            EXPECT_EQ(FindAll(ranges), Expected(ranges, size));
            EXPECT_EQ(Find("$ * 1 < 64", m_record, "i32s", ranges), Expected(ranges, size, 64));
        }
    }
}

TEST_F(Ranges, LimitsOf32Bits) {
    constexpr int32_t SMALLEST = std::numeric_limits<int32_t>::min();
    constexpr int32_t LARGEST = std::numeric_limits<int32_t>::max();
    Resize(5);
    const int32_t ends[] = {SMALLEST, SMALLEST + 1, -1, 0, 4, LARGEST - 1, LARGEST};
    for (const int32_t first : ends) {
        for (const int32_t last : ends) {
            const IndexRangeList ranges{{first, last}};
            EXPECT_EQ(FindAll(ranges), Expected(ranges, 5)) << first << ".." << last;
            // Behind a range that leaves the search in the middle of the array.
            const IndexRangeList two{{2, 2}, {first, last}};
            EXPECT_EQ(FindAll(two), Expected(two, 5)) << "2 and " << first << ".." << last;
        }
    }
}

TEST_F(Ranges, OverTheWordsOfALongArray) {
    Resize(200);
    const IndexRangeList lists[] = {
        {},
        {{0, -1}},
        {{63, 64}},
        {{0, 63}},
        {{64, 127}},
        {{190, 250}},
        {{-3, -1}, {0, 0}},
        {{5, 70}, {60, 130}},
        {{130, 190}, {1, 2}, {1, 2}},
    };
    for (const IndexRangeList& ranges : lists) {
        EXPECT_EQ(FindAll(ranges), Expected(ranges, 200));
        EXPECT_EQ(Find("$ >= 0", m_record, "i32s", ranges), Expected(ranges, 200));
        EXPECT_EQ(Find("$ * 1 >= 0", m_record, "i32s", ranges), Expected(ranges, 200));
    }
}

TEST_F(Ranges, WhatVecMatchHeldBeforeIsGone) {
    Resize(3);
    Expr always;
    ProtobufRecord holder;
    OstraneCommon::ProtobuFieldResolver resolver(holder);
    ExprVariant array;
    array.m_type = OstraneCommon::EXPR_UNRESOLVE;
    array.m_data.pb.SetField(&m_record, m_record.GetDescriptor()->FindFieldByName("i32s"), true);
    IndexRangeList ranges{{1, 1}};
    std::vector<bool> marks(9, true);
    int count = 77;
    int first = 3;
    std::string errmsg;
    ASSERT_EQ(always.FindArrayMatchPositions(resolver, array, ranges, marks, count, first, errmsg), 0);
    EXPECT_EQ(ShowMatches(marks, count, first), "1 of 3 from 1: .#.");
    ranges = {{7, 9}};
    first = 3;
    ASSERT_EQ(always.FindArrayMatchPositions(resolver, array, ranges, marks, count, first, errmsg), 0);
    EXPECT_EQ(ShowMatches(marks, count, first), "0 of 3 from 3: ...");
}

// Conditions -----------------------------------------------------------------------------------------

constexpr char RECORD[] = R"(
    limit: 3 name: "b" attrs { key: "max" value: 2 }
    i32s: [1, 5, 3, -2, 5]  i64s: [-9223372036854775808, 0, 9223372036854775807]
    u32s: [0, 4294967295]   u64s: [0, 18446744073709551615, 9223372036854775808]
    fs: [9.7, 1, nan, inf]  ds: [9.7, -0.0, nan, 1e300]  bs: [true, false, true]
    ss: ["a", "b", "", "\303\244"]  raws: ["a", "\377\000"]  states: [OPEN, CLOSED, SOLD, OPEN]
    [filters.extras]: [4, 5] [filters.spots] { city: "x" } [filters.spots] { city: "y" }
    Slot { width: 1 } Slot { width: 2 } Slot { }
    elements { i32: 1 s: "a" state: OPEN place { city: "x" } tags: "t" }
    elements { i32: 2 s: "b" b: true ints: [1, 2, 3] }
    elements { }
    elements { i32: 4 preset: 9 place { next { city: "y" } } attrs { key: "hp" value: 5 } }
)";

struct MatchCase {
    const char* field;
    const char* filter;
    const char* expected;
};

const MatchCase MATCH_CASES[] = {
    // Every kind of number in a row
    {"i32s", "$ < 4", "3 of 5 from 0: #.##."},
    {"i32s", "$ <= 3", "3 of 5 from 0: #.##."},
    {"i32s", "$ = 5", "2 of 5 from 1: .#..#"},
    {"i32s", "$ <> 5", "3 of 5 from 0: #.##."},
    {"i32s", "$ > 2.5", "3 of 5 from 1: .##.#"},
    {"i32s", "$ >= -1.5", "4 of 5 from 0: ###.#"},
    {"i32s", "$ < -1.5", "1 of 5 from 3: ...#."},
    {"i32s", "4 > $", "3 of 5 from 0: #.##."},
    {"i32s", "3 >= $", "3 of 5 from 0: #.##."},
    {"i32s", "2.5 < $", "3 of 5 from 1: .##.#"},
    {"i32s", "3 < $", "2 of 5 from 1: .#..#"},
    {"i32s", "3 <= $", "3 of 5 from 1: .##.#"},
    {"i32s", "5 = $", "2 of 5 from 1: .#..#"},
    {"i32s", "5 <> $", "3 of 5 from 0: #.##."},
    {"i32s", "$ < 1099511627776", "5 of 5 from 0: #####"},
    {"i32s", "$ > -1099511627776", "5 of 5 from 0: #####"},
    {"i32s", "$ = 2.5", "0 of 5 from 99: ....."},
    {"i32s", "$ <> 2.5", "5 of 5 from 0: #####"},
    {"i32s", "$ < nan", "0 of 5 from 99: ....."},
    {"i32s", "$ <> nan", "5 of 5 from 0: #####"},
    {"i32s", "$ < inf", "5 of 5 from 0: #####"},
    {"i32s", "$ BETWEEN 1 AND 3", "2 of 5 from 0: #.#.."},
    {"i32s", "NOT $ BETWEEN 1 AND 3", "3 of 5 from 1: .#.##"},
    {"i32s", "$ IN (1, -2)", "2 of 5 from 0: #..#."},
    {"i32s", "$ > 0 AND ($ < 3 OR NOT $ <> 5)", "3 of 5 from 0: ##..#"},
    {"i32s", "$ > limit", "2 of 5 from 1: .#..#"},
    {"i32s", "$ > $$.attrs['max']", "3 of 5 from 1: .##.#"},
    {"i32s", "$ IN $$.u32s OR $ IN $$.[filters.extras]", "2 of 5 from 1: .#..#"},
    {"i32s", "$ & 1 = 1", "4 of 5 from 0: ###.#"},
    {"i64s", "$ < 0", "1 of 3 from 0: #.."},
    {"i64s", "$ < 9223372036854775808", "3 of 3 from 0: ###"},
    {"i64s", "$ >= 9223372036854775807", "1 of 3 from 2: ..#"},
    {"i64s", "$ = 9223372036854775808.0", "0 of 3 from 99: ..."},
    {"u32s", "$ > -1", "2 of 2 from 0: ##"},
    {"u32s", "$ = 4294967295", "1 of 2 from 1: .#"},
    {"u64s", "$ > 9223372036854775807", "2 of 3 from 1: .##"},
    {"u64s", "$ = 18446744073709551615", "1 of 3 from 1: .#."},
    {"u64s", "$ > -1", "3 of 3 from 0: ###"},
    {"u64s", "$ < 18446744073709551616.0", "3 of 3 from 0: ###"},
    {"fs", "$ = 9.7", "1 of 4 from 0: #..."},
    {"fs", "$ IN (9.7, 5)", "1 of 4 from 0: #..."},
    {"fs", "$ BETWEEN 9.7 AND 9.7", "1 of 4 from 0: #..."},
    {"fs", "$ > 1", "2 of 4 from 0: #..#"},
    {"fs", "NOT $ > 1", "2 of 4 from 1: .##."},
    {"ds", "$ = 9.7", "1 of 4 from 0: #..."},
    {"ds", "$ = 0", "1 of 4 from 1: .#.."},
    {"ds", "$ <> $", "1 of 4 from 2: ..#."},
    {"ds", "$ > 9007199254740993", "1 of 4 from 3: ...#"},
    {"bs", "$", "2 of 3 from 0: #.#"},
    {"bs", "NOT $", "1 of 3 from 1: .#."},
    {"bs", "$ = false", "1 of 3 from 1: .#."},
    {"bs", "$ > false", "2 of 3 from 0: #.#"},
    // Texts, bytes, enums
    {"ss", "$ >= name", "2 of 4 from 1: .#.#"},
    {"ss", "$ = ''", "1 of 4 from 2: ..#."},
    {"ss", "$ LIKE '_'", "3 of 4 from 0: ##.#"},
    {"ss", "size($) = 1", "3 of 4 from 0: ##.#"},
    {"raws", "$ = 'a'", "1 of 2 from 0: #."},
    {"raws", "size($) = 2 AND $ LIKE '__'", "1 of 2 from 1: .#"},
    {"states", "$ = 'OPEN'", "2 of 4 from 0: #..#"},
    {"states", "$ = 'SHUT'", "1 of 4 from 1: .#.."},
    {"states", "$ IN ('SOLD', 0)", "2 of 4 from 1: .##."},
    {"states", "$ <> -1", "3 of 4 from 0: ##.#"},
    // Messages, groups, maps
    {"elements", "i32 < 3", "2 of 4 from 0: ##.."},
    {"elements", "$.i32 >= $$.limit", "1 of 4 from 3: ...#"},
    {"elements", "i32 IS NULL", "1 of 4 from 2: ..#."},
    {"elements", "state = 'OPEN'", "1 of 4 from 0: #..."},
    {"elements", "s = $$.name OR b", "1 of 4 from 1: .#.."},
    {"elements", "place.city = 'x'", "1 of 4 from 0: #..."},
    {"elements", "place.next.city = 'y'", "1 of 4 from 3: ...#"},
    {"elements", "place.zip = 7", "2 of 4 from 0: #..#"},
    {"elements", "preset = 5", "3 of 4 from 0: ###."},
    {"elements", "preset IS NULL", "3 of 4 from 0: ###."},
    {"elements", "ints[-1] = 3", "1 of 4 from 1: .#.."},
    {"elements", "size(ints) = 3 OR size(tags) = 1", "2 of 4 from 0: ##.."},
    {"elements", "tags CONTAINS 't'", "1 of 4 from 0: #..."},
    {"elements", "attrs['hp'] = 5", "1 of 4 from 3: ...#"},
    {"slot", "width > 1", "1 of 3 from 1: .#."},
};

TEST(Conditions, OfEveryKindOfArray) {
    filters::Record record;
    Read(RECORD, record);
    DynamicTwin twin(record);
    for (const MatchCase& row : MATCH_CASES) {
        EXPECT_EQ(Find(row.filter, record, row.field), row.expected) << row.field << ": " << row.filter;
        EXPECT_EQ(Find(row.filter, twin.Get(), row.field), row.expected) << row.field << ": " << row.filter;
    }
}

TEST(Conditions, OfExtensionsAndMaps) {
    filters::Record record;
    Read(RECORD, record);
    (*record.mutable_attrs())["min"] = -1;
    ProtobufRecord holder;
    holder.m_pMessage = &record;
    OstraneCommon::ProtobuFieldResolver resolver(holder);
    const auto find = [&](const char* text, const FieldDescriptor* field) {
        ExprParseContext context;
        Expr* filter = nullptr;
        ExprError error;
        EXPECT_EQ(Expr::Parse(text, context, filter, error), 0) << text;
        return Find(*filter, resolver, record, field, {});
    };
    const google::protobuf::DescriptorPool* const pool = google::protobuf::DescriptorPool::generated_pool();
    EXPECT_EQ(find("$ > 4", pool->FindExtensionByName("filters.extras")), "1 of 2 from 1: .#");
    EXPECT_EQ(find("city = 'y'", pool->FindExtensionByName("filters.spots")), "1 of 2 from 1: .#");
    const FieldDescriptor* const attrs = record.GetDescriptor()->FindFieldByName("attrs");
    EXPECT_EQ(find("key LIKE 'm%'", attrs), "2 of 2 from 0: ##");
    const std::string one = find("value < 0 AND key = 'min'", attrs);
    EXPECT_TRUE(one == "1 of 2 from 0: #." || one == "1 of 2 from 1: .#") << one;
}

// A field that reads as the value that it has unset is asked whether it is set: the first element has nothing,
// the second the very values that unset fields read as, the third others.
TEST(Conditions, TellAnUnsetFieldFromOneSetToItsDefault) {
    filters::Record record;
    Read(
        "elements {} "
        "elements { i32: 0 i64: 0 u32: 0 u64: 0 f: 0 d: -0.0 b: false s: '' raw: '' rung: MIDDLE phone: 0 } "
        "elements { i32: 1 i64: 1 u32: 1 u64: 1 f: 1 d: 1 b: true s: 'a' raw: 'a' rung: LOW phone: 1 }",
        record);
    DynamicTwin twin(record);
    for (const char* name : {"i32", "i64", "u32", "u64", "f", "d", "phone"}) {
        for (const char* operation : {" = 0", " < 1", " <= 0", " BETWEEN 0 AND 0", " + 0 = 0"}) {
            const std::string text = std::string(name) + operation;
            EXPECT_EQ(Find(text, record, "elements"), "1 of 3 from 1: .#.") << text;
            EXPECT_EQ(Find(text, twin.Get(), "elements"), "1 of 3 from 1: .#.") << text;
            const std::string other = "NOT " + text;
            EXPECT_EQ(Find(other, record, "elements"), "1 of 3 from 2: ..#") << other;
        }
        for (const char* operation : {" > 0", " >= 1", " <> 0"}) {
            const std::string text = std::string(name) + operation;
            EXPECT_EQ(Find(text, record, "elements"), "1 of 3 from 2: ..#") << text;
        }
    }
    for (const char* text :
         {"NOT b", "b = false", "s = ''", "raw = x''", "rung = 'MIDDLE'", "rung = 7", "rung <> 'LOW'"}) {
        EXPECT_EQ(Find(text, record, "elements"), "1 of 3 from 1: .#.") << text;
        EXPECT_EQ(Find(text, twin.Get(), "elements"), "1 of 3 from 1: .#.") << text;
    }
}

TEST(Conditions, AskOnlyElementsInRange) {
    filters::Record record;
    Read("i32s: [0, 1, 0, 4]", record);
    EXPECT_EQ(Find("4 / $ = 1", record, "i32s", {{3, 3}}), "1 of 4 from 3: ...#");
    EXPECT_EQ(Find("4 / $ = 1", record, "i32s"), "-5145: an integer is divided by zero");
    EXPECT_EQ(Find("4 / $ = 1", record, "i32s", {{9, 9}}), "0 of 4 from 99: ....");
}

TEST(Conditions, ErrorsAreFoundInEmptyArraysToo) {
    filters::Record record;
    EXPECT_EQ(Find("$ = 'a'", record, "i32s"), "-5145: an integer and a text do not compare");
    EXPECT_EQ(Find("gone = 1", record, "elements"), "-4889: filters.Element has no field 'gone'");
    EXPECT_EQ(Find("$.x = 1", record, "i32s"), "-4889: $ is a value of filters.Record.i32s and has no fields");
    EXPECT_EQ(Find("$ + 1", record, "i32s"), "-5145: the condition is neither true nor false: it is an integer");
    EXPECT_EQ(Find("$ = :p", record, "i32s"), "-4889: a parameter without a value");
}

TEST(Conditions, BoundOnceServeManyThreads) {
    filters::Record record;
    Read(RECORD, record);
    const FieldDescriptor* const field = record.GetDescriptor()->FindFieldByName("elements");
    ExprParseContext context;
    Expr* tree = nullptr;
    ExprError error;
    ASSERT_EQ(Expr::Parse("s LIKE '_' AND i32 < $$.limit AND state IS NOT NULL", context, tree, error), 0);
    BoundExpr filter;
    ASSERT_EQ(BoundExpr::BindCondition(*tree, ExprScope::OfElements(field, record.GetDescriptor()), ExprBindings(),
                                       filter, error),
              0);
    std::vector<std::string> found(4);
    std::vector<std::thread> threads;
    for (std::string& out : found) {
        threads.emplace_back([&out, &record, &filter] {
            const filters::Record own = record;
            for (int i = 0; i < 100; ++i) {
                std::vector<bool> marks;
                int count = 0;
                int first = 99;
                ExprError reason;
                const int ret = filter.FindMatches(&own, own, {}, marks, count, first, reason);
                out = ret == 0 ? ShowMatches(marks, count, first) : reason.message;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(found, std::vector<std::string>(4, "1 of 4 from 0: #..."));
}

// What is no array --------------------------------------------------------------------------------------

TEST(ArrayVariable, MustBeARepeatedFieldOfItsMessage) {
    filters::Record record;
    filters::Element other;
    const auto* const type = record.GetDescriptor();
    Expr always;
    ProtobufRecord holder;
    OstraneCommon::ProtobuFieldResolver resolver(holder);
    IndexRangeList ranges;
    std::vector<bool> marks;
    int count = 0;
    int first = 0;
    const auto find = [&](const ExprVariant& array) {
        ExprVariant asked = array;
        std::string errmsg;
        const int ret = always.FindArrayMatchPositions(resolver, asked, ranges, marks, count, first, errmsg);
        return std::to_string(ret) + ": " + errmsg;
    };
    ExprVariant array;
    EXPECT_EQ(find(array), "-5145: the array to search is not a field");
    array.m_type = OstraneCommon::EXPR_UNRESOLVE;
    EXPECT_EQ(find(array), "-5145: the array to search has no message or no field");
    array.m_flags = OstraneCommon::EXPR_FLAG_NAME;
    EXPECT_EQ(find(array), "-5145: the array to search is not a field");
    array.m_flags = 0;
    array.m_data.pb.SetField(&record, nullptr, false);
    EXPECT_EQ(find(array), "-5145: the array to search has no message or no field");
    array.m_data.pb.SetField(nullptr, type->FindFieldByName("i32s"), false);
    EXPECT_EQ(find(array), "-5145: the array to search has no message or no field");
    array.m_data.pb.SetField(&record, type->FindFieldByName("limit"), false);
    EXPECT_EQ(find(array), "-5145: filters.Record.limit is not a repeated field");
    array.m_data.pb.SetField(&other, type->FindFieldByName("i32s"), false);
    EXPECT_EQ(find(array), "-4889: filters.Record.i32s is not a field of the message that is searched");
    // That it is not repeated is said first.
    array.m_data.pb.SetField(&other, type->FindFieldByName("limit"), false);
    EXPECT_EQ(find(array), "-5145: filters.Record.limit is not a repeated field");
    const BrokenMessage broken(type, nullptr);
    array.m_data.pb.SetField(&broken, type->FindFieldByName("i32s"), false);
    EXPECT_EQ(find(array), "-256: the message that is searched has no reflection");
}

}  // namespace
