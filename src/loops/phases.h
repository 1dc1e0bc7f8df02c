// The phases of building a loop hierarchy, in their order; see hierarchy.cpp.
#pragma once

#include "cfg/loop.h"

namespace pelorus {

// --- normalise_headers.cpp ---

// Gives each loop header one back edge. False when no further block can be numbered.
bool normalise_headers();

// --- find_loops.cpp ---

// Finds the natural loops, and makes the root around them. Null, with no block in a loop, when an edge back
// does not close a natural loop of its own.
// Needs: dominator_sets.
LOOPREC* find_loops();

// --- loop_edges.cpp ---

// Gives each loop a preheader and exits that are its own, the inner loops first. False when no further block
// can be numbered.
// Needs: the links inside the tree.
bool add_preheaders(LOOPREC* root);
bool add_exits(LOOPREC* root);

// --- number_loops.cpp ---

// The links between the loops of the tree, from `contents`.
void link_loops(LOOPREC* root);
// Numbers blocks and loops anew, puts all lists in order, and works out levels and source ranges.
void number_loops(LOOPREC* root);

void add_to_contents(LOOPREC* loop, BB* block);

} // namespace pelorus
