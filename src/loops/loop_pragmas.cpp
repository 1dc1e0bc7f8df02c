// Pragmas of loops; see LOOP_PRAGMAS of cfg/loop.h.
//
// A pragma stands as a statement in front of its loop: in the preheader, or in a block from which the way
// leads to the loop alone, past a guard at the most. It moves to the preheader, where the next hierarchy
// finds it, and from where it goes into the output.
#include <cstdlib>

#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/symbol.h"
#include "loops/analyses.h"

namespace pelorus {

namespace {

const PRAGMA* loop_pragma(const NODE* tree) {
    if (tree->op != OP_PPRAGMA) return nullptr;
    const auto* pragma = static_cast<const PRAGMA*>(tree->ref);
    const bool is_of_loop =
        pragma->kind == PK_UNROLL || pragma->kind == PK_MUST_ITERATE || pragma->kind == PK_PROB_ITERATE;
    return is_of_loop ? pragma : nullptr;
}

// The number in decimal; 0 for one that is left out.
uint32_t number(const PRAGMA* pragma, uint32_t place) {
    if (place >= pragma->count) return 0;
    const unsigned long value = strtoul(pragma->strings[place], nullptr, 10);
    return value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
}

void take(LOOP_PRAGMAS& pragmas, const PRAGMA* pragma) {
    switch (pragma->kind) {
    case PK_UNROLL: pragmas.unroll = number(pragma, 0); break;
    case PK_MUST_ITERATE:
        pragmas.must_minimum = number(pragma, 0);
        pragmas.must_maximum = number(pragma, 1);
        pragmas.must_multiple = number(pragma, 2);
        break;
    case PK_PROB_ITERATE:
        pragmas.probable_minimum = number(pragma, 0);
        pragmas.probable_maximum = number(pragma, 1);
        break;
    default: break;
    }
}

// The only block from which one comes to this one, in the same loop.
BB* before(const BB* block) {
    if (!has_one(block->preds)) return nullptr;
    BB* previous = only_of(block->preds);
    return previous->loop == block->loop ? previous : nullptr;
}

// Takes the block's last pragmas, and moves them to the preheader unless they are there.
bool take_from(LOOPREC* loop, BB* block, bool& found) {
    bool moved = false;
    for (STMT* cell = block->stmts; cell != block->last_stmt;) {
        const PRAGMA* pragma = loop_pragma(cell->tree);
        if (!pragma) {
            cell = cell->next;
            continue;
        }
        found = true;
        take(loop->pragmas, pragma);
        if (block == loop->preheader) {
            cell = cell->next;
            continue;
        }
        NODE* tree = cell->tree;
        remove_cell(block, cell);
        insert_before_ending(loop->preheader, tree);
        moved = true;
    }
    return moved;
}

} // namespace

bool take_pragmas(LOOPREC* loop) {
    constexpr int BLOCKS_BEFORE = 3; // the preheader, a guard, and what stood before the guard
    bool found = false;
    bool moved = false;
    BB* block = loop->preheader;
    bool past_test = false;
    for (int i = 0; block && !found && i < BLOCKS_BEFORE; ++i, block = before(block)) {
        past_test |= has_several(block->succs);
        moved = take_from(loop, block, found);
    }
    loop->pragmas.before_guard |= found && past_test;
    return moved;
}

} // namespace pelorus
