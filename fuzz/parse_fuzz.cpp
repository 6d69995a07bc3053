// Any bytes as statements, as an expression and as a selector: none crashes the parser, an error has its
// place within the text, and what parses is written as a text that parses back to the same tree.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/err_code.h"
#include "expr/statement.h"

namespace {

using namespace OstraneCommon;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool SameList(const std::vector<Expr*>* a, const std::vector<Expr*>* b);

// All but the places, and the numbers of parameters: a part of a text counts from 1 again.
bool SameTree(const Expr& a, const Expr& b) {
    if (a.m_self.m_type != b.m_self.m_type || a.m_self.m_flags != b.m_self.m_flags ||
        a.m_self.m_str != b.m_self.m_str) {
        return false;
    }
    if (a.m_self.m_type != EXPR_QUESTION &&
        std::memcmp(&a.m_self.m_data.valUInt64, &b.m_self.m_data.valUInt64, sizeof(uint64_t)) != 0) {
        return false;
    }
    return SameList(a.m_operands, b.m_operands) && SameList(a.m_children, b.m_children);
}

bool SameList(const std::vector<Expr*>* a, const std::vector<Expr*>* b) {
    if (a == nullptr || b == nullptr) {
        return a == b;
    }
    if (a->size() != b->size()) {
        return false;
    }
    for (size_t i = 0; i < a->size(); ++i) {
        if (!SameTree(*(*a)[i], *(*b)[i])) {
            return false;
        }
    }
    return true;
}

void CheckError(const std::string& text, int ret, const ExprError& error) {
    const bool isUnknown = error.message.compare(0, 20, "there is no function") == 0;
    Require(error.code == ret && ret == (isUnknown ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME
                                                   : OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX));
    Require(error.offset + error.length <= text.size());
    Require(error.line >= 1 && error.column >= 1 && !error.message.empty());
    Require(!ShowError(text, error, "NAME").empty());
}

// A name is taken apart again, a selector's ranges are read again.
void CheckNames(const Expr& node) {
    ExprParseContext context;
    NamePath name;
    ExprError error;
    if (node.m_self.m_type == EXPR_UNRESOLVE) {
        Require(ParseName(node.m_self.m_str, context, name, error) == 0);
    }
    for (size_t i = 0; i < node.OperandCount(); ++i) {
        CheckNames(*(*node.m_operands)[i]);
    }
}

void CheckTree(const Expr& tree) {
    const std::string text = tree.ToStr();
    ExprParseContext context;
    Expr* back = nullptr;
    ExprError error;
    Require(Expr::Parse(text, context, back, error) == 0);
    Require(SameTree(tree, *back));
    CheckNames(tree);
}

void CheckPath(const std::string& text, const StatementPath& path) {
    Require(!path.steps.empty() && 0 <= path.begin && path.begin < path.end);
    Require(static_cast<size_t>(path.end) <= text.size());
    for (const PathStep& step : path.steps) {
        Require(!step.name.empty() && step.offset >= path.begin && step.offset < path.end);
        if (step.subscript != nullptr && step.subscript->m_self.m_type == EXPR_INDEX_RANGE) {
            IndexRangeList ranges;
            const std::vector<int32_t> values(step.subscript->OperandCount(), -1);
            Require(BindIndexRange(*step.subscript, values, ranges) == 0 && !ranges.empty());
        }
    }
}

void CheckStatements(const std::string& text) {
    ExprParseContext context;
    StatementList list;
    ExprError error;
    const int ret = ParseStatements(text, context, list, error);
    if (ret != 0) {
        return CheckError(text, ret, error);
    }
    Require(!list.statements.empty());
    for (const Statement& statement : list.statements) {
        CheckPath(text, statement.path);
        if (statement.hasFrom) {
            CheckPath(text, statement.from);
        }
        if (statement.value != nullptr) {
            CheckTree(*statement.value);
        }
        if (statement.where != nullptr) {
            CheckTree(*statement.where);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckStatements(text);

    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    const int ret = Expr::Parse(text, context, expr, error);
    ret == 0 ? CheckTree(*expr) : CheckError(text, ret, error);

    IndexRangeList ranges;
    Require((ParseIndexRange(text, ranges) == 0) != ranges.empty());
    return 0;
}
