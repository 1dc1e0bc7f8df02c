// Rules for floating values. Each gives the same number for every operand and in every mode of rounding:
// changing a sign is exact, and so is widening. Nothing is regrouped, and nothing cancels: infinities and
// NaNs are no zero when they are subtracted from themselves. Nor do signs move out of sums and products: an
// operator hands a NaN on with its sign, which x * -1.0 keeps and -x turns round.
#include "tree/shapes.h"

namespace pelorus {

namespace {

NODE* negated_constant(const NODE* constant) {
    return make_fcon(constant->type, target_float_negate(*constant->floating()));
}

} // namespace

// The sign of an absolute value's operand does not count; an unsigned operand has none.
NODE* absolute_of_sign(NODE* node) {
    NODE* inner = node->left;
    if (!is_op(inner, OP_UMINUS) && !is_op(inner, OP_ABS)) return nullptr;
    if (!is_floating(node) && (is_unsigned(node) || is_unsigned(inner) || is_unsigned(inner->left)))
        return nullptr;
    if (is_op(inner, OP_ABS)) return as_type(inner, node->type);
    return make_unary(OP_ABS, node->type, take_left(inner));
}

namespace {

bool is_widened_float(const NODE* node) {
    return is_op(node, OP_SCONV) && is_floating(node) && is_floating(node->left) &&
           bits_of(node->left) < bits_of(node);
}

// The constant in the type, when that holds it.
NODE* narrowed_constant(const NODE* constant, TYPE* type) {
    const TARGET_FLOAT& value = *constant->floating();
    const TARGET_FLOAT narrow = target_float_convert(value, type_strip(type)->size);
    const bool same = target_float_same(target_float_convert(narrow, value.bytes), value);
    return same ? make_fcon(type, narrow) : nullptr;
}

} // namespace

NODE* compare_floating(NODE* node) {
    NODE* left = node->left;
    NODE* right = node->right;
    if (is_op(left, OP_UMINUS) && is_floating(left) && is_fcon(right))
        return make_binary(opcode_fact(node->op).swapped, node->type, take_left(left),
                           negated_constant(right));
    if (!is_widened_float(left)) return nullptr;
    if (is_fcon(right)) {
        NODE* narrow = narrowed_constant(right, left->left->type);
        return narrow ? make_binary(node->op, node->type, take_left(left), narrow) : nullptr;
    }
    if (!is_widened_float(right) || bits_of(left->left) != bits_of(right->left)) return nullptr;
    return make_binary(node->op, node->type, take_left(left), take_left(right));
}

} // namespace pelorus
