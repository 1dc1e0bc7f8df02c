// A heap for tests: it records what it is asked for, hands out dirty memory and can be made to fail.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vector>

#include "memory/heap.h"

namespace pelorus {

struct FAILING_HEAP {
    std::vector<size_t> requests;     // sizes asked for, refused ones too
    std::vector<void*> freed;         // blocks given back
    int fail_after = -1;              // answers so many requests and refuses all others; -1: no such limit
    size_t fail_above = SIZE_MAX / 2; // refuses larger requests
};
inline FAILING_HEAP failing_heap;

inline void* failing_allocate(size_t size) {
    failing_heap.requests.push_back(size);
    if (failing_heap.fail_after == 0 || size > failing_heap.fail_above) return nullptr;
    if (failing_heap.fail_after > 0) failing_heap.fail_after--;
    void* block = malloc(size);
    memset(block, 0xAA, size);
    return block;
}

inline void failing_free(void* block) {
    failing_heap.freed.push_back(block);
    free(block);
}

// Puts the failing heap in place; `reset_zones_for_test` takes it out.
inline void use_failing_heap() {
    failing_heap = FAILING_HEAP{};
    zone_heap_allocate = failing_allocate;
    zone_heap_free = failing_free;
}

} // namespace pelorus
