#include "model/world.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/unknown_field_set.h>

#include "fields.pb.h"
#include "fields3.pb.h"

namespace model {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

constexpr int MAX_DEPTH = 2;
constexpr size_t MAX_PLACES = 24;
constexpr size_t MAX_NODES = 1000;
// Of no field and no extension.
constexpr int UNKNOWN_NUMBER = 5000;

const Descriptor* TypeOf(uint8_t choice) {
    return (choice & 16U) != 0 ? fields3::Fields::descriptor() : fields::Fields::descriptor();
}

MessageKind KindOf(int choice) {
    return AllMessageKinds()[static_cast<size_t>(choice % 4)];
}

// Sets a singular field, or adds an element, with a value made from a number.
void Write(Message* message, const FieldDescriptor* field, int number, int key) {
    const Reflection* reflection = message->GetReflection();
    const bool isAdd = field->is_repeated();
    switch (field->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, Type, value)                                                                    \
    case FieldDescriptor::CPPTYPE:                                                                           \
        isAdd ? reflection->Add##Type(message, field, value) : reflection->Set##Type(message, field, value); \
        return;
        OSTRANE_ROW(CPPTYPE_BOOL, Bool, number % 2 != 0)
        OSTRANE_ROW(CPPTYPE_INT32, Int32, number - 2)
        OSTRANE_ROW(CPPTYPE_UINT32, UInt32, static_cast<uint32_t>(number))
        OSTRANE_ROW(CPPTYPE_INT64, Int64, number - 2)
        OSTRANE_ROW(CPPTYPE_UINT64, UInt64, static_cast<uint64_t>(number))
        OSTRANE_ROW(CPPTYPE_DOUBLE, Double, number + 0.5)
        OSTRANE_ROW(CPPTYPE_FLOAT, Float, static_cast<float>(number) + 0.25F)
        OSTRANE_ROW(CPPTYPE_ENUM, Enum, field->enum_type()->value(number % field->enum_type()->value_count()))
        OSTRANE_ROW(CPPTYPE_STRING, String, std::string(static_cast<size_t>(number % 5 * 8), 'a'))
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_MESSAGE:
            break;
    }
    Message* element = isAdd ? reflection->AddMessage(message, field) : reflection->MutableMessage(message, field);
    const Descriptor* type = element->GetDescriptor();
    if (number % 3 == 1 && !type->options().map_entry()) {
        element->GetReflection()->MutableUnknownFields(element)->AddVarint(UNKNOWN_NUMBER,
                                                                           static_cast<uint64_t>(number));
    }
    for (int i = 0; i < type->field_count(); ++i) {
        const FieldDescriptor* subField = type->field(i);
        if (type->options().map_entry() && i == 0) {
            // No two entries have one key.
            subField->cpp_type() == FieldDescriptor::CPPTYPE_STRING
                ? element->GetReflection()->SetString(element, subField, "k" + std::to_string(key))
                : element->GetReflection()->SetInt32(element, subField, key);
        } else if (subField->cpp_type() == FieldDescriptor::CPPTYPE_INT32 && !subField->is_repeated() &&
                   subField->containing_oneof() == nullptr && (number + i) % 4 != 0) {
            element->GetReflection()->SetInt32(element, subField, number);
        }
    }
}

}  // namespace

std::vector<const FieldDescriptor*> FieldsOf(const Descriptor* type, bool areRepeated) {
    std::vector<const FieldDescriptor*> fields;
    for (int i = 0; i < type->field_count(); ++i) {
        fields.push_back(type->field(i));
    }
    for (int i = 0; i < type->file()->extension_count(); ++i) {
        if (type->file()->extension(i)->containing_type() == type) {
            fields.push_back(type->file()->extension(i));
        }
    }
    std::vector<const FieldDescriptor*> wanted;
    for (const FieldDescriptor* field : fields) {
        if (field->is_repeated() == areRepeated) {
            wanted.push_back(field);
        }
    }
    return wanted;
}

