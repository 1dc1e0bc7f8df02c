// Blocks, labels and sets of blocks; see bb.h.
#include "cfg/bb.h"

#include "cfg/facts.h"

#include <cstdio>

#include "memory/free_list.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

FLOW_GRAPH flow_graph;

void clear_flow_graph() {
    flow_graph = {};
    fact_state = {};
}

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

void append_text(std::string& text, const BB* block) {
    text += "BB ";
    append_text(text, block->dfn);
}

bool is_ending_branch(int32_t op) {
    return op == OP_IF || op == OP_SWITCH || op == OP_BRANCH || op == OP_RETURN || op == OP_URETURN;
}

} // namespace pelorus
