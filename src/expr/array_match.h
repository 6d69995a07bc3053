// Index ranges against an array of known size.
#ifndef OSTRANE_EXPR_ARRAY_MATCH_H_
#define OSTRANE_EXPR_ARRAY_MATCH_H_

#include <vector>

#include "common/expr.h"

namespace OstraneCommon {

// Elements begin .. end - 1.
struct ElementRun {
    int begin;
    int end;
};

// The elements of an array of `size` that the ranges select, as ascending runs that neither touch nor
// overlap.
//
//   {(0,2), (-1,-1), (1,3)} of 9 elements  ->  0 .. 4, 8 .. 9
std::vector<ElementRun> SelectedRuns(const IndexRangeList& ranges, int size);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_ARRAY_MATCH_H_
