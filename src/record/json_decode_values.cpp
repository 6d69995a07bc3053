// Single values: what stands in the text is checked against the field's type, and stored.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <limits>
#include <string>

#include "expr/base64.h"
#include "expr/name_hint.h"
#include "record/json_decoder.h"
#include "record/json_text.h"
#include "record/protobuf_compat.h"

namespace OstraneRecord {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

// Of a value shown in an error.
constexpr size_t MAX_SHOWN = 60;

// The numbers that JSON has no digits for.
template <typename T>
bool ParseFloatingOrName(const std::string& text, T& value) {
    if (text == "NaN") {
        value = std::numeric_limits<T>::quiet_NaN();
        return true;
    }
    if (text == "Infinity" || text == "-Infinity") {
        value = text[0] == '-' ? -std::numeric_limits<T>::infinity() : std::numeric_limits<T>::infinity();
        return true;
    }
    return ParseFloating(text, value);
}

}  // namespace

bool JsonDecoder::FailField(size_t offset, const FieldDescriptor* field, const std::string& reason) {
    m_fieldName = std::string(field->full_name());
    return m_cursor.FailAt(offset, reason);
}

bool JsonDecoder::Misfit(size_t offset, const FieldDescriptor* field, const char* wanted, const std::string& found) {
    return FailField(offset, field, std::string(field->full_name()) + " takes " + wanted + ", not " + found);
}

std::string ShortenForError(const std::string& text) {
    if (text.size() <= MAX_SHOWN) {
        return text;
    }
    size_t end = MAX_SHOWN;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end) + "..";
}

namespace {

// What stood for a number; what only a text can hold stands in quotes.
std::string ShowNumber(const std::string& text) {
    const bool isPlain = !text.empty() && text.find_first_not_of("0123456789+-.eE") == std::string::npos;
    return isPlain ? ShortenForError(text) : "'" + ShortenForError(text) + "'";
}

}  // namespace

// The value at the cursor for a message; it is read only where it is short.
std::string JsonDecoder::ShowValue() {
    std::string text;
    switch (m_cursor.Peek()) {
        case JsonKind::Object:
            return "an object";
        case JsonKind::Array:
            return "a list";
        case JsonKind::String:
            return m_cursor.ReadString(text) ? "the text '" + ShortenForError(text) + "'" : text;
        case JsonKind::Number:
            return m_cursor.ReadNumber(text) ? ShortenForError(text) : text;
        case JsonKind::True:
            return m_cursor.ReadLiteral() ? "true" : text;
        case JsonKind::False:
            return m_cursor.ReadLiteral() ? "false" : text;
        case JsonKind::Null:
            return m_cursor.ReadLiteral() ? "null" : text;
        default:
            // What is no value at all is told as such.
            m_cursor.ReadLiteral();
            return text;
    }
}

// Stores a value of the C++ type that `Type` names.
#define OSTRANE_STORE(Type, value)                                      \
    do {                                                                \
        if (field->is_repeated()) {                                     \
            parent.GetReflection()->Add##Type(&parent, field, (value)); \
        } else {                                                        \
            parent.GetReflection()->Set##Type(&parent, field, (value)); \
        }                                                               \
    } while (false)

// A number, or a text that holds one: 64-bit integers are written as texts.
bool JsonDecoder::ReadNumberText(const FieldDescriptor* field, size_t offset, const char* wanted, std::string& text) {
    const JsonKind kind = m_cursor.Peek();
    if (kind == JsonKind::Number) {
        return m_cursor.ReadNumber(text);
    }
    if (kind == JsonKind::String) {
        return m_cursor.ReadString(text);
    }
    return Misfit(offset, field, wanted, ShowValue());
}

