// Vectors; see elements.h.
//
// An operator works on one element after the other, a comparison gives -1 or 0 for each. What rearranges
// elements by numbers that are not known, or takes their bits as something else, goes through memory.
#include "clang/Basic/Builtins.h"

#include "arrays.h"
#include "elements.h"
#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

size_t count_of(BODY& body, QualType type) { return elements_of(body.unit, type).size(); }

TYPE* own_type(BODY& body, QualType vector) { return icode_type(body.unit, element_type(vector)); }

ELEMENTS refused_elements(BODY& body, const Expr* e, const std::string& what) {
    refuse(body.unit, e->getExprLoc(), what);
    ELEMENTS elements;
    for (size_t i = 0; i < count_of(body, e->getType()); ++i)
        elements.values.push_back(zero_constant(own_type(body, e->getType())));
    return elements;
}

// A value of any type as an object that is used by copies.
NODE* kept_object(BODY& body, const Expr* e, NODE*& effects) {
    NODE* value = nullptr;
    if (computes_elements(body, e)) {
        value = object_of_elements(body, e->getType(), elements_of_value(body, e));
    } else {
        const SAVED_VALUE saved = save_value(body, value_of(body, e));
        value = sequence(saved.assignment, use_local(saved.symbol));
    }
    for (; value->op == OP_COMMAOP; value = value->right) effects = sequence(effects, value->left);
    return value;
}

NODE* as_type(BODY& body, NODE* object, TYPE* type) {
    return new_unary(OP_UMULT, type, address_of(object, body.unit.types.make_pointer(type)));
}

bool has_same_shape(BODY& body, QualType from, QualType to) {
    if (!from->isVectorType() || count_of(body, from) != count_of(body, to)) return false;
    const TYPE *a = own_type(body, from), *b = own_type(body, to);
    return type_is_integer(a) && type_is_integer(b) && a->size == b->size;
}

ELEMENTS converted(BODY& body, const Expr* from, QualType to) {
    ELEMENTS elements = elements_of_value(body, from);
    for (NODE*& value : elements.values) value = arithmetic_conversion(value, own_type(body, to));
    return elements;
}

// The bits of a value as a vector.
ELEMENTS from_bits(BODY& body, const CastExpr* e) {
    const Expr* from = e->getSubExpr();
    if (has_same_shape(body, from->getType(), e->getType())) return converted(body, from, e->getType());
    NODE* effects = nullptr;
    NODE* object = kept_object(body, from, effects);
    ELEMENTS elements =
        read_elements(body, e->getType(), as_type(body, object, icode_type(body.unit, e->getType())));
    elements.effects = sequence(effects, elements.effects);
    elements.is_steady = true;
    return elements;
}

// The same value everywhere.
ELEMENTS splat(BODY& body, const Expr* e, QualType type) {
    ELEMENTS single = steady_elements(body, elements_of_value(body, e));
    for (size_t i = 1; i < count_of(body, type); ++i) single.values.push_back(copy_tree(single.values[0]));
    return single;
}

ELEMENTS from_cast(BODY& body, const CastExpr* e) {
    switch (e->getCastKind()) {
    case CK_LValueToRValue: return elements_of_value(body, e->getSubExpr()); // of chosen elements
    case CK_BitCast: return from_bits(body, e);
    case CK_VectorSplat: return splat(body, e->getSubExpr(), e->getType());
    case CK_IntegralCast:
    case CK_IntegralToFloating:
    case CK_FloatingToIntegral:
    case CK_FloatingCast: return converted(body, e->getSubExpr(), e->getType());
    default: return refused_elements(body, e, std::string("the conversion ") + e->getCastKindName());
    }
}

ELEMENTS from_list(BODY& body, const InitListExpr* list) {
    TYPE* own = own_type(body, list->getType());
    ELEMENTS elements{nullptr, {}, true, false};
    for (const Expr* given : list->inits()) {
        const ELEMENTS next = elements_of_value(body, given);
        elements.effects = effects_of_both(body, elements, next);
        elements.values.insert(elements.values.end(), next.values.begin(), next.values.end());
        elements.is_steady = elements.is_steady && next.is_steady;
    }
    while (elements.values.size() < count_of(body, list->getType()))
        elements.values.push_back(zero_constant(own));
    return elements;
}

NODE* truth_mask(BODY& body, NODE* truth, TYPE* own) {
    return arithmetic_conversion(new_unary(OP_UMINUS, int_type(body.unit), truth), own);
}

