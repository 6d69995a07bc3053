// The steps of the operations cannot be called alone.
#include "common/protobuf_record_util.h"

int Use(ProtobufRecord& record, MutableProtobufField& field, OstraneCommon::Expr& expr);
int Use(ProtobufRecord& record, MutableProtobufField& field, OstraneCommon::Expr& expr) {
#ifdef FORBIDDEN
    return ProtobufRecordUtil(record).AssignField(field, expr.m_self);
#else
    return ProtobufRecordUtil(record).SetWithExpr(field, expr);
#endif
}
