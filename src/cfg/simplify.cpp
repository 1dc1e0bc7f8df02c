// Simplifying the control-flow graph: the sweeps; see simplify.h.
//
// A sweep walks the blocks in depth-first order. At each block
//   1. the join of two blocks that make the same test is marked, at level 2 and above;
//   2. a block that nothing leads to is deleted;
//   3. otherwise its ending conditional is simplified (simplify_branch.cpp) and, when one successor is left,
//      block and successor are brought together (simplify_edge.cpp), until neither finds anything.
// In an aggressive run each sweep begins with the merging of equal code (cross_jump.cpp). Blocks that were
// emptied stay in the chain to the end of the sweep, so that the walk needs no care. Sweeps go on while they
// change something; the graph is renumbered once, at the end.
//
// The bounds keep a pair of rewrites that undo each other from going on for ever; a chain of any length
// shrinks by a factor of 20 in each sweep.
#include "cfg/simplify.h"

#include "support/pseudo_options.h"
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
    if (target_of(a->right->left) != target_of(b->right->left) && !invert_if(a)) return;
    if (!is_same_condition(a->left, b->left)) return;
    block->flags |= BBF_DIAMOND_JOIN;
    trace("\n\tBB %d joins the equal tests of BB %d and BB %d\n", block->dfn, first->dfn, second->dfn);
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

bool walk_blocks(int aggressive) {
    bool changed = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (!block->stmts) continue;
        if (settings.optimization_level >= 2 && has_several(block->preds)) mark_diamond_join(block);
        if (is_unreachable(block)) {
            delete_block(block);
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
            delete_block(block);
            found = true;
        }
    return found;
}

// Unlinks the blocks without statements and numbers the others.
void rebuild_chain() {
    BB* entry = flow_graph.bb_list;
    BB* last = entry;
    int16_t number = 1;
    for (BB* block = entry->dflink; block; block = block->dflink) {
        if (!block->stmts) {
            block->dfn = 0;
            continue;
        }
        last->dflink = block;
        block->rdflink = last;
        block->dfn = ++number;
        last = block;
    }
    last->dflink = nullptr;
    entry->rdflink = last;
    flow_graph.bb_count = number;
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
    rebuild_chain();
    return changed;
}

} // namespace

void simpcfg(int aggressive) {
    if (simplification.suppressed || disable_switch("simpcfg")) return;
    trace("\n\n\t\t\t---------- ENTERING 'simpcfg' ----------\n");
    relink_blocks();
    bool changed = false;
    for (int sweeps = 0; sweeps < MOST_SWEEPS && sweep(aggressive); ++sweeps) changed = true;
    if (changed) renumber_cfg();
}

} // namespace pelorus
