// Conditions on numbers in a row, 64 elements at a time.
#ifndef OSTRANE_EXPR_EVAL_MASK_H_
#define OSTRANE_EXPR_EVAL_MASK_H_

#include <vector>

#include "expr/eval_node.h"

namespace OstraneCommon {

// `$ op constant` over the elements of `self`; null when they are no numbers or bools, or the constant is
// not of their kind.
MaskPtr MakeComparisonMask(ExprType op, const Value& constant, const google::protobuf::FieldDescriptor* self);
// EXPR_AND or EXPR_OR over masks; null when one of them is.
MaskPtr MakeConnectiveMask(ExprType op, std::vector<MaskPtr> masks);
MaskPtr MakeNotMask(MaskPtr mask);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_EVAL_MASK_H_
