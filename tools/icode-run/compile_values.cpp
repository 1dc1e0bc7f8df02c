// Values of expressions, and conditions.
//
// Long chains of operators lean to the left, so the way down the left operands is a loop: the operators that
// evaluate their left operand first are collected, and each is finished once its left operand's value is
// there. The value of a chain comes back in the first free slot, or where it is wanted.
#include <bit>
#include <utility>

#include "compile.h"

namespace pelorus {

namespace {

bool is_variable_slot(const COMPILER& compiler, uint32_t slot) { return slot < compiler.first_value; }

uint32_t result_slot(COMPILER& compiler, uint32_t wanted) {
    return wanted == NO_NUMBER ? new_slot(compiler) : wanted;
}

// The variable's value at this time, when what is evaluated next could change it.
uint32_t kept(COMPILER& compiler, uint32_t slot, const NODE* later) {
    if (!compiler.inner_assignments || !later || !later->left || !is_variable_slot(compiler, slot))
        return slot;
    const uint32_t copy = new_slot(compiler);
    emit(compiler, MC_MOVE, copy, slot, 0);
    return copy;
}

// --- Operators on two numbers ---

OPERATION integer_operation(int32_t op, bool is_signed) {
    switch (op) {
    case OP_PLUS: return MC_ADD_32;
    case OP_MINUS: return MC_SUB_32;
    case OP_MULT: return MC_MUL_32;
    case OP_DIV: return is_signed ? MC_DIV_32 : MC_DIVU_32;
    case OP_MOD: return is_signed ? MC_MOD_32 : MC_MODU_32;
    case OP_SLL: return MC_SHL_32;
    case OP_SRL: return is_signed ? MC_SAR_32 : MC_SHR_32;
    case OP_ANDB: return MC_AND_32;
    case OP_ORB: return MC_OR_32;
    case OP_XORB: return MC_XOR_32;
    default: return MC_UNSUPPORTED;
    }
}

OPERATION floating_operation(int32_t op) {
    switch (op) {
    case OP_PLUS: return MC_FADD_32;
    case OP_MINUS: return MC_FSUB_32;
    case OP_MULT: return MC_FMUL_32;
    case OP_DIV: return MC_FDIV_32;
    default: return MC_UNSUPPORTED;
    }
}

OPERATION operation_for(int32_t op, const SHAPE& shape) {
    if (shape.kind == SHAPE::INTEGER) {
        const OPERATION operation = integer_operation(op, shape.is_signed);
        if (operation == MC_UNSUPPORTED) return operation;
        return OPERATION(operation + (is_wide(shape) ? MC_WIDE_FORM : 0));
    }
    if (shape.kind != SHAPE::FLOATING) return MC_UNSUPPORTED;
    const OPERATION operation = floating_operation(op);
    if (operation == MC_UNSUPPORTED) return operation;
    return OPERATION(operation + (is_wide(shape) ? MC_FLOATING_WIDE : 0));
}

bool is_shift(int32_t op) { return op == OP_SLL || op == OP_SRL; }

uint32_t binary(COMPILER& compiler, const NODE* tree, uint32_t left, uint32_t mark, uint32_t wanted) {
    const SHAPE shape = shape_of(tree->type), left_shape = shape_of(tree->left->type);
    const OPERATION operation = operation_for(tree->op, shape);
    if (operation == MC_UNSUPPORTED)
        return emit_unsupported(compiler, std::string(opcode_name(tree->op)) + " on values of type " +
                                              type_text(tree->type));
    left = convert(compiler, kept(compiler, left, tree->right), left_shape, shape);
    const SHAPE right_shape = is_shift(tree->op) ? shape_of(tree->right->type) : shape;
    uint32_t right = 0;
    const bool has_constant = small_constant(tree->right, right_shape, right);
    if (!has_constant) right = emit_value_as(compiler, tree->right, right_shape);
    compiler.next_slot = mark;
    return emit_binary(compiler, tree->op, shape, left, right, has_constant, wanted);
}

// --- Relations ---

OPERATION relation_operation(int32_t op, bool is_unsigned) {
    switch (op) {
    case OP_EQ: return MC_EQ_32;
    case OP_NEQ: return MC_NE_32;
    case OP_LT: return is_unsigned ? MC_LTU_32 : MC_LT_32;
    case OP_LE: return is_unsigned ? MC_LEU_32 : MC_LE_32;
    case OP_GT: return is_unsigned ? MC_GTU_32 : MC_GT_32;
    case OP_GE: return is_unsigned ? MC_GEU_32 : MC_GE_32;
    case OP_ULT: return MC_LTU_32;
    case OP_ULE: return MC_LEU_32;
    case OP_UGT: return MC_GTU_32;
    default: return MC_GEU_32;
    }
}

OPERATION floating_relation(int32_t op) {
    switch (op) {
    case OP_EQ: return MC_FEQ_32;
    case OP_NEQ: return MC_FNE_32;
    case OP_LT: return MC_FLT_32;
    case OP_LE: return MC_FLE_32;
    case OP_GT: return MC_FGT_32;
    case OP_GE: return MC_FGE_32;
    default: return MC_UNSUPPORTED;
    }
}

bool is_unsigned_relation(int32_t op) { return op >= OP_ULE && op <= OP_UGT; }

// What both operands of a relation are compared as.
SHAPE compared_shape(int32_t op, SHAPE left, const SHAPE& right) {
    if (left.kind == SHAPE::MEMORY) left = {SHAPE::INTEGER, 4, false};
    if (left.kind != SHAPE::INTEGER || right.kind == SHAPE::FLOATING) return left;
    SHAPE shape = {SHAPE::INTEGER, std::max(left.size, right.size), left.is_signed || right.is_signed};
    if (is_unsigned_relation(op)) shape.is_signed = false;
    return shape;
}

// A relation, ready to be emitted: as a value, or as a jump.
struct RELATION {
    uint32_t operation, left, right;
    bool is_floating;
};

RELATION relation(COMPILER& compiler, const NODE* tree, uint32_t left) {
    const SHAPE left_shape = shape_of(tree->left->type), right_shape = shape_of(tree->right->type);
    const SHAPE shape = compared_shape(tree->op, left_shape, right_shape);
    count_operator(compiler, tree);
    left = convert(compiler, kept(compiler, left, tree->right), left_shape, shape);
    if (shape.kind == SHAPE::FLOATING) {
        const uint32_t right = emit_value_as(compiler, tree->right, shape);
        const OPERATION operation = floating_relation(tree->op);
        if (operation == MC_UNSUPPORTED) emit_unsupported(compiler, "an unsigned relation of floating types");
        return {uint32_t(operation + (is_wide(shape) ? MC_FLOATING_WIDE : 0)), left, right, true};
    }
    const uint32_t operation =
        uint32_t(relation_operation(tree->op, !shape.is_signed) + (is_wide(shape) ? MC_WIDE_FORM : 0));
    uint32_t constant = 0;
    if (small_constant(tree->right, shape, constant))
        return {operation + MC_CONSTANT_FORM, left, constant, false};
    return {operation, left, emit_value_as(compiler, tree->right, shape), false};
}

uint32_t relation_value(COMPILER& compiler, const NODE* tree, uint32_t left, uint32_t mark, uint32_t wanted) {
    const RELATION made = relation(compiler, tree, left);
    compiler.next_slot = mark;
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, made.operation, result, made.left, made.right);
    return result;
}

// --- Operators on one number ---

OPERATION unary_operation(int32_t op, const SHAPE& shape) {
    const bool wide = is_wide(shape), floating = shape.kind == SHAPE::FLOATING;
    switch (op) {
    case OP_UMINUS: return floating ? (wide ? MC_FNEG_64 : MC_FNEG_32) : (wide ? MC_NEG_64 : MC_NEG_32);
    case OP_ABS: return floating ? (wide ? MC_FABS_64 : MC_FABS_32) : (wide ? MC_ABS_64 : MC_ABS_32);
    case OP_NOTB: return floating ? MC_UNSUPPORTED : wide ? MC_NOT_64 : MC_NOT_32;
    case OP_SQRT: return !floating ? MC_UNSUPPORTED : wide ? MC_SQRT_64 : MC_SQRT_32;
    case OP_RECIP: return !floating ? MC_UNSUPPORTED : wide ? MC_RECIP_64 : MC_RECIP_32;
    case OP_SQR: return floating ? (wide ? MC_SQR_64 : MC_SQR_32) : (wide ? MC_MUL_64 : MC_MUL_32);
    default: return MC_UNSUPPORTED;
    }
}

uint32_t unary(COMPILER& compiler, const NODE* tree, uint32_t left, uint32_t wanted) {
    const SHAPE shape = shape_of(tree->type);
    const OPERATION operation = is_number(shape) ? unary_operation(tree->op, shape) : MC_UNSUPPORTED;
    if (operation == MC_UNSUPPORTED)
        return emit_unsupported(compiler, std::string(opcode_name(tree->op)) + " on a value of type " +
                                              type_text(tree->type));
    const uint32_t operand = convert(compiler, left, shape_of(tree->left->type), shape);
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, operation, result, operand, operand); // SQR of integers multiplies
    return extend(compiler, result, shape, result);
}

