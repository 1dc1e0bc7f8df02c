// Changes of the graph that keep edges, labels and statements in step; see graph_edit.h.
#include "cfg/graph_edit.h"

#include <algorithm>
#include <vector>

#include "cfg/statement_edit.h"
#include "memory/free_list.h"
#include "support/scratch.h"
#include "tree/query.h"

namespace pelorus {

// --- Questions ---

NODE* ending_tree(const BB* block) { return block->last_stmt->tree; }

bool has_one(const BB_LIST* set) { return set && !set->next; }
bool has_two(const BB_LIST* set) { return set && set->next && !set->next->next; }
bool has_several(const BB_LIST* set) { return set && set->next; }

// --- Branches ---

LABEL_RECORD* label_of(BB* block) {
    if (!block->labels) block->labels = new_label(0, nullptr, block);
    return block->labels;
}

void set_target(NODE* leaf, LABEL_RECORD* label) {
    leaf->ref = label;
    leaf->set_value(int96_signed(label->index));
}

NODE* new_branch(BB* target) {
    NODE* leaf = new_label_leaf(0);
    set_target(leaf, label_of(target));
    return new_unary(OP_BRANCH, type_package()->void_type(), leaf);
}

bool has_complement(const NODE* relation) {
    if (!opcode_is_relation(relation->op)) return false;
    const bool is_equality = relation->op == OP_EQ || relation->op == OP_NEQ;
    return is_equality || !type_is_floating(relation->left->type);
}

bool invert_if(NODE* tree) {
    if (!has_complement(tree->left)) return false;
    tree->left->op = opcode_fact(tree->left->op).complement;
    std::swap(tree->right->left, tree->right->right);
    trees_changed();
    return true;
}

// --- Sets of blocks ---

namespace {

BB_LIST* push_front(BB_LIST*& set, BB* block) {
    auto* cell = new_recycled<BB_LIST>();
    *cell = {block, set, nullptr, nullptr};
    if (set) set->previous = cell;
    return set = cell;
}

void join(BB_LIST* a, BB_LIST* b) {
    a->twin = b;
    b->twin = a;
}

BB_LIST* find_in(BB_LIST* set, const BB* block) {
    while (set && set->block != block) set = set->next;
    return set;
}

void remove_edge_cell(BB_LIST*& set, BB_LIST* cell) {
    (cell->previous ? cell->previous->next : set) = cell->next;
    if (cell->next) cell->next->previous = cell->previous;
    if (cell->twin) cell->twin->twin = nullptr;
    recycle(cell);
}

// The other side of an edge; looked for where one side was made without it.
BB_LIST* other_side(const BB_LIST* edge, BB_LIST* set, const BB* block) {
    return edge && edge->twin ? edge->twin : find_in(set, block);
}

void free_set(BB_LIST*& set) {
    while (set) remove_edge_cell(set, set);
}

bool same_sequence(const BB_LIST* a, const BB_LIST* b) {
    for (; a && b; a = a->next, b = b->next)
        if (a->block != b->block) return false;
    return !a && !b;
}

void mark_all(const BB_LIST* set) {
    ++flow_graph.stamp;
    for (; set; set = set->next) set->block->mark = flow_graph.stamp;
}

bool marked(const BB* block) { return block->mark == flow_graph.stamp; }

BB_LIST* targets_of(const BB* block) {
    BB_LIST* targets = nullptr;
    ++flow_graph.stamp;
    for_each_label(ending_tree(block), [&](const NODE* leaf) {
        BB* target = target_of(leaf);
        if (marked(target)) return;
        target->mark = flow_graph.stamp;
        target->dfs_cursor = push_front(targets, target);
    });
    return targets;
}

void edges_changed() { lose_facts(EDIT_EDGES); }
void blocks_changed() { lose_facts(EDIT_EDGES | EDIT_BLOCKS); }

} // namespace

// --- Edges ---

void add_edge(BB* from, BB* to) {
    BB_LIST* forth = find_in(from->succs, to);
    BB_LIST* back = other_side(forth, to->preds, from);
    if (!forth) forth = push_front(from->succs, to);
    if (!back) back = push_front(to->preds, from);
    join(forth, back);
    edges_changed();
}

void remove_edge(BB* from, BB* to) {
    BB_LIST* forth = find_in(from->succs, to);
    if (BB_LIST* back = other_side(forth, to->preds, from)) remove_edge_cell(to->preds, back);
    if (forth) remove_edge_cell(from->succs, forth);
    edges_changed();
}

namespace {

// The edges of the set go on living in another one.
void drop_kept_set(BB_LIST*& set) {
    for (BB_LIST* cell = set; cell; cell = cell->next) cell->twin = nullptr;
    free_set(set);
}

} // namespace

void add_predecessor(BB* from, BB_LIST* edge) { join(edge, push_front(edge->block->preds, from)); }

bool recompute_successors(BB* block) {
    const SCRATCH_CLAIM claim(SCRATCH::BB_MARK, "recompute_successors");
    BB_LIST* targets = targets_of(block);
    if (same_sequence(targets, block->succs)) {
        free_set(targets);
        return false;
    }
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next) {
        BB_LIST* back = other_side(cell, cell->block->preds, block);
        if (!back) continue;
        if (marked(cell->block))
            join(cell->block->dfs_cursor, back);
        else
            remove_edge_cell(cell->block->preds, back);
    }
    mark_all(block->succs);
    for (BB_LIST* cell = targets; cell; cell = cell->next)
        if (!marked(cell->block)) add_predecessor(block, cell);
    drop_kept_set(block->succs);
    block->succs = targets;
    edges_changed();
    return true;
}

