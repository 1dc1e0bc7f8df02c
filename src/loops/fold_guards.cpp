// Folding the guards of loops.
//
// A guard is a test in front of a loop, of which one way leads to the preheader. Its answer may be known:
//
//   - from a pragma in front of it that says that the loop is always run
//   - from a test that was passed on every way here and compares the same values, which have not changed
//     since:        if (n > 0) { ...; if (n != 0) do ... while (...); }
//
// What follows from the values of variables at the guard itself is copy propagation's. The chain of tests
// that dominate a guard is looked through to a fixed length.
#include <optional>

#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/effects.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "loops/definitions.h"
#include "loops/transforms.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr int TESTS_LOOKED_AT = 50;

// The test in front of the loop; null when there is none.
BB* guard_of(const LOOPREC* loop) {
    const BB* block = loop->preheader;
    if (!has_one(block->preds)) return nullptr;
    BB* before = only_of(block->preds);
    const bool is_test = ending_tree(before)->op == OP_IF && has_two(before->succs);
    return is_test && !loop_contains(loop, before) ? before : nullptr;
}

bool leads_when_true(const BB* test, const BB* successor) {
    return target_of(ending_tree(test)->right->left) == successor;
}

// --- What a relation says of another one of the same values ---

// Which of less, equal and greater the relation holds for.
unsigned orders_of(int32_t op) {
    switch (op) {
    case OP_EQ: return 2;
    case OP_NEQ: return 5;
    case OP_LT:
    case OP_ULT: return 1;
    case OP_LE:
    case OP_ULE: return 3;
    case OP_GT:
    case OP_UGT: return 4;
    default: return 6;
    }
}

bool is_order(int32_t op) { return op != OP_EQ && op != OP_NEQ; }

// Two orders must read their operands alike; equality is the same either way.
bool read_alike(int32_t a, int32_t b) {
    return !is_order(a) || !is_order(b) || (a >= OP_ULE) == (b >= OP_ULE);
}

// Whether `asked` holds when `known` does; nothing when it depends.
std::optional<bool> follows_from(int32_t known, int32_t asked) {
    if (!read_alike(known, asked)) return std::nullopt;
    const unsigned common = orders_of(known) & orders_of(asked);
    if (common == orders_of(known)) return true;
    if (common == 0) return false;
    return std::nullopt;
}

std::optional<bool> answer_from(const NODE* known, bool holds, const NODE* asked) {
    int32_t op = holds ? known->op : opcode_fact(known->op).complement;
    if (equal_trees(known->left, asked->left) && equal_trees(known->right, asked->right))
        return follows_from(op, asked->op);
    op = opcode_fact(op).swapped;
    if (equal_trees(known->left, asked->right) && equal_trees(known->right, asked->left))
        return follows_from(op, asked->op);
    return std::nullopt;
}

// --- Whether the values are the same in both places ---

bool is_comparable(const NODE* condition) {
    return opcode_is_relation(condition->op) && !type_is_floating(condition->left->type) &&
           operator_count(condition, 8) <= 8 && !tree_has_effects(condition);
}

// All assignments of the variable happen before the test on every way: the last of them is older than the
// last run of the test.
bool is_older_than(const LOOP_DEFINITIONS& definitions, const SYMBOL* symbol, const BB* test) {
    if (symbol->candidate < 0) return false;
    const auto found = definitions.of.find(symbol);
    if (found == definitions.of.end()) return true;
    for (const uint32_t index : found->second)
        if (!dominates(definitions.all[index].block, test)) return false;
    return true;
}

bool keeps_its_value(const LOOP_DEFINITIONS& definitions, const NODE* tree, const BB* test) {
    return !any_node(tree, [&](const NODE* node) {
        switch (node->op) {
        case OP_NAME: return !node->symbol() || !is_older_than(definitions, node->symbol(), test);
        case OP_UMULT:
        case OP_STREF:
        case OP_STDOT: return true;
        default: return false;
        }
    });
}

// --- Folding ---

struct KNOWN {
    const NODE* relation = nullptr; // that was tested; null: the pragma
    bool answer = false;            // of the guard
};

// The guard tests the same as the end of the loop: it was the loop's own test at its top.
bool is_test_of(const LOOPREC* loop, const BB* guard) {
    const NODE* test = ending_tree(loop->tail);
    return test->op == OP_IF &&
           leads_when_true(guard, loop->preheader) == leads_when_true(loop->tail, loop->head) &&
           equal_trees(test->left, ending_tree(guard)->left);
}

std::optional<KNOWN> known_answer(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const BB* guard) {
    const NODE* asked = ending_tree(guard)->left;
    if (loop->pragmas.must_minimum > 0 && loop->pragmas.before_guard && is_test_of(loop, guard))
        return KNOWN{nullptr, leads_when_true(guard, loop->preheader)};
    if (!is_comparable(asked)) return std::nullopt;
    const BB* below = guard;
    for (int i = 0; i < TESTS_LOOKED_AT; ++i) {
        const BB* test = immediate_dominator(below);
        if (!test) return std::nullopt;
        const bool passed = has_one(below->preds) && only_of(below->preds) == test && has_two(test->succs) &&
                            ending_tree(test)->op == OP_IF;
        if (passed && is_comparable(ending_tree(test)->left)) {
            const NODE* relation = ending_tree(test)->left;
            const std::optional<bool> answer = answer_from(relation, leads_when_true(test, below), asked);
            if (answer && keeps_its_value(definitions, asked, test)) return KNOWN{relation, *answer};
        }
        below = test;
    }
    return std::nullopt;
}

bool fold_guard(const LOOP_DEFINITIONS& definitions, LOOPREC* loop) {
    const BB* guard = guard_of(loop);
    if (!guard || ending_tree(guard)->left->op == OP_ICON) return false;
    const std::optional<KNOWN> known = known_answer(definitions, loop, guard);
    if (!known) return false;
    NODE* const tree = ending_tree(guard);
    if (tree_has_effects(tree->left)) return refuse(SITE_fold_guard, "the condition has effects");
    stand_at(guard);
    const std::string source = known->relation ? tree_text(known->relation) : "MUST_ITERATE";
    if (!change_exactly(SITE_fold_guard, "\tUsing {}\n\tto fold loop guard for loop #{}:\n\t\t{}\n", source,
                        loop->number, tree))
        return false;
    TYPE* const type = tree->left->type;
    erase_tree(tree->left);
    tree->left =
        new_icon(type_is_pointer(type) ? type_package()->int_type() : type, int96_signed(known->answer));
    trees_changed();
    return true;
}

} // namespace

bool fold_guards(LOOPREC* root) {
    std::vector<LOOPREC*> guarded;
    for_each_loop(root, [&](LOOPREC* loop) {
        if (loop != root && guard_of(loop)) guarded.push_back(loop);
    });
    if (guarded.empty()) return false;
    build_facts(facts_of(FACT_candidates, FACT_dominators, FACT_dominator_sets));
    const LOOP_DEFINITIONS definitions = find_definitions(root);
    bool changed = false;
    for (LOOPREC* loop : guarded) changed |= fold_guard(definitions, loop);
    return changed;
}

} // namespace pelorus
