// Builtin functions of the GNU dialect; see expressions.h.
//
// 1. What clang can evaluate is a constant. 2. Some are written out here. 3. Those that the C library or the
// compiler's library has are calls of it. 4. The rest is refused by name.
#include "clang/Basic/Builtins.h"

#include "arrays.h"
#include "atomics.h"
#include "elements.h"
#include "operands.h"

namespace pelorus {

using namespace clang;

namespace {

NODE* infinity(const OPERAND& x, bool negative) {
    return float_constant(type_strip(x.value->type),
                          llvm::APFloat::getInf(llvm::APFloat::IEEEdouble(), negative));
}

NODE* smallest_normal(const OPERAND& x, bool negative) {
    TYPE* type = type_strip(x.value->type);
    const llvm::fltSemantics& format =
        type->size == 4 ? llvm::APFloat::IEEEsingle() : llvm::APFloat::IEEEdouble();
    return float_constant(type, llvm::APFloat::getSmallestNormalized(format, negative));
}

NODE* is_nan(BODY& body, const OPERAND& x) { return test(body, OP_NEQ, x.use(), x.use()); }
NODE* is_infinite(BODY& body, const OPERAND& x) {
    return either(body, test(body, OP_EQ, x.use(), infinity(x, false)),
                  test(body, OP_EQ, x.use(), infinity(x, true)));
}
NODE* is_finite(BODY& body, const OPERAND& x) {
    return both(body, test(body, OP_LT, x.use(), infinity(x, false)),
                test(body, OP_GT, x.use(), infinity(x, true)));
}
NODE* is_large(BODY& body, const OPERAND& x) {
    return either(body, test(body, OP_GE, x.use(), smallest_normal(x, false)),
                  test(body, OP_LE, x.use(), smallest_normal(x, true)));
}

NODE* is_zero(BODY& body, const OPERAND& x) {
    return test(body, OP_EQ, x.use(), zero_constant(type_strip(x.value->type)));
}

NODE* class_of(BODY& body, const CallExpr* call) {
    const OPERAND x = argument(body, call, 5);
    TYPE* type = int_type(body.unit);
    const auto answer = [&](unsigned i) { return value_of(body, call->getArg(i)); };
    NODE* small = choice(type, is_zero(body, x), answer(4), answer(3));
    NODE* finite = choice(type, is_large(body, x), answer(2), small);
    NODE* not_nan = choice(type, is_infinite(body, x), answer(1), finite);
    return sequence(x.assignment, choice(type, is_nan(body, x), answer(0), not_nan));
}

// A test of one floating operand; null when the builtin is no such test.
NODE* floating_test(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_fpclassify: return class_of(body, call);
    case Builtin::BI__builtin_isnan:
    case Builtin::BI__builtin_isinf:
    case Builtin::BI__builtin_isinf_sign:
    case Builtin::BI__builtin_isfinite:
    case Builtin::BI__builtin_iszero:
    case Builtin::BI__builtin_issubnormal:
    case Builtin::BI__builtin_isnormal: break;
    default: return nullptr;
    }
    const OPERAND x = argument(body, call, 0);
    NODE* result = nullptr;
    switch (builtin) {
    case Builtin::BI__builtin_isnan: result = is_nan(body, x); break;
    case Builtin::BI__builtin_isinf: result = is_infinite(body, x); break;
    case Builtin::BI__builtin_isfinite: result = is_finite(body, x); break;
    case Builtin::BI__builtin_isnormal: result = both(body, is_finite(body, x), is_large(body, x)); break;
    case Builtin::BI__builtin_iszero: result = is_zero(body, x); break;
    case Builtin::BI__builtin_issubnormal:
        result = test(body, OP_GT, is_finite(body, x), either(body, is_large(body, x), is_zero(body, x)));
        break;
    default:
        result = new_binary(OP_MINUS, int_type(body.unit), test(body, OP_EQ, x.use(), infinity(x, false)),
                            test(body, OP_EQ, x.use(), infinity(x, true)));
        break;
    }
    return sequence(x.assignment, result);
}

// The comparisons that raise no exception; null for others.
NODE* quiet_comparison(BODY& body, const CallExpr* call, unsigned builtin) {
    const auto compare = [&](OPCODE op) {
        NODE* left = value_of(body, call->getArg(0));
        return test(body, op, left, value_of(body, call->getArg(1)));
    };
    switch (builtin) {
    case Builtin::BI__builtin_isgreater: return compare(OP_GT);
    case Builtin::BI__builtin_isgreaterequal: return compare(OP_GE);
    case Builtin::BI__builtin_isless: return compare(OP_LT);
    case Builtin::BI__builtin_islessequal: return compare(OP_LE);
    case Builtin::BI__builtin_islessgreater:
    case Builtin::BI__builtin_isunordered: break;
    default: return nullptr;
    }
    const OPERAND x = argument(body, call, 0), y = argument(body, call, 1);
    NODE* result =
        builtin == Builtin::BI__builtin_isunordered
            ? either(body, is_nan(body, x), is_nan(body, y))
            : either(body, test(body, OP_LT, x.use(), y.use()), test(body, OP_GT, x.use(), y.use()));
    return sequence(x.assignment, sequence(y.assignment, result));
}

NODE* library_call(BODY& body, const CallExpr* call, const std::string& name) {
    UNIT& unit = body.unit;
    std::vector<NODE*> arguments;
    for (const Expr* given : call->arguments()) arguments.push_back(value_of(body, given));
    SYMBOL* symbol = library_function(unit, name, function_type(unit, call->getDirectCallee()->getType(), 0));
    return direct_call(unit, icode_type(unit, call->getType().getUnqualifiedType()), symbol, arguments);
}

// A call of a function of the compiler's library with one integer operand and an int result.
NODE* bit_count(BODY& body, const CallExpr* call, const char* name) {
    NODE* value = value_of(body, call->getArg(0));
    const std::string suffix = value->type->size == 8 ? "di2" : "si2";
    SYMBOL* symbol =
        library_function(body.unit, name + suffix, int_type(body.unit), {type_strip(value->type)});
    return direct_call(body.unit, int_type(body.unit), symbol, {value});
}

NODE* sign_bit(BODY& body, const CallExpr* call) {
    NODE* value = value_of(body, call->getArg(0));
    TYPE* type = type_strip(value->type);
    SYMBOL* symbol = library_function(body.unit, type->size == 4 ? "__signbitf" : "__signbit",
                                      int_type(body.unit), {type});
    return direct_call(body.unit, int_type(body.unit), symbol, {value});
}

// The bytes in reverse order, for 2 and 4 bytes.
NODE* reversed_bytes(BODY& body, const CallExpr* call) {
    const OPERAND x = argument(body, call, 0);
    TYPE* type = unsigned_type(body.unit);
    TYPE* result_type = icode_type(body.unit, call->getType());
    const uint32_t bytes = result_type->size;
    NODE* result = nullptr;
    for (uint32_t i = 0; i < bytes; ++i) {
        const int64_t distance = 8 * (int64_t(bytes) - 1 - 2 * int64_t(i));
        NODE* moved = new_binary(distance > 0 ? OP_SLL : OP_SRL, type, arithmetic_conversion(x.use(), type),
                                 number(body, std::abs(distance)));
        NODE* byte =
            new_binary(OP_ANDB, type, moved, integer_constant(type, 0xFFll << (8 * (bytes - 1 - i))));
        result = result ? new_binary(OP_ORB, type, result, byte) : byte;
    }
    return sequence(x.assignment, arithmetic_conversion(result, result_type));
}

NODE* reversed_long(BODY& body, const CallExpr* call) {
    TYPE* type = long_long_type(body.unit, true);
    SYMBOL* symbol = library_function(body.unit, "__bswapdi2", type, {type});
    return direct_call(body.unit, type, symbol, {value_of(body, call->getArg(0))});
}

// The bits of a value turned around; the number of places counts modulo the width.
NODE* rotated(BODY& body, const CallExpr* call, bool left) {
    const OPERAND x = argument(body, call, 0), places = argument(body, call, 1);
    TYPE* result_type = icode_type(body.unit, call->getType());
    const uint32_t bits = result_type->size * 8;
    TYPE* type = bits == 64 ? long_long_type(body.unit, true) : unsigned_type(body.unit);
    const auto shifted = [&](OPCODE op, NODE* distance) {
        TYPE* number_type = unsigned_type(body.unit);
        NODE* amount = new_binary(OP_ANDB, number_type, arithmetic_conversion(distance, number_type),
                                  integer_constant(number_type, bits - 1));
        return new_binary(op, type, arithmetic_conversion(x.use(), type), amount);
    };
    NODE* back = new_unary(OP_UMINUS, type_strip(places.value->type), places.use());
    NODE* result = new_binary(OP_ORB, type, shifted(left ? OP_SLL : OP_SRL, places.use()),
                              shifted(left ? OP_SRL : OP_SLL, back));
    return sequence(x.assignment, sequence(places.assignment, arithmetic_conversion(result, result_type)));
}

NODE* bit_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_clz:
    case Builtin::BI__builtin_clzl:
    case Builtin::BI__builtin_clzll: return bit_count(body, call, "__clz");
    case Builtin::BI__builtin_ctz:
    case Builtin::BI__builtin_ctzl:
    case Builtin::BI__builtin_ctzll: return bit_count(body, call, "__ctz");
    case Builtin::BI__builtin_popcount:
    case Builtin::BI__builtin_popcountl:
    case Builtin::BI__builtin_popcountll: return bit_count(body, call, "__popcount");
    case Builtin::BI__builtin_parity:
    case Builtin::BI__builtin_parityl:
    case Builtin::BI__builtin_parityll: return bit_count(body, call, "__parity");
    case Builtin::BI__builtin_ffs:
    case Builtin::BI__builtin_ffsl:
    case Builtin::BI__builtin_ffsll: return bit_count(body, call, "__ffs");
    case Builtin::BI__builtin_clrsb:
    case Builtin::BI__builtin_clrsbl:
    case Builtin::BI__builtin_clrsbll: return bit_count(body, call, "__clrsb");
    case Builtin::BI__builtin_signbit:
    case Builtin::BI__builtin_signbitf:
    case Builtin::BI__builtin_signbitl: return sign_bit(body, call);
    case Builtin::BI__builtin_bswap16:
    case Builtin::BI__builtin_bswap32: return reversed_bytes(body, call);
    case Builtin::BI__builtin_bswap64: return reversed_long(body, call);
    case Builtin::BI__builtin_rotateleft8:
    case Builtin::BI__builtin_rotateleft16:
    case Builtin::BI__builtin_rotateleft32:
    case Builtin::BI__builtin_rotateleft64: return rotated(body, call, true);
    case Builtin::BI__builtin_rotateright8:
    case Builtin::BI__builtin_rotateright16:
    case Builtin::BI__builtin_rotateright32:
    case Builtin::BI__builtin_rotateright64: return rotated(body, call, false);
    default: return nullptr;
    }
}

