// Questions about trees, and their removal.
#pragma once

#include "ir/effects.h"
#include "ir/node.h"

namespace pelorus {

struct STMT;

// The two trees compute the same value from the same objects, or name the same object: the same operators on
// the same operands, with types of the same representation. Numbers of calls do not count. Whether they may
// stand for each other is up to their effects, which this does not look at. Assembly and calls of alloca,
// stack_save and stack_restore are equal to nothing, so that code that holds them is never merged. Looks at
// `most_nodes` nodes at the most, and takes larger trees to differ.
bool equal_trees(const NODE* a, const NODE* b, int32_t most_nodes = INT32_MAX);

// Equal trees in the same order. Positions do not count.
bool equal_statements(const STMT* a, const STMT* b);

// Some NAME of the tree is the symbol's.
bool tree_mentions(const NODE* tree, const SYMBOL* symbol);

// Operator nodes of the tree, conversions that move no bits not counted: about the instructions that come of
// it. Counts no further than to one more than `most`.
int32_t operator_count(const NODE* tree, int32_t most = INT32_MAX - 1);

// Gives back every node of the tree. Needs: nothing else refers to them.
void erase_tree(NODE* tree);

} // namespace pelorus
