// Merging equal code: blocks that end alike, and equal tests; see simplify.h.
//
//   1. Returns. Of two blocks without successors and with equal statements the earlier one jumps to the later
//      one.
//   2. Jumps. Of two predecessors of a block with equal statements, each with that one successor, one jumps
//      to the other.
//   3. Tests. Of two IFs with equal conditions and targets, one jumps to the other, which gets a block of its
//      own.
//
//          P: s; if (c) X else Y          P: s; goto N
//          B: t; if (c) X else Y          B: t; goto N;   N: if (c) X else Y
//
// Blocks are compared when hashes of their statements agree, so that many returns or many cases of a switch
// cost no comparison of each with each.
#include <algorithm>
#include <unordered_map>
#include <vector>

#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "support/decision.h"
#include "support/hash.h"
#include "support/pseudo_options.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr int32_t MOST_PREDECESSORS =
    64; // of one block, that equal tests are looked for in: each is compared with each

// --- Hashes: equal statements have equal ones ---

uint64_t leaf_hash(const NODE* node) {
    switch (node->op) {
    case OP_LABEL: return node->label() ? target_of(node)->uon : 0;
    case OP_NAME:
        return node->symbol() ? static_cast<uint64_t>(node->symbol()->serial) + node->symbol()->level : 0;
    case OP_ICON: return static_cast<uint32_t>(node->value_lo);
    default: return 0;
    }
}

uint64_t tree_hash(const NODE* tree, uint64_t hash) {
    for (; tree; tree = tree->left) {
        hash = mix_hash(mix_hash(hash, static_cast<uint64_t>(tree->op)), leaf_hash(tree));
        if (tree->right) hash = tree_hash(tree->right, hash);
    }
    return hash;
}

uint64_t statements_hash(const BB* block) {
    uint64_t hash = 0;
    for (const STMT* cell = block->stmts; cell; cell = cell->next) hash = tree_hash(cell->tree, hash);
    return hash;
}

// Blocks in the order in which they were put in, by what must be equal about them.
using BLOCK_GROUPS = std::unordered_map<uint64_t, std::vector<BB*>>;

// From the last block to the first, the entry excluded.
template <class F>
void for_each_backward(F visit) {
    BB* entry = flow_graph.bb_list;
    for (BB* block = entry->rdflink; block != entry; block = block->rdflink)
        if (block->stmts) visit(block);
}

// --- 1 and 2 ---

void list_both(const BB* block, const BB* kept) {
    for (const BB* shown : {block, kept}) {
        trace("\n");
        list_bb(shown, shown, debug_file());
    }
}

bool may_be_merged(SITE site, const BB* block, const BB* kept) {
    if (block == flow_graph.exit_bb) return refuse(site, "the block is the exit");
    stand_at(block);
    if (!change_exactly(site, "\n\t{} is redundant with {}\n", block, kept)) return false;
    if (debug_on()) list_both(block, kept);
    return true;
}

// The block's statements become a BRANCH to the other one's first label. Predecessors are brought up to date
// at the end.
void jump_to(BB* block, BB* kept) {
    const POSITION position = block->stmts->position;
    for (STMT* cell = block->stmts; cell; cell = cell->next) erase_tree(cell->tree);
    STMT* branch = new_stmt(new_branch(kept), position, nullptr);
    set_statements(block, branch, branch);
    set_only_successor(block, kept);
}

bool merge_returns() {
    BLOCK_GROUPS groups;
    for_each_backward([&](BB* block) {
        if (!block->succs) groups[statements_hash(block)].push_back(block);
    });
    bool changed = false;
    for (BB* kept = flow_graph.bb_list->rdflink; kept != flow_graph.bb_list; kept = kept->rdflink) {
        if (!kept->stmts || kept->succs || !why_not_duplicate(kept, nullptr, 1)) continue;
        for (BB* block : groups[statements_hash(kept)]) {
            if (block == kept || block->succs || block->dfn >= kept->dfn) continue;
            if (!equal_statements(block->stmts, kept->stmts)) continue;
            if (!may_be_merged(SITE_merge_returns, block, kept)) continue;
            jump_to(block, kept);
            changed = true;
        }
    }
    return changed;
}

bool falls_through(const BB* block, const BB* successor) { return block->dflink == successor; }

uint64_t jump_group(const BB* block) { return mix_hash(statements_hash(block), only_of(block->succs)->uon); }

bool is_jump_candidate(const BB* block) {
    return has_one(block->succs) && only_of(block->succs) != block && block->stmts->tree->op != OP_BRANCH;
}

// The block before the successor in the layout ends like this one and will be found by itself.
bool is_left_to_neighbour(const BB* block, const BB* successor) {
    if (successor->dfn >= block->dfn || successor == flow_graph.bb_list) return false;
    const BB* before = successor->rdflink;
    return before != block && has_one(before->succs) && only_of(before->succs) == successor &&
           equal_statements(before->stmts, block->stmts);
}

