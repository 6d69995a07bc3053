// Where several faults meet in one expression, the earliest check speaks: every set of faults is tried.
#include "operation_fixture.h"
#include "support/broken_message.h"

namespace {

using google::protobuf::Message;
using OstraneCommon::Expr;

// The faults in the order in which they are looked for.
enum Fault : unsigned {
    NO_REFLECTION = 1U << 0,
    NO_INDEX_OPERAND = 1U << 1,
    BAD_INDEX_TEXT = 1U << 2,
    TWO_ASSIGNMENTS = 1U << 3,
    NO_ASSIGNMENT = 1U << 4,
    NO_VALUE = 1U << 5,
    WRONG_TARGET = 1U << 6,
    LAST = 1U << 7,  // an enum field, or a value that the field does not take
};

struct Outcome {
    int code;
    std::string text;
};

class CheckOrderTest : public OperationTest {
protected:
    // `$ = value` at 0, with these faults.
    Expr& Faulty(OstraneCommon::ExprType operation, unsigned faults, Expr* value) {
        Expr* index = m_tree.Index((faults & BAD_INDEX_TEXT) != 0 ? "2" : "0");
        if ((faults & NO_INDEX_OPERAND) != 0) {
            index->m_self.m_type = OstraneCommon::EXPR_STRING;
        }
        Expr* assign = m_tree.Assign((faults & WRONG_TARGET) != 0 ? "name" : "$", value);
        if ((faults & NO_VALUE) != 0) {
            assign->m_operands = nullptr;
        }
        if ((faults & NO_ASSIGNMENT) != 0) {
            assign->m_self.m_type = OstraneCommon::EXPR_STRING;
        }
        if ((faults & TWO_ASSIGNMENTS) != 0) {
            return *m_tree.Node(operation, "", {index, assign, assign});
        }
        return *m_tree.Node(operation, "", {index, assign});
    }

    // What the earliest of the faults brings.
    static Outcome Expected(const std::string& field, unsigned faults, const Expr& expr, const Outcome& last) {
        const std::string target = (faults & WRONG_TARGET) != 0 ? "name" : "$";
        switch (faults & (~faults + 1)) {
            case NO_REFLECTION:
                return {-256, "GetReflection failed, field=fields.Fields." + field};
            case NO_INDEX_OPERAND:
                return {-4633, "invalid operands, expr = " + expr.ToStr()};
            case BAD_INDEX_TEXT:
                return {-4633, "field=fields.Fields." + field + ", invalid array index=2, repeated.size=1"};
            case TWO_ASSIGNMENTS:
                return {-4377, "require only 1 assign expr, but 2"};
            case NO_ASSIGNMENT:
                return {-4377, "require assign expr, expr='" + target + "'"};
            case NO_VALUE:
                return {-4377, "invalid assign expr"};
            case WRONG_TARGET:
                return {-4889, "not found field 'name'"};
            default:
                return last;
        }
    }

    // Tries every set of faults on `field`, whose last fault is `last` of the worker at `lastPlace`.
    void TryAll(const std::string& field, Expr* good, Expr* bad, const Outcome& last, const std::string& lastPlace,
                bool isPush) {
        BrokenMessage broken(fields::Fields::descriptor(), nullptr);
        const std::string function = isPush ? "PushWithExpr" : "SetWithExpr";
        // An enum field has the last fault whatever its value is.
        const unsigned always = good == bad ? static_cast<unsigned>(LAST) : 0U;
        for (unsigned chosen = 0; chosen < 2 * LAST; ++chosen) {
            const unsigned faults = chosen | always;
            SCOPED_TRACE(function + " " + field + " faults " + std::to_string(faults));
            fields::Fields message;
            message.add_many_int32(1);
            message.add_many_string("a");
            message.add_many_enum(fields::RED);
            const std::string before = Show(message);
            Message* parent = &message;
            if ((faults & NO_REFLECTION) != 0) {
                parent = &broken;
            }
            MutableProtobufField handle = {parent, fields::Fields::descriptor()->FindFieldByName(field)};
            Expr& expr = Faulty(isPush ? OstraneCommon::EXPR_OP_PUSH : OstraneCommon::EXPR_OP_SET, faults,
                                (faults & LAST) != 0 ? bad : good);
            const int ret = isPush ? Util().PushWithExpr(handle, expr) : Util().SetWithExpr(handle, expr);
            const Lines lines = m_log.TakeLines();
            if (faults == 0) {
                EXPECT_EQ(ret, 0);
                EXPECT_EQ(lines, Lines{});
                EXPECT_NE(Show(message), before);
                continue;
            }
            const Outcome expected = Expected(field, faults, expr, last);
            const std::string place = faults == LAST ? lastPlace : "src/common/protobuf_record_util.cpp " + function;
            EXPECT_EQ(ret, expected.code);
            EXPECT_EQ(lines, Lines{"ERROR " + place + ": " + expected.text});
            EXPECT_EQ(Show(message), before);
        }
    }
};

TEST_F(CheckOrderTest, OfANumber) {
    const Outcome last = {-5145, "expr type cast failed, field=fields.Fields.many_int32, expr='x'"};
    TryAll("many_int32", m_tree.Int(7), m_tree.Text("x"), last,
           "src/common/protobuf_record_util.h SetRepeatedFieldWithExpr", false);
    TryAll("many_int32", m_tree.Int(7), m_tree.Text("x"), last,
           "src/common/protobuf_record_util.h PushRepeatedFieldWithExpr", true);
}

TEST_F(CheckOrderTest, OfAString) {
    const Outcome last = {-5145, "cast to string failed, field=fields.Fields.many_string, expr=7"};
    TryAll("many_string", m_tree.Text("x"), m_tree.Int(7), last,
           "src/common/protobuf_record_util.cpp SetRepeatedStringWithExpr", false);
    TryAll("many_string", m_tree.Text("x"), m_tree.Int(7), last,
           "src/common/protobuf_record_util.cpp PushRepeatedStringWithExpr", true);
}

TEST_F(CheckOrderTest, OfAnEnum) {
    Expr* value = m_tree.Text("GREEN");
    const Outcome last = {-5145, "invalid type=8"};
    TryAll("many_enum", value, value, last, "src/common/protobuf_record_util.cpp SetWithExpr", false);
    TryAll("many_enum", value, value, last, "src/common/protobuf_record_util.cpp PushWithExpr", true);
}

}  // namespace
