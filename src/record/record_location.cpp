#include "record/record_location.h"

#include <google/protobuf/descriptor.pb.h>

#include "expr/map_entries.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

const FieldDescriptor* KeyField(const FieldDescriptor* map) {
    return map->message_type()->FindFieldByNumber(1);
}

const FieldDescriptor* EntryValueField(const FieldDescriptor* map) {
    return map->message_type()->FindFieldByNumber(2);
}

bool TracksPresence(const FieldDescriptor* field) {
#if GOOGLE_PROTOBUF_VERSION >= 3012000
    return field->has_presence();
#else
    return field->message_type() != nullptr || field->containing_oneof() != nullptr ||
           field->file()->syntax() == google::protobuf::FileDescriptor::SYNTAX_PROTO2;
#endif
}

// The message behind one step on the way, null when it is not there.
const Message* StepInto(const Message& message, const Reflection* reflection, const PlanStep& step,
                        const PlanParameters& parameters, RecordLocation& location) {
    if (step.subscript == SubscriptKind::Key) {
        const int entry = FindEntry(message, step.field, parameters.Key(step.key, step.keySlot));
        if (entry < 0) {
            return nullptr;
        }
        const Message& found = reflection->GetRepeatedMessage(message, step.field, entry);
        return &found.GetReflection()->GetMessage(found, EntryValueField(step.field));
    }
    if (step.subscript == SubscriptKind::Index) {
        const int size = reflection->FieldSize(message, step.field);
        const int32_t written = parameters.Index(step.index);
        const int index = ResolveIndex(written, size);
        if (index < 0) {
            location.beyond = &step;
            location.beyondIndex = written;
            location.beyondSize = size;
            return nullptr;
        }
        return &reflection->GetRepeatedMessage(message, step.field, index);
    }
    return reflection->HasField(message, step.field) ? &reflection->GetMessage(message, step.field) : nullptr;
}

void LocateLast(const Message& message, const Reflection* reflection, const PlanStep& step,
                const PlanParameters& parameters, RecordLocation& location) {
    if (!step.field->is_repeated()) {
        return;
    }
    location.size =
        step.isMap ? OstraneCommon::CountMapEntries(message, step.field) : reflection->FieldSize(message, step.field);
    if (step.subscript == SubscriptKind::Index) {
        location.index = ResolveIndex(parameters.Index(step.index), location.size);
        location.element = location.index >= 0 && step.isMessage
                               ? &reflection->GetRepeatedMessage(message, step.field, location.index)
                               : nullptr;
    }
    if (step.subscript == SubscriptKind::Key) {
        location.index = FindEntry(message, step.field, parameters.Key(step.key, step.keySlot));
        location.element = nullptr;
        if (location.index >= 0 && step.MessageType() != nullptr) {
            const Message& entry = reflection->GetRepeatedMessage(message, step.field, location.index);
            location.element = &entry.GetReflection()->GetMessage(entry, EntryValueField(step.field));
        }
    }
}

}  // namespace

int ResolveIndex(int32_t index, int size) {
    const int64_t resolved = index < 0 ? static_cast<int64_t>(index) + size : index;
    return resolved < 0 || resolved >= size ? -1 : static_cast<int>(resolved);
}

std::string PositionsHint(int size) {
    const std::string last = std::to_string(size - 1);
    return size == 0   ? "it is empty: PUSH inserts elements"
           : size == 1 ? "its only position is 0, or -1"
                       : "its positions are 0 .. " + last + ", or -" + std::to_string(size) + " .. -1";
}

void Locate(const Message& base, const PlanPath& path, const PlanParameters& parameters, RecordLocation& location,
            const Reflection* reflection) {
    const Message* message = &base;
    reflection = reflection == nullptr ? base.GetReflection() : reflection;
    for (size_t i = 0; i + 1 < path.size(); ++i) {
        const PlanStep& step = path[i];
        message = StepInto(*message, reflection, step, parameters, location);
        if (message == nullptr) {
            location.element = nullptr;
            location.reached = i;
            return;
        }
        reflection = message->GetReflection();
        if (step.subscript != SubscriptKind::None) {
            location.element = message;
        }
    }
    location.parent = message;
    location.reached = path.size() - 1;
    LocateLast(*message, reflection, path.back(), parameters, location);
}

Message* OpenSteps(Message* base, const PlanPath& path, const PlanParameters& parameters) {
    Message* message = base;
    for (size_t i = 0; i + 1 < path.size(); ++i) {
        const PlanStep& step = path[i];
        const Reflection* reflection = message->GetReflection();
        if (step.subscript == SubscriptKind::Key) {
            Message* entry = OpenEntry(message, step.field, parameters.Key(step.key, step.keySlot));
            message = entry->GetReflection()->MutableMessage(entry, EntryValueField(step.field));
        } else if (step.subscript == SubscriptKind::Index) {
            const int index = ResolveIndex(parameters.Index(step.index), reflection->FieldSize(*message, step.field));
            message = reflection->MutableRepeatedMessage(message, step.field, index);
        } else {
            message = reflection->MutableMessage(message, step.field);
        }
    }
    return message;
}

int FindEntry(const Message& parent, const FieldDescriptor* map, const FieldValue& key) {
    const Reflection* reflection = parent.GetReflection();
    const FieldDescriptor* keyField = KeyField(map);
    // From the end: of entries with one key the last counts.
    for (int i = reflection->FieldSize(parent, map) - 1; i >= 0; --i) {
        if (HasFieldValue(reflection->GetRepeatedMessage(parent, map, i), keyField, key)) {
            return i;
        }
    }
    return -1;
}

Message* OpenEntry(Message* parent, const FieldDescriptor* map, const FieldValue& key) {
    const Reflection* reflection = parent->GetReflection();
    const int found = FindEntry(*parent, map, key);
    if (found >= 0) {
        return reflection->MutableRepeatedMessage(parent, map, found);
    }
    Message* entry = reflection->AddMessage(parent, map);
    SetFieldValue(entry, KeyField(map), key);
    return entry;
}

bool RemoveEntry(Message* parent, const FieldDescriptor* map, const FieldValue& key) {
    const Reflection* reflection = parent->GetReflection();
    int found = FindEntry(*parent, map, key);
    const bool isThere = found >= 0;
    // One that stands before it would count once it is gone.
    while (found >= 0) {
        // The others keep their order, which decides among equal keys.
        const int last = reflection->FieldSize(*parent, map) - 1;
        for (int i = found; i < last; ++i) {
            reflection->SwapElements(parent, map, i, i + 1);
        }
        reflection->RemoveLast(parent, map);
        found = FindEntry(*parent, map, key);
    }
    return isThere;
}

bool HasValue(const Message& message, const FieldDescriptor* field) {
    // The key and value of a map's entry are always there.
    return !TracksPresence(field) || field->containing_type()->options().map_entry() ||
           message.GetReflection()->HasField(message, field);
}

bool IsDeeperThan(const Message& message, int levels) {
    if (levels <= 0) {
        return true;
    }
    const Reflection* reflection = message.GetReflection();
    std::vector<const FieldDescriptor*> fields;
    reflection->ListFields(message, &fields);
    for (const FieldDescriptor* field : fields) {
        if (field->message_type() == nullptr) {
            continue;
        }
        if (!field->is_repeated()) {
            if (IsDeeperThan(reflection->GetMessage(message, field), levels - 1)) {
                return true;
            }
            continue;
        }
        const int size = reflection->FieldSize(message, field);
        for (int i = 0; i < size; ++i) {
            if (IsDeeperThan(reflection->GetRepeatedMessage(message, field, i), levels - 1)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace OstraneRecord
