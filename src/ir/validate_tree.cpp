// Checks of statement trees; see validate_tree.h.
//
// Phases: every node by itself (subtrees, then the operands' types and places, then their values), the shape
// of lists, the statement as a whole. A node that fails is not looked at any further, so that one mistake
// makes one message, but what hangs on it is.
#include "ir/validate_tree.h"

#include <array>

#include "ir/effects.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// What an operator may ask of a type; the values index the table below.
enum CATEGORY : uint8_t { ANY, CSU, SCALAR, POINTER, ARITHMETIC, INTEGER };

struct CATEGORY_ROW {
    uint32_t kinds; // bit n: types of kind n are of the category
    const char* message;
};

constexpr uint32_t INTEGERS = 1U << TK_INTEGER | 1U << TK_ENUM | 1U << TK_BITFIELD;
constexpr uint32_t NUMBERS = INTEGERS | 1U << TK_FLOATING | 1U << TK_COMPLEX;
constexpr uint32_t POINTERS = 1U << TK_POINTER | 1U << TK_REFERENCE;
constexpr CATEGORY_ROW categories[] = {
    {~0U, ""},
    {1U << TK_STRUCT | 1U << TK_UNION | 1U << TK_CLASS, "Tree must have CSU type"},
    {NUMBERS | POINTERS | 1U << TK_MEMBER_POINTER | 1U << TK_METHOD_POINTER, "Tree must have scalar type"},
    {POINTERS, "Tree must have pointer type"},
    {NUMBERS, "Tree must have arithmetic type"},
    {INTEGERS, "Tree must have integer type"}};

// Every node that is read and every statement after every verified pass comes here, so what is good is told
// without a call.
inline bool expect_category(CATEGORY category, const NODE* node, const TREE_PLACE& place) {
    if (!node) return expect_operator(node, 0, place);
    const TYPE* type = node->type;
    while (type && (type->kind == TK_QUALIFIED || type->kind == TK_TYPEDEF || type->kind == TK_ATOMIC))
        type = type->base;
    return (type && (categories[category].kinds >> type->kind & 1)) ||
           report_invalid_node(RULE_N4, categories[category].message, node, place);
}

} // namespace

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

bool expect_csu_type(const NODE* node, const TREE_PLACE& place) { return expect_category(CSU, node, place); }
bool expect_scalar_type(const NODE* node, const TREE_PLACE& place) {
    return expect_category(SCALAR, node, place);
}
bool expect_pointer_type(const NODE* node, const TREE_PLACE& place) {
    return expect_category(POINTER, node, place);
}
bool expect_arithmetic_type(const NODE* node, const TREE_PLACE& place) {
    return expect_category(ARITHMETIC, node, place);
}
bool expect_integer_type(const NODE* node, const TREE_PLACE& place) {
    return expect_category(INTEGER, node, place);
}

// --- Operands ---

