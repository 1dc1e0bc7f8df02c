// Rules for EQ to UGT.
//
// A constant stands on the right. EQ and NEQ hold under arithmetic modulo the width, so sums, negations and
// masks move across them; orderings do not. An ordering that only the end of the range can pass or fail is an
// equality.
#include "tree/shapes.h"

namespace pelorus {

namespace {

// The operands are integers or pointers of the same kind, and it is plain how they are compared.
bool compares_plainly(const NODE* node) {
    if (!is_word(node->left) || !is_word(node->right) || bits_of(node->left) != bits_of(node->right))
        return false;
    const bool left_unsigned = is_unsigned(node->left);
    if (node->op >= OP_ULE && node->op <= OP_UGT) return left_unsigned && is_unsigned(node->right);
    return left_unsigned == is_unsigned(node->right);
}

} // namespace

NODE* compare_same(NODE* node) {
    if (!is_word(node->left) || !is_pure(node->left) || !same_tree(node->left, node->right)) return nullptr;
    switch (node->op) {
    case OP_EQ:
    case OP_LE:
    case OP_GE:
    case OP_ULE:
    case OP_UGE: return answer(node, true);
    default: return answer(node, false);
    }
}

// --- Ranges ---

namespace {

// What the relation gives for every value of the range: 1 or 0, or -1 when it depends.
int outcome(int32_t op, const RANGE& range, INT96 constant) {
    const auto below = int96_compare(range.high, constant); // of the largest value
    const auto above = int96_compare(range.low, constant);  // of the smallest value
    switch (op) {
    case OP_EQ:
    case OP_NEQ: return below < 0 || above > 0 ? op == OP_NEQ : -1;
    case OP_LT:
    case OP_ULT: return below < 0 ? 1 : above >= 0 ? 0 : -1;
    case OP_LE:
    case OP_ULE: return below <= 0 ? 1 : above > 0 ? 0 : -1;
    case OP_GT:
    case OP_UGT: return above > 0 ? 1 : below <= 0 ? 0 : -1;
    default: return above >= 0 ? 1 : below < 0 ? 0 : -1;
    }
}

} // namespace

NODE* decided_by_range(NODE* node) {
    if (!is_icon(node->right) || is_icon(node->left) || !compares_plainly(node)) return nullptr;
    const int holds = outcome(node->op, range_of(node->left), node->right->value());
    return holds < 0 ? nullptr : without(node->left, answer(node, holds != 0));
}

// Tries EQ and NEQ with the end of the range: the one that agrees with the relation at the end and just
// inside agrees everywhere.
NODE* compare_edge(NODE* node) {
    if (!is_icon(node->right) || is_icon(node->left) || !compares_plainly(node)) return nullptr;
    const RANGE range = range_of(node->left);
    const INT96 one = int96_signed(1);
    const INT96 low_inside = int96_add(range.low, one);
    const INT96 high_inside = int96_subtract(range.high, one);
    const auto holds = [&](INT96 value) { return outcome(node->op, {value, value}, node->right->value()); };
    INT96 edge{};
    if (holds(range.low) != holds(low_inside))
        edge = range.low;
    else if (holds(range.high) != holds(high_inside))
        edge = range.high;
    else
        return nullptr;
    return make_binary(holds(edge) ? OP_EQ : OP_NEQ, node->type, node->left,
                       make_icon(node->right->type, edge));
}

// --- Conversions ---

namespace {

// An integer that was widened without changing its value.
bool is_widened_integer(const NODE* node) {
    if (!is_op(node, OP_SCONV) || !is_integer(node) || !is_integer(node->left) || type_is_bool(node->type))
        return false;
    return bits_of(node->left) < bits_of(node) && (is_unsigned(node->left) || !is_unsigned(node));
}

bool fits(INT96 value, const NODE* node) {
    return !type_is_bool(node->type) && int96_fits(value, bits_of(node), is_unsigned(node));
}

int32_t narrow_relation(const NODE* node, const NODE* operand) {
    switch (node->op) {
    case OP_ULE:
    case OP_ULT:
    case OP_UGE:
    case OP_UGT: return is_unsigned(operand) ? node->op : OP_NOP; // of a signed one, the sign was extended
    default: return node->op;
    }
}

} // namespace

NODE* compare_narrow(NODE* node) {
    if (!is_widened_integer(node->left) || !compares_plainly(node)) return nullptr;
    NODE* operand = node->left->left;
    const int32_t op = narrow_relation(node, operand);
    if (op == OP_NOP) return nullptr;
    if (is_icon(node->right) && fits(node->right->value(), operand))
        return make_binary(op, node->type, operand, make_icon(operand->type, node->right->value()));
    if (!is_widened_integer(node->right)) return nullptr;
    NODE* other = node->right->left;
    if (bits_of(operand) != bits_of(other) || is_unsigned(operand) != is_unsigned(other) ||
        type_is_bool(operand->type) != type_is_bool(other->type))
        return nullptr;
    return make_binary(op, node->type, operand, other);
}

// --- EQ and NEQ ---

NODE* compare_truth(NODE* node) {
    if (!is_icon(node->right) || !is_truth(node->left)) return nullptr;
    const bool with_zero = is_zero(node->right);
    if (!with_zero && !is_icon_of(node->right, 1)) return nullptr;
    if (with_zero == is_op(node, OP_NEQ)) return as_type(node->left, node->type);
    return negation_of(node->left, node->type);
}

NODE* compare_sum(NODE* node) {
    NODE* left = node->left;
    if (!is_icon(node->right) || !is_integer(left)) return nullptr;
    if (is_op(left, OP_XORB) && is_icon(left->right))
        return make_binary(
            node->op, node->type, left->left,
            make_icon(node->right->type, int96_xor(left->right->value(), node->right->value())));
    if (!is_sum(left)) return nullptr;
    const SUM sum = sum_of(left);
    if (!is_integer(sum.base)) return nullptr;
    return make_binary(node->op, node->type, sum.base,
                       make_icon(node->right->type, int96_subtract(node->right->value(), sum.constant)));
}

NODE* compare_sums(NODE* node) {
    if (!is_sum(node->left) && !is_sum(node->right)) return nullptr;
    const SUM a = sum_of(node->left);
    const SUM b = sum_of(node->right);
    if (is_icon(b.base) || !is_word(a.base) || !is_word(b.base) ||
        type_is_pointer(a.base->type) != type_is_pointer(b.base->type))
        return nullptr;
    const uint32_t bits = bits_of(node->left);
    const bool same_constant =
        int96_truncate(a.constant, bits, true) == int96_truncate(b.constant, bits, true);
    if (same_constant) return make_binary(node->op, node->type, a.base, b.base);
    if (!is_pure(a.base) || !same_tree(a.base, b.base)) return nullptr;
    return answer(node, is_op(node, OP_NEQ));
}

NODE* compare_difference(NODE* node) {
    NODE* left = node->left;
    if (!is_zero(node->right) || !is_integer(left) || (!is_op(left, OP_MINUS) && !is_op(left, OP_XORB)))
        return nullptr;
    if (!is_word(left->left) || !is_word(left->right) ||
        type_is_pointer(left->left->type) != type_is_pointer(left->right->type))
        return nullptr;
    if (bits_of(left->left) != bits_of(left->right)) return nullptr;
    return make_binary(node->op, node->type, left->left, left->right);
}

NODE* compare_negation(NODE* node) {
    NODE* left = node->left;
    if (!is_icon(node->right) || !is_integer(left) || (!is_op(left, OP_UMINUS) && !is_op(left, OP_NOTB)))
        return nullptr;
    const INT96 constant = node->right->value();
    NODE* moved =
        make_icon(node->right->type, is_op(left, OP_UMINUS) ? int96_negate(constant) : int96_not(constant));
    return make_binary(node->op, node->type, take_left(left), moved);
}

namespace {

// x & c on the left, a constant on the right; the two as bits.
bool is_mask_test(const NODE* node, INT96& mask, INT96& wanted) {
    if (!is_icon(node->right) || !is_op(node->left, OP_ANDB) || !is_icon(node->left->right)) return false;
    mask = as_bits(node->left, node->left->right->value());
    wanted = as_bits(node->left, node->right->value());
    return true;
}

} // namespace

NODE* compare_impossible(NODE* node) {
    INT96 mask{};
    INT96 wanted{};
    if (!is_mask_test(node, mask, wanted) || int96_and(mask, wanted) == wanted) return nullptr;
    return without(node->left, answer(node, is_op(node, OP_NEQ)));
}

NODE* compare_bit(NODE* node) {
    INT96 mask{};
    INT96 wanted{};
    if (!is_mask_test(node, mask, wanted) || mask != wanted || int96_log2(mask) < 0) return nullptr;
    return make_binary(is_op(node, OP_EQ) ? OP_NEQ : OP_EQ, node->type, node->left,
                       make_icon(node->right->type, 0));
}

NODE* compare_shifted(NODE* node) {
    INT96 mask{};
    INT96 wanted{};
    if (!is_mask_test(node, mask, wanted) || !int96_is_zero(wanted)) return nullptr;
    NODE* shift = node->left->left;
    uint32_t places = 0;
    if (!is_op(shift, OP_SRL) || !is_shift_by(shift, places)) return nullptr;
    const INT96 moved = as_bits(shift, int96_shift_left(mask, places));
    if (int96_shift_right(moved, places) != mask) return nullptr;
    NODE* test = inner_binary(OP_ANDB, node->left->type, shift->left, make_icon(node->left->type, moved));
    return make_binary(node->op, node->type, test, node->right);
}

NODE* compare_sign(NODE* node) {
    INT96 mask{};
    INT96 wanted{};
    if (!is_mask_test(node, mask, wanted) || !int96_is_zero(wanted)) return nullptr;
    NODE* operand = node->left->left;
    if (int96_log2(mask) != static_cast<int>(bits_of(node->left)) - 1 || !is_integer(operand) ||
        is_unsigned(operand))
        return nullptr;
    return make_binary(is_op(node, OP_NEQ) ? OP_LT : OP_GE, node->type, operand, make_icon(operand->type, 0));
}

} // namespace pelorus
