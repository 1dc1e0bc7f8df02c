// Rewriting the statements of a block together with the one before; see statements.h.
//
//          v = x; v = y      the first assignment is dead when y does not read v:   (x's effects); v = y
//          v = w; w = v      the second one says what is so already:                v = w
//          v += c; v += d    become one:                                            v += c + d
//          s; s              where doing it twice is doing it once (v = w):         s
//
// Only variables are looked at whose addresses the function does not take, so that nothing else can read or
// change them. Comments in between are looked over; assembly and pragmas are not.
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "scalar/assignment_query.h"
#include "scalar/statements.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// v = x; v = y. What a debugger must see stays even so, and the copy of a parameter: every function has one,
// and whoever expands calls looks for it.
bool overwrite(STMT* before, const NODE* tree) {
    if (!assigns_candidate(before->tree) || !assigns_candidate(tree)) return false;
    const SYMBOL* variable = tree->left->symbol();
    if (before->tree->left->symbol() != variable || tree_mentions(tree->right, variable)) return false;
    if (const char* why = why_assignment_stays(before->tree)) return refuse(SITE_dead_store, why);
    if (!change(SITE_dead_store, "{}, before {}", before->tree, tree)) return false;
    NODE* value = before->tree->right;
    before->tree->right = nullptr;
    erase_tree(before->tree);
    before->tree = reduce_to_effects(value);
    trees_changed();
    return true;
}

// v = w; w = v, and v = w; v = w
bool repeats(const STMT* before, const NODE* tree) {
    const NODE* first = before->tree;
    if (!assigns_candidate(first) || !assigns_candidate(tree)) return false;
    const bool back = names_candidate(first->right) && equal_trees(first->left, tree->right) &&
                      equal_trees(first->right, tree->left) &&
                      type_same_representation(first->left->type, first->right->type);
    const bool same = equal_trees(first, tree) && !tree_has_effects(tree->right) &&
                      !tree_mentions(tree->right, tree->left->symbol());
    if (!back && !same) return false;
    return change(SITE_redundant_assignment, "{}, behind {}", tree, first);
}

// v += c; v += d
bool add_up(STMT* before, NODE* tree) {
    NODE* first = before->tree;
    if (first->op != OP_PLUSASG || tree->op != OP_PLUSASG || !names_candidate(first->left) ||
        first->left->symbol() != tree->left->symbol())
        return false;
    if (first->right->op != OP_ICON || tree->right->op != OP_ICON ||
        !type_same_representation(first->right->type, tree->right->type))
        return false;
    if (type_is_floating(first->left->type) || type_is_bool(first->left->type)) return false;
    // The sum is made in the type of the amounts, which must not wrap around before the variable does.
    if (type_bits(tree->right->type) < type_bits(tree->left->type)) return false;
    if (is_seen_by_debugger(first->left->symbol()))
        return refuse(SITE_add_increments, "a debugger must see the variable", "{} and {}", first, tree);
    if (!change(SITE_add_increments, "{} and {}", first, tree)) return false;
    const INT96 sum = int96_add(first->right->value(), tree->right->value());
    tree->right->set_value(
        int96_truncate(sum, type_bits(tree->right->type), !type_is_signed(tree->right->type)));
    return true;
}

// What becomes of a statement and the one before it.
enum class PAIR_OUTCOME : uint8_t { NOTHING, DROP_THIS, DROP_BEFORE };

PAIR_OUTCOME rewrite_pair(STMT* before, NODE* tree) {
    if (repeats(before, tree)) return PAIR_OUTCOME::DROP_THIS;
    if (overwrite(before, tree)) return before->tree ? PAIR_OUTCOME::NOTHING : PAIR_OUTCOME::DROP_BEFORE;
    if (add_up(before, tree)) return PAIR_OUTCOME::DROP_BEFORE;
    return PAIR_OUTCOME::NOTHING;
}

void rewrite_block(BB* block) {
    STMT* before = nullptr; // the last statement that is no comment
    for (STMT* cell = block->stmts; cell != block->last_stmt;) {
        NODE* tree = cell->tree;
        if (tree->op == OP_ASM || tree->op == OP_PPRAGMA) {
            if (!is_comment(tree)) before = nullptr;
            cell = cell->next;
            continue;
        }
        stand_at(block, cell);
        const PAIR_OUTCOME outcome = before ? rewrite_pair(before, tree) : PAIR_OUTCOME::NOTHING;
        if (outcome == PAIR_OUTCOME::DROP_THIS) {
            erase_tree(tree);
            remove_cell(block, cell);
            continue;
        }
        if (outcome == PAIR_OUTCOME::DROP_BEFORE) {
            if (before->tree) erase_tree(before->tree);
            // The statements between the two are comments; the later statement moves up to where the earlier
            // one stood.
            before->tree = tree;
            before->position = cell->position;
            remove_cell(block, cell);
            continue;
        }
        before = cell;
        cell = cell->next;
    }
}

} // namespace

bool rewrite_statements() {
    trace_entering("rewrite_statements");
    const CHANGE_MARK mark;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) rewrite_block(block);
    return mark.any();
}

} // namespace pelorus
