// What the tests of pop and get share.
#ifndef OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_
#define OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_

#include <string>
#include <utility>
#include <vector>

#include "operation_fixture.h"

using OstraneCommon::Expr;
using OstraneCommon::IndexRangeList;
using Positions = std::vector<int>;

class SelectionTest : public OperationTest {
protected:
    int PopWithExpr(MutableProtobufField field, Expr& expr) { return Util().PopWithExpr(field, expr); }
    int PopWithRange(MutableProtobufField field, IndexRangeList ranges, Expr* filter = nullptr) {
        return Util().PopWithRange(field, ranges, filter);
    }
    int Get(MutableProtobufField src, bool isMutableSrc, IndexRangeList ranges, Expr* filter, MutableProtobufField dst,
            Positions* positions = nullptr) {
        ProtobufField source = {src.m_pParent, src.m_pFieldDesc};
        return Util().GetWithRange(source, isMutableSrc, ranges, filter, dst, positions);
    }

    // `name < value` over message elements; `$ < value` with the name "$".
    Expr* Less(const std::string& name, int64_t value) {
        return m_tree.Node(OstraneCommon::EXPR_COMPARE_LT, "", {m_tree.Name(name), m_tree.Int(value)});
    }
    // A condition that no element can be asked: the name does not exist.
    Expr* Failing() { return Less("nowhere", 1); }
};

#endif  // OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_
