#include <limits>

#include "expr_operation_fixture.h"
#include "support/broken_message.h"

namespace {

using google::protobuf::Message;

class PushWithExprTest : public ExprOperationTest {};

// The checks, in their order: each row or test has the faults of later checks too.

TEST_F(PushWithExprTest, NoReflectionComesFirst) {
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    Expr noOperands;
    EXPECT_EQ(Push(Field(&broken, "many_enum"), noOperands), GENERIC);
    EXPECT_EQ(m_log.TakeLines(), (Lines{Line("PushWithExpr: GetReflection failed, field=fields.Fields.many_enum")}));
    EXPECT_EQ(Push({&broken, Extension("ext_many_int32").m_pFieldDesc}, noOperands), GENERIC);
    EXPECT_EQ(m_log.TakeLines(), (Lines{Line("PushWithExpr: GetReflection failed, field=fields.ext_many_int32")}));
}

TEST_F(PushWithExprTest, OperandsAreLookedAtBeforeTheField) {
    Expr* const faulty[] = {
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH),
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH, "", {}),
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH, "", {m_tree.Index("9x")}),
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH, "", {m_tree.Text("0"), m_tree.Text("no assignment")}),
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH, "", {m_tree.Int(0), m_tree.Assign("$", m_tree.Int(1))}),
        m_tree.Node(OstraneCommon::EXPR_OP_PUSH, "", {m_tree.Assign("$", m_tree.Int(1)), m_tree.Index("0")}),
    };
    for (Expr* expr : faulty) {
        for (const char* name : {"many_enum", "many_int32", "many_string", "many_message"}) {
            ExpectPushRefused(Field(name), *expr, BAD_INDEX,
                              {Line("PushWithExpr: invalid operands, expr = " + expr->ToStr())});
        }
    }
}

TEST_F(PushWithExprTest, PositionTextOutsideOrNoIntegerIsRefused) {
    Fill("many_int32: [1, 2, 3] many_string: ['a', 'b', 'c'] many_message: [{}, {}, {}] many_enum: [RED, RED, RED]");
    for (const std::string text :
         {"4", "5",   "-2",  "-4", "",  "1x",  "x",          " 1",         "1 ",          "0..1",
          "*", "0x1", "1.0", "-",  "+", "--1", "2147483648", "4294967296", "-4294967295", "99999999999999999999"}) {
        for (const std::string name : {"many_int32", "many_string", "many_message", "many_enum"}) {
            Expr& expr = m_tree.Push(text, {m_tree.Text("no assignment"), m_tree.Text("nor this")});
            ExpectPushRefused(Field(name), expr, BAD_INDEX,
                              {Line("PushWithExpr: field=fields.Fields." + name + ", invalid array index=" + text +
                                    ", repeated.size=3")});
        }
    }
}

TEST_F(PushWithExprTest, AnEmptyFieldHasOnePosition) {
    for (const std::string name : {"many_int32", "many_string"}) {
        ExpectPushRefused(
            Field(name), PushOf("1", m_tree.Node(OstraneCommon::EXPR_NULL)), BAD_INDEX,
            {Line("PushWithExpr: field=fields.Fields." + name + ", invalid array index=1, repeated.size=0")});
    }
    EXPECT_EQ(Push(Field("many_int32"), PushOf("0", m_tree.Int(7))), 0);
    EXPECT_EQ(Push(Field("many_string"), PushOf("-1", m_tree.Text("x"))), 0);
    EXPECT_EQ(Push(Field("many_message"), m_tree.Push("0", {m_tree.Assign("a", m_tree.Int(1))})), 0);
    EXPECT_EQ(Show(m_message), "many_int32: 7 many_string: \"x\" many_message { a: 1 }");
}

TEST_F(PushWithExprTest, PositionTextIsOneIntegerUpToTheSize) {
    struct Row {
        const char* text;
        const char* after;
    };
    const Row rows[] = {
        {"0", "[9, 1, 2, 3]"},  {"1", "[1, 9, 2, 3]"},   {"3", "[1, 2, 3, 9]"},  {"-1", "[1, 2, 3, 9]"},
        {"+1", "[1, 9, 2, 3]"}, {"003", "[1, 2, 3, 9]"}, {"-0", "[9, 1, 2, 3]"}, {"-01", "[1, 2, 3, 9]"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        m_message.Clear();
        Fill("many_int32: [1, 2, 3]");
        EXPECT_EQ(Push(Field("many_int32"), PushOf(row.text, m_tree.Int(9))), 0);
        EXPECT_EQ(Show(m_message, "many_int32"), row.after);
    }
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PushWithExprTest, ExactlyOneAssignmentIsTaken) {
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        Expr* assign = m_tree.Assign("$", m_tree.Int(5));
        ExpectPushRefused(Field(name), m_tree.Push("0", {assign, assign}), BAD_SYNTAX,
                          {Line("PushWithExpr: require only 1 assign expr, but 2")});
        ExpectPushRefused(Field(name), m_tree.Push("0", {m_tree.Text("no assignment"), assign, assign}), BAD_SYNTAX,
                          {Line("PushWithExpr: require only 1 assign expr, but 3")});
    }
}

