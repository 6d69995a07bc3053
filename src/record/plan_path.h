// The paths of statements, looked up in a schema.
#ifndef OSTRANE_RECORD_PLAN_PATH_H_
#define OSTRANE_RECORD_PLAN_PATH_H_

#include "record/compiled_statements.h"

namespace OstraneRecord {

// Deepest nesting of messages that a statement may make: protobuf's parsers read no deeper record back.
constexpr int kMaxRecordDepth = 100;

// A field or extension of `type` by the name that a statement gives it. Returns 0 or
// COMMON_ERR_INVALID_FIELD_NAME with a hint at the nearest name.
int FindField(const google::protobuf::Descriptor* type, const std::string& name, bool isExtension, const Place& place,
              const google::protobuf::FieldDescriptor*& out, Failure& failure);

// Looks up every step of `path` from `compiled.descriptor` on and checks its brackets: an index behind a
// repeated field, a key behind a map, neither behind a singular field. Every step but the last must lead
// to one message; `selectorStep`, when not null, is set to the step before the last that may carry a
// selector or nothing at all in SET, and to -1 when there is none.
int ResolvePath(const OstraneCommon::StatementPath& path, CompiledStatements& compiled, int statement,
                int* selectorStep, PlanPath& out, Failure& failure);

// A key of a map, from its literal or parameter.
int ResolveKey(OstraneCommon::Expr* key, const google::protobuf::FieldDescriptor* map, CompiledStatements& compiled,
               int statement, const Place& place, FieldValue& value, int& slot, Failure& failure);

// How many messages stand in one another from the record to the last one that the path itself makes: a map's value
// lies in an entry, which is a message too.
int PathDepth(const PlanPath& path);

// Whether `type`, or any message type below it, has required fields.
bool HasRequiredFields(const google::protobuf::Descriptor* type);
// Whether a message of `type` that stands behind `path` may lie deeper than a record may be.
bool MayNestTooDeep(const google::protobuf::Descriptor* type, const PlanPath& path);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_PLAN_PATH_H_
