// Expressions: values, trees, source fields, the resolver that reads data, and index ranges.
//
// A tree is parsed once and then read by many: the field operations take its operands, a filter is
// evaluated over the elements of an array. A tree may also be put together by hand:
//
//   OstraneCommon::Expr value;                       // 7
//   value.m_self.m_type = OstraneCommon::EXPR_INT;
//   value.m_self.m_data.valInt64 = 7;
//   std::vector<OstraneCommon::Expr*> operands{&value};
//   OstraneCommon::Expr assign;                      // $ = 7
//   assign.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
//   assign.m_self.m_str = "$";
//   assign.m_operands = &operands;
//
// What is not inline here is defined by the expression library that the program links.
#ifndef OSTRANE_COMMON_EXPR_H_
#define OSTRANE_COMMON_EXPR_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace google {
namespace protobuf {
class FieldDescriptor;
class Message;
}  // namespace protobuf
}  // namespace google

namespace OstraneCommon {

// The kind of a node and of a value. The numbers are logged and stored, so they never change.
enum ExprType : int32_t {
    EXPR_NONE = 0,
    EXPR_COMPARE_EQ,
    EXPR_COMPARE_NE,
    EXPR_COMPARE_LT,
    EXPR_COMPARE_LE,
    EXPR_COMPARE_GT,
    EXPR_COMPARE_GE,
    EXPR_COMPARE_AE,
    EXPR_COMPARE_SE,
    EXPR_COMPARE_ME,
    EXPR_COMPARE_DE,
    EXPR_COMPARE_BIT_NE,
    EXPR_COMPARE_BIT_OE,
    EXPR_COMPARE_BIT_SR,
    EXPR_COMPARE_BIT_SL,
    EXPR_LIST,
    EXPR_AND,
    EXPR_OR,
    EXPR_NOT,
    EXPR_BITWISE_AND,
    EXPR_BITWISE_NOT,
    EXPR_OP_ADD,
    EXPR_OP_SUB,
    EXPR_OP_MULT,
    EXPR_OP_DIV,
    EXPR_CONTAINS,
    EXPR_NOT_CONTAINS,
    EXPR_LIKE,
    EXPR_NOT_LIKE,
    EXPR_IN,
    EXPR_NOT_IN,
    EXPR_BETWEEN,
    EXPR_VALUE_LIST,
    EXPR_STRING,
    EXPR_STRING_PTR,
    EXPR_BINARY_STRING,
    EXPR_BYTES,
    EXPR_BYTES_TEXT,
    EXPR_CSTR,
    EXPR_UINT,
    EXPR_INT,
    EXPR_FLOAT,
    EXPR_UINT_STRING,
    EXPR_INT_STRING,
    EXPR_FLOAT_STRING,
    EXPR_TIME,
    EXPR_QUESTION,
    EXPR_BUFF,
    EXPR_NULL,
    EXPR_DEFAULT,
    EXPR_OP_GET,
    EXPR_OP_PUSH,
    EXPR_OP_POP,
    EXPR_OP_SET,
    EXPR_INDEX_RANGE,
    EXPR_STRUCT,
    EXPR_TREE,
    EXPR_ASSIGN,
    EXPR_ASSIGN_LIST,
    EXPR_COMMA,
    EXPR_UNRESOLVE,
    EXPR_UNRESOLVE_FILTER,
    EXPR_CMD_USE,
    EXPR_CMD_SELECT,
    EXPR_CMD_COLUMN,
    EXPR_CMD_COLUMN_ALIAS,
    EXPR_CMD_COLUMNS,
    EXPR_CMD_FROM,
    EXPR_CMD_INTO,
    EXPR_CMD_USING,
    EXPR_CMD_USE_SLAVE,
    EXPR_CMD_USE_MASTER,
    EXPR_CMD_USE_SCAN,
    EXPR_CMD_UPDATE,
    EXPR_CMD_QUERY,
    EXPR_CMD_DELETE,
    EXPR_CMD_INSERT,
    EXPR_CMD_ON_DUPLICATE_KEY_UPDATE,
    EXPR_CMD_VALUES,
    EXPR_CMD_WHERE,
    EXPR_CMD_TABLE,
    EXPR_CMD_LIMIT,
    EXPR_CMD_OFFSET,
    EXPR_CMD_SET,
    EXPR_CMD_FUNC_CALL,
    EXPR_CMD_SHOW,
    EXPR_CMD_ORDER_BY,
    EXPR_CMD_ORDER_DESC,
    EXPR_CMD_ORDER_ASC,
    EXPR_TYPE_MAX,
};

static_assert(EXPR_STRING == 33 && EXPR_UINT == 39 && EXPR_INT == 40 && EXPR_FLOAT == 41, "kind moved");
static_assert(EXPR_NULL == 48 && EXPR_OP_GET == 50 && EXPR_OP_PUSH == 51, "kind moved");
static_assert(EXPR_OP_POP == 52 && EXPR_OP_SET == 53 && EXPR_INDEX_RANGE == 54, "kind moved");
static_assert(EXPR_STRUCT == 55 && EXPR_ASSIGN == 57 && EXPR_ASSIGN_LIST == 58, "kind moved");
static_assert(EXPR_UNRESOLVE == 60 && EXPR_TYPE_MAX == 89, "kind moved");

// Bits of ExprVariant::m_flags.
constexpr uint32_t EXPR_FLAG_BOOL = 1U << 0;  // the EXPR_UINT 0 or 1 is false or true
constexpr uint32_t EXPR_FLAG_NAME = 1U << 1;  // the EXPR_UNRESOLVE is a name, its text in m_str

// A message's field, a run of its elements, one element, or a whole message: the source of a copy.
// An aggregate without initialisers, because it is a member of a union.
struct PbField {
    const void* pMap;  // of the library behind the resolver; null for a message's own field
    const google::protobuf::Message* pMessage;
    const google::protobuf::FieldDescriptor* pFieldDesc;  // null: the whole message
    int32_t idxBegin;                                     // inclusive
    int32_t idxEnd;                                       // inclusive
    bool isMutable;       // the message may be consumed: contents are swapped out of it, not copied
    bool isArrayRange;    // idxBegin .. idxEnd of a repeated field
    bool isArrayElement;  // the one element idxBegin of a repeated field

