// The text is read in one pass, straight into the message: the type of what comes next is known from the
// descriptor, so every value is checked where it stands.
//
//   Message -> Members -> Field -> Value -> Scalar
//                               -> Array, Map -> Value
//   Value of a message          -> Message, or the form of a well-known type
#include "record/json_decode.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <unordered_set>

#include "common/err_code.h"
#include "expr/name_hint.h"
#include "record/json_decoder.h"
#include "record/json_text.h"
#include "record/json_well_known.h"
#include "record/protobuf_compat.h"

namespace OstraneRecord {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// What protobuf's own readers take.
constexpr int MAX_NESTING = 100;

}  // namespace

const FieldDescriptor* JsonDecoder::FindField(const Descriptor* type, const std::string& name, size_t offset) {
    const FieldDescriptor* field = type->FindFieldByName(name);
    for (int i = 0; field == nullptr && i < type->field_count(); ++i) {
        if (type->field(i)->json_name() == name) {
            field = type->field(i);
        }
    }
    const std::string typeName(type->full_name());
    if (field == nullptr) {
        m_hint = OstraneCommon::FieldHint(type, name);
        m_cursor.FailAt(offset, typeName + " has no field '" + ShortenForError(name) + "'");
        return nullptr;
    }
    if (field->type() == FieldDescriptor::TYPE_GROUP) {
        FailField(offset, field, "the group " + std::string(field->full_name()) + " has no form in JSON");
        return nullptr;
    }
    return field;
}

bool JsonDecoder::ReadMember(Message& message, const std::string& name, size_t offset, SeenMembers& seen) {
    const FieldDescriptor* const field = FindField(message.GetDescriptor(), name, offset);
    if (field == nullptr) {
        return false;
    }
    const size_t index = static_cast<size_t>(field->index());
    if (seen.fields[index]) {
        return FailField(offset, field, std::string(field->full_name()) + " stands twice in one object");
    }
    seen.fields[index] = true;
    const google::protobuf::OneofDescriptor* const oneof = field->containing_oneof();
    const bool isPresent = m_cursor.Peek() != JsonKind::Null || TakesNull(field);
    if (oneof != nullptr && isPresent) {
        const size_t oneofIndex = static_cast<size_t>(oneof->index());
        if (seen.oneofs[oneofIndex]) {
            return FailField(offset, field,
                             std::string(field->full_name()) + " is the second member of the oneof '" +
                                 std::string(oneof->name()) + "', which holds one");
        }
        seen.oneofs[oneofIndex] = true;
    }
    return ReadField(message, field);
}

// Of an Any the member "@type" belongs to the Any, not to its content.
bool JsonDecoder::ReadMembers(Message& message, bool isAnyContent) {
    if (!m_cursor.BeginObject()) {
        return false;
    }
    SeenMembers seen(message.GetDescriptor());
    std::string name;
    for (;;) {
        const size_t offset = m_cursor.NextOffset();
        if (!m_cursor.NextMember(name)) {
            return !m_cursor.HasFailed();
        }
        if (isAnyContent && name == "@type") {
            if (!m_cursor.SkipValue()) {
                return false;
            }
            continue;
        }
        if (!ReadMember(message, name, offset, seen)) {
            return false;
        }
    }
}

bool JsonDecoder::ReadMessage(Message& message) {
    if (m_nesting == MAX_NESTING) {
        return m_cursor.Fail("messages are nested deeper than " + std::to_string(MAX_NESTING) + " levels");
    }
    ++m_nesting;
    const WellKnown kind = WellKnownOf(message.GetDescriptor());
    const bool isRead = kind == WellKnown::None ? ReadMembers(message, false) : ReadWellKnown(kind, message);
    --m_nesting;
    return isRead;
}

bool JsonDecoder::ReadField(Message& parent, const FieldDescriptor* field) {
    if (m_cursor.Peek() == JsonKind::Null && (field->is_repeated() || !TakesNull(field))) {
        return m_cursor.ReadLiteral();
    }
    if (field->is_map()) {
        return ReadMap(parent, field);
    }
    if (field->is_repeated()) {
        return ReadArray(parent, field);
    }
    return ReadValue(parent, field);
}

bool JsonDecoder::ReadArray(Message& parent, const FieldDescriptor* field) {
    if (m_cursor.Peek() != JsonKind::Array) {
        const size_t offset = m_cursor.Offset();
        return Misfit(offset, field, "a list", ShowValue());
    }
    if (!m_cursor.BeginArray()) {
        return false;
    }
    while (m_cursor.NextElement()) {
        if (m_cursor.Peek() == JsonKind::Null && !TakesNull(field)) {
            return FailField(m_cursor.Offset(), field,
                             "null inside the list of " + std::string(field->full_name()) + " is no element");
        }
        if (!ReadValue(parent, field)) {
            return false;
        }
    }
    return !m_cursor.HasFailed();
}

