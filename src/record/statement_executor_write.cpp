// SET and PUSH: the forms that write values.
#include <utility>

#include "record/plan_expr.h"
#include "record/plan_path.h"
#include "record/statement_executor.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

std::string NameOf(const FieldDescriptor* field) {
    return std::string(field->full_name());
}

std::string CountOf(int count) {
    return std::to_string(count) + (count == 1 ? " element" : " elements");
}

// The message that holds a computed value's field: from where the value is written, down the members.
const Message* OwnerOf(const ComputedValue& computed, const Message* base) {
    const Message* owner = base;
    for (const FieldDescriptor* field : computed.chain) {
        if (owner == nullptr || !owner->GetReflection()->HasField(*owner, field)) {
            return nullptr;
        }
        owner = &owner->GetReflection()->GetMessage(*owner, field);
    }
    return owner;
}

const Message* EntryAt(const Message* parent, const FieldDescriptor* map, int index) {
    return parent == nullptr || index < 0 ? nullptr : &parent->GetReflection()->GetRepeatedMessage(*parent, map, index);
}

}  // namespace

// Values

// `base` is what the chain of an old value starts at; `row` names the record, the element, and the array and
// index of an element that is itself set.
int StatementExecutor::Calculate(const OstraneCommon::ExprRow& row, const Message* base, std::vector<FieldValue>& out) {
    out.resize(m_statement.computed.size());
    for (size_t i = 0; i < m_statement.computed.size(); ++i) {
        const ComputedValue& computed = m_statement.computed[i];
        OstraneCommon::ExprRow own = row;
        own.isAbsentNull = true;
        if (computed.expr.scope.self != nullptr && !computed.expr.scope.self->is_repeated()) {
            own.owner = OwnerOf(computed, base);
        }
        OstraneCommon::ExprVariant value;
        OstraneCommon::ExprError error;
        int ret = m_parameters.Bound(computed.expr).Calculate(own, value, error);
        if (ret != 0) {
            return OstraneRecord::Fail(m_failure, ret, error, computed.field);
        }
        if (value.m_type == OstraneCommon::EXPR_NULL) {
            const std::string unset = UnsetFieldOf(computed.expr, own);
            ret = Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, computed.expr.place,
                       "the value for " + NameOf(computed.field) + " is NULL" +
                           (unset.empty() ? std::string() : ": " + unset + " is not set"),
                       "coalesce(.., 0) gives a value where there is none");
            m_failure.field = NameOf(computed.field);
            return ret;
        }
        Misfit misfit;
        ret = ConvertValue(value, computed.field, computed.isEnumNumber, out[i], misfit);
        if (ret != 0) {
            ret = Fail(ret, computed.expr.place, misfit.message, misfit.hint);
            m_failure.field = NameOf(computed.field);
            return ret;
        }
    }
    return 0;
}

// Messages that do not exist yet hold, once the path is made, the next step's field alone.
int StatementExecutor::CheckCreated(const PlanPath& path, const RecordLocation& location) {
    if (location.parent != nullptr) {
        return 0;
    }
    for (size_t i = location.reached; i + 1 < path.size(); ++i) {
        const std::string missing = MissingRequired(path[i].MessageType(), path[i + 1].field);
        if (!missing.empty()) {
            return FailLacking(missing, path[i].place);
        }
    }
    return 0;
}

// Whether the value can be written where it goes: nothing may be left without its required fields.
int StatementExecutor::CheckTarget(const PlanPath& path, const Target& target, bool isElement) {
    const int created = CheckCreated(path, target.location);
    if (created != 0) {
        return created;
    }
    const ResolvedValues values(m_parameters, target.computed);
    const ValueNode& node = m_statement.value;
    const Message* existing = nullptr;
    if (isElement || path.back().IsMapValue()) {
        existing = target.location.element;
    } else if (target.location.parent != nullptr && node.kind == ValueNode::Kind::Message) {
        const Reflection* reflection = target.location.parent->GetReflection();
        if (reflection->HasField(*target.location.parent, path.back().field)) {
            existing = &reflection->GetMessage(*target.location.parent, path.back().field);
        }
    }
    std::string missing;
    if (node.kind == ValueNode::Kind::Message) {
        missing = MissingRequired(existing, node, node.field->message_type(), values);
    } else if (node.kind == ValueNode::Kind::List || node.kind == ValueNode::Kind::Entries) {
        missing = MissingRequiredItems(target.location.parent, node, values);
    }
    return missing.empty() ? 0 : FailLacking(missing, node.place);
}

