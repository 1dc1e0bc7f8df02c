// Trees node by node, for the trace.
#pragma once

#include "ir/node.h"

namespace pelorus {

// Traces one line a node, parents before children and left before right: the depth in the tree, the operator,
// the node's dependence number, size and type, and what a leaf holds. A null tree is reported as illegal;
// missing subtrees are left out. Does nothing when the trace is off.
void dump_tree(const NODE* tree);

} // namespace pelorus
