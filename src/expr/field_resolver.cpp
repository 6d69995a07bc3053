// Reading a record's fields by path. What is handed out refers to the record: a field, one element of it, or
// a whole message.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>

#include "common/err_code.h"
#include "common/protobuf_field_resolver.h"
#include "expr/eval_bind.h"
#include "expr/map_entries.h"

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

ExprVariant NullVariant() {
    ExprVariant null;
    null.m_type = EXPR_NULL;
    return null;
}

// The field, or with a null one the whole message.
ExprVariant FieldVariant(const Message* message, const FieldDescriptor* field, bool isMutable) {
    ExprVariant out;
    out.m_type = EXPR_UNRESOLVE;
    out.m_data.pb.SetField(message, field, isMutable);
    return out;
}

ExprVariant ElementVariant(const Message& message, const FieldDescriptor* field, int index, bool isMutable) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        return FieldVariant(&message.GetReflection()->GetRepeatedMessage(message, field, index), nullptr, isMutable);
    }
    ExprVariant out = FieldVariant(&message, field, isMutable);
    out.m_data.pb.SetArrayElementIdx(index);
    return out;
}

// The field behind `var`, when it has one that its message can be asked for.
const PbField* FieldBehind(const ExprVariant& var) {
    if (var.m_type != EXPR_UNRESOLVE || (var.m_flags & EXPR_FLAG_NAME) != 0) {
        return nullptr;
    }
    const PbField& pb = var.m_data.pb;
    if (pb.pMessage == nullptr || pb.pFieldDesc == nullptr || pb.pMessage->GetReflection() == nullptr) {
        return nullptr;
    }
    return pb.pFieldDesc->containing_type() == pb.pMessage->GetDescriptor() ? &pb : nullptr;
}

// The repeated field behind `var`, as a whole or a run of it, or null.
const PbField* RepeatedBehind(const ExprVariant& var, bool isMap) {
    const PbField* const pb = FieldBehind(var);
    if (pb == nullptr || !pb->pFieldDesc->is_repeated() || pb->isArrayElement || pb->pFieldDesc->is_map() != isMap) {
        return nullptr;
    }
    return pb;
}

// The elements that `pb` stands for.
void RunOf(const PbField& pb, int& begin, int& size) {
    const int all = pb.pMessage->GetReflection()->FieldSize(*pb.pMessage, pb.pFieldDesc);
    begin = pb.isArrayRange ? std::max(0, pb.idxBegin) : 0;
    const int end = pb.isArrayRange ? std::min<int>(pb.idxEnd, all - 1) : all - 1;
    size = std::max(0, end - begin + 1);
}

// What the last step names in `message`.
ExprVariant Last(const Message& message, const BoundStep& step, bool isMutable) {
    if (step.access == BoundStep::Access::Index) {
        const int index = FindElement(message, step.field, step.index);
        return index < 0 ? NullVariant() : ElementVariant(message, step.field, index, isMutable);
    }
    if (step.access == BoundStep::Access::Key) {
        const Message* const entry = FindMapEntry(message, step.field, step.key);
        return entry == nullptr ? NullVariant()
                                : FieldVariant(entry, entry->GetDescriptor()->FindFieldByNumber(2), isMutable);
    }
    const bool readsAsNull = TracksPresence(step.field) && !step.field->has_default_value();
    if (readsAsNull && !message.GetReflection()->HasField(message, step.field)) {
        return NullVariant();
    }
    return FieldVariant(&message, step.field, isMutable);
}

}  // namespace

ProtobuFieldResolver::ProtobuFieldResolver(const ProtobufRecord& record) : m_record(record) {}

ProtobuFieldResolver::~ProtobuFieldResolver() = default;

void ProtobuFieldResolver::SetNamedValue(const std::string& name, const ExprVariant& value) {
    if (m_scopes.empty()) {
        OpenScope();
    }
    m_scopes.back()[name] = value;
}

void ProtobuFieldResolver::SetParameter(const std::string& name, const ExprVariant& value) {
    SetNamedValue(":" + name, value);
}

void ProtobuFieldResolver::SetParameter(uint64_t number, const ExprVariant& value) {
    SetNamedValue("?" + std::to_string(number), value);
}

void ProtobuFieldResolver::CloseScope() {
    if (!m_scopes.empty()) {
        m_scopes.pop_back();
    }
}

const ExprVariant* ProtobuFieldResolver::FindNamedValue(const std::string& name) const {
    for (auto scope = m_scopes.rbegin(); scope != m_scopes.rend(); ++scope) {
        const auto found = scope->find(name);
        if (found != scope->end()) {
            return &found->second;
        }
    }
    return nullptr;
}

