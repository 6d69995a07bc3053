// The casts of values, and what a resolver answers that supports nothing.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include "common/expr.h"
#include "expr/number_text.h"

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// 2^63 and 2^64, both exact as doubles.
constexpr double TWO_TO_63 = 9223372036854775808.0;
constexpr double TWO_TO_64 = 18446744073709551616.0;

bool IntegerOfDouble(double number, uint64_t& bits) {
    // Written so that NaN fails.
    if (!(number >= -TWO_TO_63 && number < TWO_TO_64)) {
        return false;
    }
    if (number < 0) {
        const int64_t integer = static_cast<int64_t>(number);
        if (static_cast<double>(integer) != number) {
            return false;
        }
        bits = static_cast<uint64_t>(integer);
        return true;
    }
    const uint64_t integer = static_cast<uint64_t>(number);
    if (static_cast<double>(integer) != number) {
        return false;
    }
    bits = integer;
    return true;
}

// The reflection to read the field behind `variant` with; null unless it is a singular field of the
// message that it is said to be of.
const Reflection* SingularFieldReflection(const ExprVariant& variant) {
    if (variant.m_type != EXPR_UNRESOLVE || (variant.m_flags & EXPR_FLAG_NAME) != 0) {
        return nullptr;
    }
    const PbField& pb = variant.m_data.pb;
    if (pb.pMessage == nullptr || pb.pFieldDesc == nullptr || pb.pFieldDesc->is_repeated()) {
        return nullptr;
    }
    if (pb.pFieldDesc->containing_type() != pb.pMessage->GetDescriptor()) {
        return nullptr;
    }
    return pb.pMessage->GetReflection();
}

