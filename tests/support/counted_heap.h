// The allocations of one thread: counted, and failing when told to. A test that uses it has its operators new and
// delete.
#ifndef OSTRANE_TESTS_SUPPORT_COUNTED_HEAP_H_
#define OSTRANE_TESTS_SUPPORT_COUNTED_HEAP_H_

#include <cstddef>

struct CountedHeap {
    static constexpr long ALL = -1;

    size_t allocations = 0;
    size_t bytes = 0;
    // Allocations that still succeed, or ALL. The next one fails; those after it too, unless only one is to fail.
    long left = ALL;
    bool failsOnce = false;
    bool hasFailed = false;
};

// Of this thread.
CountedHeap& TheHeap();

#endif  // OSTRANE_TESTS_SUPPORT_COUNTED_HEAP_H_
