// A file that holds one record, read into a message made for it.
//
//   std::unique_ptr<Message> player;
//   LoadRecordFile("player.json", schema, "demo.Player", CodecOptions(), player, error);
#ifndef OSTRANE_RECORD_RECORD_FILE_H_
#define OSTRANE_RECORD_RECORD_FILE_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>

#include "record/codec.h"
#include "record/input_error.h"
#include "record/schema.h"

namespace OstraneRecord {

// Makes a record of the type with this full name and reads the file into it. The file's ending tells the format,
// which is one of a single record: JSON, text or binary. Returns 0, or a negative code with the reason in
// `error`, with the file and the place where these are at fault, and `out` untouched. No exception leaves it. The
// schema outlives the record.
int LoadRecordFile(const std::string& file, const Schema& schema, const std::string& type, const CodecOptions& options,
                   std::unique_ptr<google::protobuf::Message>& out, InputError& error);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_RECORD_FILE_H_
