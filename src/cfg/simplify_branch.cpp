// Simplifying the ending IF or SWITCH of a block; see simplify.h.
//
// Before each sweep, labels that lead to blocks with nothing but a BRANCH are moved on to where that leads.
// Then, at each block:
//
//   1. An IF goes through the tree simplifier. An assignment or a COMMAOP in its condition becomes a
//      statement of its own.
//   2. Of the rewrites of an IF the first that fits is made, and of a SWITCH likewise:
//          IF     constant condition; equal targets; an empty arm; a loop of one block gets its own block
//                 as the true target; late, a nested test that shares a target becomes one condition
//          SWITCH constant selector; one target; cases that go where DEFAULT goes; one value or range of
//                 values left: a comparison; few cases of a variable: a comparison each
#include <algorithm>
#include <array>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "support/decision.h"
#include "support/hash.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct BRANCH_LIMITS {
    // Operator nodes of a condition that two tests may become. Machines branch on each of them anyway; what
    // is gained is one block less and what the tree simplifier sees in the whole. It bounds the work, too,
    // since the condition is simplified anew at each step.
    int32_t merged_condition = 16;
    // Blocks with nothing but a BRANCH that a label is moved along; they may form a circle.
    int32_t thread_length = 64;
    // Cases of a SWITCH that are compared one after another: a table of jumps costs about as much as two or
    // three comparisons.
    size_t compared_cases = 3;
};
constexpr BRANCH_LIMITS LIMITS;

TYPE* void_type() { return type_package()->void_type(); }
NODE* true_leaf(const NODE* tree) { return tree->right->left; }
NODE* false_leaf(const NODE* tree) { return tree->right->right; }

// The ending tree becomes a BRANCH to the leaf's target; what the old one evaluated keeps its effects.
void become_branch(BB* block, NODE* evaluated, NODE* leaf) {
    NODE* old = ending_tree(block);
    BB* target = target_of(leaf);
    if (old->left == evaluated) old->left = nullptr;
    replace_ending(block, new_branch(target));
    keep_effects(block, evaluated);
    erase_tree(old->right);
    old->right = nullptr;
    erase_node(old);
    recompute_successors(block);
}

// --- 1: conditions with effects at their top ---

// A variable that can be read again in place of the assignment's value.
bool is_plain_target(const NODE* lvalue) { return lvalue->op == OP_NAME && !tree_has_effects(lvalue); }

// if ((v = x)) becomes v = x; if (v)
bool split_assignment(BB* block, NODE* tree) {
    NODE* condition = tree->left;
    const bool is_assignment = condition->op == OP_ASG && is_plain_target(condition->left);
    if (condition->op != OP_COMMAOP && !is_assignment) return false;
    if (!change(SITE_split_condition, "{}", condition)) return false;
    if (condition->op == OP_COMMAOP) {
        tree->left = condition->right;
        NODE* first = condition->left;
        erase_node(condition);
        keep_effects(block, first);
        return true;
    }
    tree->left = copy_tree(condition->left);
    insert_before_ending(block, condition);
    return true;
}

bool simplify_condition(BB* block) {
    bool changed = false;
    for (;;) {
        NODE* tree = simplify_tree(ending_tree(block));
        replace_ending(block, tree);
        if (!split_assignment(block, tree)) return changed;
        changed = true;
    }
}

// --- Labels of blocks that only lead on ---

bool only_branches(const BB* block) {
    return block->stmts && block->stmts == block->last_stmt && ending_tree(block)->op == OP_BRANCH;
}

BB* end_of_thread(BB* block) {
    BB* end = block;
    for (int32_t i = 0; only_branches(end) && i < LIMITS.thread_length; ++i)
        end = target_of(ending_tree(end)->left);
    return only_branches(end) ? block : end; // a circle, or too long
}

bool may_thread_label(const BB* target, const BB* end) {
    if (end->loop != target->loop) return refuse(SITE_thread_label, "the way leads to another loop");
    return change(SITE_thread_label, "to {}, past {}", end, target);
}

bool thread_labels_of(BB* block) {
    bool changed = false;
    stand_at(block);
    for_each_label(ending_tree(block), [&](NODE* leaf) {
        BB* target = target_of(leaf);
        BB* end = end_of_thread(target);
        if (end == target || !may_thread_label(target, end)) return;
        set_target(leaf, label_of(end));
        changed = true;
    });
    if (!changed) return false;
    recompute_successors(block);
    return true;
}

