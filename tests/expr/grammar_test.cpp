// Values and conditions: what each text parses to, and where and why others do not.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/err_code.h"
#include "expr/parse_context.h"
#include "expr/statement.h"
#include "tree_text.h"

namespace {

using namespace OstraneCommon;
using OstraneTests::TreeText;

// "(AND a b)", or "1:5 expected ... | hint" of a text that does not parse.
std::string Parsed(const std::string& text) {
    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    const int ret = Expr::Parse(text, context, expr, error);
    if (ret == 0) {
        return TreeText(expr);
    }
    const bool isUnknown = error.message.compare(0, 20, "there is no function") == 0;
    EXPECT_EQ(ret, isUnknown ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME
                             : OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX);
    EXPECT_EQ(error.code, ret);
    EXPECT_EQ(expr, nullptr);
    EXPECT_LE(error.offset + error.length, text.size());
    const std::string place = std::to_string(error.line) + ":" + std::to_string(error.column);
    return place + " " + error.message + (error.hint.empty() ? "" : " | " + error.hint);
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

std::string Repeat(const std::string& text, int count) {
    std::string out;
    for (int i = 0; i < count; ++i) {
        out += text;
    }
    return out;
}

TEST(Grammar, Integers) {
    Check({
        {"0", "0"},
        {"7", "7"},
        {"-7", "-7"},
        {"-0", "0"},
        {"007", "7"},
        {"-007", "-7"},
        {"18446744073709551615", "18446744073709551615"},
        {"-9223372036854775808", "-9223372036854775808"},
        {"0x1F", "31"},
        {"0XfF", "255"},
        {"-0x10", "-16"},
        {"0xFFFFFFFFFFFFFFFF", "18446744073709551615"},
        {"- 7", "(- 7)"},
        {"18446744073709551616", "1:1 the integer does not fit 64 bits | write 1e20 for a floating-point number"},
        {"-9223372036854775809", "1:1 the integer does not fit 64 bits | write 1e20 for a floating-point number"},
        {"0x10000000000000000", "1:1 the integer does not fit 64 bits | write 1e20 for a floating-point number"},
        {"0x", "1:3 expected hexadecimal digits after 0x"},
        {"0xg", "1:3 expected hexadecimal digits after 0x"},
        {"+7", "1:1 expected a value or a condition | a number is written without '+'"},
        {"7a", "1:2 unexpected 'a' after the number"},
        {"0x1g", "1:4 unexpected 'g' after the number"},
        {"a = 10AND b", "1:7 unexpected 'AND' after the number"},
    });
}

TEST(Grammar, Floats) {
    Check({
        {"1.5", "f0x1.8p+0"},
        {"-1.5", "f-0x1.8p+0"},
        {"0.0", "f0x0p+0"},
        {"-0.0", "f-0x0p+0"},
        {"1e3", "f0x1.f4p+9"},
        {"1E+3", "f0x1.f4p+9"},
        {"1.5e-1", "f0x1.3333333333333p-3"},
        {"1e-400", "f0x0p+0"},
        {"inf", "finf"},
        {"INF", "finf"},
        {"-inf", "f-inf"},
        {"- inf", "(- finf)"},
        {"nan", "fnan"},
        {"-nan", "f-nan"},
        {"-infinity", "(- infinity)"},
        {"18446744073709551616.0", "f0x1p+64"},
        {"1.", "1:3 expected a digit after the point"},
        {"1.e3", "1:3 expected a digit after the point"},
        {".5", "1:1 expected a value or a condition | a digit stands before the point: 0.5"},
        {"1e", "1:3 expected digits in the exponent"},
        {"1e+", "1:4 expected digits in the exponent"},
        {"1.5.2", "1:4 expected an operator or the end of the text"},
        {"5..2", "1:2 expected an operator or the end of the text"},
        {"1.5f", "1:4 unexpected 'f' after the number"},
        {"1e400", "1:1 the number is too large for a double"},
        {"-1e400", "1:1 the number is too large for a double"},
    });
}

TEST(Grammar, Strings) {
    Check({
        {"''", "''"},
        {"\"\"", "''"},
        {"'it''s'", "1:5 expected an operator or the end of the text"},
        {"'say \"hi\"'", "'say \"hi\"'"},
        {"\"it's\"", "'it's'"},
        {"'a -- b'", "'a -- b'"},
        {R"('\n\t\r\\\'\"')", "#0A090D5C2722"},
        {R"('\x00\xff\xFF')", "#00FFFF"},
        {R"('\u00e9\u20AC')", "#C3A9E282AC"},
        {R"('\U0001F600\U0010ffff')", "#F09F9880F48FBFBF"},
        {"'two\nlines'", "#74776F0A6C696E6573"},
        {std::string("'\0'", 3), "#00"},
        {"'\xff\xc3'", "#FFC3"},
        {"'abc", "1:1 the string is not closed"},
        {"a = \"abc'", "1:5 the string is not closed"},
        {R"('abc\')", "1:1 the string is not closed"},
        {R"('\)", "1:1 the string is not closed"},
        {R"('a\qb')", R"(1:3 unknown escape in a string | a backslash is written \\)"},
        {R"('\0')", R"(1:2 unknown escape in a string | a backslash is written \\)"},
        {R"('\x4')", R"(1:2 expected two digits after \x, four after \u, eight after \U)"},
        {R"('\u12')", R"(1:2 expected two digits after \x, four after \u, eight after \U)"},
        {R"('\U0001F60')", R"(1:2 expected two digits after \x, four after \u, eight after \U)"},
        {R"('é\uD83D')", R"(1:3 the escape is no Unicode character | beyond \uFFFF write \U0001F600)"},
        {R"('\U00110000')", R"(1:2 the escape is no Unicode character | beyond \uFFFF write \U0001F600)"},
    });
}

TEST(Grammar, Bytes) {
    Check({
        {"x''", "x"},
        {"x'0AfF'", "x0AFF"},
        {"X'00'", "x00"},
        {"x'0'", "1:1 bytes have two hexadecimal digits each"},
        {"x'0AF'", "1:1 bytes have two hexadecimal digits each"},
        {"x'0G'", "1:4 expected hexadecimal digits in the bytes"},
        {"x'0A", "1:2 the string is not closed"},
        {"x\"0A\"", "1:2 bytes stand between single quotes | write x'0AFF'"},
        {"x '0A'", "1:3 expected an operator or the end of the text | bytes are written x'0AFF'"},
        {"x = x'01'", "(= x x01)"},
    });
}

TEST(Grammar, Words) {
    Check({
        {"true", "true"},
        {"False", "false"},
        {"NULL", "null"},
        {"truex", "truex"},
        {"nullable", "nullable"},
        {"NOTx", "NOTx"},
        {"NOT x", "(NOT x)"},
        {"not(x)", "(NOT x)"},
        {"x and y", "(AND x y)"},
        {"xANDy", "xANDy"},
        {"x AND(y)", "(AND x y)"},
    });
}

TEST(Grammar, Parameters) {
    Check({
        {"?", "?1"},
        {"? + ? + ?", "(+ (+ ?1 ?2) ?3)"},
        {":now", ":now"},
        {":from + :from", "(+ :from :from)"},
        {"a[?] + ?", "(+ (a[?] ?1) ?2)"},
        {"?1", "1:2 expected an operator or the end of the text"},
        {":", "1:2 expected a name right after ':'"},
        {": now", "1:2 expected a name right after ':'"},
        {":1", "1:2 expected a name right after ':' | a range is written 0..2"},
        {"? = :now", "1:5 a text has parameters '?' or ':name', not both"},
        {":now = ?", "1:8 a text has parameters '?' or ':name', not both"},
        {"a[?] = :x", "1:8 a text has parameters '?' or ':name', not both"},
    });
}

TEST(Grammar, Names) {
    Check({
        {"a", "a"},
        {"_a1.B_2", "_a1.B_2"},
        {" a . b [ 3 ] . c ", "a.b[3].c"},
        {"$", "$"},
        {"$.a", "$.a"},
        {"$$.a.b", "$$.a.b"},
        {"$$", "$$"},
        {"$ .a", "$.a"},
        {"`a`", "a"},
        {"`in`", "`in`"},
        {"`In`", "`In`"},
        {"a.in", "a.in"},
        {"a.`in`", "a.in"},
        {"$.where", "$.where"},
        {"size", "size"},
        {"coalesce.size", "coalesce.size"},
        {"x", "x"},
        {"a.[pkg.ext]", "a.[pkg.ext]"},
        {"$.[ pkg.ext ].b", "$.[pkg.ext].b"},
        {"$$.[ext][1]", "$$.[ext][1]"},
        {"in", "1:1 expected a value or a condition | IN is a reserved word: a field of that name is written `in`"},
        {"a = from",
         "1:5 expected a value after '=' | FROM is a reserved word: a field of that name is written `from`"},
        {"a.", "1:3 expected a name after '.'"},
        {"a.1", "1:3 expected a name after '.' | an element is written tags[0]"},
        {"a..b", "1:3 expected a name after '.'"},
        {"`a", "1:3 expected a name and a closing '`'"},
        {"`a b`", "1:3 expected a name and a closing '`'"},
        {"``", "1:2 expected a name and a closing '`'"},
        {"$a", "1:1 expected '.' after '$' | a field of the element is written $.name"},
        {"$$$", "1:1 expected '.' after '$' | an extension is written $.[pkg.name]"},
        {"$[0]", "1:1 expected '.' after '$' | an extension is written $.[pkg.name]"},
        {"$ [0]", "1:1 expected '.' after '$' | an extension is written $.[pkg.name]"},
        {"[pkg.ext] = 1", "1:11 expected the end of the text | an extension is written $.[pkg.name]"},
        {"a = [pkg.ext]",
         "1:5 expected a value after '=' | an extension is written $.[pkg.name], and a list stands alone or after IN"},
        {"a.[]", "1:4 expected the extension's full name after '[' | an extension is written .[pkg.name]"},
        {"a.[pkg.]", "1:7 expected ']' after the extension's name"},
        {"a.[pkg.ext", "1:11 expected ']' after the extension's name"},
        {"a[ext]",
         "1:3 expected an index, a range or a key after '[' | an index is a number or a parameter, a text key stands "
         "in "
         "quotes, an extension is written .[pkg.name]"},
    });
}

TEST(Grammar, IndexesAndKeysInNames) {
    Check({
        {"a[3]", "a[3]"},
        {"a[-1]", "a[-1]"},
        {"a[007]", "a[7]"},
        {"a[-0]", "a[0]"},
        {"a[18446744073709551615]", "a[18446744073709551615]"},
        {"a[-9223372036854775808]", "a[-9223372036854775808]"},
        {"a[99999999999999999999]", "a[99999999999999999999]"},
        {"a[-99999999999999999999]", "a[-99999999999999999999]"},
        {"a[00000000000000000000000]", "a[0]"},
        {"a['hp']", "a['hp']"},
        {"a[\"it's\"]", "a['it\\'s']"},
        {"a[true].b[FALSE]", "a[true].b[false]"},
        {"a[?].b[?]", "(a[?].b[?] ?1 ?2)"},
        {"a[:k]", "(a[:k] :k)"},
        {"a[1][2]", "1:5 a field takes one index or selector"},
        {"a[]", "1:3 expected an index, a range or a key after '[' | [*] selects every element"},
        {"a[1", "1:4 expected ']' after the index"},
        {"a['k'", "1:6 expected ']' after the key"},
        {"a[+1]", "1:3 expected an index, a range or a key after '[' | an index is written without '+'"},
        {"a[- 1]", "1:3 expected a digit right after '-'"},
        {"a[0x1]", "1:4 expected ']' after the index | index numbers are decimal"},
        {"a[1.5]", "1:4 expected ']' after the index | a range has two points: 0..2"},
        {"a[*]", "1:3 expected an index, a range or a key after '[' | an expression reads one element, not a range"},
        {"a[0..1]", "1:4 expected ']' after the index | an expression reads one element, not a range"},
        {"a[..1]", "1:3 expected an index, a range or a key after '[' | an expression reads one element, not a range"},
        {"a[0, 1]", "1:4 expected ']' after the index | an expression reads one element, not several"},
        {"a[b]",
         "1:3 expected an index, a range or a key after '[' | an index is a number or a parameter, a text key stands "
         "in "
         "quotes, an extension is written .[pkg.name]"},
    });
}

TEST(Grammar, Operators) {
    Check({
        {"a = b", "(= a b)"},
        {"a == b", "(= a b)"},
        {"a != b", "(<> a b)"},
        {"a <> b", "(<> a b)"},
        {"a < b", "(< a b)"},
        {"a <= b", "(<= a b)"},
        {"a > b", "(> a b)"},
        {"a >= b", "(>= a b)"},
        {"a<b", "(< a b)"},
        {"a<=-1", "(<= a -1)"},
        {"a + b", "(+ a b)"},
        {"a - b", "(- a b)"},
        {"a-1", "(- a 1)"},
        {"a - -1", "(- a -1)"},
        {"a * b", "(* a b)"},
        {"a / b", "(/ a b)"},
        {"a & b", "(& a b)"},
        {"-a", "(- a)"},
        {"- -1", "(- -1)"},
        {"~a", "(~ a)"},
        {"~-~a", "(~ (- (~ a)))"},
        {"NOT a", "(NOT a)"},
        {"!a", "(NOT a)"},
        {"!!a", "(NOT (NOT a))"},
        {"NOT NOT a", "(NOT (NOT a))"},
        {"a AND b", "(AND a b)"},
        {"a && b", "(AND a b)"},
        {"a OR b", "(OR a b)"},
        {"a || b", "(OR a b)"},
        {"a IS NULL", "(= a null)"},
        {"a IS NOT NULL", "(<> a null)"},
        {"a LIKE 'b%'", "(LIKE a 'b%')"},
        {"a NOT LIKE b", "(NOT-LIKE a b)"},
        {"a CONTAINS 1", "(CONTAINS a 1)"},
        {"a NOT CONTAINS 1", "(NOT-CONTAINS a 1)"},
        {"a BETWEEN 1 AND 2", "(BETWEEN a 1 2)"},
        {"a NOT BETWEEN 1 AND 2", "(NOT (BETWEEN a 1 2))"},
        {"a IN (1)", "(IN a (LIST 1))"},
        {"a IN (1, b + 2, null)", "(IN a (LIST 1 (+ b 2) null))"},
        {"a IN (b = 1, c OR d)", "(IN a (LIST (= b 1) (OR c d)))"},
        {"a IN [1, 2]", "(IN a (LIST 1 2))"},
        {"a NOT IN (1, 2)", "(NOT-IN a (LIST 1 2))"},
        {"a IN tags", "(IN a tags)"},
        {"a IN (tags)", "(IN a (LIST tags))"},
        {"a IN $.tags", "(IN a $.tags)"},
        {"a IN `in`.b", "(IN a `in`.b)"},
        {"a IN :list", "(IN a :list)"},
        {"a IN ?", "(IN a ?1)"},
        {"size(a)", "(CALL 'size' a)"},
        {"SIZE (a)", "(CALL 'size' a)"},
        {"size(a) = 0", "(= (CALL 'size' a) 0)"},
        {"coalesce(a)", "(CALL 'coalesce' a)"},
        {"coalesce(a, b + 1, c = 2)", "(CALL 'coalesce' a (+ b 1) (= c 2))"},
        {"NULL IS NULL", "(= null null)"},
    });
}

TEST(Grammar, Precedence) {
    Check({
        // Looser and tighter neighbours
        {"a OR b AND c", "(OR a (AND b c))"},
        {"a AND b OR c", "(OR (AND a b) c)"},
        {"NOT a AND b", "(AND (NOT a) b)"},
        {"a AND NOT b OR NOT c", "(OR (AND a (NOT b)) (NOT c))"},
        {"NOT a = b", "(NOT (= a b))"},
        {"NOT a IS NULL", "(NOT (= a null))"},
        {"!a IN (1)", "(NOT (IN a (LIST 1)))"},
        {"a = b & c", "(= a (& b c))"},
        {"a & b = c", "(= (& a b) c)"},
        {"a & b + c", "(& a (+ b c))"},
        {"a + b & c", "(& (+ a b) c)"},
        {"a + b * c", "(+ a (* b c))"},
        {"a * b + c", "(+ (* a b) c)"},
        {"-a * b", "(* (- a) b)"},
        {"a * -b", "(* a (- b))"},
        {"a - -b", "(- a (- b))"},
        {"~a & b", "(& (~ a) b)"},
        {"-5 * 2", "(* -5 2)"},
        // From the left
        {"a - b - c", "(- (- a b) c)"},
        {"a - b + c", "(+ (- a b) c)"},
        {"a / b * c", "(* (/ a b) c)"},
        {"a & b & c", "(& (& a b) c)"},
        // A chain of AND or OR is one node; parentheses keep theirs
        {"a AND b AND c AND d", "(AND a b c d)"},
        {"a OR b || c", "(OR a b c)"},
        {"(a AND b) AND c", "(AND (AND a b) c)"},
        {"a AND (b AND c)", "(AND a (AND b c))"},
        // BETWEEN
        {"a BETWEEN 1 AND 2 AND b", "(AND (BETWEEN a 1 2) b)"},
        {"a BETWEEN 1 & 3 AND 2 + 1 OR b", "(OR (BETWEEN a (& 1 3) (+ 2 1)) b)"},
        {"NOT a BETWEEN 1 AND 2", "(NOT (BETWEEN a 1 2))"},
        {"a + 1 BETWEEN b AND c", "(BETWEEN (+ a 1) b c)"},
        // Parentheses
        {"(a OR b) AND c", "(AND (OR a b) c)"},
        {"(a = b) = c", "(= (= a b) c)"},
        {"(a + b) * c", "(* (+ a b) c)"},
        {"((a))", "a"},
        {"-(a)", "(- a)"},
        {"(NOT a) = b", "(= (NOT a) b)"},
    });
}

TEST(Grammar, OperatorFaults) {
    Check({
        // Missing operands
        {"", "1:1 expected a value or a condition"},
        {"   ", "1:1 expected a value or a condition"},
        {"a =", "1:4 expected a value after '='"},
        {"a = \n", "1:4 expected a value after '='"},
        {"a = -- b", "1:4 expected a value after '='"},
        {"a AND", "1:6 expected a value after 'AND'"},
        {"a and or b",
         "1:7 expected a value after 'AND' | OR is a reserved word: a field of that name is written `or`"},
        {"a && && b", "1:6 expected a value after '&&'"},
        {"* a",
         "1:1 expected a value or a condition | "
         "between double quotes a shell replaces $: put statements between single quotes"},
        {"4711.level = 3",
         "1:6 expected a digit after the point | "
         "between double quotes a shell replaces $: put statements between single quotes"},
        {".a = 3",
         "1:1 expected a value or a condition | a field of the element is written by its name alone, or $.name"},
        {"-", "1:2 expected a value after '-'"},
        {"NOT", "1:4 expected a value after 'NOT'"},
        {"(", "1:2 expected a value after '('"},
        {"()", "1:2 expected a value after '('"},
        {"a = {b: 1}", "1:5 expected a value after '=' | {..} stands alone, as the value of a field or of an element"},
        // What is no operator, or no longer one
        {"a | b", "1:3 '|' is no operator | write || or OR"},
        {"(a | b)", "1:4 '|' is no operator | write || or OR"},
        {"a =< b", "1:4 expected a value after '=' | write <="},
        {"a => b", "1:4 expected a value after '=' | write >="},
        {"a ! = b", "1:3 expected an operator or the end of the text"},
        {"a < > b", "1:5 expected a value after '<'"},
        {"a ^ b", "1:3 expected an operator or the end of the text"},
        {"a b", "1:3 expected an operator or the end of the text"},
        {"a)", "1:2 expected an operator or the end of the text"},
        {"(a", "1:3 expected ')'"},
        {"(a, b)", "1:3 expected ')'"},
        {"a;", "1:2 expected an operator or the end of the text"},
        {"a = NOT b", "1:5 expected a value after '=' | put NOT and what it negates in parentheses"},
        {"a = !b", "1:5 expected a value after '=' | put NOT and what it negates in parentheses"},
        {"!= b", "1:1 expected a value or a condition"},
        // Chains
        {"a = b = c", "1:7 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"a < b <= c", "1:7 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"a IS NULL = b", "1:11 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"a IN (1) IN (2)", "1:10 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"a BETWEEN 1 AND 2 = b", "1:19 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"(a LIKE b LIKE c)", "1:11 comparisons do not chain | join them with AND, or put one in parentheses"},
        {"a = b NOT IN (1)", "1:7 comparisons do not chain | join them with AND, or put one in parentheses"},
        // NULL
        {"x = NULL", "1:5 a comparison with NULL is never true | write x IS NULL"},
        {"x <> null", "1:6 a comparison with NULL is never true | write x IS NOT NULL"},
        {"NULL = $.a", "1:1 a comparison with NULL is never true | write $.a IS NULL"},
        {"x + 1 < NULL", "1:9 a comparison with NULL is never true | write x IS NULL"},
        {"x = (NULL)", "1:6 a comparison with NULL is never true | write x IS NULL"},
        // Words
        {"a IS", "1:5 expected NULL or NOT NULL after IS | compare with = or <>"},
        {"a IS 5", "1:6 expected NULL or NOT NULL after IS | compare with = or <>"},
        {"a IS NOT 5", "1:10 expected NULL or NOT NULL after IS | compare with = or <>"},
        {"a NOT b", "1:7 expected IN, BETWEEN, LIKE or CONTAINS after NOT"},
        {"a BETWEEN 1", "1:12 expected AND after the lower bound of BETWEEN"},
        {"a BETWEEN 1 OR 2", "1:13 expected AND after the lower bound of BETWEEN"},
        {"a BETWEEN 1 AND", "1:16 expected a value after 'AND'"},
        {"a BETWEEN b = c AND d", "1:13 expected AND after the lower bound of BETWEEN"},
        // IN
        {"a IN ()", "1:7 the list of IN is empty"},
        {"a IN []", "1:7 the list of IN is empty"},
        {"a NOT IN ( )", "1:12 the list of IN is empty"},
        {"a IN 5", "1:6 expected a list, a field or a parameter after IN | write IN (a, b)"},
        {"a IN", "1:5 expected a list, a field or a parameter after IN | write IN (a, b)"},
        {"a IN (1,)", "1:9 expected a value after ',' | leave the last comma out"},
        {"a IN (1 2)", "1:9 expected ')'"},
        {"a IN [1)", "1:8 expected ',' or ']' after the value"},
        // Functions
        {"now()", "1:1 there is no function 'now' | the functions are size and coalesce"},
        {"foo(a)", "1:1 there is no function 'foo' | the functions are size and coalesce"},
        {"`size`(a)", "1:7 expected an operator or the end of the text"},
        {"a.size(b)", "1:7 expected an operator or the end of the text"},
        {"size()", "1:6 expected a value after '('"},
        {"size(a, b)", "1:1 size takes one argument"},
        {"coalesce()", "1:10 expected a value after '('"},
        {"coalesce(a,)", "1:12 expected a value after ',' | leave the last comma out"},
        {"coalesce(a", "1:11 expected ',' or ')' after the argument"},
    });
}

TEST(Grammar, ListsAndMessages) {
    Check({
        {"[]", "(LIST)"},
        {"[1, 'a', x'00', null, a + 1]", "(LIST 1 'a' x00 null (+ a 1))"},
        {"[[1], {}]", "(LIST (LIST 1) (MESSAGE))"},
        {"{}", "(MESSAGE)"},
        {"{a: 1}", "(MESSAGE (ASSIGN 'a' 1))"},
        {"{a = 1}", "(MESSAGE (ASSIGN 'a' 1))"},
        {"{a:b}", "(MESSAGE (ASSIGN 'a' b))"},
        {"{a: :b}", "(MESSAGE (ASSIGN 'a' :b))"},
        {"{a::b}", "(MESSAGE (ASSIGN 'a' :b))"},
        {"{a=:b}", "(MESSAGE (ASSIGN 'a' :b))"},
        {"{a: b = 1}", "(MESSAGE (ASSIGN 'a' (= b 1)))"},
        {"{a: {b: [1, {c: null}]}, d = ?}",
         "(MESSAGE (ASSIGN 'a' (MESSAGE (ASSIGN 'b' (LIST 1 (MESSAGE (ASSIGN 'c' null)))))) (ASSIGN 'd' ?1))"},
        // Keys
        {"{from: 1, NULL: 2, inf: 3}", "(MESSAGE (ASSIGN 'from' 1) (ASSIGN 'NULL' 2) (ASSIGN 'inf' 3))"},
        {"{`from`: 1, `a`: 2}", "(MESSAGE (ASSIGN 'from' 1) (ASSIGN 'a' 2))"},
        {"{'hp': 5, \"mp\": 6}", "(MESSAGE (ASSIGN key:'hp' 5) (ASSIGN key:'mp' 6))"},
        {"{7: 1, -7: 2, 0x10: 3}", "(MESSAGE (ASSIGN key:7 1) (ASSIGN key:-7 2) (ASSIGN key:16 3))"},
        {"{true: 1, False: 2}", "(MESSAGE (ASSIGN 'true' key:true 1) (ASSIGN 'False' key:false 2))"},
        {"{`true`: 1}", "(MESSAGE (ASSIGN 'true' 1))"},
        {"{:k: 1}", "(MESSAGE (ASSIGN key::k 1))"},
        {"{?: ?}", "(MESSAGE (ASSIGN key:?1 ?2))"},
        {"{[pkg.ext]: 1}", "(MESSAGE (ASSIGN '[pkg.ext]' 1))"},
        {"{x: x'00'}", "(MESSAGE (ASSIGN 'x' x00))"},
        // Faults
        {"[1,]", "1:4 expected a value after ',' | leave the last comma out"},
        {"[,]", "1:2 expected a value after '['"},
        {"[1", "1:3 expected ',' or ']' after the value"},
        {"[1 2]", "1:4 expected ',' or ']' after the value"},
        {"[1}", "1:3 expected ',' or ']' after the value"},
        {"{a: 1,}", "1:7 expected a name or a key | leave the last comma out"},
        {"{", "1:2 expected a name or a key"},
        {"{1.5 2: 1}", "1:6 expected ':' or '=' after the key"},
        {"{a}", "1:3 expected ':' or '=' after the key"},
        {"{a == 1}", "1:4 expected ':' or '=' after the key"},
        {"{a.b: 1}", "1:3 expected ':' or '=' after the key | a nested field is written {a: {b: 1}}"},
        {"{a: }", "1:5 expected a value after ':'"},
        {"{a: 1 b: 2}", "1:7 expected ',' or '}' after the value"},
        {"{a: 1]", "1:6 expected ',' or '}' after the value"},
        {"{a: {b: 1}", "1:11 expected ',' or '}' after the value"},
        {"[1] = [2]", "1:5 expected the end of the text | an extension is written $.[pkg.name]"},
        {"{} 1", "1:4 expected the end of the text"},
    });
}

TEST(Grammar, BlanksAndComments) {
    Check({
        {"\t\r\n\v\f a \n", "a"},
        {"-- first\na", "a"},
        {"--\na", "a"},
        {"a --", "a"},
        {"a -- b", "a"},
        {"a --\tb", "a"},
        {"a -- b\n-- c\n = -- d\r\n1", "(= a 1)"},
        {"a -- 'b", "a"},
        {"a--1", "1:2 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"a --1", "1:3 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"a-- 1", "1:2 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"--1", "1:1 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"(-- a\n1)",
         "1:2 '--' starts a comment only behind a space and before one | write a - -1 for two minus signs"},
        {"a[1 -- x\n]", "a[1]"},
        {std::string("a \0 b", 5), "1:3 expected an operator or the end of the text"},
        {std::string("\0", 1), "1:1 expected a value or a condition"},
        {"é", "1:1 expected a value or a condition"},
        {"a = 'é' ü", "1:9 expected an operator or the end of the text"},
        {"\xff", "1:1 expected a value or a condition"},
        {"a = \n  'b' c", "2:7 expected an operator or the end of the text"},
    });
}

TEST(Grammar, OffsetsPointAtTokens) {
    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    ASSERT_EQ(Expr::Parse("  a + size( $.b ) = -5", context, expr, error), 0);
    EXPECT_EQ(expr->m_self.m_tokenOffset, 18);                                            // =
    EXPECT_EQ(expr->OperandRef(1).m_self.m_tokenOffset, 20);                              // -5
    EXPECT_EQ(expr->OperandRef(0).m_self.m_tokenOffset, 4);                               // +
    EXPECT_EQ(expr->OperandRef(0).OperandRef(0).m_self.m_tokenOffset, 2);                 // a
    EXPECT_EQ(expr->OperandRef(0).OperandRef(1).m_self.m_tokenOffset, 6);                 // size
    EXPECT_EQ(expr->OperandRef(0).OperandRef(1).OperandRef(0).m_self.m_tokenOffset, 12);  // $.b
}

TEST(Grammar, TheErrorSpansTheOffendingToken) {
    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    ASSERT_NE(Expr::Parse("a = where", context, expr, error), 0);
    EXPECT_EQ(error.offset, 4U);
    EXPECT_EQ(error.length, 5U);
    ASSERT_NE(Expr::Parse("a = \xC3\xA9 ", context, expr, error), 0);
    EXPECT_EQ(error.offset, 4U);
    EXPECT_EQ(error.length, 2U);
    ASSERT_NE(Expr::Parse("a =  ", context, expr, error), 0);
    EXPECT_EQ(error.offset, 3U);
    EXPECT_EQ(error.length, 0U);
}

// Limits -----------------------------------------------------------------------------------------------

constexpr char TOO_DEEP[] = "brackets or operators are nested deeper than 200 levels";

// "" when the text parses, else the message with its offset.
std::string Fault(const std::string& text) {
    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    if (Expr::Parse(text, context, expr, error) == 0) {
        return "";
    }
    return std::to_string(error.offset) + " " + error.message;
}

TEST(GrammarLimits, TwoHundredLevelsOfEachKind) {
    struct Nest {
        std::string open;
        std::string close;
    };
    for (const Nest& nest : std::vector<Nest>{{"(", ")"},
                                              {"[", "]"},
                                              {"{a:", "}"},
                                              {"-(", ")"},
                                              {"NOT (", ")"},
                                              {"size(", ")"},
                                              {"- ", ""},
                                              {"~", ""},
                                              {"NOT ", ""},
                                              {"!", ""},
                                              {"1 + (", ")"}}) {
        const auto text = [&](int depth) { return Repeat(nest.open, depth) + "a" + Repeat(nest.close, depth); };
        EXPECT_EQ(Fault(text(200)), "") << nest.open;
        const std::string fault = Fault(text(201));
        EXPECT_NE(fault.find(TOO_DEEP), std::string::npos) << nest.open << fault;
    }
}

TEST(GrammarLimits, TheFirstBracketTooDeepIsNamed) {
    EXPECT_EQ(Fault(Repeat("(", 300)), std::string("200 ") + TOO_DEEP);
    EXPECT_EQ(Fault(Repeat("(", 1000000)), std::string("200 ") + TOO_DEEP);
    EXPECT_EQ(Fault(Repeat("{a:", 1000000)), std::string("600 ") + TOO_DEEP);
    EXPECT_EQ(Fault(Repeat("!", 1000000)), std::string("200 ") + TOO_DEEP);
}

TEST(GrammarLimits, LongChainsOfArithmeticNestToo) {
    EXPECT_EQ(Fault("a" + Repeat(" + a", 200)), "");
    EXPECT_EQ(Fault("a" + Repeat(" + a", 201)), std::to_string(2 + 4 * 200) + " " + TOO_DEEP);
    EXPECT_EQ(Fault("a" + Repeat(" & a", 201)), std::to_string(2 + 4 * 200) + " " + TOO_DEEP);
}

TEST(GrammarLimits, ChainsOfAndAndOrDoNotNest) {
    EXPECT_EQ(Fault("a" + Repeat(" OR a", 10000)), "");
    EXPECT_EQ(Fault("a" + Repeat(" AND a", 10000)), "");
}

TEST(GrammarLimits, OneMillionNodes) {
    // The steps of a name count, which take as much memory; so does the name itself.
    EXPECT_EQ(Fault("[a" + Repeat(".a", 999996) + ", 1]"), "");
    EXPECT_EQ(Fault("[a" + Repeat(".a", 999996) + ", 1, 2]"),
              "1999999 the text has more than one million names, values and operators");
}

TEST(GrammarLimits, SixteenMebibytes) {
    const size_t limit = size_t{16} << 20;
    EXPECT_EQ(Fault("a -- " + std::string(limit - 5, 'x')), "");
    EXPECT_EQ(Fault("a -- " + std::string(limit - 4, 'x')), "0 the text is longer than 16 MiB");
    EXPECT_EQ(Fault(std::string(limit, '\0')), "0 expected a value or a condition");
}

// Each level of brackets costs the same number of nodes and no more tokens: counted, not timed.
TEST(GrammarLimits, NothingIsReadTwice) {
    const auto nodes = [](int depth) {
        ExprParseContext context;
        Expr* expr = nullptr;
        ExprError error;
        EXPECT_EQ(Expr::Parse(Repeat("-(a & ", depth) + "a" + Repeat(")", depth), context, expr, error), 0);
        return context.NodeCount();
    };
    EXPECT_EQ(nodes(10), 31U);
    EXPECT_EQ(nodes(20), 61U);
    EXPECT_EQ(nodes(100), 301U);
}

}  // namespace
