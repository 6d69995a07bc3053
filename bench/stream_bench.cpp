// What a long stream costs: memory that must not grow with it, the time that a second thread saves, and what
// the program adds to reading and writing its records. A million delimited records of about 200 bytes.
//
// The program runs in child processes of its own, from a file to /dev/null. Peak memory is the kernel's
// figure for the child, so that this program, whose memory counts until the child's has replaced it, holds
// little itself.
//
//   stream_push        seconds of one thread with one PUSH, beside those of parsing and serialising the same
//                      records with the same message type alone: the least that there is to do. x_limit_cpu is
//                      the same ratio in seconds of the processor, which other work on the machine disturbs less.
//   stream_two_threads seconds of --threads 2, beside those of one
//   stream_memory      peak MiB; the exponent is 0 where memory does not grow with the stream, and 1 where it
//                      grows like it. More than 64 MiB are an error.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "comparison.h"
#include "player.pb.h"
#include "record/codec.h"
#include "record/schema.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int MANY = 1000000;
constexpr int FEW = MANY / 10;
constexpr int RUNS = 5;
constexpr char STATEMENT[] = "PUSH scores[1] = 7";

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The two inputs, made once and removed at the end.
class Inputs {
public:
    Inputs() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostrane-bench-XXXXXX").string();
        m_folder = mkdtemp(pattern.data()) == nullptr ? std::string() : pattern;
        std::ofstream many(Many(), std::ios::binary);
        std::ofstream few(Few(), std::ios::binary);
        for (int i = 0; i < MANY; ++i) {
            const std::string bytes = Record(i);
            many << bytes;
            if (i < FEW) {
                few << bytes;
            }
        }
        m_isWhole = many.good() && few.good();
    }
    ~Inputs() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    Inputs(const Inputs&) = delete;
    Inputs& operator=(const Inputs&) = delete;

    bool IsWhole() const { return m_isWhole; }
    std::string Many() const { return m_folder + "/many.delim"; }
    std::string Few() const { return m_folder + "/few.delim"; }
    std::string Said() const { return m_folder + "/said"; }

private:
    // With a field of most kinds; about 200 bytes with the length before it.
    static std::string Record(int number) {
        demo::Player player;
        const std::string text = std::to_string(number);
        player.set_name("player number " + text);
        player.set_level(number % 100);
        player.set_active(number % 2 == 0);
        player.set_balance(number * 0.25);
        for (int i = 0; i < 8; ++i) {
            player.add_scores(number % 1000 + i * 100);
        }
        player.add_tags("a tag of some length " + text);
        player.add_tags("new");
        for (int i = 0; i < 2; ++i) {
            demo::Item* item = player.add_items();
            item->set_sku("sku-" + text + (i == 0 ? "-first" : "-second"));
            item->set_qty(number % 50 + i);
            item->set_state(demo::OPEN);
        }
        player.mutable_profile()->set_email("player" + text + "@example.org");
        player.mutable_profile()->mutable_address()->set_city("Valparaiso");
        std::string bytes;
        player.SerializeToString(&bytes);
        return OstraneRecord::DelimitedLength(bytes.size()) + bytes;
    }

    std::string m_folder;
    bool m_isWhole = false;
};

const Inputs& AllInputs() {
    static const Inputs inputs;
    return inputs;
}

struct Run {
    double seconds = 0;
    double cpuSeconds = 0;
    double peakMib = 0;
};

double Seconds(const struct timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// One run of the program over `records` records; what it says at its end must count every one of them.
Run RunProgram(benchmark::State& state, const std::string& input, int records, const char* threads) {
    std::vector<std::string> arguments = {OSTRANE_PROGRAM, "apply",       "--proto", OSTRANE_EXAMPLES "/player.proto",
                                          "--type",        "demo.Player", "--in",    input,
                                          "--threads",     threads,       STATEMENT};
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const std::string said = AllInputs().Said();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Run run;
    pid_t child = -1;
    int status = -1;
    struct rusage usage = {};
    const auto begin = Clock::now();
    const int failed = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0 || wait4(child, &status, 0, &usage) != child) {
        state.SkipWithError("the program could not be run");
        return run;
    }
    run.seconds = SecondsSince(begin);
    run.cpuSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    run.peakMib = static_cast<double>(usage.ru_maxrss) / 1024;
    const std::string count = std::to_string(records);
    std::string summary;
    std::ifstream file(said);
    std::getline(file, summary);
    if (status != 0 || summary != "records " + count + ", matched " + count + ", changed " + count + ", failed 0") {
        state.SkipWithError("wrong result");
    }
    return run;
}

bool HasInputs(benchmark::State& state) {
    if (!AllInputs().IsWhole()) {
        state.SkipWithError("the inputs could not be written");
        return false;
    }
    return true;
}

void PeakMemory(benchmark::State& state, const char* threads) {
    if (!HasInputs(state)) {
        return;
    }
    for (auto _ : state) {
        const Run few = RunProgram(state, AllInputs().Few(), FEW, threads);
        const Run many = RunProgram(state, AllInputs().Many(), MANY, threads);
        state.counters["MiB_100k"] = few.peakMib;
        state.counters["MiB_1M"] = many.peakMib;
        state.counters["exponent"] = std::log(many.peakMib / few.peakMib) / std::log(static_cast<double>(MANY) / FEW);
        state.SetIterationTime(many.seconds);
        if (many.peakMib > 64) {
            state.SkipWithError("the peak is above 64 MiB");
        }
    }
    state.SetLabel("exponent<=0.05");
}

