// Protobuf messages from JSON, by protobuf's own mapping, with the place of whatever does not fit.
//
//   JsonToMessage("{\"scores\":[10,20]}", 18, player, error)
//
// Strict where data could be lost or moved without a word: a name that stands twice, null inside an array
// or as a map's value, a list for a singular field and one value for a repeated one, a number that does not
// fit, a name that the type does not have are errors. Both the schema's names and JSON's own are read.
#ifndef OSTRANE_RECORD_JSON_DECODE_H_
#define OSTRANE_RECORD_JSON_DECODE_H_

#include <cstddef>

#include "record/input_error.h"

namespace google {
namespace protobuf {
class Message;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

// Replaces what `message` holds. Required fields may be missing. Returns 0, or a negative code with the
// place and the reason in `error` and `message` unspecified.
int JsonToMessage(const char* json, size_t size, google::protobuf::Message& message, InputError& error);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_DECODE_H_
