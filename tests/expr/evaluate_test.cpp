// What expressions are worth, operator by operator.
#include <gtest/gtest.h>

#include <string>

#include "common/err_code.h"
#include "filter_fixture.h"
#include "filters.pb.h"
#include "filters3.pb.h"

namespace {

using namespace FilterTest;

struct EvalCase {
    const char* expression;
    const char* expected;  // a value, or "code@offset: message"
};

constexpr char ELEMENT[] = R"(
    i32: -7 i64: 9007199254740993 u32: 4294967295 u64: 18446744073709551615 f: 9.7 d: 2.5 b: true
    s: "b\303\244h" raw: "\377a" state: OPEN
    place { city: "x" streets: ["p", "q"] next { city: "y" } }
    ints: [1, 2, 3] floats: [9.7, 1] tags: ["a", "b"] states: [OPEN, SOLD] blobs: "\001" places { city: "z" }
    doubles: [1.5, 9007199254740992] bools: [true]
    attrs { key: "hp" value: 5 } attrs { key: "it's" value: 6 } by_id { key: 7 value { city: "m" } }
    flags { key: true value: "yes" } odds { key: 18446744073709551615 value: 0.5 }
    mail: "me@x" Box { width: 3 } [filters.note]: "n" [filters.marks]: [8, 9]
)";

