// What is only read cannot be the target of an operation.
#include "common/protobuf_record_util.h"

#ifdef FORBIDDEN
using Field = ProtobufField;
#else
using Field = MutableProtobufField;
#endif

int Use(ProtobufRecord& record, Field& field, OstraneCommon::Expr& expr);
int Use(ProtobufRecord& record, Field& field, OstraneCommon::Expr& expr) {
    return ProtobufRecordUtil(record).PopWithExpr(field, expr);
}
