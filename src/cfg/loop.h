// LOOPREC: one natural loop of the current function, and the tree that the loops make.
//
// A natural loop is entered through its header alone and goes round through its tail alone; the block in
// front of the header, the preheader, has no other way on. The root record stands for the whole function: it
// has no header, no preheader and no exits. BB::loop is the innermost loop of a block.
//
//            preheader
//                |
//             head <----.        contents: the blocks whose innermost loop this is,
//             /   \     |                  and the heads of the loops directly inside
//          exit   ...   |
//                  |    |
//                 tail -'
//
// The hierarchy is built by `build_loop_hierarchy` (loops/hierarchy.h), never patched: a change of the graph
// loses it (facts.h). What the analyses say of a loop is a fact of its own, which a change of a statement
// loses as well; each member below says which of the two it belongs to.
//
// All records are the function zone's.
#pragma once

#include <cstdint>
#include <type_traits>

#include "cfg/bb.h"
#include "cfg/facts.h"

namespace pelorus {

struct BLOCK_CELL {
    BB* block;
    BLOCK_CELL* next;
};

struct SYMBOL_CELL {
    SYMBOL* symbol;
    SYMBOL_CELL* next;
};

// A text for the user about a loop.
struct ADVICE {
    const char* text;
    ADVICE* next;
};

// A variable that the loop assigns exactly once each time round, and that changes by the same amount each
// time. A basic one is its own basis: v = v + increment. A derived one is scale * basis + offset.
struct INDUCTION {
    SYMBOL* symbol;  //
    SYMBOL* basis;   // the basic one that it is computed from; itself when it is basic
    NODE* increment; // what it changes by each time round: a constant, or a tree of region constants
    NODE* scale;     // derived ones: constant factor of the basis; null for basic ones
    NODE* offset;    // derived ones: tree of region constants that is added; null for basic ones and for 0
    NODE* initial; // its value at the end of the preheader, a tree that can be evaluated there; the variable
                   //   itself when nothing simpler is known; null for derived ones
    NODE* final;   // its value behind the loop when it leaves by its test; null when not known
    BB* block;     // of its assignment, which dominates the tail
    STMT* statement; // its assignment
    INDUCTION* next;
};

enum LOOP_FLAG : uint32_t {
    LOOP_EARLY_EXIT = 0x01,         // structure: a block other than the tail leaves the loop
    LOOP_NOT_AFFINE = 0x02,         // analysis: its trip count is no linear function of what it starts with
    LOOP_NON_ALIASED = 0x04,        // clone marks: this copy may take it that
    LOOP_ALIGNED = 0x08,            //   its accesses do not overlap, or that they are aligned;
    LOOP_CONSERVATIVE_CLONE = 0x10, //   this copy takes nothing for granted, or is the one that does;
    LOOP_AGGRESSIVE_CLONE = 0x20,   //
    LOOP_FAVORED_CLONE = 0x40,      //   this copy is expected to be run, or not to be
    LOOP_DEPRECATED_CLONE = 0x80,   //
    LOOP_MAY_BE_ENDLESS = 0x100,    // analysis: `trips` holds if the loop ends at all
};

// What pragmas say of a loop; 0 when they do not. Structure: they stand as statements in the preheader.
struct LOOP_PRAGMAS {
    uint32_t must_minimum;     // MUST_ITERATE: trips are at least,
    uint32_t must_maximum;     //   at most,
    uint32_t must_multiple;    //   and a multiple of these
    uint32_t probable_minimum; // PROB_ITERATE
    uint32_t probable_maximum; //
    uint32_t unroll;           // UNROLL: wanted copies of the body; 1: leave it
    bool before_guard;         // they stood in front of a test that the preheader is behind
};

constexpr int16_t NO_LEVEL_YET = 42;      // not a level that a small nest has, so that it shows in a dump
constexpr uint8_t NO_SIBLING_CLONE = 255; //
constexpr uint32_t MOST_UNROLLING = 8;    // copies of a body that a loop may have until something says more

struct LOOPREC {
    // --- Structure: FACT_loops ---
    LOOPREC* parent;      // the loop around; null for the root
    LOOPREC* first_inner; // the loops directly inside, in the order of `contents`
    LOOPREC* next;        // the next loop inside the same parent
    BLOCK_CELL*
        contents;      // the blocks whose innermost loop this is, and the heads of the loops directly inside
    BLOCK_CELL* exits; // blocks outside, each entered from this loop alone; by ascending number
    BB* preheader;     // enters the header and does nothing else; null for the root
    BB* head;          // null for the root
    BB* tail;          // source of the back edge; the root: the last block outside all loops

