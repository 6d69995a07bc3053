// Texts of values and trees: what parses is written so that it parses back to the same tree.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/expr.h"
#include "expr/parse_context.h"
#include "expr/statement.h"
#include "tree_text.h"

namespace {

using namespace OstraneCommon;
using OstraneTests::TreeText;

ExprVariant Make(ExprType type, const std::string& text = "") {
    ExprVariant value;
    value.m_type = type;
    value.m_str = text;
    return value;
}

// Values -----------------------------------------------------------------------------------------------

TEST(ExprVariantToStr, Numbers) {
    ExprVariant value = Make(EXPR_UINT);
    value.m_data.valUInt64 = std::numeric_limits<uint64_t>::max();
    EXPECT_EQ(value.ToStr(), "18446744073709551615");
    value = Make(EXPR_INT);
    value.m_data.valInt64 = std::numeric_limits<int64_t>::min();
    EXPECT_EQ(value.ToStr(), "-9223372036854775808");
    value.m_type = EXPR_TIME;
    EXPECT_EQ(value.ToStr(), "-9223372036854775808");
    EXPECT_EQ(Make(EXPR_UINT_STRING, "42").ToStr(), "42");
    EXPECT_EQ(Make(EXPR_INT_STRING, "-42").ToStr(), "-42");
    EXPECT_EQ(Make(EXPR_FLOAT_STRING, "1.50").ToStr(), "1.50");
}

TEST(ExprVariantToStr, Doubles) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        double value;
        const char* text;
    };
    for (const Row& row : std::vector<Row>{{0.0, "0.0"},
                                           {-0.0, "-0.0"},
                                           {1, "1.0"},
                                           {-5, "-5.0"},
                                           {0.1, "0.1"},
                                           {0.1 + 0.2, "0.30000000000000004"},
                                           {1e22, "1e+22"},
                                           {1e-7, "1e-07"},
                                           {123456789012345680.0, "123456789012345680.0"},
                                           {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
                                           {std::numeric_limits<double>::denorm_min(), "5e-324"},
                                           {infinity, "inf"},
                                           {-infinity, "-inf"},
                                           {nan, "nan"},
                                           {std::copysign(nan, -1.0), "-nan"}}) {
        ExprVariant value = Make(EXPR_FLOAT);
        value.m_data.valFloat = row.value;
        EXPECT_EQ(value.ToStr(), row.text);
    }
}

TEST(ExprVariantToStr, WordsAndNames) {
    ExprVariant value = Make(EXPR_UINT);
    value.m_flags = EXPR_FLAG_BOOL;
    EXPECT_EQ(value.ToStr(), "false");
    value.m_data.valUInt64 = 1;
    EXPECT_EQ(value.ToStr(), "true");
    EXPECT_EQ(ExprVariant().ToStr(), "None");
    EXPECT_EQ(Make(EXPR_NULL).ToStr(), "null");
    EXPECT_EQ(Make(EXPR_QUESTION).ToStr(), "?");
    EXPECT_EQ(Make(EXPR_QUESTION, "now").ToStr(), ":now");
    EXPECT_EQ(Make(EXPR_INDEX_RANGE, "0..2, 7").ToStr(), "0..2, 7");
    EXPECT_EQ(Make(EXPR_ASSIGN, "$").ToStr(), "$");
    EXPECT_EQ(Make(EXPR_CMD_FUNC_CALL, "size").ToStr(), "size");
    EXPECT_EQ(Make(EXPR_AND).ToStr(), "AND");
    EXPECT_EQ(Make(EXPR_OP_PUSH).ToStr(), "PUSH");
}

TEST(ExprVariantToStr, Strings) {
    EXPECT_EQ(Make(EXPR_STRING, "").ToStr(), "''");
    EXPECT_EQ(Make(EXPR_STRING, "it's \"a\" \\").ToStr(), R"('it\'s "a" \\')");
    EXPECT_EQ(Make(EXPR_STRING, "\n\t\r\x01\x7F").ToStr(), R"('\n\t\r\x01\x7F')");
    EXPECT_EQ(Make(EXPR_STRING, std::string("a\0b", 3)).ToStr(), R"('a\x00b')");
    EXPECT_EQ(Make(EXPR_STRING, "\xC3\xA9\xF0\x9F\x98\x80").ToStr(), "'\xC3\xA9\xF0\x9F\x98\x80'");
    // Not UTF-8, and what would reorder or drive a terminal
    EXPECT_EQ(Make(EXPR_STRING, "\xC3\xFFz").ToStr(), R"('\xC3\xFFz')");
    EXPECT_EQ(Make(EXPR_STRING, "\xED\xA0\x80").ToStr(), R"('\xED\xA0\x80')");
    EXPECT_EQ(Make(EXPR_STRING, "\xC2\x9B\xE2\x80\xAE\xEF\xBB\xBF").ToStr(), R"('\u009B\u202E\uFEFF')");
    EXPECT_EQ(Make(EXPR_BINARY_STRING, "a\x80").ToStr(), R"('a\x80')");
    EXPECT_EQ(Make(EXPR_BYTES_TEXT, "a").ToStr(), "'a'");
    EXPECT_EQ(Make(EXPR_BYTES, std::string("\0\xFFz", 3)).ToStr(), "x'00FF7A'");
}

