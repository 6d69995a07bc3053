#include <limits>

#include "expr_operation_fixture.h"
#include "support/broken_message.h"

namespace {

using google::protobuf::Message;

class SetWithExprTest : public ExprOperationTest {};

// The checks, in their order: each row or test has the faults of later checks too.

TEST_F(SetWithExprTest, NoReflectionComesFirst) {
    BrokenMessage broken(fields::Fields::descriptor(), nullptr);
    Expr noOperands;
    EXPECT_EQ(Set(Field(&broken, "many_enum"), noOperands), GENERIC);
    EXPECT_EQ(m_log.TakeLines(), (Lines{Line("SetWithExpr: GetReflection failed, field=fields.Fields.many_enum")}));
    EXPECT_EQ(Set({&broken, Extension("ext_many_int32").m_pFieldDesc}, noOperands), GENERIC);
    EXPECT_EQ(m_log.TakeLines(), (Lines{Line("SetWithExpr: GetReflection failed, field=fields.ext_many_int32")}));
}

TEST_F(SetWithExprTest, OperandsAreLookedAtBeforeTheField) {
    // The field is empty and its elements are enums.
    Expr* const faulty[] = {
        m_tree.Node(OstraneCommon::EXPR_OP_SET),
        m_tree.Node(OstraneCommon::EXPR_OP_SET, "", {}),
        m_tree.Node(OstraneCommon::EXPR_OP_SET, "", {m_tree.Index("9x")}),
        m_tree.Node(OstraneCommon::EXPR_OP_SET, "", {m_tree.Text("0"), m_tree.Text("no assignment")}),
        m_tree.Node(OstraneCommon::EXPR_OP_SET, "", {m_tree.Int(0), m_tree.Assign("$", m_tree.Int(1))}),
        m_tree.Node(OstraneCommon::EXPR_OP_SET, "", {m_tree.Assign("$", m_tree.Int(1)), m_tree.Index("0")}),
    };
    for (Expr* expr : faulty) {
        for (const char* name : {"many_enum", "many_int32", "many_string", "many_message"}) {
            ExpectSetRefused(Field(name), *expr, BAD_INDEX,
                             {Line("SetWithExpr: invalid operands, expr = " + expr->ToStr())});
        }
    }
}

TEST_F(SetWithExprTest, AnEmptyFieldCannotBeSet) {
    for (const std::string text : {"0", "-1", "1", ""}) {
        for (const std::string name : {"many_int32", "many_string", "many_message", "many_enum"}) {
            Expr& expr = m_tree.Set(text, {m_tree.Text("no assignment"), m_tree.Text("nor this")});
            ExpectSetRefused(Field(name), expr, BAD_INDEX,
                             {Line("SetWithExpr: field=fields.Fields." + name + ", invalid array index=" + text +
                                   ", repeated.size=0")});
        }
    }
}

TEST_F(SetWithExprTest, IndexTextOutsideOrNoIntegerIsRefused) {
    Fill("many_int32: [1, 2, 3] many_string: ['a', 'b', 'c'] many_message: [{}, {}, {}] many_enum: [RED, RED, RED]");
    for (const std::string text :
         {"3", "4",   "-2",  "-3", "",  "1x",  "x",          " 1",         "1 ",          "0..1",
          "*", "0x1", "1.0", "-",  "+", "--1", "2147483648", "4294967296", "-4294967295", "99999999999999999999"}) {
        for (const std::string name : {"many_int32", "many_string", "many_message", "many_enum"}) {
            Expr& expr = m_tree.Set(text, {m_tree.Text("no assignment"), m_tree.Text("nor this")});
            ExpectSetRefused(Field(name), expr, BAD_INDEX,
                             {Line("SetWithExpr: field=fields.Fields." + name + ", invalid array index=" + text +
                                   ", repeated.size=3")});
        }
    }
}

TEST_F(SetWithExprTest, IndexTextIsOneIntegerInsideTheField) {
    struct Row {
        const char* text;
        const char* after;
    };
    const Row rows[] = {
        {"0", "[9, 2, 3]"},  {"1", "[1, 9, 3]"},   {"2", "[1, 2, 9]"},  {"-1", "[1, 2, 9]"},
        {"+1", "[1, 9, 3]"}, {"002", "[1, 2, 9]"}, {"-0", "[9, 2, 3]"}, {"-01", "[1, 2, 9]"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        m_message.Clear();
        Fill("many_int32: [1, 2, 3]");
        EXPECT_EQ(Set(Field("many_int32"), SetTo(row.text, m_tree.Int(9))), 0);
        EXPECT_EQ(Show(m_message, "many_int32"), row.after);
    }
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(SetWithExprTest, OneElementIsTheLastAndTheFirst) {
    Fill("many_string: 'a'");
    EXPECT_EQ(Set(Field("many_string"), SetTo("-1", m_tree.Text("b"))), 0);
    EXPECT_EQ(Show(m_message, "many_string"), "[\"b\"]");
    ExpectSetRefused(Field("many_string"), SetTo("1", m_tree.Text("c")), BAD_INDEX,
                     {Line("SetWithExpr: field=fields.Fields.many_string, invalid array index=1, repeated.size=1")});
}

TEST_F(SetWithExprTest, ExactlyOneAssignmentIsTaken) {
    Fill("many_int32: 1 many_string: 'a' many_enum: RED");
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        Expr* assign = m_tree.Assign("$", m_tree.Int(5));
        ExpectSetRefused(Field(name), m_tree.Set("0", {assign, assign}), BAD_SYNTAX,
                         {Line("SetWithExpr: require only 1 assign expr, but 2")});
        ExpectSetRefused(Field(name), m_tree.Set("0", {m_tree.Text("no assignment"), assign, assign}), BAD_SYNTAX,
                         {Line("SetWithExpr: require only 1 assign expr, but 3")});
    }
}

TEST_F(SetWithExprTest, TheSecondOperandIsAnAssignment) {
    Fill("many_int32: 1 many_string: 'a' many_enum: RED");
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        ExpectSetRefused(Field(name), m_tree.Set("0", {m_tree.Text("name")}), BAD_SYNTAX,
                         {Line("SetWithExpr: require assign expr, expr='name'")});
        ExpectSetRefused(Field(name), m_tree.Set("0", {m_tree.Int(-5)}), BAD_SYNTAX,
                         {Line("SetWithExpr: require assign expr, expr=-5")});
    }
}

TEST_F(SetWithExprTest, TheAssignmentHasAValue) {
    Fill("many_int32: 1 many_string: 'a' many_enum: RED");
    for (const char* name : {"many_int32", "many_string", "many_enum"}) {
        ExpectSetRefused(Field(name), m_tree.Set("0", {AssignWithoutValue("name")}), BAD_SYNTAX,
                         {Line("SetWithExpr: invalid assign expr")});
        ExpectSetRefused(Field(name), m_tree.Set("0", {m_tree.Node(OstraneCommon::EXPR_ASSIGN, "$", {})}), BAD_SYNTAX,
                         {Line("SetWithExpr: invalid assign expr")});
    }
}

TEST_F(SetWithExprTest, TheValueIsTheFirstOperandOfTheAssignment) {
    Fill("many_int32: 1 many_string: 'a' many_message: {a: 1}");
    for (const auto& row : std::vector<std::pair<const char*, const char*>>{
             {"many_int32", "$"}, {"many_string", "$"}, {"many_message", "a"}}) {
        const bool isText = row.first == std::string("many_string");
        Expr* value = isText ? m_tree.Text("first") : m_tree.Int(5);
        Expr* assign = m_tree.Node(OstraneCommon::EXPR_ASSIGN, row.second, {value, m_tree.Bool(false)});
        EXPECT_EQ(Set(Field(row.first), m_tree.Set("0", {assign})), 0) << row.first;
    }
    EXPECT_EQ(Show(m_message), "many_int32: 5 many_string: \"first\" many_message { a: 5 }");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(SetWithExprTest, TheAssignmentNamesTheElement) {
    Fill("many_int32: 1 many_string: 'a' many_enum: RED");
    for (const char* field : {"many_int32", "many_string", "many_enum"}) {
        for (const std::string name : {"name", "", "$$", "$ ", "many_int32"}) {
            Expr* wrongValue = m_tree.Node(OstraneCommon::EXPR_NULL);
            ExpectSetRefused(Field(field), m_tree.Set("0", {m_tree.Assign(name, wrongValue)}), BAD_NAME,
                             {Line("SetWithExpr: not found field '" + name + "'")});
        }
    }
}

TEST_F(SetWithExprTest, EnumElementsAreRefused) {
    Fill("many_enum: [RED, BLUE] [fields.ext_many_enum]: RED");
    for (Expr* value : {m_tree.Text("GREEN"), m_tree.Int(1), m_tree.Node(OstraneCommon::EXPR_NULL)}) {
        ExpectSetRefused(Field("many_enum"), SetTo("0", value), BAD_TYPE, {Line("SetWithExpr: invalid type=8")});
        ExpectSetRefused(Extension("ext_many_enum"), SetTo("0", value), BAD_TYPE,
                         {Line("SetWithExpr: invalid type=8")});
    }
}

TEST_F(SetWithExprTest, TextIsNoNumber) {
    Fill("many_bool: true many_int32: 1 many_uint32: 1 many_int64: 1 many_uint64: 1 many_double: 1 many_float: 1");
    for (const std::string name :
         {"many_bool", "many_int32", "many_uint32", "many_int64", "many_uint64", "many_double", "many_float"}) {
        ExpectSetRefused(Field(name), SetTo("0", m_tree.Text("5")), BAD_TYPE,
                         {HeaderLine("SetRepeatedFieldWithExpr: expr type cast failed, field=fields.Fields." + name +
                                     ", expr='5'")});
    }
}

TEST_F(SetWithExprTest, NumbersAndNullPointersAreNoText) {
    Fill("many_string: 'a' many_bytes: 'a'");
    for (const std::string name : {"many_string", "many_bytes"}) {
        for (Expr* value : {m_tree.Int(-5), m_tree.UInt(7), m_tree.Float(0.5), m_tree.Bool(true),
                            m_tree.Node(OstraneCommon::EXPR_NULL), TextPointer(nullptr)}) {
            ExpectSetRefused(Field(name), SetTo("0", value), BAD_TYPE,
                             {Line("SetRepeatedStringWithExpr: cast to string failed, field=fields.Fields." + name +
                                   ", expr=" + value->m_self.ToStr())});
        }
    }
}

// The values

TEST_F(SetWithExprTest, ScalarsAreCastAndNarrowed) {
    struct Row {
        const char* field;
        Expr* value;
        const char* element;
    };
    const Row rows[] = {
        {"many_int32", m_tree.Int(5), "5"},
        {"many_int32", m_tree.Int(-1), "-1"},
        {"many_int32", m_tree.UInt(4294967295U), "-1"},
        {"many_int32", m_tree.UInt(4294967297U), "1"},
        {"many_int32", m_tree.Float(3), "3"},
        {"many_uint32", m_tree.Int(-1), "4294967295"},
        {"many_uint32", m_tree.UInt(4294967296U), "0"},
        {"many_int64", m_tree.UInt(18446744073709551615U), "-1"},
        {"many_int64", m_tree.Int(std::numeric_limits<int64_t>::min()), "-9223372036854775808"},
        {"many_uint64", m_tree.Int(-1), "18446744073709551615"},
        {"many_double", m_tree.Float(0.1), "0.1"},
        {"many_double", m_tree.Int(-3), "-3"},
        {"many_double", m_tree.UInt(18446744073709551615U), "1.8446744073709552e+19"},
        {"many_float", m_tree.Float(0.5), "0.5"},
        {"many_float", m_tree.Float(1e300), "inf"},
        {"many_float", m_tree.Int(-7), "-7"},
        {"many_bool", m_tree.UInt(7), "true"},
        {"many_bool", m_tree.UInt(0), "false"},
        {"many_bool", m_tree.Int(-1), "true"},
        {"many_bool", m_tree.UInt(4294967296U), "true"},
        {"many_bool", m_tree.Bool(false), "false"},
    };
    OnEveryKind([&](MessageMaker& maker) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.field) + " " + row.value->m_self.ToStr());
            // 1 is read as true too.
            const std::string one = std::string(row.field) == "many_bool" ? "true" : "1";
            Message* message = maker.Make(std::string(row.field) + ": [1, 1, 1]");
            EXPECT_EQ(Set(Field(message, row.field), SetTo("1", row.value)), 0);
            EXPECT_EQ(Show(*message, row.field), "[" + one + ", " + row.element + ", " + one + "]");
        }
    });
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(SetWithExprTest, TextIsCopiedAsItIs) {
    const std::string there = "there";
    const std::string bytes("\0\xff x", 4);
    OnEveryKind([&](MessageMaker& maker) {
        Message* message = maker.Make("many_string: ['a', 'b', 'c'] many_bytes: ['a', 'b']");
        EXPECT_EQ(Set(Field(message, "many_string"), SetTo("0", m_tree.Text(""))), 0);
        EXPECT_EQ(Set(Field(message, "many_string"), SetTo("-1", TextPointer(&there))), 0);
        EXPECT_EQ(Set(Field(message, "many_bytes"), SetTo("0", m_tree.Text(bytes))), 0);
        EXPECT_EQ(Show(*message, "many_string"), "[\"\", \"b\", \"there\"]");
        EXPECT_EQ(Show(*message, "many_bytes"), "[\"\\000\\377 x\", \"b\"]");
    });
    EXPECT_EQ(there, "there");
    EXPECT_EQ(m_log.Lines(), Lines{});
}

