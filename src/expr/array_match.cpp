// Which elements of an array a selector and a condition choose.
//
// The ranges are turned into ascending runs first, so that every element is looked at once however the
// ranges overlap, and so that a selection without condition is marked and counted by runs.
#include "expr/array_match.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>

#include "common/err_code.h"

namespace OstraneCommon {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// Finds the size of the array behind `arrayVar`.
int ArrayCount(const ExprVariant& arrayVar, int& count, std::string& errmsg) {
    if (arrayVar.m_type != EXPR_UNRESOLVE || (arrayVar.m_flags & EXPR_FLAG_NAME) != 0) {
        errmsg = "the array to search is not a field";
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    const Message* const message = arrayVar.m_data.pb.pMessage;
    const FieldDescriptor* const field = arrayVar.m_data.pb.pFieldDesc;
    if (message == nullptr || field == nullptr) {
        errmsg = "the array to search has no message or no field";
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    if (!field->is_repeated()) {
        errmsg = std::string(field->full_name()) + " is not a repeated field";
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    if (field->containing_type() != message->GetDescriptor()) {
        errmsg = std::string(field->full_name()) + " is not a field of the message that is searched";
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    const Reflection* const reflection = message->GetReflection();
    if (reflection == nullptr) {
        errmsg = "the message that is searched has no reflection";
        return OstraneErrCode::GEN_ERR_ERR;
    }
    count = reflection->FieldSize(*message, field);
    return 0;
}

}  // namespace

std::vector<ElementRun> SelectedRuns(const IndexRangeList& ranges, int size) {
    std::vector<ElementRun> runs;
    if (size <= 0) {
        return runs;
    }
    if (ranges.empty()) {
        runs.push_back({0, size});
        return runs;
    }
    for (const std::pair<int32_t, int32_t>& range : ranges) {
        const int64_t fromStart = range.first < 0 ? int64_t{range.first} + size : int64_t{range.first};
        const int64_t toEnd = range.second < 0 ? int64_t{range.second} + size : int64_t{range.second};
        const int64_t first = std::max<int64_t>(fromStart, 0);
        const int64_t last = std::min<int64_t>(toEnd, int64_t{size} - 1);
        if (first <= last) {
            runs.push_back({static_cast<int>(first), static_cast<int>(last + 1)});
        }
    }
    std::sort(runs.begin(), runs.end(), [](const ElementRun& a, const ElementRun& b) { return a.begin < b.begin; });
    size_t kept = 0;
    for (size_t i = 1; i < runs.size(); ++i) {
        if (runs[i].begin <= runs[kept].end) {
            runs[kept].end = std::max(runs[kept].end, runs[i].end);
        } else {
            runs[++kept] = runs[i];
        }
    }
    if (!runs.empty()) {
        runs.resize(kept + 1);
    }
    return runs;
}

int Expr::FindArrayMatchPositions(ExprResolver& /*resolver*/, ExprVariant& arrayVar, IndexRangeList& vecRange,
                                  std::vector<bool>& vecMatch, int& matchCount, int& minMatch, std::string& errmsg) {
    int count = 0;
    const int ret = ArrayCount(arrayVar, count, errmsg);
    if (ret != 0) {
        return ret;
    }
    if (m_self.m_type != EXPR_NONE) {
        errmsg = "conditions are not read yet";
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    const std::vector<ElementRun> runs = SelectedRuns(vecRange, count);
    vecMatch.assign(static_cast<size_t>(count), false);
    matchCount = 0;
    for (const ElementRun& run : runs) {
        std::fill(vecMatch.begin() + run.begin, vecMatch.begin() + run.end, true);
        matchCount += run.end - run.begin;
    }
    if (!runs.empty()) {
        minMatch = runs.front().begin;
    }
    return 0;
}

}  // namespace OstraneCommon