// SET

// Follows the tail from one base and calculates its values. `element` is what bare names belong to when the
// tail itself goes through no index.
int StatementExecutor::LookUpTarget(const Message& base, const Message* element, Target& out) {
    const PlanPath& path = m_statement.tail;
    const PlanStep& last = path.back();
    out.location = Locate(base, path, m_parameters);
    if (out.location.beyond != nullptr) {
        return FailBeyond(out.location);
    }
    const bool isElement = last.subscript == SubscriptKind::Index;
    if (isElement && out.location.index < 0) {
        return OstraneRecord::Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
                                   "index " + std::to_string(m_parameters.Index(last.index)) + " is beyond " +
                                       CountOf(out.location.size) + " of " + NameOf(last.field),
                                   "", last.field);
    }
    bool hasIndex = false;
    for (const PlanStep& step : path) {
        hasIndex = hasIndex || step.subscript != SubscriptKind::None;
    }
    OstraneCommon::ExprRow row;
    row.record = m_root;
    row.element = hasIndex ? out.location.element : element;
    row.owner = out.location.parent;
    row.index = isElement ? out.location.index : 0;
    const Message* start = isElement           ? out.location.element
                           : last.IsMapValue() ? EntryAt(out.location.parent, last.field, out.location.index)
                                               : out.location.parent;
    const int ret = Calculate(row, start, out.computed);
    return ret != 0 ? ret : CheckTarget(path, out, isElement);
}

int StatementExecutor::WriteTarget(Message* base, const Target& target) {
    const PlanPath& path = m_statement.tail;
    const PlanStep& last = path.back();
    const ResolvedValues values(m_parameters, target.computed);
    const ValueNode& node = m_statement.value;
    if (values.IsNull(node) &&
        (target.location.parent == nullptr || (last.IsMapValue() && target.location.index < 0))) {
        return 0;  // nothing is there to clear, and null makes nothing
    }
    Message* parent = Open(base, path, m_parameters);
    RecordWriter writer(m_record);
    if (last.subscript == SubscriptKind::Index) {
        return writer.SetElement(parent, last.field, target.location.index, node, values);
    }
    if (!last.IsMapValue()) {
        writer.ApplyField(parent, last.field, node, values);
        return 0;
    }
    const FieldValue& key = m_parameters.Key(last.key, last.keySlot);
    if (values.IsNull(node)) {
        RemoveEntry(parent, last.field, key);
        return 0;
    }
    writer.ApplyField(OpenEntry(parent, last.field, key), last.ValueField(), node, values);
    return 0;
}

int StatementExecutor::RunSetField() {
    Target target;
    int ret = LookUpTarget(*m_root, nullptr, target);
    if (ret != 0) {
        return ret;
    }
    const PlanStep& last = m_statement.tail.back();
    const RecordLocation& location = target.location;
    const auto sizeOf = [&last](const Message* parent) {
        if (parent == nullptr) {
            return 0;
        }
        return last.field->is_repeated()       ? parent->GetReflection()->FieldSize(*parent, last.field)
               : HasValue(*parent, last.field) ? 1
                                               : 0;
    };
    m_result.sizeBefore = sizeOf(location.parent);
    ret = WriteTarget(m_root, target);
    if (ret != 0) {
        return FailOperation(ret);
    }
    m_result.sizeAfter = sizeOf(Locate(*m_root, m_statement.tail, m_parameters).parent);
    if (m_statement.form == PlanForm::SetMapEntries) {
        m_result.matched = m_result.changed = static_cast<int64_t>(m_statement.value.members.size());
        return 0;
    }
    if (m_statement.form == PlanForm::SetList) {
        m_result.matched = m_result.sizeBefore;
        m_result.changed = std::max(m_result.sizeBefore, m_result.sizeAfter);
        return 0;
    }
    const ResolvedValues values(m_parameters, target.computed);
    const bool wasThere = last.IsMapValue() ? location.index >= 0 : m_result.sizeBefore > 0;
    const bool isChange = !values.IsNull(m_statement.value) || wasThere;
    m_result.matched = m_result.changed = isChange ? 1 : 0;
    return 0;
}

