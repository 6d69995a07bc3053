#include "run.h"

#include <unistd.h>

#include <string>

#include "common/err_code.h"
#include "record/output_file.h"
#include "record/statement_result.h"
#include "record_loop.h"
#include "report.h"
#include "session.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::InputError;
using OstraneRecord::OutputFile;

namespace {

// Whether any statement of the plan hands elements out.
bool HasElements(const OstraneRecord::StatementPlan& plan) {
    for (size_t i = 0; i < plan.StatementCount(); ++i) {
        if (plan.HasElements(i)) {
            return true;
        }
    }
    return false;
}

// Opens the report and gets everything ready; statements that do not compile stand in the report.
int Start(Session& session, Report& report) {
    int status = report.Open();
    if (status != EXIT_DONE) {
        return status;
    }
    status = session.Start();
    if (status == EXIT_STATEMENT_FAILED && session.StartError().code != 0) {
        const int reported = report.Add(session.StartError(), session.Statements());
        return reported == EXIT_DONE && report.Finish() == EXIT_DONE ? status : EXIT_NOT_POSSIBLE;
    }
    return status;
}

// Finishes what was written to; the first thing that went wrong decides.
int Finish(OutputFile& out, int status) {
    InputError error;
    if (out.Commit(error) == 0) {
        return status;
    }
    PrintOutputError(out, error);
    return status == EXIT_DONE || status == EXIT_STATEMENT_FAILED ? EXIT_NOT_POSSIBLE : status;
}

}  // namespace

int RunApply(const Arguments& arguments) {
    Report report(arguments);
    Session session(arguments);
    int status = Start(session, report);
    if (status != EXIT_DONE) {
        return status;
    }
    const bool hasOtherPlace = arguments.WritesFile() || arguments.dryRun || !arguments.report.empty();
    if (HasElements(session.Plan()) && !hasOtherPlace) {
        PrintUsageError(
            "GET and TAKE print to stdout, where the record goes too: send the record to a file with --out or "
            "--in-place, what they select to one with --report, or read with ostrane get");
        return EXIT_NOT_POSSIBLE;
    }
    OutputFile records;
    OutputFile elements;
    InputError error;
    elements.UseDescriptor(STDOUT_FILENO, "standard output");
    if (!arguments.WritesFile()) {
        records.UseDescriptor(STDOUT_FILENO, "standard output");
    } else if (!arguments.dryRun &&
               records.Replace(arguments.inPlace ? arguments.inFile : arguments.outFile, error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    Destinations to;
    to.report = &report;
    to.records = arguments.dryRun ? nullptr : &records;
    const bool isStdoutFree = (arguments.WritesFile() || arguments.dryRun) && arguments.report != "-";
    to.elements = isStdoutFree && HasElements(session.Plan()) ? &elements : nullptr;

    RecordLoop loop(arguments, session, to);
    status = loop.Run();
    status = Finish(elements, status);
    if (report.Finish() != EXIT_DONE) {
        status = EXIT_NOT_POSSIBLE;
    }
    // Onto stdout the records before a failing one are written; a file is left as it was.
    const bool isWhole = !loop.HasStopped() && status != EXIT_NOT_POSSIBLE;
    if (to.records != nullptr && (isWhole || !arguments.WritesFile())) {
        status = Finish(records, status);
    }
    if (records.HasLostReader() || elements.HasLostReader()) {
        return status;
    }
    if (arguments.dryRun) {
        PrintNote("dry run, nothing written: " + loop.Sums().Show());
    } else if (session.IsStream()) {
        PrintNote(loop.Sums().Show());
    }
    return status;
}

int RunGet(const Arguments& arguments) {
    Report report(arguments);
    Session session(arguments);
    int status = Start(session, report);
    if (status != EXIT_DONE) {
        return status;
    }
    const OstraneRecord::StatementPlan& plan = session.Plan();
    if (plan.StatementCount() != 1 || plan.Changes(0) || !plan.HasElements(0)) {
        PrintUsageError("get takes one GET statement; ostrane apply runs the others");
        return EXIT_NOT_POSSIBLE;
    }
    OutputFile elements;
    elements.UseDescriptor(STDOUT_FILENO, "standard output");
    Destinations to;
    to.report = &report;
    to.elements = &elements;
    RecordLoop loop(arguments, session, to);
    status = Finish(elements, loop.Run());
    if (report.Finish() != EXIT_DONE) {
        status = EXIT_NOT_POSSIBLE;
    }
    if (session.IsStream() && !elements.HasLostReader()) {
        PrintNote(loop.Sums().Show());
    }
    return status;
}

int RunCodes() {
    static const struct {
        int code;
        const char* meaning;
    } ROWS[] = {
        {0, "done"},
        {OstraneErrCode::GEN_ERR_ERR, "an input that cannot be read, or an object that should be there is not"},
        {OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, "a message lacks required fields"},
        {OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX, "a statement or an expression has the wrong shape"},
        {OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, "an index, a range or a count does not fit the array"},
        {OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME, "a name is not known, or two fields are not the same"},
        {OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, "a value does not fit the field, or the type is not handled"},
    };
    std::string text;
    for (const auto& row : ROWS) {
        std::string line = std::to_string(row.code);
        line.resize(7, ' ');
        line += OstraneRecord::CodeName(row.code);
        line.resize(49, ' ');
        text += line + row.meaning + "\n";
    }
    return PrintText(text) ? EXIT_DONE : EXIT_NOT_POSSIBLE;
}

}  // namespace OstraneCli
