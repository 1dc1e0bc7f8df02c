// Conversions, operators and comparisons on values: wrap-around integers, IEEE floating point, pointers in
// bytes.
#include "emitter.h"

#include <algorithm>
#include <cstdlib>

namespace pelorus {

namespace {

const char* integer_instruction(int32_t op, bool is_signed) {
    switch (op) {
    case OP_PLUS: return "add";
    case OP_MINUS: return "sub";
    case OP_MULT: return "mul";
    case OP_DIV: return is_signed ? "sdiv" : "udiv";
    case OP_MOD: return is_signed ? "srem" : "urem";
    case OP_SLL: return "shl";
    case OP_SRL: return is_signed ? "ashr" : "lshr";
    case OP_ANDB: return "and";
    case OP_ORB: return "or";
    case OP_XORB: return "xor";
    default: return nullptr;
    }
}

const char* floating_instruction(int32_t op) {
    switch (op) {
    case OP_PLUS: return "fadd";
    case OP_MINUS: return "fsub";
    case OP_MULT: return "fmul";
    case OP_DIV: return "fdiv";
    default: return nullptr;
    }
}

[[noreturn]] void refuse_operands(EMITTER& emitter, int32_t op) {
    refuse(emitter.module, "%s has operands that it cannot take", opcode_name(op));
}

// The number of an integer or pointer value as an I32.
VALUE as_word(EMITTER& emitter, int32_t op, const VALUE& value, const TYPE* type) {
    if (!ltype_is_integer(value.type) && value.type != LTYPE::PTR && value.type != LTYPE::MEMORY)
        refuse_operands(emitter, op);
    return reshape(emitter, value, type_is_signed(type), LTYPE::I32);
}

// A constant that reads the same in every wider type.
bool is_small_constant(const VALUE& value, bool is_signed) {
    char first = value.text[0];
    if (first < '0' || first > '9') return false;
    return !is_signed || strtoull(value.text.c_str(), nullptr, 10) >> (ltype_bits(value.type) - 1) == 0;
}

bool is_address(const VALUE& value) { return value.type == LTYPE::PTR || value.type == LTYPE::MEMORY; }

// Alignment that is still known of a pointer when `step` bytes have been added; 0 stays 0.
uint32_t alignment_after(const VALUE& pointer, const std::string& step) {
    if (pointer.align == 0 || step[0] == '%') return pointer.align;
    return common_alignment(pointer.align, strtoll(step.c_str(), nullptr, 10));
}

VALUE add_to_pointer(EMITTER& emitter, const VALUE& pointer, const VALUE& step) {
    VALUE sum = operation(emitter, LTYPE::PTR, "getelementptr i8, ptr ", pointer.text, ", i32 ", step.text);
    sum.align = alignment_after(pointer, step.text);
    return sum;
}

VALUE pointer_sum(EMITTER& emitter, int32_t op, const VALUE& left, const TYPE* left_type, const VALUE& right,
                  const TYPE* right_type) {
    if (op == OP_PLUS && !is_address(left) && is_address(right))
        return add_to_pointer(emitter, right, as_word(emitter, op, left, left_type));
    if ((op != OP_PLUS && op != OP_MINUS) || !is_address(left) || is_address(right)) {
        VALUE a = as_word(emitter, op, left, left_type), b = as_word(emitter, op, right, right_type);
        const char* instruction = integer_instruction(op, false);
        VALUE number = operation(emitter, LTYPE::I32, instruction, " i32 ", a.text, ", ", b.text);
        return reshape(emitter, number, false, LTYPE::PTR);
    }
    VALUE step = as_word(emitter, op, right, right_type);
    if (op == OP_MINUS) {
        if (step.text[0] == '%')
            step = operation(emitter, LTYPE::I32, "sub i32 0, ", step.text);
        else
            step.text = integer_text(-strtoll(step.text.c_str(), nullptr, 10));
    }
    return add_to_pointer(emitter, left, step);
}

VALUE shift(EMITTER& emitter, int32_t op, LTYPE type, bool is_signed, const VALUE& left,
            const VALUE& amount) {
    VALUE count = reshape(emitter, amount, false, type);
    return operation(emitter, type, integer_instruction(op, is_signed), " ", ltype_text(type), " ", left.text,
                     ", ", count.text);
}

const char* condition_code(int32_t op, bool is_unsigned) {
    switch (op) {
    case OP_EQ: return "eq";
    case OP_NEQ: return "ne";
    case OP_LE: return is_unsigned ? "ule" : "sle";
    case OP_LT: return is_unsigned ? "ult" : "slt";
    case OP_GE: return is_unsigned ? "uge" : "sge";
    case OP_GT: return is_unsigned ? "ugt" : "sgt";
    case OP_ULE: return "ule";
    case OP_ULT: return "ult";
    case OP_UGE: return "uge";
    case OP_UGT: return "ugt";
    default: return nullptr;
    }
}

const char* floating_condition_code(int32_t op) {
    switch (op) {
    case OP_EQ: return "oeq";
    case OP_NEQ: return "une";
    case OP_LE: return "ole";
    case OP_LT: return "olt";
    case OP_GE: return "oge";
    case OP_GT: return "ogt";
    default: return nullptr;
    }
}

VALUE call_intrinsic(EMITTER& emitter, const char* name, LTYPE type, const VALUE& operand,
                     const char* extra) {
    std::string text = ltype_text(type);
    std::string function = joined("@llvm.", name, ltype_is_floating(type) ? ".f" : ".i", ltype_bits(type));
    declare(emitter.module, joined("declare ", text, " ", function, "(", text, *extra ? ", i1" : "", ")"));
    return operation(emitter, type, "call ", text, " ", function, "(", text, " ", operand.text, extra, ")");
}

VALUE convert_number(EMITTER& emitter, const VALUE& value, bool from_signed, LTYPE to, bool to_signed) {
    bool from_floating = ltype_is_floating(value.type), to_floating = ltype_is_floating(to);
    if (!from_floating && !to_floating) return reshape(emitter, value, from_signed, to);
    if (value.type == to) return value;
    const char* instruction = from_floating && to_floating ? (to == LTYPE::DOUBLE ? "fpext" : "fptrunc")
                              : from_floating              ? (to_signed ? "fptosi" : "fptoui")
                                                           : (from_signed ? "sitofp" : "uitofp");
    return operation(emitter, to, instruction, " ", ltype_text(value.type), " ", value.text, " to ",
                     ltype_text(to));
}

} // namespace

VALUE reshape(EMITTER& emitter, const VALUE& value, bool is_signed, LTYPE to) {
    LTYPE from = value.type;
    if (from == to) return value;
    if (from == LTYPE::MEMORY && to == LTYPE::PTR) return {value.text, LTYPE::PTR, value.align};
    if (is_address(value)) {
        VALUE word = operation(emitter, LTYPE::I32, "ptrtoint ptr ", value.text, " to i32");
        return reshape(emitter, word, false, to);
    }
    if (!ltype_is_integer(from) || !(ltype_is_integer(to) || to == LTYPE::PTR))
        refuse(emitter.module, "no conversion from %s to %s", ltype_text(from), ltype_text(to));
    if (to == LTYPE::PTR) {
        if (value.text == "0") return {"null", LTYPE::PTR};
        VALUE word = reshape(emitter, value, is_signed, LTYPE::I32);
        return operation(emitter, LTYPE::PTR, "inttoptr i32 ", word.text, " to ptr");
    }
    const char* instruction = ltype_bits(to) < ltype_bits(from) ? "trunc" : is_signed ? "sext" : "zext";
    if (is_small_constant(value, is_signed) && ltype_bits(to) > ltype_bits(from)) return {value.text, to};
    return operation(emitter, to, instruction, " ", ltype_text(from), " ", value.text, " to ",
                     ltype_text(to));
}

VALUE truth_of(EMITTER& emitter, const VALUE& value) {
    if (value.type == LTYPE::I1) return value;
    if (ltype_is_floating(value.type))
        return operation(emitter, LTYPE::I1, "fcmp une ", ltype_text(value.type), " ", value.text, ", 0.0");
    if (is_address(value)) return operation(emitter, LTYPE::I1, "icmp ne ptr ", value.text, ", null");
    if (!ltype_is_integer(value.type)) refuse(emitter.module, "a condition has no scalar value");
    return operation(emitter, LTYPE::I1, "icmp ne ", ltype_text(value.type), " ", value.text, ", 0");
}

VALUE from_truth(EMITTER& emitter, const VALUE& truth, LTYPE to) {
    if (ltype_is_integer(to)) return operation(emitter, to, "zext i1 ", truth.text, " to ", ltype_text(to));
    VALUE number = operation(emitter, LTYPE::I32, "zext i1 ", truth.text, " to i32");
    return convert_number(emitter, number, true, to, true);
}

VALUE convert(EMITTER& emitter, const VALUE& value, const TYPE* from, const TYPE* to) {
    LTYPE target = ltype_of(to);
    if (target == LTYPE::VOID) return {};
    if (type_is_bool(to) && !type_is_bool(from))
        return from_truth(emitter, truth_of(emitter, value), LTYPE::I8);
    if (target == LTYPE::MEMORY) return value;
    return convert_number(emitter, value, type_is_signed(from), target, type_is_signed(to));
}

VALUE binary(EMITTER& emitter, int32_t op, const TYPE* type, const VALUE& left, const TYPE* left_type,
             const VALUE& right, const TYPE* right_type) {
    LTYPE result = ltype_of(type);
    if (result == LTYPE::PTR) return pointer_sum(emitter, op, left, left_type, right, right_type);
    bool is_signed = type_is_signed(type);
    const char* instruction =
        ltype_is_floating(result) ? floating_instruction(op) : integer_instruction(op, is_signed);
    if (!instruction || result == LTYPE::MEMORY || result == LTYPE::VOID) refuse_operands(emitter, op);
    VALUE a = convert_number(emitter, left, type_is_signed(left_type), result, is_signed);
    if (op == OP_SLL || op == OP_SRL) return shift(emitter, op, result, is_signed, a, right);
    VALUE b = convert_number(emitter, right, type_is_signed(right_type), result, is_signed);
    return operation(emitter, result, instruction, " ", ltype_text(result), " ", a.text, ", ", b.text);
}

VALUE unary(EMITTER& emitter, int32_t op, const TYPE* type, const VALUE& operand) {
    LTYPE result = ltype_of(type);
    bool floating = ltype_is_floating(result);
    const char* text = ltype_text(result);
    if (operand.type != result || (!floating && !ltype_is_integer(result))) refuse_operands(emitter, op);
    switch (op) {
    case OP_UMINUS:
        return floating ? operation(emitter, result, "fneg ", text, " ", operand.text)
                        : operation(emitter, result, "sub ", text, " 0, ", operand.text);
    case OP_NOTB:
        if (floating) refuse_operands(emitter, op);
        return operation(emitter, result, "xor ", text, " ", operand.text, ", -1");
    case OP_ABS:
        return call_intrinsic(emitter, floating ? "fabs" : "abs", result, operand,
                              floating ? "" : ", i1 false");
    case OP_SQRT:
        if (!floating) refuse_operands(emitter, op);
        return call_intrinsic(emitter, "sqrt", result, operand, "");
    case OP_SQR:
        return operation(emitter, result, floating ? "fmul " : "mul ", text, " ", operand.text, ", ",
                         operand.text);
    case OP_RECIP:
        if (!floating) refuse_operands(emitter, op);
        return operation(emitter, result, "fdiv ", text, " 1.0, ", operand.text);
    default: refuse_operands(emitter, op);
    }
}

VALUE compare(EMITTER& emitter, int32_t op, const VALUE& left, const TYPE* left_type, const VALUE& right,
              const TYPE* right_type) {
    if (ltype_is_floating(left.type) || ltype_is_floating(right.type)) {
        const char* code = floating_condition_code(op);
        if (!code || left.type != right.type) refuse_operands(emitter, op);
        return operation(emitter, LTYPE::I1, "fcmp ", code, " ", ltype_text(left.type), " ", left.text, ", ",
                         right.text);
    }
    VALUE a = left, b = right;
    if (a.type == LTYPE::MEMORY) a.type = LTYPE::PTR;
    if (b.type == LTYPE::MEMORY) b.type = LTYPE::PTR;
    if (a.type == LTYPE::PTR && b.text == "0") b = {"null", LTYPE::PTR};
    if (a.type != b.type) { // a pointer and an integer, or integers of two sizes
        LTYPE wider = std::max(ltype_bits(a.type), ltype_bits(b.type)) == 64 ? LTYPE::I64 : LTYPE::I32;
        a = reshape(emitter, a, type_is_signed(left_type), wider);
        b = reshape(emitter, b, type_is_signed(right_type), wider);
    }
    bool is_unsigned = !type_is_signed(left_type) && !type_is_signed(right_type);
    const char* code = condition_code(op, is_unsigned);
    if (!code || a.type == LTYPE::VOID) refuse_operands(emitter, op);
    return operation(emitter, LTYPE::I1, "icmp ", code, " ", ltype_text(a.type), " ", a.text, ", ", b.text);
}

} // namespace pelorus