TEST_F(PushWithExprTest, TheSecondOperandIsAnAssignment) {
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        ExpectPushRefused(Field(name), m_tree.Push("0", {m_tree.Text("name")}), BAD_SYNTAX,
                          {Line("PushWithExpr: require assign expr, expr='name'")});
        ExpectPushRefused(Field(name), m_tree.Push("0", {m_tree.Int(-5)}), BAD_SYNTAX,
                          {Line("PushWithExpr: require assign expr, expr=-5")});
    }
}

TEST_F(PushWithExprTest, TheAssignmentHasAValue) {
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        ExpectPushRefused(Field(name), m_tree.Push("0", {AssignWithoutValue("name")}), BAD_SYNTAX,
                          {Line("PushWithExpr: invalid assign expr")});
        ExpectPushRefused(Field(name), m_tree.Push("0", {m_tree.Node(OstraneCommon::EXPR_ASSIGN, "$", {})}), BAD_SYNTAX,
                          {Line("PushWithExpr: invalid assign expr")});
    }
}

TEST_F(PushWithExprTest, TheValueIsTheFirstOperandOfTheAssignment) {
    for (const auto& row : std::vector<std::pair<const char*, const char*>>{
             {"many_int32", "$"}, {"many_string", "$"}, {"many_message", "a"}}) {
        const bool isText = row.first == std::string("many_string");
        Expr* value = isText ? m_tree.Text("first") : m_tree.Int(5);
        Expr* assign = m_tree.Node(OstraneCommon::EXPR_ASSIGN, row.second, {value, m_tree.Bool(false)});
        EXPECT_EQ(Push(Field(row.first), m_tree.Push("0", {assign})), 0) << row.first;
    }
    EXPECT_EQ(Show(m_message), "many_int32: 5 many_string: \"first\" many_message { a: 5 }");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PushWithExprTest, TheAssignmentNamesTheElement) {
    for (const char* field : {"many_int32", "many_string", "many_enum"}) {
        for (const std::string name : {"name", "", "$$", "$ ", "many_int32"}) {
            Expr* wrongValue = m_tree.Node(OstraneCommon::EXPR_NULL);
            ExpectPushRefused(Field(field), m_tree.Push("0", {m_tree.Assign(name, wrongValue)}), BAD_NAME,
                              {Line("PushWithExpr: not found field '" + name + "'")});
        }
    }
}

TEST_F(PushWithExprTest, EnumElementsAreRefused) {
    Fill("many_enum: [RED, BLUE]");
    for (Expr* value : {m_tree.Text("GREEN"), m_tree.Int(1), m_tree.Node(OstraneCommon::EXPR_NULL)}) {
        ExpectPushRefused(Field("many_enum"), PushOf("0", value), BAD_TYPE, {Line("PushWithExpr: invalid type=8")});
        ExpectPushRefused(Extension("ext_many_enum"), PushOf("0", value), BAD_TYPE,
                          {Line("PushWithExpr: invalid type=8")});
    }
}

TEST_F(PushWithExprTest, TextIsNoNumber) {
    Fill("many_int32: [1, 2]");
    for (const std::string name :
         {"many_bool", "many_int32", "many_uint32", "many_int64", "many_uint64", "many_double", "many_float"}) {
        ExpectPushRefused(Field(name), PushOf("0", m_tree.Text("5")), BAD_TYPE,
                          {HeaderLine("PushRepeatedFieldWithExpr: expr type cast failed, field=fields.Fields." + name +
                                      ", expr='5'")});
    }
}

