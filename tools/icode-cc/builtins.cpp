// Builtin functions of the GNU dialect; see expressions.h.
//
// 1. What clang can evaluate is a constant. 2. Some are written out here. 3. Those that the C library or the compiler's
// library has are calls of it. 4. The rest is refused by name.
#include "clang/Basic/Builtins.h"

#include "expressions.h"

namespace pelorus {

using namespace clang;

namespace {

// An operand that the tree mentions several times: a constant, or a temporary with the assignment that fills it.
struct OPERAND {
    NODE* assignment; // null when there is nothing to do before
    NODE* value;
    NODE* use() const { return copy_tree(value); }
};

OPERAND operand_of(BODY& body, NODE* value) {
    if (value->op == OP_ICON || value->op == OP_FCON) return {nullptr, value};
    const SAVED_VALUE saved = save_value(body, value);
    return {saved.assignment, use_local(saved.symbol)};
}

OPERAND argument(BODY& body, const CallExpr* call, unsigned number) {
    return operand_of(body, value_of(body, call->getArg(number)));
}

NODE* test(BODY& body, OPCODE op, NODE* left, NODE* right) {
    return new_binary(op, int_type(body.unit), left, right);
}
NODE* both(BODY& body, NODE* left, NODE* right) { return test(body, OP_ANDB, left, right); }
NODE* either(BODY& body, NODE* left, NODE* right) { return test(body, OP_ORB, left, right); }

NODE* number(BODY& body, int64_t value) { return integer_constant(int_type(body.unit), value); }

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

NODE* class_of(BODY& body, const CallExpr* call) {
    const OPERAND x = argument(body, call, 5);
    TYPE* type = int_type(body.unit);
    const auto answer = [&](unsigned i) { return value_of(body, call->getArg(i)); };
    NODE* small = choice(type, test(body, OP_EQ, x.use(), zero_constant(type_strip(x.value->type))),
                         answer(4), answer(3));
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
    case Builtin::BI__builtin_bswap16:
    case Builtin::BI__builtin_bswap32: return reversed_bytes(body, call);
    case Builtin::BI__builtin_bswap64: return reversed_long(body, call);
    default: return nullptr;
    }
}

// --- Arithmetic that tells whether it overflows ---

OPCODE overflow_opcode(unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_add_overflow:
    case Builtin::BI__builtin_sadd_overflow:
    case Builtin::BI__builtin_saddl_overflow:
    case Builtin::BI__builtin_saddll_overflow:
    case Builtin::BI__builtin_uadd_overflow:
    case Builtin::BI__builtin_uaddl_overflow:
    case Builtin::BI__builtin_uaddll_overflow: return OP_PLUS;
    case Builtin::BI__builtin_sub_overflow:
    case Builtin::BI__builtin_ssub_overflow:
    case Builtin::BI__builtin_ssubl_overflow:
    case Builtin::BI__builtin_ssubll_overflow:
    case Builtin::BI__builtin_usub_overflow:
    case Builtin::BI__builtin_usubl_overflow:
    case Builtin::BI__builtin_usubll_overflow: return OP_MINUS;
    case Builtin::BI__builtin_mul_overflow:
    case Builtin::BI__builtin_smul_overflow:
    case Builtin::BI__builtin_smull_overflow:
    case Builtin::BI__builtin_smulll_overflow:
    case Builtin::BI__builtin_umul_overflow:
    case Builtin::BI__builtin_umull_overflow:
    case Builtin::BI__builtin_umulll_overflow: return OP_MULT;
    default: return OP_NOP;
    }
}

// The operands and the place of the result of one such builtin.
struct CHECKED {
    OPERAND left, right, place;
    TYPE* result; // what `place` points to
};

// Computes in 64 bits, where operands of at most 32 bits cannot overflow.
NODE* checked_in_wide(BODY& body, OPCODE op, const CHECKED& c) {
    const bool is_unsigned =
        op == OP_MULT && !type_is_signed(c.left.value->type) && !type_is_signed(c.right.value->type);
    TYPE* wide = long_long_type(body.unit, is_unsigned);
    NODE* exact = new_binary(op, wide, arithmetic_conversion(c.left.use(), wide),
                             arithmetic_conversion(c.right.use(), wide));
    const SAVED_VALUE saved = save_value(body, exact);
    NODE* store = assignment(object_at(c.place.use(), c.result),
                             arithmetic_conversion(use_local(saved.symbol), c.result), c.result);
    NODE* overflow = nullptr;
    if (c.result->size == 8) {
        TYPE* number_type = long_long_type(body.unit, false);
        const bool fits = type_is_signed(c.result) != is_unsigned;
        overflow = fits ? number(body, 0)
                        : test(body, OP_LT, arithmetic_conversion(use_local(saved.symbol), number_type),
                               zero_constant(number_type));
    } else {
        NODE* back = arithmetic_conversion(arithmetic_conversion(use_local(saved.symbol), c.result), wide);
        overflow = test(body, OP_NEQ, back, use_local(saved.symbol));
    }
    return sequence(saved.assignment, sequence(store, overflow));
}

// True when the type can hold every value that the operand may have.
bool holds_operand(const TYPE* type, const OPERAND& operand) {
    const TYPE* own = operand.value->type;
    if (type_same_representation(own, type)) return true;
    if (own->size == type->size) return false;
    return type_is_signed(type) || !type_is_signed(own) ||
           (is_integer_constant(operand.value) && !int96_is_negative(operand.value->value()));
}

