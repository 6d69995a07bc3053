#include <google/protobuf/text_format.h>

#include <cmath>
#include <limits>

#include "fields3.pb.h"
#include "operation_fixture.h"

namespace {

using google::protobuf::Message;
using OstraneCommon::Expr;
using OstraneCommon::ExprVariant;
using Peer = ProtobufRecordUtilPeer;

constexpr int BAD_TYPE = OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;

class AssignFieldTest : public OperationTest {
protected:
    int Assign(const MutableProtobufField& field, Expr* value) {
        ProtobufRecordUtil util = Util();
        return Peer::AssignField(util, field, value->m_self);
    }
    // Assigns to a fresh message and prints it, or the one line that was logged.
    std::string Assigned(const std::string& name, Expr* value) {
        m_message.Clear();
        const int ret = Assign(Field(&m_message, name), value);
        const Lines lines = m_log.TakeLines();
        if (ret == 0) {
            EXPECT_EQ(lines, Lines{});
            return Show(m_message);
        }
        EXPECT_EQ(ret, BAD_TYPE);
        EXPECT_EQ(Show(m_message), "");
        EXPECT_EQ(lines.size(), 1U);
        const std::string start = "ERROR src/common/protobuf_record_util.cpp AssignField: type cast failed, ";
        return lines.empty() || lines[0].rfind(start, 0) != 0 ? "unexpected line" : lines[0].substr(start.size());
    }
};

TEST_F(AssignFieldTest, IntegersAreTruncated) {
    EXPECT_EQ(Assigned("one_int32", m_tree.UInt(4294967295U)), "one_int32: -1");
    EXPECT_EQ(Assigned("one_int32", m_tree.Int(-1)), "one_int32: -1");
    EXPECT_EQ(Assigned("one_int32", m_tree.UInt(4294967297U)), "one_int32: 1");
    EXPECT_EQ(Assigned("one_uint32", m_tree.Int(-1)), "one_uint32: 4294967295");
    EXPECT_EQ(Assigned("one_uint32", m_tree.UInt(4294967296U)), "one_uint32: 0");
    EXPECT_EQ(Assigned("one_int64", m_tree.UInt(18446744073709551615U)), "one_int64: -1");
    EXPECT_EQ(Assigned("one_int64", m_tree.Int(std::numeric_limits<int64_t>::min())),
              "one_int64: -9223372036854775808");
    EXPECT_EQ(Assigned("one_uint64", m_tree.Int(-1)), "one_uint64: 18446744073709551615");
    EXPECT_EQ(Assigned("one_sint32", m_tree.Int(-5)), "one_sint32: -5");
    EXPECT_EQ(Assigned("one_fixed64", m_tree.UInt(5)), "one_fixed64: 5");
    EXPECT_EQ(Assigned("one_int32", m_tree.Float(3)), "one_int32: 3");
}

TEST_F(AssignFieldTest, BoolIsWhetherTheBitsAreNotZero) {
    EXPECT_EQ(Assigned("one_bool", m_tree.UInt(2)), "one_bool: true");
    EXPECT_EQ(Assigned("one_bool", m_tree.UInt(0)), "one_bool: false");
    EXPECT_EQ(Assigned("one_bool", m_tree.UInt(4294967296U)), "one_bool: true");
    EXPECT_EQ(Assigned("one_bool", m_tree.Bool(true)), "one_bool: true");
}

TEST_F(AssignFieldTest, FloatingPointGoesThroughTheDouble) {
    EXPECT_EQ(Assigned("one_double", m_tree.Float(0.1)), "one_double: 0.1");
    EXPECT_EQ(Assigned("one_double", m_tree.Int(-3)), "one_double: -3");
    EXPECT_EQ(Assigned("one_float", m_tree.UInt(7)), "one_float: 7");
    ASSERT_EQ(Assign(Field(&m_message, "one_float"), m_tree.Float(0.1)), 0);
    EXPECT_EQ(m_message.one_float(), static_cast<float>(0.1));
    ASSERT_EQ(Assign(Field(&m_message, "one_float"), m_tree.Float(1e300)), 0);
    EXPECT_TRUE(std::isinf(m_message.one_float()));
}

TEST_F(AssignFieldTest, EnumsAreAssignedByNameAlone) {
    EXPECT_EQ(Assigned("one_enum", m_tree.Text("BLUE")), "one_enum: BLUE");
    EXPECT_EQ(Assigned("one_enum", m_tree.Text("PINK")), "proto-cpp-type=8, variant='PINK'");
    EXPECT_EQ(Assigned("one_enum", m_tree.Text("blue")), "proto-cpp-type=8, variant='blue'");
    EXPECT_EQ(Assigned("one_enum", m_tree.Text("")), "proto-cpp-type=8, variant=''");
    for (const std::string name : {"fields.BLUE", "Color.BLUE", "fields.Color.BLUE"}) {
        EXPECT_EQ(Assigned("one_enum", m_tree.Text(name)), "proto-cpp-type=8, variant='" + name + "'");
    }
    EXPECT_EQ(Assigned("one_enum", m_tree.UInt(5)), "proto-cpp-type=8, variant=5");
    EXPECT_EQ(Assigned("one_enum", m_tree.Text("5")), "proto-cpp-type=8, variant='5'");
}

TEST_F(AssignFieldTest, StringsAndBytesTakeText) {
    EXPECT_EQ(Assigned("one_string", m_tree.Text("hi")), "one_string: \"hi\"");
    EXPECT_EQ(Assigned("one_bytes", m_tree.Text(std::string("\0\xff", 2))), "one_bytes: \"\\000\\377\"");
    EXPECT_EQ(Assigned("one_string", m_tree.Int(5)), "proto-cpp-type=9, variant=5");
    EXPECT_EQ(Assigned("one_string", m_tree.Node(OstraneCommon::EXPR_NULL)), "proto-cpp-type=9, variant=null");
}

TEST_F(AssignFieldTest, ATextPointerIsFollowedUnlessItIsNull) {
    const std::string text = "there";
    Expr* value = m_tree.Node(OstraneCommon::EXPR_STRING_PTR);
    value->m_self.m_data.pStr = &text;
    EXPECT_EQ(Assigned("one_string", value), "one_string: \"there\"");
    value->m_self.m_data.pStr = nullptr;
    EXPECT_NE(Assigned("one_string", value), "");
    EXPECT_EQ(Show(m_message), "");
    EXPECT_NE(Assigned("one_enum", value), "");
    EXPECT_EQ(Show(m_message), "");
}

TEST_F(AssignFieldTest, TextIsNoNumber) {
    for (const char* name :
         {"one_int32", "one_int64", "one_uint32", "one_uint64", "one_double", "one_float", "one_bool"}) {
        const google::protobuf::FieldDescriptor* fieldDesc = fields::Fields::descriptor()->FindFieldByName(name);
        EXPECT_EQ(Assigned(name, m_tree.Text("5")),
                  "proto-cpp-type=" + std::to_string(fieldDesc->cpp_type()) + ", variant='5'");
    }
}

TEST_F(AssignFieldTest, MessagesAreRefused) {
    EXPECT_EQ(Assigned("one_message", m_tree.Int(1)), "proto-cpp-type=10, variant=1");
    EXPECT_FALSE(m_message.has_one_message());
}

TEST_F(AssignFieldTest, AFailureKeepsTheFormerValue) {
    m_message.set_one_int32(3);
    m_message.set_one_enum(fields::GREEN);
    EXPECT_EQ(Assign(Field(&m_message, "one_int32"), m_tree.Text("x")), BAD_TYPE);
    EXPECT_EQ(Assign(Field(&m_message, "one_enum"), m_tree.Text("x")), BAD_TYPE);
    EXPECT_EQ(Show(m_message), "one_int32: 3 one_enum: GREEN");
}

TEST_F(AssignFieldTest, WithoutLogTheCodeIsTheSame) {
    m_record.m_pLog = nullptr;
    EXPECT_EQ(Assign(Field(&m_message, "one_int32"), m_tree.Text("x")), BAD_TYPE);
}

TEST_F(AssignFieldTest, ABoundKeepsTheLineBack) {
    m_log.Channel().SetBounds(-1, 200);
    EXPECT_EQ(Assign(Field(&m_message, "one_int32"), m_tree.Text("x")), BAD_TYPE);
    m_log.Channel().SetBounds(400, -1);
    EXPECT_EQ(Assign(Field(&m_message, "one_int32"), m_tree.Text("x")), BAD_TYPE);
    EXPECT_EQ(m_log.Lines(), Lines{});
    m_log.Channel().SetBounds(-1, -1);
    EXPECT_EQ(Assign(Field(&m_message, "one_int32"), m_tree.Text("x")), BAD_TYPE);
    EXPECT_EQ(m_log.Lines().size(), 1U);
}

TEST_F(AssignFieldTest, EveryKindOfMessageAndOneofMembersAndExtensions) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("choice_int32: 4");
        EXPECT_EQ(Assign(Field(message, "choice_string"), m_tree.Text("other")), 0);
        EXPECT_EQ(Assign(Field(message, "one_uint64"), m_tree.UInt(9)), 0);
        EXPECT_EQ(Show(*message), "one_uint64: 9 choice_string: \"other\"");
        const google::protobuf::FileDescriptor* file = fields::Fields::descriptor()->file();
        EXPECT_EQ(Assign({message, file->FindExtensionByName("ext_int32")}, m_tree.Int(-7)), 0);
        EXPECT_EQ(Assign({message, file->FindExtensionByName("ext_enum")}, m_tree.Text("BLUE")), 0);
        EXPECT_EQ(Show(*message),
                  "one_uint64: 9 choice_string: \"other\" [fields.ext_int32]: -7 [fields.ext_enum]: BLUE");
    }
}