int StatementExecutor::RunSetEach() {
    int ret = LocatePath(true);
    if (ret == 0) {
        ret = Select(true);
    }
    if (ret != 0) {
        return ret;
    }
    std::vector<Target> targets(m_result.positions.size());
    for (size_t i = 0; i < targets.size(); ++i) {
        const Message& element = m_location.parent->GetReflection()->GetRepeatedMessage(
            *m_location.parent, m_statement.Field(), m_result.positions[i]);
        ret = LookUpTarget(element, &element, targets[i]);
        if (ret != 0) {
            return ret;
        }
    }
    if (targets.empty()) {
        return 0;
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    for (size_t i = 0; i < targets.size(); ++i) {
        Message* element =
            parent->GetReflection()->MutableRepeatedMessage(parent, m_statement.Field(), m_result.positions[i]);
        ret = WriteTarget(element, targets[i]);
        if (ret != 0) {
            return FailOperation(ret);
        }
    }
    m_result.changed = m_result.matched;
    return 0;
}

int StatementExecutor::RunSetElements() {
    int ret = LocatePath(true);
    if (ret == 0) {
        ret = Select(true);
    }
    if (ret != 0 || m_result.positions.empty()) {
        return ret;
    }
    const FieldDescriptor* field = m_statement.Field();
    std::vector<Target> targets(
        m_statement.computed.empty() && field->message_type() == nullptr ? 1 : m_result.positions.size());
    for (size_t i = 0; i < targets.size(); ++i) {
        OstraneCommon::ExprRow row;
        row.record = m_root;
        row.owner = m_location.parent;
        row.index = m_result.positions[i];
        if (field->message_type() != nullptr) {
            row.element = &m_location.parent->GetReflection()->GetRepeatedMessage(*m_location.parent, field, row.index);
        }
        targets[i].location = m_location;
        targets[i].location.element = row.element;
        ret = Calculate(row, row.element, targets[i].computed);
        if (ret == 0) {
            ret = CheckTarget(m_statement.path, targets[i], true);
        }
        if (ret != 0) {
            return ret;
        }
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    RecordWriter writer(m_record);
    for (size_t i = 0; i < m_result.positions.size(); ++i) {
        const ResolvedValues values(m_parameters, targets[targets.size() == 1 ? 0 : i].computed);
        ret = writer.SetElement(parent, field, m_result.positions[i], m_statement.value, values);
        if (ret != 0) {
            return FailOperation(ret);
        }
    }
    m_result.changed = m_result.matched;
    return 0;
}

// PUSH

int StatementExecutor::ResolvePushPosition(int& pos) {
    const PlanStep& last = m_statement.path.back();
    pos = last.subscript == SubscriptKind::Index ? m_parameters.Index(last.index) : -1;
    if (pos == -1) {
        pos = m_location.size;
    }
    if (pos >= 0 && pos <= m_location.size) {
        return 0;
    }
    if (pos < 0) {
        return Fail(
            OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
            "the position " + std::to_string(pos) + " is none: PUSH inserts at 0 .. size, or with -1 at the end");
    }
    return Fail(
        OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
        "index " + std::to_string(pos) + " is beyond " + CountOf(m_location.size) + " of " + NameOf(last.field));
}

// One value, known since it was bound: the operation checks the place alone.
int StatementExecutor::RunPreparedPush(ValueExpr& push, int pos) {
    int ret = CheckCreated(m_statement.path, m_location);
    if (ret != 0) {
        return ret;
    }
    MutableProtobufField handle = {Open(m_root, m_statement.path, m_parameters), m_statement.Field()};
    ret = ProtobufRecordUtil(m_record).PushWithExpr(handle, push.Tree());
    if (ret != 0) {
        return FailOperation(ret);
    }
    TellPushed(pos, 1);
    return 0;
}

int StatementExecutor::RunPush() {
    int ret = LocatePath(true);
    int pos = 0;
    if (ret == 0) {
        ret = ResolvePushPosition(pos);
    }
    if (ret != 0) {
        return ret;
    }
    ValueExpr* prepared = m_parameters.PushTree(m_statement.number);
    if (prepared != nullptr) {
        return RunPreparedPush(*prepared, pos);
    }
    Target target;
    target.location = m_location;
    target.location.element = nullptr;
    OstraneCommon::ExprRow row;
    row.record = m_root;
    ret = Calculate(row, nullptr, target.computed);
    if (ret != 0) {
        return ret;
    }
    const ResolvedValues values(m_parameters, target.computed);
    const int count = static_cast<int>(values.ListSize(m_statement.value));
    if (count == 0) {
        return 0;
    }
    ret = CheckTarget(m_statement.path, target, true);
    if (ret != 0) {
        return ret;
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    ret = RecordWriter(m_record).Push(parent, m_statement.Field(), pos, m_statement.value, values);
    if (ret != 0) {
        return FailOperation(ret);
    }
    TellPushed(pos, count);
    return 0;
}

void StatementExecutor::TellPushed(int pos, int count) {
    m_result.matched = m_result.changed = count;
    m_result.sizeAfter = m_result.sizeBefore + count;
    m_result.positions.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        m_result.positions.push_back(pos + i);
    }
}

// FROM

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
    const int levels = kMaxRecordDepth - static_cast<int>(m_statement.path.size()) + (isMessage ? 0 : 1);
    if (m_statement.mayNestDeeper && IsDeeperThan(*source.scratch, levels)) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, place,
                    "the record would be nested deeper than " + std::to_string(kMaxRecordDepth) + " messages");
    }
    return 0;
}

