// Which elements of an array a selector and a condition choose.
//
// The ranges are marked first, by runs of whole words; overlaps count once because a mark is set once. A
// condition, bound to the array's type before the first element is read, then goes over the marked
// elements a word at a time and drops those for which it is not true.
#include "expr/array_match.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>

#include "common/err_code.h"
#include "common/match_runs.h"
#include "common/protobuf_field_resolver.h"
#include "expr/bound_program.h"

namespace OstraneCommon {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

// Whether there is an array behind `arrayVar`, which can be read.
int CheckArray(const ExprVariant& arrayVar, std::string& errmsg) {
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
    if (message->GetReflection() == nullptr) {
        errmsg = "the message that is searched has no reflection";
        return OstraneErrCode::GEN_ERR_ERR;
    }
    return 0;
}

// Marks the ranges at the front of range .. end that are lone positions of the array, each at `previousEnd`
// or above, and sets `previousEnd` to behind the last of them. Returns the range that it stopped at.
//
//   (1,1) (3,3) (4,6)  ->  marks 1 and 3, stops at (4,6)
const std::pair<int32_t, int32_t>* MarkLonePositions(const std::pair<int32_t, int32_t>* range,
                                                     const std::pair<int32_t, int32_t>* end, int size,
                                                     MatchMarker& marker, int& previousEnd) {
    int next = previousEnd;
    // One comparison without sign sees to both ends.
    while (range != end && range->first == range->second &&
           static_cast<uint32_t>(range->first) - static_cast<uint32_t>(next) < static_cast<uint32_t>(size - next)) {
        marker.Mark(static_cast<size_t>(range->first));
        next = range->first + 1;
        ++range;
    }
    previousEnd = next;
    return range;
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
        const std::pair<int32_t, int32_t>* range = ranges.data();
        const std::pair<int32_t, int32_t>* const end = range + ranges.size();
        while (range != end) {
            // Lists of lone positions are the long ones.
            const std::pair<int32_t, int32_t>* const lone = range;
            range = MarkLonePositions(range, end, size, marker, previousEnd);
            if (range != lone) {
                total += range - lone;
                lowest = std::min(lowest, lone->first);
                continue;
            }
            const ElementRun run = ClipRange(*range, size);
            ++range;
            if (run.begin == run.end) {
                continue;
            }
            marker.Mark(static_cast<size_t>(run.begin), static_cast<size_t>(run.end));
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

// Of the elements begin + i of the bits i of `word`, those for which the condition is true.
int TestWord(const BoundNode& condition, size_t begin, bool areMessages, EvalContext& context, uint64_t& word) {
    for (uint64_t rest = word; rest != 0; rest &= rest - 1) {
        const size_t bit = LowestBit(rest);
        const int index = static_cast<int>(begin + bit);
        context.row.index = index;
        if (areMessages) {
            context.row.element = &context.selfReader->GetMessage(index);
        }
        Value isTrue;
        const int ret = condition.Eval(context, isTrue);
        if (ret != 0) {
            return ret;
        }
        // No jump: which elements match is what no processor can guess.
        word &= ~(static_cast<uint64_t>(!isTrue.IsTrue()) << bit);
        if (!context.scratch.empty()) {
            context.scratch.clear();
        }
    }
    return 0;
}

// Keeps, of the marked elements, those for which the program's condition is true.
int FilterMarks(const BoundProgram& program, EvalContext& context, std::vector<bool>& marks, int& matchCount,
                int& minMatch) {
    const bool areMessages = program.scope.self->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    const size_t first = static_cast<size_t>(minMatch) / MATCH_WORD_BITS;
    matchCount = 0;
    minMatch = -1;
    for (size_t wordIndex = first; wordIndex * MATCH_WORD_BITS < marks.size(); ++wordIndex) {
        const size_t begin = wordIndex * MATCH_WORD_BITS;
        const uint64_t marked = MatchWord(marks, wordIndex);
        if (marked == 0) {
            continue;
        }
        uint64_t word = marked;
        if (program.mask != nullptr) {
            const size_t count = std::min(MATCH_WORD_BITS, marks.size() - begin);
            word &= program.mask->Mask(context.selfReader->Scalars(), static_cast<int>(begin), static_cast<int>(count));
        } else {
            const int ret = TestWord(*program.root, begin, areMessages, context, word);
            if (ret != 0) {
                return ret;
            }
        }
        RemoveMarks(marks, wordIndex, marked & ~word);
        matchCount += __builtin_popcountll(word);
        if (minMatch < 0 && word != 0) {
            minMatch = static_cast<int>(begin + LowestBit(word));
        }
    }
    return 0;
}

}  // namespace

int SearchProgram(const BoundProgram& program, const Message* record, const Message& owner,
                  const IndexRangeList& ranges, std::vector<bool>& vecMatch, int& matchCount, int& minMatch,
                  ExprError& error) {
    const FieldDescriptor* const field = program.scope.self;
    ArrayReader reader;
    reader.Open(owner, field);
    int count = 0;
    int lowest = -1;
    MarkRanges(ranges, reader.Count(), vecMatch, count, lowest);
    if (program.root != nullptr && count > 0) {
        EvalContext context;
        context.row.record = record;
        context.row.owner = &owner;
        context.selfReader = &reader;
        context.error = &error;
        context.cache.resize(program.slotCount);
        if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
            // The elements of one array are of one class.
            context.elementReflection = reader.GetMessage(0).GetReflection();
            if (context.elementReflection == nullptr) {
                error.code = OstraneErrCode::GEN_ERR_ERR;
                error.message = "the elements of " + std::string(field->full_name()) + " have no reflection";
                return error.code;
            }
        }
        const int ret = FilterMarks(program, context, vecMatch, count, lowest);
        if (ret != 0) {
            return ret;
        }
    }
    matchCount = count;
    if (lowest >= 0) {
        minMatch = lowest;
    }
    return 0;
}

int Expr::FindArrayMatchPositions(ExprResolver& resolver, ExprVariant& arrayVar, IndexRangeList& vecRange,
                                  std::vector<bool>& vecMatch, int& matchCount, int& minMatch, std::string& errmsg) {
    int ret = CheckArray(arrayVar, errmsg);
    if (ret != 0) {
        return ret;
    }
    const PbField& array = arrayVar.m_data.pb;
    const ProtobuFieldResolver* const fields = dynamic_cast<const ProtobuFieldResolver*>(&resolver);
    const Message* const record = fields == nullptr ? nullptr : fields->Record().m_pMessage;
    const ExprScope scope =
        ExprScope::OfElements(array.pFieldDesc, record == nullptr ? nullptr : record->GetDescriptor());
    BindSource source;
    source.resolver = &resolver;
    BoundProgram program;
    ExprError error;
    ret = BindProgram(*this, scope, source, true, program, error);
    if (ret == 0) {
        ret = SearchProgram(program, record, *array.pMessage, vecRange, vecMatch, matchCount, minMatch, error);
    }
    if (ret != 0) {
        errmsg = error.message;
    }
    return ret;
}

}  // namespace OstraneCommon
