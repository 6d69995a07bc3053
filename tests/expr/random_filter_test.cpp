// Random conditions over random records, answered a second time by an evaluator that is too simple to be
// wrong: it walks the tree over plain values, knows no protobuf and looks at nothing in advance.
//
// The seed is printed; OSTRANE_TEST_SEED repeats a run.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "filter_fixture.h"
#include "filters.pb.h"

namespace {

using namespace FilterTest;

__extension__ typedef __int128 Int128;

// Plain values: NULL, bool, integer, double, text.
using Plain = std::variant<std::monostate, bool, Int128, double, std::string>;
using Row = std::map<std::string, Plain>;
using ListRow = std::map<std::string, std::vector<Plain>>;

struct Failure {};

bool IsNull(const Plain& value) {
    return std::holds_alternative<std::monostate>(value);
}

// -1, 0, 1, or nothing beside a NaN. Numbers are compared in long double, which holds every int64, uint64
// and double exactly.
std::optional<int> Order(const Plain& a, const Plain& b) {
    if (const std::string* const text = std::get_if<std::string>(&a)) {
        const int order = text->compare(std::get<std::string>(b));
        return order < 0 ? -1 : order > 0 ? 1 : 0;
    }
    const auto number = [](const Plain& value) -> long double {
        if (const bool* const flag = std::get_if<bool>(&value)) {
            return *flag ? 1 : 0;
        }
        if (const double* const real = std::get_if<double>(&value)) {
            return *real;
        }
        return static_cast<long double>(std::get<Int128>(value));
    };
    const long double left = number(a);
    const long double right = number(b);
    if (std::isnan(left) || std::isnan(right)) {
        return std::nullopt;
    }
    return left < right ? -1 : left > right ? 1 : 0;
}

Plain Compared(const std::string& op, const Plain& a, const Plain& b) {
    if (IsNull(a) || IsNull(b)) {
        return {};
    }
    const std::optional<int> order = Order(a, b);
    if (!order) {
        return op == "<>";
    }
    return op == "="    ? *order == 0
           : op == "<>" ? *order != 0
           : op == "<"  ? *order < 0
           : op == "<=" ? *order <= 0
           : op == ">"  ? *order > 0
                        : *order >= 0;
}

Plain Computed(const std::string& op, const Plain& a, const Plain& b) {
    if (IsNull(a) || IsNull(b)) {
        return {};
    }
    const bool isReal = std::holds_alternative<double>(a) || std::holds_alternative<double>(b);
    if (isReal) {
        const auto real = [](const Plain& value) {
            const double* const number = std::get_if<double>(&value);
            return number != nullptr ? *number : static_cast<double>(std::get<Int128>(value));
        };
        const double x = real(a);
        const double y = real(b);
        return op == "+" ? x + y : op == "-" ? x - y : op == "*" ? x * y : x / y;
    }
    const Int128 x = std::get<Int128>(a);
    const Int128 y = std::get<Int128>(b);
    if (op == "/" && y == 0) {
        throw Failure();
    }
    Int128 product = 0;
    if (op == "*" && __builtin_mul_overflow(x, y, &product)) {
        throw Failure();
    }
    const Int128 result = op == "+" ? x + y : op == "-" ? x - y : op == "*" ? product : op == "/" ? x / y : x & y;
    if (result < -(Int128{1} << 63) || result >= Int128{1} << 64) {
        throw Failure();
    }
    return result;
}

Plain Not(const Plain& a) {
    return IsNull(a) ? a : Plain(!std::get<bool>(a));
}

Plain And(const Plain& a, const Plain& b) {
    const bool isFalse = (!IsNull(a) && !std::get<bool>(a)) || (!IsNull(b) && !std::get<bool>(b));
    return isFalse ? Plain(false) : IsNull(a) || IsNull(b) ? Plain() : Plain(true);
}

Plain Or(const Plain& a, const Plain& b) {
    return Not(And(Not(a), Not(b)));
}

// LIKE by trying everything, over texts of single bytes.
bool Like(const std::string& text, const std::string& pattern, size_t i = 0, size_t j = 0) {
    if (j == pattern.size()) {
        return i == text.size();
    }
    if (pattern[j] == '%') {
        for (size_t skip = i; skip <= text.size(); ++skip) {
            if (Like(text, pattern, skip, j + 1)) {
                return true;
            }
        }
        return false;
    }
    return i < text.size() && (pattern[j] == '_' || pattern[j] == text[i]) && Like(text, pattern, i + 1, j + 1);
}

// A condition as text, and as what it means.
struct Generated {
    std::string text;
    std::function<Plain(const Row&, const ListRow&)> value;
};

class Generator {
public:
    explicit Generator(uint32_t seed) : m_random(seed) {}

