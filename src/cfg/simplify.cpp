// Simplifying the control-flow graph: the sweeps; see simplify.h.
//
// A sweep walks the blocks in depth-first order. At each block
//   1. the join of two blocks that make the same test is marked, at level 2 and above;
//   2. a block without predecessors is deleted;
//   3. otherwise its ending conditional is simplified (simplify_branch.cpp) and, when one successor is left,
//      block and successor are brought together (simplify_edge.cpp), until neither finds anything.
// In an aggressive run each sweep begins with the merging of equal code (cross_jump.cpp). Blocks that were
// emptied stay in the chain to the end of the sweep, so that the walk needs no care. Sweeps go on while they
// change something; the graph is renumbered once, at the end.
//
// The bounds keep a pair of rewrites that undo each other from going on for ever; a chain of any length
// shrinks by a factor of 20 in each sweep.
#include "cfg/simplify.h"

#include "ir/tree_text.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

SIMPLIFICATION simplification;

namespace {

constexpr int MOST_SWEEPS = 20;
constexpr int MOST_ROUNDS = 20; // at one block in one sweep

// --- 1: joins of equal tests ---

bool same_targets(const BB* a, const BB* b) {
    return has_two(a->succs) && has_two(b->succs) && in_set(b->succs, a->succs->block) &&
           in_set(b->succs, a->succs->next->block);
}

bool is_swapped_form(const NODE* a, const NODE* b) {
    return opcode_is_relation(a->op) && opcode_fact(a->op).swapped == b->op &&
           equal_trees(a->left, b->right) && equal_trees(a->right, b->left);
}

bool is_same_condition(const NODE* a, const NODE* b) { return equal_trees(a, b) || is_swapped_form(a, b); }

bool invert_first_test(const BB* first, NODE* test) {
    if (!has_complement(test->left)) return refuse(SITE_diamond_join, "the first test has no opposite");
    return change(SITE_diamond_join, "the test of {} is inverted: {}", first, test->left) && invert_if(test);
}

// A later pass asks for the mark; nothing is moved here.
void mark_diamond_join(BB* block) {
    if (block == flow_graph.bb_list || (block->flags & BBF_DIAMOND_JOIN) || !block->stmts || !block->succs ||
        !has_two(block->preds))
        return;
    BB* first = block->preds->block;
    BB* second = block->preds->next->block;
    if (first->dfn > second->dfn) std::swap(first, second);
    if (!(first->dfn < block->dfn && block->dfn <= second->dfn) || !same_targets(first, second)) return;
    NODE* a = ending_tree(first);
    NODE* b = ending_tree(second);
    if (a->op != OP_IF || b->op != OP_IF) return;
    stand_at(block);
    if (target_of(a->right->left) != target_of(b->right->left) && !invert_first_test(first, a)) return;
    if (!is_same_condition(a->left, b->left)) {
        refuse(SITE_diamond_join, "the tests differ", "{}: {}; {}: {}", first, a->left, second, b->left);
    } else if (change(SITE_diamond_join, "of {} and {}: {}", first, second, a->left)) {
        block->flags |= BBF_DIAMOND_JOIN;
    }
}

// --- The sweep ---

bool simplify_block(BB* block, int aggressive) {
    bool changed = false;
    for (int round = 0; round < MOST_ROUNDS; ++round) {
        bool again = false;
        if (block->stmts && has_several(block->succs)) again |= simplify_ending(block, aggressive);
        if (block->stmts && has_one(block->succs)) again |= simplify_single_successor(block, aggressive);
        if (!again) break;
        changed = true;
    }
    return changed;
}

bool is_unreachable(const BB* block) { return block != flow_graph.bb_list && !block->preds; }

void delete_unreachable_block(BB* block) {
    stand_at(block);
    follows(SITE_unreachable_block, "{}", block);
    delete_block(block);
}

bool walk_blocks(int aggressive) {
    bool changed = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (!block->stmts) continue;
        if (settings.optimization_level >= 2 && has_several(block->preds)) mark_diamond_join(block);
        if (is_unreachable(block)) {
            delete_unreachable_block(block);
            changed = true;
        } else {
            changed |= simplify_block(block, aggressive);
        }
    }
    return changed;
}

bool delete_unreachable_blocks() {
    bool found = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (block->stmts && is_unreachable(block)) {
            delete_unreachable_block(block);
            found = true;
        }
    return found;
}

bool sweep(int aggressive) {
    bool changed = false;
    if (aggressive) {
        changed |= cross_jump();
        changed |= if_cross_jump();
    }
    if (settings.optimization_level >= 1) changed |= thread_labels();
    changed |= walk_blocks(aggressive);
    changed |= delete_unreachable_blocks();
    drop_empty_blocks();
    return changed;
}

} // namespace

bool simpcfg(int aggressive) {
    if (simplification.suppressed) return false;
    trace_entering("simpcfg");
    const CHANGE_MARK mark;
    relink_blocks();
    forget_comparisons();
    bool changed = false;
    for (int sweeps = 0; sweeps < MOST_SWEEPS && sweep(aggressive); ++sweeps) changed = true;
    if (changed) renumber_cfg();
    return changed || mark.any(); // an edge may have changed by itself, with a label that was dropped
}

} // namespace pelorus
