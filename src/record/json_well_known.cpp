#include "record/json_well_known.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/duration.pb.h>
#include <google/protobuf/field_mask.pb.h>
#include <google/protobuf/message.h>
#include <google/protobuf/timestamp.pb.h>
#include <google/protobuf/util/field_mask_util.h>
#include <google/protobuf/util/time_util.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace OstraneRecord {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// What a member of a well-known type must look like for reflection to be used on it blindly.
struct Shape {
    const char* type;
    WellKnown kind;
    int fieldCount;
    FieldDescriptor::Type first;  // of field number 1
    bool isRepeated;              // field number 1; a map is repeated too
};

constexpr Shape SHAPES[] = {
    {"Any", WellKnown::Any, 2, FieldDescriptor::TYPE_STRING, false},
    {"Timestamp", WellKnown::Timestamp, 2, FieldDescriptor::TYPE_INT64, false},
    {"Duration", WellKnown::Duration, 2, FieldDescriptor::TYPE_INT64, false},
    {"FieldMask", WellKnown::FieldMask, 1, FieldDescriptor::TYPE_STRING, true},
    {"Struct", WellKnown::Struct, 1, FieldDescriptor::TYPE_MESSAGE, true},
    {"Value", WellKnown::Value, 6, FieldDescriptor::TYPE_ENUM, false},
    {"ListValue", WellKnown::ListValue, 1, FieldDescriptor::TYPE_MESSAGE, true},
    {"DoubleValue", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_DOUBLE, false},
    {"FloatValue", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_FLOAT, false},
    {"Int64Value", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_INT64, false},
    {"UInt64Value", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_UINT64, false},
    {"Int32Value", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_INT32, false},
    {"UInt32Value", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_UINT32, false},
    {"BoolValue", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_BOOL, false},
    {"StringValue", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_STRING, false},
    {"BytesValue", WellKnown::Wrapper, 1, FieldDescriptor::TYPE_BYTES, false},
};

bool HasType(const Descriptor* type, int number, FieldDescriptor::Type wanted) {
    const FieldDescriptor* const field = type->FindFieldByNumber(number);
    return field != nullptr && field->type() == wanted && !field->is_repeated();
}

// The members that the first one does not vouch for.
bool HasOtherMembers(WellKnown kind, const Descriptor* type) {
    const FieldDescriptor* const first = type->FindFieldByNumber(1);
    switch (kind) {
        case WellKnown::Any:
            return HasType(type, 2, FieldDescriptor::TYPE_BYTES);
        case WellKnown::Timestamp:
        case WellKnown::Duration:
            return HasType(type, 2, FieldDescriptor::TYPE_INT32);
        case WellKnown::Value:
            return HasType(type, 2, FieldDescriptor::TYPE_DOUBLE) && HasType(type, 3, FieldDescriptor::TYPE_STRING) &&
                   HasType(type, 4, FieldDescriptor::TYPE_BOOL) && HasType(type, 5, FieldDescriptor::TYPE_MESSAGE) &&
                   HasType(type, 6, FieldDescriptor::TYPE_MESSAGE) && IsNullValue(first->enum_type()) &&
                   type->FindFieldByNumber(5)->message_type()->full_name() == "google.protobuf.Struct" &&
                   type->FindFieldByNumber(6)->message_type()->full_name() == "google.protobuf.ListValue" &&
                   type->oneof_decl_count() == 1;
        case WellKnown::Struct:
            return first->is_map() &&
                   first->message_type()->FindFieldByNumber(1)->type() == FieldDescriptor::TYPE_STRING &&
                   first->message_type()->FindFieldByNumber(2)->type() == FieldDescriptor::TYPE_MESSAGE;
        default:
            return true;
    }
}

bool TimeToText(WellKnown kind, int64_t seconds, int32_t nanos, std::string& text, std::string& reason) {
    using google::protobuf::util::TimeUtil;
    constexpr int32_t NANOS_PER_SECOND = 1000000000;
    if (kind == WellKnown::Timestamp) {
        const bool isInRange = seconds >= TimeUtil::kTimestampMinSeconds && seconds <= TimeUtil::kTimestampMaxSeconds;
        if (!isInRange || nanos < 0 || nanos >= NANOS_PER_SECOND) {
            reason = "a time outside the years 1 to 9999";
            return false;
        }
        google::protobuf::Timestamp timestamp;
        timestamp.set_seconds(seconds);
        timestamp.set_nanos(nanos);
        text = TimeUtil::ToString(timestamp);
        return true;
    }
    const bool isInRange = seconds >= TimeUtil::kDurationMinSeconds && seconds <= TimeUtil::kDurationMaxSeconds &&
                           nanos > -NANOS_PER_SECOND && nanos < NANOS_PER_SECOND;
    if (!isInRange || (seconds < 0 && nanos > 0) || (seconds > 0 && nanos < 0)) {
        reason = "a duration beyond 10000 years or with parts of different signs";
        return false;
    }
    google::protobuf::Duration duration;
    duration.set_seconds(seconds);
    duration.set_nanos(nanos);
    text = TimeUtil::ToString(duration);
    return true;
}

}  // namespace