TEST(ExprVariantToStr, TextBehindPointers) {
    const std::string text = "it's";
    ExprVariant value = Make(EXPR_STRING_PTR);
    EXPECT_EQ(value.ToStr(), "null");
    value.m_data.pStr = &text;
    EXPECT_EQ(value.ToStr(), R"('it\'s')");
    value = Make(EXPR_CSTR);
    EXPECT_EQ(value.ToStr(), "null");
    value.m_data.pCStr = "abc";
    EXPECT_EQ(value.ToStr(), "'abc'");
    value = Make(EXPR_BUFF);
    EXPECT_EQ(value.ToStr(), "x''");
    value.m_data.buff.size = 3;
    EXPECT_EQ(value.ToStr(), "x''");
    value.m_data.buff.ptr = "\x01\x02\x03";
    EXPECT_EQ(value.ToStr(), "x'010203'");
}

TEST(ExprVariantToStr, Fields) {
    const google::protobuf::FieldDescriptor* const field =
        google::protobuf::FileDescriptorProto::descriptor()->FindFieldByName("dependency");
    ExprVariant value = Make(EXPR_UNRESOLVE);
    EXPECT_EQ(value.ToStr(), "(message)");
    value.m_data.pb.SetField(nullptr, field, false);
    EXPECT_EQ(value.ToStr(), "google.protobuf.FileDescriptorProto.dependency");
    value.m_data.pb.SetArrayElementIdx(3);
    EXPECT_EQ(value.ToStr(), "google.protobuf.FileDescriptorProto.dependency[3]");
    value.m_data.pb.SetArrayRange(1, 2);
    EXPECT_EQ(value.ToStr(), "google.protobuf.FileDescriptorProto.dependency[1..2]");
    value = Make(EXPR_UNRESOLVE, "a.b[3]");
    value.m_flags = EXPR_FLAG_NAME;
    EXPECT_EQ(value.ToStr(), "a.b[3]");
}

TEST(ExprVariantToStr, EveryNumberHasAText) {
    for (int number = -3; number < EXPR_TYPE_MAX + 3; ++number) {
        ExprVariant value;
        std::memcpy(&value.m_type, &number, sizeof(number));
        EXPECT_FALSE(value.ToStr().empty()) << number;
        Expr node;
        node.m_self = value;
        EXPECT_FALSE(node.ToStr().empty()) << number;
    }
    ExprVariant value;
    const int number = 1000;
    std::memcpy(&value.m_type, &number, sizeof(number));
    EXPECT_EQ(value.ToStr(), "kind 1000");
}

// Trees put together by hand ---------------------------------------------------------------------------

TEST(ExprToStr, AnAssignment) {
    Expr seven;
    seven.m_self.m_type = EXPR_INT;
    seven.m_self.m_data.valInt64 = 7;
    Expr index;
    index.m_self = Make(EXPR_INDEX_RANGE, "1");
    std::vector<Expr*> values{&seven};
    Expr assign;
    assign.m_self = Make(EXPR_ASSIGN, "$");
    assign.m_operands = &values;
    EXPECT_EQ(assign.ToStr(), "$ = 7");
    std::vector<Expr*> operands{&index, &assign};
    Expr push;
    push.m_self.m_type = EXPR_OP_PUSH;
    push.m_operands = &operands;
    EXPECT_EQ(push.ToStr(), "PUSH(1, $ = 7)");
    push.m_operands = nullptr;
    EXPECT_EQ(push.ToStr(), "PUSH()");
}

