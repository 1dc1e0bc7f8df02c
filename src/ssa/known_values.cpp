// See known_values.h.
#include "ssa/known_values.h"

#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "ssa/edge_facts.h"
#include "ssa/ssa.h"
#include "tree/fold.h"

namespace pelorus {

namespace {

constexpr int MOST_NESTED = 300;

struct EVALUATION {
    const KNOWN_VERSIONS& versions;
    int depth = 0;
};

KNOWN_VALUE evaluate(EVALUATION& evaluation, const NODE* node);

KNOWN_VALUE integer_value(INT96 integer) {
    return {.known = KNOWN::CONSTANT, .op = OP_ICON, .integer = integer};
}
KNOWN_VALUE truth_value(bool holds) { return integer_value(int96_signed(holds)); }

bool is_constant(const KNOWN_VALUE& value) { return value.known == KNOWN::CONSTANT; }
bool is_number(const KNOWN_VALUE& value) { return is_constant(value) && value.op != OP_UAND; }

KNOWN_VALUE value_of_leaf(const NODE* leaf) {
    if (leaf->op == OP_ICON) return integer_value(leaf->value());
    return {.known = KNOWN::CONSTANT, .op = OP_FCON, .floating = *leaf->floating()};
}

// --- Operators on constants ---

// The constant as a leaf on the stack: enough for folding.
struct LEAF {
    NODE node{};
    TARGET_FLOAT number{};

