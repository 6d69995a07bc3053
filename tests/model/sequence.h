// Sequences of operations on records and on their models, compared after each step.
//
//   const Sequence sequence = Sequence::Random(seed, 40);
//   if (const auto mismatch = RunSequence(sequence, reference)) {
//       const Sequence shortest = Shrink(sequence, [&](const Sequence& s) { return RunSequence(s,
//       reference).has_value(); });
//   }
//
// A step is bytes that are read against the state that it meets, so every byte string is a sequence, and a
// sequence with steps left out is one too.
#ifndef OSTRANE_TESTS_MODEL_SEQUENCE_H_
#define OSTRANE_TESTS_MODEL_SEQUENCE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "model/reference.h"

namespace model {

// Enough for the longest choice: a get with a condition and two ranges, an element of three entries.
using Step = std::array<uint8_t, 28>;

struct Sequence {
    // Says with or without presence, and how the records are made: generated or dynamic, heap or arena.
    uint8_t world = 0;
    std::vector<Step> steps;

    static Sequence Random(uint64_t seed, size_t stepCount);
    static Sequence FromBytes(const uint8_t* data, size_t size);
    // Of worlds, 32 differ.
    static constexpr int WORLD_COUNT = 32;
};

struct Mismatch {
    size_t step;
    std::string description;  // of the step, as it was read
    std::string detail;       // what was expected, and what came
};

// What was run, to see that a test has tried what it says.
struct Statistics {
    std::map<std::string, int> operations;  // by name, those that were not skipped
    std::map<int, int> codes;
    // By what they met: "operation / kind of element / code", and "operation / kind of element / WHAT" for what a
    // step chose beside it.
    std::map<std::string, int> cells;
    int skipped = 0;  // what the operations leave to their caller to avoid
};

// Runs the steps on records and on their model; the first difference ends the run.
std::optional<Mismatch> RunSequence(const Sequence& sequence, Reference& reference, Statistics* statistics = nullptr);

// What each step does, a line each.
std::string Describe(const Sequence& sequence, Reference& reference);

// The shortest and plainest sequence that can be found from one that fails and that fails still.
Sequence Shrink(Sequence sequence, const std::function<bool(const Sequence&)>& fails);

}  // namespace model

#endif  // OSTRANE_TESTS_MODEL_SEQUENCE_H_