    // The whole field.
    void SetField(const google::protobuf::Message* message, const google::protobuf::FieldDescriptor* fieldDesc,
                  bool mutableSource) {
        pMap = nullptr;
        pMessage = message;
        pFieldDesc = fieldDesc;
        idxBegin = 0;
        idxEnd = 0;
        isMutable = mutableSource;
        isArrayRange = false;
        isArrayElement = false;
    }

    // Narrows to the elements begin .. end, both inclusive.
    void SetArrayRange(int32_t begin, int32_t end) {
        idxBegin = begin;
        idxEnd = end;
        isArrayRange = true;
        isArrayElement = false;
    }

    // Narrows to one element.
    void SetArrayElementIdx(int32_t index) {
        idxBegin = index;
        idxEnd = index;
        isArrayRange = false;
        isArrayElement = true;
    }
};

// What a value holds, by its kind.
union ExprData {
    int64_t valInt64;         // EXPR_INT, EXPR_TIME
    uint64_t valUInt64;       // EXPR_UINT, and the number of an EXPR_QUESTION, from 1
    double valFloat;          // EXPR_FLOAT
    void* ptr;                // of whoever made the value
    const std::string* pStr;  // EXPR_STRING_PTR
    const char* pCStr;        // EXPR_CSTR
    struct Buffer {
        const void* ptr;
        size_t size;
    } buff;      // EXPR_BUFF
    PbField pb;  // EXPR_UNRESOLVE of a field
    struct NodeRef {
        const void* pNode;
        int32_t index;
    } pbNodeRef;  // of hosts that read undecoded records
    struct TableRef {
        const void* pTable;
        const void* pRow;
    } tdr;  // of hosts that read table rows
    struct SqlRef {
        const void* pStatement;
        int32_t column;
    } sql;  // of hosts that read query results
};

// A value, or a node's own kind and value.
//
// Which kinds a cast takes:
//
//   kind                                               uint64 bits      double           text
//   EXPR_UINT, EXPR_INT, EXPR_TIME                     yes              yes              no
//   EXPR_FLOAT                                         integral and within int64 or uint64
//                                                                       yes              no
//   EXPR_UINT_STRING, EXPR_INT_STRING,                 as the number    as the number    no
//   EXPR_FLOAT_STRING: a number kept as text in m_str
//   EXPR_STRING, EXPR_BINARY_STRING, EXPR_BYTES,       no               no               m_str
//   EXPR_BYTES_TEXT
//   EXPR_STRING_PTR                                    no               no               *pStr, unless null
//   EXPR_UNRESOLVE with a singular field, or one       as its value     as its value     string and bytes
//   element of a repeated one, behind `pb`
//   all others                                         no               no               no
class ExprVariant {
public:
    ExprVariant() : m_type(EXPR_NONE), m_flags(0), m_tokenOffset(0), m_data() {}

