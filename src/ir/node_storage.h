// Giving nodes back, and the check that nothing of the file points into a function.
//
// An erased node waits on `free_NODE_list` until the factory takes it again, within the same function. It
// carries the opcode OP_ERASED, which no live tree holds, so that erasing it a second time is noticed.
//
// The cross-zone check compares, for each node and symbol of the file and of the function, its own zone with
// the zone of what it points to. A pointer from the global zone into the function zone dangles after the
// release.
#pragma once

#include <cstdint>
#include <span>

#include "ir/node.h"
#include "ir/symbol.h"

namespace pelorus {

// Gives back one node, not its subtrees. Ends the run when it was erased already; with debug output on,
// reports a node that does not lie in the function zone and goes on.
void erase_node(NODE* node);

// A node from the free list with all its fields clear and opcode OP_ERASED; null when there is none. For
// nodes of the function zone only: what is on the list goes with the release.
NODE* recycled_node();

// Warns on the debug stream of each pointer in `tree`, or in the symbol with its initializer, that
// leaves the zone of the object that holds it. Answers how many point from the global zone into the function
// zone. Nothing when the debug stream is off or the allocator is in checking mode, which knows no zones.
int32_t check_cross_zone(const NODE* tree);
int32_t check_cross_zone(const SYMBOL* symbol);

// What is checked before a release.
struct ZONE_CHECK {
    std::span<NODE* const> function_trees{};
    std::span<NODE* const> file_trees{};
    std::span<SYMBOL* const> symbols{}; // of the file and of the function, with all of their initializers
    std::span<SYMBOL* const>
        records{}; // symbols of which only the record and its initializer's first tree are checked
};

// The whole check, for the time before a release. Traces its own time. Ends the run when a tree or a symbol
// of the file holds a pointer that would dangle.
void check_zones(const ZONE_CHECK& what);

} // namespace pelorus
