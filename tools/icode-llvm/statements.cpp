// Statements.
#include "emitter.h"

#include "icode/format.h"
#include "ir/stmt.h"

namespace pelorus {

namespace {

std::string label_of(EMITTER& emitter, const NODE* tree) {
    if (!tree || tree->op != OP_LABEL) refuse(emitter.module, "a label is missing");
    return label_block(emitter, tree->value_lo);
}

void emit_if(EMITTER& emitter, const NODE* tree) {
    const NODE* targets = tree->right;
    if (targets->op != OP_COMMA) refuse(emitter.module, "IF without two labels");
    std::string yes = label_of(emitter, targets->left), no = label_of(emitter, targets->right);
    emit_condition(emitter, tree->left, yes, no);
}

struct CASES {
    std::string text;
    std::string otherwise; // block of DEFAULT
};

void add_case(EMITTER& emitter, CASES& cases, const NODE* tree, LTYPE type) {
    if (tree->op == OP_DEFAULT) {
        cases.otherwise = label_of(emitter, tree->left);
        return;
    }
    if (tree->op != OP_CASE || tree->left->op != OP_ICON)
        refuse(emitter.module, "SWITCH has an arm that is no case");
    uint32_t unused = 64 - ltype_bits(type);
    int64_t value = int64_t(uint64_t(int96_to_int64(tree->left->value())) << unused) >> unused;
    const std::string target = label_of(emitter, tree->right);
    put(cases.text, "    ", ltype_text(type), " ", value, ", label %", target, "\n");
    note_edge(emitter.ssa, target);
}

void emit_switch(EMITTER& emitter, const NODE* tree) {
    VALUE selector = emit_value(emitter, tree->left);
    if (!ltype_is_integer(selector.type)) refuse(emitter.module, "SWITCH on a value that is no integer");
    CASES cases;
    for (const NODE* arm : list_items(tree->right)) add_case(emitter, cases, arm, selector.type);
    std::string behind = cases.otherwise.empty() ? new_block(emitter) : "";
    put(emitter.body, "  switch ", ltype_text(selector.type), " ", selector.text, ", label %",
        behind.empty() ? cases.otherwise : behind, " [\n", cases.text, "  ]", emitter.location, "\n");
    note_edge(emitter.ssa, behind.empty() ? cases.otherwise : behind);
    emitter.open = false;
    if (!behind.empty()) open_block(emitter, behind);
}

void emit_return_value(EMITTER& emitter, const VALUE& value) {
    const PASSING& result = emitter.result;
    const TYPE* type = type_strip(function_return_type());
    switch (result.how) {
    case PASSED::NOT_AT_ALL: line(emitter, "ret void"); break;
    case PASSED::DIRECTLY: line(emitter, "ret ", result.type, " ", value.text); break;
    case PASSED::AS_ARRAY: line(emitter, "ret ", result.type, " ", value.text); break;
    case PASSED::IN_MEMORY:
        copy_memory(emitter, "%result", result.align, value.text, value.align ? value.align : type->align,
                    type->size, value.is_volatile);
        line(emitter, "ret void");
    }
    emitter.open = false;
}

void return_in_memory(EMITTER& emitter, const NODE* value, const TYPE* type) {
    emit_structure_to(emitter, {.address = "%result", .type = type, .align = emitter.result.align}, value);
    line(emitter, "ret void");
    emitter.open = false;
}

void emit_return(EMITTER& emitter, const NODE* tree) {
    const TYPE* type = type_strip(function_return_type());
    if (emitter.result.how == PASSED::DIRECTLY)
        emit_return_value(emitter, emit_value_as(emitter, tree->right, type));
    else if (emitter.result.how == PASSED::AS_ARRAY)
        emit_return_value(emitter, emit_as_array(emitter, tree->right, emitter.result, type));
    else if (emitter.result.how == PASSED::IN_MEMORY)
        return_in_memory(emitter, tree->right, type);
    else
        emit_return_value(emitter, emit_value(emitter, tree->right));
}

void define_label(EMITTER& emitter, int32_t number) {
    std::string name = label_block(emitter, number);
    uint8_t& state = emitter.labels[size_t(number)];
    if (state & LABEL_DEFINED) refuse(emitter.module, "label %d is defined twice", number);
    state |= LABEL_DEFINED;
    open_block(emitter, name, true);
}

void emit_assembly(EMITTER& emitter, const char* text) {
    std::string escaped;
    put_escaped(escaped, text);
    std::string doubled; // "$" introduces operands in LLVM's assembly text
    for (char c : escaped) doubled.append(c == '$' ? 2 : 1, c);
    line(emitter, "call void asm sideeffect \"", doubled, "\", \"~{memory}\"()");
}

} // namespace

void emit_return_of(EMITTER& emitter, const SYMBOL* symbol) {
    PASSED how = emitter.result.how;
    if (how == PASSED::NOT_AT_ALL) return emit_return_value(emitter, {});
    const TYPE* type = type_strip(function_return_type());
    if (!symbol) { // control came to the end without a value, which no caller may use
        if (how == PASSED::IN_MEMORY)
            line(emitter, "ret void");
        else
            line(emitter, "ret ", emitter.result.type, " ",
                 how == PASSED::AS_ARRAY                    ? "zeroinitializer"
                 : ltype_is_floating(emitter.result.scalar) ? "0.0"
                 : emitter.result.scalar == LTYPE::PTR      ? "null"
                                                            : "0");
        emitter.open = false;
        return;
    }
    if (const uint32_t variable = register_variable(emitter.ssa, symbol); variable != NO_REGISTER_VARIABLE)
        return emit_return_value(emitter, read_register(emitter, variable));
    const LOCAL& local = local_slot(emitter, symbol);
    PLACE place = {.address = local.text, .type = type, .align = local.align};
    VALUE value = load(emitter, place);
    if (how == PASSED::AS_ARRAY) value = load_as_array(emitter, emitter.result, value, type->size);
    emit_return_value(emitter, value);
}

void emit_statement(EMITTER& emitter, const NODE* tree) {
    if (tree->op == OP_LABELDEF) return define_label(emitter, tree->value_lo);
    if (!emitter.open) return; // nothing comes here
    switch (tree->op) {
    case OP_IF: return emit_if(emitter, tree);
    case OP_SWITCH: return emit_switch(emitter, tree);
    case OP_BRANCH: return branch(emitter, label_of(emitter, tree->left));
    case OP_RETURN: return emit_return(emitter, tree);
    case OP_URETURN: return emit_return_of(emitter, tree->left->symbol());
    case OP_ASM:
        return tree->value_lo == RK_ASSEMBLY ? emit_assembly(emitter, tree->text) : void(); // or a comment
    case OP_ASSERT: // promises to the optimizer, which are not evaluated
    case OP_NASSERT:
    case OP_PPRAGMA:
    case OP_NOP:
    case OP_BGNBLOCK:
    case OP_ENDBLOCK: return;
    default: emit_value(emitter, tree);
    }
}

} // namespace pelorus
