// `__fp16`; see half.h.
#include "half.h"

#include "elements.h"

namespace pelorus {

using namespace clang;

namespace {

TYPE* half_type(BODY& body) { return icode_type(body.unit, body.unit.ast->HalfTy); }
TYPE* float_type(BODY& body) { return icode_type(body.unit, body.unit.ast->FloatTy); }

// The bits of a value as another type of its size, by way of memory.
NODE* same_bits(BODY& body, NODE* value, TYPE* type) {
    const SAVED_VALUE saved = save_value(body, value);
    NODE* place = address_of(use_local(saved.symbol), body.unit.types.make_pointer(type));
    return sequence(saved.assignment, new_unary(OP_UMULT, type, place));
}

NODE* library_conversion(BODY& body, const char* name, NODE* bits, TYPE* result) {
    SYMBOL* function = library_function(body.unit, name, result, {type_strip(bits->type)});
    return direct_call(body.unit, result, function, {bits});
}

NODE* to_float(BODY& body, NODE* half) {
    return same_bits(body, library_conversion(body, "__gnu_h2f_ieee", half, unsigned_type(body.unit)),
                     float_type(body));
}

NODE* to_half(BODY& body, NODE* value) {
    if (!type_is_floating(value->type)) value = arithmetic_conversion(value, float_type(body));
    const bool is_double = value->type->size == 8;
    TYPE* bits = is_double ? long_long_type(body.unit, true) : unsigned_type(body.unit);
    return library_conversion(body, is_double ? "__gnu_d2h_ieee" : "__gnu_f2h_ieee",
                              same_bits(body, value, bits), half_type(body));
}

} // namespace

NODE* value_of_half(BODY& body, const Expr* e) { return to_float(body, value_of(body, e)); }

NODE* half_conversion(BODY& body, const CastExpr* e) {
    const Expr* inner = e->getSubExpr();
    if (NODE* constant = constant_of(body, e)) return constant;
    NODE* value = inner->getType()->isHalfType() ? value_of_half(body, inner) : value_of(body, inner);
    if (e->getType()->isHalfType()) return to_half(body, value);
    return arithmetic_conversion(value, icode_type(body.unit, e->getType().getUnqualifiedType()));
}

NODE* change_half(BODY& body, const CompoundAssignOperator* e) {
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, lvalue_of(body, e->getLHS()), effects);
    const SAVED_VALUE right = save_value(body, value_of(body, e->getRHS()));
    effects = sequence(effects, right.assignment);
    TYPE* computed = icode_type(body.unit, e->getComputationLHSType().getUnqualifiedType());
    NODE* old = arithmetic_conversion(to_float(body, copy_tree(object)), computed);
    const OPCODE op = arithmetic_opcode(BinaryOperator::getOpForCompoundAssignment(e->getOpcode()));
    NODE* next = to_half(body, new_binary(op, computed, old, use_local(right.symbol)));
    return sequence(sequence(effects, assignment(copy_tree(object), next, half_type(body))),
                    copy_tree(object));
}

NODE* increment_half(BODY& body, const UnaryOperator* e) {
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, lvalue_of(body, e->getSubExpr()), effects);
    const SAVED_VALUE old = save_value(body, copy_tree(object));
    effects = sequence(effects, old.assignment);
    NODE* one = float_constant(float_type(body), llvm::APFloat(1.0));
    NODE* next = new_binary(e->isIncrementOp() ? OP_PLUS : OP_MINUS, float_type(body),
                            to_float(body, use_local(old.symbol)), one);
    effects = sequence(effects, assignment(copy_tree(object), to_half(body, next), half_type(body)));
    return sequence(effects, e->isPostfix() ? use_local(old.symbol) : copy_tree(object));
}

} // namespace pelorus
