// The record is written in one walk over its set fields; every value is checked just before it is
// written, so that an obstacle is found wherever it lies.
//
//   Message -> Object -> Field -> Value -> Scalar
//                              -> Array, Map -> Value
//   Value of a message         -> Message, or the form of a well-known type
#include "record/json_encode.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "common/err_code.h"
#include "expr/base64.h"
#include "expr/code_point.h"
#include "expr/map_entries.h"
#include "record/json_text.h"
#include "record/json_well_known.h"

namespace OstraneRecord {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// What protobuf's own readers take; a deeper record could be written and never be read again.
constexpr int MAX_NESTING = 100;

class JsonEncoder {
public:
    JsonEncoder(const JsonOptions& options, std::string& out, InputError& error)
        : m_options(options), m_out(out), m_error(error) {}

    bool WriteMessage(const Message& message);
    bool WriteValue(const Message& parent, const FieldDescriptor* field, int index);
    bool WriteField(const Message& parent, const FieldDescriptor* field);
    bool WriteEntry(const Message& entry);
    bool FoundUnknownFields() const { return m_foundUnknownFields; }

private:
    bool Fail(std::string_view fieldName, const std::string& message);
    void NewLine();
    void BeginMember(bool& isFirst);
    void WriteName(const std::string& name);

    bool CheckMessage(const Message& message);
    bool CheckField(const FieldDescriptor* field);
    bool WriteMembers(const Message& message, bool& isFirst);
    bool WriteArray(const Message& parent, const FieldDescriptor* field);
    bool WriteMap(const Message& parent, const FieldDescriptor* field);
    bool WriteMapMember(const Message& entry);
    bool WriteScalar(const Message& parent, const FieldDescriptor* field, int index);
    bool WriteString(const FieldDescriptor* field, const std::string& text);
    void WriteEnum(const FieldDescriptor* field, int number);
    bool WriteWellKnown(WellKnown kind, const Message& message);
    bool WriteAny(const Message& any);
    bool WriteDynamicValue(const Message& value);

    const JsonOptions& m_options;
    std::string& m_out;
    InputError& m_error;
    int m_nesting = 0;  // of messages
    int m_level = 0;    // of indentation
    bool m_foundUnknownFields = false;
};

bool JsonEncoder::Fail(std::string_view fieldName, const std::string& message) {
    m_error.field = std::string(fieldName);
    FailInput(m_error, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, message);
    return false;
}

void JsonEncoder::NewLine() {
    if (m_options.indent) {
        m_out += '\n';
        m_out.append(static_cast<size_t>(m_level) * 2, ' ');
    }
}

// Before a member or an element that stands on a line of its own.
void JsonEncoder::BeginMember(bool& isFirst) {
    if (!isFirst) {
        m_out += ',';
    }
    isFirst = false;
    NewLine();
}

void JsonEncoder::WriteName(const std::string& name) {
    AppendJsonString(name, m_out);
    m_out += m_options.indent ? ": " : ":";
}

bool JsonEncoder::CheckField(const FieldDescriptor* field) {
    const std::string name(field->full_name());
    if (field->is_extension()) {
        return Fail(name, "the extension " + name + " has no form in JSON");
    }
    if (field->type() == FieldDescriptor::TYPE_GROUP) {
        return Fail(name, "the group " + name + " has no form in JSON");
    }
    return true;
}

bool JsonEncoder::CheckMessage(const Message& message) {
    if (m_nesting >= MAX_NESTING) {
        return Fail(message.GetDescriptor()->full_name(),
                    "messages are nested deeper than " + std::to_string(MAX_NESTING) + " levels");
    }
    const google::protobuf::UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
    if (unknown.empty()) {
        return true;
    }
    m_foundUnknownFields = true;
    if (m_options.dropUnknownFields) {
        return true;
    }
    const std::string type(message.GetDescriptor()->full_name());
    return Fail(type, "the unknown field " + std::to_string(unknown.field(0).number()) + " of " + type +
                          " has no form in JSON");
}

bool JsonEncoder::WriteMembers(const Message& message, bool& isFirst) {
    std::vector<const FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    for (const FieldDescriptor* field : fields) {
        if (!CheckField(field)) {
            return false;
        }
        BeginMember(isFirst);
        WriteName(std::string(m_options.camelNames ? field->json_name() : field->name()));
        if (!WriteField(message, field)) {
            return false;
        }
    }
    return true;
}

bool JsonEncoder::WriteMessage(const Message& message) {
    if (!CheckMessage(message)) {
        return false;
    }
    ++m_nesting;
    const WellKnown kind = WellKnownOf(message.GetDescriptor());
    bool isWritten = false;
    if (kind != WellKnown::None) {
        isWritten = WriteWellKnown(kind, message);
    } else {
        bool isFirst = true;
        m_out += '{';
        ++m_level;
        isWritten = WriteMembers(message, isFirst);
        --m_level;
        if (!isFirst) {
            NewLine();
        }
        m_out += '}';
    }
    --m_nesting;
    return isWritten;
}

bool JsonEncoder::WriteField(const Message& parent, const FieldDescriptor* field) {
    if (field->is_map()) {
        return WriteMap(parent, field);
    }
    if (field->is_repeated()) {
        return WriteArray(parent, field);
    }
    return WriteValue(parent, field, -1);
}

bool JsonEncoder::WriteArray(const Message& parent, const FieldDescriptor* field) {
    const bool isShort =
        field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE && field->cpp_type() != FieldDescriptor::CPPTYPE_STRING;
    const int size = parent.GetReflection()->FieldSize(parent, field);
    bool isFirst = true;
    m_out += '[';
    ++m_level;
    for (int i = 0; i < size; ++i) {
        // Numbers share a line: an array of them is read as one thing.
        if (isShort) {
            m_out += isFirst ? "" : m_options.indent ? ", " : ",";
            isFirst = false;
        } else {
            BeginMember(isFirst);
        }
        if (!WriteValue(parent, field, i)) {
            return false;
        }
    }
    --m_level;
    if (!isFirst && !isShort) {
        NewLine();
    }
    m_out += ']';
    return true;
}

bool JsonEncoder::WriteMapMember(const Message& entry) {
    const FieldDescriptor* const key = entry.GetDescriptor()->FindFieldByNumber(1);
    const FieldDescriptor* const value = entry.GetDescriptor()->FindFieldByNumber(2);
    // A JSON name is a text whatever the key's type.
    if (key->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        if (!WriteScalar(entry, key, -1)) {
            return false;
        }
    } else {
        const size_t start = m_out.size();
        if (!WriteScalar(entry, key, -1)) {
            return false;
        }
        if (m_out[start] != '"') {
            m_out.insert(start, 1, '"');
            m_out += '"';
        }
    }
    m_out += m_options.indent ? ": " : ":";
    return WriteValue(entry, value, -1);
}

bool JsonEncoder::WriteMap(const Message& parent, const FieldDescriptor* field) {
    bool isFirst = true;
    m_out += '{';
    ++m_level;
    for (const int32_t position : OstraneCommon::MapEntries(parent, field)) {
        BeginMember(isFirst);
        if (!WriteMapMember(parent.GetReflection()->GetRepeatedMessage(parent, field, position))) {
            return false;
        }
    }
    --m_level;
    if (!isFirst) {
        NewLine();
    }
    m_out += '}';
    return true;
}

bool JsonEncoder::WriteEntry(const Message& entry) {
    bool isFirst = true;
    m_out += '{';
    ++m_level;
    BeginMember(isFirst);
    if (!WriteMapMember(entry)) {
        return false;
    }
    --m_level;
    NewLine();
    m_out += '}';
    return true;
}

bool JsonEncoder::WriteValue(const Message& parent, const FieldDescriptor* field, int index) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
        return WriteScalar(parent, field, index);
    }
    const Reflection* const reflection = parent.GetReflection();
    return WriteMessage(index < 0 ? reflection->GetMessage(parent, field)
                                  : reflection->GetRepeatedMessage(parent, field, index));
}

