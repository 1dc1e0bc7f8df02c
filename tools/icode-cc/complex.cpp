// Complex numbers; see elements.h.
//
// Everything is computed as clang does, so that signs of zeros, infinities and operands that are no numbers
// come out alike: a real operand is not made complex first. A product of floating numbers of which both parts
// are no numbers, and every quotient by a complex one, is left to the compiler's library, which knows about
// infinities.
#include "elements.h"
#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

using RANGE = LangOptions::ComplexRangeKind;

// One operation. The operands are steady where a part of them is used twice.
struct COMPLEX {
    BODY& body;
    QualType type;        // complex
    TYPE* own;            // of its elements
    const ELEMENTS& left; // with one element: a real number
    const ELEMENTS& right;

    bool left_is_real() const { return left.values.size() == 1; }
    bool right_is_real() const { return right.values.size() == 1; }
    NODE* operation(OPCODE op, NODE* a, NODE* b) const { return element_operation(body, op, own, a, b); }
    // left's part `a` op right's part `b`
    NODE* parts(OPCODE op, size_t a, size_t b) const {
        return operation(op, copy_tree(left.values[a]), copy_tree(right.values[b]));
    }
    NODE* square_of_right(size_t a) const {
        return operation(OP_MULT, copy_tree(right.values[a]), copy_tree(right.values[a]));
    }
};

using PARTS = std::vector<NODE*>;

PARTS sum(const COMPLEX& c, OPCODE op) {
    NODE* real = c.parts(op, 0, 0);
    if (c.right_is_real()) return {real, copy_tree(c.left.values[1])};
    if (!c.left_is_real()) return {real, c.parts(op, 1, 1)};
    NODE* imag = copy_tree(c.right.values[1]);
    return {real, op == OP_PLUS ? imag : element_operation(c.body, OP_UMINUS, c.own, imag)};
}

PARTS by_real(const COMPLEX& c, OPCODE op) { return {c.parts(op, 0, 0), c.parts(op, 1, 0)}; }

PARTS plain_product(const COMPLEX& c) {
    return {c.operation(OP_MINUS, c.parts(OP_MULT, 0, 0), c.parts(OP_MULT, 1, 1)),
            c.operation(OP_PLUS, c.parts(OP_MULT, 0, 1), c.parts(OP_MULT, 1, 0))};
}

PARTS plain_quotient(const COMPLEX& c) {
    NODE* real = c.parts(OP_MULT, 0, 0);
    if (!c.left_is_real()) real = c.operation(OP_PLUS, real, c.parts(OP_MULT, 1, 1));
    NODE* imag = c.parts(OP_MULT, 0, 1);
    imag = c.left_is_real() ? element_operation(c.body, OP_UMINUS, c.own, imag)
                            : c.operation(OP_MINUS, c.parts(OP_MULT, 1, 0), imag);
    const auto divisor = [&] { return c.operation(OP_PLUS, c.square_of_right(0), c.square_of_right(1)); };
    return {c.operation(OP_DIV, real, divisor()), c.operation(OP_DIV, imag, divisor())};
}

// `__muldc3` and its kin. Those of `double` do for `long double`.
ELEMENTS library_result(const COMPLEX& c, bool divides) {
    UNIT& unit = c.body.unit;
    const QualType number = c.own->size == 4 ? unit.ast->FloatTy : unit.ast->DoubleTy;
    const QualType type = unit.ast->getComplexType(number);
    TYPE *own = icode_type(unit, number), *whole = icode_type(unit, type);
    const std::string name = std::string(divides ? "__div" : "__mul") + (own->size == 4 ? "sc3" : "dc3");
    std::vector<NODE*> arguments;
    for (const ELEMENTS* operand : {&c.left, &c.right})
        for (size_t i = 0; i < 2; ++i)
            arguments.push_back(i < operand->values.size() ? copy_tree(operand->values[i])
                                                           : zero_constant(c.own));
    SYMBOL* function = library_function(unit, name, whole, {own, own, own, own});
    return read_elements(c.body, type, direct_call(unit, whole, function, arguments));
}

