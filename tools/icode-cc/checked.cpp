// Arithmetic that tells whether it overflows: `__builtin_add_overflow` and its kin; see expressions.h.
//
// 1. Operands of at most 32 bits are computed with in 64 bits. 2. Operands and result of one type of 64 bits
// are computed with in that type, and the result is compared with the operands. 3. Any other mixture is
// computed with in 64 bits and a sign.
#include "clang/Basic/Builtins.h"

#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

OPCODE overflow_opcode(unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_add_overflow:
    case Builtin::BI__builtin_sadd_overflow:
    case Builtin::BI__builtin_saddl_overflow:
    case Builtin::BI__builtin_saddll_overflow:
    case Builtin::BI__builtin_uadd_overflow:
    case Builtin::BI__builtin_uaddl_overflow:
    case Builtin::BI__builtin_uaddll_overflow: return OP_PLUS;
    case Builtin::BI__builtin_sub_overflow:
    case Builtin::BI__builtin_ssub_overflow:
    case Builtin::BI__builtin_ssubl_overflow:
    case Builtin::BI__builtin_ssubll_overflow:
    case Builtin::BI__builtin_usub_overflow:
    case Builtin::BI__builtin_usubl_overflow:
    case Builtin::BI__builtin_usubll_overflow: return OP_MINUS;
    case Builtin::BI__builtin_mul_overflow:
    case Builtin::BI__builtin_smul_overflow:
    case Builtin::BI__builtin_smull_overflow:
    case Builtin::BI__builtin_smulll_overflow:
    case Builtin::BI__builtin_umul_overflow:
    case Builtin::BI__builtin_umull_overflow:
    case Builtin::BI__builtin_umulll_overflow: return OP_MULT;
    default: return OP_NOP;
    }
}

// The operands and the place of the result of one such builtin.
struct CHECKED {
    OPERAND left, right, place;
    TYPE* result; // what `place` points to
};

// Computes in 64 bits, where operands of at most 32 bits cannot overflow.
NODE* checked_in_wide(BODY& body, OPCODE op, const CHECKED& c) {
    const bool is_unsigned =
        op == OP_MULT && !type_is_signed(c.left.value->type) && !type_is_signed(c.right.value->type);
    TYPE* wide = long_long_type(body.unit, is_unsigned);
    NODE* exact = new_binary(op, wide, arithmetic_conversion(c.left.use(), wide),
                             arithmetic_conversion(c.right.use(), wide));
    const SAVED_VALUE saved = save_value(body, exact);
    NODE* store = assignment(object_at(c.place.use(), c.result),
                             arithmetic_conversion(use_local(saved.symbol), c.result), c.result);
    NODE* overflow = nullptr;
    if (c.result->size == 8) {
        TYPE* number_type = long_long_type(body.unit, false);
        const bool fits = type_is_signed(c.result) != is_unsigned;
        overflow = fits ? number(body, 0)
                        : test(body, OP_LT, arithmetic_conversion(use_local(saved.symbol), number_type),
                               zero_constant(number_type));
    } else {
        NODE* back = arithmetic_conversion(arithmetic_conversion(use_local(saved.symbol), c.result), wide);
        overflow = test(body, OP_NEQ, back, use_local(saved.symbol));
    }
    return sequence(saved.assignment, sequence(store, overflow));
}

// True when the type can hold every value that the operand may have.
bool holds_operand(const TYPE* type, const OPERAND& operand) {
    const TYPE* own = operand.value->type;
    if (type_same_representation(own, type)) return true;
    if (own->size == type->size) return false;
    return type_is_signed(type) || !type_is_signed(own) ||
           (is_integer_constant(operand.value) && !int96_is_negative(operand.value->value()));
}

NODE* unsigned_overflow(BODY& body, OPCODE op, const CHECKED& c, SYMBOL* result) {
    TYPE* type = c.result;
    if (op == OP_PLUS) return test(body, OP_ULT, use_local(result), c.left.use());
    if (op == OP_MINUS) return test(body, OP_ULT, c.left.use(), c.right.use());
    NODE* quotient = new_binary(OP_DIV, type, use_local(result), c.left.use());
    return test(body, OP_ANDAND, test(body, OP_NEQ, c.left.use(), zero_constant(type)),
                test(body, OP_NEQ, quotient, c.right.use()));
}

NODE* signed_overflow(BODY& body, OPCODE op, const CHECKED& c, SYMBOL* result) {
    TYPE* type = c.result;
    if (op == OP_MULT) {
        NODE* quotient = new_binary(OP_DIV, type, use_local(result), c.left.use());
        NODE* least = test(body, OP_EQ, c.right.use(), integer_constant(type, INT64_MIN));
        NODE* wrong = choice(int_type(body.unit), test(body, OP_EQ, c.left.use(), integer_constant(type, -1)),
                             least, test(body, OP_NEQ, quotient, c.right.use()));
        return test(body, OP_ANDAND, test(body, OP_NEQ, c.left.use(), zero_constant(type)), wrong);
    }
    // The sign of the result differs from both operands' (sum), or the operands differ and it differs from
    // the left one's.
    NODE* first = new_binary(OP_XORB, type, c.left.use(), op == OP_PLUS ? use_local(result) : c.right.use());
    NODE* second = new_binary(OP_XORB, type, op == OP_PLUS ? c.right.use() : c.left.use(), use_local(result));
    return test(body, OP_LT, new_binary(OP_ANDB, type, first, second), zero_constant(type));
}

