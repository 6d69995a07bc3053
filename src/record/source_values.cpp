#include "record/source_values.h"

#include <algorithm>

#include "expr/array_match.h"

namespace OstraneRecord {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// Copies elements of a repeated field to the end of the same field of `scratch`.
int CopyElements(ProtobufRecordUtil& util, const Message& parent, const FieldDescriptor* field,
                 OstraneCommon::IndexRangeList ranges, Message* scratch) {
    const Reflection* reflection = parent.GetReflection();
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) {
        // Get hands out no enum elements.
        std::vector<int32_t> positions;
        SelectPositions(ranges, reflection->FieldSize(parent, field), positions);
        for (const int32_t position : positions) {
            scratch->GetReflection()->AddEnumValue(scratch, field,
                                                   reflection->GetRepeatedEnumValue(parent, field, position));
        }
        return 0;
    }
    ProtobufField source = {&parent, field};
    MutableProtobufField target = {scratch, field};
    return util.GetWithRange(source, false, ranges, nullptr, target, nullptr);
}

}  // namespace

void SelectPositions(const OstraneCommon::IndexRangeList& ranges, int size, std::vector<int32_t>& out) {
    std::vector<OstraneCommon::ElementRun> runs;
    runs.reserve(ranges.size());
    bool isAscending = true;
    for (const auto& range : ranges) {
        const OstraneCommon::ElementRun run = OstraneCommon::ClipRange(range, size);
        if (run.begin < run.end) {
            isAscending = isAscending && (runs.empty() || runs.back().begin <= run.begin);
            runs.push_back(run);
        }
    }
    if (!isAscending) {
        std::sort(runs.begin(), runs.end(), [](const OstraneCommon::ElementRun& a, const OstraneCommon::ElementRun& b) {
            return a.begin < b.begin;
        });
    }
    out.clear();
    int next = 0;
    for (const OstraneCommon::ElementRun& run : runs) {
        for (int i = std::max(next, run.begin); i < run.end; ++i) {
            out.push_back(i);
        }
        next = std::max(next, run.end);
    }
}

OstraneCommon::IndexRangeList ResolveRanges(const PlanStep& step, const PlanParameters& parameters) {
    OstraneCommon::IndexRangeList ranges;
    ranges.reserve(std::max<size_t>(step.ranges.size(), 1));
    if (step.subscript == SubscriptKind::Index) {
        const int32_t index = parameters.Index(step.index);
        ranges.emplace_back(index, index);
    }
    for (const PlanRange& range : step.ranges) {
        const int32_t first = parameters.Index(range.first);
        ranges.emplace_back(first, range.isLone ? first : parameters.Index(range.last));
    }
    if (ranges.empty()) {
        ranges.emplace_back(0, -1);
    }
    return ranges;
}

int GatherSource(ProtobufRecordUtil& util, const Message& root, const PlanPath& path, const PlanParameters& parameters,
                 SourceValues& out) {
    const PlanStep& last = path.back();
    Locate(root, path, parameters, out.location);
    const RecordLocation& location = out.location;
    out.field = last.field;
    const bool isArray = last.field->is_repeated() && !last.field->is_map();
    const bool isRun = isArray && last.subscript != SubscriptKind::Index;
    if (location.beyond != nullptr && !isRun) {
        out.isBeyond = true;
        out.beyondIndex = location.beyondIndex;
        out.beyondSize = location.beyondSize;
        return 0;
    }
    if (isArray) {
        out.isBeyond = !isRun && location.index < 0;
        out.beyondIndex = isRun ? 0 : parameters.Index(last.index);
        out.beyondSize = location.size;
        out.kind = out.isBeyond ? SourceValues::Kind::Nothing : SourceValues::Kind::Run;
        if (location.parent == nullptr || location.size == 0 || out.isBeyond) {
            return 0;
        }
        out.scratch.reset(location.parent->New());
        const int ret =
            CopyElements(util, *location.parent, last.field, ResolveRanges(last, parameters), out.scratch.get());
        out.count = out.scratch->GetReflection()->FieldSize(*out.scratch, last.field);
        return ret;
    }
    const Message* parent = location.parent;
    const FieldDescriptor* field = last.ValueField();
    if (parent != nullptr && last.IsMapValue()) {
        parent = location.index < 0 ? nullptr
                                    : &parent->GetReflection()->GetRepeatedMessage(*parent, last.field, location.index);
    }
    if (parent == nullptr || !HasValue(*parent, field)) {
        return 0;
    }
    out.field = field;
    out.count = 1;
    if (field->message_type() == nullptr) {
        out.kind = SourceValues::Kind::Value;
        out.value = ReadFieldValue(*parent, field);
        return 0;
    }
    out.kind = SourceValues::Kind::Message;
    const Message& message = parent->GetReflection()->GetMessage(*parent, field);
    out.scratch.reset(message.New());
    out.scratch->CopyFrom(message);
    return 0;
}

}  // namespace OstraneRecord
