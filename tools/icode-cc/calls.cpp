// Calls and the walk over unnamed arguments; see expressions.h.
//
// `va_list` is the EABI's: a structure whose one member points to the next argument. `va_arg` takes a 4-byte
// slot, or slots that begin at a multiple of 8 for types that want it.
#include "clang/Basic/Builtins.h"

#include "expressions.h"

namespace pelorus {

using namespace clang;

namespace {

// The function that a symbol names takes these arguments.
bool takes_arguments(const TYPE* function, const std::vector<NODE*>& arguments) {
    if (!function->prototyped) return true;
    size_t given = 0;
    for (const TYPE_PART* part = function->parts; part; part = part->next) {
        if (part->record_kind != TR_PARAMETER) continue;
        if (given == arguments.size() || !type_same_representation(part->type, arguments[given]->type))
            return false;
        ++given;
    }
    return given == arguments.size() || function->variadic;
}

// A call through a declaration without prototype may have other arguments than the definition takes; its
// callee then has a type that takes any.
NODE* direct_callee(BODY& body, const CallExpr* call, const FunctionDecl* function,
                    const std::vector<NODE*>& arguments) {
    SYMBOL* symbol = called_symbol(body.unit, function);
    symbol->flags |= SF_REFERENCED | SF_CALLED;
    TYPE* type = symbol->declared_type;
    if (!takes_arguments(type_strip(type), arguments))
        type = function_type(body.unit,
                             body.unit.ast->getFunctionNoProtoType(call->getType().getUnqualifiedType()), 0);
    return new_unary(OP_UAND, body.unit.types.make_pointer(type), new_name(symbol, symbol->declared_type));
}

// The function that the callee names without being converted to another type.
const FunctionDecl* named_function(const CallExpr* call) {
    const auto* decay = dyn_cast<ImplicitCastExpr>(call->getCallee()->IgnoreParens());
    if (!decay ||
        (decay->getCastKind() != CK_FunctionToPointerDecay && decay->getCastKind() != CK_BuiltinFnToFnPtr))
        return nullptr;
    const Expr* inner = decay->getSubExpr()->IgnoreParens();
    const auto* name = dyn_cast<DeclRefExpr>(inner);
    return name ? dyn_cast<FunctionDecl>(name->getDecl()) : nullptr;
}

bool is_own_builtin(const BODY& body, unsigned builtin) {
    return builtin &&
           (builtin == Builtin::BIalloca || !body.unit.ast->BuiltinInfo.isPredefinedLibFunction(builtin));
}

// `ap.__ap` of the va_list, given as an lvalue.
NODE* next_argument(BODY& body, NODE* list, QualType type) {
    const RecordDecl* record = type->castAs<RecordType>()->getDecl()->getDefinition();
    TYPE* owner = icode_type(body.unit, type.getUnqualifiedType());
    return member_of_value(list, member_of(body.unit, *record->field_begin()), owner,
                           void_pointer_type(body.unit));
}

// The pointer moved up to the next multiple of 8.
NODE* aligned_up(BODY& body, NODE* pointer) {
    TYPE* number = unsigned_type(body.unit);
    NODE* sum = new_binary(OP_PLUS, number, pointer_conversion(pointer, number), integer_constant(number, 7));
    NODE* rounded = new_binary(OP_ANDB, number, sum, integer_constant(number, -8));
    return new_unary(OP_PCONV, void_pointer_type(body.unit), rounded);
}

} // namespace

NODE* value_of_call(BODY& body, const CallExpr* call) {
    const unsigned builtin = call->getBuiltinCallee();
    if (is_own_builtin(body, builtin)) return value_of_builtin(body, call, builtin);
    const FunctionDecl* function = named_function(call);
    NODE* callee = function ? nullptr : value_of(body, call->getCallee());
    std::vector<NODE*> arguments;
    for (const Expr* argument : call->arguments()) arguments.push_back(value_of(body, argument));
    if (function) callee = direct_callee(body, call, function, arguments);
    return call_of(icode_type(body.unit, call->getType().getUnqualifiedType()), callee, arguments);
}

NODE* value_of_va_arg(BODY& body, const VAArgExpr* e) {
    const Expr* list = e->getSubExpr();
    const QualType list_type = list->getType();
    if (!list_type->isRecordType()) {
        refuse(body.unit, e->getExprLoc(), "this kind of va_list");
        return zero_constant(int_type(body.unit));
    }
    TYPE* type = icode_type(body.unit, e->getType().getUnqualifiedType());
    TYPE* pointer = void_pointer_type(body.unit);
    NODE* place = lvalue_of(body, list);
    NODE* effects = nullptr;
    if (has_side_effects(body, list)) {
        const SAVED_VALUE saved = save_value(
            body, address_of(place, body.unit.types.make_pointer(icode_type(body.unit, list_type))));
        effects = saved.assignment;
        place = object_at(use_local(saved.symbol), icode_type(body.unit, list_type));
    }
    // As the argument was placed: what attributes of a type name or a whole structure say does not count.
    const bool is_aligned = body.unit.ast->getTypeUnadjustedAlign(e->getType()) >= 64;
    if (is_aligned) {
        NODE* rounded = aligned_up(body, next_argument(body, copy_tree(place), list_type));
        effects =
            sequence(effects, assignment(next_argument(body, copy_tree(place), list_type), rounded, pointer));
    }
    const uint32_t slots = (type->size + 3) / 4 * 4;
    NODE* step = new_binary(OP_PLUSPLUS, pointer, next_argument(body, place, list_type),
                            integer_constant(int_type(body.unit), slots));
    NODE* pointer_to_value = pointer_conversion(step, body.unit.types.make_pointer(type));
    if (type->align > (is_aligned ? 8 : 4))
        pointer_to_value = new_unary(OP_NONALIGN, pointer_to_value->type, pointer_to_value);
    NODE* value = object_at(pointer_to_value, type);
    return effects ? sequence(effects, value) : value;
}

namespace {

NODE* start_list(BODY& body, const CallExpr* call) {
    const Expr* list = call->getArg(0);
    if (!list->getType()->isRecordType() || !body.last_parameter) {
        refuse(body.unit, call->getExprLoc(), "va_start without a named parameter");
        return zero_constant(int_type(body.unit));
    }
    body.walks_arguments = true;
    body.last_parameter->flags |= SF_REFERENCED;
    TYPE* pointer = void_pointer_type(body.unit);
    NODE* first =
        new_unary(OP_ARGREF, pointer, new_name(body.last_parameter, body.last_parameter->declared_type));
    return assignment(next_argument(body, lvalue_of(body, list), list->getType()), first, pointer);
}

NODE* copy_list(BODY& body, const CallExpr* call) {
    NODE* target = lvalue_of(body, call->getArg(0));
    return assignment(target, value_of(body, call->getArg(1)),
                      icode_type(body.unit, call->getArg(0)->getType().getUnqualifiedType()));
}

} // namespace

NODE* value_of_list_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_va_start:
    case Builtin::BI__builtin_stdarg_start: return start_list(body, call);
    case Builtin::BI__builtin_va_copy: return copy_list(body, call);
    case Builtin::BI__builtin_va_end:
        return sequence(effects_of(body, call->getArg(0)), zero_constant(int_type(body.unit)));
    default: return nullptr;
    }
}

} // namespace pelorus