int ProtobuFieldResolver::Resolve(ExprVariant* name, ExprVariant& out) {
    if (name == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    const bool isQuestion = name->m_type == EXPR_QUESTION;
    const std::string key = !isQuestion           ? name->m_str
                            : name->m_str.empty() ? "?" + std::to_string(name->m_data.valUInt64)
                                                  : ":" + name->m_str;
    const ExprVariant* const named = FindNamedValue(key);
    if (named != nullptr) {
        // A copy first: `out` may be the very value.
        const ExprVariant value = *named;
        out = value;
        return 0;
    }
    return isQuestion ? OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME : ResolveField(*name, out);
}

int ProtobuFieldResolver::ResolveField(const ExprVariant& name, ExprVariant& out) {
    const Message* const record = m_record.m_pMessage;
    if (record == nullptr || record->GetReflection() == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    ExprScope scope;
    scope.record = record->GetDescriptor();
    BindSource source;
    source.resolver = this;
    BoundProgram program;
    ExprError error;
    ExprParseContext nodes;
    NamePath path;
    if (ParseName(name.m_str, nodes, path, error) != 0) {
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    if (path.root == NameRoot::Record && path.steps.empty()) {
        out = FieldVariant(record, nullptr, m_record.m_isMutable);
        return 0;
    }
    Expr node;
    node.m_self = name;
    BoundPath bound;
    Binder binder(scope, source, program, error);
    if (!binder.BindRecordName(node, path, bound)) {
        return error.code;
    }
    const Message* const message = FindHolder(*record, bound);
    out = message == nullptr ? NullVariant() : Last(*message, bound.steps.back(), m_record.m_isMutable);
    return 0;
}

bool ProtobuFieldResolver::IsStruct(ExprVariant& var) {
    if (var.m_type != EXPR_UNRESOLVE || (var.m_flags & EXPR_FLAG_NAME) != 0 || var.m_data.pb.pMessage == nullptr) {
        return false;
    }
    const FieldDescriptor* const field = var.m_data.pb.pFieldDesc;
    if (field == nullptr) {
        return true;
    }
    const bool isOne = !field->is_repeated() || var.m_data.pb.isArrayElement;
    return isOne && field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
}

bool ProtobuFieldResolver::IsArray(ExprVariant& var) {
    return RepeatedBehind(var, false) != nullptr;
}

bool ProtobuFieldResolver::IsMap(ExprVariant& var) {
    return RepeatedBehind(var, true) != nullptr;
}

int ProtobuFieldResolver::ArraySize(ExprVariant& array) {
    const PbField* const pb = RepeatedBehind(array, false);
    if (pb == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    int begin = 0;
    int size = 0;
    RunOf(*pb, begin, size);
    return size;
}

int ProtobuFieldResolver::MapSize(ExprVariant& map) {
    const PbField* const pb = RepeatedBehind(map, true);
    if (pb == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    return CountMapEntries(*pb->pMessage, pb->pFieldDesc);
}

int ProtobuFieldResolver::ArrayGet(ExprVariant& array, int index, ExprVariant& out) {
    const PbField* const pb = RepeatedBehind(array, false);
    if (pb == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    int begin = 0;
    int size = 0;
    RunOf(*pb, begin, size);
    const int64_t place = index < 0 ? int64_t{index} + size : int64_t{index};
    if (place < 0 || place >= size) {
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const PbField source = *pb;
    out = ElementVariant(*source.pMessage, source.pFieldDesc, begin + static_cast<int>(place), source.isMutable);
    return 0;
}

int ProtobuFieldResolver::MapFind(ExprVariant& map, Expr& key, ExprVariant& out, bool isMutable, bool& isFound) {
    const PbField* const pb = RepeatedBehind(map, true);
    if (pb == nullptr) {
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    const PbField source = *pb;
    ExprVariant keyVariant;
    std::string errmsg;
    int ret = key.Calculate(*this, keyVariant, errmsg);
    if (ret != 0) {
        return ret;
    }
    BoundProgram program;
    BindSource bindSource;
    ExprScope scope;
    ExprError error;
    Binder binder(scope, bindSource, program, error);
    BoundStep step;
    step.field = source.pFieldDesc;
    if (!binder.BindKey(keyVariant, step)) {
        return error.code;
    }
    out = Last(*source.pMessage, step, isMutable);
    isFound = out.m_type != EXPR_NULL;
    return 0;
}

}  // namespace OstraneCommon