ELEMENTS from_binary(BODY& body, const BinaryOperator* e) {
    if (e->isLogicalOp()) return refused_elements(body, e, "this operator on vectors");
    const BinaryOperatorKind kind = e->getOpcode();
    ELEMENTS left = elements_of_value(body, e->getLHS()), right = elements_of_value(body, e->getRHS());
    if (!e->isComparisonOp()) return vector_arithmetic(body, kind, e->getType(), left, right);
    TYPE* own = own_type(body, e->getType());
    ELEMENTS result{effects_of_both(body, left, right), {}, false, left.in_order && right.in_order};
    for (size_t i = 0; i < left.values.size(); ++i)
        result.values.push_back(
            truth_mask(body, element_relation(body, kind, left.values[i], right.values[i]), own));
    return result;
}

ELEMENTS from_unary(BODY& body, const UnaryOperator* e) {
    ELEMENTS elements = elements_of_value(body, e->getSubExpr());
    TYPE* own = own_type(body, e->getType());
    for (NODE*& value : elements.values) {
        TYPE* type = type_strip(value->type);
        switch (e->getOpcode()) {
        case UO_Minus: value = element_operation(body, OP_UMINUS, own, value); break;
        case UO_Not: value = element_operation(body, OP_NOTB, own, value); break;
        case UO_LNot:
            value = truth_mask(body, element_relation(body, BO_EQ, value, zero_constant(type)), own);
            break;
        default: return elements;
        }
    }
    elements.is_steady = false; // each copy of the tree would compute it again
    return elements;
}

// The element of an object that a number below the count, a power of two, tells.
NODE* numbered_element(BODY& body, NODE* object, QualType type, NODE* number) {
    TYPE* own = own_type(body, type);
    TYPE* pointer = body.unit.types.make_pointer(own);
    TYPE* bits = unsigned_type(body.unit);
    NODE* index = new_binary(OP_ANDB, bits, arithmetic_conversion(number, bits),
                             integer_constant(bits, static_cast<int64_t>(count_of(body, type)) - 1));
    return object_at(pointer_index(body.unit, address_of(copy_tree(object), pointer), index,
                                   integer_constant(bits, own->size), false, pointer),
                     own);
}

// `__builtin_shufflevector(v, m)`: element m[i] of v in place i.
ELEMENTS shuffled_by_vector(BODY& body, const ShuffleVectorExpr* e) {
    const QualType type = e->getExpr(0)->getType();
    ELEMENTS result{nullptr, {}, false, false};
    NODE* object = kept_object(body, e->getExpr(0), result.effects);
    const ELEMENTS numbers = elements_of_value(body, e->getExpr(1));
    result.effects = sequence(result.effects, numbers.effects);
    for (NODE* number : numbers.values) result.values.push_back(numbered_element(body, object, type, number));
    return result;
}

ELEMENTS shuffled(BODY& body, const ShuffleVectorExpr* e) {
    if (e->getNumSubExprs() == 2) return shuffled_by_vector(body, e);
    ELEMENTS left = elements_of_value(body, e->getExpr(0)), right = elements_of_value(body, e->getExpr(1));
    ELEMENTS result{effects_of_both(body, left, right), {}, left.is_steady && right.is_steady, false};
    const size_t count = left.values.size();
    for (unsigned i = 0; i < e->getNumSubExprs() - 2; ++i) {
        const llvm::APSInt chosen = e->getShuffleMaskIdx(*body.unit.ast, i);
        const auto number = static_cast<size_t>(chosen.isNegative() ? 0 : chosen.getZExtValue()); // -1: any
        result.values.push_back(
            copy_tree(number < count ? left.values[number] : right.values[number - count]));
    }
    return result;
}

// --- Builtin functions ---

NODE* larger(BODY& body, TYPE* own, const NODE* a, const NODE* b, bool smaller) {
    NODE* test = element_relation(body, smaller ? BO_LT : BO_GT, copy_tree(a), copy_tree(b));
    return choice(own, test, copy_tree(a), copy_tree(b));
}

NODE* absolute(BODY& body, TYPE* own, const NODE* a) {
    NODE* negative = element_relation(body, BO_LT, copy_tree(a), zero_constant(own));
    return choice(own, negative, element_operation(body, OP_UMINUS, own, copy_tree(a)), copy_tree(a));
}

// The builtins that choose among integers, for vectors and plain numbers.
ELEMENTS chosen_elements(BODY& body, const CallExpr* call, unsigned builtin) {
    ELEMENTS left = steady_elements(body, elements_of_value(body, call->getArg(0)));
    if (builtin == Builtin::BI__builtin_elementwise_abs) {
        for (NODE*& value : left.values) value = absolute(body, type_strip(value->type), value);
        left.is_steady = false;
        return left;
    }
    const bool smaller = builtin == Builtin::BI__builtin_elementwise_min;
    const ELEMENTS right = steady_elements(body, elements_of_value(body, call->getArg(1)));
    left.effects = sequence(left.effects, right.effects);
    for (size_t i = 0; i < left.values.size(); ++i)
        left.values[i] =
            larger(body, type_strip(left.values[i]->type), left.values[i], right.values[i], smaller);
    left.is_steady = false;
    return left;
}

