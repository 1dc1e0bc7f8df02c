// Calls of functions that the code generator knows by their names: they become instructions, not calls.
//
// Those with names of their own stand for what has no opcode. Of the library's functions, which also may be
// called, the ones that count bits do what an instruction does, and copies of a known number of bytes need
// not be calls.
#include "emitter.h"

namespace pelorus {

namespace {

VALUE stack_memory(EMITTER& emitter, const TREE_LIST& arguments) {
    VALUE bytes = reshape(emitter, emit_value(emitter, arguments[0]), false, LTYPE::I32);
    return operation(emitter, LTYPE::PTR, "alloca i8, i32 ", bytes.text, ", align 8");
}

VALUE save_stack(EMITTER& emitter, const TREE_LIST&) {
    declare(emitter.module, "declare ptr @llvm.stacksave.p0()");
    return operation(emitter, LTYPE::PTR, "call ptr @llvm.stacksave.p0()");
}

VALUE restore_stack(EMITTER& emitter, const TREE_LIST& arguments) {
    declare(emitter.module, "declare void @llvm.stackrestore.p0(ptr)");
    VALUE stack = reshape(emitter, emit_value(emitter, arguments[0]), false, LTYPE::PTR);
    line(emitter, "call void @llvm.stackrestore.p0(ptr ", stack.text, ")");
    return {};
}

VALUE trap(EMITTER& emitter, const TREE_LIST&) {
    declare(emitter.module, "declare void @llvm.trap()");
    line(emitter, "call void @llvm.trap()");
    return {};
}

VALUE return_address(EMITTER& emitter, const TREE_LIST& arguments) {
    emit_value(emitter, arguments[0]);
    declare(emitter.module, "declare ptr @llvm.returnaddress(i32)");
    return operation(emitter, LTYPE::PTR, "call ptr @llvm.returnaddress(i32 0)");
}

VALUE frame_address(EMITTER& emitter, const TREE_LIST& arguments) {
    emit_value(emitter, arguments[0]);
    declare(emitter.module, "declare ptr @llvm.frameaddress.p0(i32)");
    return operation(emitter, LTYPE::PTR, "call ptr @llvm.frameaddress.p0(i32 0)");
}

VALUE rounding(EMITTER& emitter, const TREE_LIST&) {
    declare(emitter.module, "declare i32 @llvm.get.rounding()");
    return operation(emitter, LTYPE::I32, "call i32 @llvm.get.rounding()");
}

VALUE load_double_word(EMITTER& emitter, const TREE_LIST& arguments) {
    VALUE address = reshape(emitter, emit_value(emitter, arguments[0]), false, LTYPE::PTR);
    return operation(emitter, LTYPE::I64, "load atomic volatile i64, ptr ", address.text,
                     " monotonic, align 8");
}

// An intrinsic with one operand of `type`; the result becomes an int.
VALUE count_bits(EMITTER& emitter, const NODE* argument, const char* intrinsic, LTYPE type, bool takes_flag) {
    VALUE value = reshape(emitter, emit_value(emitter, argument), false, type);
    const char* text = ltype_text(type);
    declare(emitter.module,
            joined("declare ", text, " @llvm.", intrinsic, ".", text, "(", text, takes_flag ? ", i1)" : ")"));
    VALUE result = operation(emitter, type, "call ", text, " @llvm.", intrinsic, ".", text, "(", text, " ",
                             value.text, takes_flag ? ", i1 false)" : ")");
    return reshape(emitter, result, false, LTYPE::I32);
}

VALUE leading_zeros(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "ctlz", LTYPE::I32, true);
}
VALUE leading_zeros_of_long(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "ctlz", LTYPE::I64, true);
}
VALUE trailing_zeros(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "cttz", LTYPE::I32, true);
}
VALUE trailing_zeros_of_long(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "cttz", LTYPE::I64, true);
}
VALUE ones(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "ctpop", LTYPE::I32, false);
}
VALUE ones_of_long(EMITTER& emitter, const TREE_LIST& arguments) {
    return count_bits(emitter, arguments[0], "ctpop", LTYPE::I64, false);
}

// `memcpy`, `memmove` and `memset` of a constant number of bytes; false for other calls. Nothing is known of
// the alignment.
bool emit_block_call(EMITTER& emitter, const NODE* tree, const SYMBOL* callee, VALUE& value) {
    std::string_view name = callee->name;
    bool sets = name == "_memset";
    if (!sets && name != "_memcpy" && name != "_memmove") return false;
    TREE_LIST arguments = tree->op == OP_CALL ? list_items(tree->right) : TREE_LIST();
    if (arguments.size() != 3 || arguments[2]->op != OP_ICON || !type_is_pointer(tree->type)) return false;
    name.remove_prefix(1);
    VALUE target = reshape(emitter, emit_value(emitter, arguments[0]), false, LTYPE::PTR);
    VALUE source = reshape(emitter, emit_value(emitter, arguments[1]), false, sets ? LTYPE::I8 : LTYPE::PTR);
    const char* suffix = sets ? ".p0.i32" : ".p0.p0.i32";
    const char* operand = sets ? "i8" : "ptr";
    declare(emitter.module, joined("declare void @llvm.", name, suffix, "(ptr, ", operand, ", i32, i1)"));
    line(emitter, "call void @llvm.", name, suffix, "(ptr ", target.text, ", ", operand, " ", source.text,
         ", i32 ", int96_to_int64(arguments[2]->value()), ", i1 false)");
    value = {target.text, LTYPE::PTR};
    return true;
}

struct KNOWN_FUNCTION {
    std::string_view name;
    size_t arguments;
    VALUE (*emit)(EMITTER& emitter, const TREE_LIST& arguments);
};
constexpr KNOWN_FUNCTION KNOWN_FUNCTIONS[] = {
    {"___builtin_alloca", 1, stack_memory},
    {"___builtin_stack_save", 0, save_stack},
    {"___builtin_stack_restore", 1, restore_stack},
    {"___builtin_trap", 0, trap},
    {"___builtin_return_address", 1, return_address},
    {"___builtin_frame_address", 1, frame_address},
    {"___builtin_flt_rounds", 0, rounding},
    {"___builtin_atomic_load_8", 1, load_double_word},
    {"___clzsi2", 1, leading_zeros},
    {"___clzdi2", 1, leading_zeros_of_long},
    {"___ctzsi2", 1, trailing_zeros},
    {"___ctzdi2", 1, trailing_zeros_of_long},
    {"___popcountsi2", 1, ones},
    {"___popcountdi2", 1, ones_of_long},
};

} // namespace

bool emit_known_call(EMITTER& emitter, const NODE* tree, const SYMBOL* callee, VALUE& value) {
    if (!callee || callee->level || callee->storage_class != SC_EXTERN) return false;
    if (const PRAGMA* assembly = find_attribute(callee, "assembly"))
        return value = emit_assembly_call(emitter, tree, callee, *assembly), true;
    const bool is_library_function = !std::string_view(callee->name).starts_with("___");
    if (is_library_function && emitter.module.code.no_builtins) return false;
    for (const KNOWN_FUNCTION& known : KNOWN_FUNCTIONS) {
        if (known.name != callee->name) continue;
        TREE_LIST arguments = tree->op == OP_CALL ? list_items(tree->right) : TREE_LIST();
        if (arguments.size() != known.arguments)
            refuse(emitter.module, "a call of '%s' has %zu arguments", callee->name, arguments.size());
        value = known.emit(emitter, arguments);
        return true;
    }
    return emit_block_call(emitter, tree, callee, value);
}

} // namespace pelorus