// Stores a key; `canonical` tells keys apart, however they are written.
bool JsonDecoder::SetMapKey(Message& entry, const FieldDescriptor* field, const std::string& text, size_t offset,
                            std::string& canonical) {
    const FieldDescriptor* const key = entry.GetDescriptor()->FindFieldByNumber(1);
    const Reflection* const reflection = entry.GetReflection();
    int64_t number = 0;
    uint64_t natural = 0;
    bool fits = true;
    canonical = text;
    switch (key->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            fits = ParseInteger(text, number) && number >= std::numeric_limits<int32_t>::min() &&
                   number <= std::numeric_limits<int32_t>::max();
            reflection->SetInt32(&entry, key, static_cast<int32_t>(number));
            canonical = std::to_string(number);
            break;
        case FieldDescriptor::CPPTYPE_INT64:
            fits = ParseInteger(text, number);
            reflection->SetInt64(&entry, key, number);
            canonical = std::to_string(number);
            break;
        case FieldDescriptor::CPPTYPE_UINT32:
            fits = ParseInteger(text, natural) && natural <= std::numeric_limits<uint32_t>::max();
            reflection->SetUInt32(&entry, key, static_cast<uint32_t>(natural));
            canonical = std::to_string(natural);
            break;
        case FieldDescriptor::CPPTYPE_UINT64:
            fits = ParseInteger(text, natural);
            reflection->SetUInt64(&entry, key, natural);
            canonical = std::to_string(natural);
            break;
        case FieldDescriptor::CPPTYPE_BOOL:
            fits = text == "true" || text == "false";
            reflection->SetBool(&entry, key, text == "true");
            break;
        default:
            reflection->SetString(&entry, key, text);
            break;
    }
    if (!fits) {
        const std::string wanted = "keys of the type " + std::string(key->type_name());
        return Misfit(offset, field, wanted.c_str(), "'" + ShortenForError(text) + "'");
    }
    return true;
}

bool JsonDecoder::ReadMap(Message& parent, const FieldDescriptor* field) {
    if (m_cursor.Peek() != JsonKind::Object) {
        const size_t offset = m_cursor.Offset();
        return Misfit(offset, field, "an object", ShowValue());
    }
    if (!m_cursor.BeginObject()) {
        return false;
    }
    const FieldDescriptor* const value = field->message_type()->FindFieldByNumber(2);
    std::unordered_set<std::string> keys;
    std::string name;
    std::string canonical;
    for (;;) {
        const size_t offset = m_cursor.NextOffset();
        if (!m_cursor.NextMember(name)) {
            return !m_cursor.HasFailed();
        }
        Message* const entry = parent.GetReflection()->AddMessage(&parent, field, nullptr);
        if (!SetMapKey(*entry, field, name, offset, canonical)) {
            return false;
        }
        if (!keys.insert(canonical).second) {
            return FailField(
                offset, field,
                "the key '" + ShortenForError(name) + "' of " + std::string(field->full_name()) + " stands twice");
        }
        if (m_cursor.Peek() == JsonKind::Null && !TakesNull(value)) {
            return FailField(m_cursor.Offset(), field,
                             "null is no value of the map " + std::string(field->full_name()));
        }
        if (!ReadValue(*entry, value)) {
            return false;
        }
    }
}

// One value of the field's type: set, or added to a repeated field.
bool JsonDecoder::ReadValue(Message& parent, const FieldDescriptor* field) {
    m_cursor.Peek();
    const size_t offset = m_cursor.Offset();
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
        case FieldDescriptor::CPPTYPE_INT64:
        case FieldDescriptor::CPPTYPE_UINT32:
        case FieldDescriptor::CPPTYPE_UINT64:
            return ReadInteger(parent, field, offset);
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            return ReadFloating(parent, field, offset);
        case FieldDescriptor::CPPTYPE_BOOL:
            return ReadBool(parent, field, offset);
        case FieldDescriptor::CPPTYPE_ENUM:
            return ReadEnum(parent, field, offset);
        case FieldDescriptor::CPPTYPE_STRING:
            return ReadText(parent, field, offset);
        default:
            break;
    }
    const Reflection* const reflection = parent.GetReflection();
    Message* const message = field->is_repeated() ? reflection->AddMessage(&parent, field, nullptr)
                                                  : reflection->MutableMessage(&parent, field);
    if (WellKnownOf(field->message_type()) == WellKnown::None && m_cursor.Peek() != JsonKind::Object) {
        return Misfit(offset, field, "an object", ShowValue());
    }
    return ReadMessage(*message);
}