TEST(ExprToStr, AnyKindWithAnyOperands) {
    Expr name;
    name.m_self = Make(EXPR_UNRESOLVE, "a");
    name.m_self.m_flags = EXPR_FLAG_NAME;
    Expr unknown;
    const int number = 1000;
    std::memcpy(&unknown.m_self.m_type, &number, sizeof(number));
    for (int kind = 0; kind < EXPR_TYPE_MAX; ++kind) {
        for (size_t count = 0; count < 5; ++count) {
            for (Expr* operand : {&name, &unknown, static_cast<Expr*>(nullptr)}) {
                std::vector<Expr*> operands(count, &name);
                if (count > 0) {
                    operands.back() = operand;
                }
                Expr node;
                node.m_self.m_type = static_cast<ExprType>(kind);
                node.m_operands = &operands;
                node.m_children = &operands;
                EXPECT_FALSE(node.ToStr().empty()) << kind << " with " << count;
            }
        }
    }
}

TEST(ExprToStr, NullAndMissingOperandsAreNamed) {
    Expr name;
    name.m_self = Make(EXPR_UNRESOLVE, "a");
    name.m_self.m_flags = EXPR_FLAG_NAME;
    std::vector<Expr*> operands{&name, nullptr};
    Expr node;
    node.m_operands = &operands;
    node.m_self.m_type = EXPR_COMPARE_EQ;
    EXPECT_EQ(node.ToStr(), "COMPARE_EQ(a, (null node))");
    operands.pop_back();
    EXPECT_EQ(node.ToStr(), "COMPARE_EQ(a)");
    node.m_self.m_type = EXPR_AND;
    EXPECT_EQ(node.ToStr(), "AND(a)");
}

TEST(ExprToStr, ATreeThatLeadsBackToItselfEnds) {
    Expr node;
    std::vector<Expr*> operands{&node};
    node.m_self.m_type = EXPR_NOT;
    node.m_operands = &operands;
    const std::string text = node.ToStr();
    EXPECT_EQ(text.substr(0, 12), "NOT NOT NOT ");
    EXPECT_EQ(text.substr(text.size() - 3), "...");
    EXPECT_LT(text.size(), 10000U);
}

// Back to the same tree --------------------------------------------------------------------------------

// The text of what `text` parses to.
std::string Written(const std::string& text) {
    ExprParseContext context;
    Expr* expr = nullptr;
    ExprError error;
    if (Expr::Parse(text, context, expr, error) != 0) {
        return "error: " + error.message;
    }
    return expr->ToStr();
}

TEST(ExprToStr, IsCanonical) {
    struct Row {
        const char* text;
        const char* written;
    };
    for (const Row& row : std::vector<Row>{
             {"a&&b||!c", "a AND b OR NOT c"},
             {"((a))", "a"},
             {"(a AND b) AND c", "(a AND b) AND c"},
             {"a OR (b AND c)", "a OR b AND c"},
             {"(a OR b) AND c", "(a OR b) AND c"},
             {"NOT (a AND b)", "NOT (a AND b)"},
             {"NOT (a = b)", "NOT a = b"},
             {"(NOT a) = b", "(NOT a) = b"},
             {"a - (b - c)", "a - (b - c)"},
             {"(a - b) - c", "a - b - c"},
             {"a*(b+c)&d", "a * (b + c) & d"},
             {"a != b", "a <> b"},
             {"a == b", "a = b"},
             {"(a = b) = c", "(a = b) = c"},
             {"a IS NOT NULL", "a IS NOT NULL"},
             {"a + 1 is null", "a + 1 IS NULL"},
             {"a NOT BETWEEN 1 AND 2", "NOT a BETWEEN 1 AND 2"},
             {"a between (b = c) and 2", "a BETWEEN (b = c) AND 2"},
             {"a not in [1,2]", "a NOT IN (1, 2)"},
             {"a IN tags", "a IN tags"},
             {"- 5", "- 5"},
             {"- -5", "- -5"},
             {"a - -5", "a - -5"},
             {"-(5)", "- 5"},
             {"-(a + b)", "-(a + b)"},
             {"- inf", "- inf"},
             {"-inf", "-inf"},
             {"-inform", "-inform"},
             {"-~-a", "-~-a"},
             {"- - a", "- -a"},
             {"~ 5", "~5"},
             {"-(5 * 2)", "-(5 * 2)"},
             {"1.50", "1.5"},
             {"0xFF", "255"},
             {"{ a = 1 , 'k' : [ 1 , { } ] }", "{a: 1, 'k': [1, {}]}"},
             {"{true: 1, `TRUE`: 2, `from`: 3}", "{true: 1, `TRUE`: 2, from: 3}"},
             {"{[a.b]: :c}", "{[a.b]: :c}"},
             {"SIZE( a )", "size(a)"},
             {"coalesce(a,b=1)", "coalesce(a, b = 1)"},
             {"`a` . `from`", "a.from"},
         }) {
        EXPECT_EQ(Written(row.text), row.written) << row.text;
        EXPECT_EQ(Written(row.written), row.written);
    }
}

