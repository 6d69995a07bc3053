#include "run.h"

#include <unistd.h>

#include <cstdint>
#include <string>

#include "common/err_code.h"
#include "record/output_file.h"
#include "record/statement_result.h"
#include "session.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::ExecutionResult;
using OstraneRecord::InputError;
using OstraneRecord::OutputFile;
using OstraneRecord::StatementResult;

namespace {

// What a run did, for its summary.
struct Totals {
    int64_t records = 0;
    int64_t matched = 0;
    int64_t changed = 0;
    int64_t failed = 0;

    void Add(const ExecutionResult& result) {
        ++records;
        matched += result.Matched();
        changed += result.Changed();
    }
    std::string Show() const {
        return "records " + std::to_string(records) + ", matched " + std::to_string(matched) + ", changed " +
               std::to_string(changed) + ", failed " + std::to_string(failed);
    }
};

int FailOutput(const InputError& error) {
    PrintInputError(error);
    return EXIT_NOT_POSSIBLE;
}

// Prints what the statements select, one element a line.
class ElementPrinter {
public:
    ElementPrinter(const Arguments& arguments, const Session& session) : m_arguments(arguments), m_session(session) {
        m_out.UseDescriptor(STDOUT_FILENO, "standard output");
    }

    int Print(const ExecutionResult& result) {
        for (const StatementResult& statement : result.statements) {
            for (size_t i = 0; i < statement.elements.size(); ++i) {
                const std::string line = Prefix(statement, i) + statement.elements[i] + "\n";
                if (m_out.Write(line, m_error) != 0) {
                    return FailOutput(m_error);
                }
            }
            if (statement.unknownFields && !m_hasToldUnknown) {
                m_hasToldUnknown = true;
                PrintNote("note: unknown fields of what was selected are left out");
            }
        }
        return EXIT_DONE;
    }
    int Finish() { return m_out.Commit(m_error) == 0 ? EXIT_DONE : FailOutput(m_error); }

private:
    std::string Prefix(const StatementResult& statement, size_t index) const {
        if (!m_arguments.positions) {
            return std::string();
        }
        const std::string record = m_session.IsStream() ? std::to_string(m_session.Reader().Index()) + "\t" : "";
        // A singular field has no positions.
        const bool hasPosition = index < statement.positions.size();
        return record + (hasPosition ? std::to_string(statement.positions[index]) : "") + "\t";
    }

    const Arguments& m_arguments;
    const Session& m_session;
    OutputFile m_out;
    InputError m_error;
    bool m_hasToldUnknown = false;
};

// Whether any statement of the plan satisfies `test`.
template <typename Test>
bool AnyStatement(const OstraneRecord::StatementPlan& plan, Test test) {
    for (size_t i = 0; i < plan.StatementCount(); ++i) {
        if (test(i)) {
            return true;
        }
    }
    return false;
}

int WriteRecord(const Session& session, const Arguments& arguments, OutputFile& out) {
    InputError error;
    std::string bytes;
    if (OstraneRecord::EncodeRecord(arguments.outFormat, session.Message(), session.Codec(), bytes, error) != 0) {
        error.file = session.Reader().Place();
        return FailOutput(error);
    }
    return out.Write(bytes, error) == 0 ? EXIT_DONE : FailOutput(error);
}

int ApplyToRecords(Session& session, const Arguments& arguments, OutputFile& out, ElementPrinter& printer,
                   Totals& totals) {
    for (;;) {
        bool hasRecord = false;
        int status = session.NextRecord(hasRecord);
        if (status != EXIT_DONE || !hasRecord) {
            return status;
        }
        ExecutionResult result;
        status = session.Execute(result);
        if (status != EXIT_DONE) {
            ++totals.records;
            ++totals.failed;
            return status;
        }
        totals.Add(result);
        if (arguments.WritesFile() || arguments.dryRun) {
            status = printer.Print(result);
        }
        if (status == EXIT_DONE && !arguments.dryRun) {
            status = WriteRecord(session, arguments, out);
        }
        if (status != EXIT_DONE) {
            return status;
        }
    }
}

}  // namespace

int RunApply(const Arguments& arguments) {
    Session session(arguments);
    int status = session.Start();
    if (status != EXIT_DONE) {
        return status;
    }
    const OstraneRecord::StatementPlan& plan = session.Plan();
    const bool hasElements = AnyStatement(plan, [&plan](size_t i) { return plan.HasElements(i); });
    if (hasElements && !arguments.WritesFile() && !arguments.dryRun) {
        PrintUsageError(
            "GET and TAKE print to stdout, where the record goes too: send the record to a file with --out or "
            "--in-place, or read with ostrane get");
        return EXIT_NOT_POSSIBLE;
    }
    OutputFile out;
    InputError error;
    if (!arguments.WritesFile()) {
        out.UseDescriptor(STDOUT_FILENO, "standard output");
    } else if (!arguments.dryRun && out.Replace(arguments.inPlace ? arguments.inFile : arguments.outFile, error) != 0) {
        return FailOutput(error);
    }

    Totals totals;
    ElementPrinter printer(arguments, session);
    status = ApplyToRecords(session, arguments, out, printer, totals);
    // Onto stdout the records before a failing one are written; a file is left as it was.
    const bool isWritten = !arguments.dryRun && (status == EXIT_DONE || !arguments.WritesFile());
    const int printed = printer.Finish();
    if (status == EXIT_DONE) {
        status = printed;
    }
    if (isWritten && (status == EXIT_DONE || !arguments.WritesFile()) && out.Commit(error) != 0) {
        status = FailOutput(error);
    }
    if (arguments.dryRun) {
        PrintNote("dry run, nothing written: " + totals.Show());
    } else if (session.IsStream()) {
        PrintNote(totals.Show());
    }
    return status;
}

int RunGet(const Arguments& arguments) {
    Session session(arguments);
    int status = session.Start();
    if (status != EXIT_DONE) {
        return status;
    }
    const OstraneRecord::StatementPlan& plan = session.Plan();
    if (plan.StatementCount() != 1 || plan.Changes(0) || !plan.HasElements(0)) {
        PrintUsageError("get takes one GET statement; ostrane apply runs the others");
        return EXIT_NOT_POSSIBLE;
    }
    Totals totals;
    ElementPrinter printer(arguments, session);
    for (;;) {
        bool hasRecord = false;
        status = session.NextRecord(hasRecord);
        if (status != EXIT_DONE || !hasRecord) {
            break;
        }
        ExecutionResult result;
        status = session.Execute(result);
        totals.Add(result);
        totals.failed += status == EXIT_DONE ? 0 : 1;
        if (status == EXIT_DONE) {
            status = printer.Print(result);
        }
        if (status != EXIT_DONE) {
            break;
        }
    }
    const int printed = printer.Finish();
    if (session.IsStream()) {
        PrintNote(totals.Show());
    }
    return status == EXIT_DONE ? printed : status;
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