bool chooses_elements(const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_elementwise_abs:
    case Builtin::BI__builtin_elementwise_max:
    case Builtin::BI__builtin_elementwise_min: break;
    default: return false;
    }
    const QualType type = call->getType();
    return has_elements(type) ? element_type(type)->isIntegerType() : type->isIntegerType();
}

NODE* reduced(BODY& body, const CallExpr* call, OPCODE op) {
    const ELEMENTS elements = elements_of_value(body, call->getArg(0));
    TYPE* own = own_type(body, call->getArg(0)->getType());
    NODE* value = elements.values[0];
    for (size_t i = 1; i < elements.values.size(); ++i)
        value = element_operation(body, op, own, value, elements.values[i]);
    return sequence(elements.effects, value);
}

NODE* largest(BODY& body, const CallExpr* call, bool smaller) {
    const ELEMENTS elements = steady_elements(body, elements_of_value(body, call->getArg(0)));
    TYPE* own = own_type(body, call->getArg(0)->getType());
    NODE* effects = elements.effects;
    NODE* value = elements.values[0];
    for (size_t i = 1; i < elements.values.size(); ++i) {
        const SAVED_VALUE next = save_value(body, larger(body, own, value, elements.values[i], smaller));
        effects = sequence(effects, next.assignment);
        value = use_local(next.symbol);
    }
    return sequence(effects, value);
}

} // namespace

bool computes_vector(const CallExpr* call) { return chooses_elements(call, call->getBuiltinCallee()); }

NODE* value_of_vector_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    if (chooses_elements(call, builtin)) {
        const ELEMENTS elements = chosen_elements(body, call, builtin);
        return sequence(elements.effects, elements.values[0]);
    }
    if (call->getNumArgs() != 1 || !call->getArg(0)->getType()->isVectorType() ||
        !element_type(call->getArg(0)->getType())->isIntegerType())
        return nullptr;
    switch (builtin) {
    case Builtin::BI__builtin_reduce_add: return reduced(body, call, OP_PLUS);
    case Builtin::BI__builtin_reduce_mul: return reduced(body, call, OP_MULT);
    case Builtin::BI__builtin_reduce_and: return reduced(body, call, OP_ANDB);
    case Builtin::BI__builtin_reduce_or: return reduced(body, call, OP_ORB);
    case Builtin::BI__builtin_reduce_xor: return reduced(body, call, OP_XORB);
    case Builtin::BI__builtin_reduce_max: return largest(body, call, false);
    case Builtin::BI__builtin_reduce_min: return largest(body, call, true);
    default: return nullptr;
    }
}

ELEMENTS vector_elements(BODY& body, const Expr* e) {
    if (const auto* cast = dyn_cast<CastExpr>(e)) return from_cast(body, cast);
    if (const auto* binary = dyn_cast<BinaryOperator>(e)) return from_binary(body, binary);
    if (const auto* unary = dyn_cast<UnaryOperator>(e)) return from_unary(body, unary);
    if (const auto* list = dyn_cast<InitListExpr>(e)) return from_list(body, list);
    if (const auto* shuffle = dyn_cast<ShuffleVectorExpr>(e)) return shuffled(body, shuffle);
    if (const auto* conversion = dyn_cast<ConvertVectorExpr>(e))
        return converted(body, conversion->getSrcExpr(), e->getType());
    if (const auto* call = dyn_cast<CallExpr>(e))
        return chosen_elements(body, call, call->getBuiltinCallee());
    if (isa<ConditionalOperator>(e)) return refused_elements(body, e, "a choice by a vector");
    ELEMENTS zeros{nullptr, {}, true}; // ImplicitValueInitExpr
    for (size_t i = 0; i < count_of(body, e->getType()); ++i)
        zeros.values.push_back(zero_constant(own_type(body, e->getType())));
    return zeros;
}

ELEMENTS vector_arithmetic(BODY& body, BinaryOperatorKind kind, QualType type, ELEMENTS left,
                           ELEMENTS right) {
    ELEMENTS result{effects_of_both(body, left, right), {}, false, left.in_order && right.in_order};
    for (size_t i = 0; i < left.values.size(); ++i)
        result.values.push_back(element_operation(body, arithmetic_opcode(kind), own_type(body, type),
                                                  left.values[i], right.values[i]));
    return result;
}

NODE* vector_bits(BODY& body, const CastExpr* e) {
    NODE* effects = nullptr;
    NODE* object = kept_object(body, e->getSubExpr(), effects);
    return sequence(effects, as_type(body, object, icode_type(body.unit, e->getType())));
}

