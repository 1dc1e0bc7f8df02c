// Bit-fields in pieces; see pieces.h.
#include "pieces.h"

#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

// One use of a field: where the structure is, and what comes before.
struct SPLIT_FIELD {
    BODY& body;
    const FieldDecl* field;
    OPERAND pointer; // to the structure
    TYPE* type;      // the field's declared type
    TYPE* bits;      // the unsigned type of its size
};

SPLIT_FIELD split_field(BODY& body, const FieldDecl* field, NODE* pointer) {
    TYPE* type = icode_type(body.unit, field->getType().getUnqualifiedType());
    TYPE* bits = type->size == 8 ? long_long_type(body.unit, true) : unsigned_type(body.unit);
    return {body, field, operand_of(body, pointer), type, bits};
}

SPLIT_FIELD split_member(BODY& body, const Expr* object) {
    const auto* member = cast<MemberExpr>(object->IgnoreParens());
    const auto* field = cast<FieldDecl>(member->getMemberDecl());
    const Expr* base = member->getBase();
    if (member->isArrow()) return split_field(body, field, value_of(body, base));
    TYPE* pointer = body.unit.types.make_pointer(icode_type(body.unit, base->getType()));
    if (base->isGLValue()) return split_field(body, field, address_of(lvalue_of(body, base), pointer));
    const SAVED_VALUE saved = save_value(body, value_of(body, base));
    return split_field(body, field, sequence(saved.assignment, address_of(use_local(saved.symbol), pointer)));
}

NODE* piece_object(const SPLIT_FIELD& split, const PIECE& piece) {
    UNIT& unit = split.body.unit;
    const QualType record = unit.ast->getRecordType(split.field->getParent());
    NODE* pointer = marked_pointer(split.body, split.pointer.use(), record);
    return member_of_pointer(pointer, piece.part, icode_type(unit, record), piece.type);
}

NODE* joined_pieces(const SPLIT_FIELD& split) {
    NODE* value = nullptr;
    for (const PIECE& piece : split.body.unit.pieces[split.field]) {
        NODE* part = arithmetic_conversion(piece_object(split, piece), split.bits);
        if (piece.shift) part = new_binary(OP_SLL, split.bits, part, number(split.body, piece.shift));
        value = value ? new_binary(OP_ORB, split.bits, value, part) : part;
    }
    return arithmetic_conversion(value, split.type);
}

// Stores a value of the field's type.
NODE* store_pieces(const SPLIT_FIELD& split, NODE* value) {
    const OPERAND whole = operand_of(split.body, arithmetic_conversion(value, split.bits));
    NODE* effects = whole.assignment;
    for (const PIECE& piece : split.body.unit.pieces[split.field]) {
        NODE* part = whole.use();
        if (piece.shift) part = new_binary(OP_SRL, split.bits, part, number(split.body, piece.shift));
        TYPE* type = type_strip(piece.type);
        effects = sequence(effects,
                           assignment(piece_object(split, piece), arithmetic_conversion(part, type), type));
    }
    return effects;
}

NODE* compound_value(const SPLIT_FIELD& split, const CompoundAssignOperator* e) {
    UNIT& unit = split.body.unit;
    TYPE* left_type = icode_type(unit, e->getComputationLHSType().getUnqualifiedType());
    TYPE* type = icode_type(unit, e->getComputationResultType().getUnqualifiedType());
    const OPERAND right = operand_of(split.body, value_of(split.body, e->getRHS()));
    NODE* left = arithmetic_conversion(joined_pieces(split), left_type);
    const OPCODE op = arithmetic_opcode(BinaryOperator::getOpForCompoundAssignment(e->getOpcode()));
    NODE* result = new_binary(op, type, left, right.use());
    return sequence(right.assignment, arithmetic_conversion(result, split.type));
}

} // namespace

const FieldDecl* field_in_pieces(BODY& body, const Expr* object) {
    const auto* member = dyn_cast<MemberExpr>(object->IgnoreParens());
    const auto* field = member ? dyn_cast<FieldDecl>(member->getMemberDecl()) : nullptr;
    if (!field || !field->isBitField()) return nullptr;
    member_of(body.unit, field); // makes the structure's type
    return body.unit.pieces.count(field) ? field : nullptr;
}

NODE* read_pieces(BODY& body, const Expr* object) {
    const SPLIT_FIELD split = split_member(body, object);
    return sequence(split.pointer.assignment, joined_pieces(split));
}

NODE* assign_pieces(BODY& body, const BinaryOperator* e) {
    const SPLIT_FIELD split = split_member(body, e->getLHS());
    const auto* compound = dyn_cast<CompoundAssignOperator>(e);
    NODE* value = compound ? compound_value(split, compound) : value_of(body, e->getRHS());
    return sequence(split.pointer.assignment, sequence(store_pieces(split, value), joined_pieces(split)));
}

NODE* increment_pieces(BODY& body, const UnaryOperator* e) {
    const SPLIT_FIELD split = split_member(body, e->getSubExpr());
    const SAVED_VALUE old = save_value(body, joined_pieces(split));
    NODE* next = new_binary(e->isIncrementOp() ? OP_PLUS : OP_MINUS, split.type, use_local(old.symbol),
                            integer_constant(split.type, 1));
    NODE* result = e->isPostfix() ? use_local(old.symbol) : joined_pieces(split);
    return sequence(split.pointer.assignment,
                    sequence(old.assignment, sequence(store_pieces(split, next), result)));
}

NODE* fill_pieces(BODY& body, const NODE* target, const FieldDecl* field, NODE* value) {
    TYPE* pointer =
        body.unit.types.make_pointer(icode_type(body.unit, body.unit.ast->getRecordType(field->getParent())));
    const SPLIT_FIELD split = split_field(body, field, address_of(copy_tree(target), pointer));
    return sequence(split.pointer.assignment, store_pieces(split, value));
}

} // namespace pelorus
