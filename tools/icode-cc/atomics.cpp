// Atomic operations; see atomics.h.
#include "atomics.h"

#include "clang/Basic/Builtins.h"

#include "arrays.h"
#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

// What an operation works on.
struct ATOMIC {
    BODY& body;
    OPERAND place; // the object's address
    TYPE* type;    // of the object, without qualifiers
    TYPE* word;    // the unsigned integer of the object's size, which the library's functions take
};

TYPE* word_type(BODY& body, uint32_t size) {
    ASTContext& ast = *body.unit.ast;
    switch (size) {
    case 1: return icode_type(body.unit, ast.UnsignedCharTy);
    case 2: return icode_type(body.unit, ast.UnsignedShortTy);
    case 4: return unsigned_type(body.unit);
    case 8: return long_long_type(body.unit, true);
    default: return nullptr;
    }
}

ATOMIC atomic_object(BODY& body, NODE* address, QualType type, SourceLocation place) {
    TYPE* made = icode_type(body.unit, type.getAtomicUnqualifiedType());
    TYPE* word = word_type(body, made->size);
    if (!word) {
        refuse(body.unit, place, "an atomic operation on " + std::to_string(made->size) + " bytes");
        word = unsigned_type(body.unit);
    }
    return {body, operand_of(body, pointer_conversion(address, void_pointer_type(body.unit))), made, word};
}

bool is_number(const TYPE* type) { return type_is_integer(type) && !type_is_bool(type); }

// A variable of the object's type that may be accessed as a word.
SYMBOL* word_variable(const ATOMIC& atomic) {
    return new_local(atomic.body, "$atomic", atomic.type, std::max(atomic.type->align, atomic.word->size),
                     {});
}

NODE* as_word(const ATOMIC& atomic, SYMBOL* variable) {
    TYPE* pointer = atomic.body.unit.types.make_pointer(atomic.word);
    return new_unary(OP_UMULT, atomic.word, address_of(use_local(variable), pointer));
}

// A value of the object's type as the word with its bits.
NODE* to_word(const ATOMIC& atomic, NODE* value) {
    if (type_is_integer(atomic.type)) return arithmetic_conversion(value, atomic.word);
    if (type_is_pointer(atomic.type)) return pointer_conversion(value, atomic.word);
    SYMBOL* variable = word_variable(atomic);
    return sequence(assignment(use_local(variable), value, atomic.type), as_word(atomic, variable));
}

NODE* from_word(const ATOMIC& atomic, NODE* word) {
    if (is_number(atomic.type)) return arithmetic_conversion(word, atomic.type);
    if (type_is_pointer(atomic.type)) return pointer_conversion(word, atomic.type);
    SYMBOL* variable = word_variable(atomic);
    return sequence(assignment(as_word(atomic, variable), word, atomic.word), use_local(variable));
}

NODE* barrier(BODY& body) {
    TYPE* none = void_type(body.unit);
    return direct_call(body.unit, none, library_function(body.unit, "__sync_synchronize", none, {}), {});
}

// A call of `__sync_<name>_<size>` on the object and further words.
NODE* library_call(const ATOMIC& atomic, const std::string& name, TYPE* result, std::vector<NODE*> words) {
    UNIT& unit = atomic.body.unit;
    std::vector<TYPE*> parameters(words.size() + 1, atomic.word);
    parameters[0] = void_pointer_type(unit);
    const std::string full = "__sync_" + name + "_" + std::to_string(atomic.word->size);
    words.insert(words.begin(), atomic.place.use());
    return direct_call(unit, result, library_function(unit, full, result, parameters), words);
}

// The same for an operation that gives a word. What the library returns for a small object may have any bits
// above it.
NODE* library_operation(const ATOMIC& atomic, const std::string& name, std::vector<NODE*> words) {
    if (atomic.word->size >= 4) return library_call(atomic, name, atomic.word, std::move(words));
    return arithmetic_conversion(
        library_call(atomic, name, unsigned_type(atomic.body.unit), std::move(words)), atomic.word);
}