bool merge_jumps() {
    BLOCK_GROUPS groups;
    for_each_backward([&](BB* block) {
        if (is_jump_candidate(block)) groups[jump_group(block)].push_back(block);
    });
    bool changed = false;
    for (BB* kept = flow_graph.bb_list->rdflink; kept != flow_graph.bb_list; kept = kept->rdflink) {
        if (!kept->stmts || !is_jump_candidate(kept)) continue;
        BB* successor = only_of(kept->succs);
        if (is_left_to_neighbour(kept, successor)) continue;
        for (BB* block : groups[jump_group(kept)]) {
            if (block == kept || !is_jump_candidate(block) || only_of(block->succs) != successor) continue;
            if (block->dfn >= kept->dfn && !falls_through(kept, successor)) continue;
            if (!equal_statements(block->stmts, kept->stmts)) continue;
            if (block->loop != kept->loop) {
                refuse(SITE_merge_tails, "the blocks are in different loops");
                continue;
            }
            if (!may_be_merged(SITE_merge_tails, block, kept)) continue;
            jump_to(block, kept);
            changed = true;
        }
    }
    return changed;
}

// --- 3 ---

// The same test: equal conditions with equal targets, or complementary ones with exchanged targets.
bool is_same_test(const NODE* a, const NODE* b) {
    BB* yes = target_of(a->right->left);
    BB* no = target_of(a->right->right);
    const bool straight = yes == target_of(b->right->left) && no == target_of(b->right->right);
    const bool crossed = yes == target_of(b->right->right) && no == target_of(b->right->left);
    if (straight && equal_trees(a->left, b->left)) return true;
    if (!crossed || !has_complement(a->left) || opcode_fact(a->left->op).complement != b->left->op)
        return false;
    return equal_trees(a->left->left, b->left->left) && equal_trees(a->left->right, b->left->right);
}

bool ends_in_test(const BB* block) {
    return block->stmts && has_two(block->succs) && ending_tree(block)->op == OP_IF;
}

// The block that holds nothing but the test: itself, or a new one behind it.
BB* test_block(BB* block) {
    if (block->stmts == block->last_stmt) return block;
    STMT* test = block->last_stmt;
    STMT* cell = new_stmt(test->tree, test->position, nullptr);
    BB* behind = insert_block(block, cell, cell);
    recompute_successors(behind);
    replace_ending(block, new_branch(behind));
    recompute_successors(block);
    return behind;
}

bool may_merge_tests(const BB* block, const BB* kept) {
    if (kept->stmts != kept->last_stmt && !has_room_for_block())
        return refuse(SITE_merge_tests, "no further block can be numbered");
    stand_at(block);
    return change_exactly(SITE_merge_tests, "\n\tIF in bb {} is redundant with bb {}:\n\t\t{}\n", block->dfn,
                          kept->dfn, ending_tree(kept));
}

void jump_to_test(BB* block, BB* test) {
    erase_tree(ending_tree(block));
    replace_ending(block, new_branch(test));
    recompute_successors(block);
}

BB* equal_test_before(BB* block, BB* successor) {
    int32_t looked_at = 0;
    for (const BB_LIST* cell = successor->preds; cell && looked_at < MOST_PREDECESSORS;
         cell = cell->next, ++looked_at) {
        BB* other = cell->block;
        if (other == block || !ends_in_test(other)) continue;
        if (!is_same_test(ending_tree(block), ending_tree(other))) continue;
        if (other->loop == block->loop) return other;
        refuse(SITE_merge_tests, "the tests are in different loops");
    }
    return nullptr;
}

// Each redundant test found may leave another one, in a block with the same successors.
bool merge_tests(BB* block) {
    bool changed = false;
    while (ends_in_test(block)) {
        BB* successor = block->succs->block != block ? block->succs->block : block->succs->next->block;
        BB* other = equal_test_before(block, successor);
        if (!other || !may_merge_tests(other, block)) return changed;
        BB* test = test_block(block);
        jump_to_test(other, test);
        changed = true;
        block = test;
    }
    return changed;
}

bool has_work() {
    return settings.optimization_level >= 1 && flow_graph.bb_list && flow_graph.bb_list->dflink &&
           !disable_switch("cross_jump");
}

} // namespace

bool cross_jump() {
    if (!has_work()) return false;
    trace_entering("cross_jump");
    const bool returns = merge_returns();
    const bool jumps = merge_jumps();
    if (returns || jumps) rebuild_predecessors();
    return returns || jumps;
}

bool if_cross_jump() {
    if (!has_work()) return false;
    bool changed = false;
    for_each_backward([&](BB* block) {
        if (ends_in_test(block)) changed |= merge_tests(block);
    });
    return changed;
}

} // namespace pelorus
