#include "record/statement_executor.h"

#include <utility>

#include "common/match_runs.h"
#include "expr/map_entries.h"
#include "record/json_encode.h"
#include "record/plan_expr.h"
#include "record/plan_path.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

}  // namespace

StatementExecutor::StatementExecutor(const CompiledStatements& compiled, const CompiledStatement& statement,
                                     const PlanParameters& parameters, ProtobufRecord& record, StatementResult& result,
                                     Failure& failure)
    : m_compiled(compiled),
      m_statement(statement),
      m_parameters(parameters),
      m_record(record),
      m_root(record.m_pMessage),
      m_result(result),
      m_failure(failure) {}

int StatementExecutor::Run() {
    switch (m_statement.form) {
        case PlanForm::GetElements:
            return RunGetElements(false);
        case PlanForm::TakeElements:
            return RunGetElements(true);
        case PlanForm::PopElements:
            return RunPop();
        case PlanForm::GetSingular:
            return RunGetSingular();
        case PlanForm::GetEntries:
            return RunGetEntries();
        case PlanForm::SetElements:
            return RunSetElements();
        case PlanForm::SetEach:
            return RunSetEach();
        case PlanForm::SetField:
        case PlanForm::SetList:
        case PlanForm::SetMapEntries:
            return RunSetField();
        case PlanForm::SetRunFrom:
            return RunSetRunFrom();
        case PlanForm::SetFieldFrom:
            return RunSetFieldFrom();
        case PlanForm::PushValues:
            return RunPush();
        case PlanForm::PushFrom:
            return RunPushFrom();
        case PlanForm::ClearField:
            return RunClear();
        case PlanForm::ClearMapValue:
            return RunClearMapValue();
    }
    return Fail(OstraneErrCode::GEN_ERR_ERR, m_statement.place, "the statement has no form");
}

// Looking

int StatementExecutor::LocatePath(bool isWritten) {
    Locate(*m_root, m_statement.path, m_parameters, m_location, m_parameters.rootReflection);
    if (m_location.beyond != nullptr && (isWritten || m_compiled.options.strict)) {
        return FailIndex(*m_location.beyond, m_location.beyondIndex, m_location.beyondSize);
    }
    m_result.sizeBefore = m_result.sizeAfter = m_location.size;
    return 0;
}

OstraneCommon::IndexRangeList StatementExecutor::Ranges() const {
    return ResolveRanges(m_statement.path.back(), m_parameters);
}

int StatementExecutor::Select(bool loneMustExist) {
    const PlanStep& last = m_statement.path.back();
    if (loneMustExist && last.subscript == SubscriptKind::Index && m_location.index < 0) {
        return FailIndex(last, m_parameters.Index(last.index), m_location.size, PositionsHint(m_location.size));
    }
    if (m_location.size == 0) {
        return CheckStrict(last, 0, true);
    }
    if (m_statement.where < 0 || m_compiled.options.strict) {
        SelectPositions(Ranges(), m_location.size, m_result.positions);
        const int ret = CheckStrict(last, m_location.size, m_result.positions.empty());
        if (ret != 0 || m_statement.where < 0) {
            m_result.matched = static_cast<int64_t>(m_result.positions.size());
            return ret;
        }
        m_result.positions.clear();
    }
    const PlanExpr& condition = m_statement.conditions[static_cast<size_t>(m_statement.where)];
    std::vector<bool> vecMatch;
    int matchCount = 0;
    int minMatch = m_location.size;
    OstraneCommon::ExprError error;
    const int ret = m_parameters.Bound(condition).FindMatches(m_root, *m_location.parent, Ranges(), vecMatch,
                                                              matchCount, minMatch, error);
    if (ret != 0) {
        return OstraneRecord::Fail(m_failure, ret, error, last.field);
    }
    m_result.positions.reserve(static_cast<size_t>(matchCount));
    OstraneCommon::ForEachMatch(vecMatch, static_cast<size_t>(minMatch), [this](size_t i) {
        m_result.positions.push_back(static_cast<int32_t>(i));
        return true;
    });
    m_result.matched = matchCount;
    return 0;
}

int StatementExecutor::LocateElements(bool isWritten) {
    const int ret = LocatePath(isWritten);
    return ret != 0 ? ret : Select(isWritten);
}

int StatementExecutor::CheckStrict(const PlanStep& step, int size, bool isNothing) {
    if (!isNothing || !m_compiled.options.strict || !step.HasSelector()) {
        return 0;
    }
    return OstraneRecord::Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, step.subscriptPlace,
                               "the selector selects none of " + CountOf(size) + " of " + NameOf(step.field), "",
                               step.field);
}

// GET, TAKE, POP

int StatementExecutor::RunGetElements(bool takes) {
    m_result.hasElements = true;
    int ret = LocateElements(false);
    if (ret == 0) {
        ret = SelectedToJson();
    }
    return ret == 0 && takes ? RemoveSelected() : ret;
}

int StatementExecutor::RunPop() {
    const int ret = LocateElements(false);
    return ret == 0 ? RemoveSelected() : ret;
}