uint32_t negated_truth(COMPILER& compiler, const NODE* tree, uint32_t left, uint32_t wanted) {
    const SHAPE shape = shape_of(tree->left->type);
    if (shape.kind == SHAPE::FLOATING) {
        const uint32_t truth = convert(compiler, left, shape, {SHAPE::INTEGER, 1, false, true});
        const uint32_t result = result_slot(compiler, wanted);
        emit(compiler, MC_IS_ZERO_32, result, truth, 0);
        return result;
    }
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, is_wide(shape) ? MC_IS_ZERO_64 : MC_IS_ZERO_32, result, left, 0);
    return result;
}

// The value of `tree`, whose left operand has the value `left`. Slots from `mark` on, but for that value, are
// free.
uint32_t finish(COMPILER& compiler, const NODE* tree, uint32_t left, uint32_t mark, uint32_t wanted) {
    if (opcode_is_relation(tree->op)) return relation_value(compiler, tree, left, mark, wanted);
    switch (tree->op) {
    case OP_COMMAOP:
    case OP_PCOMMA: compiler.next_slot = mark; return emit_value(compiler, tree->right, wanted);
    case OP_NONALIGN:
    case OP_IDENTITY: return left;
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR: {
        const SHAPE from = shape_of(tree->left->type), to = shape_of(tree->type);
        if (converts_nothing(from, to)) return left;
        if (from.size != to.size || from.kind != to.kind || to.is_bool) count_operator(compiler, tree);
        compiler.next_slot = mark;
        return convert(compiler, left, from, to, result_slot(compiler, wanted));
    }
    case OP_UMULT:
    case OP_STREF: {
        const OBJECT_PLACE place = place_behind(compiler, tree, left);
        compiler.next_slot = mark;
        return emit_load(compiler, place, wanted);
    }
    default: break;
    }
    count_operator(compiler, tree);
    if (tree->right) return binary(compiler, tree, left, mark, wanted);
    compiler.next_slot = mark;
    return tree->op == OP_EXCLAIM ? negated_truth(compiler, tree, left, wanted)
                                  : unary(compiler, tree, left, wanted);
}