// The object as a volatile word.
NODE* object_word(const ATOMIC& atomic) {
    UNIT& unit = atomic.body.unit;
    TYPE* type = unit.types.make_qualified(atomic.word, Q_VOLATILE);
    return object_at(pointer_conversion(atomic.place.use(), unit.types.make_pointer(type)), type);
}

// The code generator has an instruction that reads 8 bytes at once and leaves them alone, so that the object
// may be constant.
NODE* load_double_word(const ATOMIC& atomic) {
    TYPE* pointer = void_pointer_type(atomic.body.unit);
    return generator_call(atomic.body, "__builtin_atomic_load_8", atomic.word,
                          {pointer_conversion(atomic.place.use(), pointer)});
}

NODE* load_word(const ATOMIC& atomic, bool ordered) {
    NODE* word = atomic.word->size == 8 ? load_double_word(atomic) : object_word(atomic);
    if (!ordered) return word;
    const SAVED_VALUE saved = save_value(atomic.body, word);
    return sequence(saved.assignment, sequence(barrier(atomic.body), use_local(saved.symbol)));
}

NODE* exchange_word(const ATOMIC& atomic, NODE* word) {
    const OPERAND value = operand_of(atomic.body, word); // computed before the barrier
    return sequence(
        value.assignment,
        sequence(barrier(atomic.body), library_operation(atomic, "lock_test_and_set", {value.use()})));
}

NODE* store_word(const ATOMIC& atomic, NODE* word, bool ordered) {
    if (atomic.word->size == 8) return exchange_word(atomic, word);
    if (!ordered) return assignment(object_word(atomic), word, atomic.word);
    const OPERAND value = operand_of(atomic.body, word);
    NODE* store = assignment(object_word(atomic), value.use(), atomic.word);
    return sequence(value.assignment, sequence(barrier(atomic.body), sequence(store, barrier(atomic.body))));
}

// The object that a pointer argument points to.
NODE* pointed_value(const ATOMIC& atomic, NODE* pointer) {
    return object_at(pointer_conversion(pointer, atomic.body.unit.types.make_pointer(atomic.type)),
                     atomic.type);
}

// 1 when the object held what `expected` points to and holds `desired` now; else 0, and `*expected` is what
// it held.
NODE* compare_exchange(const ATOMIC& atomic, NODE* expected, NODE* desired) {
    BODY& body = atomic.body;
    const OPERAND pointer = operand_of(body, expected);
    const OPERAND wanted = operand_of(body, to_word(atomic, desired));
    const OPERAND old = operand_of(body, to_word(atomic, pointed_value(atomic, pointer.use())));
    const SAVED_VALUE found =
        save_value(body, library_operation(atomic, "val_compare_and_swap", {old.use(), wanted.use()}));
    const SAVED_VALUE same = save_value(body, test(body, OP_EQ, use_local(found.symbol), old.use()));
    NODE* keep = assignment(pointed_value(atomic, pointer.use()), from_word(atomic, use_local(found.symbol)),
                            atomic.type);
    NODE* otherwise = choice(void_type(body.unit), use_local(same.symbol), number(body, 0), keep);
    NODE* before = sequence(pointer.assignment, sequence(wanted.assignment, old.assignment));
    return sequence(sequence(before, sequence(found.assignment, same.assignment)),
                    sequence(otherwise, use_local(same.symbol)));
}

