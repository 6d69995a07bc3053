// Selectors on their own, outside a statement. They are read by the statements' grammar, so the two
// cannot differ.
#include "common/err_code.h"
#include "expr/grammar.h"
#include "expr/parse_builder.h"
#include "expr/statement.h"

namespace OstraneCommon {
namespace {

int ReadRangeText(const std::string& text, const std::vector<int32_t>* values, IndexRangeList& out) {
    try {
        ExprParseContext context;
        IndexRangeList ranges;
        ParseBuilder builder(text, context);
        builder.CollectRanges(&ranges, values);
        ReadRanges(builder);
        if (values != nullptr && builder.RangeParameterCount() != values->size()) {
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
        }
        out.insert(out.end(), ranges.begin(), ranges.end());
        return 0;
    } catch (const ParseFailure& failure) {
        return failure.error.code;
    }
}

}  // namespace

int ParseIndexRange(const std::string& text, IndexRangeList& out) {
    return ReadRangeText(text, nullptr, out);
}

int BindIndexRange(const Expr& selector, const std::vector<int32_t>& values, IndexRangeList& out) {
    if (selector.m_self.m_type != EXPR_INDEX_RANGE) {
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    }
    return ReadRangeText(selector.m_self.m_str, &values, out);
}

}  // namespace OstraneCommon
