// Checks of statement trees; see validate_tree.h.
//
// Phases: every node by itself (subtrees, then the operands' types and places, then their values), the shape
// of lists, the statement as a whole. A node that fails is not looked at any further, so that one mistake
// makes one message, but what hangs on it is.
#include "ir/validate_tree.h"

#include "ir/effects.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/trace.h"

namespace pelorus {

namespace {

bool expect_type(bool (*category)(const TYPE*), const char* message, const NODE* node,
                 const TREE_PLACE& place) {
    if (!expect_operator(node, 0, place)) return false;
    return (node->type && category(node->type)) || report_invalid_node(RULE_N4, message, node, place);
}

} // namespace

const NODE* without_versions(const NODE* node) {
    while (node && (node->op == OP_SSA_DEF || node->op == OP_SSA_CHI || node->op == OP_SSA_USE ||
                    node->op == OP_SSA_MU))
        node = node->left;
    return node;
}

bool report_invalid_node(RULE rule, const char* message, const NODE* node, const TREE_PLACE& place) {
    if (place.sink) place.sink->take(place.sink->context, {rule, message, node, place.stmt, place.bb});
    if (!debug_on()) return false;
    trace("\n +++++ INVALID NODE FOUND BY validate_stmts()\n");
    if (place.bb) trace(" in BB%d\n", place.bb);
    trace(" +++++\t%s\n", message);
    trace("\tINVALID NODE: %s\n", tree2infix(node));
    trace("\tWITHIN STMT:  %s\n", tree2infix(place.stmt));
    return false;
}

bool check_arity(const NODE* node, const TREE_PLACE& place) {
    if (!node) return false;
    if (node->op == OP_SSA_MU)
        return !node->right || report_invalid_node(RULE_N1, "Node has too many subtrees", node, place);
    const int arity = opcode_arity(node->op);
    if (arity < 0) return report_invalid_node(RULE_N2, "Invalid node operator", node, place);
    if (node->op == OP_UMULT && node->left) return true;
    if (!node->left && node->right)
        return report_invalid_node(RULE_N1, "node->left == NULL, node->right != NULL", node, place);
    const int present = (node->left ? 1 : 0) + (node->right ? 1 : 0);
    if (present == arity) return true;
    return report_invalid_node(
        RULE_N1, present < arity ? "Node has too few subtrees" : "Node has too many subtrees", node, place);
}

bool expect_operator(const NODE* node, int32_t op, const TREE_PLACE& place, RULE rule) {
    if (node && (op == 0 || node->op == op)) return true;
    const char* message = !node                        ? "Unexpected NULL tree node"
                          : opcode_arity(node->op) < 0 ? "Invalid operator in tree node"
                                                       : "Unexpected operator in tree node";
    report_invalid_node(rule, message, node, place);
    if (op) trace("\tExpected operator: %s\n", opcode_spelling(op));
    if (place.bb) trace("\tin BB%d\n", place.bb);
    if (debug_on()) trace("\tin statement: %s\n", tree2infix(place.stmt));
    return false;
}

bool expect_csu_type(const NODE* node, const TREE_PLACE& place) {
    return expect_type(type_is_csu, "Tree must have CSU type", node, place);
}
bool expect_scalar_type(const NODE* node, const TREE_PLACE& place) {
    return expect_type(type_is_scalar, "Tree must have scalar type", node, place);
}
bool expect_pointer_type(const NODE* node, const TREE_PLACE& place) {
    return expect_type(type_is_pointer, "Tree must have pointer type", node, place);
}
bool expect_arithmetic_type(const NODE* node, const TREE_PLACE& place) {
    return expect_type(type_is_arithmetic, "Tree must have arithmetic type", node, place);
}
bool expect_integer_type(const NODE* node, const TREE_PLACE& place) {
    return expect_type(type_is_integer, "Tree must have integer type", node, place);
}

// --- Operands ---

namespace {

using EXPECT_TYPE = bool (*)(const NODE* node, const TREE_PLACE& place);

// What an operator asks of its own type and of its operands' types; null for nothing.
struct OPERAND_TYPES {
    EXPECT_TYPE own;
    EXPECT_TYPE left;
    EXPECT_TYPE right;
};

OPERAND_TYPES operand_types(int32_t op) {
    if (opcode_is_relation(op)) return {expect_integer_type, expect_scalar_type, expect_scalar_type};
    switch (op) {
    case OP_PLUS:
    case OP_MINUS: return {expect_scalar_type, expect_scalar_type, expect_scalar_type};
    case OP_MULT:
    case OP_DIV: return {expect_arithmetic_type, expect_arithmetic_type, expect_arithmetic_type};
    case OP_MOD:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB:
    case OP_SLL:
    case OP_SRL: return {expect_integer_type, expect_integer_type, expect_integer_type};
    case OP_NOTB: return {expect_integer_type, expect_integer_type, nullptr};
    case OP_UMINUS:
    case OP_ABS:
    case OP_SQRT:
    case OP_SQR:
    case OP_RECIP: return {expect_arithmetic_type, expect_arithmetic_type, nullptr};
    case OP_ANDAND:
    case OP_OROR: return {expect_integer_type, expect_scalar_type, expect_scalar_type};
    case OP_EXCLAIM: return {expect_integer_type, expect_scalar_type, nullptr};
    case OP_ASG:
    case OP_PLUSASG:
    case OP_MINUSASG:
    case OP_PLUSPLUS:
    case OP_MINMIN: return {nullptr, expect_scalar_type, expect_scalar_type};
    case OP_MULTASG:
    case OP_DIVASG: return {nullptr, expect_arithmetic_type, expect_arithmetic_type};
    case OP_MODASG:
    case OP_ANDBASG:
    case OP_ORBASG:
    case OP_XORBASG:
    case OP_SLLASG:
    case OP_SRLASG: return {nullptr, expect_integer_type, expect_integer_type};
    case OP_STASG: return {nullptr, expect_csu_type, expect_csu_type};
    case OP_STARG: return {nullptr, expect_csu_type, nullptr};
    case OP_UMULT:
    case OP_STREF:
    case OP_CALL:
    case OP_UCALL: return {nullptr, expect_pointer_type, nullptr};
    case OP_STDOT: return {nullptr, expect_csu_type, nullptr};
    case OP_UAND:
    case OP_ACONV: return {expect_pointer_type, nullptr, nullptr};
    case OP_PCONV:
    case OP_ISP2CHAR: return {expect_scalar_type, expect_scalar_type, nullptr};
    case OP_QUEST:
    case OP_IF:
    case OP_ASSERT:
    case OP_NASSERT: return {nullptr, expect_scalar_type, nullptr};
    case OP_SWITCH: return {nullptr, expect_integer_type, nullptr};
    default: return {nullptr, nullptr, nullptr};
    }
}

// A conversion to void drops a value of any type.
bool check_conversion(const NODE* node, const TREE_PLACE& place) {
    if (node->type && type_is_void(node->type)) return true;
    return expect_arithmetic_type(node, place) && expect_scalar_type(node->left, place);
}

bool check_operand_types(const NODE* node, const TREE_PLACE& place) {
    if (node->op == OP_SCONV) return check_conversion(node, place);
    const OPERAND_TYPES types = operand_types(node->op);
    return (!types.own || types.own(node, place)) &&
           (!types.left || types.left(without_versions(node->left), place)) &&
           (!types.right || types.right(without_versions(node->right), place));
}

bool check_targets(const NODE* targets, const TREE_PLACE& place) {
    return expect_operator(targets, OP_COMMA, place) && expect_operator(targets->left, OP_LABEL, place) &&
           expect_operator(targets->right, OP_LABEL, place);
}

// Operands of which the operator itself matters.
bool check_operand_operators(const NODE* node, const TREE_PLACE& place) {
    switch (node->op) {
    case OP_STDOT:
    case OP_STREF: return expect_operator(node->right, OP_FIELD, place);
    case OP_QUEST: return expect_operator(node->right, OP_COLON, place);
    case OP_IF: return check_targets(node->right, place);
    case OP_BRANCH: return expect_operator(node->left, OP_LABEL, place);
    case OP_SWITCH: return check_switch_list(node->right, place);
    case OP_RETURN:
    case OP_URETURN:
    case OP_ARGREF: return expect_operator(without_versions(node->left), OP_NAME, place);
    default: return true;
    }
}

bool check_node(const NODE* node, const TREE_PLACE& place) {
    return check_arity(node, place) && check_operand_types(node, place) &&
           check_operand_operators(node, place) && check_values(node, place);
}

} // namespace

int validate_expression(const NODE* tree, const TREE_PLACE& place) {
    int failures = 0;
    for_each_node(tree, [&](const NODE* node) { failures += !check_node(node, place); });
    return failures;
}

// --- Lists ---

namespace {

bool check_switch_item(const NODE* item, bool& has_default, const TREE_PLACE& place) {
    if (!item) return expect_operator(item, OP_CASE, place, RULE_U9);
    if (item->op == OP_COMMA) return report_invalid_node(RULE_U9, "Right-towered COMMA tree", item, place);
    if (item->op == OP_DEFAULT) {
        if (has_default) return report_invalid_node(RULE_U9, "Multiple DEFAULTs for SWITCH", item, place);
        has_default = true;
        return expect_operator(item->left, OP_LABEL, place, RULE_U9);
    }
    return expect_operator(item, OP_CASE, place, RULE_U9) &&
           expect_operator(item->left, OP_ICON, place, RULE_U9) &&
           expect_operator(item->right, OP_LABEL, place, RULE_U9);
}

bool check_parallel_assignment(const NODE* element, const TREE_PLACE& place) {
    const NODE* assignment = without_versions(element);
    const auto improper = [&] {
        return report_invalid_node(RULE_U5, "Improper PCOMMA tree", element, place);
    };
    if (!assignment || (assignment->op != OP_ASG && assignment->op != OP_STASG)) return improper();
    const NODE* target = without_versions(assignment->left);
    if (!target || target->op != OP_NAME || !target->symbol()) return improper();
    if (target->symbol()->level != 2) return true;
    return copied_parameter(element) || improper();
}

} // namespace

bool check_switch_list(const NODE* list, const TREE_PLACE& place) {
    if (!list) return report_invalid_node(RULE_U9, "Missing SWITCH case", place.stmt, place);
    bool has_default = false;
    for (; list->op == OP_COMMA; list = list->left) {
        if (!check_switch_item(list->right, has_default, place)) return false;
        if (!list->left) return report_invalid_node(RULE_U9, "Missing SWITCH case", list, place);
    }
    return check_switch_item(list, has_default, place);
}

bool check_pcomma(const NODE* tree, const TREE_PLACE& place) {
    for (; tree && tree->op == OP_PCOMMA; tree = tree->left) {
        if (tree->right && tree->right->op == OP_PCOMMA)
            return report_invalid_node(RULE_U5, "Right-towered PCOMMA tree", tree, place);
        if (!check_parallel_assignment(tree->right, place)) return false;
    }
    return check_parallel_assignment(tree, place);
}

// --- Statements ---

// The operator at the top may be one that only joins or drops what has the effect, as in "c ? f() : g()".
bool check_side_effect(const NODE* stmt, const TREE_PLACE& place) {
    if (tree_has_effects(stmt)) return true;
    return report_invalid_node(RULE_U7, "Top-level operator has no side effects", stmt, place);
}

int validate_stmt(const NODE* stmt, int bb, bool first_of_entry, const FAULT_SINK* sink) {
    const TREE_PLACE place{stmt, bb, sink};
    if (!expect_operator(stmt, 0, place)) return 1;
    int failures = validate_expression(stmt, place);
    failures += opcode_arity(stmt->op) >= 0 && !check_side_effect(stmt, place);
    failures += first_of_entry && stmt->op == OP_PCOMMA && !check_pcomma(stmt, place);
    return failures;
}

} // namespace pelorus
