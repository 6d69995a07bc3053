// The message types that have a JSON form of their own, and those forms that are single texts.
#ifndef OSTRANE_RECORD_JSON_WELL_KNOWN_H_
#define OSTRANE_RECORD_JSON_WELL_KNOWN_H_

#include <string>

namespace google {
namespace protobuf {
class Descriptor;
class EnumDescriptor;
class FieldDescriptor;
class Message;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

enum class WellKnown { None, Any, Timestamp, Duration, FieldMask, Struct, Value, ListValue, Wrapper };

// None as well for a type that has one of the names and other fields.
WellKnown WellKnownOf(const google::protobuf::Descriptor* type);
bool IsNullValue(const google::protobuf::EnumDescriptor* type);
// Whether JSON's null is a value of the field, and not its absence.
bool TakesNull(const google::protobuf::FieldDescriptor* field);

// The text of a Timestamp, Duration or FieldMask. False, with the reason, when it has none.
bool WellKnownToText(WellKnown kind, const google::protobuf::Message& message, std::string& text, std::string& reason);
// The other way. The message is empty before.
bool WellKnownFromText(WellKnown kind, const std::string& text, google::protobuf::Message& message,
                       std::string& reason);

// A new message of the type that the type URL of an Any names, made by the factory of `any`; the caller
// owns it. Null, with the reason, when the type is not in the schema.
google::protobuf::Message* NewAnyContent(const google::protobuf::Message& any, const std::string& typeUrl,
                                         std::string& reason);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_JSON_WELL_KNOWN_H_
