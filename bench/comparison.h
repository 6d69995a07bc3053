// Compares two ways of doing one job in one run.
//
// Every row times the operation and the same work written by hand in turns, so that neighbours on the
// machine disturb both alike. The columns: nanoseconds of each, their ratio, the ratio that the operation
// should stay under, and how far the median of the operation's times lies above the figure given, which is
// the lower tenth: what the job takes when nobody disturbs it. Ratios carry over to other machines, times
// do not. A wrong result is an error.
#ifndef OSTRANE_BENCH_COMPARISON_H_
#define OSTRANE_BENCH_COMPARISON_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

// Runs `work` after `prepare`, and returns the nanoseconds of the work alone, of one of `batch` runs.
template <typename Prepare, typename Work>
double Sample(int batch, Prepare prepare, Work work) {
    prepare();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < batch; ++i) {
        work();
        benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - begin;
    return elapsed.count() / batch;
}

// Times both ways, and calls checkResult, which reports to `state`, after each of them. A limit of 0 is none.
template <typename Prepare, typename Operation, typename ByHand, typename CheckResult>
void Compare(benchmark::State& state, double limit, int batch, Prepare prepare, Operation operation, ByHand byHand,
             CheckResult checkResult) {
    std::vector<double> operationTimes;
    std::vector<double> byHandTimes;
    for (auto _ : state) {
        operationTimes.push_back(Sample(batch, prepare, operation));
        byHandTimes.push_back(Sample(batch, prepare, byHand));
        state.SetIterationTime(operationTimes.back() * 1e-9);
    }
    prepare();
    operation();
    checkResult();
    prepare();
    byHand();
    checkResult();
    std::sort(operationTimes.begin(), operationTimes.end());
    std::sort(byHandTimes.begin(), byHandTimes.end());
    const double operationTime = operationTimes[operationTimes.size() / 10];
    const double byHandTime = byHandTimes[byHandTimes.size() / 10];
    state.counters["operation"] = operationTime;
    state.counters["by_hand"] = byHandTime;
    state.counters["ratio"] = operationTime / byHandTime;
    if (limit > 0) {
        state.counters["limit"] = limit;
    }
    state.counters["spread%"] = (operationTimes[operationTimes.size() / 2] / operationTime - 1) * 100;
}

#define OSTRANE_COMPARISON(...) BENCHMARK(__VA_ARGS__)->UseManualTime()->Iterations(1000)

// The main of a program of comparisons: one table, a column a figure.
inline int RunComparisons(int argc, char** argv) {
    static char tabular[] = "--benchmark_counters_tabular=true";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, tabular);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }
    benchmark::AddCustomContext("compiler", __VERSION__);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

#endif  // OSTRANE_BENCH_COMPARISON_H_
