// A handle to write needs a message that may be written.
#include "common/protobuf_record_util.h"

#ifdef FORBIDDEN
using Parent = const google::protobuf::Message;
#else
using Parent = google::protobuf::Message;
#endif

MutableProtobufField Make(Parent& parent, const google::protobuf::FieldDescriptor* field);
MutableProtobufField Make(Parent& parent, const google::protobuf::FieldDescriptor* field) {
    return {&parent, field};
}