const EvalCase EVAL_CASES[] = {
    // Literals
    {"7", "7"},
    {"-9223372036854775808", "-9223372036854775808"},
    {"18446744073709551615", "18446744073709551615"},
    {"0x1F", "31"},
    {"'a'", "'a'"},
    {"x'0AFF'", "x'0AFF'"},
    {"true", "true"},
    {"null", "NULL"},
    // Numbers compare as the numbers they are
    {"-1 < 18446744073709551615", "true"},
    {"u64 > i32", "true"},
    {"u64 = -1", "false"},
    {"i64 = 9007199254740992.0", "false"},
    {"i64 > 9007199254740992.0", "true"},
    {"9007199254740992.0 < i64", "true"},
    {"u64 < 18446744073709551616.0", "true"},
    {"i32 = -7.0", "true"},
    {"i32 < -6.5", "true"},
    // .. and where only the fraction tells them apart
    {"i32 = -7.5", "false"},
    {"i32 > -7.5", "true"},
    {"-7.5 < i32", "true"},
    {"7 < 7.5", "true"},
    {"7.5 <= 7", "false"},
    {"d = 2.5", "true"},
    {"1 = 1.0", "true"},
    {"9223372036854775808 > 9223372036854775807", "true"},
    {"9223372036854775808 = 9223372036854775808.0", "true"},
    // Literals beside a float field are rounded to float
    {"f = 9.7", "true"},
    {"9.7 = f", "true"},
    {"f <> 9.7", "false"},
    {"f <= 9.7", "true"},
    {"f IN (1, 9.7)", "true"},
    {"f BETWEEN 9.7 AND 9.7", "true"},
    {"9.7 BETWEEN f AND f", "true"},
    {"9.7 IN (f, d)", "true"},
    {"floats CONTAINS 9.7", "true"},
    {"9.7 IN floats", "true"},
    {"floats[0] = 9.7", "true"},
    {"f + 0 = 9.7", "false"},
    {"f = d", "false"},
    {"d = 9.7", "false"},
    // NaN and infinity by IEEE
    {"nan = nan", "false"},
    {"nan <> nan", "true"},
    {"nan < 1", "false"},
    {"NOT nan < 1", "true"},
    {"nan IN (nan)", "false"},
    {"inf > 18446744073709551615", "true"},
    {"-inf < -9223372036854775808", "true"},
    // Texts and bytes by bytes
    {"s = 'b\xC3\xA4h'", "true"},
    {"'a' < 'b'", "true"},
    {"'Z' < 'a'", "true"},
    {"'a' < 'ab'", "true"},
    {"'' < 'a'", "true"},
    {"raw = x'FF61'", "true"},
    {"raw > s", "true"},
    {"x'61' = 'a'", "true"},
    // Bools
    {"b", "true"},
    {"b = true", "true"},
    {"false < true", "true"},
    {"b <> false", "true"},
    // Enums by name and number
    {"state = 'OPEN'", "true"},
    {"'OPEN' = state", "true"},
    {"state <> 'SOLD'", "true"},
    {"state = 1", "true"},
    {"state IN ('SOLD', 'OPEN')", "true"},
    {"state NOT IN (0, -1)", "true"},
    {"state = states[0]", "true"},
    {"states CONTAINS 'SOLD'", "true"},
    {"states CONTAINS 'CLOSED'", "false"},
    {"states[1] = -1", "true"},
    {"state = s", "false"},
    {"s <> state", "true"},
    {"state IN (s, tags[0])", "false"},
    {"state", "OPEN"},
    {"coalesce(states[9], 'SHUT') = 0", "true"},
    // Arithmetic
    {"1 + 2 * 3", "7"},
    {"(1 + 2) * 3", "9"},
    {"7 / 2", "3"},
    {"-7 / 2", "-3"},
    {"i32 / 2", "-3"},
    {"7 / -2", "-3"},
    {"7 / 2.0", "3.5"},
    {"1 / 0.0", "inf"},
    {"-i32", "7"},
    {"- -i32", "-7"},
    {"18446744073709551615 + 0", "18446744073709551615"},
    {"18446744073709551615 - 18446744073709551615", "0"},
    {"-9223372036854775808 + 18446744073709551615", "9223372036854775807"},
    {"-9223372036854775808 / -1", "9223372036854775808"},
    {"4294967296 * 4294967295", "18446744069414584320"},
    {"i32 + u64", "18446744073709551608"},
    {"i32 + d", "-4.5"},
    {"6 & 3", "2"},
    {"-1 & 18446744073709551615", "18446744073709551615"},
    {"-2 & -3", "-4"},
    {"~5", "-6"},
    {"~-1", "0"},
    {"7 & ~2", "5"},
    {"~9223372036854775807", "-9223372036854775808"},
    {"18446744073709551615 + 1", "-5145@21: the result lies outside -2^63 .. 2^64 - 1"},
    {"-9223372036854775808 - 1", "-5145@21: the result lies outside -2^63 .. 2^64 - 1"},
    {"u64 * u64", "-5145@4: the result lies outside -2^63 .. 2^64 - 1"},
    {"-(u64)", "-5145@0: the result lies outside -2^63 .. 2^64 - 1"},
    {"~u64", "-5145@0: the result lies outside -2^63 .. 2^64 - 1"},
    {"1 / (i32 + 7)", "-5145@2: an integer is divided by zero"},
    {"i32 = -7 OR 1 / 0 = 1", "true"},
    // NULL in operators
    {"gone.i32", "-4889@0: filters.Element has no field 'gone'"},
    {"phone", "NULL"},
    {"phone = 1", "NULL"},
    {"phone <> 1", "NULL"},
    {"phone + 1", "NULL"},
    {"-phone", "NULL"},
    {"phone & 1", "NULL"},
    {"phone BETWEEN 1 AND 2", "NULL"},
    {"3 BETWEEN phone AND 2", "false"},
    {"1 BETWEEN phone AND 2", "NULL"},
    {"1 BETWEEN 2 AND phone", "false"},
    {"i32 BETWEEN phone AND -8", "false"},
    {"i32 BETWEEN phone AND 2", "NULL"},
    {"i32 BETWEEN 2 AND phone", "false"},
    {"i32 BETWEEN -8 AND phone", "NULL"},
    {"1 IN (1, phone)", "true"},
    {"1 IN (2, phone)", "NULL"},
    {"1 NOT IN (2, phone)", "NULL"},
    {"1 NOT IN (1, phone)", "false"},
    {"phone IN (1, 2)", "NULL"},
    {"phone IN ints", "NULL"},
    {"'a' IN place.next.next.streets", "NULL"},
    {"tags[9] IN tags", "NULL"},
    // .. but in an empty list there is nothing that it could be
    {"tags[9] IN place.next.streets", "false"},
    {"tags[9] NOT IN place.next.streets", "true"},
    {"place.next.streets CONTAINS null", "false"},
    {"ints CONTAINS phone", "NULL"},
    {"null IN (1)", "NULL"},
    // The truth tables
    {"true AND true", "true"},
    {"true AND false", "false"},
    {"true AND null", "NULL"},
    {"false AND null", "false"},
    {"null AND false", "false"},
    {"null AND null", "NULL"},
    {"false OR false", "false"},
    {"false OR true", "true"},
    {"true OR null", "true"},
    {"null OR true", "true"},
    {"false OR null", "NULL"},
    {"NOT true", "false"},
    {"NOT false", "true"},
    {"NOT null", "NULL"},
    // Presence
    {"phone IS NULL", "true"},
    {"mail IS NOT NULL", "true"},
    {"preset", "5"},
    {"preset IS NULL", "true"},
    {"preset + 1", "6"},
    {"place.zip", "7"},
    {"place.zip IS NULL", "true"},
    {"place.next.next.zip", "NULL"},
    {"place.next.next IS NULL", "true"},
    {"place IS NOT NULL", "true"},
    {"place.next.next.streets IS NULL", "true"},
    {"place.next.streets IS NULL", "false"},
    {"size(place.next.next.streets)", "NULL"},
    {"(phone + 1) IS NULL", "true"},
    {"(phone = 1) IS NULL", "true"},
    {"tags[5] IS NULL", "true"},
    {"tags[1] IS NULL", "false"},
    {"attrs['mp'] IS NULL", "true"},
    {"box.width", "3"},
    {"tags IS NULL", "-5145@0: IS NULL asks whether something is set, and this always is"},
    {"(preset + 1) IS NULL", "-5145@8: IS NULL asks whether something is set, and this always is"},
    {"1 IS NULL", "-5145@0: IS NULL asks whether something is set, and this always is"},
    {"size(tags) IS NULL", "-5145@0: IS NULL asks whether something is set, and this always is"},
    // Indexes, keys, extensions
    {"tags[0]", "'a'"},
    {"tags[-1]", "'b'"},
    {"tags[2]", "NULL"},
    {"tags[-3]", "NULL"},
    {"tags[4294967296]", "NULL"},
    {"tags[99999999999999999999]", "NULL"},
    {"places[0].city", "'z'"},
    {"places[1].city", "NULL"},
    {"attrs['hp']", "5"},
    {"attrs['it\\'s']", "6"},
    {"attrs['mp']", "NULL"},
    {"by_id[7].city", "'m'"},
    {"by_id[8].city", "NULL"},
    {"flags[true]", "'yes'"},
    {"flags[false]", "NULL"},
    {"odds[18446744073709551615]", "0.5"},
    {"odds[18446744073709551616]", "NULL"},
    {"odds[-18446744073709551616]", "NULL"},
    {"odds[99999999999999999999] IS NULL", "true"},
    {"tags[-99999999999999999999]", "NULL"},
    {"$.[filters.note]", "'n'"},
    {"$.[filters.marks][1]", "9"},
    {"ints[0] + $.ints[1]", "3"},
    {"`size`", "NULL"},
    // Functions
    {"size(tags)", "2"},
    {"size(attrs)", "2"},
    {"size(s)", "3"},
    {"size(raw)", "2"},
    {"size(phone)", "-5145@5: size() counts lists, maps, texts and bytes, not an integer"},
    {"size('')", "0"},
    {"coalesce(phone, 3)", "3"},
    {"coalesce(phone, i32, 1 / 0)", "-7"},
    {"coalesce(null, null)", "NULL"},
    {"coalesce(phone, 2.5)", "2.5"},
    {"coalesce(tags[7], 'none')", "'none'"},
    // IN, CONTAINS
    {"2 IN ints", "true"},
    {"5 IN ints", "false"},
    {"2 NOT IN ints", "false"},
    {"ints CONTAINS 2.0", "true"},
    {"ints NOT CONTAINS 9", "true"},
    {"doubles CONTAINS 9007199254740993", "false"},
    {"doubles CONTAINS 9007199254740992", "true"},
    {"bools CONTAINS false", "false"},
    {"tags CONTAINS 'b'", "true"},
    {"blobs CONTAINS x'01'", "true"},
    {"s CONTAINS 'h'", "true"},
    {"s CONTAINS ''", "true"},
    {"s CONTAINS 'hh'", "false"},
    {"raw CONTAINS 'a'", "true"},
    {"i32 IN (1, 2, 3, 4, 5, 6, 7, 8, 9, -7.0)", "true"},
    {"i32 IN (1, 2, 3, 4, 5, 6, 7, 8, 9, nan)", "false"},
    {"s IN ('c', 'b\xC3\xA4h')", "true"},
    // LIKE
    {"s LIKE 'b_h'", "true"},
    {"s LIKE 'b%'", "true"},
    {"s LIKE '%h'", "true"},
    {"s LIKE '___'", "true"},
    {"s LIKE '____'", "false"},
    {"s LIKE 'B%'", "false"},
    {"raw LIKE '__'", "true"},
    {"raw LIKE '_a'", "true"},
    {"'50%' LIKE '50\\\\%'", "true"},
    {"'500' LIKE '50\\\\%'", "false"},
    {"'a_b' LIKE 'a\\\\_b'", "true"},
    {"'' LIKE '%'", "true"},
    {"'' LIKE ''", "true"},
    {"'' LIKE '_'", "false"},
    {"'abcabd' LIKE '%ab%d'", "true"},
    {"'aaab' LIKE '%aab'", "true"},
    {"'abab' LIKE 'ab%ab'", "true"},
    {"'aba' LIKE 'ab%ba'", "false"},
    {"'xaxbxc' LIKE '%a_b%'", "true"},
    {"'xaxbxc' LIKE '%a__b%'", "false"},
    {"phone IS NULL AND s NOT LIKE '%z%'", "true"},
    {"'abc' LIKE tags[0]", "false"},
    {"s LIKE tags[9]", "NULL"},
    {"'a' LIKE 'a\\\\'", "-5145@9: the pattern ends in a lone backslash"},
    // Types
    {"i32 = '5'", "-5145@6: an integer and a text do not compare"},
    {"'5' = i32", "-5145@0: a text and an integer do not compare"},
    {"s = 5", "-5145@4: a text and an integer do not compare"},
    {"b = 1", "-5145@4: a bool and an integer do not compare"},
    {"i32 IN (1, 'a')", "-5145@11: an integer and a text do not compare"},
    {"i32 BETWEEN 1 AND 'a'", "-5145@18: an integer and a text do not compare"},
    {"ints CONTAINS 'a'", "-5145@14: a text and an integer do not compare"},
    {"state < 'OPEN'", "-5145@8: enum values have no order, they compare by =, <> and IN"},
    {"state = 'OPNE'", "-5145@8: 'OPNE' is no value of filters.State"},
    {"state = 1.0", "-5145@8: an enum value and a float do not compare"},
    {"state = other", "-5145@8: values of two enums do not compare"},
    {"place = 1", "-5145@0: a message is no value"},
    {"tags = 'a'", "-5145@0: a repeated field or a list is no value"},
    {"attrs = 1", "-5145@0: a map is no value"},
    {"1 + 'a'", "-5145@4: + computes with numbers, not with a text"},
    {"d & 1", "-5145@0: & computes with integers, not with a float"},
    {"~d", "-5145@1: ~ computes with an integer, not with a float"},
    {"-s", "-5145@1: - computes with a number, not with a text"},
    {"b + 1", "-5145@0: + computes with numbers, not with a bool"},
    {"i32 LIKE 'a'", "-5145@0: LIKE compares texts, not an integer"},
    {"i32 CONTAINS 1", "-5145@4: CONTAINS looks into a list or for a text in a text, not for an integer in an integer"},
    {"1 IN i32", "-5145@5: IN looks into a list or a repeated field, not into an integer"},
    {"i32 AND true", "-5145@0: an operand of AND is neither true nor false: it is an integer"},
    {"NOT 'a'", "-5145@4: the operand of NOT is neither true nor false: it is a text"},
    {"coalesce(i32, 'a')", "-5145@14: coalesce() mixes an integer and a text"},
    {"coalesce(null, s, i32 + 1)", "-5145@22: coalesce() mixes a text and an integer"},
    {"coalesce(1.5, state)", "-5145@9: coalesce() mixes a float and an enum value"},
    {"coalesce(state, other)", "-5145@16: coalesce() mixes values of two enums"},
    // Names
    {"adress", "-4889@0: filters.Element has no field 'adress'"},
    {"place.cty", "-4889@6: filters.Place has no field 'cty'"},
    {"places.city", "-5145@0: filters.Element.places is repeated and needs an index here"},
    {"i32.x", "-4889@0: filters.Element.i32 is no message and has no fields"},
    {"i32[0]", "-5145@0: filters.Element.i32 is not repeated and takes no index"},
    {"ints['a']", "-5145@0: an index of filters.Element.ints is one whole number"},
    {"attrs[1]", "-5145@0: the keys of filters.Element.attrs are texts"},
    {"by_id['a']", "-5145@0: the keys of filters.Element.by_id are whole numbers"},
    {"flags[1]", "-5145@0: the keys of filters.Element.flags are true and false"},
    {"$.[filters.gone]", "-4889@2: filters.Element has no extension [filters.gone]"},
    {"$$.limit", "-4889@0: there is no record that $$.limit could be a field of"},
    {"?", "-4889@0: a parameter without a value"},
};

