#include "model/choices.h"

#include <google/protobuf/descriptor.pb.h>

#include <climits>

#include "model/world.h"

namespace model {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;

namespace {

Literal Int(int64_t value) {
    return {Literal::Kind::Int, value, 0, 0, "", std::to_string(value)};
}
Literal UInt(uint64_t value) {
    return {Literal::Kind::UInt, 0, value, 0, "", std::to_string(value)};
}
Literal Real(double value, const std::string& shown) {
    return {Literal::Kind::Float, 0, 0, value, "", shown};
}
Literal Text(const std::string& value) {
    return {Literal::Kind::Text, 0, 0, 0, value, "'" + value + "'"};
}
Literal TextPointer(const std::string& value) {
    return {Literal::Kind::TextPointer, 0, 0, 0, value, "'" + value + "'"};
}
Literal IntText(int64_t value) {
    return {Literal::Kind::IntText, value, 0, 0, "", std::to_string(value)};
}
Literal Bool(bool value) {
    return {Literal::Kind::Bool, 0, value ? uint64_t{1} : 0, 0, "", value ? "true" : "false"};
}

const std::vector<Literal>& Numbers() {
    static const std::vector<Literal> numbers = {
        Int(1),           Int(0),           Int(-1),          Int(7),           Int(int64_t{1} << 31),
        Int(INT64_MIN),   UInt(UINT64_MAX), UInt(4294967297), Real(-3, "-3.0"), Real(0.1, "0.1"),
        Real(1.5, "1.5"), IntText(-12),     Bool(true),       Bool(false)};
    return numbers;
}

const std::vector<Literal>& Texts() {
    static const std::vector<Literal> texts = {
        Text("a"),     Text(""),      Text("a text too long to lie in the string itself"),
        Text("GREEN"), Text("MAUVE"), TextPointer("BLUE")};
    return texts;
}

const std::vector<Literal>& Others() {
    static const std::vector<Literal> others = {{Literal::Kind::NullPointer, 0, 0, 0, "", "null"},
                                                {Literal::Kind::Null, 0, 0, 0, "", "null"},
                                                Text("a"),
                                                Int(1)};
    return others;
}

Literal ChooseLiteral(Chooser& chooser, const FieldDescriptor* field) {
    if (chooser.Rarely(8)) {
        return chooser.Of(Others());
    }
    const bool isText = field != nullptr && (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING ||
                                             field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM);
    return chooser.Of(isText ? Texts() : Numbers());
}

std::string ChooseIndex(Chooser& chooser, int size) {
    if (chooser.Rarely(8)) {
        static const std::vector<std::string> odd = {"", "-2", "1x", " 1", "+0", "007", "99999999999999999999"};
        return chooser.Of(odd);
    }
    return std::to_string(chooser.Next(size + 3) - 1);
}

Expr* MakeTree(ExprTree& tree, const Literal& literal) {
    if (literal.isField) {
        Expr* node = tree.Node(OstraneCommon::EXPR_UNRESOLVE);
        node->m_self.m_data.pb = literal.field;
        return node;
    }
    switch (literal.kind) {
        case Literal::Kind::Int:
            return tree.Int(literal.int64);
        case Literal::Kind::UInt:
            return tree.UInt(literal.uint64);
        case Literal::Kind::Float:
            return tree.Float(literal.real);
        case Literal::Kind::Text:
            return tree.Text(literal.text);
        case Literal::Kind::Bool:
            return tree.Bool(literal.uint64 != 0);
        case Literal::Kind::IntText:
            return tree.Node(OstraneCommon::EXPR_INT_STRING, std::to_string(literal.int64));
        case Literal::Kind::TextPointer: {
            Expr* node = tree.Node(OstraneCommon::EXPR_STRING_PTR);
            node->m_self.m_data.pStr = &tree.Text(literal.text)->m_self.m_str;
            return node;
        }
        case Literal::Kind::NullPointer:
            return tree.Node(OstraneCommon::EXPR_STRING_PTR);
        case Literal::Kind::Null:
            break;
    }
    return tree.Node(OstraneCommon::EXPR_NULL);
}

// The range text of a pair, as a statement writes it.
std::string RangeText(const std::pair<int32_t, int32_t>& range) {
    if (range == std::make_pair(0, -1)) {
        return "*";
    }
    if (range.first == range.second) {
        return std::to_string(range.first);
    }
    return (range.first == 0 ? "" : std::to_string(range.first)) + ".." +
           (range.second == -1 ? "" : std::to_string(range.second));
}

}  // namespace

ElementExpr ChooseElementExpr(Chooser& chooser, const FieldDescriptor* field, int size) {
    ElementExpr expr;
    expr.hasOperands = !chooser.Rarely(32);
    expr.hasIndex = !chooser.Rarely(16);
    expr.index = ChooseIndex(chooser, size);
    const Descriptor* type = field->message_type();
    int count = 1;
    if (!expr.hasOperands) {
        return expr;
    }
    if (type != nullptr) {
        count = chooser.Rarely(16) ? 0 : 1 + chooser.Next(3);
    } else if (chooser.Rarely(8)) {
        count = 2 * chooser.Next(2);
    }
    std::vector<std::string> names = {"$"};
    if (type != nullptr) {
        names.clear();
        for (const FieldDescriptor* subField : FieldsOf(type, false)) {
            if (!subField->is_extension()) {
                names.push_back(std::string(subField->name()));
            }
        }
    }
    for (int i = 0; i < count; ++i) {
        Entry entry = {};
        entry.name = chooser.Rarely(8) ? "nowhere" : chooser.Of(names);
        const int shape = chooser.Next(16);
        entry.isAssign = shape != 15;
        entry.hasValue = shape < 14;
        entry.value = ChooseLiteral(chooser, type == nullptr ? field : type->FindFieldByName(entry.name));
        expr.entries.push_back(entry);
    }
    return expr;
}

Expr& MakeTree(ExprTree& tree, OstraneCommon::ExprType type, const ElementExpr& expr) {
    if (!expr.hasOperands) {
        return *tree.Node(type);
    }
    std::vector<Expr*> operands = {expr.hasIndex ? tree.Index(expr.index) : tree.Int(0)};
    for (const Entry& entry : expr.entries) {
        if (!entry.isAssign) {
            operands.push_back(tree.Text(entry.name));
        } else if (!entry.hasValue) {
            operands.push_back(tree.Node(OstraneCommon::EXPR_ASSIGN, entry.name));
        } else {
            operands.push_back(tree.Assign(entry.name, MakeTree(tree, entry.value)));
        }
    }
    return *tree.Node(type, "", operands);
}

Filter ChooseFilter(Chooser& chooser, const FieldDescriptor* field) {
    const int choice = chooser.Next(8);
    Filter filter = {Filter::Kind::None, nullptr, chooser.Next(8) - 2, "aaaaaaaa"};
    if (choice < 2) {
        return filter;
    }
    if (choice == 2) {
        filter.kind = Filter::Kind::Always;
        return filter;
    }
    if (choice == 3) {
        filter.kind = Filter::Kind::Failing;
        return filter;
    }
    const FieldDescriptor* asked = field;
    if (field->message_type() != nullptr) {
        const Descriptor* type = field->message_type();
        // Of an entry the value or, where that is a message, the key; of others a number.
        asked = type->field(0);
        if (type->options().map_entry() && type->field(1)->message_type() == nullptr) {
            asked = type->field(1);
        }
        if (type->FindFieldByName("one_int32") != nullptr) {
            asked = type->FindFieldByName(chooser.Flag() ? "one_int32" : "one_string");
        }
        filter.subField = asked;
    }
    if (asked->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        filter.kind = Filter::Kind::Equal;
    } else if (asked->cpp_type() != FieldDescriptor::CPPTYPE_BOOL &&
               asked->cpp_type() != FieldDescriptor::CPPTYPE_ENUM) {
        filter.kind = Filter::Kind::Less;
    }
    return filter;
}

Expr* MakeTree(ExprTree& tree, const Filter& filter) {
    Expr* name = tree.Name(filter.subField == nullptr ? "$" : std::string(filter.subField->name()));
    switch (filter.kind) {
        case Filter::Kind::None:
            return nullptr;
        case Filter::Kind::Always:
            return tree.Node(OstraneCommon::EXPR_NONE);
        case Filter::Kind::Less:
            return tree.Node(OstraneCommon::EXPR_COMPARE_LT, "", {name, tree.Int(filter.number)});
        case Filter::Kind::Equal:
            return tree.Node(OstraneCommon::EXPR_COMPARE_EQ, "", {name, tree.Text(filter.text)});
        case Filter::Kind::Failing:
            break;
    }
    return tree.Node(OstraneCommon::EXPR_COMPARE_LT, "", {tree.Name("nowhere"), tree.Int(1)});
}

Ranges ChooseRanges(Chooser& chooser) {
    static const std::vector<int> ends = {0, 1, 2, 3, -1, -2, -3, 7, -7, INT_MAX, INT_MIN};
    Ranges ranges;
    for (int count = chooser.Next(3); count > 0; --count) {
        const int first = chooser.Of(ends);
        ranges.push_back({first, chooser.Rarely(3) ? first : chooser.Of(ends)});
    }
    return ranges;
}

SelectExpr ChooseSelectExpr(Chooser& chooser, const FieldDescriptor* field) {
    SelectExpr expr = {};
    expr.hasOperands = !chooser.Rarely(8);
    expr.hasRange = !chooser.Rarely(8);
    expr.shownFirst = "5";
    expr.isRangeValid = true;
    expr.filter = ChooseFilter(chooser, field);
    expr.ranges = ChooseRanges(chooser);
    for (const std::pair<int32_t, int32_t>& range : expr.ranges) {
        expr.rangeText += (expr.rangeText.empty() ? "" : ",") + RangeText(range);
        // Ends that are counted from one side and stand the wrong way round are a mistake in a text.
        expr.isRangeValid &= (range.first < 0) != (range.second < 0) || range.first <= range.second;
    }
    if (!expr.rangeText.empty() && chooser.Rarely(8)) {
        expr.rangeText += chooser.Flag() ? "," : ";";
        expr.isRangeValid = false;
    }
    return expr;
}

Expr& MakeTree(ExprTree& tree, const SelectExpr& expr) {
    if (!expr.hasOperands) {
        return *tree.Node(OstraneCommon::EXPR_OP_POP);
    }
    std::vector<Expr*> operands = {expr.hasRange ? tree.Index(expr.rangeText) : tree.Int(5)};
    if (expr.filter.kind != Filter::Kind::None) {
        operands.push_back(MakeTree(tree, expr.filter));
    }
    return *tree.Node(OstraneCommon::EXPR_OP_POP, "", operands);
}

std::string Show(const Filter& filter) {
    ExprTree tree;
    const Expr* expr = MakeTree(tree, filter);
    return expr == nullptr ? "" : " where " + expr->ToStr();
}

std::string Show(const Ranges& ranges) {
    std::string text;
    for (const auto& [first, last] : ranges) {
        text += " (" + std::to_string(first) + ", " + std::to_string(last) + ")";
    }
    return text.empty() ? " everything" : text;
}

}  // namespace model
