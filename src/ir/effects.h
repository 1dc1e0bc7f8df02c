// What evaluating a tree does besides giving a value.
#pragma once

#include "ir/node.h"

namespace pelorus {

// The node by itself changes something, runs code that is not in the tree, directs control, or touches a
// volatile object. With all lvalues volatile, everything but automatic variables is. A call of a pure
// function only gives a value.
bool node_has_effect(const NODE* node);

// Some node of the tree does, so that the tree may be neither dropped nor evaluated twice nor moved past
// another such tree. An object whose address alone is taken is not touched. Linear.
bool tree_has_effects(const NODE* tree);

// The tree may stand as a statement: it has effects, or calls some function, whatever is known of that one.
bool tree_is_statement(const NODE* tree);

// The lvalue keeps only some bits of what is assigned to it, which are the value of the assignment. The store
// reads the others.
inline bool is_bitfield_member(const NODE* lvalue) {
    while (lvalue->op == OP_COMMAOP) lvalue = lvalue->right;
    return (lvalue->op == OP_STDOT || lvalue->op == OP_STREF) && lvalue->right->field_info &&
           lvalue->right->field_info->flag;
}

// The object whose address the node takes is not read. What is evaluated to find it, or null.
const NODE* behind_address(const NODE* address);
inline bool takes_address(const NODE* node) { return node->op == OP_UAND || node->op == OP_ACONV; }

} // namespace pelorus
