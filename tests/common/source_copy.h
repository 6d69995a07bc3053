// What the tests of copying from a source field share: a record with a captured log, and short ways to
// name targets and sources.
#ifndef OSTRANE_TESTS_COMMON_SOURCE_COPY_H_
#define OSTRANE_TESTS_COMMON_SOURCE_COPY_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "support/captured_log.h"
#include "support/message_kinds.h"
#include "support/show.h"

namespace source_copy {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using OstraneCommon::PbField;
using Lines = std::vector<std::string>;

constexpr const char* HEADER = "src/common/protobuf_record_util.h";
constexpr const char* SOURCE = "src/common/protobuf_record_util.cpp";

// The expected line of a failure or note, as CapturedLog shows it.
inline std::string Error(const std::string& file, const std::string& function, const std::string& text) {
    return "ERROR " + file + ' ' + function + ": " + text;
}
inline std::string Error(const std::string& function, const std::string& text) {
    return Error(SOURCE, function, text);
}
inline std::string Debug(const std::string& function, const std::string& text) {
    return "DEBUG " + std::string(SOURCE) + ' ' + function + ": " + text;
}

// A field by its name, or an extension by its full name.
inline const FieldDescriptor* FieldOf(const Message& message, const std::string& name) {
    const FieldDescriptor* fieldDesc = message.GetDescriptor()->FindFieldByName(name);
    if (fieldDesc == nullptr) {
        fieldDesc = message.GetDescriptor()->file()->pool()->FindExtensionByName(name);
    }
    EXPECT_NE(fieldDesc, nullptr) << name;
    return fieldDesc;
}

inline std::string ShowField(const Message& message, const std::string& name) {
    return Show(message, FieldOf(message, name));
}

inline PbField WholeMessage(const Message& message, bool isMutable = false) {
    PbField src;
    src.SetField(&message, nullptr, isMutable);
    return src;
}

inline PbField Source(const Message& message, const std::string& name, bool isMutable = false) {
    PbField src;
    src.SetField(&message, FieldOf(message, name), isMutable);
    return src;
}

inline PbField SourceRange(const Message& message, const std::string& name, int begin, int end,
                           bool isMutable = false) {
    PbField src = Source(message, name, isMutable);
    src.SetArrayRange(begin, end);
    return src;
}

constexpr bool MUTABLE = true;

class SourceCopyTest : public testing::Test {
protected:
    SourceCopyTest() { m_record.m_pLog = m_log.Category(); }

    int Update(Message* message, const std::string& name, PbField src,
               OstraneCommon::ExprType type = OstraneCommon::EXPR_OP_SET) {
        MutableProtobufField field = {message, FieldOf(*message, name)};
        return ProtobufRecordUtil(m_record).UpdateWithPbField(field, type, &src);
    }
    int UpdateMessage(Message* message, PbField src) {
        MutableProtobufField field = {message, nullptr};
        return ProtobufRecordUtil(m_record).UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &src);
    }
    int Set(Message* message, const std::string& name, int idxBegin, int idxEnd, PbField src) {
        MutableProtobufField field = {message, FieldOf(*message, name)};
        return ProtobufRecordUtil(m_record).SetWithPbField(field, idxBegin, idxEnd, src);
    }
    int Push(Message* message, const std::string& name, int pos, PbField src) {
        MutableProtobufField field = {message, FieldOf(*message, name)};
        return ProtobufRecordUtil(m_record).PushWithPbField(field, pos, src);
    }
    // The lines since the last call.
    Lines TakeLines() { return m_log.TakeLines(); }

    CapturedLog m_log;
    ProtobufRecord m_record;
    MessageMaker m_maker{MessageKind::GeneratedOnHeap, fields::Fields::descriptor()};
};

// The texts of two elements of a repeated field of every kind, as Show prints them, and that of an
// element that was added and got no value.
struct ElementKind {
    const char* field;
    const char* a;
    const char* b;
    const char* c;
    const char* x;
    const char* y;
    const char* placeholder;
};

