// Assignments inside expressions; see assignments.h.
//
//     y = (x = f()) + 1;       x = f(); y = x + 1;
//     if ((x -= 2) > 0) ...    x -= 2; if (x > 0) ...
//
// Only an assignment that is evaluated first in its statement can stand in front of it without a further
// thought. So the walk goes down to what is evaluated first, past constants and addresses of variables, and
// stops at anything else.
#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/tree_text.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// Its evaluation reads nothing, so that it does not matter when it happens.
bool is_fixed(const NODE* tree) {
    if (tree->op == OP_ICON || tree->op == OP_FCON || tree->op == OP_SCON || tree->op == OP_FIELD)
        return true;
    return tree->op == OP_UAND && !behind_address(tree);
}

bool can_stand_alone(const NODE* node) {
    if (!node->left || !names_candidate(node->left)) return false;
    if (node->op == OP_ASG) return true;
    return plain_operator(node->op) != OP_NOP && node->op != OP_PLUSPLUS && node->op != OP_MINMIN;
}

// The operand that is evaluated first, null when there is none that can hold an assignment.
NODE** first_operand(NODE* node) {
    switch (node->op) {
    case OP_IF:
    case OP_SWITCH:
    case OP_ANDAND:
    case OP_OROR:
    case OP_QUEST: return &node->left;
    case OP_RETURN: return &node->right;
    case OP_CALL: return named_callee(node) ? &node->right : &node->left;
    case OP_BRANCH:
    case OP_URETURN:
    case OP_PCOMMA:
    case OP_ASSERT:
    case OP_NASSERT: return nullptr;
    default: break;
    }
    if (!node->left) return nullptr;
    const bool skip =
        (opcode_assigns(node->op) && node->left->op == OP_NAME) || (node->right && is_fixed(node->left));
    return skip ? &node->right : &node->left;
}

// The assignment below the root that is evaluated first in the statement.
NODE** embedded_in(NODE* statement) {
    if (opcode_arity(statement->op) <= 0 || !opcode_fact(statement->op).name) return nullptr;
    for (NODE** place = first_operand(statement); place && *place; place = first_operand(*place)) {
        if (can_stand_alone(*place)) return place;
        if (opcode_arity((*place)->op) <= 0 || !opcode_fact((*place)->op).name) return nullptr;
        if ((*place)->op == OP_UAND || (*place)->op == OP_ACONV) return nullptr;
    }
    return nullptr;
}

// An operator that reads its left operand may not find the new value there when it should find the old one.
bool split_first(BB* block, STMT* cell) {
    NODE** place = embedded_in(cell->tree);
    if (!place || !change(SITE_embedded_assignment, "{} out of {}", *place, cell->tree)) return false;
    NODE* assignment = *place;
    NODE* name = copy_tree(assignment->left);
    set_type(name, assignment->type);
    *place = name;
    insert_before(block, cell, assignment, cell->position);
    return true;
}

} // namespace

bool split_embedded_assignments(BB* block) {
    const CHANGE_MARK mark;
    for (STMT* cell = block->stmts; cell; cell = cell->next) {
        stand_at(block, cell);
        while (split_first(block, cell)) cell = cell->next;
    }
    return mark.any();
}

} // namespace pelorus
