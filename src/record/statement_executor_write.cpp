// SET and PUSH: the forms that write values.
#include <algorithm>
#include <numeric>
#include <utility>

#include "expr/map_entries.h"
#include "record/plan_expr.h"
#include "record/statement_executor.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// A value of the field's kind that is nothing yet, as it is written.
std::string NothingOf(const FieldDescriptor* field) {
    switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            return "false";
        case FieldDescriptor::CPPTYPE_STRING:
            return "''";
        case FieldDescriptor::CPPTYPE_ENUM:
            return "'" + std::string(field->default_value_enum()->name()) + "'";
        default:
            return "0";
    }
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
            const std::string unset = UnsetFieldOf(computed.expr, own, computed.shown);
            return OstraneRecord::Fail(
                m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, computed.expr.place,
                "the value for " + computed.shown + " is NULL" +
                    (unset.empty() ? std::string() : ": " + unset + " is not set"),
                "coalesce(.., " + NothingOf(computed.field) + ") gives a value where there is none", computed.field);
        }
        Misfit misfit;
        ret = ConvertValue(value, computed.field, computed.isEnumNumber, out[i], misfit);
        if (ret != 0) {
            return OstraneRecord::Fail(m_failure, ret, computed.expr.place, misfit.message, misfit.hint,
                                       computed.field);
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
    Locate(base, path, m_parameters, out.location);
    if (out.location.beyond != nullptr) {
        return FailIndex(*out.location.beyond, out.location.beyondIndex, out.location.beyondSize);
    }
    const bool isElement = last.subscript == SubscriptKind::Index;
    if (isElement && out.location.index < 0) {
        return FailIndex(last, m_parameters.Index(last.index), out.location.size, PositionsHint(out.location.size));
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

// The entries that a map's literal sets or removes; there is nothing to do for the null of a key that is not there.
int64_t StatementExecutor::ChangedEntries(const Message* parent, const FieldDescriptor* map,
                                          const ResolvedValues& values) const {
    const std::vector<ValueMember>& members = m_statement.value.members;
    if (m_statement.form != PlanForm::SetMapEntries) {
        return 0;
    }
    return std::count_if(members.begin(), members.end(), [&](const ValueMember& entry) {
        return !values.IsNull(entry.value) ||
               (parent != nullptr && FindEntry(*parent, map, m_parameters.Key(entry.key, entry.keySlot)) >= 0);
    });
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
        if (last.isMap) {
            return OstraneCommon::CountMapEntries(*parent, last.field);
        }
        return last.field->is_repeated()       ? parent->GetReflection()->FieldSize(*parent, last.field)
               : HasValue(*parent, last.field) ? 1
                                               : 0;
    };
    m_result.sizeBefore = last.field->is_repeated() ? location.size : sizeOf(location.parent);
    const ResolvedValues values(m_parameters, target.computed);
    const int64_t entries = ChangedEntries(location.parent, last.field, values);
    ret = WriteTarget(m_root, target);
    if (ret != 0) {
        return FailOperation(ret);
    }
    RecordLocation after;
    Locate(*m_root, m_statement.tail, m_parameters, after);
    m_result.sizeAfter = sizeOf(after.parent);
    const bool isNull = values.IsNull(m_statement.value);
    if (m_statement.form == PlanForm::SetMapEntries && !isNull) {
        m_result.matched = m_result.changed = entries;
        return 0;
    }
    if (m_statement.form != PlanForm::SetField) {
        m_result.matched = m_result.sizeBefore;
        m_result.changed = std::max(m_result.sizeBefore, m_result.sizeAfter);
        return 0;
    }
    const bool wasThere = last.IsMapValue() ? location.index >= 0 : m_result.sizeBefore > 0;
    const bool isChange = !isNull || wasThere;
    m_result.matched = m_result.changed = isChange ? 1 : 0;
    return 0;
}

int StatementExecutor::RunSetEach() {
    int ret = LocateElements(true);
    if (ret != 0) {
        return ret;
    }
    std::vector<Target> targets(m_result.positions.size());
    for (size_t i = 0; i < targets.size(); ++i) {
        const Message& element = m_location.parent->GetReflection()->GetRepeatedMessage(
            *m_location.parent, m_statement.Field(), m_result.positions[i]);
        ret = LookUpTarget(element, &element, targets[i]);
        if (ret == OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX) {
            m_failure.error.message += ", in element " + std::to_string(m_result.positions[i]);
        }
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

// One element, known since it was bound, whose position is inside the array.
int StatementExecutor::RunPreparedSet(AssignExpr& set) {
    m_result.positions.push_back(m_location.index);
    m_result.matched = m_result.changed = 1;
    MutableProtobufField handle = {Open(m_root, m_statement.path, m_parameters), m_statement.Field()};
    const int ret = ProtobufRecordUtil(m_record).SetWithExpr(handle, set.Tree());
    return ret == 0 ? 0 : FailOperation(ret);
}

int StatementExecutor::RunSetElements() {
    int ret = LocatePath(true);
    AssignExpr* prepared = m_parameters.Tree(m_statement.number);
    if (ret == 0 && prepared != nullptr && m_location.index >= 0) {
        return RunPreparedSet(*prepared);
    }
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

int StatementExecutor::FailPushPosition(int pos) {
    const PlanStep& last = m_statement.path.back();
    return pos >= 0 ? FailIndex(last, pos, m_location.size)
                    : Fail(OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
                           "the position " + std::to_string(pos) +
                               " is none: PUSH inserts at 0 .. size, or with -1 at the end");
}

int StatementExecutor::LocatePush(int& pos) {
    const int ret = LocatePath(true);
    if (ret != 0) {
        return ret;
    }
    const PlanStep& last = m_statement.path.back();
    pos = last.subscript == SubscriptKind::Index ? m_parameters.Index(last.index) : -1;
    if (pos == -1) {
        pos = m_location.size;
    }
    return pos >= 0 && pos <= m_location.size ? 0 : FailPushPosition(pos);
}

// One element, known since it was bound: the operation checks the place alone.
int StatementExecutor::RunPreparedPush(AssignExpr& push, int pos) {
    int ret = CheckCreated(m_statement.path, m_location);
    if (ret != 0) {
        return ret;
    }
    TellPushed(pos, 1);
    MutableProtobufField handle = {Open(m_root, m_statement.path, m_parameters), m_statement.Field()};
    ret = ProtobufRecordUtil(m_record).PushWithExpr(handle, push.Tree());
    return ret == 0 ? 0 : FailOperation(ret);
}

int StatementExecutor::RunPush() {
    int pos = 0;
    int ret = LocatePush(pos);
    if (ret != 0) {
        return ret;
    }
    AssignExpr* prepared = m_parameters.Tree(m_statement.number);
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
    TellPushed(pos, count);
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    ret = RecordWriter(m_record).Push(parent, m_statement.Field(), pos, m_statement.value, values);
    return ret == 0 ? 0 : FailOperation(ret);
}

// Told before it is done: telling takes memory, and what failed forgets it again.
void StatementExecutor::TellPushed(int pos, int count) {
    m_result.matched = m_result.changed = count;
    m_result.sizeAfter = m_result.sizeBefore + count;
    m_result.positions.push_back(pos);
    if (count > 1) {
        m_result.positions.resize(static_cast<size_t>(count));
        std::iota(m_result.positions.begin(), m_result.positions.end(), pos);
    }
}

}  // namespace OstraneRecord
