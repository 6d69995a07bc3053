// Makes nodes of what the grammar recognises, and tells why it stops.
//
// The grammar reads the text once, from left to right, and calls the builder at every token. Finished
// operands wait on a stack until their operator is complete; lists that are still open wait on another.
// A fault ends the parse by an exception of this library's own, caught where the parse was started.
#ifndef OSTRANE_EXPR_PARSE_BUILDER_H_
#define OSTRANE_EXPR_PARSE_BUILDER_H_

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "common/expr.h"
#include "expr/parse_context.h"
#include "expr/statement.h"

namespace OstraneCommon {

// What can be wrong. The sentences are in parse_fault.cpp.
enum class Fault {
    TextTooLong,
    TooDeep,
    TooManyNodes,
    CommentPlace,
    StatementMissing,
    PathMissing,
    SourceMissing,
    NameAfterDot,
    ElementAlone,
    QuotedName,
    ExtensionName,
    ExtensionClose,
    SubscriptMissing,
    SubscriptClose,
    RangeMissing,
    RangeEndMissing,
    RangeReversed,
    AssignMissing,
    OperandMissing,
    EndMissing,
    GroupClose,
    ListClose,
    LiteralClose,
    CallClose,
    KeyMissing,
    ColonMissing,
    BetweenAnd,
    IsWhat,
    NotWhat,
    InWhat,
    InEmpty,
    NullCompared,
    FunctionUnknown,
    SizeArguments,
    ParameterName,
    ParameterMix,
    PointDigits,
    ExponentDigits,
    HexDigits,
    NumberEnd,
    IntegerRange,
    FloatRange,
    StringOpen,
    EscapeUnknown,
    EscapeDigits,
    EscapeCodePoint,
    BytesQuote,
    BytesDigits,
    BytesOdd,
};

struct ParseFailure {
    ExprError error;
};

class ParseBuilder {
public:
    // Reads text[0 .. size). A selector's text comes without parameters, or with their values.
    ParseBuilder(const std::string& text, ExprParseContext& context);

    const char* Begin() const { return m_begin; }
    const char* End() const { return m_end; }

    // Where the next token starts at or behind `at`, which ends one.
    const char* SkipBlank(const char* at) {
        m_tokenEnd = at;
        while (at != m_end && IsBlank(*at)) {
            ++at;
        }
        return at != m_end && *at == '-' ? SkipComments(at) : at;
    }
    [[noreturn]] void Fail(Fault fault, const char* at);

    // Operands and operators
    void PushWord(ExprType type, const char* begin, uint64_t value, uint32_t flags);
    void PushNumber(const char* begin, const char* end);
    void PushString(const char* begin, const char* end);
    void PushBytes(const char* begin, const char* end);
    void PushParameter(const char* begin, const char* end);
    void OpenOperator(ExprType type, const char* at);
    void OpenPrefix(ExprType type, const char* at);
    void ClosePrefix();
    void CloseBinary();
    void CloseComparison();
    void CloseBetween(bool isNegated);
    void CloseIs(bool isNegated);
    void AppendOperand();

    // Brackets
    void EnterBracket(const char* at);
    void LeaveBracket() { --m_brackets; }
    void OpenList(ExprType type, const char* at);
    void CloseList();
    void OpenCall(const char* at);
    void CloseCall();
    void OpenKeyName(const char* begin, const char* end);
    void OpenKeyExtension();
    void OpenKeyLiteral();
    void CloseAssign();

    // Names and paths
    void BeginName(NameRoot root, const char* at);
    void AddStep(const char* begin, const char* end);
    void BeginExtension(const char* begin) { m_extensionBegin = begin; }
    void SetExtension(const char* begin, const char* end);
    void AddExtensionStep();
    void FinishName();
    void MarkQuote(const char* at) { m_quote = at; }
    const char* Quote() const { return m_quote; }

    // Subscripts and selectors
    void BeginSubscript(const char* at);
    void AddIndex(const char* begin, const char* end);
    void AddRangeParameter(const char* begin, const char* end);
    void AddStar();
    void AddDots(const char* at);
    void EndRange();
    void SetKey();
    void FinishSubscript();
    // Ranges go to `out`, and the values stand for the parameters, when a selector's text is all there is.
    void CollectRanges(IndexRangeList* out, const std::vector<int32_t>* values);

