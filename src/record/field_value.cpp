#include "record/field_value.h"

#include <cmath>
#include <limits>

#include "common/err_code.h"
#include "expr/code_point.h"
#include "expr/name_hint.h"

namespace OstraneRecord {
namespace {

using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using OstraneCommon::ExprVariant;

// Longest value that an error shows.
constexpr size_t kShownValue = 60;

int NoFit(const ExprVariant& value, const FieldDescriptor* field, Misfit& misfit, const std::string& hint) {
    misfit.message = ShowValue(value) + " does not fit " + std::string(field->full_name()) + ", " + KindOf(field);
    misfit.hint = hint;
    return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
}

bool IsTrueOrFalse(const ExprVariant& value) {
    return value.m_type == OstraneCommon::EXPR_UINT && (value.m_flags & OstraneCommon::EXPR_FLAG_BOOL) != 0;
}

// A number as a sign and a magnitude, when it is a whole one.
bool ToWhole(const ExprVariant& value, bool& isNegative, uint64_t& bits) {
    if (value.m_type == OstraneCommon::EXPR_UINT) {
        isNegative = false;
        bits = value.m_data.valUInt64;
        return true;
    }
    if (value.m_type == OstraneCommon::EXPR_INT) {
        isNegative = value.m_data.valInt64 < 0;
        bits = static_cast<uint64_t>(value.m_data.valInt64);
        return true;
    }
    // The cast takes what is integral and within 64 bits.
    if (value.m_type != OstraneCommon::EXPR_FLOAT || !value.Cast(bits)) {
        return false;
    }
    isNegative = value.m_data.valFloat < 0;
    return true;
}

template <typename T>
bool FitsInteger(bool isNegative, uint64_t bits) {
    if (isNegative) {
        return std::numeric_limits<T>::min() < 0 &&
               static_cast<int64_t>(bits) >= static_cast<int64_t>(std::numeric_limits<T>::min());
    }
    return bits <= static_cast<uint64_t>(std::numeric_limits<T>::max());
}

std::string RangeOf(const FieldDescriptor* field) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            return "-2147483648 .. 2147483647";
        case FieldDescriptor::CPPTYPE_UINT32:
            return "0 .. 4294967295";
        case FieldDescriptor::CPPTYPE_INT64:
            return "-9223372036854775808 .. 9223372036854775807";
        default:
            return "0 .. 18446744073709551615";
    }
}

int ConvertInteger(const ExprVariant& value, const FieldDescriptor* field, FieldValue& out, Misfit& misfit) {
    bool isNegative = false;
    uint64_t bits = 0;
    const bool isText = value.m_type == OstraneCommon::EXPR_STRING;
    if (IsTrueOrFalse(value) || !ToWhole(value, isNegative, bits)) {
        return NoFit(value, field, misfit, isText ? "a number stands without quotes" : "");
    }
    bool fits = false;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            fits = FitsInteger<int32_t>(isNegative, bits);
            break;
        case FieldDescriptor::CPPTYPE_UINT32:
            fits = FitsInteger<uint32_t>(isNegative, bits);
            break;
        case FieldDescriptor::CPPTYPE_INT64:
            fits = FitsInteger<int64_t>(isNegative, bits);
            break;
        default:
            fits = FitsInteger<uint64_t>(isNegative, bits);
            break;
    }
    if (!fits) {
        return NoFit(value, field, misfit, "its values are " + RangeOf(field));
    }
    out.bits = bits;
    return 0;
}