// The library's name of an operation that changes the object by another operand, "" for none.
const char* change_name(AtomicExpr::AtomicOp op) {
    switch (op) {
    case AtomicExpr::AO__c11_atomic_fetch_add:
    case AtomicExpr::AO__atomic_fetch_add: return "fetch_and_add";
    case AtomicExpr::AO__c11_atomic_fetch_sub:
    case AtomicExpr::AO__atomic_fetch_sub: return "fetch_and_sub";
    case AtomicExpr::AO__c11_atomic_fetch_and:
    case AtomicExpr::AO__atomic_fetch_and: return "fetch_and_and";
    case AtomicExpr::AO__c11_atomic_fetch_or:
    case AtomicExpr::AO__atomic_fetch_or: return "fetch_and_or";
    case AtomicExpr::AO__c11_atomic_fetch_xor:
    case AtomicExpr::AO__atomic_fetch_xor: return "fetch_and_xor";
    case AtomicExpr::AO__c11_atomic_fetch_nand:
    case AtomicExpr::AO__atomic_fetch_nand: return "fetch_and_nand";
    case AtomicExpr::AO__atomic_add_fetch: return "add_and_fetch";
    case AtomicExpr::AO__atomic_sub_fetch: return "sub_and_fetch";
    case AtomicExpr::AO__atomic_and_fetch: return "and_and_fetch";
    case AtomicExpr::AO__atomic_or_fetch: return "or_and_fetch";
    case AtomicExpr::AO__atomic_xor_fetch: return "xor_and_fetch";
    case AtomicExpr::AO__atomic_nand_fetch: return "nand_and_fetch";
    default: return "";
    }
}

// The effects of the operands that say how memory is ordered.
NODE* order_effects(BODY& body, const AtomicExpr* e) {
    NODE* effects = e->getOp() == AtomicExpr::AO__c11_atomic_init ? nullptr : effects_of(body, e->getOrder());
    if (e->isCmpXChg()) effects = sequence(effects, effects_of(body, e->getOrderFail()));
    if (e->getOp() == AtomicExpr::AO__atomic_compare_exchange ||
        e->getOp() == AtomicExpr::AO__atomic_compare_exchange_n)
        effects = sequence(effects, effects_of(body, e->getWeak()));
    return effects;
}

bool is_ordered(const ATOMIC& atomic, const Expr* order) {
    Expr::EvalResult known;
    return !order->EvaluateAsInt(known, *atomic.body.unit.ast) || !known.Val.getInt().isZero();
}

// The operand of a change, as a word. C11's move pointers by objects, GNU's by bytes.
NODE* change_amount(const ATOMIC& atomic, const AtomicExpr* e) {
    NODE* amount = value_of(atomic.body, e->getVal1());
    if (type_is_pointer(amount->type)) return pointer_conversion(amount, atomic.word);
    const bool scales = e->getOp() == AtomicExpr::AO__c11_atomic_fetch_add ||
                        e->getOp() == AtomicExpr::AO__c11_atomic_fetch_sub;
    if (scales && e->getValueType()->isPointerType())
        amount =
            scaled_index(atomic.body.unit, amount, size_of(atomic.body, e->getValueType()->getPointeeType()));
    return arithmetic_conversion(amount, atomic.word);
}

NODE* change(const ATOMIC& atomic, const AtomicExpr* e) {
    const char* name = change_name(e->getOp());
    if (!*name || (!is_number(atomic.type) && !type_is_pointer(atomic.type))) {
        refuse(atomic.body.unit, e->getExprLoc(), "this atomic operation");
        return zero_constant(int_type(atomic.body.unit));
    }
    return from_word(atomic, library_operation(atomic, name, {change_amount(atomic, e)}));
}

NODE* operation(const ATOMIC& atomic, const AtomicExpr* e) {
    BODY& body = atomic.body;
    const auto given = [&](const Expr* value) { return to_word(atomic, value_of(body, value)); };
    const auto behind = [&](const Expr* pointer) { return pointed_value(atomic, value_of(body, pointer)); };
    switch (e->getOp()) {
    case AtomicExpr::AO__c11_atomic_init:
        return assignment(object_word(atomic), given(e->getVal1()), atomic.word);
    case AtomicExpr::AO__c11_atomic_load:
    case AtomicExpr::AO__atomic_load_n:
        return from_word(atomic, load_word(atomic, is_ordered(atomic, e->getOrder())));
    case AtomicExpr::AO__atomic_load: {
        NODE* value = from_word(atomic, load_word(atomic, is_ordered(atomic, e->getOrder())));
        return assignment(behind(e->getVal1()), value, atomic.type);
    }
    case AtomicExpr::AO__c11_atomic_store:
    case AtomicExpr::AO__atomic_store_n:
        return store_word(atomic, given(e->getVal1()), is_ordered(atomic, e->getOrder()));
    case AtomicExpr::AO__atomic_store:
        return store_word(atomic, to_word(atomic, behind(e->getVal1())), is_ordered(atomic, e->getOrder()));
    case AtomicExpr::AO__c11_atomic_exchange:
    case AtomicExpr::AO__atomic_exchange_n:
        return from_word(atomic, exchange_word(atomic, given(e->getVal1())));
    case AtomicExpr::AO__atomic_exchange: {
        NODE* old = from_word(atomic, exchange_word(atomic, to_word(atomic, behind(e->getVal1()))));
        return assignment(behind(e->getVal2()), old, atomic.type);
    }
    case AtomicExpr::AO__c11_atomic_compare_exchange_strong:
    case AtomicExpr::AO__c11_atomic_compare_exchange_weak:
    case AtomicExpr::AO__atomic_compare_exchange_n:
        return compare_exchange(atomic, value_of(body, e->getVal1()), value_of(body, e->getVal2()));
    case AtomicExpr::AO__atomic_compare_exchange:
        return compare_exchange(atomic, value_of(body, e->getVal1()), behind(e->getVal2()));
    default: return change(atomic, e);
    }
}