// --- 2: IF ---

bool decide_constant(BB* block, NODE* tree) {
    if (tree->left->op != OP_ICON) return false;
    NODE* taken = leaf_for_value(tree, tree->left->value());
    if (!change(SITE_fold_test, "{} becomes a jump to {}", tree, target_of(taken))) return false;
    become_branch(block, tree->left, taken);
    return true;
}

// How far the statements of two blocks were found to be equal. The simplifier changes the ending of a block
// and what it puts in front of that; the statements before stay as they are, and a block that is emptied
// begins with another cell. So a comparison goes on where the one before it stopped, and any number of tests
// of the same two arms compares them once.
struct COMPARISON {
    const STMT* a; // the statements before these are equal
    const STMT* b;
    bool differ; // at these, of which neither is an ending
};

using CELL_PAIR = std::pair<const STMT*, const STMT*>;

struct CELL_PAIR_HASH {
    size_t operator()(const CELL_PAIR& pair) const {
        return mix_hash(reinterpret_cast<uintptr_t>(pair.first), reinterpret_cast<uintptr_t>(pair.second));
    }
};

// By the first cells of both blocks.
std::unordered_map<CELL_PAIR, COMPARISON, CELL_PAIR_HASH> comparisons;

void compare_on(COMPARISON& found) {
    while (found.a->next && found.b->next) {
        found.differ = !equal_trees(found.a->tree, found.b->tree);
        if (found.differ) return;
        found.a = found.a->next;
        found.b = found.b->next;
    }
}

// The endings, which may change, are compared each time, and first, since they tell many arms apart.
bool equal_blocks(const BB* a, const BB* b) {
    if (!equal_trees(a->last_stmt->tree, b->last_stmt->tree)) return false;
    const auto [place, is_new] =
        comparisons.try_emplace({a->stmts, b->stmts}, COMPARISON{a->stmts, b->stmts, false});
    COMPARISON& found = place->second;
    if (!found.differ) compare_on(found);
    return !found.differ && !found.a->next && !found.b->next;
}

// The statements of the one run for those of the other as well. The two are equal.
void run_for_both(const BB* kept, const BB* other) {
    const STMT* twin = other->stmts;
    for (STMT* cell = kept->stmts; cell; cell = cell->next, twin = twin->next)
        if (cell->position.scope != twin->position.scope || cell->position.call != twin->position.call)
            cell->position.scope = UNKNOWN_SCOPE;
}

bool join_equal_targets(BB* block, NODE* tree) {
    BB* yes = target_of(true_leaf(tree));
    BB* no = target_of(false_leaf(tree));
    if (yes == no || yes == block || no == block || !equal_blocks(yes, no)) return false;
    if (yes->loop != no->loop) return refuse(SITE_equal_arms, "the blocks are in different loops");
    if (!change(SITE_equal_arms, "{} and {} are equal: {}", yes, no, tree)) return false;
    run_for_both(yes, no);
    set_target(false_leaf(tree), label_of(yes));
    recompute_successors(block);
    return true;
}

bool is_empty_arm(const BB* block) {
    const STMT* cell = block->stmts;
    while (cell && is_comment(cell->tree)) cell = cell->next;
    return cell && cell->tree->op == OP_BRANCH;
}

// B: if (c) X else Y, where X only leads to Y: both ways go over X, which the single-successor rewrites then
// make a plain BRANCH.
bool drop_empty_arm(BB* block, NODE* tree) {
    BB* x = target_of(true_leaf(tree));
    BB* y = target_of(false_leaf(tree));
    if (x->dfn > y->dfn) std::swap(x, y);
    if (x == y || !has_one(x->preds) || only_of(x->preds) != block || !has_one(x->succs) ||
        only_of(x->succs) != y)
        return false;
    if (!has_two(y->preds) || !is_empty_arm(x)) return false;
    if (!change(SITE_empty_arm, "{} of {}", x, tree)) return false;
    set_target(true_leaf(tree), label_of(x));
    set_target(false_leaf(tree), label_of(x));
    recompute_successors(block);
    return true;
}

// A loop of one block goes on when its condition holds.
bool turn_own_loop(BB* block, NODE* tree) {
    if (target_of(false_leaf(tree)) != block || target_of(true_leaf(tree)) == block) return false;
    if (!has_complement(tree->left)) return refuse(SITE_own_loop, "the condition has no opposite");
    if (!change(SITE_own_loop, "{} is inverted", tree) || !invert_if(tree)) return false;
    recompute_successors(block);
    return true;
}