// --- The rest ---

NODE* all_effects(BODY& body, const CallExpr* call) {
    NODE* effects = nullptr;
    for (const Expr* given : call->arguments()) effects = sequence(effects, effects_of(body, given));
    return sequence(effects, number(body, 0));
}

// The value of the first argument. The others are hints, which are evaluated all the same.
NODE* first_argument(BODY& body, const CallExpr* call) {
    NODE* value = value_of(body, call->getArg(0));
    NODE* effects = nullptr;
    for (unsigned i = 1; i < call->getNumArgs(); ++i)
        effects = sequence(effects, effects_of(body, call->getArg(i)));
    if (!effects) return value;
    const OPERAND first = operand_of(body, value);
    return sequence(first.assignment, sequence(effects, first.use()));
}

// An address in the function's own frame; frames further out are not known.
NODE* frame_builtin(BODY& body, const CallExpr* call, const char* name) {
    TYPE* pointer = void_pointer_type(body.unit);
    if (!call->getArg(0)->EvaluateKnownConstInt(*body.unit.ast).isZero()) return zero_constant(pointer);
    return generator_call(body, name, pointer, {zero_constant(unsigned_type(body.unit))});
}

NODE* unknown_object_size(BODY& body, const CallExpr* call) {
    const int64_t kind = call->getArg(1)->EvaluateKnownConstInt(*body.unit.ast).getSExtValue();
    return integer_constant(icode_type(body.unit, call->getType()), kind & 2 ? 0 : -1);
}

