// Rules for PLUS, MINUS and UMINUS, and the shapes of sums and products that others build.
//
// A sum with a constant has it on the right, outermost, and not negative: PLUS(x, c) or MINUS(x, c). So all
// constants of a chain of sums, an address with members and indices as well, meet at its top and become one.
// Pointers take part: a pointer stands on the left, and what is added is in bytes.
#include "tree/shapes.h"

namespace pelorus {

// --- Shapes ---

SUM sum_of(NODE* node) {
    if ((is_op(node, OP_PLUS) || is_op(node, OP_MINUS)) && is_word(node) && is_icon(node->right) &&
        is_word(node->left)) {
        const INT96 constant = int96_truncate(node->right->value(), bits_of(node), false);
        return {node->left, is_op(node, OP_PLUS) ? constant : int96_negate(constant)};
    }
    return {node, int96_signed(0)};
}

bool is_sum(NODE* node) { return sum_of(node).base != node; }

namespace {

// A negative constant is subtracted, but for the one that has no negative.
bool is_subtracted(INT96 constant, uint32_t bits) {
    constant = int96_truncate(constant, bits, false);
    return int96_is_negative(constant) &&
           !int96_is_negative(int96_truncate(int96_negate(constant), bits, false));
}

} // namespace

NODE* make_sum(TYPE* type, NODE* base, INT96 constant) {
    const uint32_t bits = type_bits(type);
    constant = int96_truncate(constant, bits, false);
    if (int96_is_zero(constant)) return as_type(base, type);
    TYPE* constant_type = type_is_pointer(type) ? type_package()->int_type() : type;
    const bool subtract = is_subtracted(constant, bits);
    return make_binary(subtract ? OP_MINUS : OP_PLUS, type, base,
                       make_icon(constant_type, subtract ? int96_negate(constant) : constant));
}

PRODUCT product_of(NODE* node) {
    if (is_integer(node)) {
        if (is_op(node, OP_MULT) && is_icon(node->right)) return {node->left, node->right->value()};
        if (is_op(node, OP_UMINUS)) return {node->left, int96_signed(-1)};
        uint32_t places = 0;
        if (is_op(node, OP_SLL) && is_shift_by(node, places))
            return {node->left, int96_shift_left(int96_signed(1), places)};
    }
    return {node, int96_signed(1)};
}

NODE* make_product(TYPE* type, NODE* base, INT96 factor) {
    const uint32_t bits = type_bits(type);
    const INT96 number = int96_truncate(factor, bits, false);
    if (int96_is_zero(number)) return without(base, make_icon(type, 0));
    if (number == int96_signed(1)) return as_type(base, type);
    if (number == int96_signed(-1)) return make_unary(OP_UMINUS, type, base);
    const int power = int96_log2(int96_truncate(factor, bits, true));
    if (power > 0) return make_binary(OP_SLL, type, base, make_icon(type_package()->int_type(), power));
    return make_binary(OP_MULT, type, base, make_icon(type, number));
}

namespace {

bool is_float_zero(const NODE* node, bool negative) {
    return is_fcon(node) &&
           target_float_same(*node->floating(), {negative ? -0.0 : 0.0, node->floating()->bytes, 0});
}

// Both may be evaluated in either order.
bool may_exchange(const NODE* a, const NODE* b) {
    return (is_pure(a) && is_pure(b)) || is_icon(a) || is_icon(b) || is_fcon(a) || is_fcon(b);
}

} // namespace

// --- PLUS ---

NODE* constant_to_right(NODE* node) {
    const bool constant_left = is_icon(node->left) || is_fcon(node->left);
    if (!constant_left || is_icon(node->right) || is_fcon(node->right)) return nullptr;
    if (is_op(node, OP_PLUS) && type_is_pointer(node->left->type))
        return nullptr; // the pointer stays on the left
    std::swap(node->left, node->right);
    if (opcode_is_relation(node->op)) node->op = opcode_fact(node->op).swapped;
    return node;
}

NODE* add_nothing(NODE* node) {
    if (!is_zero(node->right) && !is_float_zero(node->right, true)) return nullptr;
    return as_type(node->left, node->type);
}

NODE* add_to_sum(NODE* node) {
    if (!is_icon(node->right) || !is_sum(node->left)) return nullptr;
    const SUM sum = sum_of(node->left);
    return make_sum(node->type, sum.base, int96_add(sum.constant, sum_of(node).constant));
}

NODE* add_negative(NODE* node) {
    if (!is_sum(node)) return nullptr;
    const SUM sum = sum_of(node);
    return is_subtracted(sum.constant, bits_of(node)) ? make_sum(node->type, sum.base, sum.constant)
                                                      : nullptr;
}

NODE* add_negation(NODE* node) {
    if (!is_word(node)) return nullptr;
    if (is_op(node->right, OP_UMINUS))
        return make_binary(OP_MINUS, node->type, node->left, take_left(node->right));
    if (is_op(node->left, OP_UMINUS) && !type_is_pointer(node->type) && !type_is_pointer(node->right->type) &&
        may_exchange(node->left, node->right))
        return make_binary(OP_MINUS, node->type, node->right, take_left(node->left));
    return nullptr;
}

NODE* complement_plus_one(NODE* node) {
    if (!is_integer(node) || !is_op(node->left, OP_NOTB) || !is_icon_of(node->right, 1)) return nullptr;
    return make_unary(OP_UMINUS, node->type, take_left(node->left));
}

namespace {

// x + x in a pair of registers: two instructions, where a shift needs three, and the carry is at hand for a
// comparison of the sum with x.
bool is_wide_double(const NODE* node, const PRODUCT& a, const PRODUCT& b) {
    return type_bits(node->type) > 32 && is_op(node, OP_PLUS) && a.factor == int96_signed(1) &&
           b.factor == a.factor;
}

NODE* like_terms(NODE* node, bool subtract) {
    if (!is_integer(node) || !is_integer(node->left) || !is_integer(node->right)) return nullptr;
    const PRODUCT a = product_of(node->left);
    const PRODUCT b = product_of(node->right);
    if (is_icon(a.base) || !is_pure(a.base) || !same_tree(a.base, b.base)) return nullptr;
    if (is_wide_double(node, a, b)) return nullptr;
    return make_product(node->type, a.base,
                        subtract ? int96_subtract(a.factor, b.factor) : int96_add(a.factor, b.factor));
}

// The constants of both operands move out of the sum of their bases.
NODE* sums_joined(NODE* node) {
    if (!is_word(node) || (!is_sum(node->left) && !is_sum(node->right)) || is_icon(node->right))
        return nullptr;
    const SUM a = sum_of(node->left);
    const SUM b = sum_of(node->right);
    NODE* bases = inner_binary(node->op, node->type, a.base, b.base);
    return make_sum(node->type, bases,
                    is_op(node, OP_PLUS) ? int96_add(a.constant, b.constant)
                                         : int96_subtract(a.constant, b.constant));
}

} // namespace

NODE* add_like_terms(NODE* node) { return like_terms(node, false); }
NODE* add_sums(NODE* node) { return sums_joined(node); }

// --- MINUS ---

NODE* subtract_nothing(NODE* node) {
    if (!is_zero(node->right) && !is_float_zero(node->right, false)) return nullptr;
    return as_type(node->left, node->type);
}

NODE* subtract_from_zero(NODE* node) {
    if (!is_integer(node) || !is_zero(node->left) || !is_integer(node->right)) return nullptr;
    return make_unary(OP_UMINUS, node->type, node->right);
}

NODE* subtract_from_sum(NODE* node) { return add_to_sum(node); }

NODE* subtract_negative(NODE* node) {
    if (!is_sum(node)) return nullptr;
    const SUM sum = sum_of(node);
    return is_subtracted(sum.constant, bits_of(node)) ? nullptr
                                                      : make_sum(node->type, sum.base, sum.constant);
}

NODE* subtract_negation(NODE* node) {
    if (!is_word(node) || !is_op(node->right, OP_UMINUS)) return nullptr;
    return make_binary(OP_PLUS, node->type, node->left, take_left(node->right));
}

NODE* subtract_like_terms(NODE* node) {
    // The distance of two pointers that are the same.
    if (is_word(node) && is_pure(node->left) && same_tree(node->left, node->right))
        return make_icon(node->type, 0);
    return like_terms(node, true);
}

NODE* subtract_complement(NODE* node) {
    if (!is_integer(node) || type_is_bool(node->type)) return nullptr;
    if (is_op(node->left, OP_UMINUS) && is_icon_of(node->right, 1))
        return make_unary(OP_NOTB, node->type, take_left(node->left));
    if (!is_all_ones(node->left) || !is_integer(node->right)) return nullptr;
    return make_unary(OP_NOTB, node->type, node->right);
}

NODE* subtract_sums(NODE* node) { return sums_joined(node); }

// --- UMINUS ---

NODE* negate_negation(NODE* node) {
    return is_op(node->left, OP_UMINUS) ? as_type(take_left(node->left), node->type) : nullptr;
}

NODE* negate_sum(NODE* node) {
    if (!is_integer(node) || !is_sum(node->left)) return nullptr;
    const SUM sum = sum_of(node->left);
    if (!is_integer(sum.base)) return nullptr;
    return make_binary(OP_MINUS, node->type, make_icon(node->type, int96_negate(sum.constant)), sum.base);
}

NODE* negate_difference(NODE* node) {
    NODE* difference = node->left;
    if (!is_integer(node) || !is_op(difference, OP_MINUS) || !is_integer(difference->left)) return nullptr;
    if (!may_exchange(difference->left, difference->right)) return nullptr;
    return make_binary(OP_MINUS, node->type, difference->right, difference->left);
}

NODE* negate_product(NODE* node) {
    if (!is_integer(node) || !is_op(node->left, OP_MULT) || !is_icon(node->left->right)) return nullptr;
    const PRODUCT product = product_of(node->left);
    return make_product(node->type, product.base, int96_negate(product.factor));
}

NODE* negate_complement(NODE* node) {
    if (!is_op(node->left, OP_NOTB)) return nullptr;
    return make_sum(node->type, take_left(node->left), int96_signed(1));
}

} // namespace pelorus
