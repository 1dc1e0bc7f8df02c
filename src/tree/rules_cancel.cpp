// Rules for terms of sums that take each other away, in PLUS, MINUS, EQ and NEQ.
//
//     x - (x - y)    is    + x - x + y    is    y
//
// A sum of two sums has four terms. Two that are the same tree with opposite signs go; what is left keeps its
// order where it may have effects. An equation is the difference of its sides. Pointers take part: they
// cancel like others, and a result in which one would stand where only numbers may is not made.
#include "tree/shapes.h"

namespace pelorus {

namespace {

struct TERM {
    NODE* tree;
    bool negative;
};

struct TERMS {
    TERM list[4];
    int count = 0;
};

bool is_plain_sum(const NODE* node) {
    return (is_op(node, OP_PLUS) || is_op(node, OP_MINUS)) && is_word(node) && is_word(node->left) &&
           is_word(node->right) && !type_is_bool(node->type);
}

void add_terms(TERMS& terms, NODE* node, bool negative) {
    if (!is_plain_sum(node)) {
        terms.list[terms.count++] = {node, negative};
        return;
    }
    terms.list[terms.count++] = {node->left, negative};
    terms.list[terms.count++] = {node->right, negative != is_op(node, OP_MINUS)};
}

void drop_term(TERMS& terms, int number) {
    for (int i = number + 1; i < terms.count; ++i) terms.list[i - 1] = terms.list[i];
    --terms.count;
}

bool cancel(const TERM& a, const TERM& b) {
    return a.negative != b.negative && a.tree->op == b.tree->op && !is_icon(a.tree) && is_pure(a.tree) &&
           type_is_pointer(a.tree->type) == type_is_pointer(b.tree->type) && same_tree(a.tree, b.tree);
}

// Drops the first two terms that take each other away. What is evaluated between them must not change them.
bool drop_opposites(TERMS& terms) {
    for (int i = 0; i < terms.count; ++i)
        for (int j = i + 1; j < terms.count && (j == i + 1 || is_pure(terms.list[j - 1].tree)); ++j)
            if (cancel(terms.list[i], terms.list[j])) {
                drop_term(terms, j);
                drop_term(terms, i);
                return true;
            }
    return false;
}

bool is_pointer(const TERM& term) { return type_is_pointer(term.tree->type); }

// What the sum's type asks for: a pointer is added once to a pointer, and subtracted once from one elsewhere.
bool may_be_sum(const TERMS& terms, TYPE* type) {
    if (terms.count == 0) return true;
    const TERM& first = terms.list[0];
    if (terms.count == 1) return !is_pointer(first) || (!first.negative && type_is_pointer(type));
    const TERM& second = terms.list[1];
    if (type_is_pointer(type)) return is_pointer(first) && !first.negative && !is_pointer(second);
    if (!is_pointer(first) && !is_pointer(second)) return true;
    return is_pointer(first) && is_pointer(second) && !first.negative && second.negative;
}

NODE* signed_term(TYPE* type, const TERM& term) {
    return term.negative ? make_unary(OP_UMINUS, type, term.tree) : as_type(term.tree, type);
}

NODE* sum_of_two(TYPE* type, const TERM& a, const TERM& b) {
    if (!a.negative) return make_binary(b.negative ? OP_MINUS : OP_PLUS, type, a.tree, b.tree);
    if (!b.negative && is_pure(a.tree) && is_pure(b.tree)) return make_binary(OP_MINUS, type, b.tree, a.tree);
    if (b.negative) return make_unary(OP_UMINUS, type, inner_binary(OP_PLUS, type, a.tree, b.tree));
    return make_binary(OP_PLUS, type, inner_unary(OP_UMINUS, type, a.tree), b.tree);
}

NODE* cancelled(NODE* node) {
    if (!is_plain_sum(node) || (!is_plain_sum(node->left) && !is_plain_sum(node->right))) return nullptr;
    TERMS terms;
    add_terms(terms, node->left, false);
    add_terms(terms, node->right, is_op(node, OP_MINUS));
    if (!drop_opposites(terms) || !may_be_sum(terms, node->type)) return nullptr;
    if (terms.count == 0) return make_icon(node->type, 0);
    if (terms.count == 1) return signed_term(node->type, terms.list[0]);
    return sum_of_two(node->type, terms.list[0], terms.list[1]);
}

} // namespace

NODE* add_cancelled(NODE* node) { return cancelled(node); }
NODE* subtract_cancelled(NODE* node) { return cancelled(node); }

// --- Equations ---

namespace {

bool is_scale(const NODE* node) {
    return is_word(node->left) && is_word(node->right) && !type_is_bool(node->left->type) &&
           !type_is_bool(node->right->type);
}

// The other operand of an XORB that has the operand; null when it has not.
NODE* xor_partner(NODE* node, const NODE* operand) {
    if (!is_op(node, OP_XORB) || !is_pure(operand)) return nullptr;
    if (same_tree(node->left, operand)) return node->right;
    return same_tree(node->right, operand) ? node->left : nullptr;
}

NODE* equal_to_zero(NODE* node, NODE* operand) {
    return make_binary(node->op, node->type, operand, make_icon(operand->type, 0));
}

// x ^ y == x is y == 0, x ^ y == x ^ z is y == z.
NODE* xors_compared(NODE* node) {
    if (!is_pure(node->left) || !is_pure(node->right)) return nullptr;
    if (NODE* rest = xor_partner(node->left, node->right)) return equal_to_zero(node, rest);
    if (NODE* rest = xor_partner(node->right, node->left)) return equal_to_zero(node, rest);
    if (!is_op(node->left, OP_XORB) || !is_op(node->right, OP_XORB)) return nullptr;
    if (NODE* rest = xor_partner(node->right, node->left->left))
        return make_binary(node->op, node->type, node->left->right, rest);
    if (NODE* rest = xor_partner(node->right, node->left->right))
        return make_binary(node->op, node->type, node->left->left, rest);
    return nullptr;
}

} // namespace

NODE* compare_common(NODE* node) {
    if (!is_scale(node) || is_icon(node->right)) return nullptr;
    if (NODE* result = xors_compared(node)) return result;
    if (!is_plain_sum(node->left) && !is_plain_sum(node->right)) return nullptr;
    TERMS terms;
    add_terms(terms, node->left, false);
    add_terms(terms, node->right, true);
    if (!drop_opposites(terms)) return nullptr;
    if (terms.count == 0) return make_icon(node->type, is_op(node, OP_EQ) ? 1 : 0);
    const TERM& first = terms.list[0];
    if (terms.count == 1) return equal_to_zero(node, first.tree);
    const TERM& second = terms.list[1];
    if (first.negative == second.negative || is_pointer(first) != is_pointer(second)) return nullptr;
    return make_binary(node->op, node->type, first.tree, second.tree);
}

// Of a constant less something: c - x == d is x == c - d.
NODE* compare_from_constant(NODE* node) {
    NODE* left = node->left;
    if (!is_icon(node->right) || !is_integer(left) || !is_op(left, OP_MINUS) || !is_icon(left->left) ||
        !is_integer(left->right) || type_is_bool(left->type) || type_is_bool(left->right->type))
        return nullptr;
    const INT96 constant = int96_subtract(left->left->value(), node->right->value());
    return make_binary(node->op, node->type, left->right, make_icon(left->right->type, constant));
}

// Modulo a power of two, an odd factor has a reciprocal. Newton's iteration doubles its correct bits.
NODE* compare_product(NODE* node) {
    NODE* left = node->left;
    if (!is_icon(node->right) || !is_op(left, OP_MULT) || !is_icon(left->right) || !is_integer(left) ||
        !is_integer(left->left) || type_is_bool(left->type))
        return nullptr;
    const auto factor = static_cast<uint64_t>(int96_to_int64(as_bits(left, left->right->value())));
    if (!(factor & 1)) return nullptr;
    uint64_t reciprocal = factor; // three bits are right
    for (int bits = 3; bits < 64; bits *= 2) reciprocal *= 2 - factor * reciprocal;
    const auto wanted = static_cast<uint64_t>(int96_to_int64(as_bits(left, node->right->value())));
    return make_binary(node->op, node->type, left->left,
                       make_icon(left->left->type, int96_from_uint64(reciprocal * wanted)));
}

// x << k == c is (x & mask) == c >> k, or never when the shift puts zeros where c has ones.
NODE* compare_shifted_left(NODE* node) {
    NODE* left = node->left;
    uint32_t places = 0;
    if (!is_icon(node->right) || !is_op(left, OP_SLL) || !is_integer(left) || !is_shift_by(left, places))
        return nullptr;
    const INT96 wanted = as_bits(left, node->right->value());
    const INT96 moved = int96_shift_right(wanted, places);
    if (int96_shift_left(moved, places) != wanted)
        return without(left->left, make_icon(node->type, is_op(node, OP_NEQ) ? 1 : 0));
    const INT96 mask = int96_shift_right(as_bits(left, int96_signed(-1)), places);
    NODE* masked = inner_binary(OP_ANDB, left->type, left->left, make_icon(left->type, mask));
    return make_binary(node->op, node->type, masked, make_icon(masked->type, moved));
}

// x | c has the bits of c, whatever x is.
NODE* compare_set(NODE* node) {
    NODE* left = node->left;
    if (!is_icon(node->right) || !is_op(left, OP_ORB) || !is_icon(left->right)) return nullptr;
    const INT96 set = as_bits(left, left->right->value());
    if (int96_and(set, as_bits(left, node->right->value())) == set) return nullptr;
    return without(left->left, make_icon(node->type, is_op(node, OP_NEQ) ? 1 : 0));
}

} // namespace pelorus