int ConvertNumber(const ExprVariant& value, const FieldDescriptor* field, FieldValue& out, Misfit& misfit) {
    const bool isNumber = value.m_type == OstraneCommon::EXPR_UINT || value.m_type == OstraneCommon::EXPR_INT ||
                          value.m_type == OstraneCommon::EXPR_FLOAT;
    double number = 0;
    if (!isNumber || IsTrueOrFalse(value) || !value.Cast(number)) {
        const bool isText = value.m_type == OstraneCommon::EXPR_STRING;
        return NoFit(value, field, misfit, isText ? "a number stands without quotes" : "");
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT && std::isfinite(number)) {
        // Halfway between the largest float and the next one there would be: from there on rounding gives inf.
        constexpr double kFloatLimit = 3.4028235677973366e38;
        if (std::fabs(number) >= kFloatLimit) {
            return NoFit(value, field, misfit, "its values reach to 3.4028235e38");
        }
    }
    out.number = number;
    return 0;
}

int ConvertEnum(const ExprVariant& value, const FieldDescriptor* field, bool isEnumNumber, FieldValue& out,
                Misfit& misfit) {
    const EnumDescriptor* type = field->enum_type();
    if (isEnumNumber && (value.m_type == OstraneCommon::EXPR_UINT || value.m_type == OstraneCommon::EXPR_INT)) {
        out.bits = value.m_data.valUInt64;
        return 0;
    }
    if (value.m_type != OstraneCommon::EXPR_STRING) {
        bool isNegative = false;
        uint64_t bits = 0;
        const EnumValueDescriptor* meant = nullptr;
        if (!IsTrueOrFalse(value) && ToWhole(value, isNegative, bits) && FitsInteger<int32_t>(isNegative, bits)) {
            meant = type->FindValueByNumber(static_cast<int>(bits));
        }
        return NoFit(
            value, field, misfit,
            meant != nullptr ? "write '" + std::string(meant->name()) + "'" : "an enum value is its name in quotes");
    }
    const EnumValueDescriptor* found = type->FindValueByName(value.m_str);
    if (found == nullptr) {
        misfit.message = ShowValue(value) + " is no value of " + std::string(type->full_name());
        misfit.hint = OstraneCommon::EnumValueHint(type, value.m_str);
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    out.bits = static_cast<uint64_t>(static_cast<int64_t>(found->number()));
    return 0;
}

int ConvertText(const ExprVariant& value, const FieldDescriptor* field, FieldValue& out, Misfit& misfit) {
    const bool isBytes = value.m_type == OstraneCommon::EXPR_BYTES;
    if (value.m_type != OstraneCommon::EXPR_STRING && !isBytes) {
        return NoFit(value, field, misfit, "");
    }
    if (field->type() == FieldDescriptor::TYPE_STRING) {
        if (isBytes) {
            return NoFit(value, field, misfit, "x'..' is for bytes fields, text stands in '..'");
        }
        if (!OstraneCommon::IsUtf8(value.m_str)) {
            misfit.message =
                "text that is not UTF-8 does not fit " + std::string(field->full_name()) + ", " + KindOf(field);
            misfit.hint.clear();
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
        }
    }
    out.text = value.m_str;
    return 0;
}

// The writers differ in the call alone: SET is SetInt32(m, f, ..), SetRepeatedInt32(m, f, i, ..) or
// AddInt32(m, f, ..).
#define OSTRANE_WRITE_VALUE(CALL)                            \
    switch (field->cpp_type()) {                             \
        case FieldDescriptor::CPPTYPE_INT32:                 \
            CALL(Int32, static_cast<int32_t>(value.bits));   \
            break;                                           \
        case FieldDescriptor::CPPTYPE_INT64:                 \
            CALL(Int64, static_cast<int64_t>(value.bits));   \
            break;                                           \
        case FieldDescriptor::CPPTYPE_UINT32:                \
            CALL(UInt32, static_cast<uint32_t>(value.bits)); \
            break;                                           \
        case FieldDescriptor::CPPTYPE_UINT64:                \
            CALL(UInt64, value.bits);                        \
            break;                                           \
        case FieldDescriptor::CPPTYPE_DOUBLE:                \
            CALL(Double, value.number);                      \
            break;                                           \
        case FieldDescriptor::CPPTYPE_FLOAT:                 \
            CALL(Float, static_cast<float>(value.number));   \
            break;                                           \
        case FieldDescriptor::CPPTYPE_BOOL:                  \
            CALL(Bool, value.bits != 0);                     \
            break;                                           \
        case FieldDescriptor::CPPTYPE_ENUM:                  \
            CALL(EnumValue, static_cast<int>(value.bits));   \
            break;                                           \
        case FieldDescriptor::CPPTYPE_STRING:                \
            CALL(String, value.text);                        \
            break;                                           \
        case FieldDescriptor::CPPTYPE_MESSAGE:               \
            break;                                           \
    }

}  // namespace