ATOMIC flag_object(BODY& body, const CallExpr* call) {
    return atomic_object(body, value_of(body, call->getArg(0)), body.unit.ast->UnsignedCharTy,
                         call->getExprLoc());
}

NODE* changed_by(const ATOMIC& atomic, bool adds, bool wants_old, NODE* amount) {
    const char* name = adds ? (wants_old ? "fetch_and_add" : "add_and_fetch")
                            : (wants_old ? "fetch_and_sub" : "sub_and_fetch");
    NODE* call = library_operation(atomic, name, {arithmetic_conversion(amount, atomic.word)});
    return sequence(atomic.place.assignment, from_word(atomic, call));
}

NODE* refused_operation(BODY& body, const Expr* e) {
    refuse(body.unit, e->getExprLoc(), "this operator on an atomic object");
    return zero_constant(int_type(body.unit));
}

ATOMIC operand_object(BODY& body, const Expr* object) {
    NODE* address = address_of(lvalue_of(body, object), void_pointer_type(body.unit));
    return atomic_object(body, address, object->getType(), object->getExprLoc());
}

NODE* compound(BODY& body, const BinaryOperator* e) {
    const ATOMIC atomic = operand_object(body, e->getLHS());
    NODE* amount = value_of(body, e->getRHS());
    const bool adds = e->getOpcode() == BO_AddAssign;
    if (e->getLHS()->getType().getAtomicUnqualifiedType()->isHalfType()) return refused_operation(body, e);
    if (type_is_pointer(atomic.type))
        amount = scaled_index(body.unit, amount, size_of(body, e->getType()->getPointeeType()));
    else if (!is_number(atomic.type) || !type_is_integer(amount->type))
        return refused_operation(body, e);
    const char* name = nullptr;
    switch (e->getOpcode()) {
    case BO_AddAssign:
    case BO_SubAssign: return changed_by(atomic, adds, false, amount);
    case BO_AndAssign: name = "and_and_fetch"; break;
    case BO_OrAssign: name = "or_and_fetch"; break;
    case BO_XorAssign: name = "xor_and_fetch"; break;
    default: return refused_operation(body, e);
    }
    NODE* call = library_operation(atomic, name, {arithmetic_conversion(amount, atomic.word)});
    return sequence(atomic.place.assignment, from_word(atomic, call));
}

} // namespace

NODE* value_of_atomic(BODY& body, const AtomicExpr* e) {
    const ATOMIC atomic =
        atomic_object(body, value_of(body, e->getPtr()), e->getValueType(), e->getExprLoc());
    NODE* effects = sequence(atomic.place.assignment, order_effects(body, e));
    return sequence(effects, operation(atomic, e));
}

