// A get that moves needs a source that may be written, unless it says otherwise.
#include "common/protobuf_record_util.h"

#ifdef FORBIDDEN
using Source = ProtobufField;
#else
using Source = MutableProtobufField;
#endif

int Use(ProtobufRecord& record, Source& src, OstraneCommon::IndexRangeList& ranges, MutableProtobufField& dst);
int Use(ProtobufRecord& record, Source& src, OstraneCommon::IndexRangeList& ranges, MutableProtobufField& dst) {
    return ProtobufRecordUtil(record).GetWithRange(src, ranges, nullptr, dst, nullptr);
}
