// Statements: what each text parses to, and where and why others do not.
#include "expr/statement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/err_code.h"
#include "tree_text.h"

namespace {

using namespace OstraneCommon;
using OstraneTests::TreeText;

std::string PathText(const std::vector<PathStep>& steps) {
    std::string out;
    for (const PathStep& step : steps) {
        out += out.empty() ? "" : "/";
        out += step.isExtension ? "<" + step.name + ">" : step.name;
        out += step.subscript != nullptr ? "[" + TreeText(step.subscript) + "]" : "";
    }
    return out;
}

const char* KindWord(StatementKind kind) {
    const char* const words[] = {"GET", "TAKE", "POP", "SET", "PUSH", "CLEAR"};
    return words[static_cast<int>(kind)];
}

std::string StatementText(const Statement& statement) {
    std::string out = KindWord(statement.kind);
    out += " " + PathText(statement.path.steps);
    out += statement.value != nullptr ? " = " + TreeText(statement.value) : "";
    out += statement.hasFrom ? " FROM " + PathText(statement.from.steps) : "";
    out += statement.where != nullptr ? " WHERE " + TreeText(statement.where) : "";
    return out;
}

// "PUSH scores[1] = 7; CLEAR a", or "1:5 expected ... | hint" of a text that does not parse.
std::string Parsed(const std::string& text) {
    ExprParseContext context;
    StatementList list;
    list.parameterCount = -1;
    ExprError error;
    const int ret = ParseStatements(text, context, list, error);
    if (ret != 0) {
        const bool isUnknown = error.message.compare(0, 20, "there is no function") == 0;
        EXPECT_EQ(ret, isUnknown ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME
                                 : OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX);
        EXPECT_EQ(list.parameterCount, -1) << "the list was touched";
        const std::string place = std::to_string(error.line) + ":" + std::to_string(error.column);
        return place + " " + error.message + (error.hint.empty() ? "" : " | " + error.hint);
    }
    std::string out;
    for (const Statement& statement : list.statements) {
        out += out.empty() ? "" : "; ";
        out += StatementText(statement);
    }
    return out;
}

struct Row {
    std::string text;
    std::string expected;
};

void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_EQ(Parsed(row.text), row.expected) << row.text;
    }
}

TEST(Statement, Kinds) {
    Check({
        {"GET a", "GET a"},
        {"GET a[0] WHERE b", "GET a[0] WHERE b"},
        {"get a where b", "GET a WHERE b"},
        {"TAKE inbox[*] WHERE expires < :now", "TAKE inbox[(RANGE '*')] WHERE (< expires :now)"},
        {"POP scores[0..2, 7, -3..-1] WHERE $ > 10", "POP scores[(RANGE '0..2, 7, -3..-1')] WHERE (> $ 10)"},
        {"POP a", "POP a"},
        {"SET a = 1", "SET a = 1"},
        {"SET a=1WHERE b", "1:8 unexpected 'WHERE' after the number"},
        {"SET a = b + 1 WHERE c = d", "SET a = (+ b 1) WHERE (= c d)"},
        {"SET a = b = c", "SET a = (= b c)"},
        {"SET items[*].qty = qty + 1 WHERE sku = 'a'", "SET items[(RANGE '*')]/qty = (+ qty 1) WHERE (= sku 'a')"},
        {"SET a = {b: 1} WHERE c", "SET a = (MESSAGE (ASSIGN 'b' 1)) WHERE c"},
        {"SET a = []", "SET a = (LIST)"},
        {"SET a = null", "SET a = null"},
        {"SET a FROM b", "SET a FROM b"},
        {"SET a[0..1] FROM b[2..3]", "SET a[(RANGE '0..1')] FROM b[(RANGE '2..3')]"},
        {"PUSH a = 7", "PUSH a = 7"},
        {"PUSH a[1] = [1, 2]", "PUSH a[1] = (LIST 1 2)"},
        {"PUSH a[-1] = {b: 1}", "PUSH a[-1] = (MESSAGE (ASSIGN 'b' 1))"},
        {"PUSH a = ?", "PUSH a = ?1"},
        {"PUSH a[?] FROM b[?..?]", "PUSH a[?1] FROM b[(RANGE '?..?' ?2 ?3)]"},
        {"CLEAR a.b", "CLEAR a/b"},
    });
}

