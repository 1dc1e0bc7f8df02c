// The heap below the zones, and the growable pointer array that the zones' own bookkeeping uses.
//
// Every block that the optimizer's memory/ and its users take from the C heap goes through the two hooks, so
// that a failing heap can be played in a test and every way of running out of memory ends with its message.
#pragma once

#include <cstddef>

namespace pelorus {

// The heap: `malloc` and `free` unless a test replaces them. The allocation hook answers null when it has no
// memory; it is never asked for 0 bytes.
extern void* (*zone_heap_allocate)(size_t size);
extern void (*zone_heap_free)(void* block);

// A block of `size` bytes from the heap, not cleared, freed with `zone_heap_free`. Ends the run, with `what`
// as the name of the request that failed, when there is none.
void* heap_block(const char* what, size_t size);

// Ends the run with the out-of-memory messages for the request `what`(`size`).
[[noreturn]] void out_of_memory(const char* what, size_t size);

// A stack of pointers that grows to twice its length, at least by one, when it is full.
struct POINTER_STACK {
    void** items;    // heap storage, null while capacity is 0
    size_t count;    // items in use
    size_t capacity; // items allocated
};

// Pushes `item`. False, with the stack as it was, when the heap has no room for it to grow.
bool push_pointer(POINTER_STACK& stack, void* item);

// Gives the storage back; the stack is empty afterwards.
void free_pointer_stack(POINTER_STACK& stack);

} // namespace pelorus
