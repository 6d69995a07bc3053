// The target of a get is written.
#include "common/protobuf_record_util.h"

#ifdef FORBIDDEN
using Destination = ProtobufField;
#else
using Destination = MutableProtobufField;
#endif

int Use(ProtobufRecord& record, ProtobufField& src, OstraneCommon::IndexRangeList& ranges, Destination& dst);
int Use(ProtobufRecord& record, ProtobufField& src, OstraneCommon::IndexRangeList& ranges, Destination& dst) {
    return ProtobufRecordUtil(record).GetWithRange(src, false, ranges, nullptr, dst, nullptr);
}
