// What slots hold of which type, and how one becomes another.
#include "compile.h"

namespace pelorus {

SHAPE shape_of(const TYPE* type) {
    const TYPE* plain = type_strip(type);
    const auto size = uint8_t(plain->size);
    const bool is_scalar_size = plain->size == 1 || plain->size == 2 || plain->size == 4 || plain->size == 8;
    switch (plain->kind) {
    case TK_VOID: return {};
    case TK_BITFIELD: return shape_of(plain->base);
    case TK_INTEGER:
    case TK_ENUM:
        if (!is_scalar_size) break;
        return {SHAPE::INTEGER, size, type_is_signed(plain), type_is_bool(plain), false};
    case TK_FLOATING:
        if (size != 4 && size != 8) break;
        return {SHAPE::FLOATING, size};
    case TK_POINTER:
    case TK_REFERENCE: return {SHAPE::INTEGER, 4, false, false, true};
    case TK_ARRAY:
    case TK_FUNCTION:
    case TK_STRUCT:
    case TK_UNION:
    case TK_CLASS:
    case TK_OPAQUE: return {SHAPE::MEMORY, 4};
    default: break;
    }
    return {SHAPE::UNKNOWN, 4};
}

OPERATION extension_of(const SHAPE& shape) {
    if (shape.kind != SHAPE::INTEGER) return MC_MOVE;
    if (shape.size == 1) return shape.is_signed ? MC_TO_8S : MC_TO_8U;
    if (shape.size == 2) return shape.is_signed ? MC_TO_16S : MC_TO_16U;
    return MC_MOVE;
}

uint32_t extend(COMPILER& compiler, uint32_t slot, const SHAPE& shape, uint32_t wanted) {
    const OPERATION operation = extension_of(shape);
    if (operation == MC_MOVE) return slot;
    const uint32_t result = wanted == NO_NUMBER ? new_slot(compiler) : wanted;
    emit(compiler, operation, result, slot, 0);
    return result;
}

namespace {

uint32_t emit_unary(COMPILER& compiler, OPERATION operation, uint32_t slot, uint32_t wanted) {
    const uint32_t result = wanted == NO_NUMBER ? new_slot(compiler) : wanted;
    emit(compiler, operation, result, slot, 0);
    return result;
}

// The four conversions between integers and a floating type stand in the order int, unsigned, long long,
// unsigned long long.
OPERATION of_integer(OPERATION first, const SHAPE& integer) {
    return OPERATION(first + (is_wide(integer) ? 2 : 0) + (integer.is_signed || integer.size < 4 ? 0 : 1));
}

uint32_t to_bool(COMPILER& compiler, uint32_t slot, const SHAPE& from, uint32_t wanted) {
    if (from.kind == SHAPE::FLOATING)
        return emit_unary(compiler, is_wide(from) ? MC_DOUBLE_TRUTH : MC_FLOAT_TRUTH, slot, wanted);
    return emit_unary(compiler, is_wide(from) ? MC_TRUTH_64 : MC_TRUTH_32, slot, wanted);
}

uint32_t to_integer(COMPILER& compiler, uint32_t slot, const SHAPE& from, const SHAPE& to, uint32_t wanted) {
    const bool is_double = is_wide(from);
    emit(compiler, MC_CHECK_INTEGER, slot, from.size, uint32_t(to.size) | uint32_t(to.is_signed) << 8);
    const uint32_t whole =
        emit_unary(compiler, of_integer(is_double ? MC_DOUBLE_TO_INT : MC_FLOAT_TO_INT, to), slot, wanted);
    return extend(compiler, whole, to, wanted);
}

uint32_t between_integers(COMPILER& compiler, uint32_t slot, const SHAPE& from, const SHAPE& to,
                          uint32_t wanted) {
    if (is_wide(to))
        return is_wide(from) ? slot
                             : emit_unary(compiler, from.is_signed ? MC_WIDEN_S : MC_WIDEN_U, slot, wanted);
    return extend(compiler, slot, to, wanted);
}

} // namespace

bool converts_nothing(const SHAPE& from, const SHAPE& to) {
    if (to.kind == SHAPE::NOTHING || to.kind == SHAPE::MEMORY || from == to) return true;
    if (from.kind == SHAPE::FLOATING || to.kind == SHAPE::FLOATING)
        return from.kind == to.kind && from.size == to.size;
    if (to.is_bool) return from.is_bool;
    if (is_wide(to)) return is_wide(from);
    if (to.size == 4) return true;
    if (from.size == to.size) return from.is_signed == to.is_signed;
    return from.size < to.size && (!from.is_signed || to.is_signed);
}

uint32_t convert(COMPILER& compiler, uint32_t slot, const SHAPE& from, const SHAPE& to, uint32_t wanted) {
    if (converts_nothing(from, to)) return slot;
    if (from.kind == SHAPE::NOTHING || from.kind == SHAPE::UNKNOWN || to.kind == SHAPE::UNKNOWN)
        return emit_unsupported(compiler, "a value of a type that has no arithmetic here");
    if (to.is_bool) return to_bool(compiler, slot, from, wanted);
    if (to.kind == SHAPE::FLOATING) {
        if (from.kind == SHAPE::FLOATING)
            return emit_unary(compiler, is_wide(to) ? MC_FLOAT_TO_DOUBLE : MC_DOUBLE_TO_FLOAT, slot, wanted);
        return emit_unary(compiler, of_integer(is_wide(to) ? MC_INT_TO_DOUBLE : MC_INT_TO_FLOAT, from), slot,
                          wanted);
    }
    if (from.kind == SHAPE::FLOATING) return to_integer(compiler, slot, from, to, wanted);
    return between_integers(compiler, slot, from, to, wanted);
}

} // namespace pelorus
