// What a condition costs beside the loop that one would write by hand for it. comparison.h says how to read
// the table.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"
#include "comparison.h"
#include "expr/parse_context.h"
#include "filters.pb.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using OstraneCommon::Expr;

filters::Record RecordOf(int size) {
    filters::Record record;
    uint32_t state = 1;
    const auto next = [&state](uint32_t bound) {
        state = state * 1664525 + 1013904223;
        return (state >> 8) % bound;
    };
    for (int i = 0; i < size; ++i) {
        record.add_i32s(static_cast<int32_t>(next(1000)));
        filters::Element& element = *record.add_elements();
        element.set_i32(static_cast<int32_t>(next(1000)));
        element.set_s(next(2) == 0 ? "alpha" : "omega");
        element.set_state(next(2) == 0 ? filters::OPEN : filters::SOLD);
        element.mutable_place()->set_city(next(3) == 0 ? "x" : "y");
    }
    return record;
}

// The record of the row under way.
const filters::Record* sampleRecord = nullptr;

const filters::Record& SampleRecord() {
    return *sampleRecord;
}

struct Marks {
    std::vector<bool> marks;
    int count = 0;
    bool operator==(const Marks& other) const { return count == other.count && marks == other.marks; }
};

// A condition parsed once, and searched with as the field operations do.
class Search {
public:
    Search(const char* text, const char* field) : m_field(SampleRecord().GetDescriptor()->FindFieldByName(field)) {
        OstraneCommon::ExprError error;
        if (text[0] != '\0' && Expr::Parse(text, m_context, m_filter, error) != 0) {
            std::fprintf(stderr, "%s: %s\n", text, error.message.c_str());
            std::abort();
        }
        m_record.m_pMessage = const_cast<filters::Record*>(&SampleRecord());
    }
    void Run(Marks& out) {
        OstraneCommon::ProtobuFieldResolver resolver(m_record);
        OstraneCommon::ExprVariant array;
        array.m_type = OstraneCommon::EXPR_UNRESOLVE;
        array.m_data.pb.SetField(&SampleRecord(), m_field, false);
        OstraneCommon::IndexRangeList ranges{{0, -1}};
        std::string errmsg;
        int first = 0;
        out.marks.clear();
        if (m_filter->FindArrayMatchPositions(resolver, array, ranges, out.marks, out.count, first, errmsg) != 0) {
            std::fprintf(stderr, "%s\n", errmsg.c_str());
            std::abort();
        }
    }

private:
    const FieldDescriptor* const m_field;
    OstraneCommon::ExprParseContext m_context;
    Expr m_always;
    Expr* m_filter = &m_always;
    ProtobufRecord m_record;
};

// By hand ---------------------------------------------------------------------------------------------

void HandNumbers(Marks& out) {
    const filters::Record& record = SampleRecord();
    const auto& numbers =
        record.GetReflection()->GetRepeatedField<int32_t>(record, record.GetDescriptor()->FindFieldByName("i32s"));
    out.marks.assign(static_cast<size_t>(numbers.size()), false);
    out.count = 0;
    for (int i = 0; i < numbers.size(); ++i) {
        if (numbers.Get(i) < 500) {
            out.marks[static_cast<size_t>(i)] = true;
            ++out.count;
        }
    }
}

void HandAll(Marks& out) {
    out.marks.assign(static_cast<size_t>(SampleRecord().i32s_size()), true);
    out.count = 0;
    for (bool mark : out.marks) {
        out.count += mark ? 1 : 0;
    }
}

template <typename Holds>
void HandElements(Marks& out, Holds holds) {
    const filters::Record& record = SampleRecord();
    const Reflection* const reflection = record.GetReflection();
    const FieldDescriptor* const elements = record.GetDescriptor()->FindFieldByName("elements");
    const int size = reflection->FieldSize(record, elements);
    out.marks.assign(static_cast<size_t>(size), false);
    out.count = 0;
    for (int i = 0; i < size; ++i) {
        if (holds(reflection->GetRepeatedMessage(record, elements, i))) {
            out.marks[static_cast<size_t>(i)] = true;
            ++out.count;
        }
    }
}

