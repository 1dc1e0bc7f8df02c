// Rules for QUEST whose arms have to do with each other or with the condition, and for arithmetic on truth
// values.
//
// A choice costs a test and two ways; what computes the same without it is worth some operators. The smaller
// and the larger of two values stay choices: there is no opcode for them.
#include "ir/node_storage.h"
#include "tree/shapes.h"

namespace pelorus {

namespace {

bool is_pair(const NODE* a, const NODE* b, const NODE* x, const NODE* y) {
    return same_tree(a, x) && same_tree(b, y);
}

// What the condition compares for equality; a scalar by itself is compared with zero.
bool is_equality(const NODE* condition, const NODE*& x, const NODE*& y) {
    x = condition->left;
    y = condition->right;
    return (is_op(condition, OP_EQ) || is_op(condition, OP_NEQ)) && is_word(x) && is_word(y) && is_pure(x) &&
           is_pure(y);
}

} // namespace

// Where both are equal either arm will do, so the arm of the others is the value.
NODE* choose_equal(NODE* node) {
    NODE* condition = node->left;
    NODE* arms = node->right;
    if (!is_word(node)) return nullptr;
    if (is_pure(condition) && is_word(condition)) {
        if (is_icon_of(arms->right, 0) && same_tree(condition, arms->left))
            return as_type(arms->left, node->type);
        if (is_icon_of(arms->left, 0) && same_tree(condition, arms->right)) return make_icon(node->type, 0);
    }
    const NODE* x = nullptr;
    const NODE* y = nullptr;
    if (!is_equality(condition, x, y)) return nullptr;
    if (!is_pair(x, y, arms->left, arms->right) && !is_pair(y, x, arms->left, arms->right)) return nullptr;
    return as_type(is_op(condition, OP_EQ) ? arms->right : arms->left, node->type);
}

// --- Constants ---

namespace {

// The truth of the condition, or its opposite, as a number of the choice's type; null when there is none.
NODE* truth_as_number(NODE* node, bool opposite) {
    TYPE* truth_type = type_package()->int_type();
    NODE* truth = opposite ? negation_of(node->left, truth_type) : truth_of(node->left, truth_type);
    return truth ? as_type(truth, node->type) : nullptr;
}

} // namespace

NODE* choose_near(NODE* node) {
    NODE* arms = node->right;
    if (!is_number(node) || !is_icon(arms->left) || !is_icon(arms->right)) return nullptr;
    const INT96 low = int96_truncate(arms->right->value(), bits_of(node), false);
    const INT96 distance = int96_truncate(int96_subtract(arms->left->value(), low), bits_of(node), false);
    if (distance != int96_signed(1) && distance != int96_signed(-1)) return nullptr;
    NODE* truth = truth_as_number(node, false);
    if (!truth) return nullptr;
    if (distance == int96_signed(1)) return make_sum(node->type, truth, low);
    return make_binary(OP_MINUS, node->type, make_icon(node->type, low), truth);
}

NODE* choose_power(NODE* node) {
    NODE* arms = node->right;
    if (!is_number(node) || !is_icon(arms->left) || !is_icon(arms->right)) return nullptr;
    const bool opposite = is_icon_of(arms->left, 0);
    const NODE* other = opposite ? arms->right : arms->left;
    if (!opposite && !is_icon_of(arms->right, 0)) return nullptr;
    const int power = int96_log2(as_bits(node, other->value()));
    if (power < 1) return nullptr;
    NODE* truth = truth_as_number(node, opposite);
    return truth ? make_product(node->type, truth, other->value()) : nullptr;
}

// --- Absolute values ---

namespace {

// Whether the condition asks for negative values of something, or for others. Zero may be on either side.
bool is_sign_test(const NODE* condition, bool& negative) {
    if (!opcode_is_relation(condition->op) || !is_number(condition->left) || is_unsigned(condition->left) ||
        !is_icon(condition->right) || is_unsigned(condition->right))
        return false;
    negative = is_op(condition, OP_LT) || is_op(condition, OP_LE);
    const bool zero = is_icon_of(condition->right, 0);
    if (is_icon_of(condition->right, -1)) return is_op(condition, OP_LE) || is_op(condition, OP_GT);
    return zero && (negative || is_op(condition, OP_GE) || is_op(condition, OP_GT));
}

bool is_negative_of(const NODE* a, const NODE* b) {
    if (is_op(a, OP_UMINUS)) return same_tree(a->left, b);
    return is_op(a, OP_MINUS) && is_op(b, OP_MINUS) && is_pair(a->left, a->right, b->right, b->left);
}

} // namespace

NODE* choose_absolute(NODE* node) {
    bool negative = false;
    if (!is_number(node) || is_unsigned(node) || !is_sign_test(node->left, negative)) return nullptr;
    NODE* value = node->left->left;
    NODE* when_negative = negative ? node->right->left : node->right->right;
    NODE* otherwise = negative ? node->right->right : node->right->left;
    if (!is_pure(value)) return nullptr;
    if (same_tree(value, otherwise) && is_negative_of(when_negative, value))
        return make_unary(OP_ABS, node->type, value);
    if (!same_tree(value, when_negative) || !is_negative_of(otherwise, value)) return nullptr;
    return make_unary(OP_UMINUS, node->type, inner_unary(OP_ABS, node->type, value));
}

// --- Truth values ---

// A choice between a truth value and a constant one is a conjunction or a disjunction.
NODE* choose_logic(NODE* node) {
    NODE* arms = node->right;
    if (!is_number(node)) return nullptr;
    TYPE* truth_type = type_package()->int_type();
    if (is_icon_of(arms->right, 0) && is_truth(arms->left))
        return as_type(inner_binary(OP_ANDAND, truth_type, node->left, arms->left), node->type);
    if (is_icon_of(arms->left, 1) && is_truth(arms->right))
        return as_type(inner_binary(OP_OROR, truth_type, node->left, arms->right), node->type);
    return nullptr;
}

namespace {

// The truth value behind conversions, or null.
NODE* truth_behind(NODE* node) {
    while (is_op(node, OP_SCONV) && is_number(node) && !is_truth(node)) {
        if (type_is_bool(node->left->type)) return node->left;
        node = node->left;
    }
    return is_truth(node) ? node : nullptr;
}

// 1 less a truth value.
NODE* opposite_of(NODE* node, NODE* operand) {
    NODE* truth = truth_behind(operand);
    if (!truth || !is_number(node)) return nullptr;
    NODE* opposite = negation_of(truth, type_package()->int_type());
    return opposite ? as_type(opposite, node->type) : nullptr;
}

} // namespace

NODE* xor_truth(NODE* node) { return is_icon_of(node->right, 1) ? opposite_of(node, node->left) : nullptr; }
NODE* subtract_truth(NODE* node) {
    return is_icon_of(node->left, 1) ? opposite_of(node, node->right) : nullptr;
}

} // namespace pelorus
