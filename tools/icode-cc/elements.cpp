// Complex numbers and vectors; see elements.h.
#include "elements.h"

#include "clang/Basic/Builtins.h"

#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

bool is_constant(const NODE* node) { return node->op == OP_ICON || node->op == OP_FCON; }

bool is_temporary(const BODY& body, const NODE* object) {
    return object->op == OP_NAME && body.temporaries.contains(object->symbol());
}

// The tree denotes the same object whatever happens.
bool is_fixed_address(const NODE* address);
bool is_fixed_object(const NODE* object) {
    switch (object->op) {
    case OP_NAME: return true;
    case OP_STDOT: return is_fixed_object(object->left);
    case OP_STREF:
    case OP_UMULT: return is_fixed_address(object->left);
    default: return false;
    }
}
bool is_fixed_address(const NODE* address) {
    switch (address->op) {
    case OP_UAND: return is_fixed_object(address->left);
    case OP_PLUS: return is_fixed_address(address->left) && address->right->op == OP_ICON;
    case OP_PCONV:
    case OP_NONALIGN: return is_fixed_address(address->left);
    default: return false;
    }
}

// The effects fill temporaries and do nothing else.
bool changes_temporaries_only(const BODY& body, const NODE* effects) {
    std::vector<const NODE*> rest{effects};
    while (!rest.empty()) {
        const NODE* node = rest.back();
        rest.pop_back();
        if (!node) continue;
        const OPCODE_CLASS kind = opcode_fact(node->op).kind;
        const bool fills = node->op == OP_ASG && is_temporary(body, node->left);
        if (kind == OPCODE_CLASS::CALLS || (kind == OPCODE_CLASS::ASSIGNS && !fills)) return false;
        rest.push_back(node->left);
        rest.push_back(node->right);
    }
    return true;
}

bool is_object(const NODE* value) {
    while (value->op == OP_STDOT) value = value->left;
    return value->op == OP_NAME || value->op == OP_UMULT || value->op == OP_STREF;
}

NODE* fixed_pointer(BODY& body, NODE* pointer, NODE*& effects) {
    if (pointer->op == OP_NONALIGN)
        return new_unary(OP_NONALIGN, pointer->type, fixed_pointer(body, pointer->left, effects));
    if (is_fixed_address(pointer)) return pointer;
    const SAVED_VALUE saved = save_value(body, pointer);
    effects = sequence(effects, saved.assignment);
    return use_local(saved.symbol);
}

ELEMENTS elements_of_object(BODY& body, QualType type, const NODE* object) {
    ELEMENTS elements;
    for (size_t i = 0; i < elements_of(body.unit, type).size(); ++i)
        elements.values.push_back(element_of_object(body, copy_tree(object), type, i));
    return elements;
}

// Stores what is there already; the object is fixed.
NODE* stores(BODY& body, const NODE* object, QualType type, const ELEMENTS& elements) {
    TYPE* own = icode_type(body.unit, element_type(type));
    NODE* effects = nullptr;
    for (size_t i = 0; i < elements.values.size(); ++i)
        effects = sequence(effects, assignment(element_of_object(body, copy_tree(object), type, i),
                                               elements.values[i], own));
    return effects;
}

// A number of the left side's type, or its elements, as the operator wants it.
ELEMENTS left_operand(BODY& body, const NODE* object, QualType type, QualType computed) {
    TYPE* own = icode_type(body.unit, has_elements(computed) ? element_type(computed) : computed);
    if (!has_elements(type)) return {nullptr, {arithmetic_conversion(copy_tree(object), own)}};
    ELEMENTS elements = elements_of_object(body, type, object);
    for (NODE*& value : elements.values) value = arithmetic_conversion(value, own);
    return elements;
}

// The right side is evaluated before the object is read.
ELEMENTS compound_result(BODY& body, const CompoundAssignOperator* e, const NODE* object, ELEMENTS right) {
    const BinaryOperatorKind kind = BinaryOperator::getOpForCompoundAssignment(e->getOpcode());
    const QualType computed = e->getComputationResultType();
    const QualType type = e->getLHS()->getType();
    const auto range = e->getFPFeaturesInEffect(body.unit.ast->getLangOpts()).getComplexRange();
    NODE* before = right.effects;
    right.effects = nullptr;
    const ELEMENTS left = left_operand(body, object, type, e->getComputationLHSType());
    ELEMENTS result = type->isVectorType() ? vector_arithmetic(body, kind, computed, left, right)
                                           : complex_arithmetic(body, kind, computed, left, right, range);
    TYPE* own = icode_type(body.unit, has_elements(type) ? element_type(type) : type.getUnqualifiedType());
    if (!has_elements(type)) result.values.resize(1);
    for (NODE*& value : result.values) value = arithmetic_conversion(value, own);
    result.effects = sequence(before, result.effects);
    return result;
}

