// Calls: arguments and results in the form in which the calling convention moves them (abi.h).
#include "emitter.h"

#include <algorithm>

namespace pelorus {

namespace {

// The type of the function that is called; null when the callee's type does not tell.
const TYPE* called_type(const NODE* callee) {
    const TYPE* type = type_strip(callee->type);
    if (type->kind == TK_POINTER && type->base) type = type_strip(type->base);
    return type->kind == TK_FUNCTION ? type : nullptr;
}

const SYMBOL* called_symbol(const NODE* callee) {
    while (callee->op == OP_PCONV) callee = callee->left;
    bool direct = callee->op == OP_UAND && callee->left->op == OP_NAME;
    return direct ? callee->left->symbol() : nullptr;
}

// Whether evaluating a tree can change an object.
bool has_effects(const NODE* tree) {
    TREE_LIST rest = {tree};
    while (!rest.empty()) {
        const NODE* node = rest.back();
        rest.pop_back();
        OPCODE_CLASS kind = opcode_fact(node->op).kind;
        if (kind == OPCODE_CLASS::ASSIGNS || kind == OPCODE_CLASS::CALLS) return true;
        if (node->left) rest.push_back(node->left);
        if (node->right) rest.push_back(node->right);
    }
    return false;
}

// The memory form of a structure argument. LLVM copies it when the call is made, which is too late when an
// argument that is evaluated in between changes the structure.
std::string argument_in_memory(EMITTER& emitter, const PASSING& passing, const VALUE& value, uint32_t size,
                               bool copy) {
    if (!copy && !value.is_volatile && value.align >= passing.align) return value.text;
    std::string slot = temporary_slot(emitter, passing.type, passing.align);
    copy_memory(emitter, slot, passing.align, value.text, value.align, size, value.is_volatile);
    return slot;
}

// The arguments as the source has them, with the way that each one goes.
struct ARGUMENT_LIST {
    std::vector<std::string> texts;
    std::vector<PASSING> ways;

