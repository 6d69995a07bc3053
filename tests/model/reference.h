// The rules of all operations once more, on plain vectors: copy, insert, erase. No swaps of a container, no
// reflection; slow and too simple to be wrong.
//
//   Reference reference;
//   const int code = reference.PopWithRange({node, field}, ranges, filter);
//   reference.lines                  // what the operation logs, in order
#ifndef OSTRANE_TESTS_MODEL_REFERENCE_H_
#define OSTRANE_TESTS_MODEL_REFERENCE_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/expr.h"
#include "model/model_record.h"

namespace model {

using Ranges = std::vector<std::pair<int32_t, int32_t>>;

// A field to write to, or with a null field the whole message.
struct Target {
    Node* parent;
    const google::protobuf::FieldDescriptor* field;
};

// A field to copy from, a run of its elements, or with a null field the whole message.
struct Source {
    Node* message;
    const google::protobuf::FieldDescriptor* field;
    bool isMutable;
    bool isRange;
    int begin;
    int end;
};

// A value of an expression.
struct Literal {
    enum class Kind { Int, UInt, Bool, Float, IntText, Text, TextPointer, NullPointer, Null };
    Kind kind;
    int64_t int64;
    uint64_t uint64;
    double real;
    std::string text;
    std::string shown;  // as log lines show it
    // When it stands in a field: the value above is what that holds.
    bool isField = false;
    OstraneCommon::PbField field = OstraneCommon::PbField();
};

// What stands behind the index of a set or push expression.
struct Entry {
    bool isAssign;
    std::string name;
    bool hasValue;
    Literal value;
};

// A set or push expression.
struct ElementExpr {
    bool hasIndex;  // else its first operand is a number
    std::string index;
    bool hasOperands;  // else it has not even an index
    std::vector<Entry> entries;
    std::string shown;  // the whole expression, as log lines show it
};

// A condition on elements.
struct Filter {
    enum class Kind {
        None,    // no condition
        Always,  // one that holds for every element
        Less,    // element or its field is less than a number
        Equal,   // is equal to a text
        Failing  // names a field that is not there
    };
    Kind kind;
    const google::protobuf::FieldDescriptor* subField;  // null: the element itself
    int number;
    std::string text;
};

// A pop expression.
struct SelectExpr {
    bool hasOperands;
    bool hasRange;  // else its first operand is a number
    std::string rangeText;
    bool isRangeValid;
    Ranges ranges;
    Filter filter;
    std::string shownFirst;  // the first operand, as log lines show it
};

class Reference {
public:
    virtual ~Reference() = default;

    int SetWithExpr(Target target, const ElementExpr& expr);
    int PushWithExpr(Target target, const ElementExpr& expr);
    int UpdateWithPbField(Target target, OstraneCommon::ExprType type, const Source* source);
    int SetWithPbField(Target target, int idxBegin, int idxEnd, const Source& source);
    int PushWithPbField(Target target, int pos, const Source& source);
    int PopWithExpr(Target target, const SelectExpr& expr);
    int PopWithRange(Target target, const Ranges& ranges, const Filter& filter);
    int GetWithRange(Target source, bool isMutable, const Ranges& ranges, const Filter& filter, Target target,
                     std::vector<int>* positions);

    // "PRIORITY file function: text"; a line that ends in "*" stands for any ending.
    std::vector<std::string> lines;

protected:
    // The pass of a push: the last element comes to `pos`. Wrong references override it.
    virtual void MoveLastTo(Values& elements, int pos) const;

private:
    int Error(const char* file, const std::string& function, const std::string& text, int code);
    void Debug(const std::string& function, const std::string& text);
    int ElementValue(const std::string& function, const ElementExpr& expr, const Literal*& value);
    int Cast(const std::string& operation, const google::protobuf::FieldDescriptor* field, const Literal& literal,
             Value& out);
    int AssignField(Node& node, const google::protobuf::FieldDescriptor* field, const Literal& literal);
    int AssignEntries(const std::string& function, Node& element, const std::vector<Entry>& entries);
    int ReplaceMessage(Target target, const Source& source);
    int ReplaceSingular(Target target, const Source& source);
    void Take(Node& target, const Source& source);
    int Select(const Node& node, const google::protobuf::FieldDescriptor* field, const Ranges& ranges,
               const Filter& filter, std::vector<int>& selected);
};

// The number that a text is, when it is one from `lowest` to `highest`.
bool ParseIndex(const std::string& text, int lowest, int highest, int& out);
// Exchanges what an element of one field and an element of another, or the same, hold.
void ExchangeElements(Node& a, const google::protobuf::FieldDescriptor* aField, int i, Node& b,
                      const google::protobuf::FieldDescriptor* bField, int j);

}  // namespace model

#endif  // OSTRANE_TESTS_MODEL_REFERENCE_H_