NODE* checked_in_place(BODY& body, OPCODE op, const CHECKED& c) {
    const SAVED_VALUE result = save_value(body, new_binary(op, c.result, c.left.use(), c.right.use()));
    NODE* store = assignment(object_at(c.place.use(), c.result), use_local(result.symbol), c.result);
    NODE* overflow = type_is_signed(c.result) ? signed_overflow(body, op, c, result.symbol)
                                              : unsigned_overflow(body, op, c, result.symbol);
    return sequence(result.assignment, sequence(store, overflow));
}

// The exact result of an operator is `high` * 2^64 + `low`; only its sign is exact when `beyond` is not zero.
struct EXACT {
    NODE* effects;
    SYMBOL* low;  // unsigned, 64 bits
    NODE* high;   // int, 0 or -1 for a result that 64 bits can hold
    NODE* beyond; // null: zero
};

NODE* low_part(BODY& body, const OPERAND& x) {
    NODE* value = arithmetic_conversion(x.use(), long_long_type(body.unit, !type_is_signed(x.value->type)));
    return arithmetic_conversion(value, long_long_type(body.unit, true));
}

NODE* minus(BODY& body, NODE* truth) { return new_unary(OP_UMINUS, int_type(body.unit), truth); }

// 1 when the operand is negative.
NODE* is_negative(BODY& body, const OPERAND& x) {
    if (!type_is_signed(x.value->type)) return number(body, 0);
    return test(body, OP_LT, x.use(), zero_constant(type_strip(x.value->type)));
}

EXACT exact_sum(BODY& body, OPCODE op, const CHECKED& c) {
    TYPE* wide = long_long_type(body.unit, true);
    TYPE* type = int_type(body.unit);
    const SAVED_VALUE low =
        save_value(body, new_binary(op, wide, low_part(body, c.left), low_part(body, c.right)));
    NODE* carry = op == OP_PLUS ? test(body, OP_ULT, use_local(low.symbol), low_part(body, c.left))
                                : test(body, OP_ULT, low_part(body, c.left), low_part(body, c.right));
    NODE* signs =
        new_binary(op, type, minus(body, is_negative(body, c.left)), minus(body, is_negative(body, c.right)));
    return {low.assignment, low.symbol, new_binary(op, type, signs, carry), nullptr};
}

SAVED_VALUE magnitude(BODY& body, const OPERAND& x) {
    TYPE* wide = long_long_type(body.unit, true);
    if (!type_is_signed(x.value->type)) return save_value(body, low_part(body, x));
    NODE* negated = new_unary(OP_UMINUS, wide, low_part(body, x));
    return save_value(body, choice(wide, is_negative(body, x), negated, low_part(body, x)));
}

EXACT exact_product(BODY& body, const CHECKED& c) {
    TYPE* wide = long_long_type(body.unit, true);
    const SAVED_VALUE left = magnitude(body, c.left), right = magnitude(body, c.right);
    const SAVED_VALUE size =
        save_value(body, new_binary(OP_MULT, wide, use_local(left.symbol), use_local(right.symbol)));
    const auto product = [&] { return use_local(size.symbol); };
    NODE* quotient = new_binary(OP_DIV, wide, product(), use_local(left.symbol));
    NODE* beyond = test(body, OP_ANDAND, test(body, OP_NEQ, use_local(left.symbol), zero_constant(wide)),
                        test(body, OP_NEQ, quotient, use_local(right.symbol)));
    const auto is_below = [&] {
        return test(body, OP_NEQ, is_negative(body, c.left), is_negative(body, c.right));
    };
    const SAVED_VALUE low =
        save_value(body, choice(wide, is_below(), new_unary(OP_UMINUS, wide, product()), product()));
    NODE* high = minus(body, both(body, is_below(), test(body, OP_NEQ, product(), zero_constant(wide))));
    NODE* effects = sequence(left.assignment, sequence(right.assignment, size.assignment));
    return {sequence(effects, low.assignment), low.symbol, high, beyond};
}

NODE* checked_exactly(BODY& body, OPCODE op, const CHECKED& c) {
    const EXACT exact = op == OP_MULT ? exact_product(body, c) : exact_sum(body, op, c);
    const SAVED_VALUE result = save_value(body, arithmetic_conversion(use_local(exact.low), c.result));
    const OPERAND stored{nullptr, use_local(result.symbol)};
    NODE* store = assignment(object_at(c.place.use(), c.result), stored.use(), c.result);
    NODE* overflow = either(body, test(body, OP_NEQ, low_part(body, stored), use_local(exact.low)),
                            test(body, OP_NEQ, exact.high, minus(body, is_negative(body, stored))));
    if (exact.beyond) overflow = either(body, overflow, exact.beyond);
    return sequence(exact.effects, sequence(result.assignment, sequence(store, overflow)));
}

NODE* checked_arithmetic(BODY& body, const CallExpr* call, OPCODE op) {
    CHECKED c{argument(body, call, 0), argument(body, call, 1), argument(body, call, 2), nullptr};
    c.result = icode_type(body.unit, call->getArg(2)->getType()->getPointeeType().getUnqualifiedType());
    const bool narrow = c.left.value->type->size <= 4 && c.right.value->type->size <= 4;
    NODE* result = nullptr;
    if (narrow) {
        result = checked_in_wide(body, op, c);
    } else if (c.result->size == 8 && holds_operand(c.result, c.left) && holds_operand(c.result, c.right)) {
        c.left.value = arithmetic_conversion(c.left.value, c.result);
        c.right.value = arithmetic_conversion(c.right.value, c.result);
        result = checked_in_place(body, op, c);
    } else {
        result = checked_exactly(body, op, c);
    }
    return sequence(c.left.assignment, sequence(c.right.assignment, sequence(c.place.assignment, result)));
}

} // namespace

NODE* value_of_checked_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    const OPCODE op = overflow_opcode(builtin);
    return op == OP_NOP ? nullptr : checked_arithmetic(body, call, op);
}

} // namespace pelorus
