// What a step's bytes choose: values, indexes, ranges, conditions, and the trees that say the same to the
// operations.
#ifndef OSTRANE_TESTS_MODEL_CHOICES_H_
#define OSTRANE_TESTS_MODEL_CHOICES_H_

#include <string>
#include <vector>

#include "model/reference.h"
#include "model/sequence.h"
#include "support/expr_tree.h"

namespace model {

// Reads a step byte by byte; behind its end come zeros.
class Chooser {
public:
    explicit Chooser(const Step& step) : m_step(step) {}

    // 0 .. count - 1.
    int Next(int count) { return m_next < m_step.size() ? m_step[m_next++] % count : 0; }
    bool Flag() { return Next(2) != 0; }
    // True once in `count`.
    bool Rarely(int count) { return Next(count) == count - 1; }
    template <typename T>
    const T& Of(const std::vector<T>& all) {
        return all[static_cast<size_t>(Next(static_cast<int>(all.size())))];
    }

private:
    const Step& m_step;
    size_t m_next = 0;
};

// A set or push expression for a field of `size` elements, mostly of the right shape.
ElementExpr ChooseElementExpr(Chooser& chooser, const google::protobuf::FieldDescriptor* field, int size);
OstraneCommon::Expr& MakeTree(ExprTree& tree, OstraneCommon::ExprType type, const ElementExpr& expr);

Filter ChooseFilter(Chooser& chooser, const google::protobuf::FieldDescriptor* field);
// Null for no condition.
OstraneCommon::Expr* MakeTree(ExprTree& tree, const Filter& filter);

Ranges ChooseRanges(Chooser& chooser);
SelectExpr ChooseSelectExpr(Chooser& chooser, const google::protobuf::FieldDescriptor* field);
OstraneCommon::Expr& MakeTree(ExprTree& tree, const SelectExpr& expr);

std::string Show(const Filter& filter);
std::string Show(const Ranges& ranges);

}  // namespace model

#endif  // OSTRANE_TESTS_MODEL_CHOICES_H_
