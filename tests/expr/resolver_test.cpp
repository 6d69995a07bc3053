// Reading a record's fields by path, and calculating through resolvers.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "common/err_code.h"
#include "filter_fixture.h"
#include "filters.pb.h"

namespace {

using namespace FilterTest;
using OstraneCommon::ExprResolver;
using OstraneCommon::PbField;
using OstraneCommon::ProtobuFieldResolver;

constexpr char RECORD[] = R"(
    limit: 3 name: "b" attrs { key: "max" value: 2 }
    i32s: [1, 5] ss: "a" states: [OPEN, SOLD]
    one { i32: 8 raw: "r" state: OPEN place { city: "x" } preset: 4 by_id { key: 7 value { city: "m" } } }
    elements { i32: 1 tags: ["t", "u"] } elements { } [filters.extras]: [4, 6]
)";

class Resolver : public ::testing::Test {
protected:
    Resolver() : m_resolver(m_holder) { m_holder.m_pMessage = &m_record; }
    void SetUp() override { Read(RECORD, m_record); }

    int Resolve(const std::string& name, ExprVariant& out) {
        ExprVariant variant;
        variant.m_type = OstraneCommon::EXPR_UNRESOLVE;
        variant.m_flags = OstraneCommon::EXPR_FLAG_NAME;
        variant.m_str = name;
        return m_resolver.Resolve(&variant, out);
    }
    // A resolved value through its casts: an integer, a text in quotes, or what it is.
    std::string Show(const std::string& name) {
        ExprVariant out;
        const int ret = Resolve(name, out);
        return ret == 0 ? Show(out) : std::to_string(ret);
    }
    std::string Show(ExprVariant& value) {
        const std::string* text = nullptr;
        if (value.CastRef(text)) {
            return "'" + *text + "'";
        }
        int64_t number = 0;
        if (value.CastInt(number)) {
            return std::to_string(number);
        }
        if (m_resolver.IsMap(value)) {
            return "map of " + std::to_string(m_resolver.MapSize(value));
        }
        if (m_resolver.IsArray(value)) {
            return "array of " + std::to_string(m_resolver.ArraySize(value));
        }
        return m_resolver.IsStruct(value) ? "struct" : value.m_type == OstraneCommon::EXPR_NULL ? "NULL" : "?";
    }
    std::string Calculate(const std::string& text, ExprResolver& resolver) {
        ExprParseContext context;
        Expr* tree = nullptr;
        ExprError error;
        if (Expr::Parse(text, context, tree, error) != 0) {
            return error.message;
        }
        ExprVariant out;
        std::string errmsg;
        const int ret = tree->Calculate(resolver, out, errmsg);
        return ret == 0 ? FilterTest::Show(out) : std::to_string(ret) + ": " + errmsg;
    }

    filters::Record m_record;
    ProtobufRecord m_holder;
    ProtobuFieldResolver m_resolver;
};

TEST_F(Resolver, ResolvesPaths) {
    const struct {
        const char* name;
        const char* expected;
    } rows[] = {
        {"limit", "3"},
        {"name", "'b'"},
        {"one", "struct"},
        {"one.i32", "8"},
        {"one.raw", "'r'"},
        {"one.state", "1"},
        {"one.preset", "4"},
        {"one.place.city", "'x'"},
        {"one.place.zip", "7"},
        {"one.phone", "NULL"},
        {"one.place.next", "NULL"},
        {"one.place.next.zip", "NULL"},
        {"i32s", "array of 2"},
        {"i32s[1]", "5"},
        {"i32s[-1]", "5"},
        {"i32s[2]", "NULL"},
        {"ss[0]", "'a'"},
        {"states[1]", "-1"},
        {"elements[0]", "struct"},
        {"elements[0].tags", "array of 2"},
        {"elements[0].tags[1]", "'u'"},
        {"elements[7].tags", "NULL"},
        {"attrs", "map of 1"},
        {"attrs['max']", "2"},
        {"attrs['min']", "NULL"},
        {"one.by_id[7]", "struct"},
        {"one.by_id[7].city", "'m'"},
        {"$$", "struct"},
        {"$$.limit", "3"},
        {"$$.[filters.extras][1]", "6"},
        {"elements", "array of 2"},
        {"gone", "-4889"},
        {"one.gone", "-4889"},
        {"$", "-4889"},
        {"a b", "-4889"},
        {"", "-4889"},
        {"limit[0]", "-5145"},
        {"elements.tags", "-5145"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Show(row.name), row.expected) << row.name;
    }
    ExprVariant out;
    EXPECT_EQ(m_resolver.Resolve(nullptr, out), OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME);
}