int StatementExecutor::RunPushFrom() {
    int ret = LocatePath(true);
    int pos = 0;
    if (ret == 0) {
        ret = ResolvePushPosition(pos);
    }
    if (ret != 0) {
        return ret;
    }
    RecordWriter writer(m_record);
    SourceValues source;
    ret = GatherSource(writer.Util(), *m_root, m_statement.from, m_parameters, source);
    if (ret != 0) {
        return FailOperation(ret);
    }
    ret = CheckSource(source);
    if (ret == 0 && source.count == 0) {
        return 0;  // the operation beneath would still move an element of the target
    }
    if (ret == 0) {
        ret = CheckCreated(m_statement.path, m_location);
    }
    if (ret != 0) {
        return ret;
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    const FieldDescriptor* field = m_statement.Field();
    if (source.kind == SourceValues::Kind::Value) {
        ret = writer.PushOne(parent, field, pos, source.value);
    } else if (source.kind == SourceValues::Kind::Message) {
        ret = writer.PushMessage(parent, field, pos, source.scratch.get());
    } else {
        ret = writer.PushRun(parent, field, pos, source.scratch.get(), source.field);
    }
    if (ret != 0) {
        return FailOperation(ret);
    }
    TellPushed(pos, source.count);
    return 0;
}

int StatementExecutor::RunSetRunFrom() {
    int ret = LocatePath(true);
    if (ret != 0) {
        return ret;
    }
    const PlanStep& last = m_statement.path.back();
    const OstraneCommon::IndexRangeList range = Ranges();
    const int size = m_location.size;
    RecordWriter writer(m_record);
    SourceValues source;
    ret = GatherSource(writer.Util(), *m_root, m_statement.from, m_parameters, source);
    if (ret != 0) {
        return FailOperation(ret);
    }
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
    if (ret != 0) {
        return FailOperation(ret);
    }
    TellPushed(begin, source.count);
    m_result.sizeAfter = m_result.sizeBefore;
    return 0;
}

int StatementExecutor::RunSetFieldFrom() {
    int ret = LocatePath(true);
    if (ret != 0) {
        return ret;
    }
    const PlanStep& last = m_statement.path.back();
    const FieldDescriptor* field = last.ValueField();
    RecordWriter writer(m_record);
    SourceValues source;
    ret = GatherSource(writer.Util(), *m_root, m_statement.from, m_parameters, source);
    if (ret != 0) {
        return FailOperation(ret);
    }
    if (source.isBeyond) {
        ret = Fail(
            OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, m_statement.from.back().place,
            "index " + std::to_string(source.beyondIndex) + " of the source is beyond " + CountOf(source.beyondSize));
        return ret;
    }
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
    ret = WriteFieldFrom(Open(m_root, m_statement.path, m_parameters), source, writer);
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

int StatementExecutor::WriteFieldFrom(Message* parent, SourceValues& source, RecordWriter& writer) {
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
    ProtobufRecordUtil& util = writer.Util();
    if (source.count == 0) {
        return util.UpdateWithPbField(handle, OstraneCommon::EXPR_OP_POP, nullptr);
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
    return util.UpdateWithPbField(handle, OstraneCommon::EXPR_OP_SET, &whole);
}

}  // namespace OstraneRecord
