// Operands, operators, lists and statements. What names and selectors are made of is in parse_path.cpp,
// numbers and strings in parse_literal.cpp, the sentences of errors in parse_fault.cpp.
#include "expr/parse_builder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/err_code.h"

namespace OstraneCommon {
namespace {

bool EqualsIgnoringCase(const char* begin, size_t size, const char* lower) {
    if (std::strlen(lower) != size) {
        return false;
    }
    for (size_t i = 0; i < size; ++i) {
        if ((begin[i] | 0x20) != lower[i]) {
            return false;
        }
    }
    return true;
}

constexpr const char* RESERVED[] = {"get",      "take", "pop",  "set",  "push",  "clear",   "from",
                                    "where",    "and",  "or",   "not",  "in",    "between", "like",
                                    "contains", "is",   "null", "true", "false", "inf",     "nan"};

}  // namespace

ParseBuilder::ParseBuilder(const std::string& text, ExprParseContext& context)
    : m_begin(text.data()), m_end(text.data() + text.size()), m_tokenEnd(text.data()), m_context(context) {
    if (text.size() > MAX_TEXT_SIZE) {
        Fail(Fault::TextTooLong, m_begin);
    }
}

bool ParseBuilder::IsReserved(const char* begin, const char* end) {
    const size_t size = static_cast<size_t>(end - begin);
    if (size < 2 || size > 8) {
        return false;
    }
    for (const char* word : RESERVED) {
        if ((begin[0] | 0x20) == word[0] && EqualsIgnoringCase(begin, size, word)) {
            return true;
        }
    }
    return false;
}

bool ParseBuilder::IsBoolWord(const std::string& word) {
    return EqualsIgnoringCase(word.data(), word.size(), "true") ||
           EqualsIgnoringCase(word.data(), word.size(), "false");
}

const char* ParseBuilder::SkipComments(const char* at) {
    while (at != m_end && *at == '-' && at + 1 != m_end && at[1] == '-') {
        const bool startsHere = at == m_begin || IsBlank(at[-1]) || at[-1] == ';';
        const bool endsHere = at + 2 == m_end || IsBlank(at[2]);
        if (!startsHere || !endsHere) {
            Fail(Fault::CommentPlace, at);
        }
        at = std::find(at, m_end, '\n');
        while (at != m_end && IsBlank(*at)) {
            ++at;
        }
    }
    return at;
}

void ParseBuilder::Fail(Fault fault, const char* at) {
    // At the end of the input the place is right behind the last token, not behind the blanks after it.
    ParseFailure failure;
    ExprError& error = failure.error;
    error.code = fault == Fault::FunctionUnknown ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME
                                                 : OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    Explanation explanation = Explain(fault, at);
    if (fault == Fault::StringOpen) {
        at = m_quote;
        error.length = static_cast<size_t>(m_end - at);
    } else if (at == m_end && m_tokenEnd < at && IsBlankToEnd(m_tokenEnd)) {
        at = m_tokenEnd;
    } else if (fault != Fault::TextTooLong) {
        error.length = NextToken(at).size();
    }
    error.offset = static_cast<size_t>(at - m_begin);
    // What follows a statement read in full belongs to it; a keyword that is missing, to the next one.
    const bool isBehind = !m_isStatement && fault == Fault::EndMissing && !m_list.statements.empty();
    error.statement = static_cast<int>(m_list.statements.size()) + (isBehind ? 0 : 1);
    error.message = std::move(explanation.message);
    error.hint = std::move(explanation.hint);
    throw failure;
}

// Nodes ----------------------------------------------------------------------------------------------

void ParseBuilder::CountNode(const char* at) {
    if (++m_count > MAX_NODE_COUNT) {
        Fail(Fault::TooManyNodes, at);
    }
}

Expr* ParseBuilder::NewNode(ExprType type, const char* at) {
    CountNode(at);
    return m_context.NewNode(type, OffsetOf(at));
}

ParseBuilder::Value ParseBuilder::PopValue() {
    const Value value = m_values.back();
    m_values.pop_back();
    return value;
}

// The depth of a node above operands of this depth.
int ParseBuilder::DepthAbove(int depth, const Expr& node) {
    if (depth >= MAX_NESTING) {
        Fail(Fault::TooDeep, m_begin + node.m_self.m_tokenOffset);
    }
    return depth + 1;
}

void ParseBuilder::PushWord(ExprType type, const char* begin, uint64_t value, uint32_t flags) {
    Expr* const node = NewNode(type, begin);
    node->m_self.m_flags = flags;
    node->m_self.m_data.valUInt64 = value;
    PushValue(node, 0);
}

Expr* ParseBuilder::NewParameter(const char* begin, const char* end) {
    Expr* const node = NewNode(EXPR_QUESTION, begin);
    const bool isNamed = *begin == ':';
    if (isNamed ? m_list.parameterCount > 0 : !m_list.parameterNames.empty()) {
        Fail(Fault::ParameterMix, begin);
    }
    if (!isNamed) {
        node->m_self.m_data.valUInt64 = static_cast<uint64_t>(++m_list.parameterCount);
        return node;
    }
    node->m_self.m_str.assign(begin + 1, end);
    if (m_parameterNames.insert(node->m_self.m_str).second) {
        m_list.parameterNames.push_back(node->m_self.m_str);
    }
    return node;
}

void ParseBuilder::PushParameter(const char* begin, const char* end) {
    PushValue(NewParameter(begin, end), 0);
}

// Operators ------------------------------------------------------------------------------------------

void ParseBuilder::OpenOperator(ExprType type, const char* at) {
    m_operators.push_back(NewNode(type, at));
}

void ParseBuilder::OpenPrefix(ExprType type, const char* at) {
    if (++m_prefixes > MAX_NESTING) {
        Fail(Fault::TooDeep, at);
    }
    OpenOperator(type, at);
}

void ParseBuilder::ClosePrefix() {
    --m_prefixes;
    Expr* const node = m_operators.back();
    m_operators.pop_back();
    Value& operand = m_values.back();
    node->m_operands = m_context.NewList();
    node->m_operands->push_back(operand.node);
    operand = {node, DepthAbove(operand.depth, *node)};
}

void ParseBuilder::CloseBinary() {
    Expr* const node = m_operators.back();
    m_operators.pop_back();
    const Value right = PopValue();
    Value& left = m_values.back();
    node->m_operands = m_context.NewList();
    node->m_operands->reserve(2);
    node->m_operands->push_back(left.node);
    node->m_operands->push_back(right.node);
    left = {node, DepthAbove(std::max(left.depth, right.depth), *node)};
}

// SQL's `x = NULL` is never true, and taking it for IS NULL would hide that: neither is said here.
void ParseBuilder::CheckNullCompared(const Expr& node) {
    for (const Expr* operand : *node.m_operands) {
        if (operand->m_self.m_type == EXPR_NULL) {
            Fail(Fault::NullCompared, m_begin + operand->m_self.m_tokenOffset);
        }
    }
}

void ParseBuilder::CloseComparison() {
    CloseBinary();
    const Expr& node = *m_values.back().node;
    if (node.m_self.m_type >= EXPR_COMPARE_EQ && node.m_self.m_type <= EXPR_COMPARE_GE) {
        CheckNullCompared(node);
    }
}

void ParseBuilder::CloseBetween(bool isNegated) {
    Expr* node = m_operators.back();
    m_operators.pop_back();
    const Value upper = PopValue();
    const Value lower = PopValue();
    Value& value = m_values.back();
    node->m_operands = m_context.NewList();
    node->m_operands->reserve(3);
    node->m_operands->push_back(value.node);
    node->m_operands->push_back(lower.node);
    node->m_operands->push_back(upper.node);
    value = {node, DepthAbove(std::max({value.depth, lower.depth, upper.depth}), *node)};
    if (!isNegated) {
        return;
    }
    m_operators.push_back(NewNode(EXPR_NOT, m_begin + node->m_self.m_tokenOffset));
    ++m_prefixes;
    ClosePrefix();
}

void ParseBuilder::CloseIs(bool isNegated) {
    Expr* const node = m_operators.back();
    if (isNegated) {
        node->m_self.m_type = EXPR_COMPARE_NE;
    }
    PushValue(NewNode(EXPR_NULL, m_begin + node->m_self.m_tokenOffset), 0);
    CloseBinary();
}

// Adds to the AND or OR below the operand: a chain of any length stays one node, and flat.
void ParseBuilder::AppendOperand() {
    const Value operand = PopValue();
    Value& chain = m_values.back();
    chain.node->m_operands->push_back(operand.node);
    chain.depth = std::max(chain.depth, DepthAbove(operand.depth, *chain.node));
}

// Brackets -------------------------------------------------------------------------------------------

void ParseBuilder::EnterBracket(const char* at) {
    if (++m_brackets > MAX_NESTING) {
        Fail(Fault::TooDeep, at);
    }
}

void ParseBuilder::OpenList(ExprType type, const char* at) {
    EnterBracket(at);
    m_frames.push_back({NewNode(type, at), m_values.size()});
}

void ParseBuilder::CloseList() {
    LeaveBracket();
    const OpenFrame frame = m_frames.back();
    m_frames.pop_back();
    int depth = 0;
    frame.node->m_operands = m_context.NewList();
    frame.node->m_operands->reserve(m_values.size() - frame.base);
    for (size_t i = frame.base; i < m_values.size(); ++i) {
        frame.node->m_operands->push_back(m_values[i].node);
        depth = std::max(depth, m_values[i].depth);
    }
    m_values.resize(frame.base, Value{nullptr, 0});
    PushValue(frame.node, DepthAbove(depth, *frame.node));
}

void ParseBuilder::OpenCall(const char* at) {
    const std::string& name = m_steps.front().name;
    for (const char* function : {"size", "coalesce"}) {
        if (EqualsIgnoringCase(name.data(), name.size(), function)) {
            OpenList(EXPR_CMD_FUNC_CALL, at);
            m_frames.back().node->m_self.m_str = function;
            m_frames.back().node->m_self.m_tokenOffset = OffsetOf(m_nameBegin);
            return;
        }
    }
    Fail(Fault::FunctionUnknown, m_nameBegin);
}

void ParseBuilder::CloseCall() {
    CloseList();
    const Expr& call = *m_values.back().node;
    if (call.m_self.m_str == "size" && call.OperandCount() != 1) {
        Fail(Fault::SizeArguments, m_begin + call.m_self.m_tokenOffset);
    }
}

// A key waits on the stack, as its assignment, for the value.
void ParseBuilder::OpenKeyName(const char* begin, const char* end) {
    Expr* const assign = NewNode(EXPR_ASSIGN, begin);
    assign->m_self.m_str.assign(begin, end);
    PushValue(assign, 0);
}

void ParseBuilder::OpenKeyExtension() {
    Expr* const assign = NewNode(EXPR_ASSIGN, m_extensionBegin);
    assign->m_self.m_str = "[" + m_extension + "]";
    PushValue(assign, 0);
}

void ParseBuilder::OpenKeyLiteral() {
    Value& key = m_values.back();
    Expr* const assign = NewNode(EXPR_ASSIGN, m_begin + key.node->m_self.m_tokenOffset);
    assign->m_children = m_context.NewList();
    assign->m_children->push_back(key.node);
    if ((key.node->m_self.m_flags & EXPR_FLAG_BOOL) != 0) {
        const char* const word = m_begin + key.node->m_self.m_tokenOffset;
        assign->m_self.m_str.assign(word, key.node->m_self.m_data.valUInt64 != 0 ? 4 : 5);
    }
    key.node = assign;
}

void ParseBuilder::CloseAssign() {
    const Value value = PopValue();
    Value& assign = m_values.back();
    assign.node->m_operands = m_context.NewList();
    assign.node->m_operands->push_back(value.node);
    assign.depth = value.depth;
}

// Statements -----------------------------------------------------------------------------------------

void ParseBuilder::BeginStatement(StatementKind kind, const char* at) {
    m_isStatement = true;
    m_inWhere = false;
    m_statement = Statement();
    m_statement.kind = kind;
    m_statement.number = static_cast<int>(m_list.statements.size()) + 1;
    m_statement.begin = OffsetOf(at);
}

void ParseBuilder::FinishPath() {
    StatementPath& path = m_statement.hasFrom ? m_statement.from : m_statement.path;
    path.steps = std::move(m_steps);
    m_steps.clear();
    path.begin = OffsetOf(m_nameBegin);
    path.end = OffsetOf(m_tokenEnd);
}

void ParseBuilder::FinishStatement() {
    m_statement.end = OffsetOf(m_tokenEnd);
    m_list.statements.push_back(std::move(m_statement));
    m_isStatement = false;
}

void ParseBuilder::TakeStatements(StatementList& out) {
    out = std::move(m_list);
}

}  // namespace OstraneCommon