namespace {

// `__sync_<name>_<size>` on objects of `size` bytes.
NODE* value_of_sync_builtin(BODY& body, const CallExpr* call, const std::string& name) {
    const QualType object = call->getArg(0)->getType()->getPointeeType();
    const ATOMIC atomic = atomic_object(body, value_of(body, call->getArg(0)), object, call->getExprLoc());
    NODE* effects = atomic.place.assignment;
    std::vector<OPERAND> words;
    for (unsigned i = 1; i < call->getNumArgs(); ++i) {
        words.push_back(operand_of(body, to_word(atomic, value_of(body, call->getArg(i)))));
        effects = sequence(effects, words.back().assignment);
    }
    if (name == "lock_release") {
        return sequence(effects, library_call(atomic, name, void_type(body.unit), {}));
    } else if (name == "bool_compare_and_swap") {
        NODE* found = library_operation(atomic, "val_compare_and_swap", {words[0].use(), words[1].use()});
        NODE* same = test(body, OP_EQ, found, words[0].use());
        return sequence(effects, arithmetic_conversion(same, icode_type(body.unit, call->getType())));
    } else if (name == "val_compare_and_swap") {
        NODE* found = library_operation(atomic, name, {words[0].use(), words[1].use()});
        return sequence(effects, from_word(atomic, found));
    }
    NODE* value = name == "swap" ? exchange_word(atomic, words[0].use())
                                 : library_operation(atomic, name, {words[0].use()});
    return sequence(effects, from_word(atomic, value));
}

// What stands between "__sync_" and the size in the name of a builtin; "" for others.
std::string sync_name(const BODY& body, unsigned builtin) {
    StringRef name = body.unit.ast->BuiltinInfo.getName(builtin);
    if (!name.consume_front("__sync_") ||
        name.rsplit('_').second.find_first_not_of("0123456789") != StringRef::npos)
        return "";
    return name.rsplit('_').first.str();
}

} // namespace

NODE* value_of_atomic_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__atomic_thread_fence:
    case Builtin::BI__atomic_signal_fence:
    case Builtin::BI__c11_atomic_thread_fence:
    case Builtin::BI__c11_atomic_signal_fence:
        return sequence(effects_of(body, call->getArg(0)), barrier(body));
    case Builtin::BI__sync_synchronize: return barrier(body);
    case Builtin::BI__atomic_test_and_set: {
        const ATOMIC flag = flag_object(body, call);
        NODE* old = exchange_word(flag, integer_constant(flag.word, 1));
        return sequence(flag.place.assignment, test(body, OP_NEQ, old, zero_constant(flag.word)));
    }
    case Builtin::BI__atomic_clear: {
        const ATOMIC flag = flag_object(body, call);
        return sequence(flag.place.assignment, store_word(flag, zero_constant(flag.word), true));
    }
    default: break;
    }
    const std::string name = sync_name(body, builtin);
    return name.empty() ? nullptr : value_of_sync_builtin(body, call, name);
}

namespace {

const Expr* changed_object(const Stmt* statement) {
    if (const auto* compound = dyn_cast<CompoundAssignOperator>(statement)) return compound->getLHS();
    const auto* unary = dyn_cast<UnaryOperator>(statement);
    return unary && unary->isIncrementDecrementOp() ? unary->getSubExpr() : nullptr;
}

bool has_library_operation(const CompoundAssignOperator* e) {
    if (!e->getRHS()->getType()->isIntegerType()) return false;
    switch (e->getOpcode()) {
    case BO_AddAssign:
    case BO_SubAssign:
    case BO_AndAssign:
    case BO_OrAssign:
    case BO_XorAssign: return true;
    default: return false;
    }
}

// The value that an operator gives to an object that holds `old`.
NODE* changed_value(BODY& body, const Expr* e, TYPE* type, NODE* old, SYMBOL* right) {
    OPCODE op = OP_PLUS;
    TYPE* computed = type_is_floating(type) || type->size == 8 ? type : int_type(body.unit);
    if (const auto* compound = dyn_cast<CompoundAssignOperator>(e)) {
        op = arithmetic_opcode(BinaryOperator::getOpForCompoundAssignment(compound->getOpcode()));
        computed = icode_type(body.unit, compound->getComputationLHSType().getUnqualifiedType());
    } else if (!cast<UnaryOperator>(e)->isIncrementOp()) {
        op = OP_MINUS;
    }
    NODE* one = type_is_floating(computed) ? float_constant(computed, llvm::APFloat(1.0))
                                           : integer_constant(computed, 1);
    NODE* left = arithmetic_conversion(old, computed);
    return arithmetic_conversion(new_binary(op, computed, left, right ? use_local(right) : one), type);
}

} // namespace