inline const std::vector<ElementKind>& ScalarKinds() {
    static const std::vector<ElementKind> kinds = {
        {"many_bool", "true", "false", "true", "true", "true", "false"},
        {"many_int32", "1", "-2", "2147483647", "-2147483648", "5", "0"},
        {"many_uint32", "1", "2", "4294967295", "7", "8", "0"},
        {"many_int64", "1", "-2", "9223372036854775807", "-9223372036854775808", "5", "0"},
        {"many_uint64", "1", "2", "18446744073709551615", "7", "8", "0"},
        {"many_double", "1.5", "-2.5", "1e+300", "0.1", "8", "0"},
        {"many_float", "1.5", "-2.5", "1e+30", "0.5", "8", "0"},
        {"packed_int32", "1", "2", "3", "7", "8", "0"},
        {"fields.ext_many_int32", "1", "2", "3", "7", "8", "0"},
    };
    return kinds;
}

inline const std::vector<ElementKind>& TextKinds() {
    static const std::vector<ElementKind> kinds = {
        {"many_string", "\"a\"", "\"b\"", "\"c\"", "\"x is a text that is kept on the heap\"", "\"\\000\"", "\"\""},
        {"many_bytes", "\"a\"", "\"b\"", "\"\\377\"", "\"x\"", "\"y\"", "\"\""},
        {"fields.ext_many_string", "\"a\"", "\"b\"", "\"c\"", "\"x\"", "\"y\"", "\"\""},
    };
    return kinds;
}

inline const std::vector<ElementKind>& MessageElementKinds() {
    static const std::vector<ElementKind> kinds = {
        {"many_message", "{a: 1}", "{b: \"b\"}", "{numbers: 3 numbers: 3}", "{sub { a: 4 }}", "{a: 5 list { }}", "{}"},
        {"children", "{one_int32: 1}", "{children { }}", "{one_string: \"c\"}", "{many_int32: 4}", "{child { }}", "{}"},
        {"pair", "{left: 1}", "{left: 2}", "{right: 3}", "{left: 4}", "{right: 5}", "{}"},
        {"fields.ext_many_message", "{a: 1}", "{a: 2}", "{a: 3}", "{a: 4}", "{a: 5}", "{}"},
    };
    return kinds;
}

// Values of an enum field; its placeholder is the first element of the run pushed.
inline const std::vector<ElementKind>& EnumKinds() {
    static const std::vector<ElementKind> kinds = {
        {"many_enum", "RED", "GREEN", "BLUE", "BLUE", "RED", "BLUE"},
        {"fields.ext_many_enum", "RED", "GREEN", "BLUE", "GREEN", "BLUE", "GREEN"},
    };
    return kinds;
}

inline std::vector<ElementKind> AllElementKinds() {
    std::vector<ElementKind> all;
    for (const auto* kinds : {&ScalarKinds(), &EnumKinds(), &TextKinds(), &MessageElementKinds()}) {
        all.insert(all.end(), kinds->begin(), kinds->end());
    }
    return all;
}

// `[a, b]` as the content of a field in text format.
inline std::string Content(const Message& message, const std::string& name, const std::vector<std::string>& elements) {
    const FieldDescriptor* fieldDesc = FieldOf(message, name);
    std::string text;
    for (const std::string& element : elements) {
        if (fieldDesc->is_extension()) {
            text += "[" + std::string(fieldDesc->full_name()) + "]";
        } else if (fieldDesc->type() == FieldDescriptor::TYPE_GROUP) {
            text += std::string(fieldDesc->message_type()->name());
        } else {
            text += std::string(fieldDesc->name());
        }
        text += (element[0] == '{' ? " " : ": ") + element + " ";
    }
    return text;
}

inline std::string Printed(const std::vector<std::string>& elements) {
    std::string text = "[";
    for (const std::string& element : elements) {
        text += (text.size() > 1 ? ", " : "") + element;
    }
    return text + "]";
}

}  // namespace source_copy

#endif  // OSTRANE_TESTS_COMMON_SOURCE_COPY_H_