bool JsonDecoder::ReadInteger(Message& parent, const FieldDescriptor* field, size_t offset) {
    std::string text;
    int64_t number = 0;
    uint64_t natural = 0;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            if (!ReadNumberText(field, offset, "an int32", text)) {
                return false;
            }
            if (!ParseInteger(text, number) || number < std::numeric_limits<int32_t>::min() ||
                number > std::numeric_limits<int32_t>::max()) {
                return Misfit(offset, field, "an int32", ShowNumber(text));
            }
            OSTRANE_STORE(Int32, static_cast<int32_t>(number));
            return true;
        case FieldDescriptor::CPPTYPE_INT64:
            if (!ReadNumberText(field, offset, "an int64", text)) {
                return false;
            }
            if (!ParseInteger(text, number)) {
                return Misfit(offset, field, "an int64", ShowNumber(text));
            }
            OSTRANE_STORE(Int64, number);
            return true;
        case FieldDescriptor::CPPTYPE_UINT32:
            if (!ReadNumberText(field, offset, "a uint32", text)) {
                return false;
            }
            if (!ParseInteger(text, natural) || natural > std::numeric_limits<uint32_t>::max()) {
                return Misfit(offset, field, "a uint32", ShowNumber(text));
            }
            OSTRANE_STORE(UInt32, static_cast<uint32_t>(natural));
            return true;
        default:
            break;
    }
    if (!ReadNumberText(field, offset, "a uint64", text)) {
        return false;
    }
    if (!ParseInteger(text, natural)) {
        return Misfit(offset, field, "a uint64", ShowNumber(text));
    }
    OSTRANE_STORE(UInt64, natural);
    return true;
}

bool JsonDecoder::ReadFloating(Message& parent, const FieldDescriptor* field, size_t offset) {
    const bool isFloat = field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT;
    const char* const wanted = isFloat ? "a float" : "a double";
    std::string text;
    if (!ReadNumberText(field, offset, wanted, text)) {
        return false;
    }
    float narrow = 0;
    double wide = 0;
    if (isFloat ? !ParseFloatingOrName(text, narrow) : !ParseFloatingOrName(text, wide)) {
        return Misfit(offset, field, wanted, ShowNumber(text));
    }
    if (isFloat) {
        OSTRANE_STORE(Float, narrow);
    } else {
        OSTRANE_STORE(Double, wide);
    }
    return true;
}

bool JsonDecoder::ReadBool(Message& parent, const FieldDescriptor* field, size_t offset) {
    const JsonKind kind = m_cursor.Peek();
    if (kind != JsonKind::True && kind != JsonKind::False) {
        return Misfit(offset, field, "true or false", ShowValue());
    }
    if (!m_cursor.ReadLiteral()) {
        return false;
    }
    OSTRANE_STORE(Bool, kind == JsonKind::True);
    return true;
}

bool JsonDecoder::ReadText(Message& parent, const FieldDescriptor* field, size_t offset) {
    const bool isBytes = field->type() == FieldDescriptor::TYPE_BYTES;
    if (m_cursor.Peek() != JsonKind::String) {
        return Misfit(offset, field, isBytes ? "bytes as base64 text" : "a string", ShowValue());
    }
    std::string text;
    if (!m_cursor.ReadString(text)) {
        return false;
    }
    std::string bytes;
    if (isBytes && !OstraneCommon::DecodeBase64(text, bytes)) {
        return Misfit(offset, field, "bytes as base64 text", "'" + ShortenForError(text) + "'");
    }
    OSTRANE_STORE(String, isBytes ? bytes : text);
    return true;
}

bool JsonDecoder::ReadEnum(Message& parent, const FieldDescriptor* field, size_t offset) {
    const google::protobuf::EnumDescriptor* const type = field->enum_type();
    const std::string typeName(type->full_name());
    const JsonKind kind = m_cursor.Peek();
    std::string text;
    if (kind == JsonKind::Null && IsNullValue(type)) {
        OSTRANE_STORE(EnumValue, 0);
        return m_cursor.ReadLiteral();
    }
    if (kind == JsonKind::String) {
        if (!m_cursor.ReadString(text)) {
            return false;
        }
        const google::protobuf::EnumValueDescriptor* const value = type->FindValueByName(text);
        if (value == nullptr) {
            m_hint = OstraneCommon::EnumValueHint(type, text);
            return FailField(offset, field, "the enum " + typeName + " has no value '" + ShortenForError(text) + "'");
        }
        OSTRANE_STORE(EnumValue, value->number());
        return true;
    }
    if (kind != JsonKind::Number) {
        return Misfit(offset, field, "the name of an enum value", ShowValue());
    }
    int64_t number = 0;
    if (!m_cursor.ReadNumber(text)) {
        return false;
    }
    if (!ParseInteger(text, number) || number < std::numeric_limits<int32_t>::min() ||
        number > std::numeric_limits<int32_t>::max() ||
        (type->FindValueByNumber(static_cast<int>(number)) == nullptr && !TakesUnknownEnumNumbers(field))) {
        return FailField(offset, field, "the enum " + typeName + " has no value " + ShortenForError(text));
    }
    OSTRANE_STORE(EnumValue, static_cast<int>(number));
    return true;
}

#undef OSTRANE_STORE

}  // namespace OstraneRecord