// Random trees of the shapes that texts have.
class RandomTree {
public:
    RandomTree(uint64_t seed, ExprParseContext& context) : m_random(seed), m_context(context) {}

    Expr* Value(int depth) {
        switch (depth > 0 ? Below(6) : 5) {
            case 0:
                return List(depth, [this](int below) { return Value(below); });
            case 1:
                return Message(depth);
            default:
                return Condition(depth);
        }
    }

private:
    uint64_t Below(uint64_t limit) { return m_random() % limit; }
    bool Maybe() { return Below(2) == 0; }

    Expr* Node(ExprType type, std::initializer_list<Expr*> operands) {
        Expr* const node = m_context.NewNode(type, 0);
        node->m_operands = m_context.NewList();
        *node->m_operands = operands;
        return node;
    }

    Expr* Condition(int depth) {
        if (depth <= 0) {
            return Leaf();
        }
        Expr* const left = Condition(depth - 1);
        switch (Below(12)) {
            case 0:
            case 1: {
                Expr* const node = Node(Maybe() ? EXPR_AND : EXPR_OR, {left, Condition(depth - 2)});
                while (Below(3) == 0) {
                    node->m_operands->push_back(Condition(depth - 3));
                }
                return node;
            }
            case 2:
                return Node(Maybe() ? EXPR_NOT : Maybe() ? EXPR_OP_SUB : EXPR_BITWISE_NOT, {left});
            case 3: {
                Expr* const null = m_context.NewNode(EXPR_NULL, 0);
                return Node(Maybe() ? EXPR_COMPARE_EQ : EXPR_COMPARE_NE, {left, null});
            }
            case 4:
                return Node(EXPR_BETWEEN, {left, Condition(depth - 2), Condition(depth - 2)});
            case 5:
                return Node(Maybe() ? EXPR_IN : EXPR_NOT_IN, {left, Set(depth - 2)});
            case 6:
                return Call(depth);
            case 7:
            case 8: {
                const ExprType types[] = {EXPR_LIKE, EXPR_NOT_LIKE, EXPR_CONTAINS, EXPR_NOT_CONTAINS};
                return Node(types[Below(4)], {left, Condition(depth - 2)});
            }
            case 9:
                return Compare(left, depth);
            default: {
                const ExprType types[] = {EXPR_BITWISE_AND, EXPR_OP_ADD, EXPR_OP_SUB, EXPR_OP_MULT, EXPR_OP_DIV};
                return Node(types[Below(5)], {left, Condition(depth - 2)});
            }
        }
    }

    // No text compares with a bare NULL.
    Expr* Compare(Expr* left, int depth) {
        Expr* const right = Condition(depth - 2);
        if (left->m_self.m_type == EXPR_NULL || right->m_self.m_type == EXPR_NULL) {
            return Node(EXPR_LIKE, {left, right});
        }
        return Node(static_cast<ExprType>(EXPR_COMPARE_EQ + static_cast<int>(Below(6))), {left, right});
    }

    template <typename Item>
    Expr* List(int depth, const Item& item) {
        Expr* const list = Node(EXPR_VALUE_LIST, {});
        for (uint64_t count = Below(4); count > 0; --count) {
            list->m_operands->push_back(item(depth - 1));
        }
        return list;
    }

    Expr* Set(int depth) {
        if (Below(3) == 0) {
            return Maybe() ? Name() : Parameter();
        }
        Expr* const list = List(depth, [this](int below) { return Condition(below); });
        list->m_operands->push_back(Condition(depth - 1));
        return list;
    }

    Expr* Message(int depth) {
        Expr* const message = Node(EXPR_ASSIGN_LIST, {});
        for (uint64_t count = Below(4); count > 0; --count) {
            Expr* const key = Below(2) == 0 ? nullptr : Leaf();
            Expr* const assign = Node(EXPR_ASSIGN, {Value(depth - 1)});
            message->m_operands->push_back(assign);
            if (key == nullptr || key->m_self.m_type == EXPR_UNRESOLVE || key->m_self.m_type == EXPR_NULL ||
                key->m_self.m_type == EXPR_BYTES ||
                (key->m_self.m_type == EXPR_FLOAT && !std::isfinite(key->m_self.m_data.valFloat))) {
                const char* const names[] = {"a", "from", "true", "FALSE", "[pkg.ext]", "size"};
                assign->m_self.m_str = names[Below(6)];
                continue;
            }
            assign->m_children = m_context.NewList();
            assign->m_children->push_back(key);
            if (key->m_self.m_flags == EXPR_FLAG_BOOL) {
                assign->m_self.m_str = key->m_self.m_data.valUInt64 != 0 ? "true" : "false";
            }
        }
        return message;
    }