// --- What does not start with its left operand's value ---

uint32_t constant_value(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    const SHAPE shape = shape_of(tree->type);
    if (tree->op == OP_FCON) {
        const double value = tree->ref ? tree->floating()->value : 0;
        if (is_wide(shape)) return emit_constant(compiler, std::bit_cast<uint64_t>(value), wanted);
        return emit_constant(compiler, std::bit_cast<uint32_t>(float(value)), wanted);
    }
    const auto number = uint64_t(int96_to_int64(tree->value()));
    return emit_constant(compiler, is_wide(shape) ? number : uint32_t(number), wanted);
}

uint32_t truth_value(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    const uint32_t yes = new_label(compiler), no = new_label(compiler), join = new_label(compiler);
    const uint32_t mark = compiler.next_slot;
    emit_condition(compiler, tree, yes, no);
    compiler.next_slot = mark;
    const uint32_t result = result_slot(compiler, wanted);
    open_label(compiler, yes);
    emit_constant(compiler, 1, result);
    emit_jump(compiler, MC_JUMP, 0, 0, join);
    open_label(compiler, no);
    emit_constant(compiler, 0, result);
    open_label(compiler, join);
    return result;
}

void emit_arm(COMPILER& compiler, const NODE* tree, const SHAPE& shape, uint32_t result) {
    const uint32_t mark = compiler.next_slot;
    const uint32_t value = shape.kind == SHAPE::NOTHING ? emit_value(compiler, tree)
                                                        : emit_value_as(compiler, tree, shape, result);
    if (shape.kind != SHAPE::NOTHING && value != result) emit(compiler, MC_MOVE, result, value, 0);
    compiler.next_slot = mark;
}