NODE* stack_builtin(BODY& body, const CallExpr* call, bool has_alignment) {
    uint32_t align = STACK_ALIGNMENT;
    if (has_alignment) {
        const llvm::APSInt bits = call->getArg(1)->EvaluateKnownConstInt(*body.unit.ast);
        align = static_cast<uint32_t>(bits.getZExtValue() / 8);
    }
    return stack_memory(body, value_of(body, call->getArg(0)), align);
}

NODE* simple_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_expect:
    case Builtin::BI__builtin_expect_with_probability:
    case Builtin::BI__builtin_unpredictable:
    case Builtin::BI__builtin_launder:
    case Builtin::BI__builtin_extract_return_addr:
    case Builtin::BI__builtin_frob_return_addr:
    case Builtin::BI__builtin_assume_aligned: return first_argument(body, call);
    case Builtin::BI__builtin_unreachable:
    case Builtin::BI__builtin_assume: return number(body, 0);
    case Builtin::BI__builtin_prefetch: return all_effects(body, call);
    case Builtin::BI__builtin_trap:
    case Builtin::BI__builtin_debugtrap:
        return generator_call(body, "__builtin_trap", void_type(body.unit), {});
    case Builtin::BI__builtin_return_address: return frame_builtin(body, call, "__builtin_return_address");
    case Builtin::BI__builtin_frame_address: return frame_builtin(body, call, "__builtin_frame_address");
    case Builtin::BI__builtin_flt_rounds:
        return generator_call(body, "__builtin_flt_rounds", int_type(body.unit), {});
    case Builtin::BIalloca:
    case Builtin::BI__builtin_alloca:
    case Builtin::BI__builtin_alloca_uninitialized: return stack_builtin(body, call, false);
    case Builtin::BI__builtin_alloca_with_align:
    case Builtin::BI__builtin_alloca_with_align_uninitialized: return stack_builtin(body, call, true);
    case Builtin::BI__builtin_constant_p: return number(body, 0);
    case Builtin::BI__builtin_object_size:
    case Builtin::BI__builtin_dynamic_object_size: return unknown_object_size(body, call);
    default: return nullptr;
    }
}

