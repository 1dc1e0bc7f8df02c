// Rules for ANDB, ORB, XORB and NOTB.
#include "tree/shapes.h"

namespace pelorus {

namespace {

// x op c with the constants of the two levels put together.
NODE* merged(NODE* node, INT96 (*combine)(INT96, INT96)) {
    NODE* inner = node->left;
    if (!is_icon(node->right) || inner->op != node->op || !is_icon(inner->right)) return nullptr;
    return make_binary(node->op, node->type, inner->left,
                       make_icon(node->type, combine(inner->right->value(), node->right->value())));
}

NODE* same_operands(NODE* node) {
    if (!is_integer(node) || !is_pure(node->left) || !same_tree(node->left, node->right)) return nullptr;
    return as_type(node->left, node->type);
}

bool are_complements(const NODE* a, const NODE* b) {
    return (is_op(a, OP_NOTB) && same_tree(a->left, b)) || (is_op(b, OP_NOTB) && same_tree(b->left, a));
}

INT96 constant_bits(const NODE* node) { return as_bits(node, node->right->value()); }

} // namespace

// --- ANDB ---

NODE* and_known(NODE* node) {
    if (!is_icon(node->right) || !is_integer(node->left)) return nullptr;
    const INT96 possible = possible_bits(node->left);
    const INT96 kept = int96_and(possible, constant_bits(node));
    if (int96_is_zero(kept)) return without(node->left, make_icon(node->type, 0));
    return kept == possible ? as_type(node->left, node->type) : nullptr;
}

NODE* and_same(NODE* node) { return same_operands(node); }

NODE* and_complement(NODE* node) {
    if (!is_pure(node->left) || !is_pure(node->right) || !are_complements(node->left, node->right))
        return nullptr;
    return make_icon(node->type, 0);
}

NODE* and_masks(NODE* node) { return merged(node, int96_and); }

NODE* and_of_set(NODE* node) {
    NODE* inner = node->left;
    if (!is_icon(node->right) || (!is_op(inner, OP_ORB) && !is_op(inner, OP_XORB)) || !is_icon(inner->right))
        return nullptr;
    const INT96 mask = constant_bits(node);
    const INT96 both = int96_and(mask, constant_bits(inner));
    if (int96_is_zero(both)) return make_binary(OP_ANDB, node->type, inner->left, node->right);
    if (is_op(inner, OP_ORB) && both == mask) return without(inner->left, node->right);
    return nullptr;
}

// De Morgan, in the direction that has one operator less.
NODE* complements(NODE* node) {
    if (!is_op(node->left, OP_NOTB) || !is_op(node->right, OP_NOTB)) return nullptr;
    NODE* joined = inner_binary(is_op(node, OP_ANDB) ? OP_ORB : OP_ANDB, node->type, take_left(node->left),
                                take_left(node->right));
    return make_unary(OP_NOTB, node->type, joined);
}

// --- ORB ---

NODE* or_known(NODE* node) {
    if (is_icon_of(node->right, 0)) return as_type(node->left, node->type);
    return is_all_ones(node->right) ? without(node->left, as_type(node->right, node->type)) : nullptr;
}

NODE* or_same(NODE* node) { return same_operands(node); }
NODE* or_constants(NODE* node) { return merged(node, int96_or); }

NODE* or_of_masked(NODE* node) {
    NODE* inner = node->left;
    if (!is_icon(node->right) || !is_op(inner, OP_ANDB) || !is_icon(inner->right)) return nullptr;
    if (int96_or(constant_bits(node), constant_bits(inner)) != as_bits(node, int96_signed(-1)))
        return nullptr;
    return make_binary(OP_ORB, node->type, inner->left, node->right);
}

// --- XORB and NOTB ---

NODE* xor_known(NODE* node) {
    if (is_icon_of(node->right, 0)) return as_type(node->left, node->type);
    return is_all_ones(node->right) && is_integer(node) ? make_unary(OP_NOTB, node->type, node->left)
                                                        : nullptr;
}

NODE* xor_same(NODE* node) {
    if (!is_integer(node) || !is_pure(node->left) || !same_tree(node->left, node->right)) return nullptr;
    return make_icon(node->type, 0);
}

NODE* xor_constants(NODE* node) {
    if (is_icon(node->right) && is_op(node->left, OP_NOTB)) {
        NODE* constant = make_icon(node->type, int96_not(node->right->value()));
        return make_binary(OP_XORB, node->type, take_left(node->left), constant);
    }
    return merged(node, int96_xor);
}

NODE* xor_complements(NODE* node) {
    if (!is_op(node->left, OP_NOTB) || !is_op(node->right, OP_NOTB)) return nullptr;
    return make_binary(OP_XORB, node->type, take_left(node->left), take_left(node->right));
}

NODE* complement_complement(NODE* node) {
    return is_op(node->left, OP_NOTB) ? as_type(take_left(node->left), node->type) : nullptr;
}

NODE* complement_negation(NODE* node) {
    if (!is_op(node->left, OP_UMINUS)) return nullptr;
    return make_sum(node->type, take_left(node->left), int96_signed(-1));
}

NODE* complement_sum(NODE* node) {
    if (!is_integer(node->left) || !is_sum(node->left)) return nullptr;
    const SUM sum = sum_of(node->left);
    if (!is_integer(sum.base)) return nullptr;
    const INT96 constant = int96_subtract(int96_negate(sum.constant), int96_signed(1));
    return make_binary(OP_MINUS, node->type, make_icon(node->type, constant), sum.base);
}

} // namespace pelorus
