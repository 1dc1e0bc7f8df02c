// Arrays of variable length; see arrays.h.
#include "arrays.h"

#include "expressions.h"
#include "scopes.h"

namespace pelorus {

using namespace clang;

namespace {

NODE* length_assignment(BODY& body, const VariableArrayType* array) {
    const Expr* length = array->getSizeExpr();
    if (!length) return nullptr; // `[*]`
    emit_inner_statements(body, length);
    TYPE* number = unsigned_type(body.unit);
    NODE* value = arithmetic_conversion(value_of(body, length), number);
    SYMBOL*& symbol = body.lengths[length];
    if (!symbol) symbol = new_temporary_local(body, number);
    return assignment(use_local(symbol), value, number);
}

NODE* length_of(BODY& body, const VariableArrayType* array) {
    if (SYMBOL* symbol = body.lengths.lookup(array->getSizeExpr())) return use_local(symbol);
    if (array->getSizeExpr())
        return arithmetic_conversion(value_of(body, array->getSizeExpr()), unsigned_type(body.unit));
    refuse(body.unit, "an array whose length is not given");
    return integer_constant(unsigned_type(body.unit), 0);
}

NODE* product(BODY& body, NODE* left, NODE* right) {
    return left ? new_binary(OP_MULT, unsigned_type(body.unit), left, right) : right;
}

SYMBOL* save_stack(BODY& body) {
    const SAVED_VALUE saved =
        save_value(body, generator_call(body, "__builtin_stack_save", void_pointer_type(body.unit), {}));
    emit(body, saved.assignment);
    return saved.symbol;
}

// The element of fixed size that an array of variable length consists of.
QualType innermost_element(const UNIT& unit, QualType type) {
    while (is_variable_array(unit, type)) type = unit.ast->getAsArrayType(type)->getElementType();
    return type;
}

// The next type that is part of `type` as it is written, on the way to its lengths; null: the way ends.
QualType written_part(const ASTContext& ast, QualType type) {
    if (const auto* array = dyn_cast<ArrayType>(type.getTypePtr())) return array->getElementType();
    if (const auto* adjusted = dyn_cast<AdjustedType>(type.getTypePtr())) return adjusted->getOriginalType();
    if (const auto* pointer = dyn_cast<PointerType>(type.getTypePtr())) return pointer->getPointeeType();
    if (const auto* function = dyn_cast<FunctionType>(type.getTypePtr())) return function->getReturnType();
    const QualType inner = type.getSingleStepDesugaredType(ast);
    return inner == type ? QualType() : inner;
}

// Calls `visit` for each array of variable length and each typeof in the type as it is written, from the
// outside in. Typedef names have theirs computed where they stand, and what is behind a typeof is its
// operand's.
template <class VISIT>
void for_each_length(const ASTContext& ast, QualType type, VISIT visit) {
    while (!type.isNull() && type->isVariablyModifiedType()) {
        if (isa<TypedefType, AutoType>(type.getTypePtr())) return;
        if (isa<TypeOfExprType, VariableArrayType>(type.getTypePtr())) visit(type.getTypePtr());
        if (isa<TypeOfExprType>(type.getTypePtr())) return;
        type = written_part(ast, type);
    }
}

} // namespace

NODE* generator_call(BODY& body, const char* name, TYPE* result, const std::vector<NODE*>& arguments) {
    std::vector<TYPE*> parameters;
    parameters.reserve(arguments.size());
    for (const NODE* argument : arguments) parameters.push_back(type_strip(argument->type));
    return direct_call(body.unit, result, library_function(body.unit, name, result, parameters), arguments);
}

NODE* lengths_of_type(BODY& body, QualType type) {
    NODE* effects = nullptr;
    for_each_length(*body.unit.ast, type, [&](const Type* part) {
        const auto* of = dyn_cast<TypeOfExprType>(part);
        effects = sequence(effects, of ? effects_of(body, of->getUnderlyingExpr())
                                       : length_assignment(body, cast<VariableArrayType>(part)));
    });
    return effects;
}

bool lengths_have_effects(const BODY& body, QualType type) {
    bool found = false;
    for_each_length(*body.unit.ast, type, [&](const Type* part) {
        const auto* of = dyn_cast<TypeOfExprType>(part);
        const Expr* given = of ? of->getUnderlyingExpr() : cast<VariableArrayType>(part)->getSizeExpr();
        found = found || (given && has_side_effects(body, given));
    });
    return found;
}

NODE* size_of(BODY& body, QualType type) {
    TYPE* number = unsigned_type(body.unit);
    if (type->isVoidType() || type->isFunctionType()) return integer_constant(number, 1);
    NODE* lengths = nullptr;
    int64_t fixed = 1;
    while (is_variable_array(body.unit, type)) {
        const ArrayType* array = body.unit.ast->getAsArrayType(type);
        if (const auto* variable = dyn_cast<VariableArrayType>(array))
            lengths = product(body, lengths, length_of(body, variable));
        else if (const auto* constant = dyn_cast<ConstantArrayType>(array))
            fixed *= constant->getSize().getSExtValue();
        type = array->getElementType();
    }
    fixed *= size_in_bytes(body.unit, type);
    if (lengths && fixed == 1) return lengths;
    return product(body, lengths, integer_constant(number, fixed));
}

NODE* stack_memory(BODY& body, NODE* bytes, uint32_t align) {
    TYPE* number = unsigned_type(body.unit);
    TYPE* pointer = void_pointer_type(body.unit);
    bytes = arithmetic_conversion(bytes, number);
    if (align <= STACK_ALIGNMENT) return generator_call(body, "__builtin_alloca", pointer, {bytes});
    bytes = new_binary(OP_PLUS, number, bytes, integer_constant(number, align - STACK_ALIGNMENT));
    NODE* memory = generator_call(body, "__builtin_alloca", pointer, {bytes});
    NODE* moved =
        new_binary(OP_PLUS, number, new_unary(OP_PCONV, number, memory), integer_constant(number, align - 1));
    return new_unary(
        OP_PCONV, pointer,
        new_binary(OP_ANDB, number, moved, integer_constant(number, -static_cast<int64_t>(align))));
}

NODE* restore_stack(BODY& body, SYMBOL* stack) {
    return generator_call(body, "__builtin_stack_restore", void_type(body.unit), {use_local(stack)});
}

NODE* variable_object(BODY& body, const VarDecl* variable) {
    SYMBOL* symbol = variable_of(body, variable);
    if (!variable->hasLocalStorage() || !is_variable_array(body.unit, variable->getType()))
        return use_local(symbol);
    return object_at(use_local(symbol), icode_type(body.unit, variable->getType()));
}

void declare_array(BODY& body, const VarDecl* variable) {
    UNIT& unit = body.unit;
    const QualType type = variable->getType();
    const QualType element = innermost_element(unit, type);
    TYPE* pointer = unit.types.make_pointer(icode_type(unit, element));
    SYMBOL*& known = body.variables[variable];
    if (!known)
        known = new_local(body, variable->getNameAsString(), pointer, pointer->align, variable->getLocation(),
                          body.blocks.lookup(variable));
    SYMBOL* symbol = known;
    SYMBOL*& stack = body.stacks[variable];
    stack = save_stack(body);
    const auto align = static_cast<uint32_t>(unit.ast->getDeclAlign(variable).getQuantity());
    NODE* memory = pointer_conversion(stack_memory(body, size_of(body, type), align), pointer);
    emit(body, assignment(use_local(symbol), memory, pointer));
    hold_variable(body, variable);
    if (!variable->hasInit()) return;
    TYPE* any = void_pointer_type(unit);
    SYMBOL* clear = library_function(unit, "memset", any, {any, int_type(unit), unsigned_type(unit)});
    emit(body, direct_call(unit, any, clear,
                           {pointer_conversion(use_local(symbol), any), integer_constant(int_type(unit), 0),
                            size_of(body, type)}));
}

} // namespace pelorus
