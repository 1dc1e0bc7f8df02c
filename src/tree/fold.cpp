// Folding: the value of an operator whose operands are constants, computed as the target would.
//
// Left alone: division by zero, shifts by more than the width, conversions of floating values that the
// integer type cannot hold, sums in bool that are more than 1. Their results differ from one processor to the
// next, and a program that runs into them shall do so where it would have.
#include "tree/simplifier.h"

namespace pelorus {

namespace {

bool is_constant(const NODE* node) { return is_icon(node) || is_fcon(node); }

// The bits of an operand read with the signedness of the operator's type.
INT96 operand_of(const NODE* node, const NODE* operand) {
    return int96_truncate(operand->value(), bits_of(operand), is_unsigned(node));
}

// --- Integers ---

NODE* fold_division(const NODE* node, INT96 a, INT96 b) {
    if (int96_is_zero(b)) return nullptr;
    const INT96_DIVISION division = int96_divide(a, b);
    return make_icon(node->type, node->op == OP_DIV ? division.quotient : division.remainder);
}

NODE* fold_shift(const NODE* node, INT96 a) {
    const INT96 amount = node->right->value();
    if (int96_is_negative(amount) || int96_compare(amount, int96_unsigned(bits_of(node))) >= 0)
        return nullptr;
    const auto places = static_cast<uint32_t>(amount.lo);
    return make_icon(node->type,
                     node->op == OP_SLL ? int96_shift_left(a, places) : int96_shift_right(a, places));
}

NODE* fold_integers(const NODE* node) {
    const INT96 a = operand_of(node, node->left);
    const INT96 b = operand_of(node, node->right);
    switch (node->op) {
    case OP_PLUS: return make_icon(node->type, int96_add(a, b));
    case OP_MINUS: return make_icon(node->type, int96_subtract(a, b));
    case OP_MULT: return make_icon(node->type, int96_multiply(a, b));
    case OP_DIV:
    case OP_MOD: return fold_division(node, a, b);
    case OP_ANDB: return make_icon(node->type, int96_and(a, b));
    case OP_ORB: return make_icon(node->type, int96_or(a, b));
    case OP_XORB: return make_icon(node->type, int96_xor(a, b));
    case OP_SLL:
    case OP_SRL: return fold_shift(node, a);
    default: return nullptr;
    }
}

// --- Floating point ---

NODE* fold_floats(const NODE* node) {
    const TARGET_FLOAT& a = *node->left->floating();
    const TARGET_FLOAT& b = *node->right->floating();
    switch (node->op) {
    case OP_PLUS: return make_fcon(node->type, target_float_add(a, b));
    case OP_MINUS: return make_fcon(node->type, target_float_subtract(a, b));
    case OP_MULT: return make_fcon(node->type, target_float_multiply(a, b));
    case OP_DIV: return make_fcon(node->type, target_float_divide(a, b));
    default: return nullptr;
    }
}

// --- Relations ---

// Equality does not depend on the sign; orderings are unsigned when the opcode or both types say so.
std::partial_ordering order_of(const NODE* node) {
    if (is_fcon(node->left)) return target_float_compare(*node->left->floating(), *node->right->floating());
    const bool as_unsigned =
        (node->op >= OP_ULE && node->op <= OP_UGT) || (is_unsigned(node->left) && is_unsigned(node->right));
    const INT96 a = int96_truncate(node->left->value(), bits_of(node->left), as_unsigned);
    const INT96 b = int96_truncate(node->right->value(), bits_of(node->right), as_unsigned);
    return int96_compare(a, b);
}

bool relation_holds(int32_t op, std::partial_ordering order) {
    switch (op) {
    case OP_EQ: return order == 0;
    case OP_NEQ: return order != 0;
    case OP_LE:
    case OP_ULE: return order <= 0;
    case OP_LT:
    case OP_ULT: return order < 0;
    case OP_GE:
    case OP_UGE: return order >= 0;
    default: return order > 0;
    }
}

// --- Conversions ---

NODE* integer_converted(const NODE* node) {
    const INT96 value = node->left->value();
    if (type_is_bool(node->type)) return make_icon(node->type, !int96_is_zero(value));
    if (is_floating(node)) return make_fcon(node->type, target_float_from_integer(value, node->type->size));
    return make_icon(node->type, value);
}

NODE* float_converted(const NODE* node) {
    const TARGET_FLOAT& value = *node->left->floating();
    if (type_is_bool(node->type)) return make_icon(node->type, value.value != 0);
    if (is_floating(node))
        return make_fcon(node->type, target_float_convert(value, type_strip(node->type)->size));
    INT96 integer{};
    if (!target_float_to_integer(value, bits_of(node), is_unsigned(node), integer)) return nullptr;
    return make_icon(node->type, integer);
}

NODE* fold_conversion(const NODE* node) {
    if (!is_word(node) && !is_floating(node)) return nullptr;
    return is_icon(node->left) ? integer_converted(node) : float_converted(node);
}

NODE* fold_float(const NODE* node) {
    const TARGET_FLOAT& value = *node->left->floating();
    switch (node->op) {
    case OP_UMINUS: return make_fcon(node->type, target_float_negate(value));
    case OP_ABS: return make_fcon(node->type, target_float_abs(value));
    case OP_SQRT: return make_fcon(node->type, target_float_sqrt(value));
    default: return nullptr;
    }
}

NODE* fold_integer(const NODE* node) {
    const INT96 value = operand_of(node, node->left);
    switch (node->op) {
    case OP_UMINUS: return make_icon(node->type, int96_negate(value));
    case OP_ABS: return make_icon(node->type, int96_is_negative(value) ? int96_negate(value) : value);
    case OP_NOTB: return make_icon(node->type, int96_not(value));
    default: return nullptr;
    }
}

// A constant of type bool is 0 or 1; an operator that works in that type may give something else, also below
// 0 where the type is a signed one.
bool is_no_bool(const NODE* constant) {
    return type_is_bool(constant->type) && !is_icon_of(constant, 0) && !is_icon_of(constant, 1);
}

bool is_zero_constant(const NODE* node) {
    return is_icon(node) ? int96_is_zero(node->value()) : node->floating()->value == 0;
}

} // namespace

NODE* fold_unary(const NODE* node) {
    if (!is_constant(node->left)) return nullptr;
    if (node->op == OP_SCONV || node->op == OP_PCONV) return fold_conversion(node);
    if (node->op == OP_EXCLAIM) return make_icon(node->type, is_zero_constant(node->left));
    NODE* result = is_icon(node->left) ? fold_integer(node) : fold_float(node);
    return result && is_no_bool(result) ? nullptr : result;
}

NODE* fold_binary(const NODE* node) {
    if (!is_constant(node->left) || node->left->op != node->right->op) return nullptr;
    if (opcode_is_relation(node->op)) return make_icon(node->type, relation_holds(node->op, order_of(node)));
    NODE* result = is_icon(node->left) ? fold_integers(node) : fold_floats(node);
    return result && is_no_bool(result) ? nullptr : result;
}

NODE* fold_constants(NODE* node) {
    return opcode_arity(node->op) == 1 ? fold_unary(node) : fold_binary(node);
}

} // namespace pelorus
