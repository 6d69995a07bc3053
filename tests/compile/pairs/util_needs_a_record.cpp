// A utility is bound to a record from the start.
#include "common/protobuf_record_util.h"

void Use(ProtobufRecord& record);
void Use(ProtobufRecord& record) {
#ifdef FORBIDDEN
    ProtobufRecordUtil util;
#else
    ProtobufRecordUtil util(record);
#endif
    (void)record;
    (void)util;
}
