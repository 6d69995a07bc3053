// What FROM brings: taken out of the record before anything is written, so that source and target may
// overlap in any way.
#ifndef OSTRANE_RECORD_SOURCE_VALUES_H_
#define OSTRANE_RECORD_SOURCE_VALUES_H_

#include <google/protobuf/message.h>

#include <memory>

#include "common/protobuf_record_util.h"
#include "record/compiled_statements.h"
#include "record/record_location.h"

namespace OstraneRecord {

struct SourceValues {
    enum class Kind {
        Nothing,  // an unset singular source, or a lone index beyond the array
        Value,    // of a singular field that is no message
        Message,  // `scratch` itself
        Run,      // the elements of `field` in `scratch`
    };
    Kind kind = Kind::Nothing;
    FieldValue value;
    std::unique_ptr<google::protobuf::Message> scratch;
    const google::protobuf::FieldDescriptor* field = nullptr;
    int count = 0;
    // Of a lone index that lies beyond the array.
    bool isBeyond = false;
    int32_t beyondIndex = 0;
    int beyondSize = 0;
    RecordLocation location;  // of what the path names
};

// The positions that the ranges select in an array of `size`, ascending.
void SelectPositions(const OstraneCommon::IndexRangeList& ranges, int size, std::vector<int32_t>& out);

OstraneCommon::IndexRangeList ResolveRanges(const PlanStep& step, const PlanParameters& parameters);

// Copies what the path names. Returns 0 or the code of a field operation.
int GatherSource(ProtobufRecordUtil& util, const google::protobuf::Message& root, const PlanPath& path,
                 const PlanParameters& parameters, SourceValues& out);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_SOURCE_VALUES_H_
