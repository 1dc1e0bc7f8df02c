// Rules for MULT, DIV, MOD, SLL and SRL.
//
// A product with a constant is SLL for powers of two and MULT otherwise. Division by a power of two is a
// shift where the dividend cannot be negative; a negative dividend must be rounded toward zero, which takes
// the dividend twice, so it must be a variable: H. Warren, "Hacker's Delight", 10-1.
#include "support/settings.h"
#include "tree/shapes.h"

namespace pelorus {

namespace {

bool same_sign(const NODE* a, const NODE* b) { return is_unsigned(a) == is_unsigned(b); }

NODE* amount_icon(uint32_t places) { return make_icon(type_package()->int_type(), places); }

} // namespace

// --- MULT and SLL ---

NODE* multiply_nothing(NODE* node) {
    if (is_fcon(node->right) && node->right->floating()->value == 1) return as_type(node->left, node->type);
    if (!is_icon_of(node->right, 0) && !is_icon_of(node->right, 1) &&
        !(is_all_ones(node->right) && is_integer(node)))
        return nullptr;
    return make_product(node->type, node->left, node->right->value());
}

NODE* multiply_product(NODE* node) {
    if (!is_integer(node) || !is_icon(node->right)) return nullptr;
    const PRODUCT inner = product_of(node->left);
    if (inner.base == node->left) return nullptr;
    return make_product(node->type, inner.base, int96_multiply(inner.factor, node->right->value()));
}

namespace {

NODE* product_of_sum(NODE* node, INT96 factor) {
    if (!is_integer(node) || !is_sum(node->left) || !is_integer(node->left)) return nullptr;
    const SUM sum = sum_of(node->left);
    if (!is_integer(sum.base)) return nullptr;
    NODE* product = inner_binary(node->op, node->type, sum.base, node->right);
    return make_sum(node->type, product, int96_multiply(sum.constant, factor));
}

} // namespace

NODE* multiply_sum(NODE* node) {
    return is_icon(node->right) ? product_of_sum(node, node->right->value()) : nullptr;
}

NODE* multiply_power(NODE* node) {
    if (!is_integer(node) || !is_icon(node->right) || int96_log2(as_bits(node, node->right->value())) < 1)
        return nullptr;
    return make_product(node->type, node->left, node->right->value());
}

NODE* multiply_negations(NODE* node) {
    if (!is_integer(node) || !is_op(node->left, OP_UMINUS) || !is_op(node->right, OP_UMINUS)) return nullptr;
    return make_binary(OP_MULT, node->type, take_left(node->left), take_left(node->right));
}

NODE* shift_nothing(NODE* node) {
    return is_icon_of(node->right, 0) ? as_type(node->left, node->type) : nullptr;
}

NODE* shift_product(NODE* node) {
    uint32_t places = 0;
    const PRODUCT inner = product_of(node->left);
    if (inner.base == node->left || !is_shift_by(node, places)) return nullptr;
    return make_product(node->type, inner.base, int96_shift_left(inner.factor, places));
}

NODE* shift_sum(NODE* node) {
    uint32_t places = 0;
    if (!is_shift_by(node, places)) return nullptr;
    return product_of_sum(node, int96_shift_left(int96_signed(1), places));
}

NODE* shift_back_left(NODE* node) {
    uint32_t places = 0;
    uint32_t inner_places = 0;
    NODE* inner = node->left;
    if (!is_shift_by(node, places) || !is_op(inner, OP_SRL) || !is_shift_by(inner, inner_places) ||
        inner_places != places)
        return nullptr;
    NODE* mask = make_icon(node->type, int96_shift_left(int96_signed(-1), places));
    return make_binary(OP_ANDB, node->type, as_type(inner->left, node->type), mask);
}

// --- SRL ---

NODE* shift_shift(NODE* node) {
    uint32_t places = 0;
    uint32_t inner_places = 0;
    NODE* inner = node->left;
    if (!is_shift_by(node, places) || !is_op(inner, OP_SRL) || !is_shift_by(inner, inner_places) ||
        !same_sign(node, inner))
        return nullptr;
    const uint32_t bits = bits_of(node);
    places += inner_places;
    if (places >= bits && is_unsigned(node)) return without(inner->left, make_icon(node->type, 0));
    return make_binary(OP_SRL, node->type, inner->left, amount_icon(places < bits ? places : bits - 1));
}

NODE* shift_back_right(NODE* node) {
    uint32_t places = 0;
    uint32_t inner_places = 0;
    NODE* inner = node->left;
    if (!is_unsigned(node) || !is_shift_by(node, places) || !is_op(inner, OP_SLL) ||
        !is_shift_by(inner, inner_places) || inner_places != places)
        return nullptr;
    return make_binary(OP_ANDB, node->type, as_type(inner->left, node->type),
                       make_icon(node->type, low_ones(bits_of(node) - places)));
}

NODE* shift_out(NODE* node) {
    uint32_t places = 0;
    if (!is_unsigned(node) || !is_integer(node->left) || !is_shift_by(node, places)) return nullptr;
    if (!int96_is_zero(int96_shift_right(possible_bits(node->left), places))) return nullptr;
    return without(node->left, make_icon(node->type, 0));
}

// --- DIV and MOD ---

// The sign shifted to the low bits. As words without sign by one shift, which the processor adds at once; in
// other types by a mask.
NODE* rounding_of(TYPE* type, const NODE* dividend, uint32_t power) {
    const uint32_t bits = type_bits(type);
    const bool is_int = type_same_representation(type, type_package()->int_type());
    TYPE* logical = type_package()->unsigned_int_type();
    if (is_int && power == 1) return make_binary(OP_SRL, logical, make_copy(dividend), amount_icon(bits - 1));
    NODE* sign = make_binary(OP_SRL, type, make_copy(dividend), amount_icon(bits - 1));
    if (is_int) return make_binary(OP_SRL, logical, sign, amount_icon(bits - power));
    return make_binary(OP_ANDB, type, sign, make_icon(type, low_ones(power)));
}

namespace {

bool divisions_stay() { return settings.no_divide_replacement != 0; }

bool is_never_negative(const NODE* node) {
    return is_unsigned(node) ||
           (type_is_signed(node->left->type) && !int96_is_negative(range_of(node->left).low));
}

// The power of two that a signed constant divisor, or its negative, is; 0 when it is none above 1.
uint32_t signed_power(const NODE* node, bool& negative) {
    const INT96 divisor = int96_truncate(node->right->value(), bits_of(node), is_unsigned(node));
    negative = int96_is_negative(divisor);
    const int power = int96_log2(negative ? int96_negate(divisor) : divisor);
    return power > 0 ? static_cast<uint32_t>(power) : 0;
}

bool is_variable_division(const NODE* node) {
    return is_integer(node) && !is_unsigned(node) && is_icon(node->right) && is_variable(node->left) &&
           type_is_signed(node->left->type) && !divisions_stay();
}

} // namespace

NODE* divide_nothing(NODE* node) {
    if (is_fcon(node->right) && node->right->floating()->value == 1) return as_type(node->left, node->type);
    if (is_icon_of(node->right, 1)) return as_type(node->left, node->type);
    if (!is_integer(node) || is_unsigned(node) || !is_all_ones(node->right)) return nullptr;
    return make_unary(OP_UMINUS, node->type, node->left);
}

NODE* divide_quotient(NODE* node) {
    NODE* inner = node->left;
    if (!is_icon(node->right) || !is_op(inner, OP_DIV) || !is_icon(inner->right) || !same_sign(node, inner))
        return nullptr;
    const INT96 a = int96_truncate(inner->right->value(), bits_of(node), is_unsigned(node));
    const INT96 b = int96_truncate(node->right->value(), bits_of(node), is_unsigned(node));
    INT96 product{};
    if (int96_is_zero(a) || int96_is_zero(b) || !int96_multiply_exactly(a, b, product) ||
        !int96_fits(product, bits_of(node), is_unsigned(node)))
        return nullptr;
    return make_binary(OP_DIV, node->type, inner->left, make_icon(node->type, product));
}

NODE* divide_by_power(NODE* node) {
    if (!is_integer(node) || !is_icon(node->right) || divisions_stay()) return nullptr;
    const int power = int96_log2(int96_truncate(node->right->value(), bits_of(node), is_unsigned(node)));
    if (power < 1 || !is_never_negative(node)) return nullptr;
    return make_binary(OP_SRL, node->type, node->left, amount_icon(static_cast<uint32_t>(power)));
}

NODE* divide_variable_by_power(NODE* node) {
    if (!is_variable_division(node)) return nullptr;
    bool negative = false;
    const uint32_t power = signed_power(node, negative);
    if (!power) return nullptr;
    NODE* rounded = make_binary(OP_PLUS, node->type, node->left, rounding_of(node->type, node->left, power));
    NODE* quotient = make_binary(OP_SRL, node->type, rounded, amount_icon(power));
    return negative ? make_unary(OP_UMINUS, node->type, quotient) : quotient;
}

NODE* multiply_by_reciprocal(NODE* node) {
    TARGET_FLOAT reciprocal{};
    if (!is_fcon(node->right) || !target_float_exact_reciprocal(*node->right->floating(), reciprocal))
        return nullptr;
    return make_binary(OP_MULT, node->type, node->left, make_fcon(node->right->type, reciprocal));
}

NODE* remainder_nothing(NODE* node) {
    const bool minus_one = is_all_ones(node->right) && is_integer(node) && !is_unsigned(node);
    if (!is_icon_of(node->right, 1) && !minus_one) return nullptr;
    return without(node->left, make_icon(node->type, 0));
}

NODE* remainder_of_small(NODE* node) {
    if (!is_icon(node->right) || !is_integer(node->left) || !same_sign(node, node->left)) return nullptr;
    const INT96 divisor = int96_truncate(node->right->value(), bits_of(node), is_unsigned(node));
    const RANGE range = range_of(node->left);
    if (int96_is_negative(range.low) || int96_compare(range.high, divisor) >= 0) return nullptr;
    return as_type(node->left, node->type);
}

NODE* remainder_by_power(NODE* node) {
    if (!is_integer(node) || !is_icon(node->right) || divisions_stay()) return nullptr;
    const int power = int96_log2(int96_truncate(node->right->value(), bits_of(node), is_unsigned(node)));
    if (power < 1 || !is_never_negative(node)) return nullptr;
    return make_binary(OP_ANDB, node->type, node->left,
                       make_icon(node->type, low_ones(static_cast<uint32_t>(power))));
}

NODE* remainder_of_variable(NODE* node) {
    if (!is_variable_division(node)) return nullptr;
    bool negative = false;
    const uint32_t power = signed_power(node, negative);
    if (!power) return nullptr;
    NODE* rounded =
        make_binary(OP_PLUS, node->type, make_copy(node->left), rounding_of(node->type, node->left, power));
    NODE* mask = make_icon(node->type, int96_shift_left(int96_signed(-1), power));
    return make_binary(OP_MINUS, node->type, node->left, make_binary(OP_ANDB, node->type, rounded, mask));
}

} // namespace pelorus