TEST_F(PushWithExprTest, NumbersAndNullPointersAreNoText) {
    Fill("many_string: ['a', 'b']");
    for (const std::string name : {"many_string", "many_bytes"}) {
        for (Expr* value : {m_tree.Int(-5), m_tree.UInt(7), m_tree.Float(0.5), m_tree.Bool(true),
                            m_tree.Node(OstraneCommon::EXPR_NULL), TextPointer(nullptr)}) {
            ExpectPushRefused(Field(name), PushOf("0", value), BAD_TYPE,
                              {Line("PushRepeatedStringWithExpr: cast to string failed, field=fields.Fields." + name +
                                    ", expr=" + value->m_self.ToStr())});
        }
    }
}

// The place of the new element, against vectors that insert.

struct InsertRow {
    const char* field;
    const char* label;  // what text format calls the field
    const char* subField;
    std::vector<std::string> elements;
    Expr* value;
    std::string inserted;
};

std::string Joined(const std::vector<std::string>& elements) {
    std::string text = "[";
    for (size_t i = 0; i < elements.size(); ++i) {
        text += (i == 0 ? "" : ", ") + elements[i];
    }
    return text + "]";
}

TEST_F(PushWithExprTest, EveryTypeSizeAndPositionInsertsLikeAVector) {
    const std::vector<std::string> numbers = {"1", "2", "3", "4"};
    const std::vector<std::string> texts = {"\"a\"", "\"\"", "\"c\"", "\"d\""};
    const std::vector<InsertRow> rows = {
        {"many_bool", "many_bool", "$", {"true", "false", "false", "true"}, m_tree.UInt(7), "true"},
        {"many_int32", "many_int32", "$", numbers, m_tree.Int(-9), "-9"},
        {"many_uint32", "many_uint32", "$", numbers, m_tree.Int(-1), "4294967295"},
        {"many_int64", "many_int64", "$", numbers, m_tree.Int(-9), "-9"},
        {"many_uint64", "many_uint64", "$", numbers, m_tree.Int(-1), "18446744073709551615"},
        {"many_double", "many_double", "$", numbers, m_tree.Float(0.5), "0.5"},
        {"many_float", "many_float", "$", numbers, m_tree.Float(0.5), "0.5"},
        {"many_string", "many_string", "$", texts, m_tree.Text("new"), "\"new\""},
        {"many_bytes", "many_bytes", "$", texts, m_tree.Text(std::string("\0\xff", 2)), "\"\\000\\377\""},
        {"many_message", "many_message", "a", {"{a: 1}", "{}", "{b: \"c\"}", "{a: 4}"}, m_tree.Int(9), "{a: 9}"},
        {"packed_int32", "packed_int32", "$", numbers, m_tree.Int(9), "9"},
        {"pair", "Pair", "left", {"{left: 1}", "{right: 2}", "{}", "{left: 4}"}, m_tree.Int(9), "{left: 9}"},
    };
    OnEveryKind([&](MessageMaker& maker) {
        for (const InsertRow& row : rows) {
            for (int size = 0; size <= 4; ++size) {
                for (int pos = -1; pos <= size; ++pos) {
                    std::vector<std::string> expected(row.elements.begin(), row.elements.begin() + size);
                    Message* message = maker.Make();
                    if (message->GetDescriptor()->FindFieldByName(row.field) == nullptr) {
                        continue;
                    }
                    message = maker.Make(std::string(row.label) + ": " + Joined(expected));
                    SCOPED_TRACE(row.field + Joined(expected) + " at " + std::to_string(pos));
                    Expr& push = m_tree.Push(std::to_string(pos), {m_tree.Assign(row.subField, row.value)});
                    EXPECT_EQ(Push(Field(message, row.field), push), 0);
                    expected.insert(pos == -1 ? expected.end() : expected.begin() + pos, row.inserted);
                    EXPECT_EQ(Show(*message, row.field), Joined(expected));
                }
            }
        }
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(PushWithExprTest, ScalarsAreCastAndNarrowed) {
    EXPECT_EQ(Push(Field("many_int32"), PushOf("-1", m_tree.Int(-1))), 0);
    EXPECT_EQ(Push(Field("many_int32"), PushOf("-1", m_tree.UInt(4294967297U))), 0);
    EXPECT_EQ(Push(Field("many_int32"), PushOf("-1", m_tree.Float(3))), 0);
    EXPECT_EQ(Show(m_message, "many_int32"), "[-1, 1, 3]");
    EXPECT_EQ(Push(Field("many_int64"), PushOf("-1", m_tree.Int(std::numeric_limits<int64_t>::min()))), 0);
    EXPECT_EQ(Push(Field("many_int64"), PushOf("-1", m_tree.UInt(18446744073709551615U))), 0);
    EXPECT_EQ(Show(m_message, "many_int64"), "[-9223372036854775808, -1]");
    EXPECT_EQ(Push(Field("many_bool"), PushOf("-1", m_tree.UInt(4294967296U))), 0);
    EXPECT_EQ(Push(Field("many_bool"), PushOf("-1", m_tree.Int(0))), 0);
    EXPECT_EQ(Show(m_message, "many_bool"), "[true, false]");
    EXPECT_EQ(Push(Field("many_float"), PushOf("-1", m_tree.Int(-7))), 0);
    EXPECT_EQ(Push(Field("many_float"), PushOf("-1", m_tree.Float(1e300))), 0);
    EXPECT_EQ(Show(m_message, "many_float"), "[-7, inf]");
}

TEST_F(PushWithExprTest, ExtensionsArePushedThroughTheirDescriptor) {
    Fill("[fields.ext_many_int32]: [1, 2] [fields.ext_many_string]: ['a', 'b'] [fields.ext_many_message]: {a: 1}");
    EXPECT_EQ(Push(Extension("ext_many_int32"), PushOf("1", m_tree.Int(9))), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_int32").m_pFieldDesc), "[1, 9, 2]");
    EXPECT_EQ(Push(Extension("ext_many_string"), PushOf("0", m_tree.Text("x"))), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_string").m_pFieldDesc), "[\"x\", \"a\", \"b\"]");
    EXPECT_EQ(Push(Extension("ext_many_message"), m_tree.Push("0", {m_tree.Assign("b", m_tree.Text("x"))})), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_message").m_pFieldDesc), "[{b: \"x\"}, {a: 1}]");
    EXPECT_EQ(m_log.Lines(), Lines{});
    ExpectPushRefused(Extension("ext_many_string"), PushOf("4", m_tree.Text("x")), BAD_INDEX,
                      {Line("PushWithExpr: field=fields.ext_many_string, invalid array index=4, repeated.size=3")});
    ExpectPushRefused(Extension("ext_many_string"), PushOf("0", m_tree.Int(1)), BAD_TYPE,
                      {Line("PushRepeatedStringWithExpr: cast to string failed, field=fields.ext_many_string, "
                            "expr=1")});
    ExpectPushRefused(Extension("ext_many_int32"), PushOf("0", m_tree.Text("x")), BAD_TYPE,
                      {HeaderLine("PushRepeatedFieldWithExpr: expr type cast failed, field=fields.ext_many_int32, "
                                  "expr='x'")});
}

// What is not copied

TEST_F(PushWithExprTest, InsertionMovesPointersOnly) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("many_message: [{a: 1, b: 'x'}, {a: 2}]");
        const MutableProtobufField texts = Field(message, "many_string");
        const MutableProtobufField messages = Field(message, "many_message");
        const google::protobuf::Reflection* reflection = message->GetReflection();
        for (char letter : {'a', 'b', 'c'}) {
            reflection->AddString(message, texts.m_pFieldDesc, std::string(100, letter));
        }
        std::string scratch;
        std::vector<const void*> before;
        for (int i = 0; i < 3; ++i) {
            const std::string& text = reflection->GetRepeatedStringReference(*message, texts.m_pFieldDesc, i, &scratch);
            before.insert(before.end(), {&text, text.data()});
        }
        for (int i = 0; i < 2; ++i) {
            before.push_back(&reflection->GetRepeatedMessage(*message, messages.m_pFieldDesc, i));
        }
        EXPECT_EQ(Push(texts, PushOf("1", m_tree.Text("new"))), 0);
        EXPECT_EQ(Push(messages, m_tree.Push("0", {m_tree.Assign("a", m_tree.Int(9))})), 0);
        std::vector<const void*> after;
        for (int i : {0, 2, 3}) {
            const std::string& text = reflection->GetRepeatedStringReference(*message, texts.m_pFieldDesc, i, &scratch);
            after.insert(after.end(), {&text, text.data()});
        }
        for (int i : {1, 2}) {
            after.push_back(&reflection->GetRepeatedMessage(*message, messages.m_pFieldDesc, i));
        }
        EXPECT_EQ(after, before);
        EXPECT_EQ(Show(*message, "many_message"), "[{a: 9}, {a: 1 b: \"x\"}, {a: 2}]");
    });
}

TEST_F(PushWithExprTest, AClearedStringIsReused) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("many_string: ['a', 'b', 'a longer text than a string holds in itself']");
        const MutableProtobufField field = Field(message, "many_string");
        const google::protobuf::Reflection* reflection = message->GetReflection();
        std::string scratch;
        const std::string* last = &reflection->GetRepeatedStringReference(*message, field.m_pFieldDesc, 2, &scratch);
        const char* storage = last->data();
        reflection->RemoveLast(message, field.m_pFieldDesc);
        EXPECT_EQ(Push(field, PushOf("0", m_tree.Text("another text that is long, too, but shorter"))), 0);
        const std::string* first = &reflection->GetRepeatedStringReference(*message, field.m_pFieldDesc, 0, &scratch);
        EXPECT_EQ(first, last);
        EXPECT_EQ(first->data(), storage);
        EXPECT_EQ(Show(*message, "many_string"), "[\"another text that is long, too, but shorter\", \"a\", \"b\"]");
    });
}

TEST_F(PushWithExprTest, AnElementMayBePushedAgain) {
    const std::string text(100, 'x');
    m_message.add_many_string(text);
    EXPECT_EQ(Push(Field("many_string"), PushOf("0", TextPointer(&m_message.many_string(0)))), 0);
    ASSERT_EQ(m_message.many_string_size(), 2);
    EXPECT_EQ(m_message.many_string(0), text);
    EXPECT_EQ(m_message.many_string(1), text);
}

TEST_F(PushWithExprTest, ManyPushesGrowTheField) {
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make();
        std::vector<std::string> numbers;
        std::vector<std::string> texts;
        for (int i = 0; i < 40; ++i) {
            const std::string number = std::to_string(i);
            const int pos = i / 2;
            ASSERT_EQ(Push(Field(message, "many_int32"), PushOf(std::to_string(pos), m_tree.Int(i))), 0);
            ASSERT_EQ(Push(Field(message, "many_string"), PushOf(std::to_string(pos), m_tree.Text(number))), 0);
            numbers.insert(numbers.begin() + pos, number);
            texts.insert(texts.begin() + pos, "\"" + number + "\"");
        }
        EXPECT_EQ(Show(*message, "many_int32"), Joined(numbers));
        EXPECT_EQ(Show(*message, "many_string"), Joined(texts));
    });
}

