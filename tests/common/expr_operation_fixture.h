// What the tests of set and push by expression share.
#ifndef OSTRANE_TESTS_COMMON_EXPR_OPERATION_FIXTURE_H_
#define OSTRANE_TESTS_COMMON_EXPR_OPERATION_FIXTURE_H_

#include <google/protobuf/text_format.h>

#include <string>
#include <vector>

#include "fields3.pb.h"
#include "operation_fixture.h"

using OstraneCommon::Expr;

class ExprOperationTest : public OperationTest {
protected:
    static constexpr int GENERIC = OstraneErrCode::GEN_ERR_ERR;
    static constexpr int BAD_SYNTAX = OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    static constexpr int BAD_INDEX = OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    static constexpr int BAD_NAME = OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    static constexpr int BAD_TYPE = OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    static constexpr int INCOMPLETE = OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE;

    fields::Fields& Fill(const std::string& content) {
        google::protobuf::TextFormat::Parser parser;
        parser.AllowPartialMessage(true);
        EXPECT_TRUE(parser.ParseFromString(content, &m_message)) << content;
        return m_message;
    }
    MutableProtobufField Field(const std::string& name) { return OperationTest::Field(&m_message, name); }
    using OperationTest::Field;
    MutableProtobufField Extension(const std::string& name) {
        return {&m_message, fields::Fields::descriptor()->file()->FindExtensionByName(name)};
    }

    int Set(MutableProtobufField field, Expr& expr) { return Util().SetWithExpr(field, expr); }
    int Push(MutableProtobufField field, Expr& expr) { return Util().PushWithExpr(field, expr); }
    // The expressions for an element that is one value.
    Expr& SetTo(const std::string& index, Expr* value) { return m_tree.Set(index, {m_tree.Assign("$", value)}); }
    Expr& PushOf(const std::string& pos, Expr* value) { return m_tree.Push(pos, {m_tree.Assign("$", value)}); }
    Expr* AssignWithoutValue(const std::string& name) { return m_tree.Node(OstraneCommon::EXPR_ASSIGN, name); }
    Expr* TextPointer(const std::string* text) {
        Expr* node = m_tree.Node(OstraneCommon::EXPR_STRING_PTR);
        node->m_self.m_data.pStr = text;
        return node;
    }

    static std::string Line(const std::string& functionAndText) {
        return "ERROR src/common/protobuf_record_util.cpp " + functionAndText;
    }
    static std::string HeaderLine(const std::string& functionAndText) {
        return "ERROR src/common/protobuf_record_util.h " + functionAndText;
    }

    // Refused by this code with these lines, and the message is as before.
    void ExpectSetRefused(MutableProtobufField field, Expr& expr, int code, const Lines& lines) {
        const std::string before = Show(*field.m_pParent);
        EXPECT_EQ(Set(field, expr), code);
        EXPECT_EQ(m_log.TakeLines(), lines);
        EXPECT_EQ(Show(*field.m_pParent), before);
    }
    void ExpectPushRefused(MutableProtobufField field, Expr& expr, int code, const Lines& lines) {
        const std::string before = Show(*field.m_pParent);
        EXPECT_EQ(Push(field, expr), code);
        EXPECT_EQ(m_log.TakeLines(), lines);
        EXPECT_EQ(Show(*field.m_pParent), before);
    }

    // Runs `test` with a maker for each type, with and without presence, and each way to make a message.
    template <typename Test>
    static void OnEveryKind(Test test) {
        for (const google::protobuf::Descriptor* type : {fields::Fields::descriptor(), fields3::Fields::descriptor()}) {
            for (MessageKind kind : AllMessageKinds()) {
                SCOPED_TRACE(std::string(type->full_name()) + ", " + NameOf(kind));
                MessageMaker maker(kind, type);
                test(maker);
            }
        }
    }
};

#endif  // OSTRANE_TESTS_COMMON_EXPR_OPERATION_FIXTURE_H_
