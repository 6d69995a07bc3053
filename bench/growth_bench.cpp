// How the time of an operation grows with the size of what it works on: from 10 to 10 million elements or
// bytes, or as far as the memory or a limit of the language allows.
//
// `exponent` is the slope of time over size, both in logarithms, fitted over the sizes from 1,000 on: 0 for an
// operation that does not depend on the size, 1 for linear, 2 for quadratic. It may pass 1 a little where a
// size outgrows a cache. `decade` is the largest factor between the times of two sizes ten apart.
#include <google/protobuf/message.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_field_resolver.h"
#include "element_expr.h"
#include "expr/statement.h"
#include "record/record_reader.h"
#include "record/statement_plan.h"
#include "records.h"

namespace {

using bench::Record;
using OstraneCommon::IndexRangeList;

constexpr double LARGEST_EXPONENT = 1.25;
// Of jobs that free elements with objects of their own: a million of them lie in no cache, a thousand do.
constexpr double LARGEST_EXPONENT_OF_OBJECTS = 1.6;
constexpr int ALL = 10000000;

// One size: `prepare` makes what `work` uses up; `work` says whether its result is right.
struct Job {
    std::function<void()> prepare;
    std::function<bool()> work;
};

double Median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

// Small sizes take longer to prepare than to run; large ones are run a few times.
double TimeOf(Job& job, bool& isRight) {
    std::vector<double> times;
    const auto begin = std::chrono::steady_clock::now();
    while (times.size() < 5 ||
           (times.size() < 200 && std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(50))) {
        job.prepare();
        const auto start = std::chrono::steady_clock::now();
        isRight = job.work() && isRight;
        const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
        times.push_back(elapsed.count());
    }
    return Median(times);
}

void Grow(benchmark::State& state, int largest, double atMost, const std::function<Job(int)>& makeJob) {
    bool isRight = true;
    double sumX = 0;
    double sumY = 0;
    double sumXx = 0;
    double sumXy = 0;
    int count = 0;
    double decade = 0;
    double before = 0;
    for (auto _ : state) {
        for (int size = 10; size <= largest; size *= 10) {
            Job job = makeJob(size);
            const double time = TimeOf(job, isRight);
            state.counters["at_" + std::to_string(size)] = time;
            if (size >= 1000) {
                const double x = std::log10(size);
                const double y = std::log10(time);
                sumX += x;
                sumY += y;
                sumXx += x * x;
                sumXy += x * y;
                ++count;
                decade = count > 1 ? std::max(decade, time / before) : 0;
            }
            before = time;
        }
        state.SetIterationTime(before * 1e-9);
    }
    if (!isRight) {
        state.SkipWithError("wrong result");
        return;
    }
    state.counters["exponent"] = (count * sumXy - sumX * sumY) / (count * sumXx - sumX * sumX);
    state.counters["decade"] = decade;
    state.SetLabel("exponent<=" + std::to_string(atMost));
}

void Register(const char* name, int largest, const std::function<Job(int)>& makeJob, double atMost = LARGEST_EXPONENT) {
    RegisterComparison(std::string("growth/") + name,
                       [=](benchmark::State& state) { Grow(state, largest, atMost, makeJob); });
}

// What every job on a field holds.
struct Held {
    explicit Held(Record filled) : before(std::move(filled)), record(before) { host.m_pMessage = &record; }
    const Record before;
    Record record;
    Record target;
    ProtobufRecord host;
    IndexRangeList ranges;
    std::vector<bool> marks;
};

IndexRangeList EverySecond(int size) {
    IndexRangeList ranges;
    for (int i = 1; i < size; i += 2) {
        ranges.push_back({i, i});
    }
    return ranges;
}

template <typename Type>
Job PushFront(int size) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    auto expr = std::make_shared<ElementExpr>(OstraneCommon::EXPR_OP_PUSH, 0);
    expr->Assign("$", 7);
    return {[=] { Type::Of(held->record)->Truncate(size); },
            [=] {
                MutableProtobufField field = HandleOf<Type>(held->record);
                return ProtobufRecordUtil(held->host).PushWithExpr(field, expr->Tree()) == 0 &&
                       Type::Of(held->record)->size() == size + 1;
            }};
}

template <typename Type>
Job SetOne(int size) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    auto expr = std::make_shared<ElementExpr>(OstraneCommon::EXPR_OP_SET, size / 2);
    expr->Assign("$", 7);
    return {[] {},
            [=] {
                MutableProtobufField field = HandleOf<Type>(held->record);
                return ProtobufRecordUtil(held->host).SetWithExpr(field, expr->Tree()) == 0;
            }};
}

