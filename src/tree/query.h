// Questions about trees, and their removal.
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

// The object whose address the node takes is not read. What is evaluated to find it, or null.
const NODE* behind_address(const NODE* address);
inline bool takes_address(const NODE* node) { return node->op == OP_UAND || node->op == OP_ACONV; }

// The two trees compute the same value from the same objects, or name the same object: the same operators on
// the same operands, with types of the same representation. Numbers of calls do not count. Whether they may
// stand for each other is up to their effects, which this does not look at. Looks at `most_nodes` nodes at
// the most, and takes larger trees to differ.
bool equal_trees(const NODE* a, const NODE* b, int32_t most_nodes = INT32_MAX);

// Equal trees in the same order. Positions do not count.
bool equal_statements(const STMT* a, const STMT* b);

// Some NAME of the tree is the symbol's.
bool tree_mentions(const NODE* tree, const SYMBOL* symbol);

// Gives back every node of the tree. Needs: nothing else refers to them.
void erase_tree(NODE* tree);

} // namespace pelorus
