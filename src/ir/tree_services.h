// What passes ask of trees: questions about them, and the tree simplifier.
//
// The code is in scalar/ (trees.cpp, simplify.cpp). It is declared here because the passes over the block
// graph, which stand below, need it as well; it needs nothing but trees.
#pragma once

#include "ir/node.h"

namespace pelorus {

struct STMT;

// The node by itself changes something, runs code that is not in the tree, directs control, or touches a
// volatile object. With all lvalues volatile, everything but automatic variables is.
bool node_has_effect(const NODE* node);

// Some node of the tree does, so that the tree may be neither dropped nor evaluated twice nor moved past
// another such tree. An object whose address alone is taken is not touched. Linear.
bool tree_has_effects(const NODE* tree);

// The two trees compute the same value from the same objects, or name the same object: the same operators on
// the same operands, with types of the same representation. Numbers of calls do not count. Whether they may
// stand for each other is up to their effects, which this does not look at. Looks at `most_nodes` nodes at
// the most, and takes larger trees to differ.
bool equal_trees(const NODE* a, const NODE* b, int32_t most_nodes = INT32_MAX);

// Equal trees in the same order. Positions do not count.
bool equal_statements(const STMT* a, const STMT* b);

// Some NAME of the tree is the symbol's.
bool tree_mentions(const NODE* tree, const SYMBOL* symbol);

// What is left of the tree when its value is not wanted: its effects in their order, or null when there are
// none. Takes the tree apart and erases what it drops. Linear. Like simplify_tree it uses `scratch_short` of
// the nodes.
NODE* reduce_to_effects(NODE* tree);

// An equivalent tree, of the same type, in the same zone: what is constant has become an ICON or FCON, and
// the rules of scalar/rules.def have been applied until none fits. Effects, volatile accesses among them,
// happen as often and in the same order as before. The tree is changed in place where possible and must not
// be used after the call; the result is never null. A statement stays a statement of its kind, with one
// exception: an assignment of a variable to itself, and whatever else has no effect left, becomes an
// expression without effects, which `reduce_to_effects` removes. Linear in the size of the tree.
NODE* simplify_tree(NODE* tree);

// Gives back every node of the tree. Needs: nothing else refers to them.
void erase_tree(NODE* tree);

} // namespace pelorus
