// Any bytes as a sequence of field operations, compared with the reference after each.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "model/sequence.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    model::Reference reference;
    const model::Sequence sequence = model::Sequence::FromBytes(data, size);
    const auto mismatch = model::RunSequence(sequence, reference);
    if (mismatch.has_value()) {
        std::fprintf(stderr, "%s\n%s\n", model::Describe(sequence, reference).c_str(), mismatch->detail.c_str());
        std::abort();
    }
    return 0;
}
