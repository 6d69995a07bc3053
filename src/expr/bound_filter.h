// Conditions and values bound to a schema: every name looked up, every type checked, every literal and
// parameter converted once, before the first record is read.
//
//   // qty < :limit AND state = 'OPEN', asked of the elements of demo.Player.items
//   ExprBindings parameters;
//   parameters.Set("limit", limit);
//   BoundExpr filter;
//   int ret = BoundExpr::BindCondition(where, ExprScope::OfElements(itemsField, playerDescriptor), parameters,
//                                      filter, error);
//   ...
//   ret = filter.FindMatches(&player, player, ranges, vecMatch, matchCount, minMatch, error);
//
// A bound expression is immutable: one may be used for many records, by several threads at a time. The
// descriptors must outlive it, the tree and the parameters need not.
#ifndef OSTRANE_EXPR_BOUND_FILTER_H_
#define OSTRANE_EXPR_BOUND_FILTER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/expr.h"
#include "expr/parse_context.h"

namespace google {
namespace protobuf {
class Descriptor;
class EnumDescriptor;
}  // namespace protobuf
}  // namespace google

namespace OstraneCommon {

// The values of a statement's parameters.
class ExprBindings {
public:
    // `value` is of a kind that a literal has, or EXPR_NULL; its text is copied. An EXPR_BYTES_TEXT is base64:
    // it stands for its bytes where it meets bytes, and for itself elsewhere.
    void Set(const std::string& name, const ExprVariant& value);  // :name
    void Set(uint64_t number, const ExprVariant& value);          // the number-th `?`, from 1
    // A list, for IN and for list literals.
    void SetList(const std::string& name, const std::vector<ExprVariant>& items);
    void SetList(uint64_t number, const std::vector<ExprVariant>& items);

    // The value of an EXPR_QUESTION, or null when it has none. A list is an EXPR_VALUE_LIST whose
    // m_data.ptr is a const std::vector<ExprVariant>*, valid while these bindings or a copy live.
    const ExprVariant* Find(const ExprVariant& question) const;

private:
    struct Binding {
        ExprVariant value;
        std::shared_ptr<const std::vector<ExprVariant>> items;
    };
    std::map<std::string, Binding> m_named;
    std::map<uint64_t, Binding> m_numbered;
};

// What names mean.
struct ExprScope {
    // `$$.name` is a field of it; null: there is no record.
    const google::protobuf::Descriptor* record = nullptr;
    // A bare name is a field of it; null: bare names are the record's.
    const google::protobuf::Descriptor* element = nullptr;
    // `$` is an element of this repeated field, or the value of this singular one; null: `$` is the
    // message `element`, or nothing at all when that is null too.
    const google::protobuf::FieldDescriptor* self = nullptr;
    // Where `$.name` is a field of a message that lies in the record: the singular fields that lead to it. Empty:
    // `$.name` is a field of what `$` is.
    std::vector<const google::protobuf::FieldDescriptor*> selfPath;

    // Asked of the elements of a repeated field: a filter.
    static ExprScope OfElements(const google::protobuf::FieldDescriptor* field,
                                const google::protobuf::Descriptor* record);
};

// What one evaluation reads. Only what the scope has need be set.
struct ExprRow {
    const google::protobuf::Message* record = nullptr;
    // The message that bare names are fields of; also `$` when that is a message element.
    const google::protobuf::Message* element = nullptr;
    // The message that holds the scope's `self`, when that is no repeated message field.
    const google::protobuf::Message* owner = nullptr;
    // Whether a null element or owner is one that is not there, such as an unset message: what is read from
    // it is NULL. Otherwise reading from it is an error.
    bool isAbsentNull = false;
    // Which element of a repeated `self`.
    int index = 0;
};

enum class ValueKind { Null, Bool, Integer, Double, Text, Bytes, Enum, Message, List, Map };

// What a bound expression gives.
struct ValueType {
    ValueKind kind = ValueKind::Null;
    bool mayBeNull = false;
    const google::protobuf::EnumDescriptor* enumType = nullptr;  // of Enum, and of a List of them
    const google::protobuf::Descriptor* messageType = nullptr;   // of Message, where it is known
};

class BoundProgram;

class BoundExpr {
public:
    // Binds a value or a condition. Returns 0, or a negative code with the reason and the place in
    // `error` (line and column are left to LocateError) and `out` untouched:
    //   COMMON_ERR_INVALID_FIELD_NAME   a name that is not there, a parameter without a value
    //   COMMON_ERR_INVALID_EXPR_TYPE    operands that do not fit, a tree that is no expression
    static int Bind(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, BoundExpr& out,
                    ExprError& error);
    // The same for a condition; what gives no truth value is a type error. EXPR_NONE is always true.
    static int BindCondition(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, BoundExpr& out,
                             ExprError& error);

    // False for a default-constructed one, of which nothing else may be asked.
    bool IsBound() const { return m_program != nullptr; }
    ValueType Type() const;
    // Whether it reads no field at all, so that one evaluation serves every row.
    bool IsConstant() const;

    // The value for one row: EXPR_NULL; EXPR_UINT 0 or 1 with EXPR_FLAG_BOOL; EXPR_INT (negative) or
    // EXPR_UINT; EXPR_FLOAT; EXPR_STRING or EXPR_BYTES; an enum value is its number as EXPR_UINT or
    // EXPR_INT with its name, where it has one, in m_str. A message, list or map is a type error.
    // Returns 0, or COMMON_ERR_INVALID_EXPR_TYPE for overflow and division by zero.
    int Calculate(const ExprRow& row, ExprVariant& out, ExprError& error) const;
    // Whether a condition is true, rather than false or NULL.
    int Test(const ExprRow& row, bool& isTrue, ExprError& error) const;
    // The elements of `owner`'s scope.self, a repeated field, that lie in `ranges` and for which the
    // condition is true; the outputs are those of Expr::FindArrayMatchPositions. `record` may be null
    // when the scope has none.
    int FindMatches(const google::protobuf::Message* record, const google::protobuf::Message& owner,
                    const IndexRangeList& ranges, std::vector<bool>& vecMatch, int& matchCount, int& minMatch,
                    ExprError& error) const;

private:
    static int BindAs(const Expr& expr, const ExprScope& scope, const ExprBindings& parameters, bool isCondition,
                      BoundExpr& out, ExprError& error);

    std::shared_ptr<const BoundProgram> m_program;
};

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_BOUND_FILTER_H_
