// Rules for ANDAND and OROR of two tests of one value.
//
//     x >= 5 && x <= 9    is    x - 5 <= 4, unsigned
//
// The values of an n-bit number lie on a circle, on which each comparison with a constant holds for one arc.
// Two arcs have an arc in common, or make one, unless they meet at both ends. An arc becomes one comparison;
// in the middle of the circle the value is first turned to where the unsigned numbers begin. Tests of bits
// become one test of all of them.
#include "tree/shapes.h"

namespace pelorus {

namespace {

// The values first, first + 1, ... of an n-bit number without sign, modulo 2^n. The count is 0 to 2^n.
struct ARC {
    INT96 first;
    INT96 count;
};

INT96 circle_of(const NODE* value) { return int96_shift_left(int96_signed(1), bits_of(value)); }

INT96 last_of(const NODE* value, const ARC& arc) {
    return as_bits(value, int96_subtract(int96_add(arc.first, arc.count), int96_signed(1)));
}

ARC rest_of(const NODE* value, const ARC& arc) {
    return {as_bits(value, int96_add(arc.first, arc.count)), int96_subtract(circle_of(value), arc.count)};
}

// From `low` to `high`, both included.
ARC between(const NODE* value, INT96 low, INT96 high) {
    return {as_bits(value, low), int96_add(int96_subtract(high, low), int96_signed(1))};
}

// --- Tests as arcs ---

struct TEST {
    NODE* value;
    ARC holds;
};

bool ordering_arc(const NODE* test, INT96 constant, bool as_unsigned, ARC& arc) {
    const NODE* value = test->left;
    const INT96 half = int96_shift_left(int96_signed(1), bits_of(value) - 1);
    const INT96 low = as_unsigned ? int96_signed(0) : int96_negate(half);
    const INT96 high = int96_subtract(int96_add(low, circle_of(value)), int96_signed(1));
    const INT96 one = int96_signed(1);
    switch (test->op) {
    case OP_LT:
    case OP_ULT: arc = between(value, low, int96_subtract(constant, one)); return true;
    case OP_LE:
    case OP_ULE: arc = between(value, low, constant); return true;
    case OP_GT:
    case OP_UGT: arc = between(value, int96_add(constant, one), high); return true;
    case OP_GE:
    case OP_UGE: arc = between(value, constant, high); return true;
    default: return false;
    }
}

bool relation_arc(const NODE* test, ARC& arc) {
    const NODE* value = test->left;
    if (!is_icon(test->right) || !is_number(value) || !is_number(test->right)) return false;
    const bool by_types = is_unsigned(value) && is_unsigned(test->right);
    const bool as_unsigned = by_types || (test->op >= OP_ULE && test->op <= OP_UGT);
    const bool equality = is_op(test, OP_EQ) || is_op(test, OP_NEQ);
    if (!equality && !as_unsigned && is_unsigned(value) != is_unsigned(test->right)) return false;
    const INT96 constant = int96_truncate(test->right->value(), bits_of(value), as_unsigned);
    if (!equality) return ordering_arc(test, constant, as_unsigned, arc);
    arc = {as_bits(value, constant), int96_signed(1)};
    if (is_op(test, OP_NEQ)) arc = rest_of(value, arc);
    return true;
}

// A relation with a constant, or a number alone, which is not zero. Of a sum with a constant, its base.
bool test_of(NODE* node, TEST& test) {
    test.value = node;
    if (opcode_is_relation(node->op)) {
        test.value = node->left;
        if (!relation_arc(node, test.holds)) return false;
    } else if (is_number(node)) {
        test.holds = rest_of(node, {INT96{}, int96_signed(1)});
    } else {
        return false;
    }
    if (!is_pure(test.value)) return false;
    const SUM sum = sum_of(test.value);
    if (sum.base == test.value || !is_number(sum.base)) return true;
    test.holds.first = as_bits(test.value, int96_subtract(test.holds.first, sum.constant));
    test.value = sum.base;
    return true;
}

// --- Arcs together ---

bool is_whole(const NODE* value, const ARC& arc) { return arc.count == circle_of(value); }

// False when they have two arcs in common.
bool common_part(const NODE* value, const ARC& a, const ARC& b, ARC& common) {
    if (is_whole(value, a) || int96_is_zero(b.count)) return common = b, true;
    if (is_whole(value, b) || int96_is_zero(a.count)) return common = a, true;
    const auto smaller = [](INT96 x, INT96 y) { return int96_compare(x, y) < 0 ? x : y; };
    // With the circle turned so that `a` begins at zero, `b` may go past the end and begin anew.
    const INT96 start = as_bits(value, int96_subtract(b.first, a.first));
    const INT96 end = int96_add(start, b.count);
    const INT96 past = int96_subtract(end, circle_of(value));
    const bool has_front = !int96_is_negative(past) && !int96_is_zero(past);
    const bool has_back = int96_compare(start, a.count) < 0;
    if (has_front && has_back) return false;
    if (has_back)
        common = {b.first, int96_subtract(smaller(end, a.count), start)};
    else
        common = {a.first, has_front ? smaller(past, a.count) : INT96{}};
    return true;
}

// --- Arcs as comparisons ---

NODE* compared(const NODE* node, int32_t op, NODE* value, INT96 constant) {
    return make_binary(op, node->type, value, make_icon(value->type, constant));
}

int32_t unsigned_order(int32_t op, const NODE* value) {
    return is_unsigned(value) ? op : op - OP_LE + OP_ULE;
}

// One comparison without arithmetic, when the arc ends where the numbers do, or null.
NODE* one_ordering(const NODE* node, NODE* value, const ARC& arc) {
    const INT96 half = int96_shift_left(int96_signed(1), bits_of(value) - 1);
    const INT96 start = is_unsigned(value) ? INT96{} : half;
    const INT96 last = last_of(value, arc);
    if (arc.first == start) return compared(node, OP_LE, value, last);
    const INT96 behind = as_bits(value, int96_add(last, int96_signed(1)));
    if (behind == start) return compared(node, OP_GE, value, arc.first);
    if (int96_is_zero(arc.first)) return compared(node, OP_ULE, value, last);
    if (int96_is_zero(behind)) return compared(node, OP_UGE, value, arc.first);
    return nullptr;
}

bool goes_round(const NODE* value, const ARC& arc) {
    const INT96 half = int96_shift_left(int96_signed(1), bits_of(value) - 1);
    const INT96 turned = is_unsigned(value) ? arc.first : as_bits(value, int96_add(arc.first, half));
    return int96_compare(int96_add(turned, arc.count), circle_of(value)) > 0;
}

NODE* comparison_with(const NODE* node, NODE* value, const ARC& arc) {
    const INT96 one = int96_signed(1);
    if (int96_is_zero(arc.count) || is_whole(value, arc))
        return make_icon(node->type, int96_is_zero(arc.count) ? 0 : 1);
    if (arc.count == one) return compared(node, OP_EQ, value, arc.first);
    const ARC rest = rest_of(value, arc);
    if (rest.count == one) return compared(node, OP_NEQ, value, rest.first);
    if (NODE* ordering = one_ordering(node, value, arc)) return ordering;
    const bool outside = goes_round(value, arc);
    const ARC& inner = outside ? rest : arc;
    NODE* turned = resimplified(make_sum(value->type, value, int96_negate(inner.first)));
    return compared(node, unsigned_order(outside ? OP_GT : OP_LE, value), turned,
                    int96_subtract(inner.count, one));
}

// x == a || x == b, where a and b differ in one bit.
NODE* equal_but_for_bit(const NODE* node, NODE* value, const ARC& a, const ARC& b) {
    const INT96 one = int96_signed(1);
    const INT96 bit = int96_xor(a.first, b.first);
    if (a.count != one || b.count != one || int96_log2(bit) < 0) return nullptr;
    NODE* masked = inner_binary(OP_ANDB, value->type, value, make_icon(value->type, int96_not(bit)));
    return compared(node, is_op(node, OP_OROR) ? OP_EQ : OP_NEQ, masked, int96_and(a.first, b.first));
}

// Of tests that must both hold; those of OROR are turned round before and after.
NODE* both_hold(const NODE* node, const TEST& a, const TEST& b) {
    const bool either = is_op(node, OP_OROR);
    const ARC first = either ? rest_of(a.value, a.holds) : a.holds;
    const ARC second = either ? rest_of(a.value, b.holds) : b.holds;
    ARC common{};
    if (common_part(a.value, first, second, common))
        return comparison_with(node, a.value, either ? rest_of(a.value, common) : common);
    return equal_but_for_bit(node, a.value, either ? a.holds : rest_of(a.value, a.holds),
                             either ? b.holds : rest_of(a.value, b.holds));
}

} // namespace

NODE* logic_ranges(NODE* node) {
    TEST a{};
    TEST b{};
    if (!test_of(node->left, a) || !test_of(node->right, b) || bits_of(a.value) != bits_of(b.value) ||
        is_icon(a.value) || is_unsigned(a.value) != is_unsigned(b.value) || !same_tree(a.value, b.value))
        return nullptr;
    return both_hold(node, a, b);
}

// --- Tests of bits ---

namespace {

// (value & mask) == wanted, or != for OROR.
struct BIT_TEST {
    NODE* value;
    INT96 mask;
    INT96 wanted;
};

bool bit_test_of(NODE* node, bool either, BIT_TEST& test) {
    NODE* masked = node;
    INT96 wanted{};
    if (is_op(node, either ? OP_NEQ : OP_EQ) && is_icon(node->right)) {
        masked = node->left;
        wanted = as_bits(masked, node->right->value());
    } else if (!either) {
        return false;
    }
    if (!is_op(masked, OP_ANDB) || !is_number(masked) || !is_icon(masked->right) || !is_pure(masked->left))
        return false;
    test = {masked->left, as_bits(masked, masked->right->value()), wanted};
    return true;
}

} // namespace

// What both masks have must be wanted alike.
NODE* logic_bits(NODE* node) {
    const bool either = is_op(node, OP_OROR);
    BIT_TEST a{};
    BIT_TEST b{};
    if (!bit_test_of(node->left, either, a) || !bit_test_of(node->right, either, b) || !is_number(a.value) ||
        !same_tree(a.value, b.value))
        return nullptr;
    const INT96 shared = int96_and(a.mask, b.mask);
    if (int96_and(a.wanted, shared) != int96_and(b.wanted, shared)) return nullptr;
    NODE* mask = make_icon(a.value->type, int96_or(a.mask, b.mask));
    NODE* masked = inner_binary(OP_ANDB, a.value->type, a.value, mask);
    return compared(node, either ? OP_NEQ : OP_EQ, masked, int96_or(a.wanted, b.wanted));
}

} // namespace pelorus
