// Listings of blocks for the debug trace; see bb.h.
#include <cstdio>

#include "cfg/bb.h"
#include "cfg/bitvec.h"
#include "ir/funinfo.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "support/trace.h"

namespace pelorus {

namespace {

int number_of(const BB* block) { return block ? block->dfn : 0; }

// Labels may be named from outside the blocks that are listed.
void count_label_uses() {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (LABEL_RECORD* label = block->labels; label; label = label->next) label->refcount = 0;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_label(cell->tree, [](const NODE* leaf) {
                LABEL_RECORD* label = leaf->label();
                if (label && label->refcount < INT16_MAX) ++label->refcount;
            });
}

void dump_labels(const BB* block) {
    for (const LABEL_RECORD* label = block->labels; label; label = label->next)
        trace("\tLABEL, INDEX=%d, REFCOUNT=%d, NAME=<NONE>\n", label->index, label->refcount);
}

void dump_loop_head(const BB* block) {
    if (block->loop_control)
        trace("\tHeader of a loop controlled by %s\n", block->loop_control->symbol->name);
    if (block->loop_trips) trace("\tHeader of a loop with #iterations = %s\n", tree2infix(block->loop_trips));
}

void dump_position(const char* format, const POSITION* position) {
    static const POSITION none{};
    const POSITION& place = position ? *position : none;
    trace(format, place.file ? place.file : "NO_FILE", static_cast<long>(place.line),
          static_cast<long>(place.column));
}

void dump_set(const char* title, const BB_LIST* set) {
    trace("%s", title);
    for (; set; set = set->next) trace("%d ", set->block->dfn);
    trace(")\n");
}

void dump_descendants(const BB* block) {
    trace("\tDESCENDANTS =  ( ");
    for (uint32_t number = 1; number <= static_cast<uint32_t>(flow_graph.bb_count); ++number)
        if (bv_test(block->descendants, number)) trace("%u ", number);
    trace(")\n");
}

const BB* last_of(const BB* first, const BB* last) {
    if (last) return last;
    while (first->dflink) first = first->dflink;
    return first;
}

} // namespace

void dump_stmt_list(const STMT* cells) {
    int ordinal = 0;
    for (; cells; cells = cells->next) {
        if (cells->tree->op == OP_LABELDEF) {
            trace("\n     LABEL DEFINITION: INDEX = %d\n", cells->tree->value_lo);
            continue;
        }
        trace("\n::::: tree %d ::::: (%ld)\n", ++ordinal, static_cast<long>(cells->position.line));
        trace("%s\n", tree2infix(cells->tree));
    }
}

void dump_bb(const BB* first, const BB* last) {
    if (!debug_on() || !first) return;
    last = last_of(first, last);
    count_label_uses();
    for (const BB* block = first; block; block = block == last ? nullptr : block->dflink) {
        trace("\n\n:::: BASIC BLOCK DUMP, UON=%d, DFN=%d\n", block->uon, block->dfn);
        trace("\tDFLINK=BB%d, RDFLINK=BB%d\n", number_of(block->dflink), number_of(block->rdflink));
        dump_labels(block);
        dump_loop_head(block);
        dump_position("\tStarts at: %s\tline: %ld  col %ld\n", block->start_pos);
        // The whole range's end, which tells more than the block's own: blocks end where the next begins.
        dump_position("\tEnds at:   %s\tline: %ld  col %ld\n", last->end_pos);
        dump_set("\tPREDECESSORS = ( ", block->preds);
        dump_set("\tSUCCESSORS =   ( ", block->succs);
        if (block->descendants) dump_descendants(block);
        if (block->loop_depth) trace("\tLOOP DEPTH = %d\n", block->loop_depth);
        dump_stmt_list(block->stmts);
    }
}

namespace {

bool goes_to_next(const BB* block, const STMT* cell) {
    if (cell->next || !cell->tree || cell->tree->op != OP_BRANCH) return false;
    const NODE* leaf = cell->tree->left;
    return leaf && leaf->op == OP_LABEL && leaf->label() && leaf->label()->block == block->dflink;
}

} // namespace

void list_bb(const BB* first, const BB* last, FILE* stream) {
    for (const BB* block = first; block; block = block == last ? nullptr : block->dflink) {
        const int label = block->labels ? block->labels->index : int{block->dfn};
        if (block == first && function.info)
            fprintf(stream, "\t    BB %d:  g%d\t\t// %s\n", block->dfn, label, function.info->name);
        else
            fprintf(stream, "\t    BB %d:  g%d\n", block->dfn, label);
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            if (!goes_to_next(block, cell))
                fprintf(stream, "\t    BB %d:   \t%s\n", block->dfn, tree2infix(cell->tree));
    }
}

} // namespace pelorus
