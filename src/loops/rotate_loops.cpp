// Loop rotation: the top of a loop, from its header down to the block that leaves it, moves behind the loop's
// end; see layout.h.
//
//        Q: ...  goto S              Q: ...  goto S
//        S: if (c) Y else N          Y: ...
//        Y: ...                      B: ...  goto S
//        B: ...  goto S              S: if (c) Y else N
//        N: ...                      N: ...
//
// Each time round, the loop on the left takes the test and the jump of B; the one on the right goes on into
// the test and jumps once. The first time round costs the jump from Q to the test.
//
//   1. Scan. The blocks are visited from the last one back. One that only leads back, B, may end a loop. The
//      loop is left from X, a block before B that leads to the block behind it, N, and is entered at S, the
//      last successor of B that is not behind X. The run S to X moves between B and N.
//   2. Two steps that are empty.
//   3. Numbers.
//
// No statement and no edge changes. The scan trusts nothing but the chain and its numbers: whatever leads
// where, S does not stand behind X, nor X behind B, and the entry stays first.
//
// Visiting goes on from X, which has taken the place of B, so that each visit is one place further to the
// front and the scan ends. Which of two blocks stands behind the other is asked of keys with room between
// them: of the two runs that change places the shorter one gets new keys, so that a deep nest, whose headers
// move one by one past all that is inside, takes linear time. Numbers are given within the scan only where
// its texts need them. What is left is the walk from B back to X. It is taken only when N has lost all that
// lead to it from before B, because they were moved, and is as long as the loop at most. A function made for
// it, of 16,000 loops around one switch that chooses among their ends, takes 0.6 s.
//
// Nothing is copied, so that a loop whose test is not at its top, or that is entered in the middle, keeps its
// jumps.
#include "loops/layout.h"

#include <cstdint>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/walk.h"
#include "support/decision.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// --- The order of the chain ---

class ORDER {
public:
    ORDER() : keys_(static_cast<size_t>(flow_graph.last_uon) + 1) { spread(); }

    bool is_behind(const BB* block, const BB* other) const { return key(block) > key(other); }
    // The last block of the set that does not stand behind `limit`, which may be null for any; null when
    // there is none.
    BB* last_of(const BB_LIST* set, const BB* limit) const {
        BB* last = nullptr;
        for (; set; set = set->next)
            if (!(limit && is_behind(set->block, limit)) && (!last || is_behind(set->block, last)))
                last = set->block;
        return last;
    }

    // A run of `count` blocks was moved to where it stands.
    void moved(const BB* first, const BB* last, uint64_t count) {
        uint64_t below = key(first->rdflink);
        const uint64_t above = last->dflink ? key(last->dflink) : UINT64_MAX;
        const uint64_t gap = (above - below) / (count + 1);
        if (!gap) return spread();
        for (const BB* block = first; count > 0; block = block->dflink, --count) key(block) = below += gap;
    }

private:
    uint64_t key(const BB* block) const { return keys_[block->uon]; }
    uint64_t& key(const BB* block) { return keys_[block->uon]; }
    void spread() {
        const uint64_t gap = UINT64_MAX / (static_cast<uint64_t>(flow_graph.bb_count) + 1);
        uint64_t next = 0;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) key(block) = next += gap;
    }
    std::vector<uint64_t> keys_; // by creation number; ascending along the chain
};

// --- Scan ---

bool holds_loop_statement(const BB* block) {
    for (const STMT* cell = block->stmts; cell; cell = cell->next)
        if (cell->tree->op == OP_LOOP) return true;
    return false;
}

bool has_end_of_loop_test(const BB* block) {
    const auto ends_loop = [](const NODE* node) { return node->op == OP_ENDLOOP; };
    for (const STMT* cell = block->stmts; cell; cell = cell->next)
        if (cell->tree->op == OP_IF && any_node(cell->tree->left, ends_loop)) return true;
    return false;
}

// Blocks of the chain in their order before the move; see the picture.
struct ROTATION {
    BB* before; // Q
    BB* top;    // S, the first block that moves
    BB* exit;   // X, the last one
    BB* rest;   // Y; the latch itself when X stands directly before it
    BB* latch;  // B
    BB* behind; // N; null when the latch is the last block
};

struct SCAN {
    ORDER order{};
    std::vector<bool> leads_on{}; // by creation number: leads behind the block that is visited, or nowhere
};

