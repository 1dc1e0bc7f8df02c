// Live variables as passes ask for them; see assignments.h. The analysis itself is cfg/live_variables.cpp.
//
// Before the candidates are numbered, statements are brought into the form in which an assignment stands at
// the top of its statement:
//
//     a + f();                f();
//     x = (a, b);             a; x = b;
//     (a, b);                 a; b;
//
// so that the rules for statements see it.
#include "cfg/candidate_fact.h"
#include "cfg/live_variables.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// Evaluating the tree is of use although its value is not.
bool has_use_of_its_own(const NODE* tree) {
    const bool chooses = tree->op == OP_ANDAND || tree->op == OP_OROR || tree->op == OP_QUEST;
    return node_has_effect(tree) || tree->op == OP_PCOMMA || (chooses && tree_has_effects(tree->right)) ||
           (takes_address(tree) && tree_has_effects(tree)); // of an object behind a comma
}

// False when nothing of the statement is left, and its cell holds another one.
bool drop_unused_value(BB* block, STMT* cell) {
    if (!change(SITE_unused_result, "{}", cell->tree)) return true;
    cell->tree = reduce_to_effects(cell->tree);
    trees_changed();
    if (cell->tree) return true;
    remove_cell(block, cell);
    return false;
}

// The COMMAOP that can be split off, the tree itself or what it assigns to a variable; null for none.
NODE** comma_of(STMT* cell) {
    if (cell->tree->op == OP_COMMAOP) return &cell->tree;
    const bool assigns_name = cell->tree->op == OP_ASG && cell->tree->left->op == OP_NAME;
    return assigns_name && cell->tree->right->op == OP_COMMAOP ? &cell->tree->right : nullptr;
}

// A statement without those at its end that would be none by themselves: however many changes may be made
// yet, none is left standing. Null when nothing is left.
NODE* without_unused(NODE* tree) {
    for (;;) {
        NODE* last = tree->op == OP_COMMAOP ? tree->right : tree;
        if (tree_is_statement(last)) return tree;
        follows(SITE_unused_result, "{}", last);
        NODE* rest = last == tree ? nullptr : tree->left;
        erase_tree(last);
        if (!rest) return nullptr;
        erase_node(tree);
        tree = rest;
    }
}

// The left operand becomes a statement in front; the cell keeps what is left.
bool split_comma(BB* block, STMT* cell, NODE** comma) {
    if (!change(SITE_split_comma, "{}", cell->tree)) return false;
    NODE* first = without_unused((*comma)->left);
    NODE* second = (*comma)->right;
    erase_node(*comma);
    *comma = second;
    if (first) cell = insert_before(block, cell, first, cell->position);
    trees_changed();
    if (tree_is_statement(cell->tree)) return true;
    follows(SITE_unused_result, "{}", cell->tree);
    erase_tree(cell->tree);
    remove_cell(block, cell);
    return true;
}

bool normalise_block(BB* block) {
    const CHANGE_MARK mark;
    for (STMT* cell = block->stmts; cell != block->last_stmt;) {
        stand_at(block, cell);
        if (NODE** comma = comma_of(cell); comma && split_comma(block, cell, comma)) continue;
        if (!has_use_of_its_own(cell->tree) && cell->tree->op != OP_COMMAOP &&
            !drop_unused_value(block, cell))
            continue;
        cell = cell->next;
    }
    return mark.any();
}

} // namespace

bool normalise_statements() {
    bool changed = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) changed |= normalise_block(block);
    return changed;
}

bool find_live_variables(bool faint) {
    trace("\n\n\t\t\t---------- ENTERING 'find_live_variables' --------\n");
    const bool changed = normalise_statements();
    build_facts(facts_of(FACT_candidates));
    for (int32_t i = 0; debug_on() && i < function_candidates.count; ++i)
        if (const SYMBOL* symbol = function_candidates.symbols[i])
            trace("\tLVA candidate %2d is variable '%s'\n", i, symbol->name);
    build_facts(facts_of(faint ? FACT_live_faint : FACT_live));
    return changed;
}

} // namespace pelorus