template <typename Type>
Job Pop(int size) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    held->ranges = EverySecond(size);
    return {[=] { held->record = held->before; },
            [=] {
                MutableProtobufField field = HandleOf<Type>(held->record);
                return ProtobufRecordUtil(held->host).PopWithRange(field, held->ranges, nullptr) == 0 &&
                       Type::Of(held->record)->size() == size / 2;
            }};
}

template <typename Type, bool IS_MOVE>
Job Get(int size) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    held->ranges = EverySecond(size);
    return {[=] {
                held->target = Record();
                if (IS_MOVE) {
                    held->record = held->before;
                }
            },
            [=] {
                ProtobufField source = {&held->record, FieldOf<Type>()};
                MutableProtobufField target = HandleOf<Type>(held->target);
                return ProtobufRecordUtil(held->host)
                               .GetWithRange(source, IS_MOVE, held->ranges, nullptr, target, nullptr) == 0 &&
                       Type::Of(held->target)->size() == size / 2;
            }};
}

template <typename Type>
Job Update(int size) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    return {[] {},
            [=] {
                OstraneCommon::PbField source;
                source.SetField(&held->before, FieldOf<Type>(), false);
                MutableProtobufField field = HandleOf<Type>(held->target);
                return ProtobufRecordUtil(held->host).UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &source) ==
                           0 &&
                       Type::Of(held->target)->size() == size;
            }};
}

// Marks the elements of `ranges`, empty for all of them, for which the condition, if any, is true.
template <typename Type>
Job Mark(int size, const char* condition, bool hasRanges) {
    auto held = std::make_shared<Held>(Filled<Type>(size));
    auto context = std::make_shared<OstraneCommon::ExprParseContext>();
    auto always = std::make_shared<OstraneCommon::Expr>();
    OstraneCommon::Expr* filter = always.get();
    OstraneCommon::ExprError error;
    if (condition != nullptr) {
        OstraneCommon::Expr::Parse(condition, *context, filter, error);
    }
    held->ranges = hasRanges ? EverySecond(size) : IndexRangeList{{0, -1}};
    return {[=] { held->marks.clear(); },
            [=] {
                static_cast<void>(context);
                static_cast<void>(always);
                OstraneCommon::ProtobuFieldResolver resolver(held->host);
                OstraneCommon::ExprVariant array;
                array.m_type = OstraneCommon::EXPR_UNRESOLVE;
                array.m_data.pb.SetField(&held->record, FieldOf<Type>(), false);
                int count = 0;
                int first = 0;
                std::string message;
                return filter->FindArrayMatchPositions(resolver, array, held->ranges, held->marks, count, first,
                                                       message) == 0 &&
                       count > 0;
            }};
}

std::string Repeated(const char* head, const char* item, const char* tail, int size) {
    std::string text = head;
    const std::string repeated = item;
    while (text.size() + repeated.size() <= static_cast<size_t>(size)) {
        text += repeated;
    }
    return text + tail;
}

Job Parse(const std::string& text) {
    return {[] {},
            [text] {
                OstraneCommon::ExprParseContext context;
                OstraneCommon::StatementList list;
                OstraneCommon::ExprError error;
                return OstraneCommon::ParseStatements(text, context, list, error) == 0;
            }};
}

Job ParseRanges(int size) {
    const std::string text = Repeated("1", ", 12..13", "", size);
    return {[] {},
            [text] {
                IndexRangeList ranges;
                return OstraneCommon::ParseIndexRange(text, ranges) == 0 && !ranges.empty();
            }};
}

// One statement that inserts `size` elements at the front of as many.
Job Insert(const std::string& text, int size) {
    auto held = std::make_shared<Held>(Filled<Int32>(size));
    auto bound = std::make_shared<OstraneRecord::BoundPlan>();
    OstraneRecord::StatementPlan plan;
    OstraneRecord::StatementError error;
    OstraneRecord::StatementParameters parameters;
    if (text.find('?') != std::string::npos) {
        OstraneRecord::ParameterValue list;
        list.kind = OstraneRecord::ParameterValue::Kind::List;
        list.items.assign(static_cast<size_t>(size), OstraneRecord::ParameterValue::MakeInt(7));
        parameters.positional.push_back(list);
    }
    const bool isBound = OstraneRecord::StatementPlan::Compile(text, Record::descriptor(), {}, plan, error) == 0 &&
                         plan.Bind(parameters, *bound, error) == 0;
    return {[=] { held->record = held->before; },
            [=] {
                OstraneRecord::ExecutionResult result;
                return isBound && bound->Execute(held->host, result) == 0 && held->record.ints_size() == 2 * size;
            }};
}

