// What is said about a text that does not parse: one sentence about what was expected at the place, and
// a hint where the next token tells what was meant. Only a failed parse comes here.
#include <algorithm>

#include "expr/code_point.h"
#include "expr/literal_text.h"
#include "expr/name_hint.h"
#include "expr/parse_builder.h"

namespace OstraneCommon {
namespace {

struct Sentence {
    Fault fault;
    const char* message;
    const char* hint;
};

// The faults whose sentence is the same wherever they occur.
constexpr Sentence SENTENCES[] = {
    {Fault::TextTooLong, "the text is longer than 16 MiB", ""},
    {Fault::TooDeep, "brackets or operators are nested deeper than 200 levels", ""},
    {Fault::TooManyNodes, "the text has more than one million names, values and operators", ""},
    {Fault::CommentPlace, "'--' starts a comment only behind a space and before one",
     "write a - -1 for two minus signs"},
    {Fault::QuotedName, "expected a name and a closing '`'", ""},
    {Fault::ExtensionName, "expected the extension's full name after '['", "an extension is written .[pkg.name]"},
    {Fault::ExtensionClose, "expected ']' after the extension's name", ""},
    {Fault::RangeMissing, "expected an index or a range after ','", ""},
    {Fault::RangeEndMissing, "expected an index after '..'", "[*] selects every element"},
    {Fault::BetweenAnd, "expected AND after the lower bound of BETWEEN", ""},
    {Fault::IsWhat, "expected NULL or NOT NULL after IS", "compare with = or <>"},
    {Fault::NotWhat, "expected IN, BETWEEN, LIKE or CONTAINS after NOT", ""},
    {Fault::InWhat, "expected a list, a field or a parameter after IN", "write IN (a, b)"},
    {Fault::InEmpty, "the list of IN is empty", ""},
    {Fault::SizeArguments, "size takes one argument", ""},
    {Fault::ParameterMix, "a text has parameters '?' or ':name', not both", ""},
    {Fault::ExponentDigits, "expected digits in the exponent", ""},
    {Fault::HexDigits, "expected hexadecimal digits after 0x", ""},
    {Fault::IntegerRange, "the integer does not fit 64 bits", "write 1e20 for a floating-point number"},
    {Fault::FloatRange, "the number is too large for a double", ""},
    {Fault::StringOpen, "the string is not closed", ""},
    {Fault::EscapeUnknown, "unknown escape in a string", "a backslash is written \\\\"},
    {Fault::EscapeDigits, "expected two digits after \\x, four after \\u, eight after \\U", ""},
    {Fault::EscapeCodePoint, "the escape is no Unicode character", "beyond \\uFFFF write \\U0001F600"},
    {Fault::BytesQuote, "bytes stand between single quotes", "write x'0AFF'"},
    {Fault::BytesDigits, "expected hexadecimal digits in the bytes", ""},
    {Fault::BytesOdd, "bytes have two hexadecimal digits each", ""},
};

// What other languages call the statements.
struct Synonym {
    const char* word;
    const char* hint;
};
constexpr Synonym SYNONYMS[] = {
    {"SELECT", "GET path reads"},
    {"INSERT", "PUSH path = value inserts"},
    {"ADD", "PUSH path = value inserts"},
    {"APPEND", "PUSH path = value appends"},
    {"DELETE", "POP path[..] removes elements, CLEAR path empties a field"},
    {"REMOVE", "POP path[..] removes elements, CLEAR path empties a field"},
    {"UPDATE", "SET path = value overwrites"},
};

// A text that came through a shell with $ in it: "$*2" arrives as 2 or *2, "$$.level" as 4711.level.
constexpr char SHELL_HINT[] = "between double quotes a shell replaces $: put statements between single quotes";

bool IsNameByte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string Upper(std::string word) {
    for (char& c : word) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return word;
}

const char* KindName(StatementKind kind) {
    switch (kind) {
        case StatementKind::Get:
            return "GET";
        case StatementKind::Take:
            return "TAKE";
        case StatementKind::Pop:
            return "POP";
        case StatementKind::Set:
            return "SET";
        case StatementKind::Push:
            return "PUSH";
        case StatementKind::Clear:
            return "CLEAR";
    }
    return "";
}

bool IsPair(const char* at) {
    for (const char* pair : {"&&", "||", "!=", "<=", ">=", "<>", "==", ".."}) {
        if (at[0] == pair[0] && at[1] == pair[1]) {
            return true;
        }
    }
    return false;
}

bool IsComparison(const std::string& token) {
    const std::string word = Upper(token);
    for (const char* comparison :
         {"=", "==", "!=", "<>", "<", "<=", ">", ">=", "IN", "BETWEEN", "LIKE", "CONTAINS", "IS", "NOT"}) {
        if (word == comparison) {
            return true;
        }
    }
    return false;
}

// Word processors put these in the place of ' and ": U+2018 to U+201F.
bool IsTypographicQuote(const std::string& token) {
    return token.size() == 3 && token.compare(0, 2, "\xE2\x80") == 0 && token[2] >= '\x98' && token[2] <= '\x9F';
}

}  // namespace

bool ParseBuilder::IsBlankToEnd(const char* at) const {
    while (at != m_end) {
        if (m_end - at >= 2 && at[0] == '-' && at[1] == '-') {
            at = std::find(at, m_end, '\n');
        } else if (IsBlank(*at)) {
            ++at;
        } else {
            return false;
        }
    }
    return true;
}

// The token that starts at `at`; of a string its quote. Empty at the end.
std::string ParseBuilder::NextToken(const char* at) const {
    if (at == m_end) {
        return "";
    }
    if (IsNameByte(*at)) {
        return std::string(at, std::find_if_not(at, m_end, IsNameByte));
    }
    if (m_end - at >= 2 && IsPair(at)) {
        return std::string(at, at + 2);
    }
    const std::string head(at, std::min<size_t>(4, static_cast<size_t>(m_end - at)));
    return head.substr(0, CodePointAt(head, 0).length);
}

// The token that ends at m_tokenEnd.
std::string ParseBuilder::LastToken() const {
    const char* begin = m_tokenEnd;
    if (begin == m_begin) {
        return "";
    }
    --begin;
    if (IsNameByte(*begin)) {
        while (begin != m_begin && IsNameByte(begin[-1])) {
            --begin;
        }
    } else if (begin != m_begin && IsPair(begin - 1)) {
        --begin;
    }
    return Upper(std::string(begin, m_tokenEnd));
}

ParseBuilder::Explanation ParseBuilder::ExplainOperand(const char* at) const {
    const std::string last = LastToken();
    const std::string next = NextToken(at);
    const char first = next.empty() ? '\0' : next[0];
    const char second = m_end - at >= 2 ? at[1] : '\0';
    Explanation out;
    out.message = last.empty() ? "expected a value or a condition" : "expected a value after '" + last + "'";
    if (last == "," && (first == ']' || first == ')' || first == '}')) {
        out.hint = "leave the last comma out";
    } else if (next == "!" || Upper(next) == "NOT") {
        out.hint = "put NOT and what it negates in parentheses";
    } else if (!next.empty() && IsReserved(next.data(), next.data() + next.size())) {
        out.hint = Upper(next) + " is a reserved word: a field of that name is written `" + next + "`";
    } else if (first == '.' && IsDigit(second)) {
        out.hint = "a digit stands before the point: 0.5";
    } else if (first == '+') {
        out.hint = "a number is written without '+'";
    } else if (first == '*') {
        out.hint = SHELL_HINT;
    } else if (first == '.' && IsNameByte(second)) {
        out.hint = "a field of the element is written by its name alone, or $.name";
    } else if (last == "=" && (first == '<' || first == '>')) {
        out.hint = std::string("write ") + first + "=";
    } else if (IsTypographicQuote(next)) {
        out.hint = next + " is no quotation mark here: a text stands between ' or \"";
    } else if (first == '[') {
        out.hint = "an extension is written $.[pkg.name], and a list stands alone or after IN";
    } else if (first == '{') {
        out.hint = "{..} stands alone, as the value of a field or of an element";
    }
    return out;
}

// After something complete, where an operator, a bracket or the end may stand.
ParseBuilder::Explanation ParseBuilder::ExplainRest(Fault fault, const char* at) const {
    const std::string next = NextToken(at);
    if (next == "|") {
        return {"'|' is no operator", "write || or OR"};
    }
    const std::string before = LastToken();
    if (next == "[" && before == "]") {
        return {"a field takes one index or selector", ""};
    }
    const bool isEnd = fault == Fault::EndMissing;
    const Statement* const statement = isEnd && !m_list.statements.empty() ? &m_list.statements.back() : nullptr;
    // What has been read in full: a condition or value, or null where it is a statement's path.
    const Expr* last = isEnd && !m_values.empty() ? m_values.back().node : nullptr;
    if (statement != nullptr) {
        last = statement->where != nullptr ? statement->where : statement->value;
    }
    const bool isList = last != nullptr && last->m_self.m_type == EXPR_VALUE_LIST;
    const bool isLiteral = isList || (last != nullptr && last->m_self.m_type == EXPR_ASSIGN_LIST);
    if ((statement == nullptr || last != nullptr) && !isLiteral && IsComparison(next)) {
        return {"comparisons do not chain", "join them with AND, or put one in parentheses"};
    }
    switch (fault) {
        case Fault::GroupClose:
            return {"expected ')'", ""};
        case Fault::CallClose:
            return {"expected ',' or ')' after the argument", ""};
        case Fault::ListClose:
            return {"expected ',' or ']' after the value", ""};
        case Fault::LiteralClose:
            return {"expected ',' or '}' after the value", ""};
        default:
            break;
    }
    const bool isBytes = before == "X" && (next == "'" || next == "\"");
    if (isLiteral && statement == nullptr) {
        return {"expected the end of the text",
                isList && IsComparison(next) ? "an extension is written $.[pkg.name]" : ""};
    }
    if (statement == nullptr) {
        return {"expected an operator or the end of the text", isBytes ? "bytes are written x'0AFF'" : ""};
    }
    const std::string verb = KindName(statement->kind);
    const bool assigns = statement->kind == StatementKind::Set || statement->kind == StatementKind::Push;
    if (!assigns && last == nullptr && (next == "=" || Upper(next) == "FROM")) {
        return {verb + " takes no " + (next == "=" ? "value" : "FROM"), ""};
    }
    const bool takesWhere = statement->kind != StatementKind::Push && statement->kind != StatementKind::Clear &&
                            !statement->hasFrom && statement->where == nullptr;
    if (!takesWhere && statement->where == nullptr && Upper(next) == "WHERE") {
        return {verb + (statement->hasFrom ? " .. FROM" : "") + " takes no WHERE",
                statement->kind == StatementKind::Clear ? "POP removes chosen elements" : ""};
    }
    std::string message = "expected ";
    message += last != nullptr && !isLiteral ? "an operator, " : "";
    message += takesWhere ? "WHERE, " : "";
    message += "';' or the end of the text";
    return {message, isBytes ? "bytes are written x'0AFF'" : ""};
}

ParseBuilder::Explanation ParseBuilder::ExplainSubscript(Fault fault, const char* at) const {
    const std::string next = NextToken(at);
    const char first = next.empty() ? '\0' : next[0];
    Explanation out;
    if (fault == Fault::SubscriptMissing) {
        out.message = "expected an index, a range or a key after '['";
        if (first == ']') {
            out.hint = "[*] selects every element";
        } else if (first == '+') {
            out.hint = "an index is written without '+'";
        } else if (first == '-') {
            out.message = "expected a digit right after '-'";
        } else if (first == '*' || next == "..") {
            out.hint = "an expression reads one element, not a range";
        } else if (IsNameByte(first)) {
            out.hint =
                "an index is a number or a parameter, a text key stands in quotes, an extension is written .[pkg.name]";
        }
        return out;
    }
    const bool isKey = m_rangeCount == 0;
    out.message = isKey      ? "expected ']' after the key"
                  : m_isLone ? "expected ']' after the index"
                             : "expected ',' or ']' after the range";
    if (isKey) {
        return out;
    }
    const bool isNextToDigits = at != m_begin && IsDigit(at[-1]);
    if (first == ':') {
        out.hint = "a range is written 0..2";
    } else if (first == '-') {
        out.hint =
            m_isLone ? "a range is written 0..2, and no space follows the '-' of -1" : "no space follows the '-' of -1";
    } else if (next == "..") {
        out.hint = m_isLone ? "an expression reads one element, not a range" : "a range has two points: 0..2";
    } else if (first == '.') {
        out.hint = "a range has two points: 0..2";
    } else if (first == ',') {
        out.hint = "an expression reads one element, not several";
    } else if (isNextToDigits && IsNameByte(first)) {
        out.hint = "index numbers are decimal";
    } else if (IsDigit(first)) {
        out.hint = "separate positions with commas";
    }
    return out;
}

ParseBuilder::Explanation ParseBuilder::ExplainNull(const char* at) const {
    const Expr& comparison = *m_values.back().node;
    const Expr& left = comparison.OperandRef(0);
    const Expr& other = m_begin + left.m_self.m_tokenOffset == at ? comparison.OperandRef(1) : left;
    const char* const test = comparison.m_self.m_type == EXPR_COMPARE_NE ? " IS NOT NULL" : " IS NULL";
    const std::string name = other.m_self.m_type == EXPR_UNRESOLVE ? other.m_self.m_str : "x";
    return {"a comparison with NULL is never true", "write " + name + test};
}

ParseBuilder::Explanation ParseBuilder::Explain(Fault fault, const char* at) const {
    for (const Sentence& sentence : SENTENCES) {
        if (sentence.fault == fault) {
            return {sentence.message, sentence.hint};
        }
    }
    const std::string next = NextToken(at);
    const char first = next.empty() ? '\0' : next[0];
    switch (fault) {
        case Fault::StatementMissing: {
            Explanation out{"expected a statement: GET, TAKE, POP, SET, PUSH or CLEAR", ""};
            for (const Synonym& synonym : SYNONYMS) {
                if (Upper(next) == synonym.word) {
                    out.hint = synonym.hint;
                }
            }
            return out;
        }
        case Fault::PathMissing:
        case Fault::SourceMissing:
            return {"expected a field after " + LastToken(),
                    first == '$' ? "a path starts with a field of the record, without '$'" : ""};
        case Fault::NameAfterDot:
            return {"expected a name after '.'", IsDigit(first) ? "an element is written tags[0]" : ""};
        case Fault::ElementAlone:
            return {"expected '.' after '$'", IsNameByte(m_end - at >= 2 ? at[1] : '\0')
                                                  ? "a field of the element is written $.name"
                                                  : "an extension is written $.[pkg.name]"};
        case Fault::SubscriptMissing:
        case Fault::SubscriptClose:
            return ExplainSubscript(fault, at);
        case Fault::RangeReversed: {
            const std::string low = std::to_string(m_low.value);
            const std::string high = std::to_string(m_high.value);
            return {"the range " + low + ".." + high + " is reversed", "write " + high + ".." + low};
        }
        case Fault::AssignMissing:
            return {"expected '=' or FROM after the path", Upper(next) == "WHERE" ? "WHERE follows the value"
                                                           : next == "=="         ? "assign with one '='"
                                                                                  : ""};
        case Fault::KeyMissing:
            return {"expected a name or a key", LastToken() == "," && first == '}' ? "leave the last comma out" : ""};
        case Fault::ColonMissing:
            return {"expected ':' or '=' after the key", first == '.' ? "a nested field is written {a: {b: 1}}" : ""};
        case Fault::NullCompared:
            return ExplainNull(at);
        case Fault::FunctionUnknown:
            return {UnknownFunction(next), FUNCTION_HINT};
        case Fault::ParameterName:
            return {"expected a name right after ':'", IsDigit(first) ? "a range is written 0..2" : ""};
        case Fault::PointDigits:
            return {"expected a digit after the point",
                    std::string(next == "e" || next.size() < 2 || IsDigit(next[1]) ? "" : SHELL_HINT)};
        case Fault::NumberEnd:
            return {"unexpected '" + next + "' after the number", ""};
        case Fault::OperandMissing:
            return ExplainOperand(at);
        default:
            return ExplainRest(fault, at);
    }
}

}  // namespace OstraneCommon