World::World(uint8_t choice)
    : m_maker(KindOf(choice), TypeOf(choice)), m_otherMaker(KindOf(choice / 4), TypeOf(choice)) {
    record.m_pLog = log.Category();
    m_messages = {m_maker.Make(), m_maker.Make(), m_otherMaker.Make()};
    FollowRecords();
}

void World::CollectPlaces(const Place& place, int depth, std::vector<Place>& places) const {
    if (places.size() >= MAX_PLACES) {
        return;
    }
    places.push_back(place);
    const Reflection* reflection = place.message->GetReflection();
    for (const bool isRepeated : {false, true}) {
        for (const FieldDescriptor* field : FieldsOf(place.node->type, isRepeated)) {
            if (depth == MAX_DEPTH || field->is_map() || field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
                continue;
            }
            const std::string path = place.path + "." + std::string(field->name());
            for (int i = 0; i < place.node->Size(field); ++i) {
                Message* message = isRepeated ? reflection->MutableRepeatedMessage(place.message, field, i)
                                              : reflection->MutableMessage(place.message, field);
                Node* node = place.node->Of(field)[static_cast<size_t>(i)].node.get();
                CollectPlaces({node, message, isRepeated ? path + "[" + std::to_string(i) + "]" : path}, depth + 1,
                              places);
            }
        }
    }
}

std::vector<Place> World::Places() {
    std::vector<Place> places;
    for (size_t i = 0; i < m_messages.size(); ++i) {
        std::vector<Place> ofRecord;
        CollectPlaces({m_models[i].get(), m_messages[i], "record" + std::to_string(i)}, 0, ofRecord);
        places.insert(places.end(), ofRecord.begin(), ofRecord.end());
    }
    return places;
}

void World::Fill(const Place& place, const FieldDescriptor* field, int count, int first) {
    for (int i = 0; i < (field->is_repeated() ? count : 1); ++i) {
        Write(place.message, field, first + i, m_nextKey++);
    }
    FollowRecords();
}

std::string World::Difference() const {
    for (size_t i = 0; i < m_messages.size(); ++i) {
        const std::string expected = Print(*m_models[i]);
        const std::string actual = Print(*Read(*m_messages[i]));
        if (actual != expected) {
            return "record" + std::to_string(i) + "\n  expected " + expected + "\n  is       " + actual;
        }
    }
    return "";
}

std::string World::DifferenceWhenReadBack() {
    for (size_t i = 0; i < m_messages.size(); ++i) {
        std::string bytes;
        m_messages[i]->SerializePartialToString(&bytes);
        // A generated message knows its extensions.
        const auto* prototype =
            google::protobuf::MessageFactory::generated_factory()->GetPrototype(m_messages[i]->GetDescriptor());
        const std::unique_ptr<Message> copy(prototype->New());
        if (!copy->ParsePartialFromString(bytes)) {
            return "record" + std::to_string(i) + " is written as what cannot be read";
        }
        const std::string expected = Print(*m_models[i]);
        const std::string actual = Print(*Read(*copy));
        if (actual != expected) {
            return "record" + std::to_string(i) + " read back\n  expected " + expected + "\n  is       " + actual;
        }
    }
    return "";
}

void World::FollowRecords() {
    for (size_t i = 0; i < m_messages.size(); ++i) {
        m_models[i] = Read(*m_messages[i]);
    }
}

std::array<std::shared_ptr<Node>, 3> World::CopyModels() const {
    return {DeepCopy(*m_models[0]), DeepCopy(*m_models[1]), DeepCopy(*m_models[2])};
}

bool World::IsSound() const {
    size_t nodes = 0;
    for (const std::shared_ptr<Node>& node : m_models) {
        nodes += CountNodes(*node);
        if (HasDoubleKeys(*node)) {
            return false;
        }
    }
    return nodes <= MAX_NODES;
}

}  // namespace model