    LEAF(const KNOWN_VALUE& value, TYPE* type) : number(value.floating) {
        node.op = value.op;
        node.type = type;
        node.set_value(value.integer);
        if (value.op == OP_FCON) node.ref = &number;
    }
};

KNOWN_VALUE folded(const NODE* operation, bool is_binary) {
    NODE* result = is_binary ? fold_binary(operation) : fold_unary(operation);
    if (!result) return ANY_VALUE;
    const KNOWN_VALUE value = value_of_leaf(result);
    erase_node(result);
    return value;
}

KNOWN_VALUE folded_unary(const NODE* node, const KNOWN_VALUE& operand) {
    LEAF leaf(operand, node->left->type);
    NODE operation{};
    operation.op = node->op;
    operation.type = node->type;
    operation.left = &leaf.node;
    return folded(&operation, false);
}

KNOWN_VALUE folded_binary(const NODE* node, const KNOWN_VALUE& left, const KNOWN_VALUE& right) {
    LEAF first(left, node->left->type);
    LEAF second(right, node->right->type);
    NODE operation{};
    operation.op = node->op;
    operation.type = node->type;
    operation.left = &first.node;
    operation.right = &second.node;
    return folded(&operation, true);
}

// --- By opcode ---

KNOWN_VALUE truth_of_value(const KNOWN_VALUE& value) {
    if (value.known == KNOWN::NOTHING) return value;
    if (is_not_zero(value)) return truth_value(true);
    return is_zero_value(value) ? truth_value(false) : ANY_VALUE;
}

KNOWN_VALUE evaluate_negation(EVALUATION& evaluation, const NODE* node) {
    const KNOWN_VALUE operand = evaluate(evaluation, node->left);
    if (is_number(operand)) return folded_unary(node, operand);
    const KNOWN_VALUE truth = truth_of_value(operand);
    return is_constant(truth) ? truth_value(is_zero_value(truth)) : truth;
}

KNOWN_VALUE evaluate_conversion(EVALUATION& evaluation, const NODE* node) {
    const KNOWN_VALUE operand = evaluate(evaluation, node->left);
    if (operand.known == KNOWN::NOTHING || operand.known == KNOWN::VARIES) return operand;
    if (is_number(operand)) return folded_unary(node, operand);
    if (type_is_bool(node->type)) return truth_value(true);
    const bool is_whole = (type_is_integer(node->type) || type_is_pointer(node->type)) &&
                          type_bits(node->type) >= type_bits(node->left->type);
    return is_whole ? NOT_ZERO_VALUE : ANY_VALUE;
}

KNOWN_VALUE evaluate_unary(EVALUATION& evaluation, const NODE* node) {
    const KNOWN_VALUE operand = evaluate(evaluation, node->left);
    if (operand.known == KNOWN::NOTHING) return operand;
    return is_number(operand) ? folded_unary(node, operand) : ANY_VALUE;
}

KNOWN_VALUE compare_with_zero(const NODE* node, const KNOWN_VALUE& left, const KNOWN_VALUE& right) {
    const bool differ =
        (is_not_zero(left) && is_zero_value(right)) || (is_zero_value(left) && is_not_zero(right));
    return differ ? truth_value(node->op == OP_NEQ) : ANY_VALUE;
}

KNOWN_VALUE evaluate_binary(EVALUATION& evaluation, const NODE* node) {
    const KNOWN_VALUE left = evaluate(evaluation, node->left);
    const KNOWN_VALUE right = evaluate(evaluation, node->right);
    if (left.known == KNOWN::NOTHING) return left;
    if (right.known == KNOWN::NOTHING) return right;
    if (is_number(left) && is_number(right)) return folded_binary(node, left, right);
    return node->op == OP_EQ || node->op == OP_NEQ ? compare_with_zero(node, left, right) : ANY_VALUE;
}

// What decides without the other operand: zero for ANDAND, any other value for OROR.
KNOWN_VALUE evaluate_logical(EVALUATION& evaluation, const NODE* node) {
    const bool deciding = node->op == OP_OROR;
    const KNOWN_VALUE left = truth_of_value(evaluate(evaluation, node->left));
    if (left.known == KNOWN::NOTHING) return left;
    if (is_constant(left) && is_not_zero(left) == deciding) return left;
    const KNOWN_VALUE right = truth_of_value(evaluate(evaluation, node->right));
    if (is_constant(left) || right.known == KNOWN::NOTHING) return right;
    return is_constant(right) && is_not_zero(right) == deciding ? right : ANY_VALUE;
}

KNOWN_VALUE evaluate_choice(EVALUATION& evaluation, const NODE* node) {
    if (node->right->op != OP_COLON) return ANY_VALUE;
    const KNOWN_VALUE condition = truth_of_value(evaluate(evaluation, node->left));
    if (condition.known == KNOWN::NOTHING) return condition;
    if (is_constant(condition))
        return evaluate(evaluation, is_not_zero(condition) ? node->right->left : node->right->right);
    return either_value(evaluate(evaluation, node->right->left), evaluate(evaluation, node->right->right));
}

// A weak object or function may not be there.
KNOWN_VALUE evaluate_address(const NODE* node) {
    const NODE* object = node->left;
    if (object->op != OP_NAME || !object->symbol() || (object->symbol()->flags & SF_WEAK)) return ANY_VALUE;
    return {.known = KNOWN::CONSTANT, .op = OP_UAND, .object = object->symbol()};
}

KNOWN_VALUE evaluate_name(const EVALUATION& evaluation, const NODE* name) {
    const int32_t version = version_of(name);
    if (!version) return ANY_VALUE;
    const SSA_VERSION& named = ssa_form.versions[static_cast<size_t>(version)];
    const KNOWN_VERSIONS& versions = evaluation.versions;
    const KNOWN_VALUE value = value_behind_test(versions.values[static_cast<size_t>(version)],
                                                fact_in_block(versions.facts, version, versions.block));
    return value_as(value, named.variable->type, name->type);
}

// What a bit-field or a volatile object keeps of a value may be another one.
KNOWN_VALUE evaluate_assignment(EVALUATION& evaluation, const NODE* node) {
    if (node->left->op != OP_NAME || type_is_volatile(node->left->type)) return ANY_VALUE;
    return value_as(evaluate(evaluation, node->right), node->right->type, node->left->type);
}

KNOWN_VALUE evaluate_operator(EVALUATION& evaluation, const NODE* node) {
    switch (node->op) {
    case OP_ICON:
    case OP_FCON: return value_of_leaf(node);
    case OP_NAME: return evaluate_name(evaluation, node);
    case OP_UAND: return evaluate_address(node);
    case OP_COMMAOP: return evaluate(evaluation, node->right);
    case OP_SSA_DEF: return evaluate(evaluation, node->left);
    case OP_ASG: return evaluate_assignment(evaluation, node);
    case OP_EXCLAIM: return evaluate_negation(evaluation, node);
    case OP_SCONV:
    case OP_PCONV: return evaluate_conversion(evaluation, node);
    case OP_UMINUS:
    case OP_NOTB:
    case OP_ABS:
    case OP_SQRT: return evaluate_unary(evaluation, node);
    case OP_ANDAND:
    case OP_OROR: return evaluate_logical(evaluation, node);
    case OP_QUEST: return evaluate_choice(evaluation, node);
    case OP_PLUS:
    case OP_MINUS:
    case OP_MULT:
    case OP_DIV:
    case OP_MOD:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB:
    case OP_SLL:
    case OP_SRL: return evaluate_binary(evaluation, node);
    default: return opcode_is_relation(node->op) ? evaluate_binary(evaluation, node) : ANY_VALUE;
    }
}

KNOWN_VALUE evaluate(EVALUATION& evaluation, const NODE* node) {
    if (evaluation.depth == MOST_NESTED) return ANY_VALUE;
    ++evaluation.depth;
    const KNOWN_VALUE value = evaluate_operator(evaluation, node);
    --evaluation.depth;
    return value;
}

} // namespace

bool is_same_value(const KNOWN_VALUE& a, const KNOWN_VALUE& b) {
    if (a.known != b.known || a.op != b.op) return false;
    if (a.known != KNOWN::CONSTANT) return true;
    switch (a.op) {
    case OP_ICON: return a.integer == b.integer;
    case OP_FCON: return target_float_same(a.floating, b.floating);
    default: return a.object == b.object;
    }
}

bool is_not_zero(const KNOWN_VALUE& value) {
    if (value.known == KNOWN::NOT_ZERO) return true;
    if (!is_constant(value)) return false;
    return value.op == OP_UAND || (value.op == OP_ICON && !int96_is_zero(value.integer));
}

bool is_zero_value(const KNOWN_VALUE& value) {
    return is_constant(value) && value.op == OP_ICON && int96_is_zero(value.integer);
}

KNOWN_VALUE either_value(const KNOWN_VALUE& a, const KNOWN_VALUE& b) {
    if (a.known == KNOWN::NOTHING) return b;
    if (b.known == KNOWN::NOTHING || is_same_value(a, b)) return a;
    return is_not_zero(a) && is_not_zero(b) ? NOT_ZERO_VALUE : ANY_VALUE;
}

KNOWN_VALUE value_as(const KNOWN_VALUE& value, const TYPE* from, const TYPE* to) {
    if (value.known == KNOWN::NOTHING) return value;
    const bool is_alike = type_same_representation(from, to) && type_is_bool(from) == type_is_bool(to);
    return is_alike ? value : ANY_VALUE;
}

KNOWN_VALUE value_behind_test(const KNOWN_VALUE& value, const KNOWN_VALUE& fact) {
    const bool is_known = value.known == KNOWN::NOTHING || value.known == KNOWN::CONSTANT;
    return is_known || fact.known == KNOWN::VARIES ? value : fact;
}

KNOWN_VALUE known_value(const NODE* tree, const KNOWN_VERSIONS& versions) {
    EVALUATION evaluation{versions};
    return evaluate(evaluation, tree);
}

NODE* tree_of_value(const KNOWN_VALUE& value, TYPE* type) {
    type = type_strip(type);
    switch (value.op) {
    case OP_ICON: return new_icon(type, value.integer);
    case OP_FCON: return make_fcon(type, value.floating);
    default: return new_unary(OP_UAND, type, new_name(value.object, value.object->declared_type));
    }
}

} // namespace pelorus