// The log

TEST_F(PushWithExprTest, WithoutLogTheCodesAreTheSame) {
    m_record.m_pLog = nullptr;
    Expr noOperands;
    EXPECT_EQ(Push(Field("many_int32"), noOperands), BAD_INDEX);
    EXPECT_EQ(Push(Field("many_int32"), PushOf("1", m_tree.Int(1))), BAD_INDEX);
    EXPECT_EQ(Push(Field("many_int32"), m_tree.Push("0", {m_tree.Int(1)})), BAD_SYNTAX);
    EXPECT_EQ(Push(Field("many_int32"), m_tree.Push("0", {m_tree.Assign("a", m_tree.Int(1))})), BAD_NAME);
    EXPECT_EQ(Push(Field("many_int32"), PushOf("0", m_tree.Text("x"))), BAD_TYPE);
    EXPECT_EQ(Push(Field("many_string"), PushOf("0", m_tree.Int(1))), BAD_TYPE);
    EXPECT_EQ(Push(Field("many_enum"), PushOf("0", m_tree.Text("BLUE"))), BAD_TYPE);
    EXPECT_EQ(Push(Field("many_strict"), m_tree.Push("0", {m_tree.Assign("note", m_tree.Text("x"))})), INCOMPLETE);
    EXPECT_EQ(Show(m_message), "");
    EXPECT_EQ(Push(Field("many_int32"), PushOf("0", m_tree.Int(5))), 0);
    EXPECT_EQ(Show(m_message), "many_int32: 5");
}

TEST_F(PushWithExprTest, BoundsKeepLinesBackButNotCodes) {
    for (const auto& bounds : std::vector<std::pair<int, int>>{{-1, 200}, {400, -1}}) {
        m_log.Channel().SetBounds(bounds.first, bounds.second);
        EXPECT_EQ(Push(Field("many_int32"), PushOf("1", m_tree.Int(1))), BAD_INDEX);
        EXPECT_EQ(Push(Field("many_int32"), PushOf("0", m_tree.Text("x"))), BAD_TYPE);
        EXPECT_EQ(m_log.TakeLines(), Lines{});
    }
}

}  // namespace