// --- 2: nested tests, late ---

bool is_short_enough(const NODE* a, const NODE* b) {
    return operator_count(a, LIMITS.merged_condition) + operator_count(b, LIMITS.merged_condition) <
           LIMITS.merged_condition;
}

// The second test, when it is all there is in `inner` and nothing else leads there.
NODE* nested_test(const BB* block, const BB* inner) {
    if (inner == block || !inner->stmts || inner->stmts != inner->last_stmt ||
        ending_tree(inner)->op != OP_IF)
        return nullptr;
    if (!has_one(inner->preds) || only_of(inner->preds) != block || inner->loop != block->loop)
        return nullptr;
    NODE* test = ending_tree(inner);
    return target_of(true_leaf(test)) == inner || target_of(false_leaf(test)) == inner ? nullptr : test;
}

bool may_nest_tests(const NODE* tree, const BB* inner, const NODE* test, bool inverted) {
    if (!is_short_enough(tree->left, test->left))
        return refuse(SITE_nested_test, "the condition would be too long");
    if (inverted && !has_complement(test->left))
        return refuse(SITE_nested_test, "the inner test has no opposite");
    return change(SITE_nested_test, "{} takes over the test of {}: {}", tree->left, inner, test->left);
}

// outer: if (a) inner else Y;  inner: if (b) Z else Y   becomes   if (a && b) Z else Y, and with exchanged
// targets likewise for ||. The inner block loses its predecessor and is deleted in this sweep.
bool merge_nested_test(BB* block, NODE* tree) {
    for (const bool over_true : {true, false}) {
        NODE* shared = over_true ? false_leaf(tree) : true_leaf(tree);
        BB* inner = target_of(over_true ? true_leaf(tree) : false_leaf(tree));
        NODE* test = nested_test(block, inner);
        if (!test || target_of(shared) == inner) continue;
        // The inner test must lead to the shared target on the side that the outer one does; it may be turned
        // round.
        const bool same_side = target_of(over_true ? false_leaf(test) : true_leaf(test)) == target_of(shared);
        const bool other_side =
            target_of(over_true ? true_leaf(test) : false_leaf(test)) == target_of(shared);
        if ((!same_side && !other_side) || !may_nest_tests(tree, inner, test, !same_side)) continue;
        if (!same_side) invert_if(test);
        NODE* onward = over_true ? true_leaf(test) : false_leaf(test);
        tree->left = new_binary(over_true ? OP_ANDAND : OP_OROR, type_package()->int_type(), tree->left,
                                copy_tree(test->left));
        set_target(over_true ? true_leaf(tree) : false_leaf(tree), label_of(target_of(onward)));
        trees_changed();
        recompute_successors(block);
        return true;
    }
    return false;
}

bool rewrite_if(BB* block, NODE* tree, int aggressive) {
    if (decide_constant(block, tree) || join_equal_targets(block, tree) || drop_empty_arm(block, tree))
        return true;
    if (turn_own_loop(block, tree)) return true;
    return aggressive && merge_nested_test(block, tree);
}

// --- 2: SWITCH ---

// The cases in the order of the list; the last one is written last.
struct SWITCH_VIEW {
    std::vector<NODE*> cases;      // CASE nodes
    NODE* default_entry = nullptr; // DEFAULT node, or null
};

SWITCH_VIEW view_of(const NODE* tree) {
    SWITCH_VIEW view;
    const auto take = [&](NODE* entry) {
        if (entry->op == OP_CASE)
            view.cases.push_back(entry);
        else if (entry->op == OP_DEFAULT)
            view.default_entry = entry;
    };
    NODE* list = tree->right;
    for (; list && list->op == OP_COMMA; list = list->left) take(list->right);
    if (list) take(list);
    std::reverse(view.cases.begin(), view.cases.end());
    return view;
}

BB* case_target(const NODE* entry) { return target_of(entry->right); }

NODE* leaf_of_case(const SWITCH_VIEW& view, INT96 value) {
    const NODE* chosen = nullptr;
    for (const NODE* entry : view.cases)
        if (entry->left->value() == value) chosen = entry;
    if (chosen) return chosen->right;
    return view.default_entry ? view.default_entry->left : nullptr;
}