// The name of the library function that does a builtin's work; "" when there is none.
std::string library_name(const BODY& body, unsigned builtin) {
    const Builtin::Context& all = body.unit.ast->BuiltinInfo;
    StringRef name = all.getName(builtin);
    switch (builtin) {
    case Builtin::BI__builtin_memcpy_inline: return "memcpy";
    case Builtin::BI__builtin_memset_inline: return "memset";
    case Builtin::BI__builtin_powif: return "__powisf2";
    case Builtin::BI__builtin_powi:
    case Builtin::BI__builtin_powil: return "__powidf2";
    case Builtin::BI__builtin___clear_cache: return "__clear_cache";
    default: break;
    }
    if (all.isLibFunction(builtin) && name.consume_front("__builtin_")) return name.str();
    return "";
}

} // namespace

NODE* value_of_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    if (NODE* made = value_of_list_builtin(body, call, builtin)) return made;
    if (!call->getType()->isVoidType())
        if (NODE* constant = constant_of(body, call)) return constant;
    if (NODE* made = simple_builtin(body, call, builtin)) return made;
    if (NODE* made = floating_test(body, call, builtin)) return made;
    if (NODE* made = quiet_comparison(body, call, builtin)) return made;
    if (NODE* made = bit_builtin(body, call, builtin)) return made;
    if (NODE* made = value_of_checked_builtin(body, call, builtin)) return made;
    if (NODE* made = value_of_atomic_builtin(body, call, builtin)) return made;
    if (NODE* made = value_of_instruction(body, call, builtin)) return made;
    if (NODE* made = value_of_vector_builtin(body, call, builtin)) return made;
    const std::string name = library_name(body, builtin);
    if (!name.empty()) return library_call(body, call, name);
    refuse(body.unit, call->getExprLoc(),
           "the builtin function '" + std::string(body.unit.ast->BuiltinInfo.getName(builtin)) + "'");
    return number(body, 0);
}

} // namespace pelorus
