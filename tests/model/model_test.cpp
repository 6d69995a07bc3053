// Random sequences of every operation against the reference, on every way to make a record.
//
// A failure prints the seed and the shortest sequence that fails. OSTRANE_MODEL_SEED repeats one seed;
// OSTRANE_MODEL_ROUNDS runs more or fewer of them.
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/sequence.h"

// Of the sanitizers, where the test is built with them.
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

using namespace model;  // NOLINT: the vocabulary of these tests

constexpr uint64_t DEFAULT_ROUNDS = 800;
constexpr size_t STEPS = 40;

// A text that is no number, or none of rounds, would run another seed than the one meant, or nothing.
uint64_t NumberFromEnvironment(const char* name, uint64_t otherwise) {
    const char* text = std::getenv(name);
    if (text == nullptr) {
        return otherwise;
    }
    char* end = nullptr;
    const uint64_t number = std::strtoull(text, &end, 10);
    EXPECT_TRUE(*text >= '1' && *text <= '9' && *end == 0) << name << " is no number from 1 on: " << text;
    return number;
}

// The seed that is running, for a program that ends in the middle of it.
char runningSeed[64];

void SayRunningSeed() {
    if (write(STDERR_FILENO, runningSeed, std::strlen(runningSeed)) < 0) {
        return;
    }
}

void SayRunningSeedAndEnd(int signal) {
    SayRunningSeed();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Says the seed when a fault ends the program while this lives.
class SeedOfCrash {
public:
    SeedOfCrash() {
        if (__sanitizer_set_death_callback != nullptr) {
            __sanitizer_set_death_callback(SayRunningSeed);
            return;
        }
        for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
            std::signal(signal, SayRunningSeedAndEnd);
        }
    }
    SeedOfCrash(const SeedOfCrash&) = delete;
    SeedOfCrash& operator=(const SeedOfCrash&) = delete;
    ~SeedOfCrash() { runningSeed[0] = 0; }

    static void Set(uint64_t seed) {
        std::snprintf(runningSeed, sizeof(runningSeed), "ended while OSTRANE_MODEL_SEED=%llu ran\n",
                      static_cast<unsigned long long>(seed));
    }
};

// What each operation meets at every kind of element: its codes, and how source and target lie.
struct Meeting {
    std::vector<std::string> operations;
    std::vector<std::string> kinds;
    std::vector<std::string> cells;
};

const std::vector<std::string>& Kinds(bool isEnum) {
    static const std::vector<std::string> enums = {"enum"};
    static const std::vector<std::string> others = {"bool",  "int32",  "uint32", "int64",   "uint64", "double",
                                                    "float", "string", "bytes",  "message", "group",  "map of int32"};
    return isEnum ? enums : others;
}

std::vector<Meeting> Meetings() {
    std::vector<Meeting> meetings;
    for (const bool isEnum : {false, true}) {
        const std::vector<std::string>& kinds = Kinds(isEnum);
        const std::string selected = isEnum ? "-5145" : "0";
        meetings.push_back({{"SetWithExpr", "PushWithExpr"}, kinds, {"-4377", "-4633", "-4889", "-5145"}});
        meetings.push_back({{"SetWithExpr", "PushWithExpr"}, kinds, {isEnum ? "-5145" : "0"}});
        meetings.push_back({{"SetWithPbField", "PushWithPbField"},
                            kinds,
                            {"0", "-4633", "copied, own field", "moved, own field", "copied, apart", "moved, apart",
                             "copied, field", "moved, field", "copied, range", "moved, range", "none", "one", "some"}});
        meetings.push_back({{"PopWithExpr"}, kinds, {"0", "-4633", "filter 1", "filter 4", "none", "one", "some"}});
        meetings.push_back({{"PopWithRange"}, kinds, {selected, "filter 0", "filter 1", "filter 4", "one", "some"}});
        meetings.push_back(
            {{"GetWithRange"},
             kinds,
             {selected, "copied, apart", "moved, apart", "copied, own field", "moved, own field", "one", "some"}});
        meetings.push_back({{"GetWithRange by handle"}, kinds, {selected, "moved, apart", "moved, own field"}});
        for (const std::string& kind : kinds) {
            meetings.push_back({{"UpdateWithPbField"}, {"repeated " + kind}, {"0", "pop", "copied, field"}});
            if (kind != "group" && kind != "map of int32") {
                meetings.push_back({{"UpdateWithPbField"}, {"singular " + kind}, {"0", "-256", "pop"}});
            }
        }
    }
    meetings.push_back({{"PopWithRange", "GetWithRange"}, Kinds(false), {"-4889"}});
    meetings.push_back({{"PushWithPbField"}, {"message", "group"}, {"copied, whole message", "moved, whole message"}});
    meetings.push_back({{"PushWithPbField"}, {"message"}, {"copied, source around", "moved, source around"}});
    meetings.push_back({{"PushWithPbField"}, {"message"}, {"copied, source inside", "moved, source inside"}});
    meetings.push_back({{"PushWithExpr"}, {"message"}, {"-537"}});
    meetings.push_back(
        {{"GetWithRange"}, {"message"}, {"many moved between one owner", "many moved between two owners"}});
    meetings.push_back({{"UpdateWithPbField"}, {"singular message"}, {"-4889", "-5145"}});
    meetings.push_back({{"UpdateWithPbField"},
                        {"whole message"},
                        {"0", "-256", "-4889", "pop", "copied, whole message", "moved, whole message"}});
    return meetings;
}