std::string KindOf(const FieldDescriptor* field) {
    if (field->is_map()) {
        return "a map";
    }
    const std::string repeated = field->is_repeated() ? "a repeated " : "";
    const std::string type(field->type_name());
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        return (repeated.empty() ? "a field" : "a repeated field") +
               (" of " + std::string(field->message_type()->full_name()));
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        return (repeated.empty() ? "a field" : "a repeated field") +
               (" of " + std::string(field->enum_type()->full_name()));
    }
    if (!repeated.empty()) {
        return repeated + type + " field";
    }
    return (type.front() == 'i' ? "an " : "a ") + type + " field";
}

std::string ShowValue(const ExprVariant& value) {
    if (value.m_str.size() > kShownValue) {
        ExprVariant head = value;
        size_t end = kShownValue;
        while (end > 0 && value.m_type == OstraneCommon::EXPR_STRING &&
               (static_cast<unsigned char>(value.m_str[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        head.m_str.erase(end);
        return head.ToStr() + "..";
    }
    return value.ToStr();
}

int ConvertValue(const ExprVariant& value, const FieldDescriptor* field, bool isEnumNumber, FieldValue& out,
                 Misfit& misfit) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
        case FieldDescriptor::CPPTYPE_INT64:
        case FieldDescriptor::CPPTYPE_UINT32:
        case FieldDescriptor::CPPTYPE_UINT64:
            return ConvertInteger(value, field, out, misfit);
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            return ConvertNumber(value, field, out, misfit);
        case FieldDescriptor::CPPTYPE_BOOL:
            if (!IsTrueOrFalse(value)) {
                return NoFit(value, field, misfit, "write true or false");
            }
            out.bits = value.m_data.valUInt64;
            return 0;
        case FieldDescriptor::CPPTYPE_ENUM:
            return ConvertEnum(value, field, isEnumNumber, out, misfit);
        case FieldDescriptor::CPPTYPE_STRING:
            return ConvertText(value, field, out, misfit);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            break;
    }
    return NoFit(value, field, misfit, OstraneCommon::MessageHint(field->message_type()));
}

void SetFieldValue(Message* message, const FieldDescriptor* field, const FieldValue& value) {
    const Reflection* reflection = message->GetReflection();
#define OSTRANE_CALL(TYPE, VALUE) reflection->Set##TYPE(message, field, VALUE)
    OSTRANE_WRITE_VALUE(OSTRANE_CALL)
#undef OSTRANE_CALL
}

void SetElementValue(Message* message, const FieldDescriptor* field, int index, const FieldValue& value) {
    const Reflection* reflection = message->GetReflection();
#define OSTRANE_CALL(TYPE, VALUE) reflection->SetRepeated##TYPE(message, field, index, VALUE)
    OSTRANE_WRITE_VALUE(OSTRANE_CALL)
#undef OSTRANE_CALL
}

void AddElementValue(Message* message, const FieldDescriptor* field, const FieldValue& value) {
    const Reflection* reflection = message->GetReflection();
#define OSTRANE_CALL(TYPE, VALUE) reflection->Add##TYPE(message, field, VALUE)
    OSTRANE_WRITE_VALUE(OSTRANE_CALL)
#undef OSTRANE_CALL
}

#undef OSTRANE_WRITE_VALUE

// GET is GetInt32(m, f) or GetRepeatedInt32(m, f, i).
#define OSTRANE_READ_VALUE(GET)                                                       \
    switch (field->cpp_type()) {                                                      \
        case FieldDescriptor::CPPTYPE_INT32:                                          \
            value.bits = static_cast<uint64_t>(static_cast<int64_t>(GET(Int32)));     \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_INT64:                                          \
            value.bits = static_cast<uint64_t>(GET(Int64));                           \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_UINT32:                                         \
            value.bits = GET(UInt32);                                                 \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_UINT64:                                         \
            value.bits = GET(UInt64);                                                 \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_DOUBLE:                                         \
            value.number = GET(Double);                                               \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_FLOAT:                                          \
            value.number = static_cast<double>(GET(Float));                           \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_BOOL:                                           \
            value.bits = GET(Bool) ? 1 : 0;                                           \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_ENUM:                                           \
            value.bits = static_cast<uint64_t>(static_cast<int64_t>(GET(EnumValue))); \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_STRING:                                         \
            value.text = GET(String);                                                 \
            break;                                                                    \
        case FieldDescriptor::CPPTYPE_MESSAGE:                                        \
            break;                                                                    \
    }

FieldValue ReadFieldValue(const Message& message, const FieldDescriptor* field) {
    const Reflection* reflection = message.GetReflection();
    FieldValue value;
#define OSTRANE_CALL(TYPE) reflection->Get##TYPE(message, field)
    OSTRANE_READ_VALUE(OSTRANE_CALL)
#undef OSTRANE_CALL
    return value;
}

FieldValue ReadElementValue(const Message& message, const FieldDescriptor* field, int index) {
    const Reflection* reflection = message.GetReflection();
    FieldValue value;
#define OSTRANE_CALL(TYPE) reflection->GetRepeated##TYPE(message, field, index)
    OSTRANE_READ_VALUE(OSTRANE_CALL)
#undef OSTRANE_CALL
    return value;
}

#undef OSTRANE_READ_VALUE

bool HasFieldValue(const Message& message, const FieldDescriptor* field, const FieldValue& value) {
    const Reflection* reflection = message.GetReflection();
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            return reflection->GetInt32(message, field) == static_cast<int32_t>(value.bits);
        case FieldDescriptor::CPPTYPE_INT64:
            return reflection->GetInt64(message, field) == static_cast<int64_t>(value.bits);
        case FieldDescriptor::CPPTYPE_UINT32:
            return reflection->GetUInt32(message, field) == static_cast<uint32_t>(value.bits);
        case FieldDescriptor::CPPTYPE_UINT64:
            return reflection->GetUInt64(message, field) == value.bits;
        case FieldDescriptor::CPPTYPE_BOOL:
            return reflection->GetBool(message, field) == (value.bits != 0);
        case FieldDescriptor::CPPTYPE_STRING: {
            std::string own;
            return reflection->GetStringReference(message, field, &own) == value.text;
        }
        default:
            return false;  // no other type is a map's key
    }
}

void ToVariant(const FieldValue& value, const FieldDescriptor* field, ExprVariant& out) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            out.m_type = OstraneCommon::EXPR_FLOAT;
            out.m_data.valFloat = value.number;
            return;
        case FieldDescriptor::CPPTYPE_STRING:
            out.m_type = OstraneCommon::EXPR_STRING_PTR;
            out.m_data.pStr = &value.text;
            return;
        case FieldDescriptor::CPPTYPE_ENUM: {
            const EnumValueDescriptor* found = field->enum_type()->FindValueByNumber(static_cast<int>(value.bits));
            out.m_type = OstraneCommon::EXPR_STRING;
            out.m_str = found == nullptr ? std::string() : std::string(found->name());
            return;
        }
        default:
            out.m_type = OstraneCommon::EXPR_UINT;
            out.m_data.valUInt64 = value.bits;
            return;
    }
}

}  // namespace OstraneRecord
