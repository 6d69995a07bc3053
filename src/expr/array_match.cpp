// Which elements of an array a selector and a condition choose.
//
// The ranges are marked first, by runs of whole words; overlaps count once because a mark is set once.
#include "expr/array_match.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>

#include "common/err_code.h"
#include "common/match_runs.h"

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

// Marks the elements that the ranges select; no range at all selects every element. Sets how many they
// are, and the lowest of them when there is one.
void MarkRanges(const IndexRangeList& ranges, int size, std::vector<bool>& marks, int& matchCount, int& minMatch) {
    if (ranges.empty()) {
        marks.assign(static_cast<size_t>(size), true);
        matchCount = size;
        minMatch = size > 0 ? 0 : minMatch;
        return;
    }
    marks.assign(static_cast<size_t>(size), false);
    int lowest = size;
    int64_t total = 0;
    bool isAscending = true;
    int previousEnd = 0;
    {
        MatchMarker marker(marks);
        for (const std::pair<int32_t, int32_t>& range : ranges) {
            ElementRun run = {range.first, range.second};
            // Lists of lone positions are the long ones.
            if (range.first == range.second && static_cast<uint32_t>(range.first) < static_cast<uint32_t>(size)) {
                marker.Mark(static_cast<size_t>(range.first));
                ++run.end;
            } else {
                run = ClipRange(range, size);
                if (run.begin == run.end) {
                    continue;
                }
                marker.Mark(static_cast<size_t>(run.begin), static_cast<size_t>(run.end));
            }
            total += run.end - run.begin;
            isAscending &= run.begin >= previousEnd;
            previousEnd = run.end;
            lowest = std::min(lowest, run.begin);
        }
    }
    // Only runs that may overlap need the marks counted.
    matchCount = static_cast<int>(isAscending ? total : static_cast<int64_t>(CountMatches(marks)));
    minMatch = lowest < size ? lowest : minMatch;
}

}  // namespace

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
    MarkRanges(vecRange, count, vecMatch, matchCount, minMatch);
    return 0;
}

}  // namespace OstraneCommon