bool IntegerOfField(const ExprVariant& variant, uint64_t& bits) {
    const Reflection* const reflection = SingularFieldReflection(variant);
    if (reflection == nullptr) {
        return false;
    }
    const Message& message = *variant.m_data.pb.pMessage;
    const FieldDescriptor* const field = variant.m_data.pb.pFieldDesc;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            bits = static_cast<uint64_t>(int64_t{reflection->GetInt32(message, field)});
            return true;
        case FieldDescriptor::CPPTYPE_INT64:
            bits = static_cast<uint64_t>(reflection->GetInt64(message, field));
            return true;
        case FieldDescriptor::CPPTYPE_UINT32:
            bits = reflection->GetUInt32(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_UINT64:
            bits = reflection->GetUInt64(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_BOOL:
            bits = reflection->GetBool(message, field) ? 1 : 0;
            return true;
        case FieldDescriptor::CPPTYPE_ENUM:
            bits = static_cast<uint64_t>(int64_t{reflection->GetEnumValue(message, field)});
            return true;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            return IntegerOfDouble(reflection->GetDouble(message, field), bits);
        case FieldDescriptor::CPPTYPE_FLOAT:
            return IntegerOfDouble(reflection->GetFloat(message, field), bits);
        default:
            return false;
    }
}

bool DoubleOfField(const ExprVariant& variant, double& number) {
    const Reflection* const reflection = SingularFieldReflection(variant);
    if (reflection == nullptr) {
        return false;
    }
    const Message& message = *variant.m_data.pb.pMessage;
    const FieldDescriptor* const field = variant.m_data.pb.pFieldDesc;
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            number = reflection->GetInt32(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_INT64:
            number = static_cast<double>(reflection->GetInt64(message, field));
            return true;
        case FieldDescriptor::CPPTYPE_UINT32:
            number = reflection->GetUInt32(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_UINT64:
            number = static_cast<double>(reflection->GetUInt64(message, field));
            return true;
        case FieldDescriptor::CPPTYPE_BOOL:
            number = reflection->GetBool(message, field) ? 1 : 0;
            return true;
        case FieldDescriptor::CPPTYPE_ENUM:
            number = reflection->GetEnumValue(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            number = reflection->GetDouble(message, field);
            return true;
        case FieldDescriptor::CPPTYPE_FLOAT:
            number = reflection->GetFloat(message, field);
            return true;
        default:
            return false;
    }
}

bool TextOfField(const ExprVariant& variant, const std::string*& text) {
    const Reflection* const reflection = SingularFieldReflection(variant);
    if (reflection == nullptr || variant.m_data.pb.pFieldDesc->cpp_type() != FieldDescriptor::CPPTYPE_STRING) {
        return false;
    }
    std::string scratch;
    const std::string& value =
        reflection->GetStringReference(*variant.m_data.pb.pMessage, variant.m_data.pb.pFieldDesc, &scratch);
    // A message that does not keep the text as a std::string has none to point at.
    if (&value == &scratch) {
        return false;
    }
    text = &value;
    return true;
}

}  // namespace

bool ExprVariant::Cast(uint64_t& val) const {
    switch (m_type) {
        case EXPR_UINT:
            val = m_data.valUInt64;
            return true;
        case EXPR_INT:
        case EXPR_TIME:
            val = static_cast<uint64_t>(m_data.valInt64);
            return true;
        case EXPR_FLOAT:
            return IntegerOfDouble(m_data.valFloat, val);
        case EXPR_UINT_STRING:
        case EXPR_INT_STRING:
        case EXPR_FLOAT_STRING:
            return IntegerOfText(m_str, val);
        case EXPR_UNRESOLVE:
            return IntegerOfField(*this, val);
        default:
            return false;
    }
}

bool ExprVariant::Cast(double& val) const {
    switch (m_type) {
        case EXPR_UINT:
            val = static_cast<double>(m_data.valUInt64);
            return true;
        case EXPR_INT:
        case EXPR_TIME:
            val = static_cast<double>(m_data.valInt64);
            return true;
        case EXPR_FLOAT:
            val = m_data.valFloat;
            return true;
        case EXPR_UINT_STRING:
        case EXPR_INT_STRING:
        case EXPR_FLOAT_STRING:
            return DoubleOfText(m_str, val);
        case EXPR_UNRESOLVE:
            return DoubleOfField(*this, val);
        default:
            return false;
    }
}

bool ExprVariant::CastRef(const std::string*& val) const {
    switch (m_type) {
        case EXPR_STRING:
        case EXPR_BINARY_STRING:
        case EXPR_BYTES:
        case EXPR_BYTES_TEXT:
            val = &m_str;
            return true;
        case EXPR_STRING_PTR:
            if (m_data.pStr == nullptr) {
                return false;
            }
            val = m_data.pStr;
            return true;
        case EXPR_UNRESOLVE:
            return TextOfField(*this, val);
        default:
            return false;
    }
}

ExprResolver::~ExprResolver() = default;

int ExprResolver::Resolve(ExprVariant* /*name*/, ExprVariant& /*out*/) {
    return -1;
}

bool ExprResolver::Cast(ExprVariant& /*from*/, ExprVariant& /*to*/) {
    return false;
}

bool ExprResolver::IsDeltaRecord() {
    return false;
}

bool ExprResolver::IsStruct(ExprVariant& /*var*/) {
    return false;
}

bool ExprResolver::IsArray(ExprVariant& /*var*/) {
    return false;
}

bool ExprResolver::IsMap(ExprVariant& /*var*/) {
    return false;
}

int ExprResolver::ArraySize(ExprVariant& /*var*/) {
    return -1;
}

int ExprResolver::MapSize(ExprVariant& /*var*/) {
    return -1;
}

int ExprResolver::ArrayGet(ExprVariant& /*array*/, int /*index*/, ExprVariant& /*out*/) {
    return -1;
}

int ExprResolver::ArrayGetRange(ExprVariant& /*array*/, Expr& /*range*/, ExprVariant& /*out*/) {
    return -1;
}

int ExprResolver::ArrayGetFirst(ExprVariant& /*array*/, ExprVariant& /*out*/, bool /*isMutable*/, bool& /*isFound*/) {
    return -1;
}

int ExprResolver::MapFind(ExprVariant& /*map*/, Expr& /*key*/, ExprVariant& /*out*/, bool /*isMutable*/,
                          bool& /*isFound*/) {
    return -1;
}

int ExprResolver::Update(ExprVariant& /*target*/, ExprType /*op*/, ExprVariant* /*value*/) {
    return -1;
}

int ExprResolver::ArrayUpdate(ExprVariant& /*array*/, Expr& /*index*/, ExprType /*op*/, ExprVariant* /*value*/) {
    return -1;
}

int ExprResolver::MapUpdate(ExprVariant& /*map*/, Expr& /*key*/, ExprType /*op*/, ExprVariant* /*value*/) {
    return -1;
}

int ExprResolver::ApplyMapUpdate(ExprVariant& /*var*/) {
    return 0;
}

}  // namespace OstraneCommon
