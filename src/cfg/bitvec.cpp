// The storage of bit vectors, their dump, and the list of the function's own; see bitvec.h.
#include "cfg/bitvec.h"

#include <cstring>

#include "support/internal_error.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr const char* FREES_ZONED = "Should not free a zoned bitvector";

void discard(const char*) {}

// The local vectors of the current function, oldest first.
POINTER_STACK local_bitvecs{};

uint32_t* heap_words(uint32_t n) {
    return static_cast<uint32_t*>(heap_block("ZALLOC", n * sizeof(uint32_t)));
}

void fill_words(uint32_t* words, uint32_t n, bool ones) {
    if (words) memset(words, ones ? 0xFF : 0, n * sizeof(uint32_t));
}

void copy_words(uint32_t* to, const uint32_t* from, uint32_t n) {
    if (to && n) memcpy(to, from, n * sizeof(uint32_t));
}

// Puts v on new heap storage for n members: ones, over whose start the words of `old` are copied.
void move_to_heap(bitvec* v, uint32_t n, const uint32_t* old, uint32_t old_words) {
    uint32_t words = bv_words(n);
    uint32_t* storage = words ? heap_words(words) : nullptr;
    fill_words(storage, words, true);
    copy_words(storage, old, old_words);
    if (!v->zone && v->words) zone_heap_free(v->words);
    *v = bitvec{n, words, words, nullptr, storage};
}

void release_local_bitvecs() {
    for (size_t i = 0; i < local_bitvecs.count; i++) {
        bitvec* v = static_cast<bitvec*>(local_bitvecs.items[i]);
        if (v->zone)
            internal_error(FREES_ZONED);
        else
            bv_free(v);
    }
    local_bitvecs.count = 0;
}

void register_local(bitvec* v) {
    if (!local_bitvecs.count) at_local_release(release_local_bitvecs);
    if (!push_pointer(local_bitvecs, v)) out_of_memory("ZALLOC", sizeof *v);
    ZONE_STATISTICS& statistics = zone_statistics();
    statistics.local_bitvecs++;
    statistics.local_bitvec_bits += v->n_bits;
    statistics.max_bitvec_bits = std::max(statistics.max_bitvec_bits, int32_t(v->n_bits));
}

} // namespace

void (*bv_report)(const char*) = discard;

void bv_init(bitvec* v, uint32_t n_bits, const ZONE* zone, bool fill) {
    uint32_t words = bv_words(n_bits);
    uint32_t* storage = nullptr;
    if (words)
        storage = zone ? static_cast<uint32_t*>(ZALLOC0(zone->local, zone_rounded(words * sizeof(uint32_t))))
                       : heap_words(words);
    fill_words(storage, words, fill);
    *v = bitvec{n_bits, words, words, zone, storage};
}

bitvec* new_bitvec(uint32_t n_bits, bool local) {
    bitvec* v = zone_new<bitvec>(local);
    bv_init(v, n_bits, nullptr, false);
    if (local) register_local(v);
    return v;
}

void bv_free(bitvec* v) {
    if (v->zone) {
        bv_report(FREES_ZONED);
        return;
    }
    if (v->words) zone_heap_free(v->words);
    *v = bitvec{};
}

void bv_resize(bitvec* v, uint32_t n) {
    if (n == v->n_bits) return;
    uint32_t old_bits = v->n_bits;
    if (n > uint64_t(v->n_alloc) * 32) {
        if (v->zone) bv_report("Should not grow zoned bitvec");
        bv_clear_tail(v);
        move_to_heap(v, n, v->words, v->n_words);
        return;
    }
    v->n_bits = n;
    v->n_words = bv_words(n);
    if (n > old_bits) bv_clear_range(v, old_bits, n - 1);
}

bitvec* bv_assign(bitvec* dst, bitvec* src) {
    if (dst == src) return dst;
    bv_clear_tail(src);
    if (dst->n_bits == 0) {
        move_to_heap(dst, src->n_bits, src->words, src->n_words);
        return dst;
    }
    if (src->n_bits > dst->n_bits) {
        bv_report("Assigning a larger to smaller vector");
        bv_resize(dst, src->n_bits);
    }
    dst->n_bits = src->n_bits;
    dst->n_words = src->n_words;
    copy_words(dst->words, src->words, src->n_words);
    return dst;
}

void bv_make_table(BITVEC_TABLE* table, uint32_t sets, uint32_t n_bits) {
    const uint32_t words = bv_words(n_bits);
    const size_t all_words = size_t(sets) * words;
    table->sets =
        static_cast<bitvec*>(heap_block("ZALLOC", sets * sizeof(bitvec) + all_words * sizeof(uint32_t)));
    table->count = sets;
    auto* storage = reinterpret_cast<uint32_t*>(table->sets + sets);
    for (uint32_t i = 0; i < sets; i++)
        table->sets[i] = bitvec{n_bits, words, words, &function_zone, storage + size_t(i) * words};
}

void bv_free_table(BITVEC_TABLE* table) {
    if (table->sets) zone_heap_free(table->sets);
    *table = BITVEC_TABLE{};
}

void bv_dump(const bitvec* v) {
    if (!debug_on()) return;
    trace("\n\nBITVEC INFORMATION\n");
    trace("   Number of elements = %d\n", int(v->n_bits));
    trace("   Set elements: ");
    for (uint32_t i = bv_next(v, 0); i != BV_NONE; i = bv_next(v, i + 1)) trace("%d, ", int(i));
    trace("\n");
}

} // namespace pelorus