    // The value's 64 bits; a negative number's are its two's complement. False, and `val` untouched,
    // when the kind has none.
    bool Cast(uint64_t& val) const;
    // The value as a double, rounded to nearest. False, and `val` untouched, when it is no number.
    bool Cast(double& val) const;
    // The value as a float: the double narrowed.
    bool Cast(float& val) const {
        double wide = 0;
        if (!Cast(wide)) {
            return false;
        }
        val = static_cast<float>(wide);
        return true;
    }
    // Points `val` at the value's text, which stays valid while the variant, and what it points to,
    // lives unchanged. False, and `val` untouched, when the kind has no std::string.
    bool CastRef(const std::string*& val) const;

    // The value's 64 bits narrowed to T by truncation, unchecked: 4294967297 arrives as the int32 1.
    // For bool, whether they are not all zero.
    template <typename T>
    bool CastInt(T& val) const {
        uint64_t bits = 0;
        if (!Cast(bits)) {
            return false;
        }
        val = static_cast<T>(bits);
        return true;
    }

    // A printable text: a literal as the statement language writes it, "None" for EXPR_NONE.
    std::string ToStr() const;

    ExprType m_type;
    uint32_t m_flags;
    int32_t m_tokenOffset;  // in bytes, from the start of the parsed text
    ExprData m_data;
    std::string m_str;  // the text of names, index texts and string values
};

// The ranges of a selector, in the order written. Both ends are inclusive, negative ends count from
// the array's end, and -1 as the end of `a..` reaches the last element. `*` is (0, -1), `..b` is
// (0, b), a lone position p is (p, p). A pair is clipped to the array and a reversed one selects
// nothing. An empty list selects everything.
using IndexRangeList = std::vector<std::pair<int32_t, int32_t>>;

// Parses the text between a selector's brackets, such as "0..2, 7, -3..-1", and appends a pair a
// range. Returns 0, or COMMON_ERR_INVALID_EXPR_SYNTAX and leaves `out` as it was.
int ParseIndexRange(const std::string& text, IndexRangeList& out);

class Expr;
class ExprParseContext;
class ExprResolver;
struct ExprError;

// A node. Owns nothing: a parsed node and its lists belong to the parse context that made them, and
// live as long as it does; a node put together by hand lives as its maker decides.
class Expr {
public:
    Expr() : m_operands(nullptr), m_children(nullptr) {}

    // Parses one value or condition, such as "qty < 5 AND state = 'OPEN'". The nodes live in
    // `context`. Returns 0 and the tree in `expr`, or COMMON_ERR_INVALID_EXPR_SYNTAX, of a function that
    // is not there COMMON_ERR_INVALID_FIELD_NAME, with the place and the reason in `error` and `expr`
    // untouched.
    static int Parse(const std::string& text, ExprParseContext& context, Expr*& expr, ExprError& error);