    template <class... PARTS>
    void add(const PASSING& way, const PARTS&... parts) {
        texts.push_back(joined(parts...));
        ways.push_back(way);
    }
};

// What stands between the parentheses of a call; `first` is the address of the result or empty.
std::string argument_text(const ARGUMENT_LIST& list, std::string first) {
    std::string text = std::move(first);
    for (int32_t number : register_order(list.ways))
        put(text, text.empty() ? "" : ", ", number == FILLER ? "float undef" : list.texts[size_t(number)]);
    return text;
}

void check_structure(EMITTER& emitter, VALUE& value, const TYPE* type) {
    if (value.type != LTYPE::MEMORY)
        refuse(emitter.module, "a structure is passed or returned that has no structure value");
    if (!value.align) value.align = type_strip(type)->align;
}

void add_argument(EMITTER& emitter, ARGUMENT_LIST& list, const NODE* tree, const TYPE* type, bool variadic,
                  bool changed_later) {
    PASSING passing = pass_argument(type, variadic);
    if (passing.how == PASSED::AS_ARRAY)
        return list.add(passing, passing.type, " ", emit_as_array(emitter, tree, passing, type).text);
    if (passing.how == PASSED::DIRECTLY) {
        VALUE value = emit_value_as(emitter, tree, type);
        if (value.type == LTYPE::MEMORY) value.type = LTYPE::PTR;
        return list.add(passing, passing.type, " ", passing.extension, value.text);
    }
    VALUE value = emit_value(emitter, tree);
    if (passing.how == PASSED::NOT_AT_ALL) return;
    check_structure(emitter, value, type);
    std::string address = argument_in_memory(emitter, passing, value, type_strip(type)->size, changed_later);
    list.add(passing, "ptr byval(", passing.type, ") align ", passing.align, " ", address);
}

void add_arguments(EMITTER& emitter, ARGUMENT_LIST& list, const TREE_LIST& trees, const TYPE* function_type) {
    const TYPE_PART* parameter = function_type && function_type->prototyped ? function_type->parts : nullptr;
    bool variadic = function_type && function_type->variadic;
    size_t last_effect = trees.size();
    while (last_effect > 0 && !has_effects(trees[last_effect - 1])) last_effect--;
    for (size_t i = 0; i < trees.size(); i++) {
        while (parameter && parameter->record_kind != TR_PARAMETER) parameter = parameter->next;
        const TYPE* type = parameter ? parameter->type : trees[i]->type;
        if (type_is_array(type)) type = type_package()->make_pointer(type_target(type));
        if (type_is_csu(type) != type_is_csu(trees[i]->type)) type = trees[i]->type;
        add_argument(emitter, list, trees[i], type, variadic, i + 1 < last_effect);
        if (parameter) parameter = parameter->next;
    }
}

// A result that came in registers, as an object.
VALUE result_in_slot(EMITTER& emitter, const PASSING& passing, const TYPE* structure,
                     const std::string& value) {
    uint32_t align = std::max(passing.align, structure->align);
    uint32_t bytes = std::max(passing.bytes, structure->size);
    std::string slot = temporary_slot(emitter, ltype_bytes(bytes), align);
    line(emitter, "store ", passing.type, " ", value, ", ptr ", slot, ", align ", align);
    return {slot, LTYPE::MEMORY, align};
}

const char* call_attributes(const SYMBOL* symbol, const TYPE* function_type) {
    if (symbol && returns_twice(symbol)) return " #1";
    bool no_return = (symbol && (symbol->flags & SF_NORETURN)) ||
                     (function_type && (function_type->attributes & FA_NORETURN));
    return no_return ? " #2" : "";
}

// What stands between "call" and the callee: the result's type, or for a callee that takes "..." its whole
// type.
std::string call_type(const PASSING& result, const TYPE* function_type) {
    std::string type = joined(result.extension, result.type);
    if (result.how == PASSED::NOT_AT_ALL || result.how == PASSED::IN_MEMORY) type = "void";
    if (function_type && function_type->variadic)
        put(type, " (", signature_of(function_type).parameters, ")");
    return type;
}

const TYPE* result_type(const NODE* tree, const TYPE* function_type) {
    if (!function_type || (type_is_void(function_type->base) && !type_is_void(tree->type))) return tree->type;
    return function_type->base;
}

std::string callee_text(EMITTER& emitter, const NODE* callee, const SYMBOL* symbol) {
    if (symbol && !symbol->level) return global_name(emitter.module, symbol);
    VALUE value = emit_value(emitter, callee);
    return reshape(emitter, value, false, LTYPE::PTR).text;
}

PASSING way_of_result(const NODE* call) {
    const TYPE* function_type = called_type(call->left);
    return pass_result(type_strip(result_type(call, function_type)),
                       function_type && function_type->variadic);
}

struct CALLED {
    VALUE value; // AS_ARRAY: the array
    PASSING how;
    const TYPE* type = nullptr; // of the result
};

CALLED make_call(EMITTER& emitter, const NODE* tree) {
    const TYPE* function_type = called_type(tree->left);
    const SYMBOL* symbol = called_symbol(tree->left);
    const TYPE* type = type_strip(result_type(tree, function_type));
    if (VALUE known; emit_known_call(emitter, tree, symbol, known)) return {known, {}, type};
    std::string callee = callee_text(emitter, tree->left, symbol);
    PASSING result = way_of_result(tree);
    ARGUMENT_LIST list;
    std::string place;
    VALUE value = {.text = {}, .type = LTYPE::MEMORY, .align = type->align};
    if (result.how == PASSED::IN_MEMORY) {
        value.text = temporary_slot(emitter, result.type, result.align);
        place = joined("ptr sret(", result.type, ") align ", result.align, " ", value.text);
    }
    bool has_arguments = tree->op == OP_CALL;
    add_arguments(emitter, list, has_arguments ? list_items(tree->right) : TREE_LIST(), function_type);
    std::string call = joined("call ", call_type(result, function_type), " ", callee, "(",
                              argument_text(list, place), ")", call_attributes(symbol, function_type));
    switch (result.how) {
    case PASSED::NOT_AT_ALL:
        line(emitter, call);
        if (!type_is_csu(type)) return {{}, result, type};
        value.text = temporary_slot(emitter, ltype_bytes(type->size), type->align);
        break;
    case PASSED::IN_MEMORY: line(emitter, call); break;
    case PASSED::DIRECTLY:
        value = operation(emitter, result.scalar, call);
        if (!type_is_void(tree->type) && ltype_of(tree->type) != result.scalar)
            value = convert(emitter, value, type, tree->type);
        break;
    case PASSED::AS_ARRAY: value = operation(emitter, LTYPE::MEMORY, call); break;
    }
    return {value, result, type};
}

} // namespace

VALUE load_as_array(EMITTER& emitter, const PASSING& passing, const VALUE& from, uint32_t size) {
    VALUE source = from;
    if (passing.bytes > size || from.is_volatile) {
        source.align = std::max(passing.align, 4u);
        source.text = temporary_slot(emitter, ltype_bytes(std::max(passing.bytes, size)), source.align);
        copy_memory(emitter, source.text, source.align, from.text, from.align, size, from.is_volatile);
    }
    return operation(emitter, LTYPE::MEMORY, "load ", passing.type, ", ptr ", source.text, ", align ",
                     std::max(source.align, 1u));
}

const NODE* emit_before_value(EMITTER& emitter, const NODE* tree) {
    for (;;) {
        if (tree->op == OP_COMMAOP) emit_value(emitter, tree->left);
        if (tree->op != OP_COMMAOP && tree->op != OP_STARG) return tree;
        tree = tree->op == OP_COMMAOP ? tree->right : tree->left;
    }
}

STRUCTURE_VALUE emit_structure(EMITTER& emitter, const NODE* tree) {
    const bool is_call = tree->op == OP_CALL || tree->op == OP_UCALL;
    if (!is_call) return {emit_value(emitter, tree), {}};
    CALLED called = make_call(emitter, tree);
    if (called.how.how != PASSED::AS_ARRAY) called.how = {};
    return {called.value, called.how};
}

VALUE structure_in_memory(EMITTER& emitter, const STRUCTURE_VALUE& structure, const TYPE* type) {
    if (structure.array.how == PASSED::AS_ARRAY)
        return result_in_slot(emitter, structure.array, type_strip(type), structure.value.text);
    VALUE object = structure.value;
    check_structure(emitter, object, type);
    return object;
}

VALUE emit_call(EMITTER& emitter, const NODE* tree) {
    CALLED called = make_call(emitter, tree);
    if (called.how.how != PASSED::AS_ARRAY) return called.value;
    return result_in_slot(emitter, called.how, called.type, called.value.text);
}

VALUE emit_argument_walk(EMITTER& emitter) {
    if (!emitter.variadic) refuse(emitter.module, "ARGREF in a function that takes no unnamed arguments");
    declare(emitter.module, "declare void @llvm.va_start.p0(ptr)");
    std::string slot = temporary_slot(emitter, "ptr", 4);
    line(emitter, "call void @llvm.va_start.p0(ptr ", slot, ")");
    return operation(emitter, LTYPE::PTR, "load ptr, ptr ", slot, ", align 4");
}

} // namespace pelorus