    size_t Pick(size_t count) { return m_random() % count; }

    Generated Condition(int depth) {
        switch (depth <= 0 ? Pick(6) : Pick(10)) {
            case 0:
            case 1:
                return Comparison(depth);
            case 2:
                return Between(depth);
            case 3:
                return In(depth);
            case 4:
                return TextTest();
            case 5:
                return Presence();
            case 6:
                return Connective("AND", depth);
            case 7:
                return Connective("OR", depth);
            default: {
                const Generated operand = Condition(depth - 1);
                return {"NOT (" + operand.text + ")",
                        [operand](const Row& row, const ListRow& lists) { return Not(operand.value(row, lists)); }};
            }
        }
    }

private:
    Generated Field(const std::string& name) {
        return {name, [name](const Row& row, const ListRow&) { return row.at(name); }};
    }

    Generated Constant(const std::string& text, const Plain& value) {
        return {text, [value](const Row&, const ListRow&) { return value; }};
    }

    Generated IntegerConstant() {
        static const char* const texts[] = {"0",
                                            "1",
                                            "2",
                                            "-1",
                                            "3",
                                            "7",
                                            "9223372036854775807",
                                            "18446744073709551615",
                                            "-9223372036854775808",
                                            "9007199254740993",
                                            "4294967296"};
        const std::string text = texts[Pick(Pick(3) == 0 ? 11 : 6)];
        const bool isNegative = text[0] == '-';
        const uint64_t digits = std::strtoull(text.c_str() + (isNegative ? 1 : 0), nullptr, 10);
        return Constant(text, isNegative ? -Int128{digits} : Int128{digits});
    }

    Generated RealConstant() {
        static const std::pair<const char*, double> rows[] = {
            {"0.5", 0.5},   {"-1.5", -1.5},
            {"2.0", 2.0},   {"9007199254740992.0", 9007199254740992.0},
            {"1e30", 1e30}, {"9223372036854775808.0", 9223372036854775808.0},
            {"nan", NAN},   {"inf", INFINITY}};
        const auto& row = rows[Pick(8)];
        return Constant(row.first, row.second);
    }

    Generated Number(int depth) {
        static const char* const fields[] = {"i32", "i64", "u64", "preset", "d", "place.zip", "ints[1]", "attrs['k']"};
        switch (Pick(depth > 0 ? 7 : 5)) {
            case 0:
            case 1:
                return Field(fields[Pick(8)]);
            case 2:
                return IntegerConstant();
            case 3:
                return RealConstant();
            case 4: {
                const Generated first = Field(fields[Pick(8)]);
                const Generated second = IntegerConstant();
                return {"coalesce(" + first.text + ", " + second.text + ")",
                        [first, second](const Row& row, const ListRow& lists) {
                            const Plain value = first.value(row, lists);
                            return IsNull(value) ? second.value(row, lists) : value;
                        }};
            }
            default: {
                static const char* const ops[] = {"+", "-", "*", "/"};
                const std::string op = ops[Pick(4)];
                const Generated a = Number(depth - 1);
                const Generated b = Number(depth - 1);
                return {"(" + a.text + " " + op + " " + b.text + ")", [op, a, b](const Row& row, const ListRow& lists) {
                            const Plain x = a.value(row, lists);
                            return Computed(op, x, b.value(row, lists));
                        }};
            }
        }
    }

