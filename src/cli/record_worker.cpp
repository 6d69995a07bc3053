#include "record_worker.h"

#include <exception>
#include <utility>

#include "common/err_code.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::InputError;
using OstraneRecord::RawRecord;
using OstraneRecord::RecordFormat;
using OstraneRecord::StatementError;
using OstraneRecord::StatementResult;

void Totals::Add(const Totals& other) {
    records += other.records;
    matched += other.matched;
    changed += other.changed;
    failed += other.failed;
}

std::string Totals::Show() const {
    return "records " + std::to_string(records) + ", matched " + std::to_string(matched) + ", changed " +
           std::to_string(changed) + ", failed " + std::to_string(failed);
}

void Notice::Print() const {
    switch (kind) {
        case Kind::InputError:
            return PrintInputError(inputError);
        case Kind::StatementError:
            return PrintStatementError(statementError, *text, place);
        case Kind::UnknownFields:
            return PrintNote("note: unknown fields of what was selected are left out");
    }
}

namespace {

Notice FromInputError(const InputError& error) {
    Notice notice;
    notice.inputError = error;
    return notice;
}

Notice FromStatementError(const StatementError& error, const std::string& text, const std::string& place) {
    Notice notice;
    notice.kind = Notice::Kind::StatementError;
    notice.statementError = error;
    notice.text = &text;
    notice.place = place;
    return notice;
}

}  // namespace

void RecordBatch::Clear() {
    records.clear();
    inputEnd.code = 0;
    status = EXIT_DONE;
    totals = Totals();
    notices.clear();
    for (std::string* text : {&bytes, &changed, &elements, &report}) {
        text->clear();
    }
}

RecordWorker::RecordWorker(const Arguments& arguments, const Session& session, const Wanted& wanted)
    : m_arguments(arguments),
      m_session(session),
      m_wanted(wanted),
      m_codec(session.Codec()),
      m_pMessage(session.NewMessage()),
      m_record(session.NewRecord()) {
    m_record.m_pMessage = m_pMessage.get();
}

void RecordWorker::Take(RecordBatch& batch) {
    const RawRecord* current = nullptr;
    try {
        for (const RawRecord& record : batch.records) {
            current = &record;
            batch.status = TakeRecord(record, batch);
            if (batch.status != EXIT_DONE) {
                return;
            }
        }
    } catch (const std::exception& exception) {
        InputError error;
        error.file = m_session.Reader().Place(*current);
        OstraneRecord::FailInput(error, OstraneErrCode::GEN_ERR_ERR, std::string("cannot go on: ") + exception.what());
        batch.notices.push_back(FromInputError(error));
        batch.status = EXIT_NOT_POSSIBLE;
    }
}

int RecordWorker::TakeRecord(const RawRecord& record, RecordBatch& batch) {
    m_isDecoded = false;
    ++batch.totals.records;
    int status = Decode(record, batch.notices);
    if (status != EXIT_DONE) {
        return FailRecord(record, status, batch);
    }
    m_isDecoded = true;
    bool isWanted = true;
    status = IsWanted(record, isWanted, batch.notices);
    if (status != EXIT_DONE) {
        return FailRecord(record, status, batch);
    }
    if (!isWanted) {
        return PassThrough(record, batch);
    }
    status = Execute(record, batch.notices);
    if (status == EXIT_DONE) {
        status = EncodeChanged(record, batch.notices);
    }
    if (m_wanted.report) {
        batch.report += OstraneRecord::ReportLines(record.index, m_result);
    }
    if (status != EXIT_DONE) {
        return FailRecord(record, status, batch);
    }
    batch.totals.matched += m_result.Matched();
    batch.totals.changed += m_result.Changed();
    AddElements(record, batch);
    if (m_wanted.records) {
        batch.changed += m_bytes;
    }
    return EXIT_DONE;
}

int RecordWorker::Decode(const RawRecord& record, std::vector<Notice>& notices) {
    if (m_session.Reader().Decode(record, m_codec, *m_pMessage, m_error) == 0) {
        return EXIT_DONE;
    }
    notices.push_back(FromInputError(m_error));
    return EXIT_NOT_POSSIBLE;
}