const ExtVectorElementExpr* chosen_elements(const Expr* e) {
    return dyn_cast<ExtVectorElementExpr>(e->IgnoreParens());
}

bool is_computed_cast(const CastExpr* e) {
    if (chosen_elements(e->getSubExpr())) return true;
    switch (e->getCastKind()) {
    case CK_LValueToRValue:
    case CK_NoOp:
    case CK_AtomicToNonAtomic:
    case CK_NonAtomicToAtomic: return false;
    default: return true;
    }
}

} // namespace

NODE* fixed_object(BODY& body, NODE* object, NODE*& effects) {
    for (; object->op == OP_COMMAOP; object = object->right) effects = sequence(effects, object->left);
    if (is_fixed_object(object)) return object;
    if (object->op == OP_STDOT)
        return new_binary(OP_STDOT, object->type, fixed_object(body, object->left, effects), object->right);
    if (object->op == OP_STREF)
        return new_binary(OP_STREF, object->type, fixed_pointer(body, object->left, effects), object->right);
    return new_unary(OP_UMULT, object->type, fixed_pointer(body, object->left, effects));
}

NODE* element_of_object(BODY& body, NODE* object, QualType type, size_t number) {
    TYPE_PART* part = elements_of(body.unit, type)[number];
    const auto qualifiers = static_cast<uint8_t>((type_is_const(object->type) ? Q_CONST : 0) |
                                                 (type_is_volatile(object->type) ? Q_VOLATILE : 0));
    TYPE* own = qualifiers ? body.unit.types.make_qualified(part->type, qualifiers) : part->type;
    return member_of_value(object, part, icode_type(body.unit, type.getAtomicUnqualifiedType()), own);
}

ELEMENTS steady_elements(BODY& body, ELEMENTS elements) {
    if (elements.is_steady) return elements;
    for (NODE*& value : elements.values) {
        const OPERAND kept = operand_of(body, value);
        elements.effects = sequence(elements.effects, kept.assignment);
        value = kept.value;
    }
    elements.is_steady = elements.in_order = true;
    return elements;
}

NODE* effects_of_both(BODY& body, ELEMENTS& left, const ELEMENTS& right) {
    if (right.effects && !changes_temporaries_only(body, right.effects)) left = steady_elements(body, left);
    return sequence(left.effects, right.effects);
}

ELEMENTS single_element(BODY& body, NODE* value) {
    ELEMENTS elements{nullptr, {value}, is_constant(value)};
    return has_effects(value) ? steady_elements(body, elements) : elements;
}

ELEMENTS read_elements(BODY& body, QualType type, NODE* value) {
    NODE* effects = nullptr;
    for (; value->op == OP_COMMAOP; value = value->right) effects = sequence(effects, value->left);
    const bool is_kept = !is_object(value) || type_is_volatile(value->type);
    if (is_kept) {
        const SAVED_VALUE saved = save_value(body, value);
        effects = sequence(effects, saved.assignment);
        value = use_local(saved.symbol);
    } else {
        value = fixed_object(body, value, effects);
    }
    ELEMENTS elements = elements_of_object(body, type, value);
    elements.effects = effects;
    elements.is_steady = is_kept;
    return elements;
}

bool computes_elements(const BODY& body, const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (!has_elements(e->getType()) || e->isGLValue() || body.saved.count(e)) return false;
    if (const auto* cast = dyn_cast<CastExpr>(e)) return is_computed_cast(cast);
    if (const auto* binary = dyn_cast<BinaryOperator>(e))
        return binary->getOpcode() != BO_Comma && !binary->getLHS()->getType()->isAtomicType();
    if (const auto* unary = dyn_cast<UnaryOperator>(e))
        return !unary->getSubExpr()->getType()->isAtomicType();
    if (const auto* call = dyn_cast<CallExpr>(e))
        return call->getBuiltinCallee() == Builtin::BI__builtin_complex || computes_vector(call);
    if (const auto* conditional = dyn_cast<ConditionalOperator>(e))
        return conditional->getCond()->getType()->isVectorType();
    return isa<ImaginaryLiteral, InitListExpr, ImplicitValueInitExpr, ShuffleVectorExpr, ConvertVectorExpr,
               ExtVectorElementExpr>(e);
}

ELEMENTS elements_of_value(BODY& body, const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (!has_elements(e->getType())) return single_element(body, value_of(body, e));
    if (const ExtVectorElementExpr* chosen = chosen_elements(e)) return named_elements(body, chosen);
    if (!computes_elements(body, e)) return read_elements(body, e->getType(), value_of(body, e));
    if (const auto* binary = dyn_cast<BinaryOperator>(e); binary && binary->isAssignmentOp()) {
        const ELEMENT_CHANGE change = element_assignment(body, binary);
        return read_elements(body, e->getType(), sequence(change.effects, change.left));
    }
    if (const auto* unary = dyn_cast<UnaryOperator>(e); unary && unary->isIncrementDecrementOp())
        return read_elements(body, e->getType(), increment_complex(body, unary, true));
    return e->getType()->isVectorType() ? vector_elements(body, e) : complex_elements(body, e);
}

