// A statement list after every check that needs no record: what execution walks. Immutable.
//
// The text, and the trees that parameters may still change, are kept in the list; every other structure
// points into descriptors alone.
#ifndef OSTRANE_RECORD_COMPILED_STATEMENTS_H_
#define OSTRANE_RECORD_COMPILED_STATEMENTS_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "expr/bound_filter.h"
#include "expr/statement.h"
#include "record/failure.h"
#include "record/field_value.h"
#include "record/statement_plan.h"
#include "record/value_expr.h"

namespace OstraneRecord {

// A number of the text, or the parameter that gives it.
struct PlanIndex {
    int32_t value = 0;
    int slot = -1;  // of BoundValues::indexes; -1: `value` is it
    Place place;
};

enum class SubscriptKind { None, Index, Key, Ranges };

// a..b, a.., ..b, a or *: both ends inclusive.
struct PlanRange {
    PlanIndex first;
    PlanIndex last;
    bool isLone = false;  // `last` is not read
};

// A field on the way, with what stands in brackets behind it.
struct PlanStep {
    const google::protobuf::FieldDescriptor* field = nullptr;
    // Of the field: asking it costs a short statement more than a look here.
    bool isMap = false;
    bool isMessage = false;
    Place place;
    SubscriptKind subscript = SubscriptKind::None;
    PlanIndex index;                // Index
    FieldValue key;                 // Key
    int keySlot = -1;               // of BoundValues::values; -1: `key` is it
    std::vector<PlanRange> ranges;  // Ranges
    Place subscriptPlace;

    // Positions are written behind it.
    bool HasSelector() const { return subscript == SubscriptKind::Index || subscript == SubscriptKind::Ranges; }
    bool IsMapValue() const { return subscript == SubscriptKind::Key; }
    // What stands there: of a map entry its value's field, of everything else the field itself.
    const google::protobuf::FieldDescriptor* ValueField() const {
        return IsMapValue() ? field->message_type()->FindFieldByNumber(2) : field;
    }
    // A whole repeated field, or a whole map.
    bool IsWholeArray() const { return field->is_repeated() && subscript == SubscriptKind::None; }
    // The message type behind the step, null when that is none.
    const google::protobuf::Descriptor* MessageType() const { return ValueField()->message_type(); }
};

using PlanPath = std::vector<PlanStep>;

struct ValueNode;

// One member of a message literal, or one entry of a map literal.
struct ValueMember;

// A value as written, checked against the field that takes it.
struct ValueNode {
    enum class Kind {
        Null,       // leaves unset, or clears
        Constant,   // `constant`
        Parameter,  // BoundValues::values[slot]
        Computed,   // CompiledStatement::computed[slot]
        Message,    // `members`
        Entries,    // `members` with keys
        List,       // `items`
    };
    Kind kind = Kind::Null;
    // The field that takes it; one element of it when the field is repeated and this is no list.
    const google::protobuf::FieldDescriptor* field = nullptr;
    Place place;
    FieldValue constant;
    int slot = -1;
    std::vector<ValueMember> members;
    std::vector<ValueNode> items;
};

struct ValueMember {
    const google::protobuf::FieldDescriptor* field = nullptr;  // of a map entry: the value's field
    FieldValue key;
    int keySlot = -1;
    ValueNode value;
};

// An expression that is calculated for a record, or for an element of it.
struct PlanExpr {
    OstraneCommon::Expr* tree = nullptr;
    OstraneCommon::ExprScope scope;
    OstraneCommon::BoundExpr bound;  // unbound while it waits for parameters
    int slot = -1;                   // then of BoundValues::expressions
    Place place;
};

// A value that is calculated: where it goes, and from where it starts.
struct ComputedValue {
    PlanExpr expr;
    const google::protobuf::FieldDescriptor* field = nullptr;
    std::string shown;  // the field's name, or of an entry's value the entry, as errors show it
    // The singular message fields from the element, or the message that holds the field that is set, to the
    // message that holds `field`.
    std::vector<const google::protobuf::FieldDescriptor*> chain;
    bool isEnumNumber = false;
};

// What execution does.
enum class PlanForm {
    GetElements,
    TakeElements,
    PopElements,
    GetSingular,    // also of a map's value
    GetEntries,     // a whole map
    SetElements,    // path[sel] = value
    SetEach,        // path[sel].tail = value
    SetField,       // a singular field, or a map's value
    SetList,        // a whole repeated field
    SetMapEntries,  // a whole map's entries
    SetRunFrom,
    SetFieldFrom,
    PushValues,
    PushFrom,
    ClearField,
    ClearMapValue,
};

struct CompiledStatement {
    OstraneCommon::StatementKind kind = OstraneCommon::StatementKind::Get;
    PlanForm form = PlanForm::GetElements;
    int number = 0;
    Place place;
    std::string text;
    // To the field that the statement is about. Of SetEach to the repeated field whose elements are
    // changed, with the rest in `tail`; of SetField, SetList and SetMapEntries `tail` is the whole path.
    PlanPath path;
    PlanPath tail;
    int where = -1;                    // of `conditions`; -1: none
    ValueNode value;                   // '='
    PlanPath from;                     // FROM
    std::vector<PlanExpr> conditions;  // at most one
    std::vector<ComputedValue> computed;
    // Of FROM with messages: their type may lack required fields, and may hold itself.
    bool mayLackRequired = false;
    bool mayNestDeeper = false;

