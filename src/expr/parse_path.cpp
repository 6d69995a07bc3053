// Names, paths and what stands in brackets behind their steps.
#include <limits>
#include <utility>

#include "expr/parse_builder.h"

namespace OstraneCommon {
namespace {

// The index of 32 bits that digits stand for; beyond, the largest or smallest one.
int32_t IndexOf(const char* begin, const char* end) {
    const bool isNegative = *begin == '-';
    int64_t value = 0;
    for (const char* at = isNegative ? begin + 1 : begin; at != end; ++at) {
        value = value * 10 + (*at - '0');
        if (value > int64_t{std::numeric_limits<int32_t>::max()} + 1) {
            break;
        }
    }
    value = isNegative ? -value : value;
    if (value > std::numeric_limits<int32_t>::max()) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value < std::numeric_limits<int32_t>::min()) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

// A lone number behind a name, as names write it.
void AppendSubscript(const Expr& subscript, std::string& out) {
    out += '[';
    out += subscript.m_self.ToStr();
    out += ']';
}

}  // namespace

// Names and paths ------------------------------------------------------------------------------------

void ParseBuilder::BeginName(NameRoot root, const char* at) {
    m_root = root;
    m_nameBegin = at;
    m_steps.clear();
    m_nameParameters.clear();
}

void ParseBuilder::BeginPath(const char* at) {
    BeginName(NameRoot::Bare, at);
}

void ParseBuilder::AddStep(const char* begin, const char* end) {
    CountNode(begin);
    PathStep& step = m_steps.emplace_back();
    step.name.assign(begin, end);
    step.offset = OffsetOf(begin);
}

void ParseBuilder::SetExtension(const char* begin, const char* end) {
    m_extension.assign(begin, end);
}

void ParseBuilder::AddExtensionStep() {
    AddStep(m_extensionBegin, m_extensionBegin);
    LastStep().name = m_extension;
    LastStep().isExtension = true;
}

// The canonical text: no blanks, backticks only where they are needed, numbers without leading zeros.
std::string ParseBuilder::NameText() const {
    std::string text = m_root == NameRoot::Record ? "$$" : m_root == NameRoot::Element ? "$" : "";
    for (const PathStep& step : m_steps) {
        const bool isFirst = text.empty();
        if (!isFirst) {
            text += '.';
        }
        if (step.isExtension) {
            text += '[' + step.name + ']';
        } else if (isFirst && IsReserved(step.name.data(), step.name.data() + step.name.size())) {
            text += '`' + step.name + '`';
        } else {
            text += step.name;
        }
        if (step.subscript != nullptr) {
            AppendSubscript(*step.subscript, text);
        }
    }
    return text;
}

void ParseBuilder::FinishName() {
    Expr* const node = NewNode(EXPR_UNRESOLVE, m_nameBegin);
    node->m_self.m_flags = EXPR_FLAG_NAME;
    const bool isPlain =
        m_root == NameRoot::Bare && m_steps.size() == 1 && m_steps.front().subscript == nullptr && *m_nameBegin != '`';
    node->m_self.m_str = isPlain ? std::move(m_steps.front().name) : NameText();
    if (!m_nameParameters.empty()) {
        node->m_operands = m_context.NewList();
        *node->m_operands = m_nameParameters;
    }
    PushValue(node, 0);
}

void ParseBuilder::TakeName(NamePath& out) {
    out.root = m_root;
    out.steps = std::move(m_steps);
}

// Subscripts -----------------------------------------------------------------------------------------

void ParseBuilder::BeginSubscript(const char* at) {
    m_subscriptBegin = at;
    m_subscript = nullptr;
    m_rangeCount = 0;
    m_isLone = false;
    m_rangeText.clear();
    m_rangeOperands.clear();
    m_low = RangeEnd();
    m_high = RangeEnd();
    m_hasDots = false;
    m_isStar = false;
}

void ParseBuilder::SetKey() {
    m_subscript = PopValue().node;
}

void ParseBuilder::CollectRanges(IndexRangeList* out, const std::vector<int32_t>* values) {
    m_ranges = out;
    m_rangeValues = values;
}

void ParseBuilder::AddIndex(const char* begin, const char* end) {
    RangeEnd& bound = m_hasDots ? m_high : m_low;
    bound.kind = RangeEnd::Number;
    bound.value = IndexOf(begin, end);
    bound.begin = begin;
    bound.end = end;
}

void ParseBuilder::AddRangeParameter(const char* begin, const char* end) {
    RangeEnd& bound = m_hasDots ? m_high : m_low;
    bound.kind = RangeEnd::Parameter;
    bound.begin = begin;
    bound.end = end;
    if (m_ranges == nullptr) {
        bound.parameter = NewParameter(begin, end);
        return;
    }
    // A selector's text read on its own: the values are at hand.
    if (m_rangeValues == nullptr || m_rangeParameters == m_rangeValues->size()) {
        Fail(Fault::RangeMissing, begin);
    }
    bound.value = (*m_rangeValues)[m_rangeParameters++];
}

void ParseBuilder::AddStar() {
    m_isStar = true;
}

void ParseBuilder::AddDots(const char* /*at*/) {
    m_hasDots = true;
}

void ParseBuilder::AppendRangeEnd(const RangeEnd& end) {
    if (end.kind == RangeEnd::Parameter) {
        m_rangeText.append(end.begin, end.end);
        m_rangeOperands.push_back(end.parameter);
    } else if (end.kind == RangeEnd::Number) {
        m_rangeText += std::to_string(end.value);
    }
}

void ParseBuilder::EndRange() {
    if (m_hasDots && m_low.kind == RangeEnd::Number && m_high.kind == RangeEnd::Number &&
        (m_low.value < 0) == (m_high.value < 0) && m_low.value > m_high.value) {
        Fail(Fault::RangeReversed, m_low.begin);
    }
    ++m_rangeCount;
    m_isLone = m_rangeCount == 1 && !m_hasDots && !m_isStar;
    if (m_ranges != nullptr) {
        const int32_t first = m_low.value;
        const int32_t openLast = m_isStar || m_hasDots ? -1 : first;
        m_ranges->emplace_back(first, m_high.kind == RangeEnd::None ? openLast : m_high.value);
    } else if (m_isLone) {
        m_subscript = m_low.kind == RangeEnd::Parameter ? m_low.parameter : NewNumber(m_low.begin, m_low.end);
        AppendRangeEnd(m_low);
    } else {
        m_rangeText += m_rangeCount > 1 ? ", " : "";
        AppendRangeEnd(m_low);
        m_rangeText += m_isStar ? "*" : m_hasDots ? ".." : "";
        AppendRangeEnd(m_high);
    }
    m_low = RangeEnd();
    m_high = RangeEnd();
    m_hasDots = false;
    m_isStar = false;
}

// A lone number of 64 bits, which may be a map's key; beyond them, as its text.
Expr* ParseBuilder::NewNumber(const char* begin, const char* end) {
    const bool isNegative = *begin == '-';
    const char* at = isNegative ? begin + 1 : begin;
    while (at + 1 != end && *at == '0') {
        ++at;
    }
    const uint64_t limit = isNegative ? uint64_t{1} << 63 : std::numeric_limits<uint64_t>::max();
    uint64_t value = 0;
    for (const char* digit = at; digit != end; ++digit) {
        const uint64_t next = static_cast<uint64_t>(*digit - '0');
        if (value > (limit - next) / 10) {
            Expr* const node = NewNode(isNegative ? EXPR_INT_STRING : EXPR_UINT_STRING, begin);
            node->m_self.m_str = isNegative ? "-" : "";
            node->m_self.m_str.append(at, end);
            return node;
        }
        value = value * 10 + next;
    }
    Expr* const node = NewNode(isNegative && value != 0 ? EXPR_INT : EXPR_UINT, begin);
    node->m_self.m_data.valUInt64 = isNegative ? 0 - value : value;
    return node;
}

void ParseBuilder::FinishSubscript() {
    Expr* subscript = m_subscript;
    if (m_rangeCount > 0 && !m_isLone) {
        subscript = NewNode(EXPR_INDEX_RANGE, m_subscriptBegin);
        subscript->m_self.m_str = m_rangeText;
        if (!m_rangeOperands.empty()) {
            subscript->m_operands = m_context.NewList();
            *subscript->m_operands = m_rangeOperands;
        }
    }
    LastStep().subscript = subscript;
    if (subscript->m_self.m_type == EXPR_QUESTION) {
        m_nameParameters.push_back(subscript);
    }
}

}  // namespace OstraneCommon
