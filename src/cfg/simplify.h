// Simplifying the control-flow graph: what passes call, and what the files of the simplifier share.
#pragma once

#include "cfg/graph_edit.h"

namespace pelorus {

// Simplifies the graph of the current function until nothing changes, in at most 20 sweeps. `aggressive` 0:
// early, when other passes follow: short blocks are copied behind their predecessors. 1: late, for the code
// as it will be: equal code is merged (cross_jump), and nested tests become one condition. Does nothing while
// `simplification.suppressed` is set. True when the function changed.
// Needs: cfg. Keeps: cfg, dfn, label leaves. Breaks: dom, loops, live, ssa.
bool simpcfg(int aggressive);
// The two as passes of the pipeline.
inline bool simplify_graph_early() { return simpcfg(0); }
inline bool simplify_graph_late() { return simpcfg(1); }

// Makes blocks that end alike share one copy. Only with more than one block and at level 1 and above. True
// when something changed; dfn is then that of before, and unreachable blocks are left for simpcfg to delete.
bool cross_jump();
// Makes equal tests with equal targets share one copy. The same.
bool if_cross_jump();

struct SIMPLIFICATION {
    bool suppressed = false; // other passes set it around work that must not be undone
};
extern SIMPLIFICATION simplification;

// --- simplify_branch.cpp ---

// Moves labels of tests over blocks that only branch. True when some did.
bool thread_labels();
// Simplifies the ending IF or SWITCH of a block with two or more successors. True when the block changed.
bool simplify_ending(BB* block, int aggressive);
// Where an IF or SWITCH leads when its condition has the value; null for a SWITCH that does not say.
NODE* leaf_for_value(const NODE* ending, INT96 value);
// Makes a jump of an ending IF or SWITCH whose condition is an ICON. True when it did.
bool fold_decided_ending(BB* block);
// Forgets what is known about equal arms. Before the first sweep, since other passes change any statement.
void forget_comparisons();

// --- simplify_edge.cpp ---

// Tries the rewrites of a block with exactly one successor. True when the block changed.
bool simplify_single_successor(BB* block, int aggressive);
// Why `block` is better not copied behind a predecessor; null when it is worth it. `behind` is that
// predecessor, null for any.
const char* why_not_duplicate(const BB* block, const BB* behind, int aggressive);

} // namespace pelorus