    // The field whose presence and size the result tells.
    const google::protobuf::FieldDescriptor* Field() const { return path.back().field; }
};

// What a parameter must be converted to, once a use.
struct ParameterUse {
    enum class Kind {
        Index,  // to BoundValues::indexes[slot]
        Key,    // to BoundValues::values[slot]
        Value,  // one value, or null where `takesNull`, or a list where `takesList`
    };
    Kind kind = Kind::Value;
    const OstraneCommon::Expr* question = nullptr;
    const google::protobuf::FieldDescriptor* field = nullptr;
    int slot = -1;
    bool takesNull = false;
    bool takesSingle = true;
    bool takesList = false;
    int statement = 0;
    Place place;
};

// The members of one oneof that one literal names, but those that are null: all but one parameters. Once these
// have their values, at most one member may be set.
struct OneofUse {
    struct Member {
        const google::protobuf::FieldDescriptor* field = nullptr;
        int slot = -1;  // of BoundValues::values; -1: always set
        Place place;
    };
    std::vector<Member> members;
    int statement = 0;
};

// An expression that reads parameters.
struct ExpressionUse {
    int statement = 0;  // index into CompiledStatements::statements
    bool isCondition = false;
    int index = 0;  // into its conditions or computed values
    int slot = -1;
};

struct CompiledStatements {
    std::string text;
    const google::protobuf::Descriptor* descriptor = nullptr;
    // Of the generated class, whose type tells a record's faster than the record's descriptor; null when there is
    // none.
    const std::type_info* generatedClass = nullptr;
    const google::protobuf::Reflection* generatedReflection = nullptr;
    StatementOptions options;
    OstraneCommon::ExprParseContext context;
    OstraneCommon::StatementList list;
    std::vector<CompiledStatement> statements;
    std::vector<ParameterUse> parameterUses;
    std::vector<OneofUse> oneofUses;
    std::vector<ExpressionUse> expressionUses;
    int indexSlots = 0;
    int valueSlots = 0;
};

// What one parameter became for one use.
struct BoundValue {
    enum class Kind { Null, Single, List };
    Kind kind = Kind::Null;
    FieldValue single;
    std::vector<FieldValue> list;
};

// The parameters of one BoundPlan, converted, and what no record changes any more.
struct BoundValues {
    std::vector<int32_t> indexes;
    std::vector<BoundValue> values;
    std::vector<OstraneCommon::BoundExpr> expressions;
    // By statement: of a PUSH of one element, or a SET of one position, that is known, the operation's tree;
    // null, or no list at all, where it is made when the statement runs.
    std::vector<std::unique_ptr<AssignExpr>> trees;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_COMPILED_STATEMENTS_H_
