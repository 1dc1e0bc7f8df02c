// Operators; see expressions.h.
#include "arrays.h"
#include "atomics.h"
#include "elements.h"
#include "half.h"
#include "pieces.h"

namespace pelorus {

using namespace clang;

OPCODE arithmetic_opcode(BinaryOperatorKind kind) {
    switch (kind) {
    case BO_Mul: return OP_MULT;
    case BO_Div: return OP_DIV;
    case BO_Rem: return OP_MOD;
    case BO_Add: return OP_PLUS;
    case BO_Sub: return OP_MINUS;
    case BO_Shl: return OP_SLL;
    case BO_Shr: return OP_SRL;
    case BO_And: return OP_ANDB;
    case BO_Xor: return OP_XORB;
    case BO_Or: return OP_ORB;
    default: return OP_NOP;
    }
}

OPCODE relation_opcode(BinaryOperatorKind kind, bool is_unsigned) {
    switch (kind) {
    case BO_EQ: return OP_EQ;
    case BO_NE: return OP_NEQ;
    case BO_LT: return is_unsigned ? OP_ULT : OP_LT;
    case BO_GT: return is_unsigned ? OP_UGT : OP_GT;
    case BO_LE: return is_unsigned ? OP_ULE : OP_LE;
    default: return is_unsigned ? OP_UGE : OP_GE;
    }
}

namespace {

OPCODE assignment_opcode(BinaryOperatorKind kind) {
    switch (kind) {
    case BO_MulAssign: return OP_MULTASG;
    case BO_DivAssign: return OP_DIVASG;
    case BO_RemAssign: return OP_MODASG;
    case BO_AddAssign: return OP_PLUSASG;
    case BO_SubAssign: return OP_MINUSASG;
    case BO_ShlAssign: return OP_SLLASG;
    case BO_ShrAssign: return OP_SRLASG;
    case BO_AndAssign: return OP_ANDBASG;
    case BO_XorAssign: return OP_XORBASG;
    case BO_OrAssign: return OP_ORBASG;
    default: return OP_NOP;
    }
}

// What a pointer of the type moves by, in bytes.
NODE* pointed_size(BODY& body, QualType pointer) { return size_of(body, pointer->getPointeeType()); }

NODE* pointer_difference(BODY& body, const BinaryOperator* e) {
    TYPE* type = int_type(body.unit);
    NODE* left = value_of(body, e->getLHS());
    NODE* bytes = new_binary(OP_MINUS, type, left, value_of(body, e->getRHS()));
    NODE* size = arithmetic_conversion(pointed_size(body, e->getLHS()->getType()), type);
    if (is_integer_constant(size) && int96_to_int64(size->value()) <= 1) return bytes;
    return new_binary(OP_DIV, type, bytes, size);
}

NODE* pointer_sum(BODY& body, const BinaryOperator* e) {
    const bool left_is_pointer = e->getLHS()->getType()->isPointerType();
    const Expr* pointer = left_is_pointer ? e->getLHS() : e->getRHS();
    const Expr* index = left_is_pointer ? e->getRHS() : e->getLHS();
    NODE* base = value_of(body, pointer);
    return pointer_index(body.unit, base, value_of(body, index), pointed_size(body, pointer->getType()),
                         e->getOpcode() == BO_Sub, icode_type(body.unit, e->getType()));
}

NODE* arithmetic(BODY& body, const BinaryOperator* e) {
    if (e->isAdditiveOp() && e->getLHS()->getType()->isPointerType() &&
        e->getRHS()->getType()->isPointerType())
        return pointer_difference(body, e);
    if (e->isAdditiveOp() && e->getType()->isPointerType()) return pointer_sum(body, e);
    NODE* left = value_of(body, e->getLHS());
    NODE* right = value_of(body, e->getRHS());
    if ((left->op == OP_ICON || left->op == OP_FCON) && right->op == left->op)
        if (NODE* constant = constant_of(body, e)) return constant;
    return new_binary(arithmetic_opcode(e->getOpcode()), icode_type(body.unit, e->getType()), left, right);
}

NODE* relation(BODY& body, const BinaryOperator* e) {
    const QualType type = e->getLHS()->getType();
    if (type->isAnyComplexType() || e->getRHS()->getType()->isAnyComplexType())
        return complex_relation(body, e);
    const bool is_unsigned = type->isPointerType() || type->isUnsignedIntegerOrEnumerationType();
    NODE* left = value_of(body, e->getLHS());
    NODE* right = value_of(body, e->getRHS());
    return new_binary(relation_opcode(e->getOpcode(), is_unsigned), icode_type(body.unit, e->getType()), left,
                      right);
}

NODE* simple_assignment(BODY& body, const BinaryOperator* e) {
    NODE* left = lvalue_of(body, e->getLHS());
    NODE* right = value_of(body, e->getRHS());
    return assignment(left, right, icode_type(body.unit, e->getType().getUnqualifiedType()));
}

NODE* compound_assignment(BODY& body, const CompoundAssignOperator* e) {
    const QualType type = e->getType();
    NODE* left = lvalue_of(body, e->getLHS());
    NODE* right = value_of(body, e->getRHS());
    if (type->isPointerType()) right = scaled_index(body.unit, right, pointed_size(body, type));
    return new_binary(assignment_opcode(e->getOpcode()), icode_type(body.unit, type.getUnqualifiedType()),
                      left, right);
}

NODE* logical_value(BODY& body, const BinaryOperator* e) {
    NODE* value = condition_of(body, e);
    if (is_integer_constant(value)) return integer_constant(int_type(body.unit), !is_zero_constant(value));
    if (value->op == OP_ANDAND || value->op == OP_OROR) return value;
    // A constant operand left only the other one, whose value may be any number.
    return new_binary(OP_NEQ, int_type(body.unit), value, zero_constant(type_strip(value->type)));
}

NODE* negation_value(BODY& body, const UnaryOperator* e) {
    NODE* value = condition_of(body, e->getSubExpr());
    if (is_integer_constant(value)) return integer_constant(int_type(body.unit), is_zero_constant(value));
    return new_unary(OP_EXCLAIM, int_type(body.unit), value);
}

NODE* sign_operation(BODY& body, const UnaryOperator* e, OPCODE op) {
    NODE* value = value_of(body, e->getSubExpr());
    if (value->op == OP_ICON || value->op == OP_FCON)
        if (NODE* constant = constant_of(body, e)) return constant;
    return new_unary(op, icode_type(body.unit, e->getType()), value);
}

NODE* address_value(BODY& body, const UnaryOperator* e) {
    TYPE* type = icode_type(body.unit, e->getType());
    return address_of(lvalue_of(body, e->getSubExpr()), type);
}

// The amount of ++ and --, in the type that the sum is made in.
NODE* unit_amount(BODY& body, QualType type) {
    if (type->isPointerType()) return arithmetic_conversion(pointed_size(body, type), int_type(body.unit));
    ASTContext& ast = *body.unit.ast;
    if (type->isRealFloatingType()) return float_constant(icode_type(body.unit, type), llvm::APFloat(1.0));
    const QualType sum = ast.isPromotableIntegerType(type) ? ast.getPromotedIntegerType(type) : type;
    return integer_constant(icode_type(body.unit, sum.getUnqualifiedType()), 1);
}

// `a ?: b`: the first operand is evaluated once.
NODE* value_or_default(BODY& body, const BinaryConditionalOperator* e) {
    const SAVED_VALUE saved = save_value(body, value_of(body, e->getCommon()));
    body.saved[e->getOpaqueValue()] = saved.symbol;
    TYPE* type = icode_type(body.unit, e->getType().getUnqualifiedType());
    NODE* test = condition_of(body, e->getCond());
    NODE* yes = value_of(body, e->getTrueExpr());
    return sequence(saved.assignment, choice(type, test, yes, value_of(body, e->getFalseExpr())));
}

} // namespace

NODE* increment_of(BODY& body, const UnaryOperator* e, bool value_needed) {
    if (e->getSubExpr()->getType()->isAtomicType()) return atomic_increment(body, e);
    if (field_in_pieces(body, e->getSubExpr())) return increment_pieces(body, e);
    const QualType type = e->getType().getUnqualifiedType();
    if (type->isHalfType()) return increment_half(body, e);
    if (has_elements(type)) return increment_complex(body, e, value_needed);
    NODE* object = lvalue_of(body, e->getSubExpr());
    const bool keeps_old = e->isPostfix() && value_needed;
    const OPCODE op =
        e->isIncrementOp() ? (keeps_old ? OP_PLUSPLUS : OP_PLUSASG) : (keeps_old ? OP_MINMIN : OP_MINUSASG);
    return new_binary(op, icode_type(body.unit, type), object, unit_amount(body, type));
}

NODE* value_of_unary(BODY& body, const UnaryOperator* e) {
    switch (e->getOpcode()) {
    case UO_PostInc:
    case UO_PostDec:
    case UO_PreInc:
    case UO_PreDec: return increment_of(body, e, true);
    case UO_AddrOf: return address_value(body, e);
    case UO_Plus:
    case UO_Extension: return value_of(body, e->getSubExpr());
    case UO_Minus: return sign_operation(body, e, OP_UMINUS);
    case UO_Not: return sign_operation(body, e, OP_NOTB);
    case UO_LNot: return negation_value(body, e);
    case UO_Real:
    case UO_Imag: return complex_part(body, e);
    default: return lvalue_of(body, e); // UO_Deref
    }
}

NODE* value_of_binary(BODY& body, const BinaryOperator* e) {
    if (changes_elements(e)) {
        const ELEMENT_CHANGE change = element_assignment(body, e);
        return sequence(change.effects, change.left);
    }
    if (e->isAssignmentOp() && e->getLHS()->getType()->isAtomicType()) return atomic_assignment(body, e);
    if (e->isAssignmentOp() && field_in_pieces(body, e->getLHS())) return assign_pieces(body, e);
    if (e->isCompoundAssignmentOp() && e->getType()->isHalfType())
        return change_half(body, cast<CompoundAssignOperator>(e));
    if (e->isCompoundAssignmentOp()) return compound_assignment(body, cast<CompoundAssignOperator>(e));
    if (e->isAssignmentOp()) return simple_assignment(body, e);
    if (e->isLogicalOp()) return logical_value(body, e);
    if (e->isComparisonOp()) return relation(body, e);
    if (e->getOpcode() == BO_Comma)
        return sequence(effects_of(body, e->getLHS()), value_of(body, e->getRHS()));
    return arithmetic(body, e);
}

NODE* value_of_conditional(BODY& body, const AbstractConditionalOperator* e) {
    if (const auto* with_default = dyn_cast<BinaryConditionalOperator>(e))
        return value_or_default(body, with_default);
    const auto* conditional = cast<ConditionalOperator>(e);
    if (e->getType()->isVoidType()) {
        NODE* effects = effects_of(body, e);
        return effects ? effects : zero_constant(int_type(body.unit));
    }
    NODE* test = condition_of(body, conditional->getCond());
    if (is_integer_constant(test))
        return value_of(body,
                        is_zero_constant(test) ? conditional->getFalseExpr() : conditional->getTrueExpr());
    NODE* yes = value_of(body, conditional->getTrueExpr());
    return choice(icode_type(body.unit, e->getType().getUnqualifiedType()), test, yes,
                  value_of(body, conditional->getFalseExpr()));
}

} // namespace pelorus
