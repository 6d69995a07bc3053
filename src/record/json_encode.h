// Protobuf messages as JSON, by protobuf's own mapping, of whatever JSON can carry.
//
//   MessageToJson(player, JsonOptions(), json, error)      {"name":"ada","scores":[10,20]}
//   FieldToJson(player, scoresField, 1, options, ..)       20
//
// Fields come in the order of their numbers, map entries in the order of their keys: one record has one
// text. What JSON cannot carry is an error, never left out: a set group, extension or unknown field, a
// string that is not UTF-8.
#ifndef OSTRANE_RECORD_JSON_ENCODE_H_
#define OSTRANE_RECORD_JSON_ENCODE_H_

#include <string>

#include "record/input_error.h"

namespace google {
namespace protobuf {
class FieldDescriptor;
class Message;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

struct JsonOptions {
    bool camelNames = false;         // JSON's own names, not the schema's
    bool indent = false;             // two spaces a level; else all on one line without spaces
    bool dropUnknownFields = false;  // leave unknown fields out, for showing parts of a record
};

// Replaces `json` with the message's text, without a line end. `foundUnknownFields`, when not null, is set
// when unknown fields were left out. Returns 0, or COMMON_ERR_INVALID_EXPR_TYPE with the field in `error`
// and `json` unspecified.
int MessageToJson(const google::protobuf::Message& message, const JsonOptions& options, std::string& json,
                  InputError& error, bool* foundUnknownFields = nullptr);

// The same for one element of a repeated field or of a map (an entry is an object with one member), or,
// with `index` -1, for the value of a singular field or a whole repeated field.
int FieldToJson(const google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* field, int index,
                const JsonOptions& options, std::string& json, InputError& error, bool* foundUnknownFields = nullptr);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_ENCODE_H_
