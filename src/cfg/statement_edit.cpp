// See statement_edit.h.
#include "cfg/statement_edit.h"

#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

// The cell takes the new statement, and a new cell what it held, so that no predecessor cell is needed.
STMT* insert_before(BB* block, STMT* cell, NODE* tree, const POSITION& position) {
    STMT* rest = new_stmt(cell->tree, cell->position, cell->next);
    cell->tree = tree;
    cell->position = position;
    cell->next = rest;
    if (block->last_stmt == cell) {
        block->last_stmt = rest;
        if (block->end_pos) block->end_pos = &rest->position;
    }
    trees_changed();
    return rest;
}

void insert_before_ending(BB* block, NODE* tree) {
    insert_before(block, block->last_stmt, tree, block->last_stmt->position);
}

void replace_ending(BB* block, NODE* tree) {
    block->last_stmt->tree = tree;
    trees_changed();
}

void keep_effects(BB* block, NODE* tree) {
    if (NODE* effects = reduce_to_effects(tree)) insert_before_ending(block, effects);
}

void set_statements(BB* block, STMT* first, STMT* last) {
    block->stmts = first;
    block->last_stmt = last;
    block->start_pos = first ? &first->position : nullptr;
    block->end_pos = last ? &last->position : nullptr;
    trees_changed();
}

void append_statements(BB* block, STMT* first, STMT* last) {
    // Walking to the statement before the last one each time would make a chain of blocks cost the square of
    // its length, so the cell of the dropped BRANCH takes over the first appended statement.
    STMT* seam = block->last_stmt;
    erase_tree(seam->tree);
    *seam = *first;
    block->last_stmt = first == last ? seam : last;
    if (block->stmts == seam) block->start_pos = &seam->position;
    block->end_pos = &block->last_stmt->position;
    trees_changed();
}

void remove_cell(BB* block, STMT* cell) {
    if (block->last_stmt == cell->next) {
        block->last_stmt = cell;
        block->end_pos = &cell->position;
    }
    *cell = *cell->next;
    trees_changed();
}

} // namespace pelorus
