// The one place that edits the graph: edges, the chains of blocks, and the numbers that follow from them.
//
// Only graph_edit.cpp and number_cfg.cpp write `succs`, `preds` and the links between blocks; a check of the
// sources holds everybody else to that. Every edit says what it changed (facts.h), so that what was known of
// the graph is lost with it.
#pragma once

#include "cfg/bb.h"
#include "cfg/facts.h"

namespace pelorus {

// --- Questions ---

NODE* ending_tree(const BB* block);
bool has_one(const BB_LIST* set);     // exactly one element
bool has_two(const BB_LIST* set);     // exactly two
bool has_several(const BB_LIST* set); // two or more
inline BB* only_of(const BB_LIST* set) { return set->block; }
// The block that a resolved LABEL leaf names.
inline BB* target_of(const NODE* leaf) { return leaf->label()->block; }

// --- Branches ---

// The label by which leaves name the block; made when it has none.
LABEL_RECORD* label_of(BB* block);
void set_target(NODE* leaf, LABEL_RECORD* label);
// A BRANCH to the block.
NODE* new_branch(BB* target);
// Inverts the condition of an IF and exchanges its targets; false, with nothing changed, when the condition
// has no complement.
bool invert_if(NODE* tree);
// Two relations of which one holds exactly when the other does not.
bool has_complement(const NODE* relation);

// --- Edges ---

// One edge more or less, on both sides. Linear in the sets.
void add_edge(BB* from, BB* to);
void remove_edge(BB* from, BB* to);

// Makes successors and predecessors agree with the labels of the ending branch. True when they did not.
// Linear in the successors, and in the predecessors of those that are lost.
bool recompute_successors(BB* block);

// The predecessors of all blocks from the successors, in the order of the chain. Linear; for changes that
// touch many edges.
void rebuild_predecessors();
// The block gets one successor, and leaves its old ones' predecessors to `rebuild_predecessors`.
void set_only_successor(BB* block, BB* successor);

// --- Blocks ---

// Whether one more block can be numbered.
bool has_room_for_block();
// A block behind `before` in the chain, with one label and no edges.
// Needs: has_room_for_block().
BB* insert_block(BB* before, STMT* stmts, STMT* last);

// A block that only branches to `target`, with that edge, and the position of the target's first statement:
// in front of the target in the chain, with its number until the next numbering.
// Needs: has_room_for_block(); a target other than the entry.
BB* insert_jump_in_front(BB* target);
// The same behind `before`, with a number above all others.
BB* insert_jump_behind(BB* before, BB* target);
// Gives a block a number above all others until the next numbering.
void number_last(BB* block);

// Every label of the block's ending branch that names a successor s names lead(s) from now on, a block that
// may be s itself; the edges follow. Linear in the labels and successors.
template <class F>
void redirect_branch(BB* block, F lead) {
    for_each_label(ending_tree(block), [&](NODE* leaf) {
        BB* const old_target = target_of(leaf);
        if (BB* const target = lead(old_target); target != old_target) set_target(leaf, label_of(target));
    });
    recompute_successors(block);
}

// Puts the successors of a block in the order of their numbers, highest first, so that a depth-first search
// gives them the same order again.
void sort_successors(BB* block);

// The block takes over the statements and the edges of its only successor, which has no other predecessor and
// is then empty.
void absorb_successor(BB* block);

// Empties a block without predecessors, and whatever it alone kept reachable.
void delete_block(BB* block);

// The run of blocks from first to last, without the entry, moves behind `behind`, which stands behind them.
// Numbers are those of before until the next numbering.
void move_blocks(BB* first, BB* last, BB* behind);

// Unlinks the blocks that were emptied and numbers the others in their order.
void drop_empty_blocks();

// --- While the graph is being built: there are neither numbers nor predecessors yet ---

// The block becomes the head of all blocks.
void push_block(BB* block);
// The predecessor's side of an edge that a successor set holds already.
void add_predecessor(BB* from, BB_LIST* edge);
// One more successor, at the head; it is not in the set yet. One side only, like the two below.
void push_successor(BB* from, BB* to);
void drop_successors(BB* block);
void drop_predecessors(BB* block);
// All blocks, in their order, are the chain.
void chain_all_blocks();
// The statements of the block behind `last_kept`, null for all of them, go to a new block with the block's
// successors; the block branches there. There must be some.
BB* split_block(BB* block, STMT* last_kept);
// Puts the successors so that the depth-first search visits straight-line code first and exits last.
void order_successors(BB* block);

// --- number_cfg.cpp ---

// After edges were changed or blocks deleted: rebuilds preds, numbers, order and rdflinks, drops unreachable
// blocks.
// Needs: succs. Keeps: label leaves resolved. Builds: numbers, dfn.
void renumber_cfg();
// Renumbers in the existing dflink order, without a search; sets the index of every label to its block's
// number.
void relink_blocks();
// The same from `first`, which is not the entry, up to `end`, which is not included; null for all behind.
// Needs: rdflink, and the number of the block before.
void number_blocks(BB* first, const BB* end);
// The two halves of renumbering that build_cfg needs by themselves.
void number_depth_first();
void find_predecessors();

// The facts "block numbers" and "depth-first order" as they are, and as they would be if they were built now.
FACT_RECORD stored_block_numbers();
FACT_RECORD computed_block_numbers();
FACT_RECORD stored_block_order();
FACT_RECORD computed_block_order();

} // namespace pelorus
