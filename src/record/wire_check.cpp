#include "record/wire_check.h"

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>

#include "common/err_code.h"
#include "expr/code_point.h"

namespace OstraneRecord {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

namespace {

constexpr int MAX_NESTING = 100;
constexpr uint64_t MAX_FIELD_NUMBER = (1U << 29) - 1;

enum WireType { WIRE_VARINT = 0, WIRE_64 = 1, WIRE_BYTES = 2, WIRE_GROUP = 3, WIRE_GROUP_END = 4, WIRE_32 = 5 };

// Walks over tags and values as the format lays them out, and stops at the first that cannot be.
class WireWalker {
public:
    WireWalker(const char* bytes, InputError& error) : m_bytes(bytes), m_error(error) {}

    // The message in [pos, end). Of a group, `groupNumber` is its field's, and `pos` is left behind its end
    // tag; 0 otherwise.
    bool WalkMessage(size_t& pos, size_t end, const Descriptor* type, uint64_t groupNumber, int nesting);

private:
    bool Fail(size_t offset, const std::string& message) {
        m_error.offset = offset;
        m_error.hasOffset = true;
        FailInput(m_error, OstraneErrCode::GEN_ERR_ERR, message);
        return false;
    }
    bool ReadVarint(size_t& pos, size_t end, uint64_t& value, const std::string& what);
    bool WalkValue(size_t& pos, size_t end, uint64_t tag, const Descriptor* type, const FieldDescriptor* field,
                   const std::string& name, int nesting);
    bool WalkBytes(size_t& pos, size_t end, const FieldDescriptor* field, const std::string& name, int nesting);
    bool Pass(size_t& pos, size_t end, uint64_t count, const std::string& name);

    const char* m_bytes;
    InputError& m_error;
};

bool WireWalker::ReadVarint(size_t& pos, size_t end, uint64_t& value, const std::string& what) {
    const size_t start = pos;
    value = 0;
    for (unsigned shift = 0; shift < 70; shift += 7) {
        if (pos == end) {
            return Fail(start, "the data ends inside " + what);
        }
        const auto byte = static_cast<unsigned char>(m_bytes[pos++]);
        value |= shift < 64 ? static_cast<uint64_t>(byte & 0x7F) << shift : 0;
        if (byte < 0x80) {
            return true;
        }
    }
    return Fail(start, "a number of more than ten bytes in " + what);
}

bool WireWalker::Pass(size_t& pos, size_t end, uint64_t count, const std::string& name) {
    if (count > end - pos) {
        return Fail(pos, "the data ends inside " + name + ": " + std::to_string(count) + " bytes wanted, " +
                             std::to_string(end - pos) + " left");
    }
    pos += static_cast<size_t>(count);
    return true;
}

bool WireWalker::WalkBytes(size_t& pos, size_t end, const FieldDescriptor* field, const std::string& name,
                           int nesting) {
    uint64_t length = 0;
    if (!ReadVarint(pos, end, length, "the length of " + name)) {
        return false;
    }
    const size_t start = pos;
    if (!Pass(pos, end, length, name)) {
        return false;
    }
    if (field == nullptr) {
        return true;
    }
    if (field->type() == FieldDescriptor::TYPE_MESSAGE) {
        size_t inner = start;
        return WalkMessage(inner, pos, field->message_type(), 0, nesting + 1);
    }
    if (field->type() == FieldDescriptor::TYPE_STRING) {
        const size_t valid = OstraneCommon::ValidUtf8Prefix(m_bytes + start, pos - start);
        return valid == pos - start || Fail(start + valid, "the text of " + name + " is not UTF-8");
    }
    return true;
}

bool WireWalker::WalkValue(size_t& pos, size_t end, uint64_t tag, const Descriptor* type, const FieldDescriptor* field,
                           const std::string& name, int nesting) {
    uint64_t ignored = 0;
    switch (tag & 7) {
        case WIRE_VARINT:
            return ReadVarint(pos, end, ignored, name);
        case WIRE_64:
            return Pass(pos, end, 8, name);
        case WIRE_32:
            return Pass(pos, end, 4, name);
        case WIRE_BYTES:
            return WalkBytes(pos, end, field, name, nesting);
        case WIRE_GROUP: {
            const bool isGroup = field != nullptr && field->type() == FieldDescriptor::TYPE_GROUP;
            return WalkMessage(pos, end, isGroup ? field->message_type() : nullptr, tag >> 3, nesting + 1);
        }
        default:
            return Fail(pos, "a value of an unknown wire type in " +
                                 (type == nullptr ? std::string("an unknown group") : std::string(type->full_name())));
    }
}

bool WireWalker::WalkMessage(size_t& pos, size_t end, const Descriptor* type, uint64_t groupNumber, int nesting) {
    if (nesting > MAX_NESTING) {
        return Fail(pos, "messages are nested deeper than " + std::to_string(MAX_NESTING) + " levels");
    }
    const std::string typeName = type == nullptr ? std::string("an unknown group") : std::string(type->full_name());
    while (pos < end) {
        const size_t start = pos;
        uint64_t tag = 0;
        if (!ReadVarint(pos, end, tag, "a field's tag in " + typeName)) {
            return false;
        }
        const uint64_t number = tag >> 3;
        if (number == 0 || number > MAX_FIELD_NUMBER) {
            return Fail(start, "no field has the number " + std::to_string(number) + ", which stands in " + typeName);
        }
        if ((tag & 7) == WIRE_GROUP_END) {
            return number == groupNumber || Fail(start, "a group ends that has not begun in " + typeName);
        }
        const FieldDescriptor* const field =
            type == nullptr ? nullptr : type->FindFieldByNumber(static_cast<int>(number));
        const std::string name =
            field != nullptr ? std::string(field->full_name()) : "field " + std::to_string(number) + " of " + typeName;
        m_error.field = field != nullptr ? name : std::string();
        if (!WalkValue(pos, end, tag, type, field, name, nesting)) {
            return false;
        }
    }
    return groupNumber == 0 || Fail(end, "the data ends inside a group of " + typeName);
}

}  // namespace

int ExplainBrokenBinary(const char* bytes, size_t size, const Descriptor& type, InputError& error) {
    size_t pos = 0;
    WireWalker walker(bytes, error);
    if (walker.WalkMessage(pos, size, &type, 0, 0)) {
        FailInput(error, OstraneErrCode::GEN_ERR_ERR, "the data is no message of " + std::string(type.full_name()));
    }
    return error.code;
}

}  // namespace OstraneRecord
