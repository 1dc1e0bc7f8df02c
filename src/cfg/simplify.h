// Simplifying the control-flow graph: what passes call, and what the files of the simplifier share.
#pragma once

#include "cfg/bb.h"

namespace pelorus {

// Simplifies the graph of the current function until nothing changes, in at most 20 sweeps. `aggressive` 0:
// early, when other passes follow: short blocks are copied behind their predecessors. 1: late, for the code
// as it will be: equal code is merged (cross_jump), and nested tests become one condition. Does nothing while
// `simplification.suppressed` is set.
// Needs: cfg. Keeps: cfg, dfn, label leaves. Breaks: dom, loops, live, ssa.
void simpcfg(int aggressive);
// The two as passes of the pipeline.
inline void simplify_graph_early() { simpcfg(0); }
inline void simplify_graph_late() { simpcfg(1); }

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

// --- simplify_edge.cpp ---

// Tries the rewrites of a block with exactly one successor. True when the block changed.
bool simplify_single_successor(BB* block, int aggressive);
// May `block`, one statement, be copied behind a predecessor? `behind` is that predecessor, null for any.
bool is_worth_duplicating(const BB* block, const BB* behind, int aggressive);

// --- graph_edit.cpp: changes of the graph that keep edges and labels in step ---

NODE* ending_tree(const BB* block);
bool has_one(const BB_LIST* set);     // exactly one element
bool has_two(const BB_LIST* set);     // exactly two
bool has_several(const BB_LIST* set); // two or more
inline BB* only_of(const BB_LIST* set) { return set->block; }
// The block that a resolved LABEL leaf names.
inline BB* target_of(const NODE* leaf) { return leaf->label()->block; }

// The label by which leaves name the block; made when it has none.
LABEL_RECORD* label_of(BB* block);
void set_target(NODE* leaf, LABEL_RECORD* label);
// A BRANCH to the block.
NODE* new_branch(BB* target);

// Puts a statement in front of the ending branch, with the branch's position.
void insert_before_ending(BB* block, NODE* tree);
// Replaces the ending branch; the old tree is the caller's.
void replace_ending(BB* block, NODE* tree);
// Keeps the effects of a tree, if it has any, as a statement in front of the ending branch.
void keep_effects(BB* block, NODE* tree);

// Makes successors and predecessors agree with the labels of the ending branch. True when they did not.
// Linear in the successors, and in the predecessors of those that are lost.
bool recompute_successors(BB* block);

// The predecessors of all blocks from the successors, in the order of the chain. Linear; for changes that
// touch many edges.
void rebuild_predecessors();
// The block gets one successor, and leaves its old ones' predecessors to `rebuild_predecessors`.
void set_only_successor(BB* block, BB* successor);

// A block behind `before` in the chain, with one label and no edges; null when the function has as many
// blocks as can be numbered.
BB* insert_block(BB* before, STMT* stmts, STMT* last);

// Empties a block without predecessors, and whatever it alone kept reachable.
void delete_block(BB* block);

// Inverts the condition of an IF and exchanges its targets; false, with nothing changed, when the condition
// has no complement.
bool invert_if(NODE* tree);
// Two relations of which one holds exactly when the other does not.
bool has_complement(const NODE* relation);

} // namespace pelorus
