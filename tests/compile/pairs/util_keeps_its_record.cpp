// A utility cannot be bound to another record.
#include "common/protobuf_record_util.h"

void Use(ProtobufRecord& record, ProtobufRecord& other);
void Use(ProtobufRecord& record, ProtobufRecord& other) {
    ProtobufRecordUtil util(record);
    ProtobufRecordUtil another(other);
#ifdef FORBIDDEN
    util = another;
#else
    (void)util;
    (void)another;
#endif
}
