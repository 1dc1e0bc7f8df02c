// Where variables are assigned, seen from the loops: what the analyses of loops ask.
//
// One walk over the function collects all definitions; a loop's are found by the numbers of the loops in
// pre-order, so that no list is kept for each loop of a nest.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "cfg/loop.h"
#include "tree/access.h"

namespace pelorus {

struct DEFINITION {
    SYMBOL* symbol;
    BB* block;
    STMT* statement;
    NODE* by;     // the operator
    bool is_sure; // the whole variable gets a value, whenever the statement is run
};

struct LOOP_DEFINITIONS {
    std::vector<DEFINITION> all;           // in the order of the blocks, and of evaluation
    std::vector<uint32_t> first_in_block;  // by block number: index into `all`; one more at the end
    std::vector<int16_t> last_inside;      // by loop number: the last number inside the loop
    std::vector<uint8_t> writes_memory;    // by loop number: something inside assigns what has no name
    std::vector<std::vector<BB*>> exiting; // by loop number: the blocks from which the loop is left
    std::unordered_map<const SYMBOL*, std::vector<uint32_t>> of; // indices into `all`, by the loops' numbers

    // The definitions in a block, in their order.
    std::span<const DEFINITION> in_block(const BB* block) const;
    // How many definitions of the symbol the loop holds; one of them.
    uint32_t count_inside(const LOOPREC* loop, const SYMBOL* symbol) const;
};

// Needs: loops, candidates. Linear in the statements, and in the sorting of the definitions of each symbol.
LOOP_DEFINITIONS find_definitions(LOOPREC* root);

// A type whose values wrap modulo 2^bits, as those of counters must: integers but bool, and pointers.
bool is_counted(const TYPE* type);

// The tree has the same value wherever in the loop it is evaluated, and at the end of the preheader, where
// evaluating it can go wrong in no way: constants, addresses, and scalar variables that the loop does not
// change, under operators that have a result for all operands. Small trees only.
bool is_region_constant(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const NODE* tree);
bool is_region_constant(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const SYMBOL* symbol);

} // namespace pelorus