int StatementExecutor::RemoveSelected() {
    if (m_result.positions.empty()) {
        return 0;
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    const int ret = RecordWriter(m_record).Remove(parent, m_statement.Field(), m_location.size, m_result.positions);
    m_result.changed = m_result.matched;
    m_result.sizeAfter = m_result.sizeBefore - static_cast<int32_t>(m_result.changed);
    return ret == 0 ? 0 : FailOperation(ret);
}

int StatementExecutor::SelectedToJson() {
    return ToJson(m_location.parent, m_statement.Field(), m_result.positions.data(), m_result.positions.size());
}

int StatementExecutor::ToJson(const Message* parent, const FieldDescriptor* field, const int32_t* indexes,
                              size_t count) {
    JsonOptions options;
    options.camelNames = m_compiled.options.camelNames;
    options.dropUnknownFields = true;
    m_result.elements.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        InputError error;
        std::string json;
        const int ret = FieldToJson(*parent, field, indexes[i], options, json, error, &m_result.unknownFields);
        if (ret != 0) {
            return Fail(ret, m_statement.path.back().place, error.message, error.hint);
        }
        m_result.elements.push_back(std::move(json));
    }
    return 0;
}

int StatementExecutor::RunGetSingular() {
    m_result.hasElements = true;
    const int located = LocatePath(false);
    if (located != 0) {
        return located;
    }
    const PlanStep& last = m_statement.path.back();
    const Message* parent = m_location.parent;
    if (parent != nullptr && last.IsMapValue()) {
        parent = m_location.index < 0
                     ? nullptr
                     : &parent->GetReflection()->GetRepeatedMessage(*parent, last.field, m_location.index);
    }
    const bool isThere = parent != nullptr && HasValue(*parent, last.ValueField());
    if (!last.IsMapValue()) {
        m_result.sizeBefore = m_result.sizeAfter = isThere ? 1 : 0;
    }
    if (!isThere) {
        return 0;
    }
    const int32_t itself = -1;
    const int ret = ToJson(parent, last.ValueField(), &itself, 1);
    m_result.matched = ret == 0 ? 1 : 0;
    return ret;
}

int StatementExecutor::RunGetEntries() {
    m_result.hasElements = true;
    const int ret = LocatePath(false);
    if (ret != 0 || m_location.parent == nullptr) {
        return ret;
    }
    // The entries come in the order of their keys: how a map keeps them says nothing.
    m_result.positions = OstraneCommon::MapEntries(*m_location.parent, m_statement.Field());
    m_result.matched = m_location.size;
    const int printed = SelectedToJson();
    m_result.positions.clear();  // an entry has no position
    return printed;
}

// CLEAR

int StatementExecutor::RunClear() {
    const int ret = LocatePath(false);
    if (ret != 0 || m_location.parent == nullptr) {
        return ret;
    }
    const FieldDescriptor* field = m_statement.Field();
    if (!field->is_repeated()) {
        m_result.sizeBefore = HasValue(*m_location.parent, field) ? 1 : 0;
    }
    m_result.matched = m_result.changed = m_result.sizeBefore;
    m_result.sizeAfter = 0;
    if (m_result.sizeBefore == 0) {
        return 0;
    }
    Message* parent = Open(m_root, m_statement.path, m_parameters);
    MutableProtobufField handle = {parent, field};
    const int cleared = RecordWriter(m_record).Util().UpdateWithPbField(handle, OstraneCommon::EXPR_OP_POP, nullptr);
    m_result.sizeAfter = field->is_repeated() || !HasValue(*parent, field) ? 0 : 1;
    return cleared == 0 ? 0 : FailOperation(cleared);
}

int StatementExecutor::RunClearMapValue() {
    const int ret = LocatePath(false);
    if (ret != 0 || m_location.parent == nullptr || m_location.index < 0) {
        return ret;
    }
    const PlanStep& last = m_statement.path.back();
    RemoveEntry(Open(m_root, m_statement.path, m_parameters), last.field, m_parameters.Key(last.key, last.keySlot));
    m_result.matched = m_result.changed = 1;
    m_result.sizeAfter = m_result.sizeBefore - 1;
    return 0;
}

// Errors

int StatementExecutor::FailIndex(const PlanStep& step, int32_t index, int size, std::string hint) {
    return OstraneRecord::Fail(
        m_failure, OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, step.subscriptPlace,
        "index " + std::to_string(index) + " is beyond " + CountOf(size) + " of " + NameOf(step.field), std::move(hint),
        step.field);
}

int StatementExecutor::FailLacking(const std::string& missing, const Place& place) {
    return Fail(OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, place,
                "required fields would be missing: " + missing);
}

int StatementExecutor::FailOperation(int ret) {
    return Fail(ret, m_statement.place, "the field operation on " + NameOf(m_statement.Field()) + " failed");
}

int StatementExecutor::Fail(int code, const Place& place, std::string message, std::string hint) {
    return OstraneRecord::Fail(m_failure, code, place, std::move(message), std::move(hint), m_statement.Field());
}

}  // namespace OstraneRecord