// Fails the test with the shortest sequence that can be found.
void Report(uint64_t seed, const Sequence& sequence) {
    Reference reference;
    const Sequence shortest =
        Shrink(sequence, [&](const Sequence& shorter) { return RunSequence(shorter, reference).has_value(); });
    const std::optional<Mismatch> mismatch = RunSequence(shortest, reference);
    ASSERT_TRUE(mismatch.has_value());
    FAIL() << "OSTRANE_MODEL_SEED=" << seed << ", shortest sequence:\n"
           << Describe(shortest, reference) << "\n"
           << mismatch->detail;
}

TEST(Model, RandomSequencesLeaveTheRecordAsTheReferenceSays) {
    Statistics statistics;
    const uint64_t first = NumberFromEnvironment("OSTRANE_MODEL_SEED", 1);
    const uint64_t rounds = NumberFromEnvironment("OSTRANE_MODEL_ROUNDS",
                                                  std::getenv("OSTRANE_MODEL_SEED") == nullptr ? DEFAULT_ROUNDS : 1);
    const SeedOfCrash seedOfCrash;
    for (uint64_t seed = first; seed < first + rounds; ++seed) {
        SeedOfCrash::Set(seed);
        const Sequence sequence = Sequence::Random(seed, STEPS);
        Reference reference;
        if (RunSequence(sequence, reference, &statistics).has_value()) {
            Report(seed, sequence);
            return;
        }
    }
    // Of other seeds than the usual ones nobody knows what they meet.
    if (rounds < DEFAULT_ROUNDS || first != 1) {
        return;
    }
    // Every operation, every code, and more tried than left out.
    int tried = 0;
    for (const char* name : {"SetWithExpr", "PushWithExpr", "UpdateWithPbField", "SetWithPbField", "PushWithPbField",
                             "PopWithExpr", "PopWithRange", "GetWithRange", "GetWithRange by handle"}) {
        EXPECT_GT(statistics.operations[name], 250) << name;
        tried += statistics.operations[name];
        RecordProperty(std::string("operations ") + name, statistics.operations[name]);
        // Enough elements for more than one word of marks.
        int large = 0;
        for (const auto& [cell, count] : statistics.cells) {
            const bool isLarge = cell.size() > 8 && cell.compare(cell.size() - 8, 8, " / words") == 0;
            large += isLarge && cell.compare(0, cell.find(" / "), name) == 0 ? count : 0;
        }
        EXPECT_GT(large, 2) << name;
    }
    for (const Meeting& meeting : Meetings()) {
        for (const std::string& operation : meeting.operations) {
            for (const std::string& kind : meeting.kinds) {
                for (const std::string& cell : meeting.cells) {
                    const std::string name = operation + " / " + kind + " / " + cell;
                    EXPECT_GT(statistics.cells[name], 0) << name;
                }
            }
        }
    }
    for (const int code : {0, -256, -537, -4377, -4633, -4889, -5145}) {
        EXPECT_GT(statistics.codes[code], 2) << code;
    }
    EXPECT_GT(tried, 5 * statistics.skipped);
}

// ---- The driver itself: it sees a wrong reference, and shows the shortest way to it

// Leaves an element that is inserted at the front of two or more at the end.
class WrongPass : public Reference {
protected:
    void MoveLastTo(Values& elements, int pos) const override {
        if (pos > 0 || elements.size() < 3) {
            Reference::MoveLastTo(elements, pos);
        }
    }
};

bool IsWrong(const Sequence& sequence) {
    WrongPass wrong;
    return RunSequence(sequence, wrong).has_value();
}

TEST(ModelDriver, SeesAWrongReferenceAndShrinksToTheShortestSequence) {
    int found = 0;
    for (uint64_t seed = 1; seed <= 400 && found < 5; ++seed) {
        const Sequence sequence = Sequence::Random(seed, STEPS);
        if (!IsWrong(sequence)) {
            continue;
        }
        ++found;
        const Sequence shortest = Shrink(sequence, IsWrong);
        WrongPass wrong;
        SCOPED_TRACE("seed " + std::to_string(seed) + ", " + Describe(shortest, wrong));
        ASSERT_TRUE(IsWrong(shortest));
        // Something to push in front of, and the push.
        EXPECT_EQ(shortest.steps.size(), 2U);
        for (size_t i = 0; i < shortest.steps.size(); ++i) {
            Sequence shorter = shortest;
            shorter.steps.erase(shorter.steps.begin() + static_cast<std::ptrdiff_t>(i));
            EXPECT_FALSE(IsWrong(shorter));
        }
    }
    EXPECT_EQ(found, 5);
}

TEST(ModelDriver, SaysWhatDiffers) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        WrongPass wrong;
        const Sequence sequence = Sequence::Random(seed, STEPS);
        const std::optional<Mismatch> mismatch = RunSequence(sequence, wrong);
        if (mismatch.has_value()) {
            EXPECT_LT(mismatch->step, sequence.steps.size());
            EXPECT_NE(mismatch->detail.find("expected"), std::string::npos) << mismatch->detail;
            EXPECT_NE(Describe(sequence, wrong).find(mismatch->description), std::string::npos);
            return;
        }
    }
    FAIL() << "no seed meets the fault";
}

TEST(ModelDriver, ReadsAnyBytesAsASequence) {
    const uint8_t bytes[] = {7, 1, 2, 3, 200, 255, 0, 4, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 17, 80, 33};
    for (size_t size = 0; size <= sizeof(bytes); ++size) {
        const Sequence sequence = Sequence::FromBytes(bytes, size);
        EXPECT_EQ(sequence.steps.size(), size == 0 ? 0 : (size - 1 + Step().size() - 1) / Step().size());
        Reference reference;
        EXPECT_FALSE(RunSequence(sequence, reference).has_value());
    }
}

}  // namespace