    // Statements
    void BeginStatement(StatementKind kind, const char* at);
    void BeginPath(const char* at);
    void FinishPath();
    void BeginSource() { m_statement.hasFrom = true; }
    void SetValue() { m_statement.value = PopValue().node; }
    void BeginWhere() { m_inWhere = true; }
    void SetWhere() { m_statement.where = PopValue().node; }
    void FinishStatement();

    Expr* TakeExpr() { return PopValue().node; }
    void TakeName(NamePath& out);
    void TakeStatements(StatementList& out);
    size_t RangeParameterCount() const { return m_rangeParameters; }

    static bool IsReserved(const char* begin, const char* end);
    // Whether it is true or false, in any case.
    static bool IsBoolWord(const std::string& word);

private:
    struct Value {
        Expr* node;
        int depth;
    };
    struct OpenFrame {
        Expr* node;
        size_t base;  // of its items among the values
    };
    struct RangeEnd {
        enum Kind { None, Number, Parameter } kind = None;
        int32_t value = 0;
        const char* begin = nullptr;
        const char* end = nullptr;
        Expr* parameter = nullptr;
    };

    static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    const char* SkipComments(const char* at);
    bool IsBlankToEnd(const char* at) const;

    int32_t OffsetOf(const char* at) const { return static_cast<int32_t>(at - m_begin); }
    void CountNode(const char* at);
    Expr* NewNode(ExprType type, const char* at);
    Expr* NewParameter(const char* begin, const char* end);
    Expr* NewNumber(const char* begin, const char* end);
    void PushValue(Expr* node, int depth) { m_values.push_back({node, depth}); }
    Value PopValue();
    int DepthAbove(int depth, const Expr& node);
    void CheckNullCompared(const Expr& node);
    void DecodeString(const char* begin, const char* end, std::string& out);
    const char* DecodeEscape(const char* at, const char* end, std::string& out);
    uint32_t HexDigits(const char* at, const char* end, int count, const char* escape);

    PathStep& LastStep() { return m_steps.back(); }
    std::string NameText() const;
    void AppendRangeEnd(const RangeEnd& end);

    // Of parse_fault.cpp
    struct Explanation {
        std::string message;
        std::string hint;
    };
    Explanation Explain(Fault fault, const char* at) const;
    Explanation ExplainOperand(const char* at) const;
    Explanation ExplainRest(Fault fault, const char* at) const;
    Explanation ExplainSubscript(Fault fault, const char* at) const;
    Explanation ExplainNull(const char* at) const;
    std::string LastToken() const;
    std::string NextToken(const char* at) const;

    const char* const m_begin;
    const char* const m_end;
    const char* m_tokenEnd;
    ExprParseContext& m_context;
    size_t m_count = 0;

    std::vector<Value> m_values;
    std::vector<Expr*> m_operators;
    std::vector<OpenFrame> m_frames;
    int m_brackets = 0;
    int m_prefixes = 0;

    // The name or path that is being read; none lies within another.
    NameRoot m_root = NameRoot::Bare;
    const char* m_nameBegin = nullptr;
    std::vector<PathStep> m_steps;
    std::vector<Expr*> m_nameParameters;
    const char* m_extensionBegin = nullptr;
    std::string m_extension;
    const char* m_quote = nullptr;

    // The subscript that is being read.
    Expr* m_subscript = nullptr;
    const char* m_subscriptBegin = nullptr;
    RangeEnd m_low;
    RangeEnd m_high;
    bool m_hasDots = false;
    bool m_isStar = false;
    size_t m_rangeCount = 0;
    bool m_isLone = false;
    std::string m_rangeText;
    std::vector<Expr*> m_rangeOperands;
    IndexRangeList* m_ranges = nullptr;
    const std::vector<int32_t>* m_rangeValues = nullptr;
    size_t m_rangeParameters = 0;

    bool m_isStatement = false;
    bool m_inWhere = false;
    Statement m_statement;
    StatementList m_list;
    std::unordered_set<std::string> m_parameterNames;
};

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_PARSE_BUILDER_H_
