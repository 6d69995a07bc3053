// What a compiled statement will do, in words.
#ifndef OSTRANE_RECORD_PLAN_DESCRIBE_H_
#define OSTRANE_RECORD_PLAN_DESCRIBE_H_

#include <string>

#include "record/compiled_statements.h"

namespace OstraneRecord {

// One line:
//   remove the elements of demo.Player.items at [*] where qty < 5
std::string DescribeStatement(const CompiledStatements& compiled, const CompiledStatement& statement);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_PLAN_DESCRIBE_H_
