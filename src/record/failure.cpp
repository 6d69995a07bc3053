#include "record/failure.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cctype>
#include <utility>

namespace OstraneRecord {
namespace {

bool IsWordByte(char c) {
    const unsigned char byte = static_cast<unsigned char>(c);
    return std::isalnum(byte) != 0 || c == '_' || byte >= 0x80;
}

}  // namespace

int Fail(Failure& failure, int code, const Place& place, std::string message, std::string hint,
         const google::protobuf::FieldDescriptor* field) {
    failure.error = OstraneCommon::ExprError();
    failure.error.code = code;
    failure.error.offset = place.offset;
    failure.error.length = place.length;
    failure.error.message = std::move(message);
    failure.error.hint = std::move(hint);
    failure.field = field == nullptr ? std::string() : NameOf(field);
    return code;
}

int Fail(Failure& failure, int code, const OstraneCommon::ExprError& error,
         const google::protobuf::FieldDescriptor* field) {
    failure.error = error;
    failure.error.code = code;
    failure.field = field == nullptr ? std::string() : NameOf(field);
    return code;
}

std::string NameOf(const google::protobuf::FieldDescriptor* field) {
    return std::string(field->full_name());
}

std::string CountOf(int count) {
    return std::to_string(count) + (count == 1 ? " element" : " elements");
}

Place TokenAt(const std::string& text, int32_t offset) {
    Place place;
    place.offset = offset < 0 ? 0 : static_cast<size_t>(offset);
    if (place.offset >= text.size()) {
        return place;
    }
    size_t end = place.offset;
    const char first = text[end];
    const bool isBytes = (first == 'x' || first == 'X') && end + 1 < text.size() && text[end + 1] == '\'';
    if (isBytes) {
        ++end;
    }
    const char quote = text[end];
    if (quote == '\'' || quote == '"' || quote == '`') {
        ++end;
        while (end < text.size() && text[end] != quote) {
            end += text[end] == '\\' && quote != '`' ? 2U : 1U;
        }
        end = end < text.size() ? end + 1 : text.size();
    } else {
        if (quote == '-' || quote == ':' || quote == '$') {
            ++end;
        }
        while (end < text.size() && IsWordByte(text[end])) {
            ++end;
        }
        const bool isNumber = std::isdigit(static_cast<unsigned char>(quote)) != 0 || quote == '-';
        if (isNumber && end + 1 < text.size() && text[end] == '.' &&
            std::isdigit(static_cast<unsigned char>(text[end + 1])) != 0) {
            ++end;
            while (end < text.size() && IsWordByte(text[end])) {
                ++end;
            }
        }
        if (end == place.offset) {
            ++end;
        }
    }
    place.length = end - place.offset;
    return place;
}

Place TreePlace(const std::string& text, const OstraneCommon::Expr& tree) {
    Place place = TokenAt(text, tree.m_self.m_tokenOffset);
    for (size_t i = 0; i < tree.OperandCount(); ++i) {
        const Place operand = TreePlace(text, *tree.Operand(static_cast<int>(i)));
        const size_t end = std::max(place.offset + place.length, operand.offset + operand.length);
        place.offset = std::min(place.offset, operand.offset);
        place.length = end - place.offset;
    }
    return place;
}

}  // namespace OstraneRecord
