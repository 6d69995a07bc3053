// A record that is read only is no record for a utility.
#include "common/protobuf_record_util.h"

#ifdef FORBIDDEN
using Record = const ProtobufRecord;
#else
using Record = ProtobufRecord;
#endif

void Use(Record& record);
void Use(Record& record) {
    const ProtobufRecordUtil util(record);
    (void)util;
}