NODE* is_nan(BODY& body, SYMBOL* value) { return test(body, OP_NEQ, use_local(value), use_local(value)); }

ELEMENTS exact_product(const COMPLEX& c) {
    const PARTS plain = plain_product(c);
    const SAVED_VALUE real = save_value(c.body, plain[0]), imag = save_value(c.body, plain[1]);
    ELEMENTS other = library_result(c, false);
    NODE* repair = sequence(other.effects, assignment(use_local(real.symbol), other.values[0], c.own));
    repair = sequence(repair, assignment(use_local(imag.symbol), other.values[1], c.own));
    NODE* lost = new_binary(OP_ANDAND, int_type(c.body.unit), is_nan(c.body, real.symbol),
                            is_nan(c.body, imag.symbol));
    NODE* effects = sequence(real.assignment, imag.assignment);
    effects = sequence(effects, choice(void_type(c.body.unit), lost, repair, number(c.body, 0)));
    return {effects, {use_local(real.symbol), use_local(imag.symbol)}, true};
}

ELEMENTS product(const COMPLEX& c, RANGE range) {
    if (c.left_is_real()) return {nullptr, {c.parts(OP_MULT, 0, 0), c.parts(OP_MULT, 0, 1)}, true};
    if (c.right_is_real()) return {nullptr, by_real(c, OP_MULT), true};
    const bool is_plain = type_is_integer(c.own) || range != LangOptions::CX_Full;
    return is_plain ? ELEMENTS{nullptr, plain_product(c), true} : exact_product(c);
}

ELEMENTS quotient(const COMPLEX& c, RANGE range) {
    if (c.right_is_real()) return {nullptr, by_real(c, OP_DIV), true};
    const bool is_plain = type_is_integer(c.own) || range == LangOptions::CX_Basic;
    if (is_plain) return {nullptr, plain_quotient(c), true};
    return library_result(c, true);
}

ELEMENTS converted(BODY& body, const CastExpr* e) {
    TYPE* own = icode_type(body.unit, element_type(e->getType()));
    ELEMENTS elements = elements_of_value(body, e->getSubExpr());
    for (NODE*& value : elements.values) value = arithmetic_conversion(value, own);
    if (elements.values.size() == 1) elements.values.push_back(zero_constant(own));
    return elements;
}

ELEMENTS negated(BODY& body, const UnaryOperator* e) {
    TYPE* own = icode_type(body.unit, element_type(e->getType()));
    ELEMENTS elements = elements_of_value(body, e->getSubExpr());
    const bool conjugates = e->getOpcode() == UO_Not;
    for (size_t i = conjugates; i < 2; ++i)
        elements.values[i] = element_operation(body, OP_UMINUS, own, elements.values[i]);
    elements.is_steady = false; // each copy of the tree would compute it again
    return elements;
}

// Two numbers, or none or one of them.
ELEMENTS from_numbers(BODY& body, QualType type, const std::vector<const Expr*>& numbers) {
    TYPE* own = icode_type(body.unit, element_type(type));
    ELEMENTS elements{nullptr, {}, true, false};
    for (const Expr* given : numbers) {
        ELEMENTS next = single_element(body, value_of(body, given));
        elements.effects = effects_of_both(body, elements, next);
        elements.values.push_back(next.values[0]);
        elements.is_steady = elements.is_steady && next.is_steady;
    }
    while (elements.values.size() < 2) elements.values.push_back(zero_constant(own));
    return elements;
}

ELEMENTS from_list(BODY& body, const InitListExpr* list) {
    if (list->getNumInits() == 1 && has_elements(list->getInit(0)->getType()))
        return elements_of_value(body, list->getInit(0));
    return from_numbers(body, list->getType(), {list->inits().begin(), list->inits().end()});
}

ELEMENTS from_operator(BODY& body, const BinaryOperator* e) {
    ELEMENTS left = elements_of_value(body, e->getLHS());
    const RANGE range = e->getFPFeaturesInEffect(body.unit.ast->getLangOpts()).getComplexRange();
    return complex_arithmetic(body, e->getOpcode(), e->getType(), left, elements_of_value(body, e->getRHS()),
                              range);
}

} // namespace