NODE* vector_subscript(BODY& body, const ArraySubscriptExpr* e) {
    const Expr* base = e->getBase();
    const QualType type = base->getType();
    NODE* effects = nullptr;
    NODE* object =
        base->isGLValue() ? lvalue_of(body, base->IgnoreParens()) : kept_object(body, base, effects);
    NODE* index = value_of(body, e->getIdx());
    if (is_integer_constant(index)) {
        const int64_t number = int96_to_int64(index->value());
        if (number >= 0 && number < static_cast<int64_t>(count_of(body, type)))
            return sequence(effects, element_of_object(body, object, type, static_cast<size_t>(number)));
    }
    TYPE* own = icode_type(body.unit, e->getType());
    TYPE* pointer = body.unit.types.make_pointer(own);
    const bool is_aligned = known_alignment(object) >= type_strip(own)->align;
    NODE* address = pointer_index(body.unit, address_of(object, pointer), index,
                                  integer_constant(unsigned_type(body.unit), own->size), false, pointer);
    if (!is_aligned && address->op != OP_NONALIGN) address = new_unary(OP_NONALIGN, pointer, address);
    return sequence(effects, new_unary(OP_UMULT, own, address));
}

namespace {

// Elements of a vector chosen by their names, which may be chosen from again.
struct CHOICE {
    const Expr* base; // the vector, or a pointer to it
    bool is_pointer;
    QualType type; // of the vector
    SmallVector<uint32_t, 16> numbers{};
};

CHOICE choice_of(const ExtVectorElementExpr* e) {
    CHOICE chosen{e->getBase()->IgnoreParens(), e->isArrow(), e->getBase()->getType()};
    if (e->isArrow()) chosen.type = chosen.type->getPointeeType();
    e->getEncodedElementAccess(chosen.numbers);
    const auto* inner = dyn_cast<ExtVectorElementExpr>(chosen.base);
    if (!inner || e->isArrow()) return chosen;
    CHOICE outer = choice_of(inner);
    for (uint32_t& number : chosen.numbers) number = outer.numbers[number];
    outer.numbers = chosen.numbers;
    return outer;
}

NODE* object_of_choice(BODY& body, const CHOICE& chosen) {
    if (!chosen.is_pointer) return lvalue_of(body, chosen.base);
    NODE* pointer = marked_pointer(body, value_of(body, chosen.base), chosen.type);
    return object_at(pointer, icode_type(body.unit, chosen.type));
}

ELEMENTS chosen_of_object(BODY& body, const CHOICE& chosen, const NODE* object) {
    ELEMENTS elements{nullptr, {}, false, false};
    for (const uint32_t number : chosen.numbers)
        elements.values.push_back(element_of_object(body, copy_tree(object), chosen.type, number));
    return elements;
}

} // namespace

ELEMENTS named_elements(BODY& body, const ExtVectorElementExpr* e) {
    const CHOICE chosen = choice_of(e);
    const ELEMENTS all = chosen.is_pointer ? read_elements(body, chosen.type, object_of_choice(body, chosen))
                                           : elements_of_value(body, chosen.base);
    ELEMENTS elements{all.effects, {}, all.is_steady, false};
    for (const uint32_t number : chosen.numbers) elements.values.push_back(copy_tree(all.values[number]));
    return elements;
}

NODE* named_element_lvalue(BODY& body, const ExtVectorElementExpr* e) {
    const CHOICE chosen = choice_of(e);
    return element_of_object(body, object_of_choice(body, chosen), chosen.type, chosen.numbers[0]);
}

ELEMENT_CHANGE assign_named_elements(BODY& body, const BinaryOperator* e) {
    const CHOICE chosen = choice_of(cast<ExtVectorElementExpr>(e->getLHS()->IgnoreParens()));
    NODE* effects = nullptr;
    const NODE* object = fixed_object(body, object_of_choice(body, chosen), effects);
    ELEMENTS right = elements_of_value(body, e->getRHS());
    effects = sequence(effects, right.effects);
    right.effects = nullptr;
    if (e->isCompoundAssignmentOp())
        right = vector_arithmetic(body, BinaryOperator::getOpForCompoundAssignment(e->getOpcode()),
                                  e->getType(), chosen_of_object(body, chosen, object), right);
    right = steady_elements(body, right);
    effects = sequence(effects, right.effects);
    TYPE* own = own_type(body, chosen.type);
    for (size_t i = 0; i < chosen.numbers.size(); ++i)
        effects = sequence(
            effects, assignment(element_of_object(body, copy_tree(object), chosen.type, chosen.numbers[i]),
                                right.values[i], own));
    return {effects, object_of_elements(body, e->getType(), chosen_of_object(body, chosen, object))};
}

} // namespace pelorus
