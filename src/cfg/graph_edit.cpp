// Changes of the graph that keep edges, labels and statements in step; see simplify.h.
#include <vector>

#include "cfg/simplify.h"
#include "memory/free_list.h"
#include "memory/zone.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

NODE* ending_tree(const BB* block) { return block->last_stmt->tree; }

bool has_one(const BB_LIST* set) { return set && !set->next; }
bool has_two(const BB_LIST* set) { return set && set->next && !set->next->next; }
bool has_several(const BB_LIST* set) { return set && set->next; }

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

void insert_before_ending(BB* block, NODE* tree) {
    STMT* ending = block->last_stmt;
    // The cell of the branch takes the new statement, and a new cell the branch, so that no predecessor cell
    // is needed.
    STMT* cell = new_stmt(ending->tree, ending->position, ending->next);
    ending->tree = tree;
    ending->next = cell;
    block->last_stmt = cell;
    if (block->end_pos) block->end_pos = &cell->position;
}

void replace_ending(BB* block, NODE* tree) { block->last_stmt->tree = tree; }

void keep_effects(BB* block, NODE* tree) {
    if (NODE* effects = reduce_to_effects(tree)) insert_before_ending(block, effects);
}

namespace {

bool same_sequence(const BB_LIST* a, const BB_LIST* b) {
    for (; a && b; a = a->next, b = b->next)
        if (a->block != b->block) return false;
    return !a && !b;
}

void push_front(BB_LIST*& set, BB* block) {
    auto* cell = new_recycled<BB_LIST>();
    *cell = {block, set};
    set = cell;
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
        push_front(targets, target);
    });
    return targets;
}

} // namespace

bool recompute_successors(BB* block) {
    BB_LIST* targets = targets_of(block);
    if (same_sequence(targets, block->succs)) {
        free_set(targets);
        return false;
    }
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        if (!marked(cell->block)) remove_from_set(cell->block->preds, block);
    mark_all(block->succs);
    for (const BB_LIST* cell = targets; cell; cell = cell->next)
        if (!marked(cell->block)) push_front(cell->block->preds, block);
    free_set(block->succs);
    block->succs = targets;
    return true;
}

void rebuild_predecessors() {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) free_set(block->preds);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            push_front(cell->block->preds, block);
}

void set_only_successor(BB* block, BB* successor) {
    free_set(block->succs);
    push_front(block->succs, successor);
}

BB* insert_block(BB* before, STMT* stmts, STMT* last) {
    if (flow_graph.last_uon >= MOST_BLOCKS) return nullptr;
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
    block->loop = before->loop;
    block->loop_depth = before->loop_depth;
    block->dfn = before->dfn; // until the next numbering
    label_of(block);
    return block;
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
    return true;
}

} // namespace pelorus