    Expr* Call(int depth) {
        Expr* const call = Node(EXPR_CMD_FUNC_CALL, {Condition(depth - 2)});
        call->m_self.m_str = Maybe() ? "size" : "coalesce";
        while (call->m_self.m_str == "coalesce" && Maybe()) {
            call->m_operands->push_back(Condition(depth - 2));
        }
        return call;
    }

    Expr* Parameter() {
        Expr* const node = m_context.NewNode(EXPR_QUESTION, 0);
        node->m_self.m_str = std::string(1, static_cast<char>('a' + Below(3)));
        return node;
    }

    Expr* Name() {
        const char* const names[] = {"a", "qty",    "`in`",  "$",         "$$",        "$.a.not",   "$$.b[3]",
                                     "x", "size.x", "e[-1]", "m[true].v", "m['k\\'']", "$.[p.e].x", "infx"};
        Expr* const node = m_context.NewNode(EXPR_UNRESOLVE, 0);
        node->m_self.m_flags = EXPR_FLAG_NAME;
        node->m_self.m_str = names[Below(sizeof(names) / sizeof(names[0]))];
        return node;
    }

    Expr* Leaf() {
        switch (Below(10)) {
            case 0:
                return Parameter();
            case 1:
                return m_context.NewNode(EXPR_NULL, 0);
            case 2: {
                Expr* const node = m_context.NewNode(EXPR_UINT, 0);
                node->m_self.m_flags = EXPR_FLAG_BOOL;
                node->m_self.m_data.valUInt64 = Below(2);
                return node;
            }
            case 3:
            case 4: {
                Expr* const node = m_context.NewNode(Maybe() ? EXPR_STRING : EXPR_BYTES, 0);
                for (uint64_t count = Below(8); count > 0; --count) {
                    node->m_self.m_str += Maybe() ? static_cast<char>(Below(256)) : "'\\\"n\xC3\xA9x "[Below(8)];
                }
                return node;
            }
            case 5: {
                Expr* const node = m_context.NewNode(EXPR_FLOAT, 0);
                const uint64_t bits = m_random();
                std::memcpy(&node->m_self.m_data.valFloat, &bits, sizeof(bits));
                if (Maybe()) {
                    node->m_self.m_data.valFloat = static_cast<double>(Below(20)) - 10;
                }
                return node;
            }
            case 6: {
                Expr* const node = m_context.NewNode(EXPR_INT, 0);
                node->m_self.m_data.valInt64 = -1 - static_cast<int64_t>(m_random() >> (1 + Below(63)));
                return node;
            }
            case 7: {
                Expr* const node = m_context.NewNode(EXPR_UINT, 0);
                node->m_self.m_data.valUInt64 = m_random() >> Below(64);
                return node;
            }
            default:
                return Name();
        }
    }

    std::mt19937_64 m_random;
    ExprParseContext& m_context;
};

TEST(ExprToStr, RandomTreesParseBack) {
    const uint64_t seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    int failures = 0;
    size_t nodes = 0;
    for (uint64_t i = 0; i < 5000 && failures < 5; ++i) {
        ExprParseContext made;
        const Expr* const tree = RandomTree(seed + i, made).Value(static_cast<int>(i % 8));
        nodes += made.NodeCount();
        const std::string text = tree->ToStr();
        ExprParseContext context;
        Expr* back = nullptr;
        ExprError error;
        if (Expr::Parse(text, context, back, error) != 0) {
            ADD_FAILURE() << "tree " << i << "\n" << ShowError(text, error, "") << TreeText(tree);
            ++failures;
            continue;
        }
        // A NaN is one NaN: its text tells the sign alone, as the tree's does.
        if (TreeText(back) != TreeText(tree)) {
            ADD_FAILURE() << "tree " << i << ": " << text << "\n" << TreeText(tree) << "\n" << TreeText(back);
            ++failures;
        }
    }
    EXPECT_GT(nodes, 20000U);
}

}  // namespace