bool switch_on_constant(BB* block, NODE* tree) {
    if (tree->left->op != OP_ICON) return false;
    NODE* taken = leaf_for_value(tree, tree->left->value());
    if (!taken) return false;
    if (!change(SITE_fold_switch, "{} leads to {}", tree->left, target_of(taken))) return false;
    become_branch(block, tree->left, taken);
    return true;
}

bool switch_to_one_target(BB* block, NODE* tree, const SWITCH_VIEW& view) {
    if (!view.default_entry) return false;
    BB* target = target_of(view.default_entry->left);
    if (!std::all_of(view.cases.begin(), view.cases.end(),
                     [&](const NODE* entry) { return case_target(entry) == target; }))
        return false;
    if (!change(SITE_useless_switch, "{} always leads to {}", tree->left, target)) return false;
    become_branch(block, tree->left, view.default_entry->left);
    return true;
}

// Cases that lead where DEFAULT leads say nothing.
bool drop_default_cases(BB* block, NODE* tree, SWITCH_VIEW& view) {
    if (!view.default_entry) return false;
    BB* target = target_of(view.default_entry->left);
    const auto says_nothing = [&](const NODE* entry) { return case_target(entry) == target; };
    const auto dropped = std::count_if(view.cases.begin(), view.cases.end(), says_nothing);
    if (!dropped || !change(SITE_default_cases, "{} of them lead to {}", dropped, target)) return false;
    const auto end = std::stable_partition(view.cases.begin(), view.cases.end(),
                                           [&](const NODE* entry) { return !says_nothing(entry); });
    std::for_each(end, view.cases.end(), [](NODE* entry) { erase_tree(entry); });
    view.cases.erase(end, view.cases.end());
    // The cells of the list are made anew; the cases and the DEFAULT go on living in it.
    for (NODE* list = tree->right; list && list->op == OP_COMMA;) {
        NODE* next = list->left;
        erase_node(list);
        list = next;
    }
    NODE* list = nullptr;
    for (NODE* entry : view.cases) list = list ? new_binary(OP_COMMA, void_type(), list, entry) : entry;
    tree->right = list ? new_binary(OP_COMMA, void_type(), list, view.default_entry) : view.default_entry;
    recompute_successors(block);
    return true;
}

// The cases are the values low..high, all of them, and lead to one block.
struct CASE_RANGE {
    INT96 low;
    INT96 high;
    BB* target;
};

std::optional<CASE_RANGE> one_range(const SWITCH_VIEW& view) {
    if (view.cases.empty() || !view.default_entry) return std::nullopt;
    CASE_RANGE range{view.cases[0]->left->value(), view.cases[0]->left->value(), case_target(view.cases[0])};
    for (const NODE* entry : view.cases) {
        if (case_target(entry) != range.target) return std::nullopt;
        const INT96 value = entry->left->value();
        if (int96_compare(value, range.low) < 0) range.low = value;
        if (int96_compare(value, range.high) > 0) range.high = value;
    }
    const INT96 width = int96_subtract(range.high, range.low);
    if (width != int96_unsigned(static_cast<uint32_t>(view.cases.size() - 1)))
        return std::nullopt; // no value comes twice
    return range;
}

// x == low, or low <= x && x <= high as the unsigned x - low <= high - low; the type has an unsigned one of
// its size at hand, or is int.
NODE* range_condition(NODE* selector, const CASE_RANGE& range) {
    TYPE* type = selector->type;
    TYPE* int_type = type_package()->int_type();
    if (range.low == range.high) return new_binary(OP_EQ, int_type, selector, new_icon(type, range.low));
    TYPE* unsigned_type = type_is_signed(type) ? type_package()->unsigned_int_type() : type;
    NODE* distance = new_binary(OP_MINUS, type, selector, new_icon(type, range.low));
    if (type != unsigned_type) distance = new_unary(OP_SCONV, unsigned_type, distance);
    return new_binary(OP_ULE, int_type, distance,
                      new_icon(unsigned_type, int96_subtract(range.high, range.low)));
}

bool can_be_compared(const NODE* selector, const CASE_RANGE& range) {
    return range.low == range.high || !type_is_signed(selector->type) ||
           type_bits(selector->type) == type_bits(type_package()->unsigned_int_type());
}

