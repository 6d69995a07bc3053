// Statement tests as text files:
//
//   schema player.proto demo.Player
//   base name: "Mara"
//
//   case PUSH inserts before its position
//   before scores: [10, 20, 30]
//   run PUSH scores[1] = 7
//   gives matched 1, changed 1, positions [1], sizes 3 -> 4
//   after scores: [10, 7, 20, 30]
//
// A line starts with its key; the text of `run` and `error` goes on in the lines below that start with two
// spaces. Keys of a file: `schema` (a file of examples/ or tests/testdata and a type) and `base` (text that
// every record of the file starts with). Keys of a case:
//
//   option  strict, partial, camel
//   param   NAME=JSON or NUMBER=JSON, as often as there are parameters
//   before  the record in text format; without it the base alone
//   unknown NUMBER=VALUE, a varint in a field that the schema does not know, before and after
//   run     the statements
//   error   what is shown of the failure, exactly, behind its first word
//   field   of the failure
//   gives   what the next statement did: matched, changed, positions, sizes, elements
//   after   the record afterwards; without it, it is unchanged
//
// A Markdown file holds cases too: every block that opens with ```case is one, about the sample schema.
#ifndef OSTRANE_TESTS_RECORD_CASE_FILE_H_
#define OSTRANE_TESTS_RECORD_CASE_FILE_H_

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

struct StatementCase {
    std::string file;
    std::string schema;
    std::string type;
    std::string name;
    std::vector<std::string> options;
    std::vector<std::pair<std::string, std::string>> parameters;
    std::string before;  // with the base
    std::vector<std::pair<int, uint64_t>> unknown;
    std::string run;
    std::string error;
    std::string field;
    std::vector<std::string> gives;
    bool hasAfter = false;
    std::string after;  // with the base
};

// What GoogleTest shows of a case.
void PrintTo(const StatementCase& test, std::ostream* out);

// The cases of one file, or of the .case files of a folder, files and cases in order. What the runner cannot read
// becomes a case whose `run` is empty and whose `error` says why.
std::vector<StatementCase> ReadCases(const std::string& path);

#endif  // OSTRANE_TESTS_RECORD_CASE_FILE_H_
