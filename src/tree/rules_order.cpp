// Rules for comparisons that a plainer comparison decides: of remainders, of shifted values, of a value with
// itself and a constant more, of bits.
//
// Arithmetic is modulo the width, so x + c < x holds just where the sum goes past the end of the range: for
// an unsigned x from 2^n - c on. H. Warren, "Hacker's Delight", 2-13 and 10-1.
#include "support/settings.h"
#include "tree/query.h"
#include "tree/shapes.h"

namespace pelorus {

namespace {

INT96 sign_bit(const NODE* node) { return int96_shift_left(int96_signed(1), bits_of(node) - 1); }

// How the relation reads both operands; false when it is not plain.
bool reads_unsigned(const NODE* node, bool& as_unsigned) {
    if (!is_number(node->left) || !is_number(node->right)) return false;
    const bool by_types = is_unsigned(node->left) && is_unsigned(node->right);
    as_unsigned = by_types || (node->op >= OP_ULE && node->op <= OP_UGT);
    return as_unsigned || (!is_unsigned(node->left) && !is_unsigned(node->right));
}

RANGE whole_range(const NODE* operand, bool as_unsigned) {
    const uint32_t bits = bits_of(operand);
    if (as_unsigned) return {int96_signed(0), low_ones(bits)};
    return {int96_negate(sign_bit(operand)), low_ones(bits - 1)};
}

int32_t unsigned_if(int32_t op, bool as_unsigned, const NODE* operand) {
    return as_unsigned && !is_unsigned(operand) ? op - OP_LE + OP_ULE : op;
}

} // namespace

// --- Remainders ---

namespace {

// A signed remainder by 2^power: MOD, or what the rules make of it.
struct REMAINDER {
    NODE* dividend;
    uint32_t power;
};

bool power_of(const NODE* node, const NODE* divisor, uint32_t& power) {
    if (!is_icon(divisor)) return false;
    const INT96 value = int96_truncate(divisor->value(), bits_of(node), false);
    const int log = int96_log2(int96_is_negative(value) ? int96_negate(value) : value);
    power = static_cast<uint32_t>(log);
    return log > 0 && power < bits_of(node);
}

// x - (x + rounding & -2^k): what remainder_of_variable makes.
bool is_spelled_remainder(const NODE* node, REMAINDER& found) {
    const NODE* rounded = node->right;
    if (!is_op(node, OP_MINUS) || !is_op(rounded, OP_ANDB) || !is_icon(rounded->right)) return false;
    const NODE* sum = rounded->left;
    const INT96 mask = int96_negate(int96_truncate(rounded->right->value(), bits_of(node), false));
    const int power = int96_log2(mask);
    if (power < 1 || !is_op(sum, OP_PLUS) || !is_pure(node->left) || !same_tree(sum->left, node->left))
        return false;
    found = {node->left, static_cast<uint32_t>(power)};
    if (!is_variable(node->left)) return false;
    NODE* rounding = rounding_of(node->type, node->left, found.power);
    const bool same = same_tree(sum->right, rounding);
    erase_tree(rounding);
    return same;
}

bool is_remainder(const NODE* node, REMAINDER& found) {
    if (!is_number(node) || is_unsigned(node) || !is_number(node->left)) return false;
    if (is_unsigned(node->left)) return false;
    if (is_op(node, OP_MINUS)) return is_spelled_remainder(node, found);
    found.dividend = node->left;
    return !settings.no_divide_replacement && is_op(node, OP_MOD) && power_of(node, node->right, found.power);
}

NODE* masked(NODE* node, const REMAINDER& remainder, INT96 mask) {
    return inner_binary(OP_ANDB, node->type, remainder.dividend, make_icon(node->type, mask));
}

} // namespace

NODE* remainder_as_condition(NODE* node) {
    REMAINDER remainder{};
    if (!node->right || !is_remainder(node, remainder)) return nullptr;
    return masked(node, remainder, low_ones(remainder.power));
}

// A remainder other than zero has the sign of the dividend.
NODE* compare_remainder(NODE* node) {
    REMAINDER remainder{};
    NODE* left = node->left;
    if (!is_icon(node->right) || !left->right || !is_remainder(left, remainder)) return nullptr;
    const INT96 low = low_ones(remainder.power);
    const INT96 wanted = int96_truncate(node->right->value(), bits_of(left), false);
    if (int96_is_zero(wanted))
        return make_binary(node->op, node->type, masked(left, remainder, low), node->right);
    const INT96 size = int96_is_negative(wanted) ? int96_negate(wanted) : wanted;
    if (int96_compare(size, low) > 0) return without(left, answer(node, is_op(node, OP_NEQ)));
    const INT96 sign = sign_bit(left);
    const INT96 bits = int96_and(wanted, int96_or(low, sign));
    return make_binary(node->op, node->type, masked(left, remainder, int96_or(low, sign)),
                       make_icon(node->right->type, bits));
}

// --- Shifted to the right ---

namespace {

// The values that x >> k gives, read as the shift does.
RANGE range_of_shifted(const NODE* shift, uint32_t places) {
    const RANGE whole = whole_range(shift, is_unsigned(shift));
    return {int96_shift_right(whole.low, places), int96_shift_right(whole.high, places)};
}

// EQ and NEQ with an end of the range become orderings; NOP for others.
int32_t ordering_at(int32_t op, const RANGE& range, INT96 value) {
    if (value == range.low) return op == OP_EQ ? OP_LE : OP_GT;
    if (value == range.high) return op == OP_EQ ? OP_GE : OP_LT;
    return OP_NOP;
}

} // namespace

// x >> k < c is x < c << k; the others by the largest value that is shifted to c.
NODE* compare_shifted_right(NODE* node) {
    NODE* shift = node->left;
    uint32_t places = 0;
    bool as_unsigned = false;
    const bool ordering = !is_op(node, OP_EQ) && !is_op(node, OP_NEQ);
    if (!is_icon(node->right) || !is_op(shift, OP_SRL) || !is_number(shift) || !is_number(shift->left) ||
        !is_shift_by(shift, places) || is_unsigned(shift) != is_unsigned(shift->left))
        return nullptr;
    if (ordering && (!reads_unsigned(node, as_unsigned) || as_unsigned != is_unsigned(shift))) return nullptr;
    const INT96 value = int96_truncate(node->right->value(), bits_of(shift), is_unsigned(shift));
    const RANGE range = range_of_shifted(shift, places);
    if (int96_compare(value, range.low) < 0 || int96_compare(value, range.high) > 0) return nullptr;
    int32_t op = ordering ? node->op : ordering_at(node->op, range, value);
    if (op == OP_NOP) return nullptr;
    if (op >= OP_ULE && op <= OP_UGT) op = op - OP_ULE + OP_LE;
    INT96 bound = int96_shift_left(value, places);
    if (op == OP_LE || op == OP_GT) bound = int96_or(bound, low_ones(places));
    return make_binary(op, node->type, shift->left, make_icon(shift->left->type, bound));
}

// --- Past the end of the range ---

namespace {

// What x + c < x, and its like, asks of x: whether the sum went past the end. `less` is what holds for the
// sum; c is not zero.
NODE* wrapped_sum(NODE* node, NODE* x, INT96 constant, bool less, bool as_unsigned) {
    const RANGE whole = whole_range(x, as_unsigned);
    constant = int96_truncate(constant, bits_of(x), as_unsigned);
    const bool down = int96_is_negative(constant); // only when signed
    const INT96 bound = down ? int96_subtract(whole.low, constant) : int96_subtract(whole.high, constant);
    // Going up, the sum is less just behind the bound; going down, from the bound on.
    const int32_t op = down ? (less ? OP_GE : OP_LT) : less ? OP_GT : OP_LE;
    return make_binary(unsigned_if(op, as_unsigned, x), node->type, x, make_icon(x->type, bound));
}

bool asks_for_less(int32_t op, bool& less) {
    switch (op) {
    case OP_LT:
    case OP_LE:
    case OP_ULT:
    case OP_ULE: less = true; return true;
    case OP_GT:
    case OP_GE:
    case OP_UGT:
    case OP_UGE: less = false; return true;
    default: return false;
    }
}

bool is_sum_with(NODE* sum, const NODE* x, SUM& parts) {
    if (!is_number(sum) || !is_sum(sum)) return false;
    parts = sum_of(sum);
    return is_number(parts.base) && is_pure(parts.base) && same_tree(parts.base, x) &&
           !int96_is_zero(as_bits(sum, parts.constant));
}

} // namespace

NODE* compare_wrapped(NODE* node) {
    bool as_unsigned = false;
    bool less = false;
    SUM sum{};
    if (is_icon(node->right) || !asks_for_less(node->op, less) || !reads_unsigned(node, as_unsigned))
        return nullptr;
    if (is_sum_with(node->left, node->right, sum))
        return wrapped_sum(node, node->right, sum.constant, less, as_unsigned);
    if (!is_sum_with(node->right, node->left, sum)) return nullptr;
    return wrapped_sum(node, node->left, sum.constant, !less, as_unsigned);
}

// --- Bits ---

// The highest bit of an unsigned value: (x & sign bit) != 0 is x > the rest.
NODE* compare_top_bit(NODE* node) {
    NODE* left = node->left;
    if (!is_icon_of(node->right, 0) || !is_op(left, OP_ANDB) || !is_icon(left->right) ||
        !is_number(left->left) || !is_unsigned(left->left) ||
        as_bits(left, left->right->value()) != sign_bit(left))
        return nullptr;
    return make_binary(is_op(node, OP_NEQ) ? OP_GT : OP_LE, node->type, left->left,
                       make_icon(left->left->type, low_ones(bits_of(left) - 1)));
}

// What is 0 or 1 anyway is its own truth.
NODE* compare_low_bit(NODE* node) {
    NODE* left = node->left;
    if (!is_number(left) || is_icon(left) || !is_icon_of(node->right, is_op(node, OP_EQ) ? 1 : 0))
        return nullptr;
    if (possible_bits(left) != int96_signed(1)) return nullptr;
    return type_same_representation(left->type, node->type) ? left : make_unary(OP_SCONV, node->type, left);
}

// Of bool values, converted or not: compared with 1, or with 0 for the truth.
NODE* compare_bool(NODE* node) {
    NODE* left = node->left;
    if (is_op(left, OP_SCONV) && is_number(left)) left = left->left;
    if (!is_icon(node->right) || !left->type || !type_is_bool(left->type) || is_icon(left)) return nullptr;
    const bool one = is_icon_of(node->right, 1);
    if (!one && !is_icon_of(node->right, 0)) return nullptr;
    if (one == is_op(node, OP_EQ)) return as_type(left, node->type);
    if (!one && left == node->left) return nullptr;
    return make_binary(OP_EQ, node->type, left, make_icon(left->type, 0));
}

} // namespace pelorus