TEST_F(Resolver, WithoutRecordResolvesNothing) {
    m_holder.m_pMessage = nullptr;
    EXPECT_EQ(Show("limit"), "-4889");
}

TEST_F(Resolver, NamedValuesComeFirstInnermostScopeFirst) {
    ExprVariant value;
    value.m_type = OstraneCommon::EXPR_UINT;
    value.m_data.valUInt64 = 70;
    m_resolver.SetNamedValue("limit", value);
    EXPECT_EQ(Show("limit"), "70");
    EXPECT_EQ(Show("$$.limit"), "3");
    m_resolver.OpenScope();
    value.m_data.valUInt64 = 71;
    m_resolver.SetNamedValue("limit", value);
    EXPECT_EQ(Show("limit"), "71");
    EXPECT_EQ(Calculate("limit + $$.limit", m_resolver), "74");
    m_resolver.CloseScope();
    EXPECT_EQ(Show("limit"), "70");
    m_resolver.CloseScope();
    EXPECT_EQ(Show("limit"), "3");
    m_resolver.CloseScope();
    EXPECT_EQ(Show("limit"), "3");
}

TEST_F(Resolver, Parameters) {
    ExprVariant value;
    value.m_type = OstraneCommon::EXPR_UINT;
    value.m_data.valUInt64 = 5;
    m_resolver.SetParameter("p", value);
    m_resolver.SetParameter(1, value);
    EXPECT_EQ(Calculate("limit + :p", m_resolver), "8");
    EXPECT_EQ(Calculate("limit + ?", m_resolver), "8");
    EXPECT_EQ(Calculate("limit + :q", m_resolver), "-4889: a parameter without a value");
    EXPECT_EQ(Find("$ = 5", m_record, "i32s"), "1 of 2 from 1: .#");
    ExprParseContext context;
    Expr* filter = nullptr;
    ExprError error;
    ASSERT_EQ(Expr::Parse("$ = :p", context, filter, error), 0);
    const auto* const field = m_record.GetDescriptor()->FindFieldByName("i32s");
    EXPECT_EQ(Find(*filter, m_resolver, m_record, field, {}), "1 of 2 from 1: .#");
    const std::vector<ExprVariant> items(2, value);
    ExprVariant list;
    list.m_type = OstraneCommon::EXPR_VALUE_LIST;
    list.m_data.ptr = const_cast<std::vector<ExprVariant>*>(&items);
    m_resolver.SetParameter("list", list);
    EXPECT_EQ(Calculate("5 IN :list", m_resolver), "true");
    EXPECT_EQ(Calculate("size(:list)", m_resolver), "2");
}

