#include "record_loop.h"

#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::ExecutionResult;
using OstraneRecord::InputError;
using OstraneRecord::OutputFile;
using OstraneRecord::RecordFormat;
using OstraneRecord::StatementResult;

std::string Totals::Show() const {
    return "records " + std::to_string(records) + ", matched " + std::to_string(matched) + ", changed " +
           std::to_string(changed) + ", failed " + std::to_string(failed);
}

int RecordLoop::Run() {
    for (;;) {
        bool hasRecord = false;
        int status = m_session.Next(hasRecord);
        if (status == EXIT_DONE && hasRecord) {
            status = TakeRecord();
        }
        if (status != EXIT_DONE) {
            m_hasStopped = true;
            return status;
        }
        if (!hasRecord) {
            return m_totals.failed == 0 ? EXIT_DONE : EXIT_STATEMENT_FAILED;
        }
    }
}

int RecordLoop::TakeRecord() {
    m_isDecoded = false;
    ++m_totals.records;
    int status = m_session.Decode();
    if (status != EXIT_DONE) {
        return FailRecord(status);
    }
    m_isDecoded = true;
    bool isWanted = true;
    status = m_session.IsWanted(isWanted);
    if (status != EXIT_DONE) {
        return FailRecord(status);
    }
    if (!isWanted) {
        return PassThrough();
    }
    ExecutionResult result;
    status = m_session.Execute(result);
    std::string bytes;
    if (status == EXIT_DONE) {
        status = EncodeChanged(result, bytes);
    }
    const int reported = m_to.report->Add(m_session.Reader().Index(), result);
    if (reported != EXIT_DONE) {
        return reported;
    }
    if (status != EXIT_DONE) {
        return FailRecord(status);
    }
    m_totals.matched += result.Matched();
    m_totals.changed += result.Changed();
    if (m_to.elements != nullptr) {
        status = PrintElements(result);
    }
    return status == EXIT_DONE && m_to.records != nullptr ? Write(*m_to.records, bytes) : status;
}

// The record as the statements left it. Where the output has no form for it they have been in vain, and it
// is gone for every other use too.
int RecordLoop::EncodeChanged(ExecutionResult& result, std::string& bytes) {
    const int status = m_to.records == nullptr ? EXIT_DONE : Encode(bytes);
    if (status != EXIT_DONE) {
        m_isDecoded = false;
        for (StatementResult& statement : result.statements) {
            statement.undone = true;
        }
    }
    return status;
}

// The reason has been told. With --keep-going the record goes on as it came.
int RecordLoop::FailRecord(int status) {
    ++m_totals.failed;
    return m_arguments.keepGoing ? PassThrough() : status;
}

// Between equal formats the very bytes go on, and a record that cannot be read goes on as well.
int RecordLoop::PassThrough() {
    if (m_to.records == nullptr) {
        return EXIT_DONE;
    }
    if (m_arguments.inFormat != m_arguments.outFormat) {
        return m_isDecoded ? WriteRecord() : EXIT_NOT_POSSIBLE;
    }
    const OstraneRecord::RecordReader& reader = m_session.Reader();
    const std::string body(reader.Data(), reader.Size());
    switch (m_arguments.inFormat) {
        case RecordFormat::Ndjson:
            return Write(*m_to.records, body + "\n");
        case RecordFormat::Delimited:
            return Write(*m_to.records, OstraneRecord::DelimitedLength(body.size()) + body);
        default:
            return Write(*m_to.records, body);
    }
}

std::string RecordLoop::PositionPrefix(const StatementResult& statement, size_t index) const {
    if (!m_arguments.positions) {
        return std::string();
    }
    const std::string record = m_session.IsStream() ? std::to_string(m_session.Reader().Index()) + "\t" : "";
    // A singular field has no positions.
    const bool hasPosition = index < statement.positions.size();
    return record + (hasPosition ? std::to_string(statement.positions[index]) : "") + "\t";
}

int RecordLoop::PrintElements(const ExecutionResult& result) {
    for (const StatementResult& statement : result.statements) {
        for (size_t i = 0; i < statement.elements.size(); ++i) {
            const int status = Write(*m_to.elements, PositionPrefix(statement, i) + statement.elements[i] + "\n");
            if (status != EXIT_DONE) {
                return status;
            }
        }
        if (statement.unknownFields && !m_hasToldUnknown) {
            m_hasToldUnknown = true;
            PrintNote("note: unknown fields of what was selected are left out");
        }
    }
    return EXIT_DONE;
}

int RecordLoop::WriteRecord() {
    std::string bytes;
    const int status = Encode(bytes);
    return status == EXIT_DONE ? Write(*m_to.records, bytes) : status;
}

int RecordLoop::Encode(std::string& bytes) {
    InputError error;
    if (OstraneRecord::EncodeRecord(m_arguments.outFormat, m_session.Message(), m_session.Codec(), bytes, error) != 0) {
        error.file = m_session.Reader().Place();
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

int RecordLoop::Write(OutputFile& out, const std::string& bytes) {
    InputError error;
    if (out.Write(bytes, error) != 0) {
        PrintInputError(error);
        return EXIT_NOT_POSSIBLE;
    }
    return EXIT_DONE;
}

}  // namespace OstraneCli