    Generated Text() {
        static const char* const texts[] = {"", "a", "ab", "b", "ba", "aab"};
        if (Pick(2) == 0) {
            return Field(Pick(2) == 0 ? "s" : "place.city");
        }
        const std::string text = texts[Pick(6)];
        return Constant("'" + text + "'", text);
    }

    std::string Operator() {
        static const char* const ops[] = {"=", "<>", "<", "<=", ">", ">="};
        return ops[Pick(6)];
    }

    Generated Comparison(int depth) {
        const bool isText = Pick(4) == 0;
        const Generated a = isText ? Text() : Number(depth);
        const Generated b = isText ? Text() : Number(depth);
        const std::string op = Operator();
        return {a.text + " " + op + " " + b.text, [op, a, b](const Row& row, const ListRow& lists) {
                    const Plain x = a.value(row, lists);
                    return Compared(op, x, b.value(row, lists));
                }};
    }

    Generated Between(int depth) {
        const Generated x = Number(depth);
        const Generated low = Number(0);
        const Generated high = Number(0);
        const bool isNot = Pick(3) == 0;
        return {x.text + (isNot ? " NOT" : "") + " BETWEEN " + low.text + " AND " + high.text,
                [x, low, high, isNot](const Row& row, const ListRow& lists) {
                    const Plain value = x.value(row, lists);
                    const Plain from = Compared(">=", value, low.value(row, lists));
                    const Plain both = And(from, Compared("<=", value, high.value(row, lists)));
                    return isNot ? Not(both) : both;
                }};
    }

    Generated In(int depth) {
        const Generated x = Number(depth);
        const bool isNot = Pick(3) == 0;
        if (Pick(3) == 0) {
            return {x.text + (isNot ? " NOT IN ints" : " IN ints"), [x, isNot](const Row& row, const ListRow& lists) {
                        const Plain found = IsIn(x.value(row, lists), lists.at("ints"));
                        return isNot ? Not(found) : found;
                    }};
        }
        std::vector<Generated> items;
        std::string text;
        const size_t count = Pick(3) == 0 ? 12 : 1 + Pick(3);
        for (size_t i = 0; i < count; ++i) {
            items.push_back(Number(0));
            text += (i == 0 ? "" : ", ") + items.back().text;
        }
        return {x.text + (isNot ? " NOT IN (" : " IN (") + text + ")",
                [x, items, isNot](const Row& row, const ListRow& lists) {
                    std::vector<Plain> values;
                    const Plain value = x.value(row, lists);
                    for (const Generated& item : items) {
                        values.push_back(item.value(row, lists));
                    }
                    const Plain found = IsIn(value, values);
                    return isNot ? Not(found) : found;
                }};
    }

    static Plain IsIn(const Plain& value, const std::vector<Plain>& items) {
        Plain found = false;
        for (const Plain& item : items) {
            found = Or(found, Compared("=", value, item));
        }
        return found;
    }

    Generated TextTest() {
        const Generated text = Text();
        if (Pick(3) == 0) {
            const Generated part = Text();
            return {text.text + " CONTAINS " + part.text, [text, part](const Row& row, const ListRow& lists) -> Plain {
                        const Plain a = text.value(row, lists);
                        const Plain b = part.value(row, lists);
                        if (IsNull(a) || IsNull(b)) {
                            return {};
                        }
                        return std::get<std::string>(a).find(std::get<std::string>(b)) != std::string::npos;
                    }};
        }
        std::string pattern;
        for (size_t i = Pick(6); i > 0; --i) {
            pattern += "ab%_%"[Pick(5)];
        }
        return {text.text + " LIKE '" + pattern + "'", [text, pattern](const Row& row, const ListRow& lists) -> Plain {
                    const Plain value = text.value(row, lists);
                    if (IsNull(value)) {
                        return {};
                    }
                    return Like(std::get<std::string>(value), pattern);
                }};
    }

