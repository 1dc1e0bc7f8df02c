// Numbering the blocks of the graph: depth-first search, predecessors, unreachable blocks, relinking. See
// bb.h.
//
// The search is iterative, with `dflink` as its stack, so that a chain of blocks of any length takes no call
// stack. The finished list is the reverse postorder.
#include <algorithm>
#include <cstdio>
#include <unordered_set>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/funinfo.h"
#include "memory/free_list.h"
#include "memory/zone.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

namespace {

void enter_block(BB*& top, BB* block) {
    block->dfn = BEING_SEARCHED;
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
        done->dfn = static_cast<BLOCK_NUMBER>(number--);
        finished = done;
    }
    flow_graph.bb_list = finished;
}

namespace {

void release_block(BB* block) {
    for (STMT* cell = block->stmts; cell; cell = cell->next) erase_tree(cell->tree);
    block->stmts = nullptr;
    drop_successors(block);
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
        block->dfn = static_cast<BLOCK_NUMBER>(++number);
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
        for (BB_LIST* cell = block->succs; cell; cell = cell->next) add_predecessor(block, cell);
    });
    drop_unreachable_blocks();
    fact_was_built(FACT_numbers);
    fact_was_built(FACT_dfn);
}

void renumber_cfg() {
    flow_graph.bb_count = 0;
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) {
        drop_predecessors(block);
        block->dfn = NOT_REACHED;
        flow_graph.bb_count++;
    }
    number_depth_first();
    find_predecessors();
}

// --- The facts ---

namespace {

// How many blocks there are, which ones, and their numbers in the order of the chain.
FACT_RECORD block_record(std::vector<uint64_t> blocks, const std::vector<uint64_t>& numbers) {
    std::sort(blocks.begin(), blocks.end());
    blocks.insert(blocks.begin(), blocks.size());
    blocks.insert(blocks.end(), numbers.begin(), numbers.end());
    return blocks;
}

} // namespace

FACT_RECORD stored_block_numbers() {
    std::vector<uint64_t> blocks;
    std::vector<uint64_t> numbers;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        blocks.push_back(block->uon);
        numbers.push_back(static_cast<uint16_t>(block->dfn));
    }
    return block_record(std::move(blocks), numbers);
}

// Which order the chain has does not count.
FACT_RECORD computed_block_numbers() {
    std::vector<uint64_t> blocks;
    std::vector<uint64_t> numbers;
    std::vector<const BB*> waiting{flow_graph.bb_list};
    std::unordered_set<const BB*> seen{flow_graph.bb_list};
    while (!waiting.empty()) {
        const BB* block = waiting.back();
        waiting.pop_back();
        blocks.push_back(block->uon);
        numbers.push_back(numbers.size() + 1);
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (seen.insert(cell->block).second) waiting.push_back(cell->block);
    }
    return block_record(std::move(blocks), numbers);
}

// How many blocks stand behind one of their predecessors; the order is good when all but the entry do.
FACT_RECORD stored_block_order() { return {static_cast<uint64_t>(flow_graph.bb_count - 1)}; }

// Which order of several that a search may give is the chain's does not count.
FACT_RECORD computed_block_order() {
    uint64_t behind = 0;
    for (const BB* block = flow_graph.bb_list->dflink; block; block = block->dflink) {
        const BB_LIST* cell = block->preds;
        while (cell && cell->block->dfn >= block->dfn) cell = cell->next;
        behind += cell != nullptr;
    }
    return {behind};
}

namespace {

void number_labels(const BB* block) {
    for (LABEL_RECORD* label = block->labels; label; label = label->next) label->index = block->dfn;
}

} // namespace

void number_blocks(BB* first, const BB* end) {
    for (BB* block = first; block != end; block = block->dflink) {
        block->dfn = static_cast<BLOCK_NUMBER>(block->rdflink->dfn + 1);
        number_labels(block);
    }
}

void relink_blocks() {
    bool leaves = false;
    number_chain([&](BB* block) {
        number_labels(block);
        leaves |= !block->succs;
    });
    if (leaves) return;
    function.info->flags |= FUN_never_returns;
    function.info->flags &= ~static_cast<uint32_t>(FUN_is_pure_fun);
}

} // namespace pelorus