void rebuild_predecessors() {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) free_set(block->preds);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (BB_LIST* cell = block->succs; cell; cell = cell->next) add_predecessor(block, cell);
    edges_changed();
}

void set_only_successor(BB* block, BB* successor) {
    free_set(block->succs);
    push_front(block->succs, successor);
    edges_changed();
}

// --- Blocks ---

bool has_room_for_block() { return flow_graph.last_uon < MOST_BLOCKS; }

BB* insert_block(BB* before, STMT* stmts, STMT* last) {
    BB* block = new_block(stmts, last);
    block->uon = static_cast<uint16_t>(++flow_graph.last_uon);
    block->all_link = before->all_link;
    before->all_link = block;
    block->dflink = before->dflink;
    before->dflink = block;
    block->rdflink = before;
    if (block->dflink)
        block->dflink->rdflink = block;
    else
        flow_graph.bb_list->rdflink = block;
    block->dfn = before->dfn; // until the next numbering
    label_of(block);
    blocks_changed();
    return block;
}

namespace {

BB* insert_jump(BB* before, BB* target) {
    STMT* cell = new_stmt(new_branch(target), target->stmts->position, nullptr);
    BB* block = insert_block(before, cell, cell);
    push_successor(block, target);
    add_predecessor(block, block->succs);
    return block;
}

} // namespace

BB* insert_jump_in_front(BB* target) {
    BB* block = insert_jump(target->rdflink, target);
    block->dfn = target->dfn;
    return block;
}

BB* insert_jump_behind(BB* before, BB* target) {
    BB* block = insert_jump(before, target);
    number_last(block);
    return block;
}

void number_last(BB* block) { block->dfn = static_cast<BLOCK_NUMBER>(++flow_graph.bb_count); }

void sort_successors(BB* block) {
    bool in_order = true;
    for (const BB_LIST* cell = block->succs; cell && cell->next; cell = cell->next)
        in_order &= cell->block->dfn >= cell->next->block->dfn;
    if (in_order) return;
    std::vector<BB_LIST*> cells;
    for (BB_LIST* cell = block->succs; cell; cell = cell->next) cells.push_back(cell);
    std::stable_sort(cells.begin(), cells.end(),
                     [](const BB_LIST* a, const BB_LIST* b) { return a->block->dfn > b->block->dfn; });
    BB_LIST** place = &block->succs;
    BB_LIST* before = nullptr;
    for (BB_LIST* cell : cells) {
        cell->previous = before;
        *place = before = cell;
        place = &cell->next;
    }
    *place = nullptr;
}

void absorb_successor(BB* block) {
    BB* next = only_of(block->succs);
    append_statements(block, next->stmts, next->last_stmt);
    free_set(block->succs);
    free_set(next->preds);
    block->succs = next->succs;
    next->succs = nullptr;
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        if (BB_LIST* back = other_side(cell, cell->block->preds, next)) back->block = block;
    next->stmts = next->last_stmt = nullptr;
    if (flow_graph.exit_bb == next) flow_graph.exit_bb = block;
    blocks_changed();
}

