// Edits of a block's statements. Each says that trees changed (facts.h); a pass that changes a tree in place
// says so itself.
#pragma once

#include "cfg/bb.h"
#include "cfg/facts.h"

namespace pelorus {

// A tree was changed in place.
inline void trees_changed() { lose_facts(EDIT_TREES); }
// A variable was made, or its type was changed.
inline void symbols_changed() { lose_facts(EDIT_SYMBOLS); }

// Puts a statement in front of what the cell holds; answers the cell that holds that from now on.
STMT* insert_before(BB* block, STMT* cell, NODE* tree, const POSITION& position);
// Puts a statement in front of the ending branch, with the branch's position.
void insert_before_ending(BB* block, NODE* tree);
// Replaces the ending branch; the old tree is the caller's.
void replace_ending(BB* block, NODE* tree);
// Keeps the effects of a tree, if it has any, as a statement in front of the ending branch.
void keep_effects(BB* block, NODE* tree);
// The block's statements become the list first .. last; the old ones are the caller's.
void set_statements(BB* block, STMT* first, STMT* last);
// The list first .. last takes the place of the ending branch, whose tree is erased.
void append_statements(BB* block, STMT* first, STMT* last);
// Takes out a cell, which is not the ending branch's; the next one takes over its place in memory. The tree
// is the caller's.
void remove_cell(BB* block, STMT* cell);

} // namespace pelorus
