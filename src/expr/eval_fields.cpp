// Reading fields as values.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/message.h>
#include <google/protobuf/reflection.h>
#include <google/protobuf/repeated_field.h>

#include "expr/eval_node.h"
#include "expr/map_entries.h"

#if defined(__GNUC__)
// The typed containers are deprecated in favour of a wrapper that costs a virtual call an element.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::RepeatedPtrField;

namespace {

bool IsBytes(const FieldDescriptor* field) {
    return field->type() == FieldDescriptor::TYPE_BYTES;
}

// Views `text`, which is `own` when the message had to make it.
Value TextValue(const std::string& text, std::string& own, const FieldDescriptor* field,
                std::list<std::string>& scratch) {
    if (&text != &own) {
        return Value::Text(text.data(), text.size(), IsBytes(field));
    }
    scratch.push_back(std::move(own));
    return Value::Text(scratch.back().data(), scratch.back().size(), IsBytes(field));
}

template <typename T>
const void* ScalarsOf(const Reflection* reflection, const Message& message, const FieldDescriptor* field) {
    return reflection->GetRepeatedField<T>(message, field).data();
}

}  // namespace

bool TracksPresence(const FieldDescriptor* field) {
    if (field->is_repeated()) {
        return false;
    }
    if (field->is_extension() || field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        return true;
    }
#if GOOGLE_PROTOBUF_VERSION >= 3012000
    return field->has_presence();
#else
    return field->containing_oneof() != nullptr ||
           field->file()->syntax() == google::protobuf::FileDescriptor::SYNTAX_PROTO2;
#endif
}

ValueType TypeOfElement(const FieldDescriptor* field) {
    ValueType type;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            type.kind = ValueKind::Bool;
            return type;
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            type.kind = ValueKind::Double;
            return type;
        case FieldDescriptor::CPPTYPE_STRING:
            type.kind = IsBytes(field) ? ValueKind::Bytes : ValueKind::Text;
            return type;
        case FieldDescriptor::CPPTYPE_ENUM:
            type.kind = ValueKind::Enum;
            type.enumType = field->enum_type();
            return type;
        case FieldDescriptor::CPPTYPE_MESSAGE:
            type.kind = ValueKind::Message;
            type.messageType = field->message_type();
            return type;
        default:
            type.kind = ValueKind::Integer;
            return type;
    }
}

void ReadSingular(const Reflection& reflection, const Message& message, const FieldDescriptor* field,
                  std::list<std::string>& scratch, Value& out) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            out = Value::Int(reflection.GetInt32(message, field));
            return;
        case FieldDescriptor::CPPTYPE_INT64:
            out = Value::Int(reflection.GetInt64(message, field));
            return;
        case FieldDescriptor::CPPTYPE_UINT32:
            out = Value::Int(reflection.GetUInt32(message, field));
            return;
        case FieldDescriptor::CPPTYPE_UINT64:
            out = Value::UInt(reflection.GetUInt64(message, field));
            return;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            out = Value::Double(reflection.GetDouble(message, field));
            return;
        case FieldDescriptor::CPPTYPE_FLOAT:
            out = Value::Double(static_cast<double>(reflection.GetFloat(message, field)));
            return;
        case FieldDescriptor::CPPTYPE_BOOL:
            out = Value::Bool(reflection.GetBool(message, field));
            return;
        case FieldDescriptor::CPPTYPE_ENUM:
            out = Value::Int(reflection.GetEnumValue(message, field));
            return;
        case FieldDescriptor::CPPTYPE_STRING: {
            std::string own;
            const std::string& text = reflection.GetStringReference(message, field, &own);
            out = TextValue(text, own, field, scratch);
            return;
        }
        default:
            out = Value::Null();
            return;
    }
}

void ArrayReader::Open(const Message& message, const FieldDescriptor* field) {
    m_message = &message;
    m_field = field;
    m_reflection = message.GetReflection();
    m_scalars = nullptr;
    m_container = nullptr;
    m_count = field->is_map() ? CountMapEntries(message, field) : m_reflection->FieldSize(message, field);
    if (m_count == 0) {
        return;
    }
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            m_scalars = ScalarsOf<int32_t>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_INT64:
            m_scalars = ScalarsOf<int64_t>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_UINT32:
            m_scalars = ScalarsOf<uint32_t>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_UINT64:
            m_scalars = ScalarsOf<uint64_t>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            m_scalars = ScalarsOf<double>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_FLOAT:
            m_scalars = ScalarsOf<float>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_BOOL:
            m_scalars = ScalarsOf<bool>(m_reflection, message, field);
            return;
        case FieldDescriptor::CPPTYPE_STRING:
            // Other kinds of texts need not be kept as std::string.
            if (field->options().ctype() == google::protobuf::FieldOptions::STRING) {
                m_container = &m_reflection->GetRepeatedPtrField<std::string>(message, field);
            }
            return;
        case FieldDescriptor::CPPTYPE_MESSAGE:
            if (!field->is_map()) {
                m_container = &m_reflection->GetRepeatedPtrField<Message>(message, field);
            }
            return;
        default:
            return;
    }
}

void ArrayReader::Get(int i, std::list<std::string>& scratch, Value& out) const {
    switch (m_field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            out = Value::Int(static_cast<const int32_t*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_INT64:
            out = Value::Int(static_cast<const int64_t*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_UINT32:
            out = Value::Int(static_cast<const uint32_t*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_UINT64:
            out = Value::UInt(static_cast<const uint64_t*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            out = Value::Double(static_cast<const double*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_FLOAT:
            out = Value::Double(static_cast<double>(static_cast<const float*>(m_scalars)[i]));
            return;
        case FieldDescriptor::CPPTYPE_BOOL:
            out = Value::Bool(static_cast<const bool*>(m_scalars)[i]);
            return;
        case FieldDescriptor::CPPTYPE_ENUM:
            out = Value::Int(m_reflection->GetRepeatedEnumValue(*m_message, m_field, i));
            return;
        case FieldDescriptor::CPPTYPE_STRING: {
            std::string own;
            const std::string& text = m_container != nullptr
                                          ? static_cast<const RepeatedPtrField<std::string>*>(m_container)->Get(i)
                                          : m_reflection->GetRepeatedStringReference(*m_message, m_field, i, &own);
            out = TextValue(text, own, m_field, scratch);
            return;
        }
        default:
            out = Value::Null();
            return;
    }
}

const Message& ArrayReader::GetMessage(int i) const {
    if (m_container == nullptr) {
        return m_reflection->GetRepeatedMessage(*m_message, m_field, i);
    }
    return static_cast<const RepeatedPtrField<Message>*>(m_container)->Get(i);
}

}  // namespace OstraneCommon
