// A record does not turn into a utility by being passed.
#include "common/protobuf_record_util.h"

void Take(const ProtobufRecordUtil& util);
void Use(ProtobufRecord& record);
void Use(ProtobufRecord& record) {
#ifdef FORBIDDEN
    Take(record);
#else
    Take(ProtobufRecordUtil(record));
#endif
}
