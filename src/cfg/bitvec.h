// Bit vectors: fixed-width sets of small numbers, with which every data-flow problem works.
//
// Member i is bit i % 32 of word i / 32. The operations take a word at a time and stand inline here, because
// the iterative solvers live in them; what allocates is in bitvec.cpp.
//
// Two habits to know:
// - The tail, the bits of the last word from `n_bits` on, is not kept clear. Whatever reads whole words
//   clears the tails of its operands first, and so writes even to a source.
// - Growing beyond the allocated words fills the words that are new with ones: members that fall into them
//   read as set, new members in the old last word read as clear. Whoever grows a vector defines its new
//   members.
//
// An operation on vectors that do not fit together says so through `bv_report`, repairs that (it grows a
// vector or lowers an end) and goes on.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "memory/zone.h"

namespace pelorus {

struct bitvec {
    uint32_t n_bits;  // members are 0 .. n_bits - 1
    uint32_t n_words; // words in use, (n_bits + 31) / 32
    uint32_t n_alloc; // words allocated
    const ZONE* zone; // where the storage lives, not freed or grown on its own; null: the heap
    uint32_t* words;  // null when n_alloc is 0
};
static_assert(std::is_trivially_destructible_v<bitvec>);

// No member: what `bv_next` answers at the end. No vector can hold this number.
constexpr uint32_t BV_NONE = UINT32_MAX;

// Takes the diagnostics of this file. It discards them unless someone sets another.
extern void (*bv_report)(const char* message);

// The words that n members take.
constexpr uint32_t bv_words(uint32_t n) { return n / 32 + (n % 32 != 0); }
constexpr uint32_t bv_bit(uint32_t i) { return uint32_t(1) << (i & 31); }
// The bits below position i of its word, and the bits above it.
constexpr uint32_t bv_below(uint32_t i) { return bv_bit(i) - 1; }
constexpr uint32_t bv_above(uint32_t i) { return (i & 31) < 31 ? ~uint32_t(0) << ((i & 31) + 1) : 0; }

// --- Construction and storage ---

// Makes *v a vector of `n_bits` members, all of them when `fill` and none otherwise. `zone` null takes the
// storage from the heap: `bv_free` gives it back. What *v was before is overwritten.
void bv_init(bitvec* v, uint32_t n_bits, const ZONE* zone, bool fill);

// A new empty vector with its storage on the heap. With `local` the record stands in the function's zone and
// the release of that zone frees the storage; otherwise the record lives as long as the file and the storage
// until `bv_free`.
bitvec* new_bitvec(uint32_t n_bits, bool local);

// Frees the storage; the vector then has no members and may be freed again. A zoned vector is only reported.
void bv_free(bitvec* v);

// Changes the size to n members. See the head of this file for what new members are; shrinking clears
// nothing. A zoned vector that must grow is reported and moves to the heap; from then on it is not zoned.
void bv_resize(bitvec* v, uint32_t n);

// dst := src. A dst without members takes the size of src; one that is smaller is reported and resized.
bitvec* bv_assign(bitvec* dst, bitvec* src);

// Prints the size and the members to the trace.
void bv_dump(const bitvec* v);

// --- The tail ---

inline void bv_clear_tail(bitvec* v) {
    if (v->n_bits % 32) v->words[v->n_words - 1] &= bv_below(v->n_bits);
}

inline void bv_set_tail(bitvec* v) {
    if (v->n_bits % 32) v->words[v->n_words - 1] |= ~bv_below(v->n_bits);
}

// --- Tables ---

// Vectors of one size, all in one block of the heap: for whoever needs one a block of the graph, which takes
// the square of the number of blocks in bits and so should go as soon as it is not needed. None of them is
// grown or freed by itself.
struct BITVEC_TABLE {
    bitvec* sets = nullptr; // the start of the block
    uint32_t count = 0;     // of the sets
};

// What the table was before is overwritten. The members of the vectors are anything: `bv_fill` defines those
// of one, so that memory which is never used costs nothing.
void bv_make_table(BITVEC_TABLE* table, uint32_t sets, uint32_t n_bits);
void bv_free_table(BITVEC_TABLE* table);

// --- Single members and ranges ---

// All members with `ones`, none without.
inline void bv_fill(bitvec* v, bool ones) {
    if (v->n_words) memset(v->words, ones ? 0xFF : 0, v->n_words * sizeof(uint32_t));
}

// Adds member i; grows v to i + 1 members when it is smaller. BV_NONE is reported and not added.
inline void bv_set(bitvec* v, uint32_t i) {
    if (i >= v->n_bits) {
        bv_report("Index beyond size");
        if (i == BV_NONE) return;
        bv_resize(v, i + 1);
    }
    v->words[i / 32] |= bv_bit(i);
}

// True when i is a member; what is beyond the size is not.
inline bool bv_test(const bitvec* v, uint32_t i) {
    return i < v->n_bits && (v->words[i / 32] & bv_bit(i)) != 0;
}

// The least member that is not below `from`, BV_NONE when there is none:
//     for (uint32_t i = bv_next(v, 0); i != BV_NONE; i = bv_next(v, i + 1))
inline uint32_t bv_next(const bitvec* v, uint32_t from) {
    if (from >= v->n_bits) return BV_NONE;
    uint32_t at = from / 32;
    uint32_t word = v->words[at] & ~bv_below(from);
    while (!word && ++at < v->n_words) word = v->words[at];
    if (!word) return BV_NONE;
    uint32_t member = at * 32 + uint32_t(__builtin_ctz(word));
    return member < v->n_bits ? member : BV_NONE;
}

// The greatest member that is below `end`, BV_NONE when there is none.
inline uint32_t bv_previous(const bitvec* v, uint32_t end) {
    if (end > v->n_bits) end = v->n_bits;
    if (end == 0) return BV_NONE;
    uint32_t at = (end - 1) / 32;
    uint32_t word = v->words[at] & ~bv_above(end - 1);
    while (!word && at > 0) word = v->words[--at];
    return word ? at * 32 + 31 - uint32_t(__builtin_clz(word)) : BV_NONE;
}

// Clears the members lo .. hi. Nothing when lo > hi or hi is BV_NONE; a v that ends before hi is grown to hi
// + 1.
inline void bv_clear_range(bitvec* v, uint32_t lo, uint32_t hi) {
    if (lo > hi || hi == BV_NONE) return;
    if (hi >= v->n_bits) {
        bv_report("Endpoint beyond size");
        bv_resize(v, hi + 1);
    }
    uint32_t first = lo / 32;
    uint32_t last = hi / 32;
    if (first == last) {
        v->words[first] &= bv_below(lo) | bv_above(hi);
        return;
    }
    v->words[first] &= bv_below(lo);
    for (uint32_t at = first + 1; at < last; at++) v->words[at] = 0;
    v->words[last] &= bv_above(hi);
}

// Copies the members lo .. hi of src and leaves the others of dst. Nothing when lo > hi or hi is BV_NONE; hi
// is lowered to the end of src, and a dst that ends before hi is grown to hi + 1.
inline void bv_copy_range(bitvec* dst, const bitvec* src, uint32_t lo, uint32_t hi) {
    if (lo > hi || hi == BV_NONE) return;
    if (hi >= src->n_bits) {
        bv_report("Endpoint beyond size");
        if (lo >= src->n_bits) return;
        hi = src->n_bits - 1;
    }
    if (hi >= dst->n_bits) {
        bv_report("Endpoint beyond size");
        bv_resize(dst, hi + 1);
    }
    auto copy_outside = [&](uint32_t at, uint32_t keep) {
        dst->words[at] = (dst->words[at] & keep) | (src->words[at] & ~keep);
    };
    uint32_t first = lo / 32;
    uint32_t last = hi / 32;
    if (first == last) {
        copy_outside(first, bv_below(lo) | bv_above(hi));
        return;
    }
    copy_outside(first, bv_below(lo));
    for (uint32_t at = first + 1; at < last; at++) dst->words[at] = src->words[at];
    copy_outside(last, bv_above(hi));
}

// --- Whole sets ---

// Resizes dst to n members, with a report in the name of `operation`, when it is smaller.
inline void bv_grow_to(bitvec* dst, uint32_t n, const char* report) {
    if (dst->n_bits >= n) return;
    bv_report(report);
    bv_resize(dst, n);
}

// dst := dst OR src. A null src adds nothing.
inline void bv_merge(bitvec* dst, bitvec* src) {
    if (!src) return;
    bv_grow_to(dst, src->n_bits, "Vector size mismatch bv_merge");
    bv_clear_tail(dst);
    bv_clear_tail(src);
    for (uint32_t at = 0; at < src->n_words; at++) dst->words[at] |= src->words[at];
}

// The same; true when dst changed.
inline bool bv_union(bitvec* dst, bitvec* src) {
    if (!src) return false;
    bv_grow_to(dst, src->n_bits, "Vector size mismatch bv_union");
    bv_clear_tail(dst);
    bv_clear_tail(src);
    uint32_t news = 0;
    for (uint32_t at = 0; at < src->n_words; at++) {
        news |= src->words[at] & ~dst->words[at];
        dst->words[at] |= src->words[at];
    }
    return news != 0;
}

// dst := a AND b; the members of dst beyond the shorter of the two are cleared.
inline void bv_and3(bitvec* dst, bitvec* a, bitvec* b) {
    uint32_t members = std::min(a->n_bits, b->n_bits);
    uint32_t words = std::min(a->n_words, b->n_words);
    bv_grow_to(dst, members, "Vector size mismatch bv_and3");
    bv_clear_tail(a);
    bv_clear_tail(b);
    for (uint32_t at = 0; at < words; at++) dst->words[at] = a->words[at] & b->words[at];
    bv_clear_range(dst, members, dst->n_bits - 1);
}

// dst := a AND NOT b. Where b has ended the members of a are taken as they are; the members of dst beyond a
// are cleared.
inline void bv_diff(bitvec* dst, bitvec* a, bitvec* b) {
    bv_clear_tail(a);
    bv_clear_tail(b);
    uint32_t both = std::min(a->n_words, b->n_words); // before dst grows: it may be b
    bv_grow_to(dst, a->n_bits, "Vector size mismatch bv_diff");
    for (uint32_t at = 0; at < both; at++) dst->words[at] = a->words[at] & ~b->words[at];
    for (uint32_t at = both; at < a->n_words; at++) dst->words[at] = a->words[at];
    bv_clear_range(dst, a->n_bits, dst->n_bits - 1);
}

// dst := src, with the size of src; true when dst changed.
inline bool bv_cmp_cpy(bitvec* dst, bitvec* src) {
    if (dst->n_bits != src->n_bits) {
        bv_report("Vector size mismatch bv_cmp_cpy");
        bv_resize(dst, src->n_bits);
    }
    bv_clear_tail(dst);
    bv_clear_tail(src);
    const size_t bytes = src->n_words * sizeof(uint32_t);
    if (!bytes || !memcmp(dst->words, src->words, bytes)) return false;
    memcpy(dst->words, src->words, bytes);
    return true;
}

} // namespace pelorus
