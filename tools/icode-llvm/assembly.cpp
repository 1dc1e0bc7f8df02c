// Assembly with operands: a call of a function that stands for it becomes LLVM's inline assembly.
//
// LLVM returns all outputs in registers together, one as it is and several as a structure; here the first is
// the call's value and the others are stored where the arguments say. LLVM wants the constraints of outputs,
// inputs and clobbers in one list, and "$" where GNU C has "%".
#include <string_view>

#include "emitter.h"

namespace pelorus {

namespace {

// GNU C's text in LLVM's form.
std::string llvm_text(std::string_view text) {
    std::string result;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i], next = i + 1 < text.size() ? text[i + 1] : 0;
        if (c == '$')
            result += "$$";
        else if (c != '%' || !next)
            result += c;
        else if (next == '%' || next == '=') {
            result += next == '%' ? "%" : "${:uid}";
            i++;
        } else {
            const bool has_modifier = next < '0' || next > '9';
            size_t end = i + (has_modifier ? 2 : 1);
            const size_t begin = end;
            while (end < text.size() && text[end] >= '0' && text[end] <= '9') end++;
            put(result, "${", text.substr(begin, end - begin));
            if (has_modifier) put(result, ":", next);
            result += "}";
            i = end - 1;
        }
    }
    std::string escaped;
    put_escaped(escaped, result);
    return escaped;
}

struct STORED_OUTPUT {
    LTYPE type;
    VALUE address; // "" for the call's value
};

struct ASSEMBLY_CALL {
    EMITTER& emitter;
    std::string constraints;
    std::string arguments;
    std::vector<STORED_OUTPUT> outputs; // in registers
};

const TYPE* pointed_type(ASSEMBLY_CALL& call, const NODE* argument) {
    const TYPE* type = type_strip(argument->type);
    if (type->kind != TK_POINTER) refuse(call.emitter.module, "an operand of assembly is no address");
    return type->base;
}

// Letters of two characters are marked in LLVM.
std::string llvm_letters(std::string_view letters) {
    std::string result;
    for (char c : letters) put(result, c == 'U' || c == 'T' ? "^" : "", c);
    return result;
}

void put_argument(ASSEMBLY_CALL& call, const std::string& text) {
    put(call.arguments, call.arguments.empty() ? "" : ", ", text);
}

void add_object(ASSEMBLY_CALL& call, const NODE* argument) {
    const TYPE* type = pointed_type(call, argument);
    const LTYPE object = ltype_of(type);
    const VALUE address = reshape(call.emitter, emit_value(call.emitter, argument), false, LTYPE::PTR);
    const bool is_scalar = ltype_is_integer(object) || ltype_is_floating(object) || object == LTYPE::PTR;
    put_argument(call,
                 joined("ptr elementtype(",
                        is_scalar ? std::string(ltype_text(object)) : ltype_bytes(type_strip(type)->size),
                        ") ", address.text));
}

// One operand; `argument` is null for the one that is the result.
void add_operand(ASSEMBLY_CALL& call, std::string_view operand, const NODE* argument, const TYPE* result) {
    const bool in_memory = operand.find('*') != std::string_view::npos;
    const bool is_named = operand.find('{') != std::string_view::npos;
    put(call.constraints, call.constraints.empty() ? "" : ",",
        is_named ? std::string(operand) : llvm_letters(operand));
    const bool takes_argument = in_memory || operand[0] != '=';
    if (takes_argument && !argument) refuse(call.emitter.module, "an operand of assembly is missing");
    if (in_memory) return add_object(call, argument);
    if (takes_argument) {
        const VALUE value = emit_value(call.emitter, argument);
        const LTYPE type = value.type == LTYPE::MEMORY ? LTYPE::PTR : value.type;
        return put_argument(call, joined(ltype_text(type), " ", value.text));
    }
    if (!argument) return call.outputs.push_back({ltype_of(result), {}});
    const VALUE address = reshape(call.emitter, emit_value(call.emitter, argument), false, LTYPE::PTR);
    call.outputs.push_back({ltype_of(pointed_type(call, argument)), address});
}

std::string outputs_type(const ASSEMBLY_CALL& call) {
    if (call.outputs.empty()) return "void";
    if (call.outputs.size() == 1) return ltype_text(call.outputs[0].type);
    std::string text = "{ ";
    for (const STORED_OUTPUT& output : call.outputs)
        put(text, &output == call.outputs.data() ? "" : ", ", ltype_text(output.type));
    return text + " }";
}

// Stores the outputs behind the first one, and gives that.
VALUE distribute(ASSEMBLY_CALL& call, const std::string& type, const VALUE& all) {
    VALUE result;
    for (size_t i = 0; i < call.outputs.size(); i++) {
        const STORED_OUTPUT& output = call.outputs[i];
        const VALUE value =
            operation(call.emitter, output.type, "extractvalue ", type, " ", all.text, ", ", i);
        if (i == 0)
            result = value;
        else
            line(call.emitter, "store ", ltype_text(output.type), " ", value.text, ", ptr ",
                 output.address.text, ", align 4");
    }
    return result;
}

} // namespace

VALUE emit_assembly_call(EMITTER& emitter, const NODE* tree, const SYMBOL* callee, const PRAGMA& assembly) {
    ASSEMBLY_CALL call{emitter, {}, {}, {}};
    const TYPE* type = type_strip(callee->declared_type);
    const TREE_LIST arguments = tree->op == OP_CALL ? list_items(tree->right) : TREE_LIST();
    size_t next = 0;
    bool has_result = false;
    if (assembly.count < 2) refuse(emitter.module, "assembly without a text");
    for (size_t i = 2; i < size_t(assembly.count); i++) {
        const std::string_view operand = assembly.strings[i];
        if (operand.starts_with('~')) {
            put(call.constraints, call.constraints.empty() ? "" : ",", "~{", operand.substr(1), "}");
            continue;
        }
        const bool is_result = !has_result && operand.starts_with('=') && operand.find('*') == operand.npos;
        if (!is_result && next == arguments.size())
            refuse(emitter.module, "an operand of assembly is missing");
        add_operand(call, operand, is_result ? nullptr : arguments[next++], type->base);
        has_result = has_result || is_result;
    }
    const bool has_effects = !(type->attributes & FA_CONST);
    const std::string result = outputs_type(call);
    const std::string text =
        joined("call ", result, " asm ", has_effects ? "sideeffect \"" : "\"", llvm_text(assembly.strings[1]),
               "\", \"", call.constraints, "\"(", call.arguments, ")");
    if (call.outputs.empty()) return line(emitter, text), VALUE{};
    if (call.outputs.size() == 1) return operation(emitter, call.outputs[0].type, text);
    return distribute(call, result, operation(emitter, LTYPE::MEMORY, text));
}

} // namespace pelorus
