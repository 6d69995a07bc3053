// A condition and a record, both of any bytes: the input's first line is the condition, the rest is a
// filters.Record in binary. Whatever they are, the search answers, and answers the same in every way that
// there is to ask.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"
#include "expr/bound_filter.h"
#include "expr/parse_context.h"
#include "filters.pb.h"

namespace {

using namespace OstraneCommon;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

struct Found {
    int ret = 0;
    std::vector<bool> marks;
    int count = -1;
    int first = -1;
    std::string errmsg;
};

Found Search(Expr& filter, ProtobuFieldResolver& resolver, const google::protobuf::Message& record,
             const google::protobuf::FieldDescriptor* field, IndexRangeList ranges) {
    ExprVariant array;
    array.m_type = EXPR_UNRESOLVE;
    array.m_data.pb.SetField(&record, field, false);
    Found out;
    out.ret = filter.FindArrayMatchPositions(resolver, array, ranges, out.marks, out.count, out.first, out.errmsg);
    return out;
}

// The outputs agree with each other and with one evaluation after the other. `some` is what was found in `ranges`.
void Check(const Found& all, const Found& some, const IndexRangeList& ranges, const Expr& filter,
           filters::Record& record, const google::protobuf::FieldDescriptor* field) {
    const ExprScope scope = ExprScope::OfElements(field, record.GetDescriptor());
    BoundExpr bound;
    ExprError error;
    const int ret = BoundExpr::BindCondition(filter, scope, ExprBindings(), bound, error);
    for (const Found* found : {&all, &some}) {
        Require(found->ret <= 0 && (found->ret == 0) == found->errmsg.empty());
    }
    if (ret != 0) {
        Require(all.ret == ret && some.ret == ret);
        return;
    }
    const int size = record.GetReflection()->FieldSize(record, field);
    int failed = 0;
    for (const Found* found : {&all, &some}) {
        int count = 0;
        int first = -1;
        for (int i = 0; i < size; ++i) {
            bool isInRange = found == &all;
            for (const auto& range : ranges) {
                const int begin = range.first < 0 ? range.first + size : range.first;
                const int end = range.second < 0 ? range.second + size : range.second;
                isInRange |= begin <= i && i <= end;
            }
            ExprRow row;
            row.record = row.owner = &record;
            row.index = i;
            if (field->message_type() != nullptr) {
                row.element = &record.GetReflection()->GetRepeatedMessage(record, field, i);
            }
            bool isTrue = false;
            const int tested = isInRange ? bound.Test(row, isTrue, error) : 0;
            failed = failed == 0 ? tested : failed;
            if (found->ret == 0) {
                Require(tested == 0 && (isInRange && isTrue) == found->marks[static_cast<size_t>(i)]);
            }
            count += isTrue ? 1 : 0;
            first = isTrue && first < 0 ? i : first;
        }
        // A search fails where an element does.
        Require(found->ret == failed);
        if (found->ret == 0) {
            Require(found->marks.size() == static_cast<size_t>(size));
            Require(count == found->count && first == found->first);
        }
        failed = 0;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t lineEnd = input.find('\n');
    const std::string text = input.substr(0, lineEnd);
    filters::Record record;
    if (lineEnd != std::string::npos) {
        record.ParsePartialFromString(input.substr(lineEnd + 1));
    }
    ExprParseContext context;
    Expr* filter = nullptr;
    ExprError error;
    if (Expr::Parse(text, context, filter, error) != 0) {
        return 0;
    }
    ProtobufRecord holder;
    holder.m_pMessage = &record;
    ProtobuFieldResolver resolver(holder);
    ExprVariant value;
    std::string errmsg;
    Require(filter->Calculate(resolver, value, errmsg) <= 0);
    for (int i = 0; i < record.GetDescriptor()->field_count(); ++i) {
        const google::protobuf::FieldDescriptor* const field = record.GetDescriptor()->field(i);
        if (!field->is_repeated()) {
            continue;
        }
        const IndexRangeList ranges = {{1, -2}, {-1, 0}};
        Check(Search(*filter, resolver, record, field, {}), Search(*filter, resolver, record, field, ranges), ranges,
              *filter, record, field);
    }
    return 0;
}
