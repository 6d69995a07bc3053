// SET and PUSH FROM another field: the source is copied first, whatever it shares with the target.
#include <algorithm>
#include <utility>

#include "record/plan_expr.h"
#include "record/plan_path.h"
#include "record/statement_executor.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

}  // namespace

int StatementExecutor::TakeSource(SourceValues& source) {
    ProtobufRecordUtil util(m_record);
    const int ret = GatherSource(util, *m_root, m_statement.from, m_parameters, source);
    if (ret != 0) {
        return FailOperation(ret);
    }
    const RecordLocation& location = source.location;
    if (location.beyond != nullptr && m_compiled.options.strict) {
        return FailIndex(*location.beyond, location.beyondIndex, location.beyondSize);
    }
    return CheckStrict(m_statement.from.back(), location.size, source.count == 0);
}

// What a source may bring: whole messages, and no deeper ones than a record may hold.
int StatementExecutor::CheckSource(const SourceValues& source) {
    if (source.kind != SourceValues::Kind::Message && source.kind != SourceValues::Kind::Run) {
        return 0;
    }
    const Place& place = m_statement.from.back().place;
    const bool isMessage = source.kind == SourceValues::Kind::Message;
    if (source.scratch == nullptr || (!isMessage && source.field->message_type() == nullptr)) {
        return 0;
    }
    if (m_statement.mayLackRequired && !m_compiled.options.partial) {
        for (int i = 0; i < source.count; ++i) {
            const Message& element =
                isMessage ? *source.scratch
                          : source.scratch->GetReflection()->GetRepeatedMessage(*source.scratch, source.field, i);
            if (!element.IsInitialized()) {
                return FailLacking(
                    std::string(element.GetDescriptor()->full_name()) + " lacks " + element.InitializationErrorString(),
                    place);
            }
        }
    }
    // A run's scratch message stands for the message that holds the elements.
    const int levels = kMaxRecordDepth - PathDepth(m_statement.path) + (isMessage ? 0 : 1);
    if (m_statement.mayNestDeeper && IsDeeperThan(*source.scratch, levels)) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, place,
                    "the record would be nested deeper than " + std::to_string(kMaxRecordDepth) + " messages");
    }
    return 0;
}

int StatementExecutor::RunPushFrom() {
    int pos = 0;
    int ret = LocatePush(pos);
    SourceValues source;
    if (ret == 0) {
        ret = TakeSource(source);
    }
    if (ret == 0) {
        ret = CheckSource(source);
    }
    if (ret == 0 && source.count == 0) {
        return 0;  // the operation beneath would still move an element of the target
    }
    if (ret == 0) {
        ret = CheckCreated(m_statement.path, m_location);
    }
    if (ret != 0) {
        return ret;
    }
    TellPushed(pos, source.count);
    RecordWriter writer(m_record);
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    const FieldDescriptor* field = m_statement.Field();
    if (source.kind == SourceValues::Kind::Value) {
        ret = writer.PushOne(parent, field, pos, source.value);
    } else if (source.kind == SourceValues::Kind::Message) {
        ret = writer.PushMessage(parent, field, pos, source.scratch.get());
    } else {
        ret = writer.PushRun(parent, field, pos, source.scratch.get(), source.field);
    }
    return ret == 0 ? 0 : FailOperation(ret);
}

int StatementExecutor::RunSetRunFrom() {
    int ret = LocatePath(true);
    SourceValues source;
    if (ret == 0) {
        ret = TakeSource(source);
    }
    if (ret != 0) {
        return ret;
    }
    const PlanStep& last = m_statement.path.back();
    const OstraneCommon::IndexRangeList range = Ranges();
    const int size = m_location.size;
    const bool isAll = range.front().first == 0 && range.front().second == -1;
    if (size == 0 && isAll && source.count == 0) {
        return 0;
    }
    const int begin = ResolveIndex(range.front().first, size);
    const int end = ResolveIndex(range.front().second, size);
    if (begin < 0 || end < begin) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
                    "the range does not lie inside " + CountOf(size) + " of " + NameOf(last.field),
                    "SET .. FROM overwrites elements that are there");
    }
    if (source.count != end - begin + 1) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, m_statement.from.back().place,
                    "the source gives " + CountOf(source.count) + " for " + std::to_string(end - begin + 1));
    }
    ret = CheckSource(source);
    if (ret != 0) {
        return ret;
    }
    TellPushed(begin, source.count);
    m_result.sizeAfter = m_result.sizeBefore;
    RecordWriter writer(m_record);
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    MutableProtobufField handle = {parent, last.field};
    if (source.kind == SourceValues::Kind::Value) {
        ret = writer.SetElement(parent, last.field, begin, source.value);
    } else if (source.kind == SourceValues::Kind::Message) {
        parent->GetReflection()->MutableRepeatedMessage(parent, last.field, begin)->CopyFrom(*source.scratch);
    } else {
        OstraneCommon::PbField run;
        run.SetField(source.scratch.get(), source.field, true);
        ret = writer.Util().SetWithPbField(handle, begin, end, run);
    }
    return ret == 0 ? 0 : FailOperation(ret);
}

