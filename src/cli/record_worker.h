// Takes records through the statements: from their bytes to the bytes of what becomes of them. Prints and
// writes nothing, so that threads do it side by side and the results are written in the records' order.
#ifndef OSTRANE_CLI_RECORD_WORKER_H_
#define OSTRANE_CLI_RECORD_WORKER_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "arguments.h"
#include "record/input_error.h"
#include "record/record_reader.h"
#include "record/statement_result.h"
#include "session.h"

namespace OstraneCli {

// What a run did, for its summary.
struct Totals {
    int64_t records = 0;
    int64_t matched = 0;
    int64_t changed = 0;
    int64_t failed = 0;

    void Add(const Totals& other);
    // "records 3, matched 5, changed 2, failed 0".
    std::string Show() const;
};

// What the user is to be told about a record.
struct Notice {
    enum class Kind { InputError, StatementError, UnknownFields };
    Kind kind = Kind::InputError;
    OstraneRecord::InputError inputError;
    OstraneRecord::StatementError statementError;
    const std::string* text = nullptr;  // that the statement error is about
    std::string place;                  // of the record, when there are many

    void Print() const;
};

// Records of one input that follow each other, and what became of them.
struct RecordBatch {
    std::vector<OstraneRecord::RawRecord> records;
    std::string bytes;                   // of the records, where they are not the reader's
    OstraneRecord::InputError inputEnd;  // its code is not 0 when the input failed behind the records
    uint64_t offset = 0;                 // of the input, behind the records
    bool mayWait = false;                // behind the records the input had nothing at hand

    int status = EXIT_DONE;  // else the run ends behind the record that failed, the last one taken
    Totals totals;
    std::vector<Notice> notices;
    std::string changed;   // the records as they go on
    std::string elements;  // what was selected
    std::string report;

    void Clear();
};

// Which of the results are wanted.
struct Wanted {
    bool records = false;
    bool elements = false;
    bool report = false;
};

// For one thread. The session outlives it.
class RecordWorker {
public:
    RecordWorker(const Arguments& arguments, const Session& session, const Wanted& wanted);

    // Takes the records in order up to the first that ends the run.
    void Take(RecordBatch& batch);

    // The steps, each an exit status with the reason in `notice`, which is added to when it is not EXIT_DONE.
    int Decode(const OstraneRecord::RawRecord& record, std::vector<Notice>& notices);
    int IsWanted(const OstraneRecord::RawRecord& record, bool& isWanted, std::vector<Notice>& notices);
    int Execute(const OstraneRecord::RawRecord& record, std::vector<Notice>& notices);
    const OstraneRecord::ExecutionResult& Result() const { return m_result; }

private:
    int TakeRecord(const OstraneRecord::RawRecord& record, RecordBatch& batch);
    int FailRecord(const OstraneRecord::RawRecord& record, int status, RecordBatch& batch);
    int PassThrough(const OstraneRecord::RawRecord& record, RecordBatch& batch);
    int Encode(const OstraneRecord::RawRecord& record, std::vector<Notice>& notices);
    int EncodeChanged(const OstraneRecord::RawRecord& record, std::vector<Notice>& notices);
    void AddElements(const OstraneRecord::RawRecord& record, RecordBatch& batch);
    std::string RecordPlace(const OstraneRecord::RawRecord& record) const;

    const Arguments& m_arguments;
    const Session& m_session;
    const Wanted m_wanted;
    const OstraneRecord::CodecOptions m_codec;
    std::unique_ptr<google::protobuf::Message> m_pMessage;
    ProtobufRecord m_record;
    // Used again for every record, so that they ask for memory once.
    OstraneRecord::ExecutionResult m_result;
    OstraneRecord::InputError m_error;
    std::string m_bytes;
    bool m_isDecoded = false;  // the current record, and as it came: it can be written in another format
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_RECORD_WORKER_H_
