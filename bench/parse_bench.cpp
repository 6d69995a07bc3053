// Parsing over a sweep of sizes, 1 kB to 1 MB of text, for each kind of text. The work is linear: the bytes
// a second stay the same over the rows of one kind, but for the caches that larger trees outgrow. Rows of
// different kinds are not to be compared.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "expr/statement.h"

namespace {

using namespace OstraneCommon;

std::string Repeated(const std::string& head, const std::string& item, const std::string& tail, size_t size) {
    std::string text = head;
    while (text.size() + item.size() + tail.size() <= size) {
        text += item;
    }
    return text + tail;
}

void Parse(benchmark::State& state, const char* head, const char* item, const char* tail) {
    const std::string text = Repeated(head, item, tail, static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        ExprParseContext context;
        StatementList list;
        ExprError error;
        if (ParseStatements(text, context, list, error) != 0) {
            state.SkipWithError(error.message.c_str());
            return;
        }
        benchmark::DoNotOptimize(list.statements.size());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

#define PARSE_SWEEP(name, head, item, tail) \
    BENCHMARK_CAPTURE(Parse, name, head, item, tail)->RangeMultiplier(4)->Range(1 << 10, 1 << 20)->MinTime(0.1)

PARSE_SWEEP(statements, "", "SET items[0..2, 7].qty = qty + 1 WHERE sku = 'a' AND qty < 5;\n", "");
PARSE_SWEEP(condition, "POP a WHERE qty = 1", " OR qty = 12", "");
PARSE_SWEEP(list, "PUSH a = [1", ", 123456", "]");
PARSE_SWEEP(string, "PUSH a = '", "text \\n and ", "'");
PARSE_SWEEP(comments, "PUSH a ", "     -- x\n", "= 1");
PARSE_SWEEP(selector, "POP a[1", ", 12..13", "]");
PARSE_SWEEP(path, "GET a", ".abcd", "");
#undef PARSE_SWEEP

}  // namespace

BENCHMARK_MAIN();
