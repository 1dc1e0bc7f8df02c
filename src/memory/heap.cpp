// See heap.h.
#include "memory/heap.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

void* (*zone_heap_allocate)(size_t) = malloc;
void (*zone_heap_free)(void*) = free;

void out_of_memory(const char* what, size_t size) {
    if (debug_on()) {
        fprintf(debug_file(), "\n>>>ERROR - %s(%u) IS OUT OF MEMORY", what, unsigned(size));
        fprintf(debug_file(), "\n>>>      - OPTIMIZER ABORTED\n");
        fflush(debug_file());
    }
    fprintf(stderr, "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED");
    fatal_exit();
}

void* heap_block(const char* what, size_t size) {
    void* block = zone_heap_allocate(std::max<size_t>(size, 1));
    if (!block) out_of_memory(what, size);
    return block;
}

bool push_pointer(POINTER_STACK& stack, void* item) {
    if (stack.count == stack.capacity) {
        size_t capacity = std::max(2 * stack.capacity, stack.capacity + 1);
        void** items = static_cast<void**>(zone_heap_allocate(capacity * sizeof(void*)));
        if (!items) return false;
        if (stack.count) memcpy(items, stack.items, stack.count * sizeof(void*));
        if (stack.items) zone_heap_free(stack.items);
        stack.items = items;
        stack.capacity = capacity;
    }
    stack.items[stack.count++] = item;
    return true;
}

void free_pointer_stack(POINTER_STACK& stack) {
    if (stack.items) zone_heap_free(stack.items);
    stack = POINTER_STACK{};
}

} // namespace pelorus