bool JsonEncoder::WriteString(const FieldDescriptor* field, const std::string& text) {
    if (field->type() == FieldDescriptor::TYPE_BYTES) {
        m_out += '"';
        OstraneCommon::AppendBase64(text, m_out);
        m_out += '"';
        return true;
    }
    if (!OstraneCommon::IsUtf8(text)) {
        const std::string name(field->full_name());
        return Fail(name, "the text of " + name + " is not UTF-8, which JSON cannot carry");
    }
    AppendJsonString(text, m_out);
    return true;
}

void JsonEncoder::WriteEnum(const FieldDescriptor* field, int number) {
    if (IsNullValue(field->enum_type())) {
        m_out += "null";
        return;
    }
    const google::protobuf::EnumValueDescriptor* const value = field->enum_type()->FindValueByNumber(number);
    if (value == nullptr) {
        m_out += std::to_string(number);
        return;
    }
    AppendJsonString(std::string(value->name()), m_out);
}

bool JsonEncoder::WriteScalar(const Message& parent, const FieldDescriptor* field, int index) {
    const Reflection* const reflection = parent.GetReflection();
// The element `index` of a repeated field, or the singular field's value.
#define OSTRANE_GET(Type) \
    (index < 0 ? reflection->Get##Type(parent, field) : reflection->GetRepeated##Type(parent, field, index))
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            m_out += std::to_string(OSTRANE_GET(Int32));
            return true;
        case FieldDescriptor::CPPTYPE_UINT32:
            m_out += std::to_string(OSTRANE_GET(UInt32));
            return true;
        // 64 bits go as text: a JSON reader's double would round them.
        case FieldDescriptor::CPPTYPE_INT64:
            m_out += '"' + std::to_string(OSTRANE_GET(Int64)) + '"';
            return true;
        case FieldDescriptor::CPPTYPE_UINT64:
            m_out += '"' + std::to_string(OSTRANE_GET(UInt64)) + '"';
            return true;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            AppendJsonNumber(OSTRANE_GET(Double), m_out);
            return true;
        case FieldDescriptor::CPPTYPE_FLOAT:
            AppendJsonNumber(OSTRANE_GET(Float), m_out);
            return true;
        case FieldDescriptor::CPPTYPE_BOOL:
            m_out += OSTRANE_GET(Bool) ? "true" : "false";
            return true;
        case FieldDescriptor::CPPTYPE_ENUM:
            WriteEnum(field, OSTRANE_GET(EnumValue));
            return true;
        default:
            break;
    }
#undef OSTRANE_GET
    std::string scratch;
    return WriteString(field, index < 0 ? reflection->GetStringReference(parent, field, &scratch)
                                        : reflection->GetRepeatedStringReference(parent, field, index, &scratch));
}

