// Selectors: a size, one byte, and a range text. What the parser takes and what it selects of an array of that
// size, against a reading of the text one range at a time, and against a list of marks.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"
#include "filters.pb.h"

namespace {

using namespace OstraneCommon;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

enum class Reading { Right, Wrong, Unknown };

// One bound at `at`, which is moved behind it; of more than nine digits only that it is long.
bool ReadBound(const std::string& text, size_t& at, int& bound, bool& isLong) {
    const bool isNegative = at < text.size() && text[at] == '-';
    const size_t begin = at + (isNegative ? 1 : 0);
    size_t end = begin;
    bound = 0;
    for (; end < text.size() && text[end] >= '0' && text[end] <= '9'; ++end) {
        if (end - begin < 9) {
            bound = bound * 10 + (text[end] - '0');
        } else {
            isLong = true;
        }
    }
    if (end == begin) {
        return false;
    }
    bound = isNegative ? -bound : bound;
    at = end;
    return true;
}

// Digits, '-', '.', ',' and '*' alone are read; what else a selector may hold is left to the parser.
Reading ReadByHand(const std::string& text, IndexRangeList& ranges) {
    if (text.find_first_not_of("0123456789-.,*") != std::string::npos || text.find("--") != std::string::npos) {
        return Reading::Unknown;
    }
    bool isLong = false;
    for (size_t at = 0;; ++at) {
        int first = 0;
        int last = -1;
        if (at < text.size() && text[at] == '*') {
            ++at;
        } else {
            const bool hasFirst = ReadBound(text, at, first, isLong);
            const bool hasDots = text.compare(at, 2, "..") == 0;
            at += hasDots ? 2 : 0;
            const bool hasLast = hasDots && ReadBound(text, at, last, isLong);
            if (!hasFirst && !hasLast) {
                return Reading::Wrong;
            }
            last = !hasDots ? first : hasLast ? last : -1;
            // Counted from one side, the first end does not lie behind the last.
            if (hasFirst && hasLast && (first < 0) == (last < 0) && first > last) {
                return isLong ? Reading::Unknown : Reading::Wrong;
            }
        }
        ranges.push_back({first, last});
        if (at == text.size()) {
            return isLong ? Reading::Unknown : Reading::Right;
        }
        if (text[at] != ',') {
            return Reading::Wrong;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const int count = data[0] % 150;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    IndexRangeList ranges = {{7, 7}};
    const int ret = ParseIndexRange(text, ranges);
    IndexRangeList expected = {{7, 7}};
    const Reading reading = ReadByHand(text, expected);
    Require(ret <= 0 && ranges.front() == std::make_pair(7, 7));
    Require((ret == 0) == (ranges.size() > 1));
    if (reading != Reading::Unknown) {
        Require((ret == 0) == (reading == Reading::Right));
        Require(ret != 0 || ranges == expected);
    }
    if (ret != 0) {
        return 0;
    }
    ranges.erase(ranges.begin());

    filters::Element message;
    const auto* const field = message.GetDescriptor()->FindFieldByName("ints");
    Require(field != nullptr);
    for (int i = 0; i < count; ++i) {
        message.GetReflection()->AddInt32(&message, field, i);
    }
    ExprVariant array;
    array.m_type = EXPR_UNRESOLVE;
    array.m_data.pb.SetField(&message, field, false);
    ProtobufRecord record;
    record.m_pMessage = &message;
    ProtobuFieldResolver resolver(record);
    Expr all;
    std::vector<bool> marks;
    int matched = 0;
    int first = count;
    std::string reason;
    Require(all.FindArrayMatchPositions(resolver, array, ranges, marks, matched, first, reason) == 0);

    std::vector<bool> expectedMarks(static_cast<size_t>(count));
    int expectedCount = 0;
    int expectedFirst = count;
    for (int i = count - 1; i >= 0; --i) {
        for (const auto& range : ranges) {
            const int64_t begin = range.first < 0 ? int64_t{range.first} + count : range.first;
            const int64_t end = range.second < 0 ? int64_t{range.second} + count : range.second;
            if (begin <= i && i <= end) {
                expectedMarks[static_cast<size_t>(i)] = true;
                ++expectedCount;
                expectedFirst = i;
                break;
            }
        }
    }
    Require(marks == expectedMarks && matched == expectedCount && first == expectedFirst);
    return 0;
}
