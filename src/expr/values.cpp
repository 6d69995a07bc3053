// The casts of values, and what a resolver answers that supports nothing.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <list>

#include "common/expr.h"
#include "expr/eval_node.h"
#include "expr/number_text.h"

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;
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

// Whether `variant` refers to one value: a singular field, or one element of a repeated one, of the message
// that it is said to be of.
bool RefersToValue(const ExprVariant& variant) {
    if ((variant.m_flags & EXPR_FLAG_NAME) != 0) {
        return false;
    }
    const PbField& pb = variant.m_data.pb;
    if (pb.pMessage == nullptr || pb.pFieldDesc == nullptr ||
        pb.pFieldDesc->containing_type() != pb.pMessage->GetDescriptor()) {
        return false;
    }
    const Reflection* const reflection = pb.pMessage->GetReflection();
    if (reflection == nullptr) {
        return false;
    }
    if (!pb.pFieldDesc->is_repeated()) {
        return true;
    }
    return pb.isArrayElement && pb.idxBegin >= 0 && pb.idxBegin < reflection->FieldSize(*pb.pMessage, pb.pFieldDesc);
}

// The value that `variant` refers to, unless it is a text or a message.
bool ReadNumber(const ExprVariant& variant, Value& out) {
    const PbField& pb = variant.m_data.pb;
    if (!RefersToValue(variant) || pb.pFieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        return false;
    }
    std::list<std::string> scratch;
    if (pb.pFieldDesc->is_repeated()) {
        ArrayReader reader;
        reader.Open(*pb.pMessage, pb.pFieldDesc);
        reader.Get(pb.idxBegin, scratch, out);
    } else {
        ReadSingular(*pb.pMessage->GetReflection(), *pb.pMessage, pb.pFieldDesc, scratch, out);
    }
    return !out.IsNull();
}

bool IntegerOfField(const ExprVariant& variant, uint64_t& bits) {
    Value value;
    if (!ReadNumber(variant, value)) {
        return false;
    }
    switch (value.tag) {
        case Value::Tag::Bool:
            bits = value.boolean ? 1 : 0;
            return true;
        case Value::Tag::Int:
            bits = static_cast<uint64_t>(value.int64);
            return true;
        case Value::Tag::UInt:
            bits = value.uint64;
            return true;
        default:
            return IntegerOfDouble(value.real, bits);
    }
}

bool DoubleOfField(const ExprVariant& variant, double& number) {
    Value value;
    if (!ReadNumber(variant, value)) {
        return false;
    }
    number = value.tag == Value::Tag::Bool ? (value.boolean ? 1 : 0) : value.AsDouble();
    return true;
}

bool TextOfField(const ExprVariant& variant, const std::string*& text) {
    const PbField& pb = variant.m_data.pb;
    if (!RefersToValue(variant) || pb.pFieldDesc->cpp_type() != FieldDescriptor::CPPTYPE_STRING) {
        return false;
    }
    const Reflection* const reflection = pb.pMessage->GetReflection();
    std::string scratch;
    const std::string& value =
        pb.pFieldDesc->is_repeated()
            ? reflection->GetRepeatedStringReference(*pb.pMessage, pb.pFieldDesc, pb.idxBegin, &scratch)
            : reflection->GetStringReference(*pb.pMessage, pb.pFieldDesc, &scratch);
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