NODE* unsigned_overflow(BODY& body, OPCODE op, const CHECKED& c, SYMBOL* result) {
    TYPE* type = c.result;
    if (op == OP_PLUS) return test(body, OP_ULT, use_local(result), c.left.use());
    if (op == OP_MINUS) return test(body, OP_ULT, c.left.use(), c.right.use());
    NODE* quotient = new_binary(OP_DIV, type, use_local(result), c.left.use());
    return test(body, OP_ANDAND, test(body, OP_NEQ, c.left.use(), zero_constant(type)),
                test(body, OP_NEQ, quotient, c.right.use()));
}

NODE* signed_overflow(BODY& body, OPCODE op, const CHECKED& c, SYMBOL* result) {
    TYPE* type = c.result;
    if (op == OP_MULT) {
        NODE* quotient = new_binary(OP_DIV, type, use_local(result), c.left.use());
        NODE* least = test(body, OP_EQ, c.right.use(), integer_constant(type, INT64_MIN));
        NODE* wrong = choice(int_type(body.unit), test(body, OP_EQ, c.left.use(), integer_constant(type, -1)),
                             least, test(body, OP_NEQ, quotient, c.right.use()));
        return test(body, OP_ANDAND, test(body, OP_NEQ, c.left.use(), zero_constant(type)), wrong);
    }
    // The sign of the result differs from both operands' (sum), or the operands differ and it differs from the left one's.
    NODE* first = new_binary(OP_XORB, type, c.left.use(), op == OP_PLUS ? use_local(result) : c.right.use());
    NODE* second = new_binary(OP_XORB, type, op == OP_PLUS ? c.right.use() : c.left.use(), use_local(result));
    return test(body, OP_LT, new_binary(OP_ANDB, type, first, second), zero_constant(type));
}

NODE* checked_in_place(BODY& body, OPCODE op, const CHECKED& c) {
    const SAVED_VALUE result = save_value(body, new_binary(op, c.result, c.left.use(), c.right.use()));
    NODE* store = assignment(object_at(c.place.use(), c.result), use_local(result.symbol), c.result);
    NODE* overflow = type_is_signed(c.result) ? signed_overflow(body, op, c, result.symbol)
                                              : unsigned_overflow(body, op, c, result.symbol);
    return sequence(result.assignment, sequence(store, overflow));
}

NODE* checked_arithmetic(BODY& body, const CallExpr* call, OPCODE op) {
    CHECKED c{argument(body, call, 0), argument(body, call, 1), argument(body, call, 2), nullptr};
    c.result = icode_type(body.unit, call->getArg(2)->getType()->getPointeeType().getUnqualifiedType());
    const bool narrow = c.left.value->type->size <= 4 && c.right.value->type->size <= 4;
    if (!narrow) {
        if (c.result->size != 8 || !holds_operand(c.result, c.left) || !holds_operand(c.result, c.right)) {
            refuse(body.unit, call->getExprLoc(),
                   "checked arithmetic with this mixture of 64-bit and other types");
            return number(body, 0);
        }
        c.left.value = arithmetic_conversion(c.left.value, c.result);
        c.right.value = arithmetic_conversion(c.right.value, c.result);
    }
    NODE* result = narrow ? checked_in_wide(body, op, c) : checked_in_place(body, op, c);
    return sequence(c.left.assignment, sequence(c.right.assignment, sequence(c.place.assignment, result)));
}

// --- The rest ---

NODE* all_effects(BODY& body, const CallExpr* call) {
    NODE* effects = nullptr;
    for (const Expr* given : call->arguments()) effects = sequence(effects, effects_of(body, given));
    return sequence(effects, number(body, 0));
}

NODE* abort_call(BODY& body) {
    SYMBOL* symbol = library_function(body.unit, "abort", void_type(body.unit), std::vector<TYPE*>{});
    return direct_call(body.unit, void_type(body.unit), symbol, {});
}

NODE* unknown_object_size(BODY& body, const CallExpr* call) {
    const int64_t kind = call->getArg(1)->EvaluateKnownConstInt(*body.unit.ast).getSExtValue();
    return integer_constant(icode_type(body.unit, call->getType()), kind & 2 ? 0 : -1);
}

NODE* simple_builtin(BODY& body, const CallExpr* call, unsigned builtin) {
    switch (builtin) {
    case Builtin::BI__builtin_expect:
    case Builtin::BI__builtin_expect_with_probability:
    case Builtin::BI__builtin_assume_aligned: return value_of(body, call->getArg(0));
    case Builtin::BI__builtin_unreachable:
    case Builtin::BI__builtin_assume: return number(body, 0);
    case Builtin::BI__builtin_prefetch:
    case Builtin::BI__atomic_signal_fence: return all_effects(body, call);
    case Builtin::BI__builtin_trap:
    case Builtin::BI__builtin_debugtrap: return abort_call(body);
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
    case Builtin::BI__builtin_signbit: return "__signbit";
    case Builtin::BI__builtin_signbitf: return "__signbitf";
    case Builtin::BI__builtin_signbitl: return "__signbit";
    case Builtin::BI__builtin_memcpy_inline: return "memcpy";
    case Builtin::BI__builtin___clear_cache: return "__clear_cache";
    case Builtin::BI__atomic_thread_fence: return "__sync_synchronize";
    default: break;
    }
    if (name.starts_with("__sync_")) return name.str();
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
    if (const OPCODE op = overflow_opcode(builtin); op != OP_NOP) return checked_arithmetic(body, call, op);
    const std::string name = library_name(body, builtin);
    if (!name.empty() && name != "alloca") return library_call(body, call, name);
    refuse(body.unit, call->getExprLoc(),
           "the builtin function '" + std::string(body.unit.ast->BuiltinInfo.getName(builtin)) + "'");
    return number(body, 0);
}

} // namespace pelorus