uint32_t selection(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    const NODE* arms = tree->right;
    const SHAPE shape = shape_of(tree->type);
    const uint32_t yes = new_label(compiler), no = new_label(compiler), join = new_label(compiler);
    const uint32_t mark = compiler.next_slot;
    count_operator(compiler, tree);
    emit_condition(compiler, tree->left, yes, no);
    compiler.next_slot = mark;
    const uint32_t result = result_slot(compiler, wanted);
    open_label(compiler, yes);
    emit_arm(compiler, arms->left, shape, result);
    emit_jump(compiler, MC_JUMP, 0, 0, join);
    open_label(compiler, no);
    emit_arm(compiler, arms->right, shape, result);
    open_label(compiler, join);
    return result;
}

uint32_t address_value(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    const uint32_t mark = compiler.next_slot;
    count_operator(compiler, tree);
    const OBJECT_PLACE place = emit_place(compiler, tree->left);
    if (place.kind == OBJECT_PLACE::SLOT || place.bits.width)
        return emit_unsupported(compiler, "the address of an object that has none");
    const bool reuse = place.kind != OBJECT_PLACE::POINTER || !is_variable_slot(compiler, place.number);
    if (reuse) compiler.next_slot = mark;
    return emit_address(compiler, place, wanted);
}

uint32_t argument_walk(COMPILER& compiler, uint32_t wanted) {
    compiler.function.walks_arguments = true;
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, MC_ARGUMENTS, result, 0, 0);
    return result;
}

uint32_t emit_start(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    switch (tree->op) {
    case OP_ICON:
    case OP_FCON: return constant_value(compiler, tree, wanted);
    case OP_NAME:
        if (!tree->ref) return 0; // of a void function's return
        [[fallthrough]];
    case OP_SCON:
    case OP_STDOT: {
        const uint32_t mark = compiler.next_slot;
        const OBJECT_PLACE place = emit_place(compiler, tree);
        if (place.kind != OBJECT_PLACE::POINTER) compiler.next_slot = mark;
        return emit_load(compiler, place, wanted);
    }
    case OP_UAND:
    case OP_ACONV: return address_value(compiler, tree, wanted);
    case OP_ANDAND:
    case OP_OROR: return truth_value(compiler, tree, wanted);
    case OP_QUEST: return selection(compiler, tree, wanted);
    case OP_STARG: return emit_value(compiler, tree->left, wanted);
    case OP_CALL:
    case OP_UCALL: return emit_call(compiler, tree, wanted);
    case OP_ARGREF: return argument_walk(compiler, wanted);
    case OP_NOP: return 0;
    default: break;
    }
    if (tree->op != OP_STFIELD && tree->op != OP_ARASG && opcode_fact(tree->op).kind == OPCODE_CLASS::ASSIGNS)
        return emit_assignment(compiler, tree, wanted);
    return emit_unsupported(compiler, std::string("opcode ") + std::to_string(tree->op) + " (" +
                                          opcode_name(tree->op) + ")");
}

bool passes_its_operand(const NODE* tree) {
    switch (tree->op) {
    case OP_NONALIGN:
    case OP_IDENTITY: return true;
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR: return converts_nothing(shape_of(tree->left->type), shape_of(tree->type));
    default: return false;
    }
}

} // namespace

TREE_LIST items_of_list(const NODE* list) {
    TREE_LIST items;
    for (; list->op == OP_COMMA || list->op == OP_PCOMMA; list = list->left) items.push_back(list->right);
    items.push_back(list);
    return {items.rbegin(), items.rend()};
}

uint32_t emit_constant(COMPILER& compiler, uint64_t bits, uint32_t wanted) {
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, MC_CONSTANT, result, uint32_t(bits), uint32_t(bits >> 32));
    return result;
}

uint32_t emit_value(COMPILER& compiler, const NODE* tree, uint32_t wanted) {
    while (passes_its_operand(tree)) tree = tree->left;
    TREE_LIST above;
    for (; opcode_starts_with_left_value(tree->op); tree = tree->left) above.push_back(tree);
    const uint32_t mark = compiler.next_slot;
    uint32_t value = emit_start(compiler, tree, above.empty() ? wanted : NO_NUMBER);
    for (; !above.empty(); above.pop_back()) {
        if (!is_variable_slot(compiler, value)) compiler.next_slot = std::max(mark, value + 1);
        value = finish(compiler, above.back(), value, mark, above.size() == 1 ? wanted : NO_NUMBER);
    }
    // The slot may be the one in which an operand was.
    if (!is_variable_slot(compiler, value)) compiler.next_slot = std::max(compiler.next_slot, value + 1);
    return value;
}

