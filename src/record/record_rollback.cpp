#include "record/record_rollback.h"

#include <algorithm>
#include <utility>

#include "common/protobuf_record_util.h"
#include "record/record_location.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// The member of the field's oneof that has a value; the field itself when none has, or it is in no oneof.
const FieldDescriptor* HeldMember(const Message& message, const FieldDescriptor* field) {
    const google::protobuf::OneofDescriptor* oneof = field->containing_oneof();
    for (int i = 0; oneof != nullptr && i < oneof->field_count(); ++i) {
        if (message.GetReflection()->HasField(message, oneof->field(i))) {
            return oneof->field(i);
        }
    }
    return field;
}

// Whether protobuf tells by reflection everything that the field holds: of a number without presence, minus
// zero may pass for unset; the entries of a map are no elements to copy one by one.
bool CanCopy(const Message& message, const FieldDescriptor* field) {
    if (field->is_repeated()) {
        return !field->is_map();
    }
    const bool isFloating =
        field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT || field->cpp_type() == FieldDescriptor::CPPTYPE_DOUBLE;
    return !isFloating || message.GetReflection()->HasField(message, field) || !HasValue(message, field);
}

// Puts a copy of what `from` holds in the field into `to`, where it holds nothing. False when it cannot.
bool CopyField(Message* from, const FieldDescriptor* field, Message* to) {
    const Reflection* reflection = from->GetReflection();
    if (!field->is_repeated() && field->message_type() != nullptr) {
        if (reflection->HasField(*from, field)) {
            to->GetReflection()->MutableMessage(to, field)->CopyFrom(reflection->GetMessage(*from, field));
        }
        return true;
    }
    ProtobufRecord record;
    MutableProtobufField target = {to, field};
    OstraneCommon::PbField source;
    source.SetField(from, field, false);
    return ProtobufRecordUtil(record).UpdateWithPbField(target, OstraneCommon::EXPR_OP_SET, &source) == 0;
}

}  // namespace

bool RecordRollback::IsKept(const FieldDescriptor* field) const {
    return std::any_of(m_fields.begin(), m_fields.end(), [field](const FieldDescriptor* kept) {
        return kept == field ||
               (field->containing_oneof() != nullptr && kept->containing_oneof() == field->containing_oneof());
    });
}

void RecordRollback::Keep(const FieldDescriptor* field) {
    if (m_isWhole || IsKept(field)) {
        return;
    }
    const FieldDescriptor* held = HeldMember(*m_message, field);
    if (!CanCopy(*m_message, held)) {
        KeepWhole();
        return;
    }
    if (m_copy == nullptr) {
        m_copy.reset(m_message->New());
    }
    m_fields.reserve(m_fields.size() + 1);
    if (CopyField(m_message, held, m_copy.get())) {
        m_fields.push_back(field);
    } else {
        KeepWhole();
    }
}

// What was kept before is older than what the message holds now.
void RecordRollback::KeepWhole() {
    std::unique_ptr<Message> whole(m_message->New());
    whole->CopyFrom(*m_message);
    if (m_copy != nullptr && !m_fields.empty()) {
        whole->GetReflection()->SwapFields(whole.get(), m_copy.get(), m_fields);
    }
    m_copy = std::move(whole);
    m_isWhole = true;
}

void RecordRollback::Restore() {
    if (m_copy == nullptr) {
        return;
    }
    const Reflection* reflection = m_message->GetReflection();
    const bool isOnHeap = m_message->GetArena() == nullptr;
    if (m_isWhole && isOnHeap) {
        reflection->Swap(m_message, m_copy.get());  // cannot fail
    } else if (m_isWhole) {
        m_message->CopyFrom(*m_copy);
    } else if (isOnHeap) {
        reflection->SwapFields(m_message, m_copy.get(), m_fields);
    } else {
        // Nothing can be exchanged with an arena but by copying.
        for (const FieldDescriptor* field : m_fields) {
            reflection->ClearField(m_message, HeldMember(*m_message, field));
            CopyField(m_copy.get(), HeldMember(*m_copy, field), m_message);
        }
    }
    m_copy.reset();
    m_fields.clear();
    m_isWhole = false;
}

}  // namespace OstraneRecord
