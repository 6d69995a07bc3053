// Compares ways of doing one job in one run.
//
// A row times the operation (`ours`) and the other ways in turns, over and over, so that neighbours on the
// machine disturb all alike, and shows medians: the nanoseconds of each way, and of ours divided by each
// other way of the same turn (`x_by_hand`, ..). Ratios carry over to other machines, times do not. `spread%`
// is how far apart the middle half of the ratios lies, in percent of the median: a row that spreads wide was
// disturbed. Every way's result is checked; a wrong one is an error.
//
//   Comparison comparison(state);
//   comparison.Add("ours", prepare, [&] { .. });
//   comparison.Add("by_hand", prepare, [&] { .. });
//   comparison.Expect("by_hand", 1.5);  // what the ratio should stay at or under
//   comparison.Run([&] { if (wrong) state.SkipWithError("wrong result"); });
//
// Names of ways: `ours`; `by_hand`, the loop on the generated class or by reflection that one would write;
// `limit`, the least that any program must do for it; `direct`, the call that a statement comes to; `parse`, of
// compiling, parsing alone; `remove_if`, the standard algorithm; everything else is a peer.
#ifndef OSTRANE_BENCH_COMPARISON_H_
#define OSTRANE_BENCH_COMPARISON_H_

#include <benchmark/benchmark.h>
#include <google/protobuf/stubs/common.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Runs `work` after `prepare`, and returns the nanoseconds of the work alone, of one of `batch` runs.
template <typename Prepare, typename Work>
double Sample(int batch, Prepare& prepare, Work& work) {
    prepare();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < batch; ++i) {
        work();
        benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - begin;
    return elapsed.count() / batch;
}

class Comparison {
public:
    // `batch`: how often a way's work runs after one preparation, so that the clock's own cost vanishes.
    explicit Comparison(benchmark::State& state, int batch = 1) : m_state(state), m_batch(batch) {}

    // The first one is ours.
    template <typename Prepare, typename Work>
    void Add(const char* name, Prepare prepare, Work work) {
        const int batch = m_batch;
        m_ways.push_back({name,
                          [batch, prepare, work]() mutable { return Sample(batch, prepare, work); },
                          [prepare, work]() mutable {
                              prepare();
                              work();
                          },
                          {}});
    }
    // The ratio of ours to `other`, or to the fastest peer when that is "peers", should be `atMost` or less.
    void Expect(const char* other, double atMost) {
        m_label += (m_label.empty() ? "" : " ") + std::string(other) + "<=" + std::to_string(atMost);
    }

    // Checks every way once, calling `check` after each, then times them.
    template <typename Check>
    void Run(Check check) {
        for (Way& way : m_ways) {
            way.once();
            check();
        }
        bool isTimed = false;  // after a wrong result nothing is
        for (auto _ : m_state) {
            isTimed = true;
            const auto begin = std::chrono::steady_clock::now();
            for (size_t turn = 0; turn < LEAST_TURNS || (turn < MOST_TURNS && !IsOver(begin)); ++turn) {
                // Ours is first in one turn and last in the next.
                for (size_t i = 0; i < m_ways.size(); ++i) {
                    Way& way = m_ways[turn % 2 == 0 ? i : m_ways.size() - 1 - i];
                    way.times.push_back(way.sample());
                }
            }
            m_state.SetIterationTime(Quantile(m_ways.front().times, 0.5) * 1e-9);
        }
        if (isTimed) {
            Report();
        }
    }

private:
    struct Way {
        const char* name;
        std::function<double()> sample;
        std::function<void()> once;
        std::vector<double> times;
    };

    static constexpr size_t LEAST_TURNS = 15;
    static constexpr size_t MOST_TURNS = 1001;
    static constexpr double SECONDS = 0.25;  // a row may take

    static bool IsOver(std::chrono::steady_clock::time_point begin) {
        return std::chrono::steady_clock::now() - begin > std::chrono::duration<double>(SECONDS);
    }
    static double Quantile(std::vector<double> values, double part) {
        const auto at =
            values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1) + 0.5);
        std::nth_element(values.begin(), at, values.end());
        return *at;
    }
    void Report() {
        const Way& ours = m_ways.front();
        double spread = 0;
        for (const Way& way : m_ways) {
            m_state.counters[way.name] = Quantile(way.times, 0.5);
            if (&way == &ours) {
                continue;
            }
            std::vector<double> ratios;
            for (size_t i = 0; i < way.times.size(); ++i) {
                ratios.push_back(ours.times[i] / way.times[i]);
            }
            const double median = Quantile(ratios, 0.5);
            m_state.counters[std::string("x_") + way.name] = median;
            spread = std::max(spread, (Quantile(ratios, 0.75) - Quantile(ratios, 0.25)) / median);
        }
        m_state.counters["spread%"] = spread * 100;
        m_state.SetLabel(m_label);
    }

    benchmark::State& m_state;
    int m_batch;
    std::string m_label;
    std::vector<Way> m_ways;
};

// Two ways that prepare alike. A limit of 0 is none.
template <typename Prepare, typename Operation, typename Other, typename CheckResult>
void Compare(benchmark::State& state, const char* otherName, double limit, int batch, Prepare prepare,
             Operation operation, Other other, CheckResult checkResult) {
    Comparison comparison(state, batch);
    comparison.Add("ours", prepare, operation);
    comparison.Add(otherName, prepare, other);
    if (limit > 0) {
        comparison.Expect(otherName, limit);
    }
    comparison.Run(checkResult);
}

// A comparison repeats by itself.
#define OSTRANE_COMPARISON(...) BENCHMARK(__VA_ARGS__)->UseManualTime()->Iterations(1)

template <typename Body>
void RegisterComparison(const std::string& name, Body body) {
    benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime()->Iterations(1);
}

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
    benchmark::AddCustomContext("protobuf", std::to_string(GOOGLE_PROTOBUF_VERSION));
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

#endif  // OSTRANE_BENCH_COMPARISON_H_
