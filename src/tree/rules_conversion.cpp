// Rules for SCONV and PCONV.
#include "tree/simplifier.h"

namespace pelorus {

NODE* convert_nothing(NODE* node) {
    NODE* operand = node->left;
    if (type_is_void(node->type)) return nullptr;
    if (is_op(node, OP_PCONV)) {
        if (!type_is_pointer(node->type) || !type_is_pointer(operand->type)) return nullptr;
        const bool fresh = is_op(operand, OP_UAND) || is_op(operand, OP_PLUS) || is_op(operand, OP_MINUS);
        if (!fresh && !type_compatible(type_target(node->type), type_target(operand->type))) return nullptr;
        return as_type(operand, node->type);
    }
    if (type_is_pointer(operand->type) || type_is_bool(node->type) != type_is_bool(operand->type) ||
        !type_same_representation(node->type, operand->type))
        return nullptr;
    return operand;
}

namespace {

struct INTEGER_TYPE {
    uint32_t bits;
    bool is_unsigned;
};

INTEGER_TYPE integer_type(const NODE* node) { return {bits_of(node), is_unsigned(node)}; }

// Every value of `from` is one of `to`.
bool holds(INTEGER_TYPE to, INTEGER_TYPE from) {
    if (from.is_unsigned == to.is_unsigned) return from.bits <= to.bits;
    return from.is_unsigned && from.bits < to.bits;
}

// (outer)(middle)x is (outer)x: the middle type loses nothing, or nothing that the outer one would keep.
bool middle_is_needless(INTEGER_TYPE outer, INTEGER_TYPE middle, INTEGER_TYPE inner) {
    return holds(middle, inner) || outer.bits <= middle.bits;
}

// Every value of the integer type is one of the floating type.
bool holds_exactly(const NODE* floating, const NODE* integer) {
    const uint32_t digits = type_strip(floating->type)->size == 4 ? 24 : 53;
    return bits_of(integer) - (is_unsigned(integer) ? 0 : 1) <= digits;
}

bool middle_may_go(const NODE* outer, const NODE* middle, const NODE* inner) {
    if (is_integer(outer) && is_integer(middle) && is_integer(inner)) {
        if (type_is_bool(middle->type)) return false;
        if (type_is_bool(outer->type)) return bits_of(middle) >= bits_of(inner);
        return middle_is_needless(integer_type(outer), integer_type(middle), integer_type(inner));
    }
    if (!is_floating(middle)) return false;
    if (is_floating(outer) && is_floating(inner))
        return type_strip(middle->type)->size >= type_strip(inner->type)->size;
    return is_integer(outer) && !type_is_bool(outer->type) && is_integer(inner) &&
           holds_exactly(middle, inner) && bits_of(outer) >= bits_of(inner);
}

} // namespace

NODE* convert_converted(NODE* node) {
    NODE* middle = node->left;
    if (!is_op(middle, OP_SCONV) || type_is_void(node->type) || !middle_may_go(node, middle, middle->left))
        return nullptr;
    return make_unary(OP_SCONV, node->type, take_left(middle));
}

NODE* convert_masked(NODE* node) {
    NODE* mask = node->left;
    if (!is_integer(node) || type_is_bool(node->type) || !is_op(mask, OP_ANDB) || !is_icon(mask->right) ||
        bits_of(node) > bits_of(mask))
        return nullptr;
    const INT96 all = as_bits(node, int96_signed(-1));
    if (int96_and(as_bits(mask, mask->right->value()), all) != all) return nullptr;
    return make_unary(OP_SCONV, node->type, take_left(mask));
}

NODE* convert_to_bool(NODE* node) {
    if (!type_is_bool(node->type)) return nullptr;
    NODE* operand = node->left;
    if (!is_op(operand, OP_NEQ) || !is_icon_of(operand->right, 0) || !is_integer(operand->left))
        return nullptr;
    return make_unary(OP_SCONV, node->type, take_left(operand));
}

NODE* convert_pointer(NODE* node) {
    NODE* middle = node->left;
    if (!is_op(middle, OP_PCONV) || !is_word(middle->left) || bits_of(middle) != 32 || bits_of(node) > 32)
        return nullptr;
    return as_type(take_left(middle), node->type);
}

namespace {

// The low bits of the result depend on the low bits of the operands alone.
bool keeps_low_bits(int32_t op) {
    switch (op) {
    case OP_PLUS:
    case OP_MINUS:
    case OP_MULT:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB: return true;
    default: return false;
    }
}

// An operand that is as good in the narrow type: a constant, or one that was widened from no wider type.
bool is_narrow(const NODE* operand, const NODE* narrow) {
    if (is_icon(operand)) return true;
    return is_op(operand, OP_SCONV) && is_integer(operand->left) && !type_is_bool(operand->type) &&
           bits_of(operand->left) <= bits_of(narrow);
}

NODE* narrowed(NODE* operand, const NODE* narrow) {
    if (is_icon(operand)) return make_icon(narrow->type, operand->value());
    return as_type(is_narrow(operand, narrow) ? take_left(operand) : operand, narrow->type);
}

} // namespace

// Below the width of int nothing is gained: there are no narrower operators.
NODE* convert_operands(NODE* node) {
    NODE* wide = node->left;
    if (!is_integer(node) || type_is_bool(node->type) || !keeps_low_bits(wide->op) || !is_integer(wide) ||
        type_is_bool(wide->type) || bits_of(node) < 32 || bits_of(node) >= bits_of(wide) ||
        !is_integer(wide->left) || !is_integer(wide->right))
        return nullptr;
    if (!is_narrow(wide->left, node) && !is_narrow(wide->right, node)) return nullptr;
    NODE* left = narrowed(wide->left, node);
    NODE* right = narrowed(wide->right, node);
    return make_binary(wide->op, node->type, left, right);
}

} // namespace pelorus
