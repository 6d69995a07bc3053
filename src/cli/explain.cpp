#include <unistd.h>

#include <string>
#include <vector>

#include "expr/parse_context.h"
#include "expr/statement.h"
#include "record/output_file.h"
#include "record/statement_result.h"
#include "record_worker.h"
#include "run.h"
#include "session.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneCommon::Expr;
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

// The error of one that fails is told apart.
std::string ShowResult(const StatementResult& result) {
    std::string out = "  " + std::to_string(result.number) + ": ";
    if (result.code != 0) {
        return out + "fails, and the record stays as it was\n";
    }
    out += "matched " + std::to_string(result.matched);
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

// What would happen to the record.
int ExplainRecord(RecordWorker& worker, const OstraneRecord::RawRecord& record, std::string& text,
                  std::vector<Notice>& notices) {
    bool isWanted = true;
    int status = worker.Decode(record, notices);
    if (status == EXIT_DONE) {
        status = worker.IsWanted(record, isWanted, notices);
    }
    if (status == EXIT_DONE && !isWanted) {
        text += "  not chosen by --where\n";
        return status;
    }
    if (status != EXIT_DONE) {
        return status;
    }
    status = worker.Execute(record, notices);
    for (const StatementResult& statement : worker.Result().statements) {
        text += ShowResult(statement);
    }
    return status;
}

// None of the records is kept.
int ExplainRecords(const Arguments& arguments, Session& session, OstraneRecord::OutputFile& out) {
    RecordWorker worker(arguments, session, Wanted());
    OstraneRecord::RecordReader& reader = session.Reader();
    InputError error;
    for (bool hasRecord = false; reader.Next(hasRecord, error) == 0;) {
        if (!hasRecord) {
            return EXIT_DONE;
        }
        const OstraneRecord::RawRecord record = reader.Current();
        std::string text = reader.Place(record) + "\n";
        std::vector<Notice> notices;
        const int status = ExplainRecord(worker, record, text, notices);
        if (out.Write(text, error) != 0) {
            PrintOutputError(out, error);
            return EXIT_NOT_POSSIBLE;
        }
        if (status != EXIT_DONE) {
            notices.back().Print();
            return status;
        }
    }
    PrintInputError(error);
    return EXIT_NOT_POSSIBLE;
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
        status = ExplainRecords(arguments, session, out);
    }
    if (error.code != 0 || out.Commit(error) != 0) {
        PrintOutputError(out, error);
        return EXIT_NOT_POSSIBLE;
    }
    return status;
}

}  // namespace OstraneCli