int StatementExecutor::RunSetFieldFrom() {
    int ret = LocatePath(true);
    SourceValues source;
    if (ret == 0) {
        ret = TakeSource(source);
    }
    if (ret != 0) {
        return ret;
    }
    if (source.isBeyond) {
        return Fail(
            OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, m_statement.from.back().place,
            "index " + std::to_string(source.beyondIndex) + " of the source is beyond " + CountOf(source.beyondSize));
    }
    const PlanStep& last = m_statement.path.back();
    const FieldDescriptor* field = last.ValueField();
    const bool isMapValue = last.IsMapValue();
    const bool wasThere =
        m_location.parent != nullptr && (isMapValue             ? m_location.index >= 0
                                         : field->is_repeated() ? m_location.size > 0
                                                                : HasValue(*m_location.parent, field));
    if (!last.field->is_repeated()) {
        m_result.sizeBefore = wasThere ? 1 : 0;
    }
    const bool isClear = source.count == 0;
    if (isClear && field->is_required()) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, m_statement.from.back().place,
                    "the source is not set, and " + NameOf(field) + " is required");
    }
    ret = CheckSource(source);
    if (ret == 0 && !isClear) {
        ret = CheckCreated(m_statement.path, m_location);
    }
    if (ret != 0 || (isClear && !wasThere)) {
        return ret;
    }
    ret = WriteFieldFrom(Open(m_root, m_statement.path, m_parameters), source);
    if (ret != 0) {
        return FailOperation(ret);
    }
    const int sizeAfter = source.count;
    if (!last.field->is_repeated()) {
        m_result.sizeAfter = sizeAfter;
        m_result.matched = m_result.changed = 1;
    } else if (isMapValue) {
        m_result.sizeAfter = m_result.sizeBefore + (isClear ? -1 : wasThere ? 0 : 1);
        m_result.matched = m_result.changed = 1;
    } else {
        m_result.sizeAfter = sizeAfter;
        m_result.matched = m_result.sizeBefore;
        m_result.changed = std::max(m_result.sizeBefore, m_result.sizeAfter);
    }
    return 0;
}

int StatementExecutor::WriteFieldFrom(Message* parent, SourceValues& source) {
    const PlanStep& last = m_statement.path.back();
    const FieldDescriptor* field = last.ValueField();
    if (last.IsMapValue()) {
        const FieldValue& key = m_parameters.Key(last.key, last.keySlot);
        if (source.count == 0) {
            RemoveEntry(parent, last.field, key);
            return 0;
        }
        parent = OpenEntry(parent, last.field, key);
    }
    MutableProtobufField handle = {parent, field};
    RecordWriter writer(m_record);
    if (source.count == 0) {
        return writer.Util().UpdateWithPbField(handle, OstraneCommon::EXPR_OP_POP, nullptr);
    }
    if (source.kind == SourceValues::Kind::Value) {
        if (!field->is_repeated()) {
            SetFieldValue(parent, field, source.value);
            return 0;
        }
        parent->GetReflection()->ClearField(parent, field);
        return writer.PushOne(parent, field, 0, source.value);
    }
    OstraneCommon::PbField whole;
    if (source.kind == SourceValues::Kind::Message) {
        whole.SetField(source.scratch.get(), nullptr, true);
    } else if (field->is_repeated()) {
        whole.SetField(source.scratch.get(), source.field, true);
    } else if (field->message_type() != nullptr) {
        // One element for a singular field.
        Message* run = source.scratch.get();
        whole.SetField(run->GetReflection()->MutableRepeatedMessage(run, source.field, 0), nullptr, true);
    } else {
        SetFieldValue(parent, field, ReadElementValue(*source.scratch, source.field, 0));
        return 0;
    }
    // A message field that is present is not overwritten by the operation: it is cleared first.
    if (!field->is_repeated()) {
        parent->GetReflection()->ClearField(parent, field);
    }
    return writer.Util().UpdateWithPbField(handle, OstraneCommon::EXPR_OP_SET, &whole);
}

}  // namespace OstraneRecord
