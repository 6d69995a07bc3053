// The file of --report: one JSON object a statement and record.
#ifndef OSTRANE_CLI_REPORT_H_
#define OSTRANE_CLI_REPORT_H_

#include <string>

#include "arguments.h"
#include "record/output_file.h"
#include "record/statement_result.h"

namespace OstraneCli {

// Each method returns an exit status, and has said what is wrong when that is not EXIT_DONE. Does nothing
// where no report was asked for.
class Report {
public:
    explicit Report(const Arguments& arguments) : m_path(arguments.report) {}
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    // Begins the file anew: what a run reports stands alone.
    int Open();
    bool IsOpen() const { return m_descriptor >= 0; }
    bool IsTerminal() const { return m_out.IsTerminal(); }
    // Lines, each with its end.
    int Add(const std::string& lines);
    // Of statements that do not compile.
    int Add(const OstraneRecord::StatementError& error, const std::string& statements);
    int Finish();

private:
    const std::string& m_path;
    int m_descriptor = -1;
    OstraneRecord::OutputFile m_out;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_REPORT_H_
