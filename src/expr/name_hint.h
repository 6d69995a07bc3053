// What a misspelt name was perhaps meant to be.
#ifndef OSTRANE_EXPR_NAME_HINT_H_
#define OSTRANE_EXPR_NAME_HINT_H_

#include <string>

namespace google {
namespace protobuf {
class Descriptor;
class EnumDescriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneCommon {

// "did you mean qty?", or nothing when no name is near.
std::string FieldHint(const google::protobuf::Descriptor* descriptor, const std::string& name);
std::string EnumValueHint(const google::protobuf::EnumDescriptor* descriptor, const std::string& name);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_NAME_HINT_H_
