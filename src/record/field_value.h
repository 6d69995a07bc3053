// Values that fit a field: how literals, parameters and computed values become them, and how they are written.
#ifndef OSTRANE_RECORD_FIELD_VALUE_H_
#define OSTRANE_RECORD_FIELD_VALUE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <string>

#include "common/expr.h"

namespace OstraneRecord {

// One value of a singular field, or of one element of a repeated one, that is no message.
struct FieldValue {
    uint64_t bits = 0;  // of integers in two's complement; of bool 0 or 1; of an enum its number
    double number = 0;  // of double and float
    std::string text;   // of string and bytes
};

// Why a value does not fit.
struct Misfit {
    std::string message;  // one sentence: 4294967295 does not fit demo.Player.hits, an int32 field
    std::string hint;
};

// "an int32 field", "a field of demo.Rank"
std::string KindOf(const google::protobuf::FieldDescriptor* field);

// A value as an error shows it, cut when it is long.
std::string ShowValue(const OstraneCommon::ExprVariant& value);

// Converts a value to the type of `field`, which is no message: nothing is narrowed, wrapped or turned from
// text into a number. An enum value is a name; `isEnumNumber` says that the value was read from a field of
// the same enum type and is its number. Returns 0, or COMMON_ERR_INVALID_EXPR_TYPE with the reason in
// `misfit`.
int ConvertValue(const OstraneCommon::ExprVariant& value, const google::protobuf::FieldDescriptor* field,
                 bool isEnumNumber, FieldValue& out, Misfit& misfit);

// Writes a value into a singular field, over element `index` of a repeated one, or behind its last element.
void SetFieldValue(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
                   const FieldValue& value);
void SetElementValue(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field, int index,
                     const FieldValue& value);
void AddElementValue(google::protobuf::Message* message, const google::protobuf::FieldDescriptor* field,
                     const FieldValue& value);

// The value of a singular field that is no message: its default where it is unset.
FieldValue ReadFieldValue(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field);

// The same of one element of a repeated field.
FieldValue ReadElementValue(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field,
                            int index);

// Whether the singular field holds the value: how a map's keys are compared.
bool HasFieldValue(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field,
                   const FieldValue& value);

// The value as a node's value, such that the casts give it back to a field of the same type.
void ToVariant(const FieldValue& value, const google::protobuf::FieldDescriptor* field,
               OstraneCommon::ExprVariant& out);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_FIELD_VALUE_H_
