// How deep the loops are nested around each block, from the edges alone.
//
// Passes that change loops use the loop hierarchy, which changes the graph and which only level 2 has. Where
// an estimate of how often a block runs is enough, one search of the graph tells it, at every level and for
// graphs that are not reducible as well.
#pragma once

#include <cstdint>
#include <vector>

#include "cfg/bb.h"

namespace pelorus {

struct LOOP_NESTING {
    std::vector<const BB*> blocks; // by number; null at 0
    std::vector<int32_t> header;   // of the innermost loop that the block is in and does not head; 0: none
    std::vector<int32_t> depth;    // loops around the block, one that it heads included
    std::vector<bool> is_header;
};

// Needs: dfn. Nearly linear.
LOOP_NESTING find_loop_nesting();

} // namespace pelorus