TEST(Statement, Lists) {
    Check({
        {"GET a; GET b", "GET a; GET b"},
        {"GET a;GET b;", "GET a; GET b"},
        {"GET a ; -- done\n", "GET a"},
        {"GET a;-- done", "GET a"},
        {"-- first\nGET a; -- second\nCLEAR b -- third", "GET a; CLEAR b"},
        {"GET a WHERE b = ';';", "GET a WHERE (= b ';')"},
        {"", "1:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {"-- nothing", "1:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {";", "1:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {"GET a;;", "1:7 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {"GET a; ; GET b", "1:8 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {"GET a;\nfoo b", "2:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        {"GET a CLEAR b", "1:7 expected WHERE, ';' or the end of the text"},
    });
}

TEST(Statement, Paths) {
    Check({
        {"GET profile.address.city", "GET profile/address/city"},
        {"GET items[2].tags", "GET items[2]/tags"},
        {"GET items[-1].tags[0..]", "GET items[-1]/tags[(RANGE '0..')]"},
        {"GET a . b [ 1 ]", "GET a/b[1]"},
        // Reserved words
        {"GET get", "GET get"},
        {"GET where WHERE where.x",
         "1:17 expected a value after 'WHERE' | WHERE is a reserved word: a field of that name is written `where`"},
        {"SET from FROM set", "SET from FROM set"},
        {"CLEAR a.from.null", "CLEAR a/from/null"},
        {"GET `where`.`x`", "GET where/x"},
        {"GET .a", "1:5 expected a field after GET"},
        {"GETa", "1:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR"},
        // Map keys
        {"SET attrs['hp'] = 5", "SET attrs['hp'] = 5"},
        {"GET byId[7]", "GET byId[7]"},
        {"GET byId[-9223372036854775808]", "GET byId[-9223372036854775808]"},
        {"GET byId[18446744073709551615]", "GET byId[18446744073709551615]"},
        {"GET byId[18446744073709551616]", "GET byId[digits18446744073709551616]"},
        {"GET byId[-9223372036854775809]", "GET byId[minus-digits-9223372036854775809]"},
        {"GET flags[true].x", "GET flags[true]/x"},
        {"GET flags[False]", "GET flags[false]"},
        {"GET m[:key]", "GET m[:key]"},
        {"GET m['a', 'b']", "1:10 expected ']' after the key"},
        {"GET m['a'", "1:10 expected ']' after the key"},
        // Extensions
        {"GET [pkg.ext]", "GET <pkg.ext>"},
        {"GET [pkg.ext][0].a.[b]", "GET <pkg.ext>[0]/a/<b>"},
        {"GET a.[ pkg.ext ]", "GET a/<pkg.ext>"},
        {"SET a FROM [pkg.ext]", "SET a FROM <pkg.ext>"},
        {"GET a[pkg.ext]",
         "1:7 expected an index, a range or a key after '[' | an index is a number or a parameter, a text key stands "
         "in "
         "quotes, an extension is written .[pkg.name]"},
        // Faults
        {"GET", "1:4 expected a field after GET"},
        {"get ;", "1:5 expected a field after GET"},
        {"PUSH = 1", "1:6 expected a field after PUSH"},
        {"GET $.a", "1:5 expected a field after GET | a path starts with a field of the record, without '$'"},
        {"GET a.", "1:7 expected a name after '.'"},
        {"GET a.*", "1:7 expected a name after '.'"},
        {"GET a.0", "1:7 expected a name after '.' | an element is written tags[0]"},
        {"GET a[0][1]", "1:9 a field takes one index or selector"},
        {"GET 'a'", "1:5 expected a field after GET"},
        {"GET 1", "1:5 expected a field after GET"},
    });
}

TEST(Statement, Selectors) {
    Check({
        {"POP a[1]", "POP a[1]"},
        {"POP a[1, 2]", "POP a[(RANGE '1, 2')]"},
        {"POP a[1,2,1]", "POP a[(RANGE '1, 2, 1')]"},
        {"POP a[ 0 .. 2 ]", "POP a[(RANGE '0..2')]"},
        {"POP a[0..]", "POP a[(RANGE '0..')]"},
        {"POP a[..2]", "POP a[(RANGE '..2')]"},
        {"POP a[*]", "POP a[(RANGE '*')]"},
        {"POP a[*, 1]", "POP a[(RANGE '*, 1')]"},
        {"POP a[007..-0008]", "POP a[(RANGE '7..-8')]"},
        {"POP a[-0]", "POP a[0]"},
        {"POP a[-0..1]", "POP a[(RANGE '0..1')]"},
        {"POP a[99999999999..]", "POP a[(RANGE '2147483647..')]"},
        {"POP a[-99999999999..]", "POP a[(RANGE '-2147483648..')]"},
        {"POP a[3..-1]", "POP a[(RANGE '3..-1')]"},
        {"POP a[-1..3]", "POP a[(RANGE '-1..3')]"},
        {"POP a[-3..-1]", "POP a[(RANGE '-3..-1')]"},
        {"POP a[2..2]", "POP a[(RANGE '2..2')]"},
        {"POP a[1 -- one\n, 2]", "POP a[(RANGE '1, 2')]"},
        // Parameters
        {"POP a[?]", "POP a[?1]"},
        {"POP a[?..]", "POP a[(RANGE '?..' ?1)]"},
        {"POP a[..:hi]", "POP a[(RANGE '..:hi' :hi)]"},
        {"POP a[:lo..:hi, 3, :lo]", "POP a[(RANGE ':lo..:hi, 3, :lo' :lo :hi :lo)]"},
        {"POP a[1, ?]", "POP a[(RANGE '1, ?' ?1)]"},
        // Faults
        {"POP a[]", "1:7 expected an index, a range or a key after '[' | [*] selects every element"},
        {"POP a[", "1:7 expected an index, a range or a key after '['"},
        {"POP a[..]", "1:9 expected an index after '..' | [*] selects every element"},
        {"POP a[1", "1:8 expected ']' after the index"},
        {"POP a[1..2", "1:11 expected ',' or ']' after the range"},
        {"POP a[1, 2", "1:11 expected ',' or ']' after the range"},
        {"PUSH scores[1 = 7", "1:15 expected ']' after the index"},
        {"POP a[1,]", "1:9 expected an index or a range after ','"},
        {"POP a[1, 'a']", "1:10 expected an index or a range after ','"},
        {"POP a[,1]", "1:7 expected an index, a range or a key after '['"},
        {"POP a[1 2]", "1:9 expected ']' after the index | separate positions with commas"},
        {"POP a[5..2]", "1:7 the range 5..2 is reversed | write 2..5"},
        {"POP a[0, -1..-3]", "1:10 the range -1..-3 is reversed | write -3..-1"},
        {"POP a[1:2]", "1:8 expected ']' after the index | a range is written 0..2"},
        {"POP a[:2]", "1:8 expected a name right after ':' | a range is written 0..2"},
        {"POP a[1-2]",
         "1:8 expected ']' after the index | a range is written 0..2, and no space follows the '-' of -1"},
        {"POP a[- 1]", "1:7 expected a digit right after '-'"},
        {"POP a[1..- 1]", "1:10 expected ',' or ']' after the range | no space follows the '-' of -1"},
        {"POP a[+1]", "1:7 expected an index, a range or a key after '[' | an index is written without '+'"},
        {"POP a[0x1]", "1:8 expected ']' after the index | index numbers are decimal"},
        {"POP a[1.5]", "1:8 expected ']' after the index | a range has two points: 0..2"},
        {"POP a[1...3]", "1:10 expected ',' or ']' after the range | a range has two points: 0..2"},
        {"POP a[1..2..3]", "1:11 expected ',' or ']' after the range | a range has two points: 0..2"},
        {"POP a[1. .2]", "1:8 expected ']' after the index | a range has two points: 0..2"},
        {"POP a[1--2]",
         "1:8 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"POP a[null]",
         "1:7 expected an index, a range or a key after '[' | an index is a number or a parameter, a text key stands "
         "in "
         "quotes, an extension is written .[pkg.name]"},
    });
}

TEST(Statement, WhatFollowsThePath) {
    Check({
        {"SET a", "1:6 expected '=' or FROM after the path"},
        {"SET a WHERE b", "1:7 expected '=' or FROM after the path | WHERE follows the value"},
        {"SET a == 1", "1:7 expected '=' or FROM after the path | assign with one '='"},
        {"PUSH a 1", "1:8 expected '=' or FROM after the path"},
        {"PUSH a += 1", "1:8 expected '=' or FROM after the path"},
        {"SET a =", "1:8 expected a value after '='"},
        {"SET a = ;", "1:9 expected a value after '='"},
        {"SET a = FROM b",
         "1:9 expected a value after '=' | FROM is a reserved word: a field of that name is written `FROM`"},
        {"SET a FROM", "1:11 expected a field after FROM"},
        {"SET a FROM $.b", "1:12 expected a field after FROM | a path starts with a field of the record, without '$'"},
        {"SET a FROM b WHERE c", "1:14 SET .. FROM takes no WHERE"},
        {"PUSH a FROM b WHERE c", "1:15 PUSH .. FROM takes no WHERE"},
        {"PUSH a = 1 WHERE c", "1:12 PUSH takes no WHERE"},
        {"CLEAR a WHERE c", "1:9 CLEAR takes no WHERE | POP removes chosen elements"},
        {"GET a = 1", "1:7 GET takes no value"},
        {"CLEAR a FROM b", "1:9 CLEAR takes no FROM"},
        {"POP a WHERE", "1:12 expected a value after 'WHERE'"},
        {"POP a WHERE b WHERE c", "1:15 expected an operator, ';' or the end of the text"},
        {"GET a b", "1:7 expected WHERE, ';' or the end of the text"},
        {"CLEAR a b", "1:9 expected ';' or the end of the text"},
        {"SET a = 1 b", "1:11 expected an operator, WHERE, ';' or the end of the text"},
        {"SET a = [1] b", "1:13 expected WHERE, ';' or the end of the text"},
        {"PUSH a = 1 b", "1:12 expected an operator, ';' or the end of the text"},
        {"PUSH a FROM b c", "1:15 expected ';' or the end of the text"},
        {"GET a WHERE b = c = d", "1:19 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"GET a > 1", "1:7 expected WHERE, ';' or the end of the text"},
        {"GET a WHERE b | c", "1:15 '|' is no operator | write || or OR"},
        {"SET a = x '00'", "1:11 expected an operator, WHERE, ';' or the end of the text | bytes are written x'0AFF'"},
    });
}

TEST(Statement, WordsOfOtherLanguages) {
    const std::string expected = "1:1 expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR | ";
    Check({
        {"SELECT a", expected + "GET path reads"},
        {"insert a", expected + "PUSH path = value inserts"},
        {"APPEND a", expected + "PUSH path = value appends"},
        {"DELETE a", expected + "POP path[..] removes elements, CLEAR path empties a field"},
        {"UPDATE a", expected + "SET path = value overwrites"},
    });
}

TEST(Statement, PlacesAndNumbers) {
    const std::string text = " GET a[1] ; SET `b`.[c] FROM d.e -- x\n WHERE_ ;";
    ExprParseContext context;
    StatementList list;
    ExprError error;
    EXPECT_NE(ParseStatements(text, context, list, error), 0);
    const std::string good = " GET a[1] ; SET `b`.[c] FROM d.e -- x\n;";
    ASSERT_EQ(ParseStatements(good, context, list, error), 0);
    ASSERT_EQ(list.statements.size(), 2U);
    const auto cut = [&](int32_t begin, int32_t end) {
        return good.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
    };
    const Statement& get = list.statements[0];
    EXPECT_EQ(get.number, 1);
    EXPECT_EQ(cut(get.begin, get.end), "GET a[1]");
    EXPECT_EQ(cut(get.path.begin, get.path.end), "a[1]");
    EXPECT_EQ(get.path.steps[0].offset, 5);
    EXPECT_EQ(get.path.steps[0].subscript->m_self.m_tokenOffset, 7);
    const Statement& set = list.statements[1];
    EXPECT_EQ(set.number, 2);
    EXPECT_EQ(cut(set.begin, set.end), "SET `b`.[c] FROM d.e");
    EXPECT_EQ(cut(set.path.begin, set.path.end), "`b`.[c]");
    EXPECT_EQ(set.path.steps[0].offset, 17);
    EXPECT_EQ(set.path.steps[1].offset, 20);
    EXPECT_EQ(cut(set.from.begin, set.from.end), "d.e");
}

TEST(Statement, ParametersAreNumberedThroughTheList) {
    ExprParseContext context;
    StatementList list;
    ExprError error;
    ASSERT_EQ(ParseStatements("SET a[?] = ? WHERE b[?] = ?; PUSH c = {d: ?}", context, list, error), 0);
    EXPECT_EQ(list.parameterCount, 5);
    EXPECT_TRUE(list.parameterNames.empty());
    EXPECT_EQ(StatementText(list.statements[0]), "SET a[?1] = ?2 WHERE (= (b[?] ?3) ?4)");
    EXPECT_EQ(StatementText(list.statements[1]), "PUSH c = (MESSAGE (ASSIGN 'd' ?5))");
}

TEST(Statement, NamedParametersAreListedOnce) {
    ExprParseContext context;
    StatementList list;
    ExprError error;
    ASSERT_EQ(ParseStatements("POP a[:b..:a] WHERE x IN :list; SET c = :b", context, list, error), 0);
    EXPECT_EQ(list.parameterCount, 0);
    EXPECT_EQ(list.parameterNames, (std::vector<std::string>{"b", "a", "list"}));
    EXPECT_EQ(Parsed("SET a = ?; SET b = :c"), "1:20 a text has parameters '?' or ':name', not both");
}

// Names ------------------------------------------------------------------------------------------------

// "root:step/step", or the error.
std::string Name(const std::string& text) {
    ExprParseContext context;
    NamePath name;
    ExprError error;
    if (ParseName(text, context, name, error) != 0) {
        return std::to_string(error.column) + " " + error.message;
    }
    const char* const roots[] = {"bare", "element", "record"};
    return std::string(roots[static_cast<int>(name.root)]) + ":" + PathText(name.steps);
}

TEST(ParseName, TakesNamesApart) {
    EXPECT_EQ(Name("a"), "bare:a");
    EXPECT_EQ(Name("$"), "element:");
    EXPECT_EQ(Name("$$"), "record:");
    EXPECT_EQ(Name("$.a[3].b"), "element:a[3]/b");
    EXPECT_EQ(Name("$$.[pkg.ext]['k']"), "record:<pkg.ext>['k']");
    EXPECT_EQ(Name("`in`.not"), "bare:in/not");
    EXPECT_EQ(Name("a[?].b[?]"), "bare:a[?1]/b[?2]");
    EXPECT_EQ(Name("a + b"), "3 expected an operator or the end of the text");
    EXPECT_EQ(Name("in"), "1 expected a value or a condition");
    EXPECT_EQ(Name("5"), "1 expected a value or a condition");
    EXPECT_EQ(Name(""), "1 expected a value or a condition");
}

TEST(ParseName, ReadsWhatExpressionsHold) {
    for (const char* text : {"a", "`from`.from", "$", "$$", "$.[p.x].b['\\x01\\'']",
                             "a[-1].b[true].c[99999999999999999999]", "a[:x].b['é']", "$$.size", "size[0]"}) {
        ExprParseContext context;
        Expr* expr = nullptr;
        ExprError error;
        ASSERT_EQ(Expr::Parse(text, context, expr, error), 0) << text;
        ASSERT_EQ(expr->m_self.m_type, EXPR_UNRESOLVE) << text;
        EXPECT_EQ(Name(expr->m_self.m_str), Name(text));
    }
}

}  // namespace
