// How an error travels through the record layer before it becomes a StatementError.
#ifndef OSTRANE_RECORD_FAILURE_H_
#define OSTRANE_RECORD_FAILURE_H_

#include <cstddef>
#include <string>

#include "common/err_code.h"
#include "expr/parse_context.h"

namespace google {
namespace protobuf {
class FieldDescriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

// A stretch of the statements' text, in bytes.
struct Place {
    size_t offset = 0;
    size_t length = 0;
};

struct Failure {
    OstraneCommon::ExprError error;
    std::string field;  // a full name, or empty
};

// Fills `failure` and returns `code`.
int Fail(Failure& failure, int code, const Place& place, std::string message, std::string hint = std::string(),
         const google::protobuf::FieldDescriptor* field = nullptr);

// Takes over what the expression library told.
int Fail(Failure& failure, int code, const OstraneCommon::ExprError& error,
         const google::protobuf::FieldDescriptor* field = nullptr);

// Of a field, as a sentence names it: its full name.
std::string NameOf(const google::protobuf::FieldDescriptor* field);

// "1 element", "3 elements"
std::string CountOf(int count);

// The stretch that begins at a token of `text`: a quoted text, a name, a number or one sign.
Place TokenAt(const std::string& text, int32_t offset);

// The stretch from the first token of a tree to its last one.
Place TreePlace(const std::string& text, const OstraneCommon::Expr& tree);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_FAILURE_H_
