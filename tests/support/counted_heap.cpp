#include "support/counted_heap.h"

#include <cstdlib>
#include <new>

namespace {

thread_local CountedHeap heap;

// Whether the allocation that is asked for now fails.
bool FailsNow() {
    if (heap.left != 0) {
        heap.left -= heap.left > 0 ? 1 : 0;
        return false;
    }
    heap.hasFailed = true;
    if (heap.failsOnce) {
        heap.left = CountedHeap::ALL;
    }
    return true;
}

void* Allocate(size_t size) noexcept {
    ++heap.allocations;
    heap.bytes += size;
    return FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

CountedHeap& TheHeap() {
    return heap;
}

void* operator new(size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// Those of a sanitizer's runtime would not go with the operators delete below, and its arrays do not come by the one
// above.
void* operator new[](size_t size) {
    return operator new(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