bool JsonEncoder::WriteWellKnown(WellKnown kind, const Message& message) {
    const std::string type(message.GetDescriptor()->full_name());
    const FieldDescriptor* const first = message.GetDescriptor()->FindFieldByNumber(1);
    switch (kind) {
        case WellKnown::Any:
            return WriteAny(message);
        case WellKnown::Value:
            return WriteDynamicValue(message);
        case WellKnown::Struct:
        case WellKnown::ListValue:
            return WriteField(message, first);
        case WellKnown::Wrapper:
            return WriteScalar(message, first, -1);
        default:
            break;
    }
    std::string text;
    std::string reason;
    if (!WellKnownToText(kind, message, text, reason)) {
        return Fail(type, type + " holds " + reason);
    }
    if (!OstraneCommon::IsUtf8(text)) {
        return Fail(type, "the text of " + type + " is not UTF-8, which JSON cannot carry");
    }
    AppendJsonString(text, m_out);
    return true;
}

bool JsonEncoder::WriteAny(const Message& any) {
    const google::protobuf::Descriptor* const type = any.GetDescriptor();
    const Reflection* const reflection = any.GetReflection();
    const std::string url = reflection->GetString(any, type->FindFieldByNumber(1));
    const std::string value = reflection->GetString(any, type->FindFieldByNumber(2));
    const std::string name(type->full_name());
    if (url.empty() && value.empty()) {
        m_out += "{}";
        return true;
    }
    std::string reason;
    const std::unique_ptr<Message> content(NewAnyContent(any, url, reason));
    if (content == nullptr) {
        return Fail(name, reason);
    }
    if (!content->ParsePartialFromString(value)) {
        return Fail(name, "the value of an Any is no message of its type '" + url + "'");
    }
    bool isFirst = true;
    m_out += '{';
    ++m_level;
    BeginMember(isFirst);
    WriteName("@type");
    AppendJsonString(url, m_out);
    bool isWritten = false;
    if (WellKnownOf(content->GetDescriptor()) != WellKnown::None) {
        BeginMember(isFirst);
        WriteName("value");
        isWritten = WriteMessage(*content);
    } else {
        isWritten = CheckMessage(*content) && WriteMembers(*content, isFirst);
    }
    --m_level;
    NewLine();
    m_out += '}';
    return isWritten;
}

bool JsonEncoder::WriteDynamicValue(const Message& value) {
    std::vector<const FieldDescriptor*> fields;
    value.GetReflection()->ListFields(value, &fields);
    const std::string type(value.GetDescriptor()->full_name());
    if (fields.empty()) {
        return Fail(type, "a " + type + " without a kind has no form in JSON");
    }
    const FieldDescriptor* const field = fields.front();
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_DOUBLE &&
        !std::isfinite(value.GetReflection()->GetDouble(value, field))) {
        return Fail(std::string(field->full_name()), "a " + type + " that is no finite number has no form in JSON");
    }
    return WriteValue(value, field, -1);
}

// Runs `write` and turns its outcome, and whatever it throws, into a code.
template <typename Write>
int RunEncoder(const JsonOptions& options, std::string& json, InputError& error, bool* foundUnknownFields,
               Write write) {
    json.clear();
    try {
        JsonEncoder encoder(options, json, error);
        const bool isWritten = write(encoder);
        if (foundUnknownFields != nullptr) {
            *foundUnknownFields = encoder.FoundUnknownFields();
        }
        return isWritten ? 0 : error.code;
    } catch (const std::exception& exception) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR,
                         std::string("JSON cannot be written: ") + exception.what());
    }
}

}  // namespace

int MessageToJson(const Message& message, const JsonOptions& options, std::string& json, InputError& error,
                  bool* foundUnknownFields) {
    return RunEncoder(options, json, error, foundUnknownFields,
                      [&message](JsonEncoder& encoder) { return encoder.WriteMessage(message); });
}

int FieldToJson(const Message& parent, const FieldDescriptor* field, int index, const JsonOptions& options,
                std::string& json, InputError& error, bool* foundUnknownFields) {
    return RunEncoder(options, json, error, foundUnknownFields, [&](JsonEncoder& encoder) {
        if (index < 0) {
            return encoder.WriteField(parent, field);
        }
        if (field->is_map()) {
            return encoder.WriteEntry(parent.GetReflection()->GetRepeatedMessage(parent, field, index));
        }
        return encoder.WriteValue(parent, field, index);
    });
}

}  // namespace OstraneRecord