ELEMENTS complex_arithmetic(BODY& body, BinaryOperatorKind kind, QualType type, ELEMENTS left, ELEMENTS right,
                            RANGE range) {
    const bool adds = kind == BO_Add || kind == BO_Sub;
    if (!adds) right = steady_elements(body, right);
    if (!adds) left = steady_elements(body, left);
    NODE* effects = effects_of_both(body, left, right);
    const COMPLEX c{body, type, icode_type(body.unit, element_type(type)), left, right};
    ELEMENTS result;
    if (adds)
        result = {nullptr, sum(c, arithmetic_opcode(kind))};
    else
        result = kind == BO_Mul ? product(c, range) : quotient(c, range);
    result.effects = sequence(effects, result.effects);
    result.in_order = !adds || (left.in_order && right.in_order);
    return result;
}

ELEMENTS complex_elements(BODY& body, const Expr* e) {
    if (const auto* cast = dyn_cast<CastExpr>(e)) return converted(body, cast);
    if (const auto* binary = dyn_cast<BinaryOperator>(e)) return from_operator(body, binary);
    if (const auto* list = dyn_cast<InitListExpr>(e)) return from_list(body, list);
    if (const auto* call = dyn_cast<CallExpr>(e))
        return from_numbers(body, e->getType(), {call->getArg(0), call->getArg(1)});
    if (const auto* literal = dyn_cast<ImaginaryLiteral>(e)) {
        NODE* zero = zero_constant(icode_type(body.unit, element_type(e->getType())));
        return {nullptr, {zero, value_of(body, literal->getSubExpr())}, true};
    }
    if (const auto* unary = dyn_cast<UnaryOperator>(e)) {
        const bool changes = unary->getOpcode() == UO_Minus || unary->getOpcode() == UO_Not;
        return changes ? negated(body, unary) : elements_of_value(body, unary->getSubExpr());
    }
    return from_numbers(body, e->getType(), {});
}

NODE* complex_relation(BODY& body, const BinaryOperator* e) {
    ELEMENTS left = elements_of_value(body, e->getLHS()), right = elements_of_value(body, e->getRHS());
    NODE* effects = effects_of_both(body, left, right);
    TYPE* own = type_strip(left.values[0]->type);
    for (ELEMENTS* operand : {&left, &right})
        if (operand->values.size() == 1) operand->values.push_back(zero_constant(own));
    NODE* real = element_relation(body, e->getOpcode(), left.values[0], right.values[0]);
    NODE* imag = element_relation(body, e->getOpcode(), left.values[1], right.values[1]);
    return sequence(effects, e->getOpcode() == BO_EQ ? both(body, real, imag) : either(body, real, imag));
}

NODE* complex_truth(BODY& body, const Expr* expression) {
    const ELEMENTS elements = elements_of_value(body, expression);
    const auto is_set = [&](NODE* value) {
        NODE* zero = zero_constant(type_strip(value->type));
        return element_relation(body, BO_NE, value, zero);
    };
    NODE* real = is_set(elements.values[0]);
    return sequence(elements.effects, either(body, real, is_set(elements.values[1])));
}

NODE* complex_part(BODY& body, const UnaryOperator* e) {
    const Expr* inner = e->getSubExpr();
    const bool is_imag = e->getOpcode() == UO_Imag;
    if (has_elements(inner->getType())) {
        const ELEMENTS elements = elements_of_value(body, inner);
        return sequence(elements.effects, elements.values[is_imag]);
    }
    if (!is_imag) return value_of(body, inner);
    return sequence(effects_of(body, inner), zero_constant(icode_type(body.unit, e->getType())));
}

NODE* complex_part_lvalue(BODY& body, const UnaryOperator* e) {
    const Expr* inner = e->getSubExpr();
    NODE* object = lvalue_of(body, inner);
    if (!has_elements(inner->getType())) return object;
    return element_of_object(body, object, inner->getType(), e->getOpcode() == UO_Imag);
}

} // namespace pelorus
