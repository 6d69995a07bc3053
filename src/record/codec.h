// Records as bytes: JSON, text format and binary, read and written.
//
//   RecordFormat format;
//   FormatOfFile("player.json", format);
//   DecodeRecord(format, bytes.data(), bytes.size(), CodecOptions(), *message, error);
//   EncodeRecord(format, *message, CodecOptions(), bytes, error);
//
// What a format cannot carry is an error that names the field, never left out. No exception leaves these
// functions, and no input aborts the process. They are stateless: threads may call them at the same time.
#ifndef OSTRANE_RECORD_CODEC_H_
#define OSTRANE_RECORD_CODEC_H_

#include <cstddef>
#include <string>

#include "record/input_error.h"

namespace google {
namespace protobuf {
class Message;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

enum class RecordFormat {
    Json,       // one record
    Ndjson,     // records of one line each
    Text,       // one record in protobuf's text format
    Binary,     // one record in protobuf's wire format
    Delimited,  // records in the wire format, the length as a varint before each
};

// "json", "ndjson", "text", "binary", "delimited".
const char* FormatName(RecordFormat format);
bool FormatOfName(const std::string& name, RecordFormat& format);
// By the ending: .json; .ndjson .jsonl; .txtpb .textproto .pbtxt .prototxt; .pb .bin .binpb; .delim.
bool FormatOfFile(const std::string& path, RecordFormat& format);
// Whether the format holds any number of records.
bool IsStream(RecordFormat format);

struct CodecOptions {
    bool partial = false;     // records may lack required fields
    bool camelNames = false;  // write JSON's own names, not the schema's; both are read
};

// Reads one record, which replaces what `message` holds: a whole JSON, text or binary input, a line of
// ndjson, the bytes behind a length of a delimited stream. Returns 0, COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE
// when required fields are missing, or GEN_ERR_ERR with the place and the reason in `error`; on failure
// `message` is unspecified.
int DecodeRecord(RecordFormat format, const char* bytes, size_t size, const CodecOptions& options,
                 google::protobuf::Message& message, InputError& error);

// Replaces `bytes` with the record as it stands in a file of this format: indented JSON and text end with a
// line end, a record of ndjson is one line, one of a delimited stream has its length before it. Returns 0 or
// a negative code with the field in `error`; on failure `bytes` is unspecified.
int EncodeRecord(RecordFormat format, const google::protobuf::Message& message, const CodecOptions& options,
                 std::string& bytes, InputError& error);

// The varint that stands before `size` bytes of a record in a delimited stream.
std::string DelimitedLength(size_t size);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_CODEC_H_
