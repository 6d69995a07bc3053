#include <unistd.h>

#include <string>
#include <vector>

#include "expr/parse_context.h"
#include "expr/statement.h"
#include "record/output_file.h"
#include "record/statement_result.h"
#include "run.h"
#include "session.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneCommon::Expr;
using OstraneRecord::ExecutionResult;
using OstraneRecord::InputError;
using OstraneRecord::StatementResult;

namespace {

// Of positions shown in a line; the rest is only counted.
constexpr size_t MAX_POSITIONS = 20;

// The node's own text, and below it, further in, those of the nodes that it is made of.
void AppendTree(const Expr& node, size_t indent, std::string& out) {
    out += std::string(indent, ' ') + node.ToStr() + "\n";
    for (const std::vector<Expr*>* list : {node.m_operands, node.m_children}) {
        for (size_t i = 0; list != nullptr && i < list->size(); ++i) {
            AppendTree(*(*list)[i], indent + 2, out);
        }
    }
}

void AppendNamedTree(const char* name, const Expr* tree, std::string& out) {
    if (tree != nullptr) {
        out += std::string("  ") + name + "\n";
        AppendTree(*tree, 4, out);
    }
}

// Statement by statement: the text, what will be done, and the trees of value and condition.
std::string ShowPlan(const Session& session) {
    const std::string& text = session.Statements();
    OstraneCommon::ExprParseContext context;
    OstraneCommon::StatementList list;
    OstraneCommon::ExprError error;
    std::string out;
    if (OstraneCommon::ParseStatements(text, context, list, error) != 0) {
        return out;
    }
    const std::vector<std::string> plans = session.Plan().Describe();
    for (size_t i = 0; i < list.statements.size(); ++i) {
        const OstraneCommon::Statement& statement = list.statements[i];
        const size_t begin = static_cast<size_t>(statement.begin);
        out += std::to_string(i + 1) + ": " + text.substr(begin, static_cast<size_t>(statement.end) - begin) + "\n";
        out += "  plan\n    " + plans[i] + "\n";
        AppendNamedTree("value", statement.value, out);
        AppendNamedTree("where", statement.where, out);
    }
    return out;
}

std::string ShowResult(const StatementResult& result) {
    std::string out = "  " + std::to_string(result.number) + ": matched " + std::to_string(result.matched);
    for (size_t i = 0; i < result.positions.size() && i < MAX_POSITIONS; ++i) {
        out += (i == 0 ? " at " : ", ") + std::to_string(result.positions[i]);
    }
    if (result.positions.size() > MAX_POSITIONS) {
        out += " and " + std::to_string(result.positions.size() - MAX_POSITIONS) + " more";
    }
    out += ", changed " + std::to_string(result.changed) + ", size " + std::to_string(result.sizeBefore) + " -> " +
           std::to_string(result.sizeAfter);
    return out + "\n";
}

// What would happen to each record; none of them is kept.
int ExplainRecords(Session& session, OstraneRecord::OutputFile& out) {
    for (;;) {
        bool hasRecord = false;
        int status = session.Next(hasRecord);
        if (status != EXIT_DONE || !hasRecord) {
            return status;
        }
        bool isWanted = true;
        ExecutionResult result;
        std::string text = session.Reader().Place() + "\n";
        status = session.Decode();
        if (status == EXIT_DONE) {
            status = session.IsWanted(isWanted);
        }
        if (status == EXIT_DONE && isWanted) {
            status = session.Execute(result);
        }
        if (status != EXIT_DONE) {
            return status;
        }
        if (!isWanted) {
            text += "  not chosen by --where\n";
        }
        for (const StatementResult& statement : result.statements) {
            text += ShowResult(statement);
        }
        InputError error;
        if (out.Write(text, error) != 0) {
            PrintInputError(error);
            return EXIT_NOT_POSSIBLE;
        }
    }
}

}  // namespace

int RunExplain(const Arguments& arguments) {
    Session session(arguments);
    int status = session.Start();
    if (status != EXIT_DONE) {
        return status;
    }
    OstraneRecord::OutputFile out;
    InputError error;
    out.UseDescriptor(STDOUT_FILENO, "standard output");
    if (out.Write(ShowPlan(session), error) == 0 && arguments.hasInput) {
        status = ExplainRecords(session, out);
    }
    if (error.code != 0 || out.Commit(error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return status;
}

}  // namespace OstraneCli