// A chain of blocks may fall together, so the ones still to be deleted wait in a list.
void delete_block(BB* block) {
    std::vector<BB*> doomed{block};
    while (!doomed.empty()) {
        BB* gone = doomed.back();
        doomed.pop_back();
        if (!gone->stmts) continue;
        for (STMT* cell = gone->stmts; cell; cell = cell->next) erase_tree(cell->tree);
        gone->stmts = gone->last_stmt = nullptr;
        while (BB_LIST* cell = gone->succs) {
            BB* successor = cell->block;
            remove_edge(gone, successor);
            if (!successor->preds && successor != flow_graph.bb_list) doomed.push_back(successor);
        }
        if (gone == flow_graph.exit_bb) flow_graph.exit_bb = nullptr;
    }
    lose_facts(EDIT_EDGES | EDIT_BLOCKS | EDIT_TREES);
}

void move_blocks(BB* first, BB* last, BB* behind) {
    BB* const before = first->rdflink;
    BB* const rest = last->dflink;
    BB* const next = behind->dflink;
    before->dflink = rest;
    rest->rdflink = before;
    behind->dflink = first;
    first->rdflink = behind;
    last->dflink = next;
    (next ? next : flow_graph.bb_list)->rdflink = last;
    lose_facts(EDIT_BLOCKS);
}

void drop_empty_blocks() {
    BB* entry = flow_graph.bb_list;
    BB* last = entry;
    int16_t number = 1;
    for (BB* block = entry->dflink; block; block = block->dflink) {
        if (!block->stmts) {
            block->dfn = NOT_REACHED;
            continue;
        }
        last->dflink = block;
        block->rdflink = last;
        block->dfn = static_cast<BLOCK_NUMBER>(++number);
        last = block;
    }
    last->dflink = nullptr;
    entry->rdflink = last;
    flow_graph.bb_count = number;
}

// --- While the graph is being built ---

void push_block(BB* block) {
    block->all_link = flow_graph.all_blocks;
    flow_graph.all_blocks = block;
}

void push_successor(BB* from, BB* to) { push_front(from->succs, to); }

void drop_successors(BB* block) { free_set(block->succs); }
void drop_predecessors(BB* block) { free_set(block->preds); }

void chain_all_blocks() { flow_graph.bb_list = flow_graph.all_blocks; }

BB* split_block(BB* block, STMT* last_kept) {
    STMT* rest = last_kept ? last_kept->next : block->stmts;
    BB* behind = new_block(rest, block->last_stmt);
    behind->all_link = block->all_link;
    block->all_link = behind;
    behind->uon = static_cast<uint16_t>(++flow_graph.last_uon);
    flow_graph.bb_count++;
    behind->succs = block->succs;
    block->succs = nullptr;
    STMT* branch = new_stmt(new_branch(behind), rest->position, nullptr);
    if (last_kept) last_kept->next = branch;
    set_statements(block, last_kept ? block->stmts : branch, branch);
    push_front(block->succs, behind);
    blocks_changed();
    return behind;
}

namespace {

struct CELL_QUEUE {
    BB_LIST* first = nullptr;
    BB_LIST** end = &first;
    void append(BB_LIST* cell) { *end = cell, end = &cell->next; }
};

} // namespace

// Successors with one successor of their own, then those with more, then those with none; the last ones in
// reverse.
void order_successors(BB* block) {
    CELL_QUEUE one;
    CELL_QUEUE more;
    BB_LIST* none = nullptr;
    for (BB_LIST *cell = block->succs, *next; cell; cell = next) {
        next = cell->next;
        const BB_LIST* onward = cell->block->succs;
        if (!onward)
            cell->next = none, none = cell;
        else
            (onward->next ? more : one).append(cell);
    }
    *more.end = none;
    *one.end = more.first;
    block->succs = one.first;
    BB_LIST* before = nullptr;
    for (BB_LIST* cell = block->succs; cell; before = cell, cell = cell->next) cell->previous = before;
}

} // namespace pelorus
