// Where each variable holds a value that is needed, what its register is worth, and how many registers the
// variables want at once.
//
// Statements are numbered through the blocks in their order; each has places for what it reads, for the calls
// that it makes and for what it assigns:
//
//     statement i:   4i  uses      4i + 1  calls      4i + 2  assignments
//
// so that a variable that is read for the last time can share the register of the one that is assigned, and
// arguments and results of a call need none that a call keeps.
#pragma once

#include <cstdint>
#include <vector>

#include "cfg/loop_nesting.h"
#include "regs/registers.h"

namespace pelorus {

struct SYMBOL;
struct TREE_ACCESS;

// Half-open.
struct PLACE_RANGE {
    int32_t from, to;
};

struct LIVE_RANGE {
    SYMBOL* symbol;
    REGISTER_CLASS kind;
    std::vector<PLACE_RANGE> places; // ascending, with gaps between them
    double cost;                     // accesses, weighted by the depth of loops
    int32_t length;                  // of all places together
    std::vector<int32_t> partners;   // candidates that it is copied from or to
    const char* why_memory;          // no register can hold it; null: one can
};

// Units of each file that variables hold at once.
struct PRESSURE {
    int32_t units[REGISTER_FILES];
};

struct LIVE_RANGES {
    std::vector<LIVE_RANGE>
        variables;              // by candidate number; without a symbol where the candidate is not asked for
    std::vector<int32_t> calls; // their places, ascending
    std::vector<PRESSURE> pressure; // the highest in each block, by number
};

// What an access says against keeping its variable in a register; null: nothing.
const char* why_memory(const TREE_ACCESS& access);

// Fills in what is known of the variables, of which `symbol` and `why_memory` are set; those with a reason
// for memory are not looked at. An access may give one.
// Needs: dfn, candidates, live. Linear in the statements and in the members of the sets of live variables.
LIVE_RANGES find_live_ranges(std::vector<LIVE_RANGE> variables, const LOOP_NESTING& nesting);

// The highest pressure in the loop that each block heads, inner loops included; by number, 0 for blocks that
// head none.
std::vector<PRESSURE> pressure_of_loops(const LIVE_RANGES& ranges, const LOOP_NESTING& nesting);

} // namespace pelorus