// `size` bytes of a stream, record after record: read, decoded, changed and encoded.
Job Stream(OstraneRecord::RecordFormat format, int size) {
    std::shared_ptr<FILE> file(std::tmpfile(), [](FILE* opened) {
        if (opened != nullptr) {
            std::fclose(opened);
        }
    });
    const Record sample = Filled<Text<24>>(4);
    std::string line;
    OstraneRecord::InputError error;
    OstraneRecord::EncodeRecord(format, sample, {}, line, error);
    const int records = std::max(1, size / static_cast<int>(line.size()));
    for (int i = 0; i < records && file != nullptr; ++i) {
        std::fwrite(line.data(), 1, line.size(), file.get());
    }
    auto bound = std::make_shared<OstraneRecord::BoundPlan>();
    OstraneRecord::StatementPlan plan;
    OstraneRecord::StatementError compileError;
    const bool isBound =
        file != nullptr &&
        OstraneRecord::StatementPlan::Compile("PUSH ints = 1", Record::descriptor(), {}, plan, compileError) == 0 &&
        plan.Bind({}, *bound, compileError) == 0;
    return {[=] {
                std::fflush(file.get());
                lseek(fileno(file.get()), 0, SEEK_SET);
            },
            [=] {
                OstraneRecord::RecordReader reader(fileno(file.get()), "stream", format);
                OstraneRecord::InputError readError;
                OstraneRecord::ExecutionResult result;
                std::string out;
                Record record;
                ProtobufRecord host;
                host.m_pMessage = &record;
                int done = 0;
                bool hasRecord = false;
                while (isBound && reader.Next(hasRecord, readError) == 0 && hasRecord) {
                    done += reader.Decode(reader.Current(), {}, record, readError) == 0 &&
                                    bound->Execute(host, result) == 0 &&
                                    OstraneRecord::EncodeRecord(format, record, {}, out, readError) == 0
                                ? 1
                                : 0;
                }
                return done == records;
            }};
}

}  // namespace

int main(int argc, char** argv) {
    // Strings and messages: a tenth, for the memory that they take.
    const int few = ALL / 10;
    Register("push_front_int32", ALL, PushFront<Int32>);
    Register("set_int32", ALL, SetOne<Int32>);
    Register("pop_int32", ALL, Pop<Int32>);
    Register("pop_string24", few, Pop<Text<24>>, LARGEST_EXPONENT_OF_OBJECTS);
    Register("pop_small", few, Pop<SmallMessage>, LARGEST_EXPONENT_OF_OBJECTS);
    Register("get_copy_int32", ALL, Get<Int32, false>);
    Register("get_move_string24", few, Get<Text<24>, true>);
    Register("update_int32", ALL, Update<Int32>);
    Register("update_string24", few, Update<Text<24>>);
    Register("mark_ranges", ALL, [](int size) { return Mark<Int32>(size, nullptr, true); });
    Register("mark_all", ALL, [](int size) { return Mark<Int32>(size, nullptr, false); });
    Register("filter_numbers", ALL, [](int size) { return Mark<Int32>(size, "$ < 5000", false); });
    Register("filter_numbers_one_by_one", ALL,
             [](int size) { return Mark<Int32>(size, "coalesce($, 0) < 5000", false); });
    Register("filter_members", few, [](int size) { return Mark<SmallMessage>(size, "id < 5000", false); });
    Register("filter_texts", few, [](int size) { return Mark<Text<24>>(size, "$ LIKE '1%'", false); });
    struct TextKind {
        const char* name;
        const char* head;
        const char* item;
        const char* tail;
        int largest;
    };
    const TextKind textKinds[] = {
        {"parse_list", "PUSH a = [1", ", 'twenty characters ..'", "]", ALL},
        {"parse_statements", "", "SET items[0..2, 7].quantity_of_them = 'some text that is as long as most texts are';",
         "GET a", ALL},
        {"parse_condition", "POP a WHERE qty = 1", " OR qty = 12", "",
         few},  // a text has a million names and values at most
        {"parse_string", "PUSH a = '", "text \\n and ", "'", ALL},
        {"parse_comments", "PUSH a ", "     -- x\n", "= 1", ALL},
        {"parse_selector", "POP a[1", ", 12..13", "]", ALL},
        {"parse_path", "GET a", ".abcd", "", few},
    };
    for (const TextKind& kind : textKinds) {
        Register(kind.name, kind.largest,
                 [kind](int size) { return Parse(Repeated(kind.head, kind.item, kind.tail, size)); });
    }
    Register("parse_ranges", ALL, ParseRanges);
    Register("insert_list", few, [](int size) { return Insert("PUSH ints[0] = ?", size); });
    Register("insert_from", ALL, [](int size) { return Insert("PUSH ints[0] FROM ints", size); });
    Register("stream_ndjson", ALL, [](int size) { return Stream(OstraneRecord::RecordFormat::Ndjson, size); });
    Register("stream_delimited", ALL, [](int size) { return Stream(OstraneRecord::RecordFormat::Delimited, size); });
    return RunComparisons(argc, argv);
}
