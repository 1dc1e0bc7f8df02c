// Bringing a block and its only successor together; see simplify.h.
//
//   1. an IF whose two labels name one block becomes a BRANCH
//   2. a BRANCH to a block that begins with a BRANCH goes on to where that leads
//   3. a successor with no other predecessor is appended
//   4. a copy of a short successor is appended, where that saves a jump and costs little
#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/decision.h"
#include "support/settings.h"
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
const char* why_not_duplicate(const BB* block, const BB* behind, int aggressive) {
    if (!holds_one_statement(block)) return "the block holds more than one statement";
    const NODE* tree = ending_tree(block);
    if (tree->op == OP_BRANCH) {
        if (target_of(tree->left) == block) return "the block branches to itself";
        return is_loop_header(block) ? "the block heads a loop" : nullptr;
    }
    if (settings.optimization_level < 1) return "the level is 0";
    if (settings.code_size_level >= 1) return "code size counts";
    if (aggressive) return "it is late";
    if (tree->op != OP_RETURN && tree->op != OP_IF) return "the block ends in neither a return nor a test";
    if (!is_cheap(tree)) return "the statement costs too much";
    if (behind && fall_through(behind) == block) return "the block follows in the layout";
    if (behind && behind->dfn < block->dfn && joins_empty_diamond(block)) return "it joins two empty arms";
    if (tree->op == OP_RETURN) return nullptr;
    if (!is_short_test(block, tree)) return "the test has a way back or is reached by too many jumps";
    return is_loop_header(block) ? "the block heads a loop" : nullptr;
}

namespace {

// --- 1 ---

bool drop_test(BB* block) {
    NODE* tree = ending_tree(block);
    if (tree->op != OP_IF && tree->op != OP_SWITCH) return false;
    if (!change(SITE_useless_test, "{} becomes a jump to {}", tree, only_of(block->succs))) return false;
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
        if (i == MODEL.thread_length) return refuse(SITE_thread_jump, "the jumps go in a circle");
        target = target_of(target->stmts->tree->left);
    }
    if (target == first) return false;
    if (!change(SITE_thread_jump, "to {}, past {}", target, first)) return false;
    set_target(ending_tree(block)->left, label_of(target));
    recompute_successors(block);
    return true;
}

// --- 3 ---

bool merge_successor(BB* block) {
    BB* next = only_of(block->succs);
    if (next == block || next == flow_graph.bb_list || !has_one(next->preds)) return false;
    if (!change(SITE_merge_blocks, "{} is appended", next)) return false;
    absorb_successor(block);
    return true;
}

// --- 4 ---

bool duplicate_successor(BB* block, int aggressive) {
    BB* next = only_of(block->succs);
    if (next == block || !holds_one_statement(next)) return false;
    if (aggressive && ending_tree(next)->op != OP_BRANCH) return false; // the code is to become smaller
    if (next->loop != block->loop) return refuse(SITE_duplicate_tail, "the block is in another loop");
    if (const char* why = why_not_duplicate(next, block, aggressive)) return refuse(SITE_duplicate_tail, why);
    if (!change(SITE_duplicate_tail, "a copy of {}: {}", next, ending_tree(next))) return false;
    STMT* copy = new_stmt(copy_tree(ending_tree(next)), next->last_stmt->position, nullptr);
    append_statements(block, copy, copy);
    recompute_successors(block);
    return true;
}

} // namespace

bool simplify_single_successor(BB* block, int aggressive) {
    stand_at(block);
    if (drop_test(block)) return true;
    if (ending_tree(block)->op != OP_BRANCH) return false;
    return thread_jump(block) || merge_successor(block) || duplicate_successor(block, aggressive);
}

} // namespace pelorus