// Of a single record the error needs no place.
std::string RecordWorker::RecordPlace(const RawRecord& record) const {
    return m_session.IsStream() ? m_session.Reader().Place(record) : std::string();
}

int RecordWorker::IsWanted(const RawRecord& record, bool& isWanted, std::vector<Notice>& notices) {
    isWanted = true;
    const OstraneRecord::RecordCondition* const condition = m_session.Condition();
    if (condition == nullptr) {
        return EXIT_DONE;
    }
    StatementError error;
    if (condition->Holds(m_record, isWanted, error) == 0) {
        return EXIT_DONE;
    }
    const std::string place = m_session.IsStream() ? "--where, " + RecordPlace(record) : "--where";
    notices.push_back(FromStatementError(error, m_session.ConditionText(), place));
    return EXIT_STATEMENT_FAILED;
}

int RecordWorker::Execute(const RawRecord& record, std::vector<Notice>& notices) {
    if (m_session.Bound().Execute(m_record, m_result) == 0) {
        return EXIT_DONE;
    }
    notices.push_back(FromStatementError(m_result.error, m_session.Statements(), RecordPlace(record)));
    return EXIT_STATEMENT_FAILED;
}

// The record as the statements left it. Where the output has no form for it they have been in vain, and it
// is gone for every other use too.
int RecordWorker::EncodeChanged(const RawRecord& record, std::vector<Notice>& notices) {
    const int status = m_wanted.records ? Encode(record, notices) : EXIT_DONE;
    if (status != EXIT_DONE) {
        m_isDecoded = false;
        for (StatementResult& statement : m_result.statements) {
            statement.undone = true;
        }
    }
    return status;
}

int RecordWorker::Encode(const RawRecord& record, std::vector<Notice>& notices) {
    if (OstraneRecord::EncodeRecord(m_arguments.outFormat, *m_pMessage, m_codec, m_bytes, m_error) == 0) {
        return EXIT_DONE;
    }
    m_error.file = m_session.Reader().Place(record);
    notices.push_back(FromInputError(m_error));
    return EXIT_NOT_POSSIBLE;
}

// The reason has been told. With --keep-going the record goes on as it came.
int RecordWorker::FailRecord(const RawRecord& record, int status, RecordBatch& batch) {
    ++batch.totals.failed;
    return m_arguments.keepGoing ? PassThrough(record, batch) : status;
}

// Between equal formats the very bytes go on, and a record that cannot be read goes on as well.
int RecordWorker::PassThrough(const RawRecord& record, RecordBatch& batch) {
    if (!m_wanted.records) {
        return EXIT_DONE;
    }
    if (m_arguments.inFormat != m_arguments.outFormat) {
        const int status = m_isDecoded ? Encode(record, batch.notices) : EXIT_NOT_POSSIBLE;
        if (status == EXIT_DONE) {
            batch.changed += m_bytes;
        }
        return status;
    }
    if (m_arguments.inFormat == RecordFormat::Delimited) {
        batch.changed += OstraneRecord::DelimitedLength(record.size);
    }
    batch.changed.append(record.data, record.size);
    if (m_arguments.inFormat == RecordFormat::Ndjson) {
        batch.changed += '\n';
    }
    return EXIT_DONE;
}

// Before an element, as --positions asks: the record's number in a stream, and the element's position.
void RecordWorker::AddElements(const RawRecord& record, RecordBatch& batch) {
    const std::string number =
        m_arguments.positions && m_session.IsStream() ? std::to_string(record.index) + "\t" : std::string();
    for (const StatementResult& statement : m_result.statements) {
        for (size_t i = 0; m_wanted.elements && i < statement.elements.size(); ++i) {
            if (m_arguments.positions) {
                // A singular field has no positions.
                const bool hasPosition = i < statement.positions.size();
                batch.elements += number + (hasPosition ? std::to_string(statement.positions[i]) : "") + "\t";
            }
            batch.elements += statement.elements[i];
            batch.elements += '\n';
        }
        if ((m_wanted.elements || m_wanted.report) && statement.unknownFields) {
            batch.notices.emplace_back();
            batch.notices.back().kind = Notice::Kind::UnknownFields;
        }
    }
}

}  // namespace OstraneCli