void HandSubMessages(Marks& out) {
    const FieldDescriptor* const field = filters::Element::descriptor()->FindFieldByName("i32");
    HandElements(out, [field](const Message& element) {
        const Reflection* const reflection = element.GetReflection();
        return reflection->HasField(element, field) && reflection->GetInt32(element, field) < 500;
    });
}

// Without the presence test, wrong for elements whose field is unset: the least that reflection costs.
void HandSubMessagesBare(Marks& out) {
    const FieldDescriptor* const field = filters::Element::descriptor()->FindFieldByName("i32");
    const Reflection* const reflection = filters::Element::default_instance().GetReflection();
    HandElements(out, [=](const Message& element) { return reflection->GetInt32(element, field) < 500; });
}

void HandMixed(Marks& out) {
    const google::protobuf::Descriptor* const type = filters::Element::descriptor();
    const FieldDescriptor* const s = type->FindFieldByName("s");
    const FieldDescriptor* const state = type->FindFieldByName("state");
    const FieldDescriptor* const place = type->FindFieldByName("place");
    const FieldDescriptor* const city = filters::Place::descriptor()->FindFieldByName("city");
    HandElements(out, [=](const Message& element) {
        const Reflection* const reflection = element.GetReflection();
        std::string scratch;
        if (!reflection->HasField(element, s) || reflection->GetStringReference(element, s, &scratch) != "alpha") {
            return false;
        }
        if (reflection->HasField(element, state) && reflection->GetEnumValue(element, state) == filters::OPEN) {
            return true;
        }
        if (!reflection->HasField(element, place)) {
            return false;
        }
        const Message& inner = reflection->GetMessage(element, place);
        const Reflection* const innerReflection = inner.GetReflection();
        return innerReflection->HasField(inner, city) &&
               innerReflection->GetStringReference(inner, city, &scratch) != "x";
    });
}

// Pairs -----------------------------------------------------------------------------------------------

// Without a limit the row is shown for its own sake.
constexpr double NO_LIMIT = 0;

struct Row {
    const char* name;
    const char* text;
    const char* field;
    void (*hand)(Marks&);
    double limit;
    int limitedSize;
};

const Row ROWS[] = {
    {"numbers", "$ < 500", "i32s", HandNumbers, 4, 100000},
    {"numbers_one_by_one", "coalesce($, 0) < 500", "i32s", HandNumbers, NO_LIMIT, 0},
    {"numbers_without_condition", "", "i32s", HandAll, 1, 100000},
    {"members", "i32 < 500", "elements", HandSubMessages, 1.5, 1000},
    {"members_bare", "i32 < 500", "elements", HandSubMessagesBare, NO_LIMIT, 0},
    {"mixed", "s = 'alpha' AND (state = 'OPEN' OR NOT place.city = 'x')", "elements", HandMixed, NO_LIMIT, 0},
};

void CompareSearch(benchmark::State& state, const Row& row, int size) {
    const filters::Record record = RecordOf(size);
    sampleRecord = &record;
    Search search(row.text, row.field);
    Marks expected;
    row.hand(expected);
    Marks out;
    Compare(
        state, "by_hand", size == row.limitedSize ? row.limit : NO_LIMIT, size <= 1000 ? 10 : 1, [] {},
        [&] { search.Run(out); }, [&] { row.hand(out); },
        [&] {
            if (!(out == expected)) {
                state.SkipWithError("the two ways do not agree");
            }
        });
}

}  // namespace

int main(int argc, char** argv) {
    for (const Row& row : ROWS) {
        for (const int size : {10, 1000, 100000}) {
            RegisterComparison(std::string("filter/") + row.name + "/" + std::to_string(size),
                               [&row, size](benchmark::State& state) { CompareSearch(state, row, size); });
        }
    }
    return RunComparisons(argc, argv);
}
