// Calls: where the arguments are, and what the convention makes of them.
#include <algorithm>
#include <string_view>

#include "compile.h"

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
    const bool direct = callee->op == OP_UAND && callee->left->op == OP_NAME;
    const SYMBOL* symbol = direct ? callee->left->symbol() : nullptr;
    return symbol && !symbol->level && type_is_function(symbol->declared_type) ? symbol : nullptr;
}

// Functions that count bits do what one operation does.
struct COUNTING {
    std::string_view name;
    OPERATION operation;
};
constexpr COUNTING COUNTINGS[] = {
    {"___clzsi2", MC_CLZ_32}, {"___clzdi2", MC_CLZ_64},           {"___ctzsi2", MC_CTZ_32},
    {"___ctzdi2", MC_CTZ_64}, {"___popcountsi2", MC_POPCOUNT_32}, {"___popcountdi2", MC_POPCOUNT_64},
};

const COUNTING* counting_of(const SYMBOL* symbol, const NODE* call) {
    if (!symbol || symbol->storage_class != SC_EXTERN || call->op != OP_CALL || call->right->op == OP_COMMA)
        return nullptr;
    for (const COUNTING& counting : COUNTINGS)
        if (counting.name == symbol->name) return &counting;
    return nullptr;
}

uint32_t count_bits(COMPILER& compiler, const NODE* tree, const COUNTING& counting, uint32_t wanted) {
    const bool wide = counting.operation == MC_CLZ_64 || counting.operation == MC_CTZ_64 ||
                      counting.operation == MC_POPCOUNT_64;
    const uint8_t size = wide ? 8 : 4;
    const uint32_t value = emit_value_as(compiler, tree->right, {SHAPE::INTEGER, size, false});
    const uint32_t result = wanted != NO_NUMBER ? wanted : new_slot(compiler);
    emit(compiler, counting.operation, result, value, 0);
    return result;
}

// The copy of a structure that is passed.
uint32_t copied_structure(COMPILER& compiler, const NODE* tree, const TYPE* type) {
    const uint32_t size = type_strip(type)->size;
    const uint32_t from = emit_value(compiler, tree);
    const uint32_t variable =
        add_variable(compiler.function.layout, size, std::max(type_strip(type)->align, 4u), "", true);
    const uint32_t to = new_slot(compiler);
    emit(compiler, MC_FRAME_ADDRESS, to, 0, compiler.function.layout.variables[variable].offset);
    emit_copy(compiler, to, from, size);
    return to;
}

// Evaluates an argument. `later`: the arguments behind it, or null.
ARGUMENT argument(COMPILER& compiler, const NODE* tree, const TYPE* type, const NODE* later) {
    ARGUMENT made{};
    made.shape = shape_of(type);
    made.alignment = argument_alignment(type);
    if (made.shape.kind == SHAPE::MEMORY && tree->op == OP_STARG) {
        made.size = type_strip(tree->type)->size;
        made.slot = copied_structure(compiler, tree->left, tree->type);
        return made;
    }
    if (made.shape.kind == SHAPE::MEMORY) made.shape = {SHAPE::INTEGER, 4, false, false, true};
    if (const TYPE* target = type_target(type_strip(tree->type)); target && made.shape.is_pointer)
        made.size = type_strip(target)->size;
    made.slot = emit_value_as(compiler, tree, made.shape);
    if (later && compiler.inner_assignments && made.slot < compiler.first_value) {
        const uint32_t copy = new_slot(compiler);
        emit(compiler, MC_MOVE, copy, made.slot, 0);
        made.slot = copy;
    }
    return made;
}

// The parameter that an argument is for; null for unnamed ones.
const TYPE_PART* next_parameter(const TYPE_PART* part) {
    while (part && part->record_kind != TR_PARAMETER) part = part->next;
    return part;
}

void add_arguments(COMPILER& compiler, CALL_SITE_CODE& site, const NODE* tree, const TYPE* type) {
    if (tree->op != OP_CALL) return;
    const TYPE_PART* parameter = next_parameter(type && type->prototyped ? type->parts : nullptr);
    const TREE_LIST trees = items_of_list(tree->right);
    for (size_t i = 0; i < trees.size(); i++) {
        const TYPE* wanted = parameter ? parameter->type : trees[i]->type;
        if (type_is_csu(wanted) != type_is_csu(trees[i]->type)) wanted = trees[i]->type;
        if (!is_number(shape_of(wanted))) wanted = trees[i]->type;
        site.arguments.push_back(
            argument(compiler, trees[i], wanted, i + 1 < trees.size() ? trees[i + 1] : nullptr));
        if (parameter) parameter = next_parameter(parameter->next);
    }
}

} // namespace

uint32_t argument_alignment(const TYPE* type) {
    const TYPE* plain = type_strip(type);
    if (!type_is_csu(plain)) return plain->size == 8 ? 8 : 4;
    if (plain->layouts_seen & (1u << LAYOUT_ALIGNED)) return 4;
    return std::clamp(plain->align, 4u, 8u);
}

uint32_t emit_call(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    const SYMBOL* symbol = called_symbol(tree->left);
    count_operator(compiler, tree);
    if (const COUNTING* counting = counting_of(symbol, tree))
        return count_bits(compiler, tree, *counting, wanted);
    const uint32_t mark = compiler.next_slot;
    CALL_SITE_CODE site;
    open_stretch(compiler).calls++;
    if (symbol)
        site.global = global_of_symbol(compiler.loader, symbol);
    else
        site.slot = emit_kept_value(compiler, tree->left, tree->right);
    add_arguments(compiler, site, tree, called_type(tree->left));
    site.result = shape_of(tree->type);
    if (site.result.kind == SHAPE::UNKNOWN)
        return emit_unsupported(compiler, "a call that gives a " + type_text(tree->type));
    if (site.result.kind == SHAPE::MEMORY) {
        const TYPE* type = type_strip(tree->type);
        site.result_size = type->size;
        site.result_variable = add_variable(compiler.function.layout, type->size, type->align, "", true);
    }
    compiler.next_slot = mark;
    const uint32_t result = wanted != NO_NUMBER ? wanted : new_slot(compiler);
    compiler.function.calls.push_back(std::move(site));
    emit(compiler, MC_CALL, result, uint32_t(compiler.function.calls.size() - 1), 0);
    return result;
}

} // namespace pelorus