TEST_F(Resolver, ElementsOfArrays) {
    ExprVariant array;
    ExprVariant out;
    ASSERT_EQ(Resolve("i32s", array), 0);
    EXPECT_EQ(m_resolver.ArrayGet(array, 1, out), 0);
    EXPECT_EQ(Show(out), "5");
    EXPECT_EQ(m_resolver.ArrayGet(array, -2, out), 0);
    EXPECT_EQ(Show(out), "1");
    EXPECT_EQ(m_resolver.ArrayGet(array, 2, out), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(m_resolver.ArrayGet(array, -3, out), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    array.m_data.pb.SetArrayRange(1, 9);
    EXPECT_EQ(Show(array), "array of 1");
    EXPECT_EQ(m_resolver.ArrayGet(array, 0, out), 0);
    EXPECT_EQ(Show(out), "5");
    ASSERT_EQ(Resolve("elements", array), 0);
    EXPECT_EQ(m_resolver.ArrayGet(array, 0, array), 0);
    EXPECT_EQ(Show(array), "struct");
    EXPECT_EQ(m_resolver.ArrayGet(array, 0, out), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(m_resolver.ArraySize(array), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(m_resolver.MapSize(array), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
}

TEST_F(Resolver, TheLastEntryOfAKeyCounts) {
    Read("attrs { key: \"a\" value: 1 } attrs { key: \"b\" value: 2 } attrs { key: \"a\" value: 3 }", m_record);
    EXPECT_EQ(Show("attrs"), "map of 2");
    EXPECT_EQ(Show("attrs['a']"), "3");
    EXPECT_EQ(Calculate("size(attrs)", m_resolver), "2");
}

TEST_F(Resolver, EntriesOfMaps) {
    ExprVariant map;
    ExprVariant out;
    ASSERT_EQ(Resolve("attrs", map), 0);
    Expr key;
    key.m_self.m_type = OstraneCommon::EXPR_STRING;
    key.m_self.m_str = "max";
    bool isFound = false;
    EXPECT_EQ(m_resolver.MapFind(map, key, out, false, isFound), 0);
    EXPECT_TRUE(isFound);
    EXPECT_EQ(Show(out), "2");
    key.m_self.m_str = "min";
    EXPECT_EQ(m_resolver.MapFind(map, key, out, false, isFound), 0);
    EXPECT_FALSE(isFound);
    EXPECT_EQ(Show(out), "NULL");
    key.m_self.m_type = OstraneCommon::EXPR_UINT;
    EXPECT_EQ(m_resolver.MapFind(map, key, out, false, isFound), OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE);
}

TEST_F(Resolver, CalculatesOverTheRecord) {
    EXPECT_EQ(Calculate("limit * 2 + size(i32s)", m_resolver), "8");
    EXPECT_EQ(Calculate("one.preset IS NULL", m_resolver), "false");
    EXPECT_EQ(Calculate("one.place.zip IS NULL", m_resolver), "true");
    EXPECT_EQ(Calculate("states[0] = 'OPEN'", m_resolver), "true");
    EXPECT_EQ(Calculate("one.state", m_resolver), "OPEN");
    EXPECT_EQ(Calculate("name", m_resolver), "'b'");
    EXPECT_EQ(Calculate("gone", m_resolver), "-4889: filters.Record has no field 'gone'");
    EXPECT_EQ(Calculate("limit / 0", m_resolver), "-5145: an integer is divided by zero");
    EXPECT_EQ(Calculate("i32s", m_resolver), "-5145: a message, a list or a map is no value");
}

// A host's own resolver: values by name, an array of two, a map.
class TableResolver : public ExprResolver {
public:
    int Resolve(ExprVariant* name, ExprVariant& out) override {
        m_asked = name->m_str;
        const auto found = m_values.find(name->m_str);
        if (found == m_values.end()) {
            return -1;
        }
        out = found->second;
        return 0;
    }
    bool IsArray(ExprVariant& var) override { return var.m_type == OstraneCommon::EXPR_LIST; }
    int ArraySize(ExprVariant& /*array*/) override { return 2; }
    int ArrayGet(ExprVariant& /*array*/, int index, ExprVariant& out) override {
        out.m_type = OstraneCommon::EXPR_UINT;
        out.m_data.valUInt64 = static_cast<uint64_t>(index) + 10;
        return 0;
    }
    bool IsMap(ExprVariant& var) override { return var.m_type == OstraneCommon::EXPR_STRUCT; }
    int MapSize(ExprVariant& /*map*/) override { return 4; }

    std::map<std::string, ExprVariant> m_values;
    std::string m_asked;
};

TEST_F(Resolver, OfAHost) {
    TableResolver host;
    host.m_values["a"].m_type = OstraneCommon::EXPR_INT;
    host.m_values["a"].m_data.valInt64 = -3;
    host.m_values["n"].m_type = OstraneCommon::EXPR_NULL;
    host.m_values["list"].m_type = OstraneCommon::EXPR_LIST;
    host.m_values["map"].m_type = OstraneCommon::EXPR_STRUCT;
    host.m_values["text"].m_type = OstraneCommon::EXPR_CSTR;
    host.m_values["text"].m_data.pCStr = "abc";
    EXPECT_EQ(Calculate("a * 2", host), "-6");
    EXPECT_EQ(Calculate("a IS NULL", host), "false");
    EXPECT_EQ(Calculate("n IS NULL", host), "true");
    EXPECT_EQ(Calculate("11 IN list", host), "true");
    EXPECT_EQ(Calculate("size(list) + size(map)", host), "6");
    EXPECT_EQ(Calculate("text LIKE 'a%'", host), "true");
    EXPECT_EQ(Calculate("a = text", host), "-5145: an integer and a text do not compare");
    EXPECT_EQ(Calculate("gone", host), "-4889: the name gone cannot be resolved");
    host.m_values["?"].m_type = OstraneCommon::EXPR_QUESTION;
    EXPECT_EQ(Calculate("x['it\\'s'].y[2]", host), "-4889: the name x['it\\'s'].y[2] cannot be resolved");
    // Filters over a record ask it for the record's names, once.
    const auto* const field = m_record.GetDescriptor()->FindFieldByName("i32s");
    ExprParseContext context;
    Expr* filter = nullptr;
    ExprError error;
    ASSERT_EQ(Expr::Parse("$ > a + 4", context, filter, error), 0);
    EXPECT_EQ(Find(*filter, host, m_record, field, {}), "1 of 2 from 1: .#");
}

// Fields stand for the values that they have when they are asked for.
TEST_F(Resolver, OfAHostThatAnswersWithFields) {
    TableResolver host;
    const auto answer = [&](const char* name, const google::protobuf::Message& message, const char* field) -> PbField& {
        ExprVariant& value = host.m_values[name];
        value.m_type = OstraneCommon::EXPR_UNRESOLVE;
        value.m_data.pb.SetField(&message, field == nullptr ? nullptr : message.GetDescriptor()->FindFieldByName(field),
                                 false);
        return value.m_data.pb;
    };
    answer("limit", m_record, "limit");
    answer("name", m_record, "name");
    answer("raw", m_record.one(), "raw");
    answer("state", m_record.one(), "state");
    answer("phone", m_record.one(), "phone");
    answer("zip", m_record.one().place(), "zip");
    answer("city", m_record.one().place(), "city");
    answer("numbers", m_record, "i32s");
    answer("second", m_record, "i32s").SetArrayElementIdx(1);
    answer("ninth", m_record, "i32s").SetArrayElementIdx(8);
    answer("last", m_record, "i32s").SetArrayRange(1, 9);
    answer("first", m_record, "i32s").SetArrayRange(-2, 0);
    answer("behind", m_record, "i32s").SetArrayRange(2, 9);
    answer("states", m_record, "states");
    answer("texts", m_record, "ss");
    answer("elements", m_record, "elements");
    answer("attrs", m_record, "attrs");
    answer("whole", m_record, nullptr);
    answer("foreign", m_record, "limit").pMessage = &m_record.one();
    answer("nothing", m_record, "limit").pMessage = nullptr;
    const std::pair<const char*, const char*> rows[] = {
        {"limit * 2", "6"},
        {"name LIKE 'b%'", "true"},
        {"raw = x'72'", "true"},
        {"state = 'OPEN'", "true"},
        {"state", "OPEN"},
        {"city = 'x' AND city IS NOT NULL", "true"},
        // Unset: no value, or the default that counts as none
        {"phone", "NULL"},
        {"phone IS NULL", "true"},
        {"zip", "7"},
        {"zip IS NULL", "true"},
        // Elements and runs of them
        {"second", "5"},
        {"ninth", "NULL"},
        {"5 IN numbers", "true"},
        {"2 IN numbers", "false"},
        {"size(numbers)", "2"},
        {"5 IN last AND 1 NOT IN last", "true"},
        {"size(last)", "1"},
        {"1 IN first AND 5 NOT IN first", "true"},
        {"size(first)", "1"},
        {"size(behind)", "0"},
        {"'SOLD' IN states", "true"},
        {"'CLOSED' IN states", "false"},
        {"texts CONTAINS 'a'", "true"},
        {"size(elements)", "2"},
        {"size(attrs)", "1"},
        {"whole IS NULL", "false"},
        {"foreign", "-5145: this refers to a field of another message"},
        {"nothing", "-5145: this refers to no field"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Calculate(row.first, host), row.second) << row.first;
    }
}

TEST_F(Resolver, OfAHostIsAskedForNamesWithTheirParametersFilledIn) {
    TableResolver host;
    host.m_values[""].m_type = OstraneCommon::EXPR_UINT;
    host.m_values[""].m_data.valUInt64 = 3;
    host.m_values["key"].m_type = OstraneCommon::EXPR_STRING;
    host.m_values["key"].m_str = "it's";
    const std::pair<const char*, const char*> rows[] = {
        {"a[?].b", "a[3].b"},
        {"a[:key].b[:key]", "a['it\\'s'].b['it\\'s']"},
        // In quotes nothing is a parameter
        {"a['?'].b[?]", "a['?'].b[3]"},
        {"a['\\':key'].b[:key]", "a['\\':key'].b['it\\'s']"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Calculate(row.first, host), "-4889: the name " + std::string(row.first) + " cannot be resolved");
        EXPECT_EQ(host.m_asked, row.second);
    }
    EXPECT_EQ(Calculate("a[:gone]", host), "-4889: a parameter without a value");
}

// A host's resolver of which one call fails.
class FailingResolver : public TableResolver {
public:
    FailingResolver(int failingCall, int code) : m_failingCall(failingCall), m_code(code) {}

    int Resolve(ExprVariant* name, ExprVariant& out) override {
        return IsToFail() ? m_code : TableResolver::Resolve(name, out);
    }
    int ArrayGet(ExprVariant& array, int index, ExprVariant& out) override {
        return IsToFail() ? m_code : TableResolver::ArrayGet(array, index, out);
    }
    int CallCount() const { return m_callCount; }

private:
    bool IsToFail() { return ++m_callCount == m_failingCall; }

    const int m_failingCall;
    const int m_code;
    int m_callCount = 0;
};

TEST_F(Resolver, EachCallOfAHostFails) {
    const char* const text = "a * 2 > b AND 11 IN list OR n IS NULL";
    // A code of the host's own comes through; one without a reason, or none at all, is a name that is not there.
    for (const int code : {-77, -1, 1}) {
        const std::string unresolved = std::to_string(code == -77 ? code : -4889) + ": the name ";
        const std::string ends[] = {unresolved + "a cannot be resolved",
                                    unresolved + "b cannot be resolved",
                                    unresolved + "list cannot be resolved",
                                    "-5145: an element of list cannot be read",
                                    "-5145: an element of list cannot be read",
                                    unresolved + "n cannot be resolved",
                                    "true"};
        for (int call = 1; call <= 7; ++call) {
            SCOPED_TRACE(std::to_string(code) + " at call " + std::to_string(call));
            FailingResolver host(call, code);
            host.m_values["a"].m_type = OstraneCommon::EXPR_INT;
            host.m_values["a"].m_data.valInt64 = 3;
            host.m_values["b"] = host.m_values["a"];
            host.m_values["n"].m_type = OstraneCommon::EXPR_NULL;
            host.m_values["list"].m_type = OstraneCommon::EXPR_LIST;
            EXPECT_EQ(Calculate(text, host), ends[call - 1]);
            EXPECT_GE(host.CallCount(), std::min(call, 6));
            // All of them, when none fails.
            EXPECT_TRUE(call < 7 || host.CallCount() == 6);
        }
    }
}

}  // namespace