    Generated Presence() {
        static const char* const fields[] = {"i32", "i64", "d", "s", "place.city", "ints[1]", "attrs['k']"};
        const std::string name = fields[Pick(7)];
        const bool isNot = Pick(2) == 0;
        return {name + (isNot ? " IS NOT NULL" : " IS NULL"),
                [name, isNot](const Row& row, const ListRow&) -> Plain { return IsNull(row.at(name)) != isNot; }};
    }

    Generated Connective(const std::string& op, int depth) {
        const Generated a = Condition(depth - 1);
        const Generated b = Condition(depth - 1);
        return {"(" + a.text + ") " + op + " (" + b.text + ")", [op, a, b](const Row& row, const ListRow& lists) {
                    const Plain x = a.value(row, lists);
                    // The left side may decide alone, and then the right one is not computed.
                    if (!IsNull(x) && std::get<bool>(x) == (op == "OR")) {
                        return x;
                    }
                    const Plain y = b.value(row, lists);
                    return op == "OR" ? Or(x, y) : And(x, y);
                }};
    }

    std::mt19937 m_random;
};

// An element, as a message and as plain values.
void MakeElement(Generator& random, filters::Element& element, Row& row, ListRow& lists) {
    static const int64_t integers[] = {0, 1, 2, -1, 3, 7, INT64_MAX, INT64_MIN, 9007199254740993, 4294967296};
    static const double reals[] = {0.5, -1.5, 2, 9007199254740992.0, 1e30, NAN, INFINITY, -0.0};
    static const char* const texts[] = {"", "a", "ab", "b", "ba", "aab", "abab"};
    row = {{"i32", {}},        {"i64", {}},       {"u64", {}},     {"d", {}},         {"s", {}},
           {"place.city", {}}, {"place.zip", {}}, {"ints[1]", {}}, {"attrs['k']", {}}};
    row["preset"] = Int128{5};
    if (random.Pick(4) != 0) {
        element.set_i32(static_cast<int32_t>(integers[random.Pick(6)]));
        row["i32"] = Int128{element.i32()};
    }
    if (random.Pick(4) != 0) {
        element.set_i64(integers[random.Pick(10)]);
        row["i64"] = Int128{element.i64()};
    }
    if (random.Pick(4) != 0) {
        element.set_u64(random.Pick(3) == 0 ? UINT64_MAX - random.Pick(3) : random.Pick(4));
        row["u64"] = Int128{element.u64()};
    }
    if (random.Pick(4) != 0) {
        element.set_d(reals[random.Pick(8)]);
        row["d"] = element.d();
    }
    if (random.Pick(4) != 0) {
        element.set_s(texts[random.Pick(7)]);
        row["s"] = element.s();
    }
    if (random.Pick(3) == 0) {
        element.set_preset(static_cast<int32_t>(random.Pick(4)));
        row["preset"] = Int128{element.preset()};
    }
    if (random.Pick(2) == 0) {
        row["place.zip"] = Int128{7};
        element.mutable_place();
        if (random.Pick(2) == 0) {
            element.mutable_place()->set_city(texts[random.Pick(7)]);
            row["place.city"] = element.place().city();
        }
    }
    lists["ints"].clear();
    for (size_t i = random.Pick(4); i > 0; --i) {
        element.add_ints(static_cast<int32_t>(integers[random.Pick(6)]));
        lists["ints"].emplace_back(Int128{element.ints(element.ints_size() - 1)});
    }
    if (lists["ints"].size() > 1) {
        row["ints[1]"] = lists["ints"][1];
    }
    if (random.Pick(2) == 0) {
        (*element.mutable_attrs())["k"] = static_cast<int32_t>(random.Pick(4));
        row["attrs['k']"] = Int128{element.attrs().at("k")};
    }
}

TEST(RandomFilters, AgreeWithTheNaiveEvaluator) {
    const char* const wanted = std::getenv("OSTRANE_TEST_SEED");
    const uint32_t seed =
        wanted != nullptr ? static_cast<uint32_t>(std::strtoul(wanted, nullptr, 10)) : std::random_device()();
    std::printf("seed %u\n", seed);
    Generator random(seed);
    constexpr int FILTERS = 6000;
    constexpr int ELEMENTS = 5;
    int pairs = 0;
    int failures = 0;
    int matches = 0;
    for (int i = 0; i < FILTERS; ++i) {
        const Generated condition = random.Condition(3);
        filters::Record record;
        std::vector<bool> marks;
        int count = 0;
        int first = 99;
        bool fails = false;
        for (int e = 0; e < ELEMENTS; ++e) {
            Row row;
            ListRow lists;
            MakeElement(random, *record.add_elements(), row, lists);
            bool isTrue = false;
            try {
                const Plain value = condition.value(row, lists);
                isTrue = !IsNull(value) && std::get<bool>(value);
            } catch (const Failure&) {
                fails = true;
            }
            marks.push_back(isTrue);
            first = isTrue && count == 0 ? e : first;
            count += isTrue ? 1 : 0;
        }
        const std::string found = Find(condition.text, record, "elements");
        // Which of two errors comes first is not the naive evaluator's to say.
        if (fails) {
            ASSERT_EQ(found.substr(0, 6), "-5145:") << condition.text << "\n" << record.ShortDebugString();
            ++failures;
        } else {
            ASSERT_EQ(found, ShowMatches(marks, count, first)) << condition.text << "\n" << record.ShortDebugString();
        }
        pairs += ELEMENTS;
        matches += count;
    }
    // The mixture must say something.
    EXPECT_GE(pairs, 30000);
    EXPECT_GT(matches, pairs / 20);
    EXPECT_GT(failures, FILTERS / 100);
    EXPECT_LT(failures, FILTERS / 2);
}

// Conditions on numbers in a row take another way, 64 elements at a time.
TEST(RandomFilters, OnScalarArraysAgreeElementByElement) {
    std::mt19937 random(7);
    static const char* const constants[] = {
        "0", "3", "-3", "2.5", "-0.5", "nan", "1e30", "127", "18446744073709551615"};
    static const char* const ops[] = {"=", "<>", "<", "<=", ">", ">="};
    filters::Record record;
    for (int i = 0; i < 150; ++i) {
        record.add_i32s(static_cast<int32_t>(random() % 9) - 4);
        record.add_i64s(static_cast<int64_t>(random() % 9) - 4);
        record.add_u32s(static_cast<uint32_t>(random() % 9));
        record.add_u64s(random() % 9);
        record.add_fs(static_cast<float>(random() % 9) / 2);
        record.add_ds(static_cast<double>(random() % 9) / 2);
    }
    for (const char* const field : {"i32s", "i64s", "u32s", "u64s", "fs", "ds"}) {
        for (const char* const op : ops) {
            for (const char* const constant : constants) {
                const std::string plain = std::string("$ ") + op + " " + constant;
                // coalesce() hands the element on, and keeps the search from taking the short way.
                const std::string slow = std::string("coalesce($, $) ") + op + " " + constant;
                const IndexRangeList ranges{{3, 140}, {143, 143}};
                EXPECT_EQ(Find(plain, record, field, ranges), Find(slow, record, field, ranges)) << plain << field;
                const std::string mixed = plain + " AND NOT $ = 1 OR $ IN (2, 3)";
                const std::string slowMixed = slow + " AND NOT coalesce($, 0) = 1 OR coalesce($, 0) IN (2, 3)";
                EXPECT_EQ(Find(mixed, record, field), Find(slowMixed, record, field)) << mixed << field;
            }
        }
    }
}

}  // namespace