bool JsonDecoder::ReadDynamicValue(Message& value) {
    static const struct {
        JsonKind kind;
        int number;
    } MEMBERS[] = {{JsonKind::Null, 1},  {JsonKind::Number, 2}, {JsonKind::String, 3}, {JsonKind::True, 4},
                   {JsonKind::False, 4}, {JsonKind::Object, 5}, {JsonKind::Array, 6}};
    const JsonKind kind = m_cursor.Peek();
    for (const auto& member : MEMBERS) {
        if (member.kind == kind) {
            return ReadValue(value, value.GetDescriptor()->FindFieldByNumber(member.number));
        }
    }
    return m_cursor.ReadLiteral();
}

bool JsonDecoder::ReadWellKnown(WellKnown kind, Message& message) {
    const FieldDescriptor* const first = message.GetDescriptor()->FindFieldByNumber(1);
    switch (kind) {
        case WellKnown::Any:
            return ReadAny(message);
        case WellKnown::Value:
            return ReadDynamicValue(message);
        case WellKnown::Struct:
            return ReadMap(message, first);
        case WellKnown::ListValue:
            return ReadArray(message, first);
        case WellKnown::Wrapper:
            return ReadValue(message, first);
        default:
            break;
    }
    const std::string type(message.GetDescriptor()->full_name());
    m_cursor.Peek();
    const size_t offset = m_cursor.Offset();
    std::string text;
    std::string reason;
    if (!m_cursor.ReadString(text)) {
        return false;
    }
    if (!WellKnownFromText(kind, text, message, reason)) {
        return m_cursor.FailAt(offset, "'" + ShortenForError(text) + "' is " + reason + ", which " + type + " takes");
    }
    return true;
}

// The text of the member "@type" of the object at the cursor, which is not moved. Empty when there is none.
bool JsonDecoder::FindTypeUrl(std::string& url) {
    const JsonCursor::Mark mark = m_cursor.MarkHere();
    bool isFound = false;
    if (!m_cursor.BeginObject()) {
        return false;
    }
    std::string name;
    for (;;) {
        const size_t offset = m_cursor.NextOffset();
        if (!m_cursor.NextMember(name)) {
            break;
        }
        if (name != "@type") {
            m_cursor.SkipValue();
            continue;
        }
        if (isFound) {
            return m_cursor.FailAt(offset, "'@type' stands twice in one object");
        }
        isFound = m_cursor.ReadString(url);
    }
    if (m_cursor.HasFailed()) {
        return false;
    }
    m_cursor.GoBack(mark);
    return true;
}

bool JsonDecoder::ReadAny(Message& any) {
    m_cursor.Peek();
    const size_t offset = m_cursor.Offset();
    std::string url;
    if (!FindTypeUrl(url)) {
        return false;
    }
    if (url.empty()) {
        // An empty object is an empty Any; anything else needs a type.
        std::string name;
        if (!m_cursor.BeginObject() || !m_cursor.NextMember(name)) {
            return !m_cursor.HasFailed();
        }
        return m_cursor.FailAt(offset, "an Any needs a member '@type' that names its type");
    }
    std::string reason;
    const std::unique_ptr<Message> content(NewAnyContent(any, url, reason));
    if (content == nullptr) {
        return m_cursor.FailAt(offset, reason);
    }
    if (WellKnownOf(content->GetDescriptor()) == WellKnown::None) {
        if (!ReadMembers(*content, true)) {
            return false;
        }
    } else {
        bool hasValue = false;
        std::string name;
        m_cursor.BeginObject();
        for (;;) {
            const size_t nameOffset = m_cursor.NextOffset();
            if (!m_cursor.NextMember(name)) {
                break;
            }
            if (name == "@type") {
                m_cursor.SkipValue();
                continue;
            }
            if (name != "value" || hasValue) {
                return m_cursor.FailAt(nameOffset,
                                       "an Any of the type '" + url + "' has one member 'value' beside '@type'");
            }
            hasValue = true;
            if (!ReadMessage(*content)) {
                return false;
            }
        }
        if (m_cursor.HasFailed()) {
            return false;
        }
        if (!hasValue) {
            return m_cursor.FailAt(offset, "an Any of the type '" + url + "' needs a member 'value'");
        }
    }
    std::string bytes;
    if (!SerializeDeterministic(*content, bytes)) {
        return m_cursor.FailAt(offset, "the value of an Any is too large");
    }
    const Reflection* const reflection = any.GetReflection();
    reflection->SetString(&any, any.GetDescriptor()->FindFieldByNumber(1), url);
    reflection->SetString(&any, any.GetDescriptor()->FindFieldByNumber(2), bytes);
    return true;
}

int JsonToMessage(const char* json, size_t size, Message& message, InputError& error) {
    message.Clear();
    try {
        JsonDecoder decoder(json, size);
        if (decoder.ReadRecord(message)) {
            return 0;
        }
        error.field = decoder.FieldName();
        LocateInput(json, size, decoder.Cursor().Offset(), error);
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, decoder.Cursor().Message(), decoder.Hint());
    } catch (const std::exception& exception) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR,
                         std::string("the JSON cannot be read: ") + exception.what());
    }
}

}  // namespace OstraneRecord