TEST_F(SetWithExprTest, AnElementMayBeSetToItself) {
    const std::string text(100, 'x');
    m_message.add_many_string(text);
    EXPECT_EQ(Set(Field("many_string"), SetTo("0", TextPointer(&m_message.many_string(0)))), 0);
    EXPECT_EQ(m_message.many_string(0), text);
}

TEST_F(SetWithExprTest, PackedAndExtensionFieldsAreSet) {
    Fill(
        "packed_int32: [1, 2] [fields.ext_many_int32]: [1, 2] [fields.ext_many_string]: ['a', 'b'] "
        "[fields.ext_many_message]: [{a: 1}, {a: 2}]");
    EXPECT_EQ(Set(Field("packed_int32"), SetTo("0", m_tree.Int(9))), 0);
    EXPECT_EQ(Show(m_message, "packed_int32"), "[9, 2]");
    EXPECT_EQ(Set(Extension("ext_many_int32"), SetTo("-1", m_tree.Int(9))), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_int32").m_pFieldDesc), "[1, 9]");
    EXPECT_EQ(Set(Extension("ext_many_string"), SetTo("0", m_tree.Text("x"))), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_string").m_pFieldDesc), "[\"x\", \"b\"]");
    EXPECT_EQ(Set(Extension("ext_many_message"), m_tree.Set("1", {m_tree.Assign("b", m_tree.Text("x"))})), 0);
    EXPECT_EQ(Show(m_message, Extension("ext_many_message").m_pFieldDesc), "[{a: 1}, {a: 2 b: \"x\"}]");
    EXPECT_EQ(m_log.Lines(), Lines{});
    ExpectSetRefused(Extension("ext_many_string"), SetTo("2", m_tree.Text("x")), BAD_INDEX,
                     {Line("SetWithExpr: field=fields.ext_many_string, invalid array index=2, repeated.size=2")});
    ExpectSetRefused(Extension("ext_many_int32"), SetTo("0", m_tree.Text("x")), BAD_TYPE,
                     {HeaderLine("SetRepeatedFieldWithExpr: expr type cast failed, field=fields.ext_many_int32, "
                                 "expr='x'")});
}

TEST_F(SetWithExprTest, TheElementKeepsItsPlaceInMemory) {
    Fill("many_string: ['a', 'b'] many_message: [{a: 1}, {a: 2}]");
    const std::string* text = &m_message.many_string(1);
    const fields::Plain* element = &m_message.many_message(1);
    EXPECT_EQ(Set(Field("many_string"), SetTo("1", m_tree.Text("x"))), 0);
    EXPECT_EQ(Set(Field("many_message"), m_tree.Set("1", {m_tree.Assign("a", m_tree.Int(9))})), 0);
    EXPECT_EQ(&m_message.many_string(1), text);
    EXPECT_EQ(&m_message.many_message(1), element);
}

// The log

TEST_F(SetWithExprTest, WithoutLogTheCodesAreTheSame) {
    m_record.m_pLog = nullptr;
    Fill("many_int32: 1 many_string: 'a' many_enum: RED");
    Expr noOperands;
    EXPECT_EQ(Set(Field("many_int32"), noOperands), BAD_INDEX);
    EXPECT_EQ(Set(Field("many_int32"), SetTo("1", m_tree.Int(1))), BAD_INDEX);
    EXPECT_EQ(Set(Field("many_int32"), m_tree.Set("0", {m_tree.Int(1)})), BAD_SYNTAX);
    EXPECT_EQ(Set(Field("many_int32"), m_tree.Set("0", {m_tree.Assign("a", m_tree.Int(1))})), BAD_NAME);
    EXPECT_EQ(Set(Field("many_int32"), SetTo("0", m_tree.Text("x"))), BAD_TYPE);
    EXPECT_EQ(Set(Field("many_string"), SetTo("0", m_tree.Int(1))), BAD_TYPE);
    EXPECT_EQ(Set(Field("many_enum"), SetTo("0", m_tree.Text("BLUE"))), BAD_TYPE);
    EXPECT_EQ(Set(Field("many_int32"), SetTo("0", m_tree.Int(5))), 0);
    EXPECT_EQ(Show(m_message), "many_int32: 5 many_enum: RED many_string: \"a\"");
}

TEST_F(SetWithExprTest, BoundsKeepLinesBackButNotCodes) {
    Fill("many_int32: 1");
    for (const auto& bounds : std::vector<std::pair<int, int>>{{-1, 200}, {400, -1}}) {
        m_log.Channel().SetBounds(bounds.first, bounds.second);
        EXPECT_EQ(Set(Field("many_int32"), SetTo("1", m_tree.Int(1))), BAD_INDEX);
        EXPECT_EQ(Set(Field("many_int32"), SetTo("0", m_tree.Text("x"))), BAD_TYPE);
        EXPECT_EQ(m_log.TakeLines(), Lines{});
    }
}

}  // namespace
