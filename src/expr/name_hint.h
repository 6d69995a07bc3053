// The known name that a misspelt one most likely meant.
//
//   NearestName("scroes", {"scores", "name"})   ->  "scores"
//   NearestName("Player", {"demo.Player"})      ->  "demo.Player"
//   NearestName("zzz", {"scores", "name"})      ->  ""
#ifndef OSTRANE_EXPR_NAME_HINT_H_
#define OSTRANE_EXPR_NAME_HINT_H_

#include <string>
#include <vector>

namespace google {
namespace protobuf {
class Descriptor;
class EnumDescriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneCommon {

// Case is ignored, and a name given without its package or parent finds the whole one. A distance of more
// than a third of the name's length, but at least one letter, is no likeness, nor is it where every letter
// differs. Of equally near names the first wins. Empty when none is near.
std::string NearestName(const std::string& name, const std::vector<std::string>& candidates);

// "did you mean 'scores'?", or empty.
std::string NameHint(const std::string& name, const std::vector<std::string>& candidates);
// The same of a message type's fields and of an enum's values. Where none is near: "its fields are sku, qty"; of a
// oneof's name, which is no field's: "contact is a oneof of mail, phone: name one of them".
std::string FieldHint(const google::protobuf::Descriptor* type, const std::string& name);
std::string EnumValueHint(const google::protobuf::EnumDescriptor* type, const std::string& name);
// How a message of the type is written: "it is written {seconds: .., nanos: ..}".
std::string MessageHint(const google::protobuf::Descriptor* type);
// The hint at an unknown name where a text is wanted: `hint` where that has a name that is near, else "a text stands in
// quotes: 'A1'".
std::string QuotesHint(const std::string& name, const std::string& hint);
// "its fields are sku, qty".
std::string FieldsHint(const google::protobuf::Descriptor* type);

// What is said about a function that the language does not have, and the hint at those that it has.
inline std::string UnknownFunction(const std::string& name) {
    return "there is no function '" + name + "'";
}
constexpr char FUNCTION_HINT[] = "the functions are size and coalesce";

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_NAME_HINT_H_
