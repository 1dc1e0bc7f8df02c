// What tests say of versions on the ways behind them.
//
//      if (x == 5) y = x; else ...        x is 5 in the first arm, and in all blocks that this arm dominates
//
// A version keeps its value until its definition is executed again, which comes before the test. So what a
// test found holds wherever control comes by that edge alone: in the block that the edge leads to, when it is
// the only way in, and in what that block dominates; and for the operands of phis, on the edge itself. No
// copies are made for it: whoever asks says where the value is used.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cfg/bb.h"
#include "ssa/known_values.h"

namespace pelorus {

// Of a block and what it dominates.
struct BLOCK_FACT {
    uint32_t first, end; // numbers of those blocks
    int32_t outer;       // place, among the version's, of the fact around this one; -1: none
    KNOWN_VALUE value;
};

struct EDGE_FACTS {
    std::vector<std::vector<BLOCK_FACT>> of_version; // in the order of `first`; empty when there are no facts
    std::vector<uint32_t> numbers; // of blocks, by dfn: those that a block dominates follow it at once
    std::unordered_map<uint64_t, std::vector<std::pair<int32_t, KNOWN_VALUE>>> of_edge; // by key_of_edge
};

inline uint64_t key_of_edge(const BB* from, const BB* to) {
    return uint64_t{static_cast<uint16_t>(from->dfn)} << 16 | static_cast<uint16_t>(to->dfn);
}

// Collects what the branches of the function say. Needs: the form, dfn. Linear in the conditions.
EDGE_FACTS find_edge_facts();

// What is known of the version in the block; VARIES when no test says anything. The search goes by halves.
KNOWN_VALUE fact_in_block(const EDGE_FACTS& facts, int32_t version, const BB* block);
// The same where control goes from one block to another.
KNOWN_VALUE fact_on_edge(const EDGE_FACTS& facts, int32_t version, const BB* from, const BB* to);

} // namespace pelorus
