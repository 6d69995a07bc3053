// Reading a record's fields by path.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include "common/protobuf_field_resolver.h"

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;

// The repeated field behind `var`, or null.
const FieldDescriptor* RepeatedFieldOf(const ExprVariant& var) {
    if (var.m_type != EXPR_UNRESOLVE || (var.m_flags & EXPR_FLAG_NAME) != 0) {
        return nullptr;
    }
    const PbField& pb = var.m_data.pb;
    if (pb.pMessage == nullptr || pb.pFieldDesc == nullptr || pb.isArrayElement || !pb.pFieldDesc->is_repeated()) {
        return nullptr;
    }
    return pb.pFieldDesc;
}

}  // namespace

ProtobuFieldResolver::ProtobuFieldResolver(const ProtobufRecord& record) : m_record(record) {}

ProtobuFieldResolver::~ProtobuFieldResolver() = default;

int ProtobuFieldResolver::Resolve(ExprVariant* /*name*/, ExprVariant& /*out*/) {
    return -1;
}

bool ProtobuFieldResolver::IsStruct(ExprVariant& /*var*/) {
    return false;
}

bool ProtobuFieldResolver::IsArray(ExprVariant& var) {
    const FieldDescriptor* const field = RepeatedFieldOf(var);
    return field != nullptr && !field->is_map();
}

bool ProtobuFieldResolver::IsMap(ExprVariant& var) {
    const FieldDescriptor* const field = RepeatedFieldOf(var);
    return field != nullptr && field->is_map();
}

int ProtobuFieldResolver::ArraySize(ExprVariant& /*array*/) {
    return -1;
}

int ProtobuFieldResolver::MapSize(ExprVariant& /*map*/) {
    return -1;
}

int ProtobuFieldResolver::ArrayGet(ExprVariant& /*array*/, int /*index*/, ExprVariant& /*out*/) {
    return -1;
}

int ProtobuFieldResolver::MapFind(ExprVariant& /*map*/, Expr& /*key*/, ExprVariant& /*out*/, bool /*isMutable*/,
                                  bool& /*isFound*/) {
    return -1;
}

}  // namespace OstraneCommon