    // The value of this tree, names and parameters read through `resolver`: a name by Resolve with its
    // whole text ("a.b[3].c"), a parameter by Resolve with its EXPR_QUESTION, arrays by IsArray, ArraySize
    // and ArrayGet, maps by IsMap and MapSize. Every name is read, once, before anything is computed.
    // Returns 0, or a negative code with a reason in `errmsg`. NULL is EXPR_NULL; a condition is EXPR_UINT 0 or 1 with
    // EXPR_FLAG_BOOL.
    int Calculate(ExprResolver& resolver, ExprVariant& out, std::string& errmsg) const;

    // Finds the elements of the repeated field behind `arrayVar` (an EXPR_UNRESOLVE with `pb` set)
    // that lie in `vecRange` and for which this condition is true; an EXPR_NONE condition is true of
    // every element. Returns 0 with one bit an element in `vecMatch`, their number in `matchCount`
    // and the lowest of them in `minMatch`, which is left as it was when there is none. Returns a
    // negative code with a reason in `errmsg` when something cannot be evaluated.
    int FindArrayMatchPositions(ExprResolver& resolver, ExprVariant& arrayVar, IndexRangeList& vecRange,
                                std::vector<bool>& vecMatch, int& matchCount, int& minMatch, std::string& errmsg);

    // A printable text of the whole tree. Of a value or a condition it parses back to the same tree.
    std::string ToStr() const;

    bool IsOperandEmpty() const { return m_operands == nullptr || m_operands->empty(); }
    size_t OperandCount() const { return m_operands == nullptr ? 0 : m_operands->size(); }
    // Operand i, or null when there is no list; i must be below the count otherwise.
    Expr* Operand(int i) { return m_operands == nullptr ? nullptr : (*m_operands)[static_cast<size_t>(i)]; }
    const Expr* Operand(int i) const { return m_operands == nullptr ? nullptr : (*m_operands)[static_cast<size_t>(i)]; }
    // Operand i, which must be there.
    Expr& OperandRef(int i) { return *(*m_operands)[static_cast<size_t>(i)]; }
    const Expr& OperandRef(int i) const { return *(*m_operands)[static_cast<size_t>(i)]; }

    ExprVariant m_self;
    std::vector<Expr*>* m_operands;
    std::vector<Expr*>* m_children;
};

// How evaluation reads, and hosts write, data. A subclass overrides what it supports; the defaults
// say "not supported": -1 or false. ApplyMapUpdate has nothing to apply and succeeds.
class ExprResolver {
public:
    virtual ~ExprResolver();
    // The value that `name` names.
    virtual int Resolve(ExprVariant* name, ExprVariant& out);
    virtual bool Cast(ExprVariant& from, ExprVariant& to);
    virtual bool IsDeltaRecord();
    virtual bool IsStruct(ExprVariant& var);
    virtual bool IsArray(ExprVariant& var);
    virtual bool IsMap(ExprVariant& var);
    virtual int ArraySize(ExprVariant& var);
    virtual int MapSize(ExprVariant& var);
    virtual int ArrayGet(ExprVariant& array, int index, ExprVariant& out);
    virtual int ArrayGetRange(ExprVariant& array, Expr& range, ExprVariant& out);
    virtual int ArrayGetFirst(ExprVariant& array, ExprVariant& out, bool isMutable, bool& isFound);
    virtual int MapFind(ExprVariant& map, Expr& key, ExprVariant& out, bool isMutable, bool& isFound);
    virtual int Update(ExprVariant& target, ExprType op, ExprVariant* value);
    virtual int ArrayUpdate(ExprVariant& array, Expr& index, ExprType op, ExprVariant* value);
    virtual int MapUpdate(ExprVariant& map, Expr& key, ExprType op, ExprVariant* value);
    virtual int ApplyMapUpdate(ExprVariant& var);
};

}  // namespace OstraneCommon

#endif  // OSTRANE_COMMON_EXPR_H_
