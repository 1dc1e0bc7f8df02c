// One assignment that reads what another one computes; see assignments.h.
//
//     x = e; y = x + 1;      y = e + 1;        x is not read again, and e is evaluated just as it was
//     x = e; if (x) ...      if (e) ...
//
// The value moves past nothing but the evaluation of the next statement's operands, so that it must suffice
// that those have no effects. A value with effects of its own, a call say, moves only to where it is the
// first thing to be evaluated, and a volatile access counts as an effect.
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct COMBINING {
    int32_t most_operators = 24; // of the result: larger trees take registers and hide what is equal in them
};
constexpr COMBINING COMBINING_LIMITS;

// The NAMEs of a variable that a statement reads: how many, and where the last one found hangs.
struct USES {
    NODE** place = nullptr;
    int count = 0;
    bool is_lent = false; // a call reads the variable by its address
};

USES uses_of(NODE* tree, const SYMBOL* symbol) {
    USES uses;
    for_each_node(tree, [&](NODE* node) {
        for (NODE** operand : {&node->left, &node->right}) {
            const bool target = operand == &node->left && node->op == OP_ASG;
            if (target || !*operand || (*operand)->op != OP_NAME || (*operand)->symbol() != symbol) continue;
            uses.place = operand;
            uses.is_lent |= takes_address(node);
            ++uses.count;
        }
    });
    return uses;
}

// Operators below the statement's root may have effects only where none could tell the order.
bool operands_have_effects(const NODE* tree) {
    return (tree->left && tree->left->op != OP_NAME && tree_has_effects(tree->left)) ||
           (tree->right && tree_has_effects(tree->right));
}

bool holds_no_operands(int32_t op) {
    return op == OP_ASM || op == OP_PPRAGMA || op == OP_ASSERT || op == OP_NASSERT || op == OP_URETURN;
}

// Where in the next statement the value may go; null and a refusal when it may not.
NODE** place_for(const NODE* first, NODE* next) {
    const SYMBOL* variable = first->left->symbol();
    if (holds_no_operands(next->op)) return nullptr;
    const USES uses = uses_of(next, variable);
    if (uses.count != 1) {
        refuse(SITE_combine_assignments, "the variable is read more than once", "{}", next);
        return nullptr;
    }
    if (uses.is_lent) {
        refuse(SITE_combine_assignments, "a call gets the variable's address", "{}", next);
        return nullptr;
    }
    if (uses.place == &next->left && opcode_assigns(next->op)) return nullptr;
    if (operands_have_effects(next)) {
        refuse(SITE_combine_assignments, "effects stand between the two", "{}", next);
        return nullptr;
    }
    const bool tested = uses.place == &next->left && (next->op == OP_IF || next->op == OP_SWITCH);
    const bool alone = tested || (uses.place == &next->right && next->left && next->left->op == OP_NAME);
    if (tree_has_effects(first->right) && !alone) {
        refuse(SITE_combine_assignments, "the value has effects", "{}", first);
        return nullptr;
    }
    return uses.place;
}

} // namespace

bool combine_into_next(BB* block, STMT* first) {
    STMT* next = first->next;
    NODE** place = place_for(first->tree, next->tree);
    if (!place) return false;
    if (operator_count(first->tree, COMBINING_LIMITS.most_operators) +
            operator_count(next->tree, COMBINING_LIMITS.most_operators) >
        COMBINING_LIMITS.most_operators)
        return refuse(SITE_combine_assignments, "the tree would be too large", "{}", next->tree);
    NODE* name = *place;
    NODE* value = first->tree->right;
    *place = converted_value(value, name->type);
    NODE* result = *place == value ? nullptr : *place;
    std::string text = decisions.texts ? tree_text(next->tree) : "";
    *place = name;
    if (!change_exactly(SITE_combine_assignments,
                        "\n\tCombining the assignments {}\n\t......................and {}\n"
                        "\t...................to get {}\n",
                        first->tree, next->tree, text)) {
        if (result) erase_node(result);
        return false;
    }
    *place = result ? result : value;
    erase_node(name);
    first->tree->right = nullptr;
    erase_tree(first->tree);
    next->tree = simplify_tree(next->tree);
    if (next != block->last_stmt) next->tree = reduce_to_effects(next->tree);
    remove_cell(block, first);
    return true;
}

} // namespace pelorus
