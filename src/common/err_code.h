// The result codes that every operation returns: 0 for success, a negative code for failure.
//
// A code is formed from a module number and a number local to that module:
//
//   error          -((number << 8) | module)      ErrorCode(25, 18) == -4633
//   informational  +((number << 8) | module)
//
// so that a code names the module that raised it wherever it is seen.
#ifndef OSTRANE_COMMON_ERR_CODE_H_
#define OSTRANE_COMMON_ERR_CODE_H_

namespace OstraneErrCode {

// Modules are 0 .. 63.
constexpr int MAX_MODULE_NUM = 64;
// Local numbers of errors are 1 .. 255.
constexpr int MAX_NEGATIVE_ERR_CODE_NUM_PER_MODULE = 256;
// At most this many informational codes a module.
constexpr int MAX_POSITIVE_ERR_CODE_NUM_PER_MODULE = 16;

// The generic module, and the module of the field operations.
constexpr int MODULE_GENERIC = 0;
constexpr int MODULE_COMMON = 25;

// The error code of `number` (1 .. 255) in `module` (0 .. 63).
constexpr int ErrorCode(int module, int number) {
    return -((number << 8) | module);
}

// The informational code of `number` in `module`.
constexpr int InfoCode(int module, int number) {
    return (number << 8) | module;
}

// An object that reflection should have produced is null, or a source value is missing.
constexpr int GEN_ERR_ERR = ErrorCode(MODULE_GENERIC, 1);
// A message lacks required fields.
constexpr int COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE = ErrorCode(MODULE_COMMON, 2);
// The value part of an expression has the wrong shape.
constexpr int COMMON_ERR_INVALID_EXPR_SYNTAX = ErrorCode(MODULE_COMMON, 17);
// An index, a range or a count does not fit the array.
constexpr int COMMON_ERR_INVALID_ARRAY_INDEX = ErrorCode(MODULE_COMMON, 18);
// A field does not exist, or source and target do not describe the same field.
constexpr int COMMON_ERR_INVALID_FIELD_NAME = ErrorCode(MODULE_COMMON, 19);
// A field type or a value kind is not handled.
constexpr int COMMON_ERR_INVALID_EXPR_TYPE = ErrorCode(MODULE_COMMON, 20);

// Callers store and compare the numbers, so they never change.
static_assert(GEN_ERR_ERR == -256, "result code moved");
static_assert(COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE == -537, "result code moved");
static_assert(COMMON_ERR_INVALID_EXPR_SYNTAX == -4377, "result code moved");
static_assert(COMMON_ERR_INVALID_ARRAY_INDEX == -4633, "result code moved");
static_assert(COMMON_ERR_INVALID_FIELD_NAME == -4889, "result code moved");
static_assert(COMMON_ERR_INVALID_EXPR_TYPE == -5145, "result code moved");

}  // namespace OstraneErrCode

#endif  // OSTRANE_COMMON_ERR_CODE_H_