TEST(Evaluate, EveryOperator) {
    filters::Element element;
    Read(ELEMENT, element);
    DynamicTwin twin(element);
    ExprScope scope;
    scope.element = element.GetDescriptor();
    for (const EvalCase& row : EVAL_CASES) {
        ExprRow values;
        values.element = &element;
        EXPECT_EQ(Calculate(row.expression, scope, values).value, row.expected) << row.expression;
        values.element = &twin.Get();
        EXPECT_EQ(Calculate(row.expression, scope, values).value, row.expected) << row.expression;
    }
}

TEST(Evaluate, HintsAtTheNearestName) {
    filters::Element element;
    ExprScope scope;
    scope.element = element.GetDescriptor();
    EXPECT_EQ(Calculate("plce = 1", scope, {}).error.hint, "did you mean 'place'?");
    EXPECT_EQ(Calculate("state = 'OPNE'", scope, {}).error.hint, "did you mean 'OPEN'?");
    EXPECT_EQ(Calculate("zzzzzzzz = 1", scope, {}).error.hint, "its fields are i32, i64, u32, u64, f, d, b, s, ..");
    EXPECT_EQ(Calculate("state = 'zzzzzzzz'", scope, {}).error.hint, "its values are 'CLOSED', 'SHUT', 'OPEN', 'SOLD'");
    EXPECT_EQ(Calculate("state = OPEN", scope, {}).error.hint, "write 'OPEN' in quotes");
    EXPECT_EQ(Calculate("SOLD <> state", scope, {}).error.hint, "write 'SOLD' in quotes");
    EXPECT_EQ(Calculate("state NOT IN ('OPEN', SOLD)", scope, {}).error.hint, "write 'SOLD' in quotes");
    EXPECT_EQ(Calculate("i32 = OPEN", scope, {}).error.hint.find("quotes"), std::string::npos);
    EXPECT_EQ(Calculate("attrs = 1", scope, {}).error.hint, "ask for one key, or size()");
}