// The medians of two ways that ran in turns, in nanoseconds, and of their ratios.
void Report(benchmark::State& state, const std::vector<double>& ours, const char* other,
            const std::vector<double>& others, double atMost) {
    std::vector<double> ratios;
    for (size_t i = 0; i < ours.size(); ++i) {
        ratios.push_back(ours[i] / others[i]);
    }
    std::sort(ratios.begin(), ratios.end());
    state.counters["ours"] = Median(ours) * 1e9;
    state.counters[other] = Median(others) * 1e9;
    state.counters[std::string("x_") + other] = Median(ratios);
    state.counters["spread%"] = (ratios.back() - ratios.front()) / Median(ratios) * 100;
    state.SetLabel(std::string(other) + "<=" + std::to_string(atMost));
}

void TwoThreads(benchmark::State& state) {
    if (!HasInputs(state)) {
        return;
    }
    std::vector<double> one;
    std::vector<double> two;
    for (auto _ : state) {
        one.push_back(RunProgram(state, AllInputs().Many(), MANY, "1").seconds);
        two.push_back(RunProgram(state, AllInputs().Many(), MANY, "2").seconds);
        state.SetIterationTime(two.back());
    }
    Report(state, two, "one_thread", one, 0.75);
}

// Bytes of a file as they lie in the kernel's memory: reading them costs the least there is.
class MappedFile {
public:
    explicit MappedFile(const std::string& path) {
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status = {};
        if (descriptor >= 0 && fstat(descriptor, &status) == 0) {
            m_size = static_cast<size_t>(status.st_size);
            m_bytes = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
        }
        close(descriptor);
    }
    ~MappedFile() {
        if (m_bytes != MAP_FAILED) {
            munmap(m_bytes, m_size);
        }
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    const uint8_t* Begin() const { return static_cast<const uint8_t*>(m_bytes); }
    const uint8_t* End() const { return Begin() + m_size; }
    bool IsThere() const { return m_bytes != MAP_FAILED; }

private:
    void* m_bytes = MAP_FAILED;
    size_t m_size = 0;
};

// The same records, of the same schema, parsed and serialised and nothing else. Returns how many.
int ParseAndSerialise(const MappedFile& file, google::protobuf::Message& message) {
    int count = 0;
    std::string bytes;
    for (const uint8_t* at = file.Begin(); at != file.End(); ++count) {
        int size = 0;
        for (int shift = 0;; shift += 7) {
            const uint8_t byte = *at++;
            size |= (byte & 0x7F) << shift;
            if (byte < 0x80) {
                break;
            }
        }
        if (!message.ParsePartialFromArray(at, size) || !message.SerializePartialToString(&bytes) ||
            bytes.size() != static_cast<size_t>(size)) {
            return -1;
        }
        at += size;
    }
    return count;
}

// At least 0.6 of the speed of parsing and serialising alone is to be left.
void OnePush(benchmark::State& state) {
    OstraneRecord::Schema schema;
    OstraneRecord::InputError error;
    if (!HasInputs(state)) {
        return;
    }
    if (schema.ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error) != 0) {
        state.SkipWithError(error.message.c_str());
        return;
    }
    const std::unique_ptr<google::protobuf::Message> message = schema.NewRecord(schema.FindType("demo.Player", error));
    std::vector<double> alone;
    std::vector<double> aloneCpu;
    std::vector<double> program;
    std::vector<double> programCpu;
    for (auto _ : state) {
        {
            const MappedFile file(AllInputs().Many());
            struct rusage before = {};
            struct rusage after = {};
            getrusage(RUSAGE_SELF, &before);
            const auto begin = Clock::now();
            if (!file.IsThere() || ParseAndSerialise(file, *message) != MANY) {
                state.SkipWithError("wrong result");
            }
            alone.push_back(SecondsSince(begin));
            getrusage(RUSAGE_SELF, &after);
            aloneCpu.push_back(Seconds(after.ru_utime) + Seconds(after.ru_stime) - Seconds(before.ru_utime) -
                               Seconds(before.ru_stime));
        }
        const Run run = RunProgram(state, AllInputs().Many(), MANY, "1");
        program.push_back(run.seconds);
        programCpu.push_back(run.cpuSeconds);
        state.SetIterationTime(run.seconds);
    }
    state.counters["x_limit_cpu"] = Median(programCpu) / Median(aloneCpu);
    Report(state, program, "limit", alone, 1 / 0.6);
}

}  // namespace

int main(int argc, char** argv) {
    const auto add = [](const char* name, int runs, void (*body)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, body)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(runs);
    };
    // First: a child counts this program's own peak as its, and stream_push maps the whole stream.
    add("stream_memory/one_thread", 1, [](benchmark::State& state) { PeakMemory(state, "1"); });
    add("stream_memory/two_threads", 1, [](benchmark::State& state) { PeakMemory(state, "2"); });
    add("stream_push/delimited/1000000", RUNS, OnePush);
    add("stream_two_threads/delimited/1000000", RUNS, TwoThreads);
    return RunComparisons(argc, argv);
}