TEST_F(AssignFieldTest, FieldsWithAndWithoutPresence) {
    fields3::Fields message;
    EXPECT_EQ(Assign(Field(&message, "one_int32"), m_tree.Int(0)), 0);
    EXPECT_EQ(Assign(Field(&message, "maybe_int32"), m_tree.Int(0)), 0);
    EXPECT_EQ(Assign(Field(&message, "one_enum"), m_tree.Text("GREEN")), 0);
    EXPECT_EQ(Show(message), "one_enum: GREEN maybe_int32: 0");
}

// Every kind of value on every type of field

struct FieldRow {
    const char* field;
    const char* extension;
    enum { Number, Text, Name, Nothing } takes;
    const char* number;
};

// Each kind with the number 1 and the text "1" behind it, each type of field: what a type does not take
// is refused with its number, and leaves the field.
TEST_F(AssignFieldTest, EachTypeTakesTheKindsThatCastToIt) {
    using namespace OstraneCommon;
    const FieldRow rows[] = {
        {"one_int32", "ext_int32", FieldRow::Number, "1"}, {"one_int64", nullptr, FieldRow::Number, "2"},
        {"one_uint32", nullptr, FieldRow::Number, "3"},    {"one_uint64", nullptr, FieldRow::Number, "4"},
        {"one_double", nullptr, FieldRow::Number, "5"},    {"one_float", nullptr, FieldRow::Number, "6"},
        {"one_bool", nullptr, FieldRow::Number, "7"},      {"one_enum", "ext_enum", FieldRow::Name, "8"},
        {"one_string", nullptr, FieldRow::Text, "9"},      {"one_bytes", nullptr, FieldRow::Text, "9"},
        {"one_message", nullptr, FieldRow::Nothing, "10"}, {"child", nullptr, FieldRow::Nothing, "10"},
    };
    const std::string green = "GREEN";
    for (int kind = 0; kind < EXPR_TYPE_MAX; ++kind) {
        const ExprType type = static_cast<ExprType>(kind);
        const bool isNumber = (type >= EXPR_UINT && type <= EXPR_TIME);
        const bool isText = (type >= EXPR_STRING && type <= EXPR_BYTES_TEXT);
        Expr* value = m_tree.Node(type, isText ? green : "1");
        if (type == EXPR_FLOAT) {
            value->m_self.m_data.valFloat = 1;
        } else if (isNumber) {
            value->m_self.m_data.valInt64 = 1;
        } else if (type == EXPR_STRING_PTR) {
            value->m_self.m_data.pStr = &green;
        } else if (type == EXPR_CSTR) {
            value->m_self.m_data.pCStr = green.c_str();
        } else if (type == EXPR_BUFF) {
            value->m_self.m_data.buff = {green.data(), green.size()};
        }
        for (const FieldRow& row : rows) {
            SCOPED_TRACE(std::string(row.field) + " from kind " + std::to_string(kind));
            const bool isTaken = row.takes == FieldRow::Number ? isNumber : row.takes != FieldRow::Nothing && isText;
            fields::Fields message;
            fields3::Fields message3;
            std::vector<MutableProtobufField> targets = {Field(&message, row.field), Field(&message3, row.field)};
            if (row.extension != nullptr) {
                targets.push_back({&message, message.GetDescriptor()->file()->FindExtensionByName(row.extension)});
            }
            for (const MutableProtobufField& target : targets) {
                const google::protobuf::Reflection* reflection = target.m_pParent->GetReflection();
                EXPECT_EQ(Assign(target, value), isTaken ? 0 : BAD_TYPE);
                EXPECT_EQ(reflection->HasField(*target.m_pParent, target.m_pFieldDesc), isTaken);
                EXPECT_EQ(m_log.TakeLines(),
                          isTaken ? Lines{}
                                  : Lines{std::string("ERROR src/common/protobuf_record_util.cpp AssignField: type "
                                                      "cast failed, proto-cpp-type=") +
                                          row.number + ", variant=" + value->m_self.ToStr()});
            }
        }
    }
}