TEST(Evaluate, FieldsWithoutPresence) {
    filters3::Thing thing;
    ExprScope scope;
    scope.element = thing.GetDescriptor();
    ExprRow row;
    row.element = &thing;
    EXPECT_EQ(Calculate("plain", scope, row).value, "0");
    EXPECT_EQ(Calculate("name", scope, row).value, "''");
    EXPECT_EQ(Calculate("maybe", scope, row).value, "NULL");
    EXPECT_EQ(Calculate("inner.plain", scope, row).value, "NULL");
    EXPECT_EQ(Calculate("plain IS NULL", scope, row).code, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(Calculate("inner.plain IS NULL", scope, row).value, "true");
    EXPECT_EQ(Calculate("maybe IS NULL", scope, row).value, "true");
    thing.mutable_inner();
    EXPECT_EQ(Calculate("inner.plain IS NULL", scope, row).value, "false");
    // An unknown number has no name and equals no other.
    thing.set_size(static_cast<filters3::Size>(42));
    EXPECT_EQ(Calculate("size = 42", scope, row).value, "true");
    EXPECT_EQ(Calculate("size = 'LARGE'", scope, row).value, "false");
    EXPECT_EQ(Calculate("size", scope, row).value, "42");
}

// Scopes ---------------------------------------------------------------------------------------------

TEST(Scope, ValueOfASingularField) {
    filters::Record record;
    Read("limit: 4 elements { i32: 1 preset: 6 } one { i32: 8 }", record);
    ExprScope scope;
    scope.record = record.GetDescriptor();
    scope.element = filters::Element::descriptor();
    scope.self = scope.element->FindFieldByName("i32");
    ExprRow row;
    row.record = &record;
    row.element = row.owner = &record.elements(0);
    EXPECT_EQ(Calculate("$ + preset + $$.limit", scope, row).value, "11");
    EXPECT_EQ(Calculate("$.x", scope, row).code, OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
    scope.self = scope.element->FindFieldByName("phone");
    EXPECT_EQ(Calculate("coalesce($, 0) + 1", scope, row).value, "1");
    EXPECT_EQ(Calculate("$ IS NULL", scope, row).value, "true");
    scope = ExprScope();
    scope.record = record.GetDescriptor();
    scope.self = scope.record->FindFieldByName("one");
    row.owner = &record;
    EXPECT_EQ(Calculate("$.i32 + limit", scope, row).value, "12");
    EXPECT_EQ(Calculate("$ IS NOT NULL", scope, row).value, "true");
    record.clear_one();
    EXPECT_EQ(Calculate("$.preset", scope, row).value, "NULL");
}

TEST(Scope, OfTheRecordAlone) {
    filters::Record record;
    Read("limit: 4", record);
    ExprScope scope;
    scope.record = record.GetDescriptor();
    ExprRow row;
    row.record = &record;
    EXPECT_EQ(Calculate("limit + $$.limit", scope, row).value, "8");
    EXPECT_EQ(Calculate("$ = 1", scope, row).value, "-4889@0: there is no element that $ could be");
    EXPECT_EQ(Calculate("$.a = 1", scope, row).value, "-4889@0: there is no element that $ could be");
    EXPECT_EQ(Calculate("limit", scope, ExprRow()).value, "-5145@0: there is no message to read the name from");
}

TEST(Scope, OneElementOfAnArray) {
    filters::Record record;
    Read("i32s: [5, 6]", record);
    ExprScope scope = ExprScope::OfElements(record.GetDescriptor()->FindFieldByName("i32s"), record.GetDescriptor());
    ExprRow row;
    row.record = row.owner = &record;
    row.index = 1;
    EXPECT_EQ(Calculate("$ * 2", scope, row).value, "12");
    row.index = 2;
    EXPECT_EQ(Calculate("$ * 2", scope, row).code, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
}

// Parameters -----------------------------------------------------------------------------------------

ExprVariant Text(const char* text, OstraneCommon::ExprType type = OstraneCommon::EXPR_STRING) {
    ExprVariant value;
    value.m_type = type;
    value.m_str = text;
    return value;
}

ExprVariant Number(int64_t number) {
    ExprVariant value;
    value.m_type = OstraneCommon::EXPR_INT;
    value.m_data.valInt64 = number;
    return value;
}

TEST(Parameters, StandForLiterals) {
    filters::Element element;
    Read(ELEMENT, element);
    ExprScope scope;
    scope.element = element.GetDescriptor();
    ExprRow row;
    row.element = &element;
    ExprBindings values;
    ExprVariant price;
    price.m_type = OstraneCommon::EXPR_FLOAT;
    price.m_data.valFloat = 9.7;
    ExprVariant null;
    null.m_type = OstraneCommon::EXPR_NULL;
    values.Set("price", price);
    values.Set("text", Text("x' OR true --"));
    values.Set("name", Text("OPEN"));
    values.Set("key", Text("hp"));
    values.Set("raw", Text("/2E=", OstraneCommon::EXPR_BYTES_TEXT));
    values.Set("bad", Text("?", OstraneCommon::EXPR_BYTES_TEXT));
    values.Set("index", Number(-1));
    values.Set("digits", Text("1", OstraneCommon::EXPR_UINT_STRING));
    values.Set("none", null);
    values.SetList("numbers", {Number(1), Number(-7)});
    values.SetList("empty", {});
    const auto value = [&](const char* text) { return Calculate(text, scope, row, values).value; };
    EXPECT_EQ(value("f = :price"), "true");
    EXPECT_EQ(value("s = :text"), "false");
    EXPECT_EQ(value("state = :name"), "true");
    EXPECT_EQ(value("attrs[:key]"), "5");
    EXPECT_EQ(value("tags[:index]"), "'b'");
    EXPECT_EQ(value("tags[:digits]"), "'b'");
    EXPECT_EQ(value("tags[:none]"), "NULL");
    EXPECT_EQ(value("i32 IN :numbers"), "true");
    EXPECT_EQ(value("i32 NOT IN :numbers"), "false");
    EXPECT_EQ(value("i32 IN :empty"), "false");
    EXPECT_EQ(value("phone IN :empty"), "false");
    EXPECT_EQ(value("i32 IN :none"), "NULL");
    EXPECT_EQ(value("size(:numbers)"), "2");
    EXPECT_EQ(value(":numbers CONTAINS i32"), "true");
    EXPECT_EQ(value("i32 = :none"), "NULL");
    EXPECT_EQ(value(":none IS NULL"), "true");
    EXPECT_EQ(value("i32 = :name"), "-5145@6: an integer and a text do not compare");
    // Base64 stands for bytes where bytes are wanted, and for itself elsewhere.
    EXPECT_EQ(value("raw = :raw"), "true");
    EXPECT_EQ(value("raw IN (:raw)"), "true");
    EXPECT_EQ(value("raw BETWEEN :raw AND :raw"), "true");
    EXPECT_EQ(value("raw LIKE :raw"), "true");
    EXPECT_EQ(value(":raw LIKE raw"), "true");
    EXPECT_EQ(value("raw CONTAINS :raw"), "true");
    EXPECT_EQ(value(":raw CONTAINS raw"), "true");
    EXPECT_EQ(value("coalesce(raw, :raw) = :raw"), "true");
    EXPECT_EQ(value("coalesce('', :raw, raw) = ''"), "true");
    EXPECT_EQ(value("coalesce(:none, :raw, raw) = raw"), "true");
    EXPECT_EQ(value("coalesce(:raw, s)"), "'/2E='");
    EXPECT_EQ(value("s = :raw"), "false");
    EXPECT_EQ(value("raw = :bad"), "-5145@6: the value for bytes is not base64");
    EXPECT_EQ(value("i32 = :missing"), "-4889@6: a parameter without a value");
    EXPECT_EQ(value("tags[:missing]"), "-4889@5: a parameter without a value");
    ExprBindings numbered;
    numbered.Set(1, Number(3));
    numbered.Set(2, Number(-7));
    EXPECT_EQ(Calculate("? < 4 AND i32 = ?", scope, row, numbered).value, "true");
    numbered.SetList(2, {Number(1), Number(-7)});
    EXPECT_EQ(Calculate("? < 4 AND i32 IN ?", scope, row, numbered).value, "true");
    ExprVariant list;
    list.m_type = OstraneCommon::EXPR_VALUE_LIST;
    const std::vector<ExprVariant> inner = {Number(1)};
    list.m_data.ptr = const_cast<std::vector<ExprVariant>*>(&inner);
    values.SetList("nested", {list});
    EXPECT_EQ(value("i32 IN :nested"), "-5145@7: a list holds another list");
}

// The values of a text that is somebody else's are taken over.
TEST(Parameters, OutliveTheTextsTheyPointTo) {
    ExprBindings values;
    {
        const std::string text = "a text that is longer than a short string";
        ExprVariant pointer;
        pointer.m_type = OstraneCommon::EXPR_STRING_PTR;
        pointer.m_data.pStr = &text;
        values.Set("named", pointer);
        values.Set(1, pointer);
    }
    EXPECT_EQ(Calculate(":named", ExprScope(), ExprRow(), values).value, "'a text that is longer than a short string'");
    EXPECT_EQ(Calculate("?", ExprScope(), ExprRow(), values).value, "'a text that is longer than a short string'");
}

// Trees put together by hand -----------------------------------------------------------------------------

TEST(HandMadeTrees, AreRefusedNotCrashedOn) {
    using namespace OstraneCommon;
    const ExprScope scope;
    for (int type = 0; type <= EXPR_TYPE_MAX + 1; ++type) {
        for (int count = -1; count <= 4; ++count) {
            for (const bool isNull : {false, true}) {
                Expr leaf;
                leaf.m_self.m_type = EXPR_STRING;
                std::vector<Expr*> operands(static_cast<size_t>(count < 0 ? 0 : count), isNull ? nullptr : &leaf);
                Expr node;
                node.m_self.m_type = static_cast<ExprType>(type);
                node.m_operands = count < 0 ? nullptr : &operands;
                BoundExpr bound;
                ExprError error;
                const int ret = BoundExpr::Bind(node, scope, ExprBindings(), bound, error);
                EXPECT_EQ(ret == 0, bound.IsBound());
                if (ret != 0) {
                    EXPECT_LT(ret, 0);
                    EXPECT_EQ(ret, error.code);
                    EXPECT_FALSE(error.message.empty()) << type;
                }
            }
        }
    }
}

TEST(HandMadeTrees, TooDeepOrEndlessAreErrors) {
    using namespace OstraneCommon;
    Expr loop;
    std::vector<Expr*> twice{&loop, &loop};
    for (const ExprType type : {EXPR_AND, EXPR_OP_ADD, EXPR_COMPARE_EQ, EXPR_IN, EXPR_CONTAINS}) {
        loop.m_self.m_type = type;
        loop.m_operands = &twice;
        BoundExpr bound;
        ExprError error;
        EXPECT_EQ(BoundExpr::Bind(loop, ExprScope(), ExprBindings(), bound, error),
                  OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
        EXPECT_EQ(error.message, "the expression is nested too deep");
    }
}

// No condition at all is true of every element.
TEST(HandMadeTrees, OfNoneIsTrue) {
    const Expr none;
    BoundExpr bound;
    ExprError error;
    ASSERT_EQ(BoundExpr::BindCondition(none, ExprScope(), ExprBindings(), bound, error), 0);
    EXPECT_TRUE(bound.IsConstant());
    EXPECT_EQ(bound.Type().kind, OstraneCommon::ValueKind::Bool);
    bool isTrue = false;
    EXPECT_EQ(bound.Test(ExprRow(), isTrue, error), 0);
    EXPECT_TRUE(isTrue);
}

TEST(HandMadeTrees, AConditionSearchesTheArrayItWasBoundTo) {
    filters::Record record;
    Read("i32s: [5, 6]", record);
    ExprParseContext context;
    Expr* tree = nullptr;
    ExprError error;
    ASSERT_EQ(Expr::Parse("$ = 6", context, tree, error), 0);
    const auto* const field = record.GetDescriptor()->FindFieldByName("i32s");
    BoundExpr bound;
    ASSERT_EQ(BoundExpr::BindCondition(*tree, ExprScope::OfElements(field, record.GetDescriptor()), ExprBindings(),
                                       bound, error),
              0);
    std::vector<bool> marks;
    int count = 0;
    int first = 99;
    EXPECT_EQ(bound.FindMatches(&record, record, {}, marks, count, first, error), 0);
    EXPECT_EQ(ShowMatches(marks, count, first), "1 of 2 from 1: .#");
    const filters::Element other;
    EXPECT_EQ(bound.FindMatches(&record, other, {}, marks, count, first, error),
              OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(error.message, "the condition was bound to no array of this message");
}

TEST(HandMadeTrees, BoundExpressionsOutliveTreeAndParameters) {
    filters::Element element;
    Read(ELEMENT, element);
    BoundExpr bound;
    {
        ExprParseContext context;
        Expr* tree = nullptr;
        ExprError error;
        ASSERT_EQ(Expr::Parse("s LIKE :p AND tags CONTAINS 'a'", context, tree, error), 0);
        ExprBindings values;
        values.Set("p", Text("a pattern that is longer than a short string%"));
        ExprScope scope;
        scope.element = element.GetDescriptor();
        ASSERT_EQ(BoundExpr::BindCondition(*tree, scope, values, bound, error), 0);
    }
    ExprRow row;
    row.element = &element;
    bool isTrue = true;
    ExprError error;
    EXPECT_EQ(bound.Test(row, isTrue, error), 0);
    EXPECT_FALSE(isTrue);
    EXPECT_FALSE(bound.IsConstant());
}

}  // namespace
