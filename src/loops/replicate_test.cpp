// WHILE-test replication: loops that test at the top test at the end instead.
//
//        preheader                 preheader
//            |                         |
//      .-> H: a; test ---.       H: a; test ---.        H now guards the loop, in the loop around it
//      |     |           |             |       |
//      |     S           |       .---> S       |
//      |    ...          |       |    ...      |
//      '---- T           |       '- T: a; test-|
//                        exit                  exit
//
// Each trip then runs one jump less, the trip count needs no test of whether there is a first trip, and what
// is invariant can be moved in front of the loop without being run when the loop is not.
//
// What it does not do: tests of pointers and floating values stay, as do those that need more than one
// statement in front.
#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "loops/transforms.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

bool is_integer_code(const NODE* operand) {
    const int kind = type_strip(operand->type)->kind;
    return kind == TK_INTEGER || kind == TK_ENUM;
}

bool may_be_copied(const STMT* cell) {
    return cell->tree->op != OP_ASM && cell->tree->op != OP_PPRAGMA && !any_node(cell->tree, is_call);
}

// Whether the loop has the shape at all; only then a refusal is worth a word.
bool tests_at_top(const LOOPREC* loop) {
    return loop->tail != loop->head && has_one(loop->tail->succs) &&
           ending_tree(loop->tail)->op == OP_BRANCH && ending_tree(loop->head)->op == OP_IF &&
           has_two(loop->head->succs);
}

const char* why_not_replicated(const LOOPREC* loop) {
    const BB* head = loop->head;
    if (!has_two(head->preds)) return "the header has more than two predecessors";
    if (head->stmts != head->last_stmt && head->stmts->next != head->last_stmt)
        return "the header does more than one statement and the test";
    const NODE* condition = ending_tree(head)->left;
    if (!opcode_is_relation(condition->op)) return "the condition is no comparison";
    if (!is_integer_code(condition->left) || !is_integer_code(condition->right))
        return "the comparison is not of integers";
    if (!may_be_copied(head->last_stmt) || !may_be_copied(head->stmts))
        return "a call or assembly would be doubled";
    const bool first = loop_contains(loop, head->succs->block);
    const bool second = loop_contains(loop, head->succs->next->block);
    return first == second ? "the test does not leave the loop" : nullptr;
}

// The statement that the test goes with, its copy and the copy of the test take the place of the tail's jump.
void replicate(LOOPREC* loop) {
    BB* head = loop->head;
    const STMT* last = head->last_stmt;
    STMT* test = new_stmt(copy_tree(last->tree), last->position, nullptr);
    STMT* first = test;
    if (head->stmts != last) first = new_stmt(copy_tree(head->stmts->tree), head->stmts->position, test);
    append_statements(loop->tail, first, test);
    // The way on in the loop is the true one.
    NODE* tree = test->tree;
    if (!loop_contains(loop, target_of(tree->right->left))) invert_if(tree);
    recompute_successors(loop->tail);
}

bool try_to_replicate(LOOPREC* loop) {
    if (!tests_at_top(loop)) return false;
    stand_at(loop->head);
    if (settings.code_size_level >= 0) return refuse(SITE_replicate_test, "code size counts");
    if (const char* why = why_not_replicated(loop)) return refuse(SITE_replicate_test, why);
    if (!change_exactly(SITE_replicate_test, "\n\tReplicating WHILE loop test (loop #{}):\n\t{}\n\n",
                        loop->number, ending_tree(loop->head)))
        return false;
    replicate(loop);
    trace("\n\tNew WHILE loop:\n\n");
    if (debug_on()) list_bb(loop->tail, loop->tail, debug_file());
    return true;
}

} // namespace

bool replicate_tests(LOOPREC* root) {
    bool changed = false;
    // The answers of loops do not change by what happens to others: each test belongs to one header.
    std::vector<LOOPREC*> loops;
    for_each_loop_inside_first(root, [&](LOOPREC* loop) {
        if (loop != root) loops.push_back(loop);
    });
    for (LOOPREC* loop : loops) changed |= try_to_replicate(loop);
    return changed;
}

} // namespace pelorus
