#include "model/model_record.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace model {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

const Values& Node::Of(const FieldDescriptor* field) const {
    static const Values none;
    const auto found = fields.find(field->number());
    return found == fields.end() ? none : found->second;
}

void Node::Put(const FieldDescriptor* field, Values values) {
    if (values.empty()) {
        fields.erase(field->number());
        if (type->options().map_entry()) {
            fields[field->number()] = {Blank(field)};
        }
        return;
    }
    fields[field->number()] = std::move(values);
}

void Node::PutSingular(const FieldDescriptor* field, const std::string& text) {
    if (field->containing_oneof() != nullptr) {
        for (int i = 0; i < field->containing_oneof()->field_count(); ++i) {
            fields.erase(field->containing_oneof()->field(i)->number());
        }
    }
    if (!field->has_presence() && text == Blank(field).text) {
        Put(field, {});
        return;
    }
    Put(field, {{text, nullptr}});
}

void Node::Clear() {
    *this = *NewNode(type);
}

std::string TextOf(bool value) {
    return value ? "1" : "0";
}
std::string TextOf(int32_t value) {
    return std::to_string(value);
}
std::string TextOf(int64_t value) {
    return std::to_string(value);
}
std::string TextOf(uint32_t value) {
    return std::to_string(value);
}
std::string TextOf(uint64_t value) {
    return std::to_string(value);
}
std::string TextOf(double value) {
    char text[64];
    std::snprintf(text, sizeof(text), "%a", value);
    return text;
}

Value Blank(const FieldDescriptor* field) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_STRING:
            return {"", nullptr};
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return {"", NewNode(field->message_type())};
        case FieldDescriptor::CPPTYPE_DOUBLE:
        case FieldDescriptor::CPPTYPE_FLOAT:
            return {TextOf(0.0), nullptr};
        case FieldDescriptor::CPPTYPE_ENUM:
            return {TextOf(field->enum_type()->value(0)->number()), nullptr};
        default:
            return {"0", nullptr};
    }
}

std::shared_ptr<Node> NewNode(const Descriptor* type) {
    auto node = std::make_shared<Node>(type);
    if (type->options().map_entry()) {
        node->fields[1] = {Blank(type->field(0))};
        node->fields[2] = {Blank(type->field(1))};
    }
    return node;
}

Value DeepCopy(const Value& value) {
    return {value.text, value.node == nullptr ? nullptr : DeepCopy(*value.node)};
}

std::shared_ptr<Node> DeepCopy(const Node& node) {
    auto copy = std::make_shared<Node>(node.type);
    for (const auto& [number, values] : node.fields) {
        Values& copied = copy->fields[number];
        for (const Value& value : values) {
            copied.push_back(DeepCopy(value));
        }
    }
    return copy;
}

bool IsInside(const Node* inner, const Node& outer) {
    if (inner == &outer) {
        return true;
    }
    for (const auto& [number, values] : outer.fields) {
        for (const Value& value : values) {
            if (value.node != nullptr && IsInside(inner, *value.node)) {
                return true;
            }
        }
    }
    return false;
}

bool HasAllRequired(const Node& node) {
    for (int i = 0; i < node.type->field_count(); ++i) {
        if (node.type->field(i)->is_required() && !node.Has(node.type->field(i))) {
            return false;
        }
    }
    for (const auto& [number, values] : node.fields) {
        for (const Value& value : values) {
            if (value.node != nullptr && !HasAllRequired(*value.node)) {
                return false;
            }
        }
    }
    return true;
}

bool HasDoubleKeys(const Node& node) {
    for (const auto& [number, values] : node.fields) {
        std::set<std::string> keys;
        for (const Value& value : values) {
            if (value.node == nullptr) {
                continue;
            }
            const bool isEntry = value.node->type->options().map_entry();
            if ((isEntry && !keys.insert(value.node->fields.at(1)[0].text).second) || HasDoubleKeys(*value.node)) {
                return true;
            }
        }
    }
    return false;
}

size_t CountNodes(const Node& node) {
    size_t count = 1;
    for (const auto& [number, values] : node.fields) {
        count += values.size();
        for (const Value& value : values) {
            count += value.node == nullptr ? 0 : CountNodes(*value.node);
        }
    }
    return count;
}

