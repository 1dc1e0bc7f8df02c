// The order of the tree of loops; see phases.h.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "cfg/graph_edit.h"
#include "loops/phases.h"
#include "support/fatal.h"

namespace pelorus {

void link_loops(LOOPREC* root) {
    std::vector<LOOPREC*> waiting{root};
    while (!waiting.empty()) {
        LOOPREC* loop = waiting.back();
        waiting.pop_back();
        LOOPREC** place = &loop->first_inner;
        for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next) {
            LOOPREC* inner = cell->block->loop;
            if (inner == loop) continue;
            *place = inner;
            place = &inner->next;
            waiting.push_back(inner);
        }
        *place = nullptr;
    }
}

namespace {

void sort_cells(BLOCK_CELL*& list) {
    std::vector<BLOCK_CELL*> cells;
    for (BLOCK_CELL* cell = list; cell; cell = cell->next) cells.push_back(cell);
    std::sort(cells.begin(), cells.end(),
              [](const BLOCK_CELL* a, const BLOCK_CELL* b) { return a->block->dfn < b->block->dfn; });
    BLOCK_CELL** place = &list;
    for (BLOCK_CELL* cell : cells) *place = cell, place = &cell->next;
    *place = nullptr;
}

// The successors in their order, so that loops stay together. Nothing is to be done when no block came.
void renumber_blocks() {
    if (fact_is_valid(FACT_dfn)) return;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) sort_successors(block);
    renumber_cfg();
}

void set_level(LOOPREC* loop) {
    const int level = loop->parent ? loop->parent->level + 1 : 0;
    if (level > INT16_MAX) fatal_error("Too many nested loops:  %d\n", level);
    loop->level = static_cast<int16_t>(level);
    for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next)
        if (cell->block->loop == loop) cell->block->loop_depth = loop->level;
}

// Of a loop whose inner ones have theirs.
void widen_source_range(LOOPREC* loop) {
    for (const LOOPREC* inner = loop->first_inner; inner; inner = inner->next) {
        if (!loop->source_start.present() || compare_positions(inner->source_start, loop->source_start) < 0)
            loop->source_start = inner->source_start;
        if (!loop->source_end.present() || compare_positions(inner->source_end, loop->source_end) > 0)
            loop->source_end = inner->source_end;
    }
}

} // namespace

void number_loops(LOOPREC* root) {
    renumber_blocks();
    for_each_loop(root, [](LOOPREC* loop) {
        sort_cells(loop->contents);
        sort_cells(loop->exits);
    });
    link_loops(root);
    int16_t number = 0;
    for_each_loop(root, [&](LOOPREC* loop) {
        loop->number = number++;
        set_level(loop);
    });
    for_each_loop_inside_first(root, widen_source_range);
}

} // namespace pelorus
