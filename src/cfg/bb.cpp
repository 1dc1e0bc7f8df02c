// Blocks, labels and sets of blocks; see bb.h.
#include "cfg/bb.h"

#include <cstdio>

#include "memory/free_list.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

FLOW_GRAPH flow_graph;

void clear_flow_graph() { flow_graph = {}; }

BB* new_block(STMT* stmts, STMT* last) {
    auto* block = new_recycled<BB>();
    block->stmts = stmts;
    block->last_stmt = last;
    if (stmts) {
        block->start_pos = &stmts->position;
        block->end_pos = &last->position;
    }
    return block;
}

bool in_set(const BB_LIST* set, const BB* block) {
    for (; set; set = set->next)
        if (set->block == block) return true;
    return false;
}

void add_to_set(BB_LIST*& set, BB* block) {
    if (in_set(set, block)) return;
    auto* cell = new_recycled<BB_LIST>();
    *cell = {block, set};
    set = cell;
}

void remove_from_set(BB_LIST*& set, const BB* block) {
    for (BB_LIST** place = &set; *place; place = &(*place)->next) {
        if ((*place)->block != block) continue;
        BB_LIST* cell = *place;
        *place = cell->next;
        recycle(cell);
        return;
    }
}

void free_set(BB_LIST*& set) {
    while (BB_LIST* cell = set) {
        set = cell->next;
        recycle(cell);
    }
}

void add_edge(BB* from, BB* to) {
    add_to_set(from->succs, to);
    add_to_set(to->preds, from);
}

void remove_edge(BB* from, BB* to) {
    remove_from_set(from->succs, to);
    remove_from_set(to->preds, from);
}

namespace {

int16_t fresh_label_index() {
    if (flow_graph.fresh_label == LOWEST_FRESH_LABEL) {
        flow_graph.fresh_label = 0;
        flow_graph.labels_wrapped = true;
    }
    return --flow_graph.fresh_label;
}

} // namespace

LABEL_RECORD* new_label(int32_t index, LABEL_RECORD* next, BB* block) {
    auto* label = zone_new<LABEL_RECORD>(true);
    label->next = next;
    label->block = block;
    label->index = index < 1 ? fresh_label_index() : static_cast<int16_t>(index);
    return label;
}

LABEL_RECORD* find_label(int32_t index) {
    for (const BB* block = flow_graph.all_blocks; block; block = block->all_link)
        for (const LABEL_RECORD* label = block->labels; label; label = label->next)
            if (label->index == index) return block->labels;
    fprintf(stderr, "\n!!! COMPILER (OPTIMIZER) ERROR IN 'find_label', INDEX=%d !!!\n", index);
    fatal_exit();
}

bool is_ending_branch(int32_t op) {
    return op == OP_IF || op == OP_SWITCH || op == OP_BRANCH || op == OP_RETURN || op == OP_URETURN;
}

} // namespace pelorus
