// The tree simplifier, as passes use it.
#pragma once

#include "ir/node.h"

namespace pelorus {

// What is left of the tree when its value is not wanted: its effects in their order, or null when there are
// none. Takes the tree apart and erases what it drops. Linear. Like simplify_tree it uses `scratch_short` of
// the nodes.
NODE* reduce_to_effects(NODE* tree);

// An equivalent tree, of the same type, in the same zone: what is constant has become an ICON or FCON, and
// the rules of tree/rules.def have been applied until none fits. Effects, volatile accesses among them,
// happen as often and in the same order as before. The tree is changed in place where possible and must not
// be used after the call; the result is never null. A statement stays a statement of its kind, with one
// exception: an assignment of a variable to itself, and whatever else has no effect left, becomes an
// expression without effects, which `reduce_to_effects` removes. Linear in the size of the tree.
NODE* simplify_tree(NODE* tree);

} // namespace pelorus
