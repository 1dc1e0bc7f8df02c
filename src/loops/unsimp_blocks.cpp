// Splitting tests again; see layout.h.
//
// A loop that is guarded by its own test,
//
//        if (c) do ... while (c);
//
// is marked at its top by the simplifier of the graph (BBF_DIAMOND_JOIN). Late, the simplifier lets equal
// tests share one copy, these two as well, and the way into the loop is then a jump to the loop's end. Here,
// where the layout is known, it gets its copy back.
//
//        P: ...  goto T                P: ...  if (c) J else N
//        J: ...                        J: ...
//        T: if (c) J else N            T: if (c) J else N
//        N: ...                        N: ...
//
// Other tests that several blocks lead to stay shared, where the mark does not say that there was a copy.
#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "loops/layout.h"
#include "support/decision.h"
#include "support/settings.h"
#include "tree/query.h"

namespace pelorus {

namespace {

bool is_test_alone(const BB* block) {
    return block->stmts == block->last_stmt && ending_tree(block)->op == OP_IF && has_two(block->succs);
}

// The marked block that the test leads to. Two tests led to it when it was marked; one is left when they were
// merged. Null when there is none.
const BB* marked_target(const BB* test) {
    for (const BB_LIST* cell = test->succs; cell; cell = cell->next)
        if ((cell->block->flags & BBF_DIAMOND_JOIN) && has_one(cell->block->preds)) return cell->block;
    return nullptr;
}

// The block before the marked one that jumps to the test, where its own stood; the last one if there are
// several. Null when there is none.
BB* find_jump(const BB* test, const BB* marked) {
    BB* found = nullptr;
    for (const BB_LIST* cell = test->preds; cell; cell = cell->next) {
        BB* block = cell->block;
        if (block->dfn >= marked->dfn || block->dflink == test || ending_tree(block)->op != OP_BRANCH)
            continue;
        if (!found || found->dfn < block->dfn) found = block;
    }
    return found;
}

void split(BB* test) {
    if (!is_test_alone(test) || !has_several(test->preds)) return;
    const BB* marked = marked_target(test);
    BB* block = marked ? find_jump(test, marked) : nullptr;
    if (!block) return;
    stand_at(block);
    if (settings.code_size_level >= 0) {
        refuse(SITE_split_test, "code size counts");
        return;
    }
    if (!change(SITE_split_test, "a copy of {}: {}", test, ending_tree(test))) return;
    erase_tree(ending_tree(block));
    replace_ending(block, copy_tree(ending_tree(test)));
    recompute_successors(block);
}

} // namespace

bool unsimp_blocks() {
    const CHANGE_MARK changes;
    for (BB* block = flow_graph.bb_list->dflink; block; block = block->dflink) split(block);
    if (!changes.any()) return false;
    relink_blocks(); // everything is still reached, each test by the block that was left
    fact_was_built(FACT_numbers);
    return true;
}

} // namespace pelorus
