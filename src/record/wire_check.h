// Tells where a binary record is broken: protobuf's own parser only says that it is.
#ifndef OSTRANE_RECORD_WIRE_CHECK_H_
#define OSTRANE_RECORD_WIRE_CHECK_H_

#include <cstddef>

#include "record/input_error.h"

namespace google {
namespace protobuf {
class Descriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

// Fills `error` with the offset and the reason why `bytes`, which did not parse, are no message of `type`.
// Returns GEN_ERR_ERR.
int ExplainBrokenBinary(const char* bytes, size_t size, const google::protobuf::Descriptor& type, InputError& error);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_WIRE_CHECK_H_