NODE* object_of_elements(BODY& body, QualType type, const ELEMENTS& elements) {
    SYMBOL* object = new_temporary_local(body, icode_type(body.unit, type.getAtomicUnqualifiedType()));
    NODE* effects = sequence(elements.effects, stores(body, use_local(object), type, elements));
    return sequence(effects, use_local(object));
}

NODE* value_by_elements(BODY& body, const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (const auto* binary = dyn_cast<BinaryOperator>(e); binary && binary->isAssignmentOp()) {
        const ELEMENT_CHANGE change = element_assignment(body, binary);
        return sequence(change.effects, change.left);
    }
    if (const auto* unary = dyn_cast<UnaryOperator>(e); unary && unary->isIncrementDecrementOp())
        return increment_complex(body, unary, true);
    return object_of_elements(body, e->getType(), elements_of_value(body, e));
}

NODE* store_elements(BODY& body, NODE* lvalue, QualType type, ELEMENTS elements) {
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, lvalue, effects);
    if (!elements.in_order) elements = steady_elements(body, elements);
    effects = sequence(effects, elements.effects);
    return sequence(effects, stores(body, object, type, elements));
}

bool changes_elements(const BinaryOperator* e) {
    if (!e->isAssignmentOp() || e->getLHS()->getType()->isAtomicType()) return false;
    if (has_elements(e->getType())) return true;
    const auto* compound = dyn_cast<CompoundAssignOperator>(e);
    return compound && has_elements(compound->getComputationResultType());
}

ELEMENT_CHANGE element_assignment(BODY& body, const BinaryOperator* e) {
    if (e->getLHS()->getType()->isVectorType() && chosen_elements(e->getLHS()))
        return assign_named_elements(body, e);
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, lvalue_of(body, e->getLHS()), effects);
    ELEMENTS right = elements_of_value(body, e->getRHS());
    if (const auto* compound = dyn_cast<CompoundAssignOperator>(e))
        right = compound_result(body, compound, object, right);
    if (!right.in_order) right = steady_elements(body, right);
    effects = sequence(effects, right.effects);
    const QualType type = e->getLHS()->getType();
    NODE* store = has_elements(type) ? stores(body, object, type, right)
                                     : assignment(copy_tree(object), right.values[0],
                                                  icode_type(body.unit, type.getUnqualifiedType()));
    return {sequence(effects, store), copy_tree(object)};
}

NODE* increment_complex(BODY& body, const UnaryOperator* e, bool value_needed) {
    const QualType type = e->getType().getUnqualifiedType();
    TYPE* own = icode_type(body.unit, element_type(type));
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, lvalue_of(body, e->getSubExpr()), effects);
    const auto real = [&] { return element_of_object(body, copy_tree(object), type, 0); };
    NODE* old = nullptr;
    if (value_needed && e->isPostfix()) {
        const SAVED_VALUE saved = save_value(body, copy_tree(object));
        effects = sequence(effects, saved.assignment);
        old = use_local(saved.symbol);
    }
    NODE* one = type_is_floating(own) ? float_constant(own, llvm::APFloat(1.0)) : integer_constant(own, 1);
    NODE* next = element_operation(body, e->isIncrementOp() ? OP_PLUS : OP_MINUS, own, real(), one);
    effects = sequence(effects, assignment(real(), next, own));
    if (!value_needed) return effects;
    return sequence(effects, old ? old : copy_tree(object));
}

namespace {

// The type that integers of the type are computed with in.
TYPE* wide_type(BODY& body, TYPE* type) {
    return type_is_integer(type) && type->size < 4 ? int_type(body.unit) : type;
}

} // namespace

NODE* element_operation(BODY& body, OPCODE op, TYPE* type, NODE* left, NODE* right) {
    TYPE* wide = wide_type(body, type);
    NODE* result =
        new_binary(op, wide, arithmetic_conversion(left, wide), arithmetic_conversion(right, wide));
    return arithmetic_conversion(result, type);
}

NODE* element_operation(BODY& body, OPCODE op, TYPE* type, NODE* value) {
    TYPE* wide = wide_type(body, type);
    return arithmetic_conversion(new_unary(op, wide, arithmetic_conversion(value, wide)), type);
}

NODE* element_relation(BODY& body, BinaryOperatorKind kind, NODE* left, NODE* right) {
    TYPE* wide = wide_type(body, type_strip(left->type));
    const bool is_unsigned = type_is_integer(wide) && !type_is_signed(wide);
    return new_binary(relation_opcode(kind, is_unsigned), int_type(body.unit),
                      arithmetic_conversion(left, wide), arithmetic_conversion(right, wide));
}

} // namespace pelorus