// The block before the latch that leaves the loop, or the function; the entry when there is none.
BB* find_exit(const SCAN& scan, const BB* latch) {
    if (latch->dflink)
        if (BB* exit = scan.order.last_of(latch->dflink->preds, latch)) return exit;
    BB* block = latch->rdflink;
    while (block != flow_graph.bb_list && !scan.leads_on[block->uon]) block = block->rdflink;
    return block;
}

// Finds what moves behind the block, if anything does.
bool find_rotation(const SCAN& scan, BB* latch, ROTATION& found) {
    const ORDER& order = scan.order;
    const BB* entry = flow_graph.bb_list;
    const BB* header = order.last_of(latch->succs, nullptr);
    if (!header || header == entry || !order.is_behind(latch, header)) return false;
    if (has_end_of_loop_test(latch)) return refuse(SITE_rotate_loop, "the loop's end counts its trips");
    if (holds_loop_statement(header))
        return refuse(SITE_rotate_loop, "the loop's header sets up a counted loop");
    BB* exit = find_exit(scan, latch);
    if (exit == entry) return refuse(SITE_rotate_loop, "no block before the loop's end leaves it");
    BB* rest = exit->dflink;
    if (rest != latch && has_end_of_loop_test(rest))
        return refuse(SITE_rotate_loop, "the block behind the exit ends a counted loop");
    BB* top = order.last_of(latch->succs, exit);
    if (!top || top == entry) return refuse(SITE_rotate_loop, "the exit stands above the loop's top");
    found = {top->rdflink, top, exit, rest, latch, latch->dflink};
    return true;
}

bool may_rotate(const ROTATION& blocks) {
    const auto& [before, top, exit, rest, latch, behind] = blocks;
    if (!change_exactly(SITE_rotate_loop, "\n\tCandidate: A={}, B={}, C={}, D={}, E={}, F={}\n", before->dfn,
                        top->dfn, exit->dfn, rest->dfn, latch->dfn, behind ? behind->dfn : -1))
        return false;
    if (debug_level() > 1)
        list_bb(before, behind ? behind : latch, debug_file());
    else if (debug_on())
        list_bb(latch, latch, debug_file());
    return true;
}

void move_top(ORDER& order, const ROTATION& blocks) {
    uint64_t count = 1;
    const BB* top = blocks.top;
    const BB* rest = blocks.rest;
    for (; top != blocks.exit && rest != blocks.latch; ++count) top = top->dflink, rest = rest->dflink;
    move_blocks(blocks.top, blocks.exit, blocks.latch);
    if (top == blocks.exit)
        order.moved(blocks.top, blocks.exit, count);
    else
        order.moved(blocks.rest, blocks.latch, count);
}

void rotate(ORDER& order, const ROTATION& blocks) {
    move_top(order, blocks);
    if (decisions.texts || debug_on()) number_blocks(blocks.rest, blocks.behind);
    if (!debug_on()) return;
    trace("\n\tAfter loop rotation:\n\n");
    list_bb(blocks.before, blocks.behind ? blocks.behind : blocks.exit, debug_file());
}

// Visits the blocks; answers whether some were moved.
bool scan_blocks() {
    const CHANGE_MARK changes;
    SCAN scan;
    scan.leads_on.resize(static_cast<size_t>(flow_graph.last_uon) + 1);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        scan.leads_on[block->uon] = !block->succs;
    for (BB* block = flow_graph.bb_list->rdflink; block != flow_graph.bb_list; block = block->rdflink) {
        ROTATION found;
        stand_at(block);
        if (find_rotation(scan, block, found) && may_rotate(found)) {
            rotate(scan.order, found);
            block = found.exit;
        }
        for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
            scan.leads_on[cell->block->uon] = true;
    }
    return changes.any();
}

// --- Empty steps: places for passes that want to work on rotated loops before the last numbering ---

void work_on_rotated_loops() {}
void work_on_new_layout() {}

} // namespace

bool rotate_loops() {
    if (flow_graph.bb_count < 3) return false;
    trace_entering("rotate_loops");
    relink_blocks();
    const bool rotated = scan_blocks();
    work_on_rotated_loops();
    work_on_new_layout();
    relink_blocks();
    fact_was_built(FACT_numbers);
    return rotated;
}

} // namespace pelorus
