// Conversions: clang's casts as SCONV, PCONV and addresses; see expressions.h.
#include "clang/AST/RecordLayout.h"

#include "arrays.h"
#include "atomics.h"
#include "elements.h"
#include "half.h"
#include "pieces.h"

namespace pelorus {

using namespace clang;

namespace {

// The alignment in bytes that an object certainly has: members of packed structures may have less than their
// type wants.
uint64_t certain_alignment(const ASTContext& ast, const Expr* object) {
    object = object->IgnoreParens();
    const auto own = static_cast<uint64_t>(ast.getTypeAlignInChars(object->getType()).getQuantity());
    const auto* member = dyn_cast<MemberExpr>(object);
    if (!member) return own;
    const Expr* base = member->getBase();
    const auto* field = cast<FieldDecl>(member->getMemberDecl());
    const uint64_t around =
        member->isArrow()
            ? static_cast<uint64_t>(ast.getTypeAlignInChars(base->getType()->getPointeeType()).getQuantity())
            : certain_alignment(ast, base);
    const uint64_t offset = ast.getFieldOffset(field) / 8;
    return offset ? std::min(around, offset & -offset) : around;
}

NODE* decayed_array(BODY& body, const CastExpr* e) {
    TYPE* type = icode_type(body.unit, e->getType());
    const ASTContext& ast = *body.unit.ast;
    NODE* address = address_of(value_of(body, e->getSubExpr()), type);
    const QualType element = e->getType()->getPointeeType();
    if (element->isIncompleteType() ||
        certain_alignment(ast, e->getSubExpr()) >=
            static_cast<uint64_t>(ast.getTypeAlignInChars(element).getQuantity()))
        return address;
    return new_unary(OP_NONALIGN, type, address);
}

// Pointers and integers of 32 bits change into each other; other integers go through a 32-bit one.
NODE* pointer_to_integer(BODY& body, NODE* value, TYPE* type) {
    if (type->size == 4) return pointer_conversion(value, type);
    return arithmetic_conversion(pointer_conversion(value, unsigned_type(body.unit)), type);
}

NODE* integer_to_pointer(BODY& body, NODE* value, TYPE* type) {
    if (value->type->size != 4) {
        const bool extends = value->type->size < 4 && type_is_signed(value->type);
        value = arithmetic_conversion(value, extends ? int_type(body.unit) : unsigned_type(body.unit));
    }
    return pointer_conversion(value, type);
}

NODE* integer_to_bool(BODY& body, NODE* value) {
    TYPE* type = icode_type(body.unit, body.unit.ast->BoolTy);
    if (is_integer_constant(value)) return integer_constant(type, !is_zero_constant(value));
    return new_unary(OP_SCONV, type, value);
}

NODE* pointer_to_bool(BODY& body, NODE* value) {
    NODE* test = new_binary(OP_NEQ, int_type(body.unit), value, zero_constant(type_strip(value->type)));
    return integer_to_bool(body, test);
}

NODE* arithmetic_cast(BODY& body, const CastExpr* e) {
    if (e->getType()->isHalfType() || e->getSubExpr()->getType()->isHalfType())
        return half_conversion(body, e);
    TYPE* type = icode_type(body.unit, e->getType().getUnqualifiedType());
    NODE* value = value_of(body, e->getSubExpr());
    if (value->op == OP_ICON || value->op == OP_FCON)
        if (NODE* constant = constant_of(body, e)) return constant;
    return arithmetic_conversion(value, type);
}

NODE* union_from_member(BODY& body, const CastExpr* e) {
    const RecordDecl* record = e->getType()->castAs<RecordType>()->getDecl()->getDefinition();
    const ASTContext& ast = *body.unit.ast;
    for (const FieldDecl* field : record->fields()) {
        if (field->isUnnamedBitField() ||
            !ast.hasSameUnqualifiedType(field->getType(), e->getSubExpr()->getType()))
            continue;
        TYPE* owner = icode_type(body.unit, e->getType().getUnqualifiedType());
        TYPE* type = icode_type(body.unit, field->getType());
        SYMBOL* object = new_temporary_local(body, owner);
        NODE* member = member_of_value(use_local(object), member_of(body.unit, field), owner, type);
        return sequence(assignment(member, value_of(body, e->getSubExpr()), type), use_local(object));
    }
    refuse(body.unit, e->getExprLoc(), "this cast to a union");
    return zero_constant(int_type(body.unit));
}

NODE* real_part(BODY& body, const CastExpr* e) {
    const ELEMENTS elements = elements_of_value(body, e->getSubExpr());
    return sequence(elements.effects, elements.values[0]);
}

NODE* void_value(BODY& body, const CastExpr* e) {
    NODE* effects = effects_of(body, e->getSubExpr());
    return effects ? effects : zero_constant(int_type(body.unit));
}

NODE* bit_cast(BODY& body, const CastExpr* e) {
    if (e->getSubExpr()->getType()->isVectorType()) return vector_bits(body, e);
    return pointer_conversion(value_of(body, e->getSubExpr()), icode_type(body.unit, e->getType()));
}

// The value of an expression of atomic type: read from an object at once, or passed on.
NODE* atomic_value(BODY& body, const Expr* e) {
    const auto* read = dyn_cast<CastExpr>(e->IgnoreParens());
    return read && read->getCastKind() == CK_LValueToRValue ? atomic_read(body, read->getSubExpr())
                                                            : value_of(body, e);
}

NODE* converted_value(BODY& body, const CastExpr* e) {
    const Expr* inner = e->getSubExpr();
    const auto target = [&] { return icode_type(body.unit, e->getType().getUnqualifiedType()); };
    switch (e->getCastKind()) {
    case CK_LValueToRValue:
        if (NODE* value = value_of_register(body, inner)) return value;
        return field_in_pieces(body, inner) ? read_pieces(body, inner) : lvalue_of(body, inner);
    case CK_NoOp: return value_of(body, inner);
    case CK_ArrayToPointerDecay: return decayed_array(body, e);
    case CK_FunctionToPointerDecay: return address_of(lvalue_of(body, inner), target());
    case CK_BitCast: return bit_cast(body, e);
    case CK_NullToPointer: return sequence(effects_of(body, inner), zero_constant(target()));
    case CK_IntegralToPointer: return integer_to_pointer(body, value_of(body, inner), target());
    case CK_PointerToIntegral: return pointer_to_integer(body, value_of(body, inner), target());
    case CK_PointerToBoolean: return pointer_to_bool(body, value_of(body, inner));
    case CK_IntegralToBoolean: return integer_to_bool(body, value_of(body, inner));
    case CK_IntegralCast:
    case CK_BooleanToSignedIntegral:
    case CK_IntegralToFloating:
    case CK_FloatingToIntegral:
    case CK_FloatingToBoolean:
    case CK_FloatingCast: return arithmetic_cast(body, e);
    case CK_FloatingComplexToReal:
    case CK_IntegralComplexToReal: return real_part(body, e);
    case CK_FloatingComplexToBoolean:
    case CK_IntegralComplexToBoolean: return integer_to_bool(body, complex_truth(body, inner));
    case CK_ToVoid: return void_value(body, e);
    case CK_ToUnion: return union_from_member(body, e);
    case CK_BuiltinFnToFnPtr: return value_of(body, inner);
    case CK_AtomicToNonAtomic: return atomic_value(body, inner);
    case CK_NonAtomicToAtomic: return value_of(body, inner);
    default: refuse(body.unit, e->getExprLoc(), std::string("the conversion ") + e->getCastKindName()); break;
    }
    return zero_constant(int_type(body.unit));
}

} // namespace

NODE* value_of_cast(BODY& body, const CastExpr* e) {
    const auto* written = dyn_cast<CStyleCastExpr>(e);
    NODE* lengths = written ? lengths_of_type(body, written->getTypeAsWritten()) : nullptr;
    return sequence(lengths, converted_value(body, e));
}

} // namespace pelorus
