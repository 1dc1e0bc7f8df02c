// Tail-recursion removal, a part of building the graph.
#pragma once

namespace pelorus {

// Makes loops of the current function's calls of itself that nothing follows, at level 2 and above or in
// program mode 2. True when the function changed.
// Needs: blocks and successors; no numbers yet. Keeps: the entry has no predecessors.
bool remove_tail_recursion();

} // namespace pelorus