bool needs_atomic_loop(const Stmt* statement) {
    const Expr* object = changed_object(statement);
    if (!object || !object->getType()->isAtomicType()) return false;
    const QualType type = object->getType().getAtomicUnqualifiedType();
    const auto* compound = dyn_cast<CompoundAssignOperator>(statement);
    if (type->isHalfType() || !type->isArithmeticType() || type->isAnyComplexType()) return false;
    if (compound && compound->getComputationResultType()->isAnyComplexType()) return false;
    if (type->isBooleanType() || type->isRealFloatingType()) return true;
    return compound && !has_library_operation(compound);
}

SYMBOL* emit_atomic_loop(BODY& body, const Expr* e) {
    const ATOMIC atomic = operand_object(body, changed_object(e));
    if (atomic.place.assignment) emit(body, atomic.place.assignment);
    SYMBOL* right = nullptr;
    if (const auto* compound = dyn_cast<CompoundAssignOperator>(e)) {
        const SAVED_VALUE saved = save_value(body, value_of(body, compound->getRHS()));
        emit(body, saved.assignment);
        right = saved.symbol;
    }
    const SAVED_VALUE word = save_value(body, load_word(atomic, false));
    emit(body, word.assignment);
    const uint32_t top = new_label(body), again = new_label(body), end = new_label(body);
    emit_label(body, top);
    const SAVED_VALUE old = save_value(body, from_word(atomic, use_local(word.symbol)));
    emit(body, old.assignment);
    const SAVED_VALUE next =
        save_value(body, changed_value(body, e, atomic.type, use_local(old.symbol), right));
    emit(body, next.assignment);
    NODE* exchange = library_operation(atomic, "val_compare_and_swap",
                                       {use_local(word.symbol), to_word(atomic, use_local(next.symbol))});
    const SAVED_VALUE found = save_value(body, exchange);
    emit(body, found.assignment);
    emit_if(body, test(body, OP_EQ, use_local(found.symbol), use_local(word.symbol)), end, again);
    emit_label(body, again);
    emit(body, assignment(use_local(word.symbol), use_local(found.symbol), atomic.word));
    emit_branch(body, top);
    emit_label(body, end);
    const auto* unary = dyn_cast<UnaryOperator>(e);
    return unary && unary->isPostfix() ? old.symbol : next.symbol;
}

NODE* atomic_read(BODY& body, const Expr* object) {
    const ATOMIC atomic = operand_object(body, object);
    return sequence(atomic.place.assignment, from_word(atomic, load_word(atomic, true)));
}

NODE* atomic_assignment(BODY& body, const BinaryOperator* e) {
    if (e->isCompoundAssignmentOp()) return compound(body, e);
    const ATOMIC atomic = operand_object(body, e->getLHS());
    const SAVED_VALUE value = save_value(body, value_of(body, e->getRHS()));
    NODE* store = store_word(atomic, to_word(atomic, use_local(value.symbol)), true);
    return sequence(atomic.place.assignment,
                    sequence(value.assignment, sequence(store, use_local(value.symbol))));
}

NODE* atomic_increment(BODY& body, const UnaryOperator* e) {
    const ATOMIC atomic = operand_object(body, e->getSubExpr());
    const bool is_half = e->getSubExpr()->getType().getAtomicUnqualifiedType()->isHalfType();
    if (is_half || (!is_number(atomic.type) && !type_is_pointer(atomic.type)))
        return refused_operation(body, e);
    NODE* amount =
        type_is_pointer(atomic.type) ? size_of(body, e->getType()->getPointeeType()) : number(body, 1);
    return changed_by(atomic, e->isIncrementOp(), e->isPostfix(), amount);
}

} // namespace pelorus
