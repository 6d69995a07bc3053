// Keys are read once, in a form whose order is theirs, and sorted: asking the messages in every comparison costs
// more than that.
#include "expr/map_entries.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <list>
#include <string>

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

struct EntryKey {
    uint64_t number = 0;                // of every key but texts, moved such that negative ones come first
    const std::string* text = nullptr;  // of texts
    int32_t position = 0;
};

constexpr uint64_t SIGN_BIT = uint64_t{1} << 63;

uint64_t Ordered(int64_t number) {
    return static_cast<uint64_t>(number) ^ SIGN_BIT;
}

// `kept` holds the texts that the message had to make.
EntryKey ReadKey(const Message& entry, const FieldDescriptor* field, std::list<std::string>& kept) {
    const Reflection* const reflection = entry.GetReflection();
    EntryKey key;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            key.number = Ordered(reflection->GetInt32(entry, field));
            break;
        case FieldDescriptor::CPPTYPE_INT64:
            key.number = Ordered(reflection->GetInt64(entry, field));
            break;
        case FieldDescriptor::CPPTYPE_UINT32:
            key.number = reflection->GetUInt32(entry, field);
            break;
        case FieldDescriptor::CPPTYPE_UINT64:
            key.number = reflection->GetUInt64(entry, field);
            break;
        case FieldDescriptor::CPPTYPE_BOOL:
            key.number = reflection->GetBool(entry, field) ? 1 : 0;
            break;
        default: {
            std::string own;
            key.text = &reflection->GetStringReference(entry, field, &own);
            if (key.text == &own) {
                kept.push_back(std::move(own));
                key.text = &kept.back();
            }
            break;
        }
    }
    return key;
}

bool IsLess(const EntryKey& left, const EntryKey& right) {
    return left.text == nullptr ? left.number < right.number : *left.text < *right.text;
}

}  // namespace

std::vector<int32_t> MapEntries(const Message& message, const FieldDescriptor* map) {
    const Reflection* const reflection = message.GetReflection();
    const FieldDescriptor* const field = map->message_type()->FindFieldByNumber(1);
    const int size = reflection->FieldSize(message, map);
    std::vector<EntryKey> keys;
    std::list<std::string> kept;
    keys.reserve(static_cast<size_t>(size));
    for (int i = 0; i < size; ++i) {
        keys.push_back(ReadKey(reflection->GetRepeatedMessage(message, map, i), field, kept));
        keys.back().position = i;
    }
    std::sort(keys.begin(), keys.end(), [](const EntryKey& left, const EntryKey& right) {
        return IsLess(left, right) || (!IsLess(right, left) && left.position < right.position);
    });
    std::vector<int32_t> positions;
    positions.reserve(keys.size());
    for (size_t i = 0; i < keys.size(); ++i) {
        if (i + 1 == keys.size() || IsLess(keys[i], keys[i + 1])) {
            positions.push_back(keys[i].position);
        }
    }
    return positions;
}

int CountMapEntries(const Message& message, const FieldDescriptor* map) {
    const int size = message.GetReflection()->FieldSize(message, map);
    return size < 2 ? size : static_cast<int>(MapEntries(message, map).size());
}

}  // namespace OstraneCommon
