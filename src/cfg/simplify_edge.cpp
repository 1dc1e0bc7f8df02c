// Bringing a block and its only successor together; see simplify.h.
//
//   1. an IF whose two labels name one block becomes a BRANCH
//   2. a BRANCH to a block that begins with a BRANCH goes on to where that leads
//   3. a successor with no other predecessor is appended
//   4. a copy of a short successor is appended, where that saves a jump and costs little
#include "cfg/simplify.h"
#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/walk.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

namespace {

struct DUPLICATION_MODEL {
    // Operator nodes of the one statement: a jump saved is worth about as much as two or three instructions
    // more. A return of a variable or a constant and a comparison of two operands pass; a call or an address
    // with an index does not.
    int32_t operators = 3;
    // Blocks that a BRANCH is followed along; they may form a circle.
    int32_t thread_length = 64;
};
constexpr DUPLICATION_MODEL MODEL;

// Of an IF the condition counts, of a RETURN the value. A call is not cheap.
bool is_cheap(const NODE* tree) {
    const NODE* evaluated = tree->op == OP_IF ? tree->left : tree->right;
    return operator_count(evaluated, MODEL.operators) <= MODEL.operators && !any_node(evaluated, is_call);
}

// --- Questions about the successor ---

bool begins_with_branch(const BB* block) { return block->stmts && block->stmts->tree->op == OP_BRANCH; }
bool holds_one_statement(const BB* block) { return block->stmts && block->stmts == block->last_stmt; }

// Without loop information, a block that something behind it leads to may head a loop.
bool is_loop_header(const BB* block) {
    if (block->loop_control || block->loop_trips) return true;
    for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
        if (cell->block->dfn >= block->dfn) return true;
    return false;
}

// The next block in the order of layout that something leads to.
const BB* fall_through(const BB* block) {
    const BB* next = block->dflink;
    while (next && (!next->stmts || !next->preds)) next = next->dflink;
    return next && next->dfn > block->dfn ? next : nullptr;
}

bool is_single_branch(const BB* block) {
    return holds_one_statement(block) && ending_tree(block)->op == OP_BRANCH;
}

// S joins two arms that hold nothing but a BRANCH to it.
bool joins_empty_diamond(const BB* block) {
    if (!has_two(block->preds)) return false;
    const BB* a = block->preds->block;
    const BB* b = block->preds->next->block;
    return is_single_branch(a) && is_single_branch(b) && has_one(a->preds) && has_one(b->preds) &&
           only_of(a->preds) == only_of(b->preds);
}

// Counts to 3 and no further.
int32_t count_single_successor(const BB_LIST* preds) {
    int32_t count = 0;
    for (; preds && count < 3; preds = preds->next) count += has_one(preds->block->succs);
    return count;
}

// At most one predecessor lies behind the block, and all its successors do.
bool lies_forward(const BB* block) {
    int32_t backward = 0;
    for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
        backward += cell->block->dfn >= block->dfn;
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        if (cell->block->dfn <= block->dfn) return false;
    return backward <= 1;
}

bool is_short_test(const BB* block, const NODE* tree) {
    if (tree->left->op == OP_ENDLOOP) return false;
    if (tree->left->op != OP_NAME && block->preds) {
        const int32_t singles = count_single_successor(block->preds);
        if (singles > 2 || (singles == 2 && block == flow_graph.bb_list)) return false;
    }
    return lies_forward(block);
}

} // namespace

// What costs a walk over the predecessors is asked last: many blocks may ask about the same one.
bool is_worth_duplicating(const BB* block, const BB* behind, int aggressive) {
    if (!holds_one_statement(block)) return false;
    const NODE* tree = ending_tree(block);
    if (tree->op == OP_BRANCH) return target_of(tree->left) != block && !is_loop_header(block);
    if (settings.optimization_level < 1 || settings.code_size_level >= 1 || aggressive) return false;
    if ((tree->op != OP_RETURN && tree->op != OP_IF) || !is_cheap(tree)) return false;
    if (behind && fall_through(behind) == block) return false;
    if (behind && behind->dfn < block->dfn && joins_empty_diamond(block)) return false;
    return tree->op == OP_RETURN || (is_short_test(block, tree) && !is_loop_header(block));
}

namespace {

// --- 1 ---

bool drop_test(BB* block) {
    NODE* tree = ending_tree(block);
    if (tree->op != OP_IF && tree->op != OP_SWITCH) return false;
    trace("\n\tBB %d: all ways of the %s lead to BB %d\n", block->dfn, opcode_name(tree->op),
          only_of(block->succs)->dfn);
    NODE* evaluated = tree->left;
    replace_ending(block, new_branch(only_of(block->succs)));
    keep_effects(block, evaluated);
    erase_tree(tree->right);
    erase_node(tree);
    return true;
}

// --- 2 ---

bool thread_jump(BB* block) {
    BB* first = only_of(block->succs);
    BB* target = first;
    for (int32_t i = 0; begins_with_branch(target); ++i) {
        if (i == MODEL.thread_length) return false; // a circle: the program stays in it
        target = target_of(target->stmts->tree->left);
    }
    if (target == first) return false;
    trace("\n\tBB %d: jumps to BB %d by way of BB %d\n", block->dfn, target->dfn, first->dfn);
    set_target(ending_tree(block)->left, label_of(target));
    recompute_successors(block);
    return true;
}

// --- 3 ---

void replace_in_set(BB_LIST* set, const BB* old, BB* block) {
    for (; set; set = set->next)
        if (set->block == old) set->block = block;
}

void append_statements(BB* block, STMT* first, STMT* last) {
    // Walking to the statement before the last one each time would make a chain of blocks cost the square of
    // its length, so the cell of the dropped BRANCH takes over the first appended statement.
    STMT* seam = block->last_stmt;
    erase_tree(seam->tree);
    *seam = *first;
    block->last_stmt = first == last ? seam : last;
    if (block->stmts == seam) block->start_pos = &seam->position;
    block->end_pos = &block->last_stmt->position;
}

bool merge_successor(BB* block) {
    BB* next = only_of(block->succs);
    if (next == block || next == flow_graph.bb_list || !has_one(next->preds)) return false;
    trace("\n\tBB %d: BB %d was appended\n", block->dfn, next->dfn);
    append_statements(block, next->stmts, next->last_stmt);
    free_set(block->succs);
    free_set(next->preds);
    block->succs = next->succs;
    next->succs = nullptr;
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        replace_in_set(cell->block->preds, next, block);
    next->stmts = next->last_stmt = nullptr;
    if (flow_graph.exit_bb == next) flow_graph.exit_bb = block;
    return true;
}

// --- 4 ---

bool duplicate_successor(BB* block, int aggressive) {
    BB* next = only_of(block->succs);
    if (next == block || next->loop != block->loop || !is_worth_duplicating(next, block, aggressive))
        return false;
    trace("\n\tBB %d: a copy of BB %d was appended\n", block->dfn, next->dfn);
    STMT* copy = new_stmt(copy_tree(ending_tree(next)), next->last_stmt->position, nullptr);
    append_statements(block, copy, copy);
    recompute_successors(block);
    return true;
}

} // namespace

bool simplify_single_successor(BB* block, int aggressive) {
    if (drop_test(block)) return true;
    if (ending_tree(block)->op != OP_BRANCH) return false;
    return thread_jump(block) || merge_successor(block) || duplicate_successor(block, aggressive);
}

} // namespace pelorus