bool compare_instead(BB* block, NODE* tree, const SWITCH_VIEW& view) {
    const std::optional<CASE_RANGE> range = one_range(view);
    if (!range) return false;
    if (!can_be_compared(tree->left, *range))
        return refuse(SITE_switch_range, "no unsigned type of the selector's size is at hand");
    if (!change(SITE_switch_range, "{} for {}, else {}", tree->left, range->target,
                target_of(view.default_entry->left)))
        return false;
    NODE* yes = new_label_leaf(0);
    NODE* no = new_label_leaf(0);
    set_target(yes, label_of(range->target));
    set_target(no, label_of(target_of(view.default_entry->left)));
    NODE* test = new_binary(OP_IF, void_type(), range_condition(tree->left, *range),
                            new_binary(OP_COMMA, void_type(), yes, no));
    replace_ending(block, test);
    recompute_successors(block);
    return true;
}

NODE* comma(NODE* list, NODE* entry) { return list ? new_binary(OP_COMMA, void_type(), list, entry) : entry; }

// switch (v) {case c: X; case d: Y; default: Z}   becomes   if (v == c) X else N, where
// N: switch (v) {case d: Y; default: Z}
bool peel_case(BB* block, NODE* tree, const SWITCH_VIEW& view) {
    if (view.cases.size() < 2 || view.cases.size() > LIMITS.compared_cases || !view.default_entry)
        return false;
    if (!is_plain_target(tree->left)) return refuse(SITE_peel_case, "the selector is no plain variable");
    if (!has_room_for_block()) return refuse(SITE_peel_case, "no further block can be numbered");
    if (!change(SITE_peel_case, "{} == {}", tree->left, view.cases[0]->left)) return false;
    NODE* list = nullptr;
    for (size_t i = 1; i < view.cases.size(); ++i) list = comma(list, copy_tree(view.cases[i]));
    NODE* rest =
        new_binary(OP_SWITCH, void_type(), copy_tree(tree->left), comma(list, copy_tree(view.default_entry)));
    STMT* cell = new_stmt(rest, block->last_stmt->position, nullptr);
    BB* behind = insert_block(block, cell, cell);
    recompute_successors(behind);
    NODE* first = view.cases[0];
    NODE* yes = new_label_leaf(0);
    NODE* no = new_label_leaf(0);
    set_target(yes, label_of(case_target(first)));
    set_target(no, label_of(behind));
    NODE* condition = new_binary(OP_EQ, type_package()->int_type(), tree->left,
                                 new_icon(tree->left->type, first->left->value()));
    replace_ending(block,
                   new_binary(OP_IF, void_type(), condition, new_binary(OP_COMMA, void_type(), yes, no)));
    recompute_successors(block);
    return true;
}

bool rewrite_switch(BB* block, NODE* tree) {
    SWITCH_VIEW view = view_of(tree);
    if (switch_on_constant(block, tree) || switch_to_one_target(block, tree, view)) return true;
    if (drop_default_cases(block, tree, view)) return true;
    return compare_instead(block, tree, view) || peel_case(block, tree, view);
}

} // namespace

// From the last block to the first, which is the order in which predecessors were gathered: so each is found
// at once where it is taken out.
bool thread_labels() {
    bool changed = false;
    BB* entry = flow_graph.bb_list;
    for (BB* block = entry->rdflink;; block = block->rdflink) {
        if (block->stmts && has_several(block->succs)) changed |= thread_labels_of(block);
        if (block == entry) return changed;
    }
}

void forget_comparisons() { comparisons.clear(); }

NODE* leaf_for_value(const NODE* ending, INT96 value) {
    if (ending->op == OP_IF) return int96_is_zero(value) ? false_leaf(ending) : true_leaf(ending);
    return leaf_of_case(view_of(ending), value);
}

bool fold_decided_ending(BB* block) {
    NODE* tree = ending_tree(block);
    stand_at(block);
    if (tree->op == OP_IF) return decide_constant(block, tree);
    return tree->op == OP_SWITCH && switch_on_constant(block, tree);
}

bool simplify_ending(BB* block, int aggressive) {
    bool changed = false;
    stand_at(block);
    if (ending_tree(block)->op == OP_IF) {
        changed |= simplify_condition(block);
    } else if (ending_tree(block)->op == OP_SWITCH) {
        ending_tree(block)->left = simplify_tree(ending_tree(block)->left);
        trees_changed();
    } else {
        return false;
    }
    changed |= recompute_successors(block);
    NODE* tree = ending_tree(block);
    return (tree->op == OP_IF ? rewrite_if(block, tree, aggressive) : rewrite_switch(block, tree)) || changed;
}

} // namespace pelorus
