// The public ways into the grammar: a failure becomes a code with its place.
#include "expr/grammar.h"
#include "expr/parse_builder.h"
#include "expr/statement.h"

namespace OstraneCommon {
namespace {

int Report(const std::string& text, ParseFailure& failure, ExprError& error) {
    LocateError(text, failure.error);
    error = std::move(failure.error);
    return error.code;
}

}  // namespace

int ParseStatements(const std::string& text, ExprParseContext& context, StatementList& out, ExprError& error) {
    try {
        ParseBuilder builder(text, context);
        ReadStatements(builder);
        builder.TakeStatements(out);
        return 0;
    } catch (ParseFailure& failure) {
        return Report(text, failure, error);
    }
}

int ParseName(const std::string& text, ExprParseContext& context, NamePath& out, ExprError& error) {
    try {
        ParseBuilder builder(text, context);
        ReadName(builder);
        builder.TakeName(out);
        return 0;
    } catch (ParseFailure& failure) {
        return Report(text, failure, error);
    }
}

int Expr::Parse(const std::string& text, ExprParseContext& context, Expr*& expr, ExprError& error) {
    try {
        ParseBuilder builder(text, context);
        ReadExpr(builder);
        expr = builder.TakeExpr();
        return 0;
    } catch (ParseFailure& failure) {
        return Report(text, failure, error);
    }
}

}  // namespace OstraneCommon