namespace {

// What an operator asks of its own type and of its operands' types.
struct OPERAND_TYPES {
    CATEGORY own;
    CATEGORY left;
    CATEGORY right;
};

constexpr OPERAND_TYPES operand_types(int32_t op) {
    if (opcode_is_relation(op)) return {INTEGER, SCALAR, SCALAR};
    switch (op) {
    case OP_PLUS:
    case OP_MINUS: return {SCALAR, SCALAR, SCALAR};
    case OP_MULT:
    case OP_DIV: return {ARITHMETIC, ARITHMETIC, ARITHMETIC};
    case OP_MOD:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB:
    case OP_SLL:
    case OP_SRL: return {INTEGER, INTEGER, INTEGER};
    case OP_NOTB: return {INTEGER, INTEGER, ANY};
    case OP_UMINUS:
    case OP_ABS:
    case OP_SQRT:
    case OP_SQR:
    case OP_RECIP: return {ARITHMETIC, ARITHMETIC, ANY};
    case OP_ANDAND:
    case OP_OROR: return {INTEGER, SCALAR, SCALAR};
    case OP_EXCLAIM: return {INTEGER, SCALAR, ANY};
    case OP_ASG:
    case OP_PLUSASG:
    case OP_MINUSASG:
    case OP_PLUSPLUS:
    case OP_MINMIN: return {ANY, SCALAR, SCALAR};
    case OP_MULTASG:
    case OP_DIVASG: return {ANY, ARITHMETIC, ARITHMETIC};
    case OP_MODASG:
    case OP_ANDBASG:
    case OP_ORBASG:
    case OP_XORBASG:
    case OP_SLLASG:
    case OP_SRLASG: return {ANY, INTEGER, INTEGER};
    case OP_STASG: return {ANY, CSU, CSU};
    case OP_STARG: return {ANY, CSU, ANY};
    case OP_UMULT:
    case OP_STREF:
    case OP_CALL:
    case OP_UCALL: return {ANY, POINTER, ANY};
    case OP_STDOT: return {ANY, CSU, ANY};
    case OP_UAND:
    case OP_ACONV:
    case OP_ARGREF: return {POINTER, ANY, ANY};
    case OP_NONALIGN: return {POINTER, POINTER, ANY};
    case OP_PCONV:
    case OP_ISP2CHAR: return {SCALAR, SCALAR, ANY};
    case OP_QUEST:
    case OP_IF:
    case OP_ASSERT:
    case OP_NASSERT: return {ANY, SCALAR, ANY};
    case OP_SWITCH: return {ANY, INTEGER, ANY};
    default: return {ANY, ANY, ANY};
    }
}

constexpr std::array<OPERAND_TYPES, OPCODE_COUNT> build_operand_types() {
    std::array<OPERAND_TYPES, OPCODE_COUNT> table{};
    for (int32_t op = 0; op < OPCODE_COUNT; ++op) table[static_cast<size_t>(op)] = operand_types(op);
    return table;
}
constexpr auto operand_type_table = build_operand_types();

// A conversion to void drops a value of any type.
bool check_conversion_types(const NODE* node, const TREE_PLACE& place) {
    if (node->type && type_is_void(node->type)) return true;
    return expect_arithmetic_type(node, place) && expect_scalar_type(node->left, place);
}

bool check_operand_types(const NODE* node, const TREE_PLACE& place) {
    if (node->op == OP_SCONV) return check_conversion_types(node, place);
    const OPERAND_TYPES& types = operand_type_table[static_cast<size_t>(node->op)];
    return (!types.own || expect_category(types.own, node, place)) &&
           (!types.left || expect_category(types.left, without_versions(node->left), place)) &&
           (!types.right || expect_category(types.right, without_versions(node->right), place));
}

bool check_targets(const NODE* targets, const TREE_PLACE& place) {
    return expect_operator(targets, OP_COMMA, place) && expect_operator(targets->left, OP_LABEL, place) &&
           expect_operator(targets->right, OP_LABEL, place);
}

// Operands of which the operator itself matters.
// Nothing is known of an operator without a name but that it takes values.
bool holds_values(const NODE* node, const TREE_PLACE& place) {
    for (const NODE* operand : {node->left, node->right}) {
        if (!operand) continue;
        const OPCODE_CLASS kind = opcode_fact(operand->op).kind;
        if (kind == OPCODE_CLASS::CONTROL || kind == OPCODE_CLASS::PARTS)
            return report_invalid_node(RULE_N5, "The operand is no value", operand, place);
    }
    return true;
}

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
    default: return opcode_fact(node->op).name || holds_values(node, place);
    }
}

// More than half of all nodes are names and small constants, and of most a look tells that they are good.
bool is_plainly_good(const NODE* node) {
    if (node->left || !node->type) return false;
    if (node->op == OP_NAME) {
        const SYMBOL* symbol = node->symbol();
        return symbol && symbol->declared_type == node->type && names_object(symbol);
    }
    if (node->op != OP_ICON || node->type->kind != TK_INTEGER || node->type->size != 4) return false;
    const int32_t upper = node->type->is_unsigned ? 0 : node->value_lo >> 31;
    return node->value_mid == upper && node->value_hi == upper;
}

bool check_node(const NODE* node, const TREE_PLACE& place) {
    if (is_plainly_good(node)) return true;
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
    if (tree_is_statement(stmt)) return true;
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
