// Takes the records of the input one after the other through the statements to where they go.
#ifndef OSTRANE_CLI_RECORD_LOOP_H_
#define OSTRANE_CLI_RECORD_LOOP_H_

#include <cstdint>
#include <string>

#include "arguments.h"
#include "record/output_file.h"
#include "report.h"
#include "session.h"

namespace OstraneCli {

// What a run did, for its summary.
struct Totals {
    int64_t records = 0;
    int64_t matched = 0;
    int64_t changed = 0;
    int64_t failed = 0;

    // "records 3, matched 5, changed 2, failed 0".
    std::string Show() const;
};

// What becomes of a record and of what is selected in it.
struct Destinations {
    OstraneRecord::OutputFile* records = nullptr;   // null: the records go nowhere
    OstraneRecord::OutputFile* elements = nullptr;  // null: the elements go nowhere
    Report* report = nullptr;                       // never null
};

// For one run.
class RecordLoop {
public:
    RecordLoop(const Arguments& arguments, Session& session, const Destinations& destinations)
        : m_arguments(arguments), m_session(session), m_to(destinations) {}

    // Returns an exit status, everything that went wrong told. EXIT_STATEMENT_FAILED also when failing
    // records were passed over, as --keep-going asks: HasStopped tells the two apart.
    int Run();
    bool HasStopped() const { return m_hasStopped; }
    const Totals& Sums() const { return m_totals; }

private:
    int TakeRecord();
    int FailRecord(int status);
    int PassThrough();
    int PrintElements(const OstraneRecord::ExecutionResult& result);
    int EncodeChanged(OstraneRecord::ExecutionResult& result, std::string& bytes);
    int WriteRecord();
    int Encode(std::string& bytes);
    int Write(OstraneRecord::OutputFile& out, const std::string& bytes);
    std::string PositionPrefix(const OstraneRecord::StatementResult& statement, size_t index) const;

    const Arguments& m_arguments;
    Session& m_session;
    Destinations m_to;
    Totals m_totals;
    bool m_hasStopped = false;
    bool m_isDecoded = false;  // the current record, and as it came: it can be written in another format
    bool m_hasToldUnknown = false;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_RECORD_LOOP_H_