uint32_t emit_value_as(COMPILER& compiler, const NODE* tree, const SHAPE& shape, uint32_t wanted) {
    const SHAPE own = shape_of(tree->type);
    if (converts_nothing(own, shape)) return emit_value(compiler, tree, wanted);
    return convert(compiler, emit_value(compiler, tree), own, shape, wanted);
}

uint32_t emit_kept_value(COMPILER& compiler, const NODE* tree, const NODE* later) {
    return kept(compiler, emit_value(compiler, tree), later);
}

bool small_constant(const NODE* tree, const SHAPE& shape, uint32_t& value) {
    if (shape.kind != SHAPE::INTEGER) return false;
    while (passes_its_operand(tree)) tree = tree->left;
    if (tree->op != OP_ICON) return false;
    const SHAPE own = shape_of(tree->type);
    if (own.kind != SHAPE::INTEGER || !converts_nothing(own, shape)) return false;
    const int64_t number = int96_to_int64(tree->value());
    value = uint32_t(uint64_t(number));
    return !is_wide(shape) || number == int32_t(number);
}

uint32_t emit_binary(COMPILER& compiler, int32_t op, const SHAPE& shape, uint32_t left, uint32_t right,
                     bool right_is_constant, uint32_t wanted) {
    const OPERATION operation = operation_for(op, shape);
    if (operation == MC_UNSUPPORTED)
        return emit_unsupported(compiler, std::string(opcode_name(op)) + " on operands that it cannot take");
    const uint32_t result = result_slot(compiler, wanted);
    emit(compiler, uint32_t(operation + (right_is_constant ? MC_CONSTANT_FORM : 0)), result, left, right);
    return extend(compiler, result, shape, result);
}

namespace {

// One test, without ANDAND, OROR and EXCLAIM at its top.
void emit_test(COMPILER& compiler, const NODE* tree, uint32_t yes, uint32_t no) {
    const uint32_t mark = compiler.next_slot;
    open_stretch(compiler).branches++;
    if (opcode_is_relation(tree->op)) {
        const RELATION made = relation(compiler, tree, emit_value(compiler, tree->left));
        if (!made.is_floating)
            emit_jump(compiler, made.operation + MC_JUMP_FORM, made.left, made.right, yes);
        else {
            const uint32_t truth = new_slot(compiler);
            emit(compiler, made.operation, truth, made.left, made.right);
            emit_jump(compiler, MC_JUMP_TRUE_32, truth, 0, yes);
        }
    } else {
        const SHAPE shape = shape_of(tree->type);
        uint32_t value = emit_value(compiler, tree);
        if (shape.kind == SHAPE::FLOATING)
            value = convert(compiler, value, shape, {SHAPE::INTEGER, 1, false, true});
        const bool wide = shape.kind == SHAPE::INTEGER && is_wide(shape);
        emit_jump(compiler, wide ? MC_JUMP_TRUE_64 : MC_JUMP_TRUE_32, value, 0, yes);
    }
    emit_jump(compiler, MC_JUMP, 0, 0, no);
    compiler.next_slot = mark;
}

} // namespace

void emit_condition(COMPILER& compiler, const NODE* tree, uint32_t yes, uint32_t no) {
    struct REST { // the right operand, to be tested when control comes to `begin`
        const NODE* tree;
        uint32_t begin, yes, no;
    };
    std::vector<REST> rests;
    for (; tree->op == OP_ANDAND || tree->op == OP_OROR || tree->op == OP_EXCLAIM; tree = tree->left) {
        count_operator(compiler, tree);
        if (tree->op == OP_EXCLAIM) {
            std::swap(yes, no);
            continue;
        }
        const uint32_t middle = new_label(compiler);
        rests.push_back({tree->right, middle, yes, no});
        (tree->op == OP_ANDAND ? yes : no) = middle;
    }
    emit_test(compiler, tree, yes, no);
    for (; !rests.empty(); rests.pop_back()) {
        const REST rest = rests.back();
        open_label(compiler, rest.begin);
        emit_condition(compiler, rest.tree, rest.yes, rest.no);
    }
}

} // namespace pelorus