    // --- The loop-control variable: FACT_loop_analyses ---
    SYMBOL* LCV;         // the induction variable whose test in the tail or head ends the loop; null: none
    NODE* LCV_test;      // the relation under which the loop goes on, as it stands; null without an LCV
    NODE* LCV_increment; // copies of what INDUCTION says of it
    NODE* LCV_initial;   //
    NODE* LCV_last;      // its value in the last trip; null when not known

    // --- Variables: FACT_loop_analyses ---
    INDUCTION* inductions;           // basic ones first, each behind the one that it is computed from
    SYMBOL_CELL* region_constants;   // scalars that the loop reads and never changes
    SYMBOL_CELL* altered;            // candidates that it assigns and that are no induction variables
    SYMBOL_CELL* variant_conditions; // of those, the ones that tests which leave the loop read

    uint32_t flags;        // LOOP_...
    uint8_t sibling_clone; // number of the other clone; NO_SIBLING_CLONE without one
    int16_t number;        // in pre-order of the tree; the root is 0
    int16_t level;         // loops around; the root is 0

    // --- Trips: FACT_loop_analyses. How often the tail is run each time the loop is entered, when no early
    //     exit is taken. ---
    NODE* trips; // exact, a tree of the counter's width, to be read without sign, that can be
                 //   evaluated at the end of the preheader; null when not known. It wraps: 0 may stand
                 //   for as many trips as there are values
    int16_t trip_factor; // the trips are a multiple of this
    uint64_t trips_min;  // at least; certain, as all of these
    uint64_t trips_max;  // at most; UINT64_MAX: not known
    uint32_t max_unroll; // most copies of the body

    // --- From the source: structure ---
    LOOP_PRAGMAS pragmas;
    ADVICE* advice;        // analysis: in the order in which it was given
    POSITION source_start; // earliest and latest position of the statements of its blocks and inner loops
    POSITION source_end;   //
};
static_assert(std::is_trivially_destructible_v<LOOPREC>);

// A new record; all other members are zero but the level and what "not known" is for the rest.
LOOPREC* new_loop(int16_t number, BB* head, BB* tail);
// A copy of all that `pattern` says, lists and trees included, for another loop; what is null or 0 is taken
// from the pattern. It stands in no tree.
LOOPREC* copy_loop(const LOOPREC* pattern, int16_t number, BB* head, BB* tail);

// The hierarchy of the current function; null when it has none, which is so for irreducible graphs, and when
// it no longer holds. In checking builds asking for one that no longer holds ends the run.
LOOPREC* root_loop();
// What blocks say of loops means nothing without the hierarchy, so that nobody compares stale pointers.
void forget_loops();
// The fact as it is, and as another way finds it: for each block the header of its innermost loop.
FACT_RECORD stored_loops();
FACT_RECORD computed_loops();

// Calls visit(loop) for the loop, which may be constant, and all inside it: outer loops first, or last.
template <class LOOP, class F>
void for_each_loop(LOOP* loop, F visit) {
    for (LOOP* at = loop; at;) {
        visit(at);
        if (at->first_inner) {
            at = at->first_inner;
            continue;
        }
        while (at != loop && !at->next) at = at->parent;
        at = at == loop ? nullptr : at->next;
    }
}
template <class F>
void for_each_loop_inside_first(LOOPREC* loop, F visit) {
    const auto innermost_first = [](LOOPREC* at) {
        while (at->first_inner) at = at->first_inner;
        return at;
    };
    for (LOOPREC* at = innermost_first(loop);;) {
        LOOPREC* const next = at == loop ? nullptr : at->next ? innermost_first(at->next) : at->parent;
        visit(at);
        if (!next) return;
        at = next;
    }
}

// Whether the loop is, or is around, the other one. `other` may be null.
bool is_around(const LOOPREC* loop, const LOOPREC* other);
inline bool loop_contains(const LOOPREC* loop, const BB* block) { return is_around(loop, block->loop); }

// By file name, byte by byte, then line, then column: below zero, zero or above it. A missing one equals all.
int compare_positions(const POSITION& a, const POSITION& b);

} // namespace pelorus