bool IsNullValue(const EnumDescriptor* type) {
    return type->full_name() == "google.protobuf.NullValue";
}

WellKnown WellKnownOf(const Descriptor* type) {
    constexpr std::string_view PACKAGE = "google.protobuf.";
    const std::string_view name = type->full_name();
    if (name.substr(0, PACKAGE.size()) != PACKAGE) {
        return WellKnown::None;
    }
    for (const Shape& shape : SHAPES) {
        if (name.substr(PACKAGE.size()) != shape.type) {
            continue;
        }
        const FieldDescriptor* const first = type->FindFieldByNumber(1);
        const bool fits = first != nullptr && type->field_count() == shape.fieldCount && first->type() == shape.first &&
                          first->is_repeated() == shape.isRepeated && HasOtherMembers(shape.kind, type);
        return fits ? shape.kind : WellKnown::None;
    }
    return WellKnown::None;
}

bool TakesNull(const FieldDescriptor* field) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        return IsNullValue(field->enum_type());
    }
    return field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE &&
           WellKnownOf(field->message_type()) == WellKnown::Value;
}

bool WellKnownToText(WellKnown kind, const Message& message, std::string& text, std::string& reason) {
    const Reflection* const reflection = message.GetReflection();
    const Descriptor* const type = message.GetDescriptor();
    const FieldDescriptor* const first = type->FindFieldByNumber(1);
    if (kind != WellKnown::FieldMask) {
        return TimeToText(kind, reflection->GetInt64(message, first),
                          reflection->GetInt32(message, type->FindFieldByNumber(2)), text, reason);
    }
    google::protobuf::FieldMask mask;
    google::protobuf::FieldMask again;
    for (int i = 0; i < reflection->FieldSize(message, first); ++i) {
        mask.add_paths(reflection->GetRepeatedString(message, first, i));
    }
    // A name such as a_1 does not survive the way to camel case and back.
    if (!google::protobuf::util::FieldMaskUtil::ToJsonString(mask, &text) ||
        !google::protobuf::util::FieldMaskUtil::FromJsonString(text, &again) ||
        !std::equal(again.paths().begin(), again.paths().end(), mask.paths().begin(), mask.paths().end())) {
        reason = "a field mask whose names camel case cannot carry";
        return false;
    }
    return true;
}

bool WellKnownFromText(WellKnown kind, const std::string& text, Message& message, std::string& reason) {
    const Reflection* const reflection = message.GetReflection();
    const Descriptor* const type = message.GetDescriptor();
    const FieldDescriptor* const first = type->FindFieldByNumber(1);
    if (kind == WellKnown::FieldMask) {
        google::protobuf::FieldMask mask;
        if (!google::protobuf::util::FieldMaskUtil::FromJsonString(text, &mask)) {
            reason = "no field mask";
            return false;
        }
        for (const std::string& path : mask.paths()) {
            reflection->AddString(&message, first, path);
        }
        return true;
    }
    google::protobuf::Timestamp timestamp;
    google::protobuf::Duration duration;
    const bool isTime = kind == WellKnown::Timestamp;
    if (isTime ? !google::protobuf::util::TimeUtil::FromString(text, &timestamp)
               : !google::protobuf::util::TimeUtil::FromString(text, &duration)) {
        reason = isTime ? "no time such as 2024-02-29T12:00:00Z" : "no duration such as 1.5s";
        return false;
    }
    const int64_t seconds = isTime ? timestamp.seconds() : duration.seconds();
    const int32_t nanos = isTime ? timestamp.nanos() : duration.nanos();
    std::string ignored;
    if (!TimeToText(kind, seconds, nanos, ignored, reason)) {
        return false;
    }
    reflection->SetInt64(&message, first, seconds);
    reflection->SetInt32(&message, type->FindFieldByNumber(2), nanos);
    return true;
}

Message* NewAnyContent(const Message& any, const std::string& typeUrl, std::string& reason) {
    const size_t slash = typeUrl.rfind('/');
    const std::string name = slash == std::string::npos ? std::string() : typeUrl.substr(slash + 1);
    const Descriptor* const type =
        name.empty() ? nullptr : any.GetDescriptor()->file()->pool()->FindMessageTypeByName(name);
    if (type == nullptr) {
        reason = "the type '" + typeUrl + "' of an Any is not in the schema";
        return nullptr;
    }
    const Message* const prototype = any.GetReflection()->GetMessageFactory()->GetPrototype(type);
    if (prototype == nullptr) {
        reason = "messages of the type '" + name + "' of an Any cannot be made";
        return nullptr;
    }
    return prototype->New();
}

}  // namespace OstraneRecord
