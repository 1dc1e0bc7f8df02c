// The zone allocator: all storage of the optimizer.
//
// Zone 0, the global or file zone, holds what lives as long as the file: file-level symbols, types, FUNINFO
// records, the call graph. Each request is a heap block of its own and stays until another run starts.
//
// Zone 1, the local or function zone, holds everything of the function being optimized: its trees, blocks,
// symbols and bit vectors. It is carved out of large buffers, newest first, and goes in one release when the
// function is done:
//
//     chain -> [used....|   free] -> [used......| lost] -> [used.......|lost] -> null
//               front, the fast path  the search stops after the eighth buffer
//
// Checking mode gives every local request a heap block of its own instead, so that a memory checker sees each
// overrun and each use after the release.
//
// What it does not do: it neither clears nor aligns. Requests stand back to back, so whoever wants aligned
// records asks for sizes that keep them so; `zone_new` and its kin below round to 8 and are what passes
// should use. There is one thread; nothing here is guarded.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>

#include "memory/heap.h"

namespace pelorus {

// The numbers that steer the local zone. Buffers of 32 KB make one heap call serve several hundred nodes; a
// request above half of that would waste too much of one, so it gets a buffer of its own. Eight looks bound
// the cost of a request in a long chain; what lies deeper is given up.
struct ZONE_LIMITS {
    uint32_t buffer_bytes = 32768;     // capacity of an ordinary buffer
    uint32_t own_buffer_above = 16384; // a larger request gets a buffer of exactly its size
    int32_t buffers_searched = 8;      // buffers looked at, from the front, for one request
    size_t alignment = 8;              // what the typed helpers round sizes to
};
constexpr ZONE_LIMITS ZONE_LIMIT;

// What the allocator has done. Bytes and requests are exact; all but the two "local" rows and `fragmentation`
// run on from function to function.
struct ZONE_STATISTICS {
    int64_t largest_global = 0;    // bytes of the largest request in the global zone
    int64_t largest_local = 0;     // bytes of the largest request in the local zone
    int64_t global_bytes = 0;      // bytes allocated in the global zone
    int64_t local_bytes = 0;       // bytes allocated in the local zone since the last release
    int64_t max_local_bytes = 0;   // the greatest `local_bytes` of a release
    int64_t fragmentation = 0;     // bytes lost behind the front buffer; formed by the report
    int64_t max_fragmentation = 0; // the greatest `fragmentation` of a report
    int64_t global_calls = 0;      // requests in the global zone
    int64_t local_calls = 0;       // requests in the local zone since the last release
    int64_t max_local_calls = 0;   // the greatest `local_calls` of a release
    int32_t local_bitvecs = 0;     // local bit vectors made
    int64_t local_bitvec_bits = 0; // the sum of their sizes
    int32_t max_bitvec_bits = 0;   // the size of the largest
};

// One buffer of the local zone. The next request is placed at base + used.
struct ZONE_BUFFER {
    ZONE_BUFFER* next;
    char* base;
    uint32_t capacity; // bytes
    uint32_t used;     // bytes
};

// What the inline part of `zalloc` needs; nobody else reads it.
struct ZONE_FAST_PATH {
    ZONE_BUFFER* front = nullptr; // the chain's first buffer; null when every request must take the long way
    ZONE_STATISTICS statistics;
};
extern ZONE_FAST_PATH zone_fast_path;

// A name for a zone, for records that remember where their storage lives.
struct ZONE {
    bool local; // the function zone
};
extern const ZONE file_zone;
extern const ZONE function_zone;

// The start of a run: both zones are empty, as are the free lists and the statistics, and nothing is checked
// or counted by size. Release hooks stay. Needs: nothing of an earlier run is used again.
void empty_zones();

// Reads the pseudo-options "zalloc" (checking mode) and "allochist" (histogram). Does nothing while the local
// zone holds something: whoever changes the options asks again after the release.
void zone_start();

// Checking mode: every local request is a heap block of its own, and `in_zone` answers false for everything.
void set_zone_checking(bool on);
bool zone_checking();

// The histogram counts the local requests of each size; the statistics report prints and empties it.
void set_zone_histogram(bool on);

// The part of `zalloc` for an empty or full front buffer, checking mode and the histogram.
void* zalloc_long_way(size_t size);

inline void count_local_request(size_t size) {
    ZONE_STATISTICS& statistics = zone_fast_path.statistics;
    if (int64_t(size) > statistics.largest_local) statistics.largest_local = int64_t(size);
    statistics.local_bytes += int64_t(size);
    statistics.local_calls++;
}

// A block of `size` bytes in the local zone, neither cleared nor aligned. Never null: it ends the run
// instead.
inline void* zalloc(size_t size) {
    ZONE_BUFFER* front = zone_fast_path.front;
    if (!front || front->capacity - front->used < size) return zalloc_long_way(size);
    void* block = front->base + front->used;
    front->used += uint32_t(size);
    count_local_request(size);
    return block;
}

// With `local` the same as `zalloc`, otherwise a block of the global zone, not cleared, aligned as the heap
// does.
void* ZALLOC0(bool local, size_t size);

// Puts a new buffer that can hold `size` bytes at the front of the local zone's chain. Ends the run when it
// cannot be had.
void ZALLOC_NEW_BUFFER(size_t size);

// True when `address` lies in a buffer of the local zone; false in checking mode. The number of an object's
// zone.
bool in_zone(const void* address);

// Has `hook` called by every release of the local zone, while the zone's storage can still be read. Hooks run
// in the order in which they came; one that is there already is not added again.
void at_local_release(void (*hook)());

// Ends the life of everything in the local zone: calls the hooks, empties the free lists, frees the storage
// and starts the per-function statistics again.
void release_local_zone();

// The counters. Whoever makes local bit vectors adds to theirs.
inline ZONE_STATISTICS& zone_statistics() { return zone_fast_path.statistics; }

// The statistics on the debug stream, nothing when it is off; empties the histogram.
void report_zone_statistics();

// What the driver prints before a release: the free lists of both sorts, then the statistics.
void report_memory();

// `empty_zones`, and the default heap is in place again.
void reset_zones_for_test();

// `size` rounded up so that what follows it in a buffer is aligned.
constexpr size_t zone_rounded(size_t size) {
    return (size + ZONE_LIMIT.alignment - 1) & ~(ZONE_LIMIT.alignment - 1);
}

// A zeroed array of `n` records of type T in the function's zone or, with `local` false, the file's.
template <class T>
T* zone_array(bool local, size_t n) {
    static_assert(std::is_trivially_destructible_v<T>, "a release runs no destructor");
    static_assert(alignof(T) <= ZONE_LIMIT.alignment);
    size_t bytes;
    // An array of pointers is meant where T is one. NOLINTNEXTLINE(bugprone-sizeof-expression)
    if (__builtin_mul_overflow(n, sizeof(T), &bytes) || zone_rounded(bytes) < bytes)
        out_of_memory(local ? "ZALLOC" : "ZALLOC0", SIZE_MAX);
    T* array = static_cast<T*>(ZALLOC0(local, zone_rounded(bytes)));
    assert(reinterpret_cast<uintptr_t>(array) % alignof(T) == 0);
    std::uninitialized_value_construct_n(array, n);
    return array;
}

// One zeroed record of type T. A default member initializer of T takes effect.
template <class T>
T* zone_new(bool local) {
    return zone_array<T>(local, 1);
}

// A copy of `n` bytes, without a terminator.
char* zone_bytes(bool local, const void* bytes, size_t n);

// A copy of `text` with a terminating zero.
char* zone_string(bool local, std::string_view text);

} // namespace pelorus
