// Finding what a path names in a record, and making it when it is not there yet.
#ifndef OSTRANE_RECORD_RECORD_LOCATION_H_
#define OSTRANE_RECORD_RECORD_LOCATION_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <string>
#include <vector>

#include "record/compiled_statements.h"

namespace OstraneRecord {

// What one execution goes by.
struct PlanParameters {
    const BoundValues* values = nullptr;                           // null when there are no parameters
    const google::protobuf::Reflection* rootReflection = nullptr;  // of the record's message, where it is known

    int32_t Index(const PlanIndex& index) const {
        return index.slot < 0 ? index.value : values->indexes[static_cast<size_t>(index.slot)];
    }
    const FieldValue& Key(const FieldValue& key, int slot) const {
        return slot < 0 ? key : values->values[static_cast<size_t>(slot)].single;
    }
    const OstraneCommon::BoundExpr& Bound(const PlanExpr& expr) const {
        return expr.slot < 0 ? expr.bound : values->expressions[static_cast<size_t>(expr.slot)];
    }
    // Null when there is none yet.
    AssignExpr* Tree(int statementNumber) const {
        return values == nullptr || values->trees.empty()
                   ? nullptr
                   : values->trees[static_cast<size_t>(statementNumber - 1)].get();
    }
};

// Where a path leads in a record as it stands.
struct RecordLocation {
    // The message that holds the last step's field; null when something on the way is not there.
    const google::protobuf::Message* parent = nullptr;
    // The number of steps before the first one that is not there.
    size_t reached = 0;
    // The message at the last index or key of the path; null when it is none, or not there.
    const google::protobuf::Message* element = nullptr;
    // The step whose index lies beyond its array, null when none does, with the index and the array's size.
    const PlanStep* beyond = nullptr;
    int32_t beyondIndex = 0;
    int beyondSize = 0;
    // Of the last step: elements of its field, the element of an Index or Key, -1 when it is not there.
    int size = 0;
    int index = -1;
};

// A position that may count from the end, as one that does not: -1 when it lies outside the array.
int ResolveIndex(int32_t index, int size);

// What to write instead of a position that lies outside an array of `size` elements.
std::string PositionsHint(int size);

// Follows `path` from `base` and changes nothing; `location` is a fresh one. `reflection` is the base's, or null:
// asking a message for its own counts beside a short statement.
void Locate(const google::protobuf::Message& base, const PlanPath& path, const PlanParameters& parameters,
            RecordLocation& location, const google::protobuf::Reflection* reflection = nullptr);

// The message that holds the last step's field, made with everything on the way that is not there. The
// indexes on the way lie inside their arrays.
google::protobuf::Message* OpenSteps(google::protobuf::Message* base, const PlanPath& path,
                                     const PlanParameters& parameters);
inline google::protobuf::Message* Open(google::protobuf::Message* base, const PlanPath& path,
                                       const PlanParameters& parameters) {
    return path.size() == 1 ? base : OpenSteps(base, path, parameters);
}

// The entry of a map with this key, -1 when there is none; made when it is not there; removed. Of several with
// one key the last counts; all are removed.
int FindEntry(const google::protobuf::Message& parent, const google::protobuf::FieldDescriptor* map,
              const FieldValue& key);
google::protobuf::Message* OpenEntry(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* map,
                                     const FieldValue& key);
bool RemoveEntry(google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* map,
                 const FieldValue& key);

// Whether the singular field has a value: one that tracks presence and is not set has none.
bool HasValue(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* field);

// Whether the message holds messages nested more than `levels` deep, itself counted.
bool IsDeeperThan(const google::protobuf::Message& message, int levels);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_RECORD_LOCATION_H_
