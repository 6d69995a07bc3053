#include "model/sequence.h"

#include <algorithm>
#include <random>

namespace model {

Sequence Sequence::Random(uint64_t seed, size_t stepCount) {
    std::mt19937_64 random(seed);
    Sequence sequence;
    sequence.world = static_cast<uint8_t>(random() % WORLD_COUNT);
    for (size_t i = 0; i < stepCount; ++i) {
        Step step;
        for (uint8_t& byte : step) {
            byte = static_cast<uint8_t>(random());
        }
        sequence.steps.push_back(step);
    }
    return sequence;
}

Sequence Sequence::FromBytes(const uint8_t* data, size_t size) {
    constexpr size_t MAX_STEPS = 64;
    Sequence sequence;
    if (size == 0) {
        return sequence;
    }
    sequence.world = data[0] % WORLD_COUNT;
    for (size_t begin = 1; begin < size && sequence.steps.size() < MAX_STEPS; begin += Step().size()) {
        Step step = {};
        std::copy(data + begin, data + std::min(size, begin + step.size()), step.begin());
        sequence.steps.push_back(step);
    }
    return sequence;
}

namespace {

// Leaves out a step and lets another do more in its place, as one fill of two does for two fills of one. False when
// there is none such.
bool LeaveOutForMore(Sequence& sequence, const std::function<bool(const Sequence&)>& fails) {
    constexpr size_t FEW_STEPS = 8;
    if (sequence.steps.size() > FEW_STEPS) {
        return false;
    }
    for (size_t left = 0; left < sequence.steps.size(); ++left) {
        Sequence shorter = sequence;
        shorter.steps.erase(shorter.steps.begin() + static_cast<std::ptrdiff_t>(left));
        for (Step& step : shorter.steps) {
            for (uint8_t& byte : step) {
                const uint8_t before = byte;
                for (const int more : {1, 2, 3}) {
                    byte = static_cast<uint8_t>(before + more);
                    if (fails(shorter)) {
                        sequence = shorter;
                        return true;
                    }
                }
                byte = before;
            }
        }
    }
    return false;
}

}  // namespace

Sequence Shrink(Sequence sequence, const std::function<bool(const Sequence&)>& fails) {
    bool isShorter = true;
    while (isShorter) {
        isShorter = false;
        // Leave out runs of steps, long ones first.
        for (size_t length = std::max<size_t>(sequence.steps.size() / 2, 1); length > 0; length /= 2) {
            for (size_t begin = 0; begin + length <= sequence.steps.size();) {
                Sequence shorter = sequence;
                const auto first = shorter.steps.begin() + static_cast<std::ptrdiff_t>(begin);
                shorter.steps.erase(first, first + static_cast<std::ptrdiff_t>(length));
                if (fails(shorter)) {
                    sequence = shorter;
                    isShorter = true;
                } else {
                    ++begin;
                }
            }
        }
        // Make what is left plainer: smaller bytes choose the plainer of two things.
        for (size_t i = 0; i < sequence.steps.size(); ++i) {
            for (size_t k = 0; k < sequence.steps[i].size(); ++k) {
                for (const int smaller : {0, sequence.steps[i][k] / 2, sequence.steps[i][k] - 1}) {
                    if (smaller < 0 || smaller >= sequence.steps[i][k]) {
                        continue;
                    }
                    Sequence plainer = sequence;
                    plainer.steps[i][k] = static_cast<uint8_t>(smaller);
                    if (fails(plainer)) {
                        sequence = plainer;
                        isShorter = true;
                        break;
                    }
                }
            }
        }
        isShorter = isShorter || LeaveOutForMore(sequence, fails);
    }
    return sequence;
}

}  // namespace model
