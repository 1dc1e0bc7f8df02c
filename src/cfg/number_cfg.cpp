// Numbering the blocks of the graph: depth-first search, predecessors, unreachable blocks, relinking. See
// bb.h.
//
// The search is iterative, with `dflink` as its stack, so that a chain of blocks of any length takes no call
// stack. The finished list is the reverse postorder.
#include <cstdio>

#include "cfg/bb.h"
#include "ir/funinfo.h"
#include "memory/free_list.h"
#include "memory/zone.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr int16_t MARKED = -1; // a block on the stack: seen, not numbered

void enter_block(BB*& top, BB* block) {
    block->dfn = MARKED;
    block->dfs_cursor = block->succs;
    block->dflink = top;
    top = block;
}

BB* next_unmarked(BB* block) {
    while (BB_LIST* cell = block->dfs_cursor) {
        block->dfs_cursor = cell->next;
        if (!cell->block->dfn) return cell->block;
    }
    return nullptr;
}

} // namespace

void number_depth_first() {
    auto number = static_cast<int16_t>(flow_graph.bb_count);
    BB* finished = nullptr;
    BB* top = nullptr;
    enter_block(top, flow_graph.bb_list);
    while (top) {
        if (BB* next = next_unmarked(top)) {
            enter_block(top, next);
            continue;
        }
        BB* done = top;
        top = done->dflink;
        done->dflink = finished;
        done->dfn = number--;
        finished = done;
    }
    flow_graph.bb_list = finished;
}

namespace {

void release_block(BB* block) {
    for (STMT* cell = block->stmts; cell; cell = cell->next) erase_tree(cell->tree);
    block->stmts = nullptr;
    free_set(block->succs);
    if (block == flow_graph.exit_bb) flow_graph.exit_bb = nullptr;
}

void drop_unreachable_blocks() {
    for (BB** place = &flow_graph.all_blocks; *place;) {
        BB* block = *place;
        if (block->dfn) {
            place = &block->all_link;
            continue;
        }
        *place = block->all_link;
        if (!block->stmts) continue;
        trace("\nUNREACHABLE BASIC BLOCK: UON==%d\n", block->uon);
        release_block(block);
        recycle(block);
    }
}

// Sets the links back, the numbers and the count along the dflink chain.
template <class F>
void number_chain(F visit) {
    int16_t number = 0;
    BB* before = nullptr;
    for (BB* block = flow_graph.bb_list; block; before = block, block = block->dflink) {
        block->rdflink = before;
        block->dfn = ++number;
        visit(block);
    }
    if (flow_graph.bb_list) flow_graph.bb_list->rdflink = before;
    flow_graph.bb_count = number;
}

} // namespace

void find_predecessors() {
    number_chain([](BB* block) {
        if (block->labels) block->labels->index = block->dfn;
        // Successors are a set, so a block cannot come into a predecessor set twice.
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next) {
            auto* back = new_recycled<BB_LIST>();
            *back = {block, cell->block->preds};
            cell->block->preds = back;
        }
    });
    drop_unreachable_blocks();
}

void renumber_cfg() {
    flow_graph.bb_count = 0;
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) {
        free_set(block->preds);
        block->dfn = 0;
        flow_graph.bb_count++;
    }
    number_depth_first();
    find_predecessors();
}

void relink_blocks() {
    bool leaves = false;
    number_chain([&](BB* block) {
        for (LABEL_RECORD* label = block->labels; label; label = label->next) label->index = block->dfn;
        leaves |= !block->succs;
    });
    if (leaves) return;
    function.info->flags |= FUN_never_returns;
    function.info->flags &= ~static_cast<uint32_t>(FUN_is_pure_fun);
}

} // namespace pelorus
