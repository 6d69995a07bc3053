// What the versions of libprotobuf call by different names, and what they leave to be asked for each time.
#ifndef OSTRANE_RECORD_PROTOBUF_COMPAT_H_
#define OSTRANE_RECORD_PROTOBUF_COMPAT_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>

#include <cstddef>
#include <limits>
#include <string>

namespace OstraneRecord {

// Whether the enum field keeps numbers that its type does not name.
inline bool TakesUnknownEnumNumbers(const google::protobuf::FieldDescriptor* field) {
#if GOOGLE_PROTOBUF_VERSION >= 4022000
    return !field->legacy_enum_field_treated_as_closed();
#else
    return field->file()->syntax() == google::protobuf::FileDescriptor::SYNTAX_PROTO3;
#endif
}

// Appends the message's bytes with map entries in the order of their keys, so that one record has one
// sequence of bytes. Its ByteSizeLong has just been asked for, which takes as long as writing does, and is at
// most 2 GiB. Required fields may be missing. False when memory runs out.
inline bool SerializeSized(const google::protobuf::Message& message, std::string& out) {
    google::protobuf::io::StringOutputStream stream(&out);
    google::protobuf::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeWithCachedSizes(&coded);
    return !coded.HadError();
}

// The same for any message. False, and nothing appended, when it exceeds 2 GiB.
inline bool SerializeDeterministic(const google::protobuf::Message& message, std::string& out) {
    return message.ByteSizeLong() <= static_cast<size_t>(std::numeric_limits<int>::max()) &&
           SerializeSized(message, out);
}

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_PROTOBUF_COMPAT_H_
