// Index ranges against an array of known size.
#ifndef OSTRANE_EXPR_ARRAY_MATCH_H_
#define OSTRANE_EXPR_ARRAY_MATCH_H_

#include <algorithm>
#include <cstdint>
#include <utility>

#include "common/expr.h"

namespace OstraneCommon {

// Elements begin .. end - 1; none when they are equal.
struct ElementRun {
    int begin;
    int end;
};

// The elements of an array of `size` that one range of an IndexRangeList selects.
//
//   (-2, -1) of 9 elements  ->  7 .. 9
inline ElementRun ClipRange(const std::pair<int32_t, int32_t>& range, int size) {
    const int64_t first = range.first < 0 ? std::max<int64_t>(int64_t{range.first} + size, 0) : int64_t{range.first};
    const int64_t last =
        range.second < 0 ? int64_t{range.second} + size : std::min<int64_t>(range.second, int64_t{size} - 1);
    if (first > last) {
        return {0, 0};
    }
    return {static_cast<int>(first), static_cast<int>(last + 1)};
}

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_ARRAY_MATCH_H_
