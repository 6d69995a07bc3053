// Texts of values and trees. What parses is written so that it parses back to the same tree: operators
// with one space, parentheses only where precedence or a written pair asks for them. Any other tree,
// put together by hand, gets a text for people.
#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <string>

#include "common/expr.h"
#include "expr/literal_text.h"
#include "expr/parse_builder.h"
#include "expr/statement.h"

namespace OstraneCommon {
namespace {

// No parsed tree is as deep or as large; one put together by hand may be, or may lead back to itself.
constexpr int MAX_SHOWN_DEPTH = 1000;
constexpr size_t MAX_SHOWN_NODES = 2 * MAX_NODE_COUNT;

// How tight an operator binds; what is looser than its place asks for stands in parentheses.
enum Level {
    LEVEL_VALUE = 0,
    LEVEL_OR,
    LEVEL_AND,
    LEVEL_NOT,
    LEVEL_COMPARE,
    LEVEL_BITS,
    LEVEL_SUM,
    LEVEL_PRODUCT,
    LEVEL_UNARY,
    LEVEL_PRIMARY
};

enum class Form {
    Name,     // for people alone: NAME(operands)
    Literal,  // a value
    Infix,    // two operands; the left one may be of the same level
    Compare,  // two operands of LEVEL_BITS
    Chain,    // two or more operands of the next level
    Prefix,   // one operand of the same level
    Between,  // x BETWEEN a AND b
    In,       // x IN (a, b)
    Call,     // name(operands)
    List,     // [operands]
    Assign,   // name = value
    Message,  // {name: value}
};

struct KindRow {
    const char* name;
    const char* symbol;
    Form form;
    Level level;
};

// One row a kind, in the order of their numbers.
constexpr KindRow KINDS[] = {
    {"None", "", Form::Literal, LEVEL_PRIMARY},
    {"COMPARE_EQ", "=", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_NE", "<>", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_LT", "<", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_LE", "<=", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_GT", ">", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_GE", ">=", Form::Compare, LEVEL_COMPARE},
    {"COMPARE_AE", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_SE", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_ME", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_DE", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_BIT_NE", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_BIT_OE", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_BIT_SR", "", Form::Name, LEVEL_PRIMARY},
    {"COMPARE_BIT_SL", "", Form::Name, LEVEL_PRIMARY},
    {"LIST", "", Form::Name, LEVEL_PRIMARY},
    {"AND", "AND", Form::Chain, LEVEL_AND},
    {"OR", "OR", Form::Chain, LEVEL_OR},
    {"NOT", "NOT ", Form::Prefix, LEVEL_NOT},
    {"BITWISE_AND", "&", Form::Infix, LEVEL_BITS},
    {"BITWISE_NOT", "~", Form::Prefix, LEVEL_UNARY},
    {"ADD", "+", Form::Infix, LEVEL_SUM},
    {"SUB", "-", Form::Infix, LEVEL_SUM},
    {"MULT", "*", Form::Infix, LEVEL_PRODUCT},
    {"DIV", "/", Form::Infix, LEVEL_PRODUCT},
    {"CONTAINS", "CONTAINS", Form::Compare, LEVEL_COMPARE},
    {"NOT_CONTAINS", "NOT CONTAINS", Form::Compare, LEVEL_COMPARE},
    {"LIKE", "LIKE", Form::Compare, LEVEL_COMPARE},
    {"NOT_LIKE", "NOT LIKE", Form::Compare, LEVEL_COMPARE},
    {"IN", "IN", Form::In, LEVEL_COMPARE},
    {"NOT_IN", "NOT IN", Form::In, LEVEL_COMPARE},
    {"BETWEEN", "", Form::Between, LEVEL_COMPARE},
    {"VALUE_LIST", "", Form::List, LEVEL_VALUE},
    {"STRING", "", Form::Literal, LEVEL_PRIMARY},
    {"STRING_PTR", "", Form::Literal, LEVEL_PRIMARY},
    {"BINARY_STRING", "", Form::Literal, LEVEL_PRIMARY},
    {"BYTES", "", Form::Literal, LEVEL_PRIMARY},
    {"BYTES_TEXT", "", Form::Literal, LEVEL_PRIMARY},
    {"CSTR", "", Form::Literal, LEVEL_PRIMARY},
    {"UINT", "", Form::Literal, LEVEL_PRIMARY},
    {"INT", "", Form::Literal, LEVEL_PRIMARY},
    {"FLOAT", "", Form::Literal, LEVEL_PRIMARY},
    {"UINT_STRING", "", Form::Literal, LEVEL_PRIMARY},
    {"INT_STRING", "", Form::Literal, LEVEL_PRIMARY},
    {"FLOAT_STRING", "", Form::Literal, LEVEL_PRIMARY},
    {"TIME", "", Form::Literal, LEVEL_PRIMARY},
    {"QUESTION", "", Form::Literal, LEVEL_PRIMARY},
    {"BUFF", "", Form::Literal, LEVEL_PRIMARY},
    {"NULL", "", Form::Literal, LEVEL_PRIMARY},
    {"DEFAULT", "", Form::Name, LEVEL_PRIMARY},
    {"GET", "", Form::Name, LEVEL_PRIMARY},
    {"PUSH", "", Form::Name, LEVEL_PRIMARY},
    {"POP", "", Form::Name, LEVEL_PRIMARY},
    {"SET", "", Form::Name, LEVEL_PRIMARY},
    {"INDEX_RANGE", "", Form::Literal, LEVEL_PRIMARY},
    {"STRUCT", "", Form::Name, LEVEL_PRIMARY},
    {"TREE", "", Form::Name, LEVEL_PRIMARY},
    {"ASSIGN", "", Form::Assign, LEVEL_VALUE},
    {"ASSIGN_LIST", "", Form::Message, LEVEL_VALUE},
    {"COMMA", "", Form::Name, LEVEL_PRIMARY},
    {"UNRESOLVE", "", Form::Literal, LEVEL_PRIMARY},
    {"UNRESOLVE_FILTER", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_USE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_SELECT", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_COLUMN", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_COLUMN_ALIAS", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_COLUMNS", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_FROM", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_INTO", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_USING", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_USE_SLAVE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_USE_MASTER", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_USE_SCAN", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_UPDATE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_QUERY", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_DELETE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_INSERT", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_ON_DUPLICATE_KEY_UPDATE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_VALUES", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_WHERE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_TABLE", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_LIMIT", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_OFFSET", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_SET", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_FUNC_CALL", "", Form::Call, LEVEL_PRIMARY},
    {"CMD_SHOW", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_ORDER_BY", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_ORDER_DESC", "", Form::Name, LEVEL_PRIMARY},
    {"CMD_ORDER_ASC", "", Form::Name, LEVEL_PRIMARY},
};
static_assert(sizeof(KINDS) / sizeof(KINDS[0]) == EXPR_TYPE_MAX, "one row a kind");

// Null for a number that is no kind.
const KindRow* RowOf(ExprType type) {
    const int32_t number = static_cast<int32_t>(type);
    return number >= 0 && number < EXPR_TYPE_MAX ? &KINDS[number] : nullptr;
}

std::string FieldText(const PbField& pb) {
    if (pb.pFieldDesc == nullptr) {
        return "(message)";
    }
    std::string text(pb.pFieldDesc->full_name());
    if (pb.isArrayElement) {
        text += "[" + std::to_string(pb.idxBegin) + "]";
    } else if (pb.isArrayRange) {
        text += "[" + std::to_string(pb.idxBegin) + ".." + std::to_string(pb.idxEnd) + "]";
    }
    return text;
}

void AppendLiteral(const ExprVariant& value, std::string& out) {
    switch (value.m_type) {
        case EXPR_NULL:
            out += "null";
            return;
        case EXPR_UINT:
            if ((value.m_flags & EXPR_FLAG_BOOL) != 0) {
                out += value.m_data.valUInt64 != 0 ? "true" : "false";
                return;
            }
            out += std::to_string(value.m_data.valUInt64);
            return;
        case EXPR_INT:
        case EXPR_TIME:
            out += std::to_string(value.m_data.valInt64);
            return;
        case EXPR_FLOAT:
            AppendDouble(value.m_data.valFloat, out);
            return;
        case EXPR_UINT_STRING:
        case EXPR_INT_STRING:
        case EXPR_FLOAT_STRING:
        case EXPR_INDEX_RANGE:
            AppendName(value.m_str, out);
            return;
        case EXPR_STRING:
        case EXPR_BINARY_STRING:
        case EXPR_BYTES_TEXT:
            AppendQuoted(value.m_str, out);
            return;
        case EXPR_BYTES:
            AppendBytes(value.m_str.data(), value.m_str.size(), out);
            return;
        case EXPR_STRING_PTR:
            if (value.m_data.pStr == nullptr) {
                out += "null";
                return;
            }
            AppendQuoted(*value.m_data.pStr, out);
            return;
        case EXPR_CSTR:
            if (value.m_data.pCStr == nullptr) {
                out += "null";
                return;
            }
            AppendQuoted(value.m_data.pCStr, out);
            return;
        case EXPR_BUFF:
            AppendBytes(value.m_data.buff.ptr, value.m_data.buff.size, out);
            return;
        case EXPR_QUESTION:
            if (value.m_str.empty()) {
                out += "?";
                return;
            }
            out += ":";
            AppendName(value.m_str, out);
            return;
        case EXPR_UNRESOLVE:
            AppendName((value.m_flags & EXPR_FLAG_NAME) != 0 || !value.m_str.empty() ? value.m_str
                                                                                     : FieldText(value.m_data.pb),
                       out);
            return;
        default:
            out += "None";
            return;
    }
}

// Writes one tree, node by node.
class Writer {
public:
    explicit Writer(std::string& out) : m_out(out) {}

    // `level` is the loosest that may stand here without parentheses.
    void Write(const Expr* node, Level level);

private:
    bool HasOperands(const Expr& node, size_t count) const;
    void WriteForm(const Expr& node, const KindRow& row);
    void WriteInfix(const Expr& node, const char* symbol, Level left, Level right);
    void WriteCompare(const Expr& node, const KindRow& row);
    void WritePrefix(const Expr& node, const KindRow& row);
    void WriteIn(const Expr& node, const KindRow& row);
    void WriteItems(const Expr& node, const char* open, const char* separator, const char* close, Level level);
    void WriteAssign(const Expr& node, const char* separator);
    void WriteName(const Expr& node);

    std::string& m_out;
    int m_depth = 0;
    size_t m_nodes = 0;
};

bool Writer::HasOperands(const Expr& node, size_t count) const {
    if (node.OperandCount() != count) {
        return false;
    }
    for (const Expr* operand : *node.m_operands) {
        if (operand == nullptr) {
            return false;
        }
    }
    return true;
}

void Writer::Write(const Expr* node, Level level) {
    if (node == nullptr) {
        m_out += "(null node)";
        return;
    }
    if (m_depth == MAX_SHOWN_DEPTH || ++m_nodes > MAX_SHOWN_NODES) {
        m_out += "...";
        return;
    }
    const KindRow* const row = RowOf(node->m_self.m_type);
    if (row == nullptr) {
        m_out += node->m_self.ToStr();
        return;
    }
    ++m_depth;
    // A unary minus binds tighter than the binary one, which has its row.
    const bool isUnary = node->OperandCount() == 1 && node->m_self.m_type == EXPR_OP_SUB;
    const bool isBracketed = (isUnary ? LEVEL_UNARY : row->level) < level;
    m_out += isBracketed ? "(" : "";
    WriteForm(*node, *row);
    m_out += isBracketed ? ")" : "";
    --m_depth;
}

void Writer::WriteForm(const Expr& node, const KindRow& row) {
    const Level tighter = static_cast<Level>(row.level + 1);
    switch (row.form) {
        case Form::Literal:
            AppendLiteral(node.m_self, m_out);
            return;
        case Form::Infix:
            if (node.m_self.m_type == EXPR_OP_SUB && HasOperands(node, 1)) {
                return WritePrefix(node, row);
            }
            return HasOperands(node, 2) ? WriteInfix(node, row.symbol, row.level, tighter) : WriteName(node);
        case Form::Compare:
            return HasOperands(node, 2) ? WriteCompare(node, row) : WriteName(node);
        case Form::Chain:
            if (node.OperandCount() < 2 || !HasOperands(node, node.OperandCount())) {
                return WriteName(node);
            }
            return WriteItems(node, "", row.level == LEVEL_AND ? " AND " : " OR ", "", tighter);
        case Form::Prefix:
            return HasOperands(node, 1) ? WritePrefix(node, row) : WriteName(node);
        case Form::Between:
            if (!HasOperands(node, 3)) {
                return WriteName(node);
            }
            Write(node.Operand(0), LEVEL_BITS);
            m_out += " BETWEEN ";
            Write(node.Operand(1), LEVEL_BITS);
            m_out += " AND ";
            Write(node.Operand(2), LEVEL_BITS);
            return;
        case Form::In:
            return HasOperands(node, 2) ? WriteIn(node, row) : WriteName(node);
        case Form::Call:
            AppendName(node.m_self.m_str, m_out);
            return WriteItems(node, "(", ", ", ")", LEVEL_OR);
        case Form::List:
            return WriteItems(node, "[", ", ", "]", LEVEL_VALUE);
        case Form::Assign:
            return WriteAssign(node, " = ");
        case Form::Message:
            return WriteItems(node, "{", ", ", "}", LEVEL_VALUE);
        case Form::Name:
            break;
    }
    WriteName(node);
}

void Writer::WriteInfix(const Expr& node, const char* symbol, Level left, Level right) {
    Write(node.Operand(0), left);
    m_out += ' ';
    m_out += symbol;
    m_out += ' ';
    Write(node.Operand(1), right);
}

void Writer::WriteCompare(const Expr& node, const KindRow& row) {
    const bool isNull = node.OperandRef(1).m_self.m_type == EXPR_NULL;
    const ExprType type = node.m_self.m_type;
    if (isNull && (type == EXPR_COMPARE_EQ || type == EXPR_COMPARE_NE)) {
        Write(node.Operand(0), LEVEL_BITS);
        m_out += type == EXPR_COMPARE_EQ ? " IS NULL" : " IS NOT NULL";
        return;
    }
    WriteInfix(node, row.symbol, LEVEL_BITS, LEVEL_BITS);
}

void Writer::WritePrefix(const Expr& node, const KindRow& row) {
    m_out += row.symbol;
    const size_t begin = m_out.size();
    const bool isMinus = node.m_self.m_type == EXPR_OP_SUB;
    Write(node.Operand(0), isMinus ? LEVEL_UNARY : row.level);
    // "-5" is a number and "--" a comment: a space keeps the minus an operator.
    const ExprType operand = node.OperandRef(0).m_self.m_type;
    if (isMinus && begin < m_out.size() &&
        (m_out[begin] == '-' || (m_out[begin] >= '0' && m_out[begin] <= '9') || operand == EXPR_FLOAT)) {
        m_out.insert(begin, 1, ' ');
    }
}

void Writer::WriteIn(const Expr& node, const KindRow& row) {
    Write(node.Operand(0), LEVEL_BITS);
    m_out += ' ';
    m_out += row.symbol;
    m_out += ' ';
    if (node.OperandRef(1).m_self.m_type == EXPR_VALUE_LIST) {
        return WriteItems(node.OperandRef(1), "(", ", ", ")", LEVEL_OR);
    }
    Write(node.Operand(1), LEVEL_PRIMARY);
}

void Writer::WriteItems(const Expr& node, const char* open, const char* separator, const char* close, Level level) {
    m_out += open;
    for (size_t i = 0; i < node.OperandCount(); ++i) {
        m_out += i == 0 ? "" : separator;
        const Expr* const item = (*node.m_operands)[i];
        if (item != nullptr && node.m_self.m_type == EXPR_ASSIGN_LIST && item->m_self.m_type == EXPR_ASSIGN) {
            WriteAssign(*item, ": ");
        } else {
            Write(item, level);
        }
    }
    m_out += close;
}

void Writer::WriteAssign(const Expr& node, const char* separator) {
    const std::string& name = node.m_self.m_str;
    const bool hasKey = node.m_children != nullptr && !node.m_children->empty();
    if (hasKey && name.empty()) {
        Write(node.m_children->front(), LEVEL_PRIMARY);
    } else if (!hasKey && ParseBuilder::IsBoolWord(name)) {
        // Without backticks it would be a map's key too.
        m_out += '`' + name + '`';
    } else {
        AppendName(name, m_out);
    }
    m_out += separator;
    if (node.OperandCount() == 1) {
        return Write(node.Operand(0), LEVEL_VALUE);
    }
    WriteItems(node, "(", ", ", ")", LEVEL_VALUE);
}

// A node that no text means: its kind with what is below it.
void Writer::WriteName(const Expr& node) {
    m_out += RowOf(node.m_self.m_type)->name;
    if (!node.m_self.m_str.empty()) {
        m_out += ' ';
        AppendName(node.m_self.m_str, m_out);
    }
    WriteItems(node, "(", ", ", ")", LEVEL_VALUE);
}

}  // namespace

std::string ExprVariant::ToStr() const {
    std::string out;
    const KindRow* const row = RowOf(m_type);
    if (row == nullptr) {
        return "kind " + std::to_string(static_cast<int32_t>(m_type));
    }
    if (row->form == Form::Literal) {
        AppendLiteral(*this, out);
        return out;
    }
    if (m_type == EXPR_ASSIGN || m_type == EXPR_CMD_FUNC_CALL) {
        AppendName(m_str, out);
        return out;
    }
    return row->name;
}

std::string Expr::ToStr() const {
    std::string out;
    Writer(out).Write(this, LEVEL_VALUE);
    return out;
}

}  // namespace OstraneCommon
