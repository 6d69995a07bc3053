// What a statement did to a record, or why it could not: plain data, and its JSON and text forms.
#ifndef OSTRANE_RECORD_STATEMENT_RESULT_H_
#define OSTRANE_RECORD_STATEMENT_RESULT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/err_code.h"

namespace google {
namespace protobuf {
class FieldDescriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

// "OK" for 0, "COMMON_ERR_INVALID_ARRAY_INDEX" for -4633, "UNKNOWN" for a code that nothing here returns.
const char* CodeName(int code);

// Why a statement list does not compile, a parameter does not fit, or a statement failed.
struct StatementError {
    int code = 0;         // a negative result code; 0 where there is no error
    int statement = 0;    // the statement's number, from 1; 0 when no single statement is at fault
    size_t offset = 0;    // of the offending text in the statements, in bytes from 0
    size_t length = 0;    // of the offending text in bytes
    int line = 0;         // from 1; 0 when the error has no place
    int column = 0;       // in code points, from 1
    std::string field;    // the full name of the field, or empty
    std::string text;     // the offending text
    std::string message;  // one sentence without a full stop
    std::string hint;     // what to write instead, or empty

    // As it was made; texts keep their memory.
    void Clear();
};

// What one statement did, or would have done.
struct StatementResult {
    int number = 0;    // from 1
    std::string text;  // as it was written
    int code = 0;      // 0, or a negative result code told in `error`
    StatementError error;
    // The field that the statement is about; null in the result of a statement that does not compile.
    const google::protobuf::FieldDescriptor* field = nullptr;
    int64_t matched = 0;             // elements selected; of a singular field 1 or 0
    int64_t changed = 0;             // elements set, removed or inserted; of a singular field 1 or 0
    std::vector<int32_t> positions;  // of what was selected, ascending; of PUSH, the new elements' places
    int32_t sizeBefore = 0;          // elements of a repeated field, entries of a map; of a singular field 1 or 0
    int32_t sizeAfter = 0;
    bool hasElements = false;           // GET and TAKE
    std::vector<std::string> elements;  // of GET and TAKE, each as JSON
    bool unknownFields = false;         // what `elements` shows has unknown fields, which JSON leaves out
    bool undone = false;                // it succeeded, and a later statement's failure took it back

    // As it was made; texts and lists keep their memory.
    void Clear();
};

// What a statement list did to one record.
struct ExecutionResult {
    int code = 0;                             // 0, or that of the statement that failed, which is the last in the list
    StatementError error;                     // of the statement that failed
    std::vector<StatementResult> statements;  // in order, up to the one that failed

    int64_t Matched() const;
    int64_t Changed() const;  // 0 when a statement failed
};

// One JSON object without a line end, as a report holds one a statement and record:
//
//   {"record":0,"statement":1,"text":"POP scores[1]","code":0,"codeName":"OK","field":"demo.Player.scores",
//    "matched":1,"changed":1,"positions":[1],"sizeBefore":3,"sizeAfter":2}
std::string ReportLine(int64_t record, const StatementResult& result);

// The lines of all the statements that were run, each with its line end.
std::string ReportLines(int64_t record, const ExecutionResult& result);

// The same for a statement list that does not compile; `statements` is its text.
std::string ReportLine(int64_t record, const StatementError& error, const std::string& statements);

// The error for a person, lines without a final line end:
//
//   error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 3 elements of demo.Player.scores
//     PUSH scores[9] = 7
//                 ^
//     hint: ...
//
// `statements` is the text that was compiled. An error without a place shows its message and hint alone.
std::string ShowError(const StatementError& error, const std::string& statements);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_STATEMENT_RESULT_H_
