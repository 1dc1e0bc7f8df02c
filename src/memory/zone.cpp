// The zone allocator; see zone.h for the picture.
#include "memory/zone.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <vector>

#include "memory/free_list.h"
#include "support/fatal.h"
#include "support/pseudo_options.h"
#include "support/trace.h"

namespace pelorus {

ZONE_FAST_PATH zone_fast_path;
const ZONE file_zone{false};
const ZONE function_zone{true};

namespace {

// The local zone, without what the fast path keeps.
struct LOCAL_ZONE {
    ZONE_BUFFER* chain = nullptr; // newest first
    uintptr_t lowest = 0;         // least base address since the last release; 0: the range is not valid
    uintptr_t highest = 0;        // greatest end address since the last release
    bool checking = false;
    POINTER_STACK checked_blocks{}; // checking mode: the blocks of the local requests, oldest first
    bool histogram_on = false;
    std::map<size_t, int32_t> histogram;        // local requests by size
    std::vector<const ZONE_BUFFER*> by_address; // for `in_zone`; lags behind the chain until it is asked
    const ZONE_BUFFER* newest_sorted = nullptr; // the chain from here on is in `by_address`
    std::vector<void (*)()> release_hooks;
};

LOCAL_ZONE zone;

// The blocks of the global zone, for the start of another run.
POINTER_STACK global_blocks{};

// The inline path is for the plain case only.
void choose_path() { zone_fast_path.front = zone.checking || zone.histogram_on ? nullptr : zone.chain; }

// --- Local requests ---

void* take(ZONE_BUFFER* buffer, size_t size) {
    void* block = buffer->base + buffer->used;
    buffer->used += uint32_t(size);
    return block;
}

void* block_of_buffers(size_t size) {
    int32_t looks = ZONE_LIMIT.buffers_searched;
    for (ZONE_BUFFER* buffer = zone.chain; buffer && looks > 0; buffer = buffer->next, looks--)
        if (buffer->capacity - buffer->used >= size) return take(buffer, size);
    ZALLOC_NEW_BUFFER(size);
    return take(zone.chain, size);
}

// A heap block that `blocks` remembers.
void* kept_block(POINTER_STACK& blocks, const char* what, size_t size) {
    void* block = heap_block(what, size);
    if (!push_pointer(blocks, block)) {
        zone_heap_free(block);
        out_of_memory(what, size);
    }
    return block;
}

// --- Buffers ---

[[noreturn]] void no_new_buffer(size_t size) {
    if (debug_on()) {
        fprintf(debug_file(), "\n>>>ERROR - ZALLOC_NEW_BUFFER(%d) ", int(size));
        fprintf(debug_file(), "IS OUT OF MEMORY - OPTIMIZER ABORTED\n");
        fflush(debug_file());
    }
    fprintf(stdout, "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED\n");
    fatal_exit();
}

// Gives `buffer` storage for at least `size` bytes; a scarce heap is asked for less and less of an ordinary
// buffer, as long as that leaves more than the request. False when there is none.
bool get_storage(ZONE_BUFFER* buffer, uint32_t size) {
    uint32_t capacity = size > ZONE_LIMIT.own_buffer_above ? size : ZONE_LIMIT.buffer_bytes;
    do {
        buffer->base = static_cast<char*>(zone_heap_allocate(capacity));
        buffer->capacity = capacity;
        capacity /= 2;
    } while (!buffer->base && capacity > size);
    return buffer->base != nullptr;
}

void widen_range(const ZONE_BUFFER* buffer) {
    uintptr_t base = reinterpret_cast<uintptr_t>(buffer->base);
    zone.highest = zone.lowest ? std::max(zone.highest, base + buffer->capacity) : base + buffer->capacity;
    zone.lowest = zone.lowest ? std::min(zone.lowest, base) : base;
}

void free_buffers() {
    while (ZONE_BUFFER* buffer = zone.chain) {
        zone.chain = buffer->next;
        zone_heap_free(buffer->base);
        zone_heap_free(buffer);
    }
    zone.lowest = 0;
    zone.highest = 0;
    zone.by_address.clear();
    zone.newest_sorted = nullptr;
    choose_path();
}

void free_kept_blocks(POINTER_STACK& blocks) {
    while (blocks.count) zone_heap_free(blocks.items[--blocks.count]);
    free_pointer_stack(blocks);
}

// --- The in-zone test ---

bool lower_base(const ZONE_BUFFER* a, const ZONE_BUFFER* b) { return a->base < b->base; }

// A big function has thousands of buffers and the cross-zone check asks several times a node, so the chain is
// searched through an index in address order. Only the buffers that came since the last question are entered.
void sort_new_buffers() {
    for (const ZONE_BUFFER* buffer = zone.chain; buffer != zone.newest_sorted; buffer = buffer->next)
        zone.by_address.insert(
            std::upper_bound(zone.by_address.begin(), zone.by_address.end(), buffer, lower_base), buffer);
    zone.newest_sorted = zone.chain;
}

// --- Reports ---

void compute_fragmentation() {
    ZONE_STATISTICS& statistics = zone_statistics();
    statistics.fragmentation = 0;
    if (zone.chain)
        for (const ZONE_BUFFER* buffer = zone.chain->next; buffer; buffer = buffer->next)
            statistics.fragmentation += buffer->capacity - buffer->used;
    statistics.max_fragmentation = std::max(statistics.max_fragmentation, statistics.fragmentation);
}

void report_histogram() {
    trace("\nAllocation histogram:\n");
    for (const auto& [size, times] : zone.histogram) trace("  %d bytes:  %d times\n", int(size), times);
    zone.histogram.clear();
}

} // namespace

void empty_zones() {
    release_local_zone();
    free_kept_blocks(global_blocks);
    set_zone_checking(false);
    set_zone_histogram(false);
    zone.histogram.clear();
    zone_statistics() = ZONE_STATISTICS{};
}

void zone_start() {
    if (zone_statistics().local_calls) return;
    set_zone_checking(debug_switch("zalloc") != 0);
    set_zone_histogram(debug_switch("allochist") != 0);
}

void set_zone_checking(bool on) {
    zone.checking = on;
    choose_path();
}

bool zone_checking() { return zone.checking; }

void set_zone_histogram(bool on) {
    zone.histogram_on = on;
    choose_path();
}

void* zalloc_long_way(size_t size) {
    if (zone.histogram_on) zone.histogram[size]++;
    void* block = zone.checking ? kept_block(zone.checked_blocks, "ZALLOC", size) : block_of_buffers(size);
    count_local_request(size);
    return block;
}

void* ZALLOC0(bool local, size_t size) {
    if (local) return zalloc(size);
    void* block = kept_block(global_blocks, "ZALLOC0", size);
    ZONE_STATISTICS& statistics = zone_statistics();
    statistics.largest_global = std::max(statistics.largest_global, int64_t(size));
    statistics.global_bytes += int64_t(size);
    statistics.global_calls++;
    return block;
}

void ZALLOC_NEW_BUFFER(size_t size) {
    if (size > INT32_MAX) no_new_buffer(size); // beyond what a buffer's 32-bit counts should hold
    ZONE_BUFFER* buffer = static_cast<ZONE_BUFFER*>(zone_heap_allocate(sizeof(ZONE_BUFFER)));
    if (!buffer) no_new_buffer(size);
    if (!get_storage(buffer, uint32_t(size))) {
        zone_heap_free(buffer);
        no_new_buffer(size);
    }
    buffer->used = 0;
    buffer->next = zone.chain;
    zone.chain = buffer;
    widen_range(buffer);
    choose_path();
}

bool in_zone(const void* address) {
    uintptr_t at = reinterpret_cast<uintptr_t>(address);
    if (zone.checking || !zone.lowest || at < zone.lowest || at >= zone.highest) return false;
    sort_new_buffers();
    auto above = std::upper_bound(
        zone.by_address.begin(), zone.by_address.end(), at,
        [](uintptr_t a, const ZONE_BUFFER* b) { return a < reinterpret_cast<uintptr_t>(b->base); });
    if (above == zone.by_address.begin()) return false;
    const ZONE_BUFFER* buffer = *(above - 1);
    return at - reinterpret_cast<uintptr_t>(buffer->base) < buffer->capacity;
}

void at_local_release(void (*hook)()) {
    std::vector<void (*)()>& hooks = zone.release_hooks;
    if (std::find(hooks.begin(), hooks.end(), hook) == hooks.end()) hooks.push_back(hook);
}

void release_local_zone() {
    for (void (*hook)() : zone.release_hooks) hook(); // first: the records that they free stand in the zone
    empty_free_lists();
    free_buffers();
    free_kept_blocks(zone.checked_blocks);
    ZONE_STATISTICS& statistics = zone_statistics();
    statistics.max_local_bytes = std::max(statistics.max_local_bytes, statistics.local_bytes);
    statistics.max_local_calls = std::max(statistics.max_local_calls, statistics.local_calls);
    statistics.local_bytes = 0;
    statistics.local_calls = 0;
}

void report_zone_statistics() {
    if (!debug_on()) return;
    compute_fragmentation();
    const ZONE_STATISTICS& statistics = zone_statistics();
    trace("\n ==== MEMORY USAGE STATISTICS ====\n");
    trace("%10ld BYTES FOR LARGEST REQUEST/GLOBAL ZONE\n", statistics.largest_global);
    trace("%10ld BYTES FOR LARGEST REQUEST/LOCAL ZONE\n", statistics.largest_local);
    trace("%10ld BYTES ALLOCATED IN THE GLOBAL ZONE\n", statistics.global_bytes);
    trace("%10ld BYTES ALLOCATED IN THE LOCAL ZONE\n", statistics.local_bytes);
    trace("%10ld MAX BYTES ALLOCATED IN THE LOCAL ZONE\n", statistics.max_local_bytes);
    trace("%10ld BYTES LOST TO FRAGMENTATION (LOCAL)\n", statistics.fragmentation);
    trace("%10ld MAX BYTES LOST TO FRAGMENTATION\n", statistics.max_fragmentation);
    trace("%10ld CALLS FOR GLOBAL ALLOCATION\n", statistics.global_calls);
    trace("%10ld CALLS FOR LOCAL ALLOCATION\n", statistics.local_calls);
    trace("%10ld MAX CALLS FOR LOCAL ALLOCATION\n", statistics.max_local_calls);
    trace("%10d LOCAL BITVECS ALLOCATED\n", statistics.local_bitvecs);
    trace("%10lld BITS IN LOCAL BITVECS\n", static_cast<long long>(statistics.local_bitvec_bits));
    trace("%10d MAX BITVEC ALLOCATED\n", statistics.max_bitvec_bits);
    if (zone.histogram_on) report_histogram();
}

void report_memory() {
    report_typed_free_lists();
    report_generic_free_lists();
    report_zone_statistics();
}

void reset_zones_for_test() {
    empty_zones();
    zone_heap_allocate = malloc;
    zone_heap_free = free;
}

char* zone_bytes(bool local, const void* bytes, size_t n) {
    char* copy = static_cast<char*>(ZALLOC0(local, zone_rounded(n)));
    if (n) memcpy(copy, bytes, n);
    return copy;
}

char* zone_string(bool local, std::string_view text) {
    char* copy = static_cast<char*>(ZALLOC0(local, zone_rounded(text.size() + 1)));
    if (!text.empty()) memcpy(copy, text.data(), text.size());
    copy[text.size()] = 0;
    return copy;
}

} // namespace pelorus