TEST_F(AssignFieldTest, TheValueMayBeAnotherField) {
    fields::Fields source;
    source.set_one_int64(-7);
    source.set_one_string("GREEN");
    source.set_one_double(0.5);
    source.set_one_enum(fields::BLUE);
    const auto valueOf = [&](const Message& message, const std::string& name) {
        Expr* value = m_tree.Node(OstraneCommon::EXPR_UNRESOLVE);
        value->m_self.m_data.pb.SetField(&message, message.GetDescriptor()->FindFieldByName(name), false);
        return value;
    };
    EXPECT_EQ(Assigned("one_int32", valueOf(source, "one_int64")), "one_int32: -7");
    EXPECT_EQ(Assigned("one_enum", valueOf(source, "one_string")), "one_enum: GREEN");
    EXPECT_EQ(Assigned("one_bytes", valueOf(source, "one_string")), "one_bytes: \"GREEN\"");
    EXPECT_EQ(Assigned("one_float", valueOf(source, "one_double")), "one_float: 0.5");
    // The number of an enum is none of its names.
    EXPECT_EQ(Assigned("one_enum", valueOf(source, "one_enum")).rfind("proto-cpp-type=8", 0), 0U);
    EXPECT_EQ(Assigned("one_int32", valueOf(source, "one_double")).rfind("proto-cpp-type=1,", 0), 0U);
    // The field's own text is read while it is written.
    m_message.Clear();
    m_message.set_one_string(std::string(100, 'x'));
    EXPECT_EQ(Assign(Field(&m_message, "one_string"), valueOf(m_message, "one_string")), 0);
    EXPECT_EQ(m_message.one_string(), std::string(100, 'x'));
}

TEST_F(AssignFieldTest, ATextIsCopied) {
    Expr* value = m_tree.Text("text");
    EXPECT_EQ(Assign(Field(&m_message, "one_string"), value), 0);
    value->m_self.m_str = "other";
    EXPECT_EQ(Show(m_message), "one_string: \"text\"");
}

TEST_F(AssignFieldTest, ANumberOutsideTheEnumStaysWhenANameIsRefused) {
    fields3::Fields message;
    message.set_one_enum(static_cast<fields3::Color>(77));
    EXPECT_EQ(Assign(Field(&message, "one_enum"), m_tree.Text("77")), BAD_TYPE);
    EXPECT_EQ(static_cast<int>(message.one_enum()), 77);
    EXPECT_EQ(Assign(Field(&message, "one_enum"), m_tree.Text("BLUE")), 0);
    EXPECT_EQ(message.one_enum(), fields3::BLUE);
}

}  // namespace
