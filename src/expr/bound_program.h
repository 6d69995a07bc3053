// What binding makes of a tree, and how one is searched with.
#ifndef OSTRANE_EXPR_BOUND_PROGRAM_H_
#define OSTRANE_EXPR_BOUND_PROGRAM_H_

#include <list>
#include <string>
#include <vector>

#include "expr/bound_filter.h"
#include "expr/eval_node.h"

namespace OstraneCommon {

class BoundProgram {
public:
    ExprScope scope;
    NodePtr root;                  // null: a condition that is always true
    MaskPtr mask;                  // the root over the numbers of scope.self, when masks can do it
    std::list<std::string> texts;  // of constants
    size_t slotCount = 0;          // of values that are kept over a search
};

// Where values come from that the tree does not hold. Each may be missing.
struct BindSource {
    const ExprBindings* parameters = nullptr;
    // Asked for parameters that are not in `parameters`, and for the names of a record that the scope has
    // no descriptor of. What it answers is taken as it is now.
    ExprResolver* resolver = nullptr;
};

// As BoundExpr::Bind and BoundExpr::BindCondition.
int BindProgram(const Expr& expr, const ExprScope& scope, const BindSource& source, bool isCondition, BoundProgram& out,
                ExprError& error);

// As BoundExpr::FindMatches, for program.scope.self as a field of `owner`.
int SearchProgram(const BoundProgram& program, const google::protobuf::Message* record,
                  const google::protobuf::Message& owner, const IndexRangeList& ranges, std::vector<bool>& vecMatch,
                  int& matchCount, int& minMatch, ExprError& error);

// One evaluation of the root; its texts live until `context` ends.
int EvalProgram(const BoundProgram& program, EvalContext& context, Value& out);

// The value as the operations take it; of an enum the number, and its name in m_str.
ExprVariant VariantOf(const Value& value, const ValueType& type);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_BOUND_PROGRAM_H_
