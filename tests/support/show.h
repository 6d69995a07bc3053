// Prints fields and messages, so that tests compare texts.
#ifndef OSTRANE_TESTS_SUPPORT_SHOW_H_
#define OSTRANE_TESTS_SUPPORT_SHOW_H_

#include <google/protobuf/message.h>

#include <string>

// A message on one line of text format, as `a: 1 b: "x"`.
std::string Show(const google::protobuf::Message& message);

// The elements of a repeated field, as `[10, 7, 20]`, `["a", "b"]`, `[RED, BLUE]` or `[{a: 1}, {}]`.
std::string Show(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* fieldDesc);
std::string Show(const google::protobuf::Message& message, const std::string& fieldName);

#endif  // OSTRANE_TESTS_SUPPORT_SHOW_H_
