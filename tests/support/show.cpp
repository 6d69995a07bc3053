#include "support/show.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::TextFormat;

std::string Show(const Message& message) {
    TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string text;
    printer.PrintToString(message, &text);
    if (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    return text;
}

std::string Show(const Message& message, const FieldDescriptor* fieldDesc) {
    const google::protobuf::Reflection* reflection = message.GetReflection();
    std::string text = "[";
    for (int i = 0; i < reflection->FieldSize(message, fieldDesc); ++i) {
        if (i > 0) {
            text += ", ";
        }
        if (fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
            text += "{" + Show(reflection->GetRepeatedMessage(message, fieldDesc, i)) + "}";
            continue;
        }
        std::string element;
        TextFormat::PrintFieldValueToString(message, fieldDesc, i, &element);
        text += element;
    }
    return text + "]";
}

std::string Show(const Message& message, const std::string& fieldName) {
    return Show(message, message.GetDescriptor()->FindFieldByName(fieldName));
}