namespace {

Value ReadSingular(const Message& message, const FieldDescriptor* field) {
    const Reflection* reflection = message.GetReflection();
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            return {TextOf(reflection->GetBool(message, field)), nullptr};
        case FieldDescriptor::CPPTYPE_INT32:
            return {TextOf(reflection->GetInt32(message, field)), nullptr};
        case FieldDescriptor::CPPTYPE_UINT32:
            return {TextOf(reflection->GetUInt32(message, field)), nullptr};
        case FieldDescriptor::CPPTYPE_INT64:
            return {TextOf(static_cast<int64_t>(reflection->GetInt64(message, field))), nullptr};
        case FieldDescriptor::CPPTYPE_UINT64:
            return {TextOf(static_cast<uint64_t>(reflection->GetUInt64(message, field))), nullptr};
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return {TextOf(reflection->GetDouble(message, field)), nullptr};
        case FieldDescriptor::CPPTYPE_FLOAT:
            return {TextOf(static_cast<double>(reflection->GetFloat(message, field))), nullptr};
        case FieldDescriptor::CPPTYPE_ENUM:
            return {TextOf(reflection->GetEnumValue(message, field)), nullptr};
        case FieldDescriptor::CPPTYPE_STRING:
            return {reflection->GetString(message, field), nullptr};
        case FieldDescriptor::CPPTYPE_MESSAGE:
            break;
    }
    return {"", Read(reflection->GetMessage(message, field))};
}

Value ReadElement(const Message& message, const FieldDescriptor* field, int i) {
    const Reflection* reflection = message.GetReflection();
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            return {TextOf(reflection->GetRepeatedBool(message, field, i)), nullptr};
        case FieldDescriptor::CPPTYPE_INT32:
            return {TextOf(reflection->GetRepeatedInt32(message, field, i)), nullptr};
        case FieldDescriptor::CPPTYPE_UINT32:
            return {TextOf(reflection->GetRepeatedUInt32(message, field, i)), nullptr};
        case FieldDescriptor::CPPTYPE_INT64:
            return {TextOf(static_cast<int64_t>(reflection->GetRepeatedInt64(message, field, i))), nullptr};
        case FieldDescriptor::CPPTYPE_UINT64:
            return {TextOf(static_cast<uint64_t>(reflection->GetRepeatedUInt64(message, field, i))), nullptr};
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return {TextOf(reflection->GetRepeatedDouble(message, field, i)), nullptr};
        case FieldDescriptor::CPPTYPE_FLOAT:
            return {TextOf(static_cast<double>(reflection->GetRepeatedFloat(message, field, i))), nullptr};
        case FieldDescriptor::CPPTYPE_ENUM:
            return {TextOf(reflection->GetRepeatedEnumValue(message, field, i)), nullptr};
        case FieldDescriptor::CPPTYPE_STRING:
            return {reflection->GetRepeatedString(message, field, i), nullptr};
        case FieldDescriptor::CPPTYPE_MESSAGE:
            break;
    }
    return {"", Read(reflection->GetRepeatedMessage(message, field, i))};
}

}  // namespace

std::shared_ptr<Node> Read(const Message& message) {
    const Reflection* reflection = message.GetReflection();
    auto node = NewNode(message.GetDescriptor());
    std::vector<const FieldDescriptor*> fields;
    if (node->type->options().map_entry()) {
        // An entry that was made without a value has one for every reader.
        fields = {node->type->field(0), node->type->field(1)};
    } else {
        reflection->ListFields(message, &fields);
        std::string unknown;
        reflection->GetUnknownFields(message).SerializeToString(&unknown);
        std::string shown;
        for (const char byte : unknown) {
            char hex[4];
            std::snprintf(hex, sizeof(hex), "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
            shown += hex;
        }
        if (!shown.empty()) {
            node->fields[0] = {{shown, nullptr}};
        }
    }
    for (const FieldDescriptor* field : fields) {
        if (!field->is_repeated()) {
            node->Put(field, {ReadSingular(message, field)});
            continue;
        }
        Values values;
        for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
            values.push_back(ReadElement(message, field, i));
        }
        node->Put(field, std::move(values));
    }
    return node;
}

std::string Print(const Node& node) {
    std::string text = "{";
    for (const auto& [number, values] : node.fields) {
        std::vector<std::string> texts;
        bool isMap = false;
        for (const Value& value : values) {
            isMap |= value.node != nullptr && value.node->type->options().map_entry();
            texts.push_back(value.node != nullptr ? Print(*value.node) : "\"" + value.text + "\"");
        }
        if (isMap) {
            std::sort(texts.begin(), texts.end());
        }
        text += std::to_string(number) + ":[";
        for (const std::string& one : texts) {
            text += one + " ";
        }
        text += "] ";
    }
    return text + "}";
}

}  // namespace model
