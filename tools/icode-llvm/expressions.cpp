// Values of expressions.
//
// Long chains of operators lean to the left, so the way down the left operands is a loop: the operators that
// evaluate their left operand first are collected, and each is finished once its left operand's value is
// there.
#include "emitter.h"

#include <cstring>
#include <utility>

namespace pelorus {

namespace {

VALUE relation(EMITTER& emitter, const NODE* tree, const VALUE& left) {
    VALUE right = emit_value(emitter, tree->right);
    return compare(emitter, tree->op, left, tree->left->type, right, tree->right->type);
}

VALUE negated_truth(EMITTER& emitter, const VALUE& value) {
    return operation(emitter, LTYPE::I1, "xor i1 ", truth_of(emitter, value).text, ", true");
}

VALUE not_aligned(EMITTER& emitter, const VALUE& pointer) {
    VALUE result = reshape(emitter, pointer, false, LTYPE::PTR);
    result.align = 1;
    return result;
}

PLACE place_of_reference(EMITTER& emitter, const NODE* tree, const VALUE& pointer) {
    TYPE* structure = static_cast<TYPE*>(tree->right->ref);
    if (!structure) refuse(emitter.module, "STREF without a structure");
    PLACE whole = place_behind(reshape(emitter, pointer, false, LTYPE::PTR), structure);
    return place_of_member(emitter, whole, tree->right, tree->type);
}

// The value of `tree`, whose left operand has the value `left`.
VALUE finish(EMITTER& emitter, const NODE* tree, const VALUE& left) {
    if (opcode_is_relation(tree->op))
        return from_truth(emitter, relation(emitter, tree, left), ltype_of(tree->type));
    switch (tree->op) {
    case OP_COMMAOP:
    case OP_PCOMMA: return emit_value(emitter, tree->right);
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR:
    case OP_IDENTITY: return convert(emitter, left, tree->left->type, tree->type);
    case OP_NONALIGN: return not_aligned(emitter, left);
    case OP_EXCLAIM: return from_truth(emitter, negated_truth(emitter, left), ltype_of(tree->type));
    case OP_UMULT: return load(emitter, place_behind(reshape(emitter, left, false, LTYPE::PTR), tree->type));
    case OP_STREF: return load(emitter, place_of_reference(emitter, tree, left));
    default: break;
    }
    if (!tree->right) return unary(emitter, tree->op, tree->type, left);
    VALUE right = emit_value(emitter, tree->right);
    return binary(emitter, tree->op, tree->type, left, tree->left->type, right, tree->right->type);
}

VALUE integer_constant(EMITTER& emitter, const NODE* tree) {
    LTYPE type = ltype_of(tree->type);
    int64_t value = int96_to_int64(tree->value());
    if (type == LTYPE::PTR) {
        if (uint32_t(value) == 0) return {"null", type};
        return {joined("inttoptr (i32 ", uint32_t(value), " to ptr)"), type};
    }
    if (!ltype_is_integer(type)) refuse(emitter.module, "ICON of type %s", type_text(tree->type).c_str());
    uint32_t unused = 64 - ltype_bits(type);
    if (type_is_signed(tree->type)) return {joined(int64_t(uint64_t(value) << unused) >> unused), type};
    return {joined((uint64_t(value) << unused) >> unused), type};
}

VALUE floating_constant(EMITTER& emitter, const NODE* tree) {
    LTYPE type = ltype_of(tree->type);
    if (!ltype_is_floating(type) || !tree->ref)
        refuse(emitter.module, "FCON of type %s", type_text(tree->type).c_str());
    double value = tree->floating()->value;
    if (type == LTYPE::FLOAT) value = double(float(value));
    uint64_t bits;
    memcpy(&bits, &value, 8);
    char text[24];
    snprintf(text, sizeof text, "0x%016llX", static_cast<unsigned long long>(bits));
    return {text, type};
}

VALUE value_of_name(EMITTER& emitter, const NODE* tree) {
    if (!tree->ref && type_is_void(tree->type)) return {};
    auto local = emitter.locals.find(tree->symbol());
    if (local == emitter.locals.end() || !local->second.is_value)
        return load(emitter, emit_place(emitter, tree));
    return {local->second.text, ltype_of(tree->symbol()->declared_type)};
}

VALUE address_of(EMITTER& emitter, const NODE* tree) {
    PLACE place = emit_place(emitter, tree->left);
    if (place.width) refuse(emitter.module, "the address of a bit-field is taken");
    if (place.variable != NO_REGISTER_VARIABLE)
        refuse(emitter.module, "the address of a variable in a register is taken");
    VALUE address = {place.address, LTYPE::PTR, place.align};
    return reshape(emitter, address, false, ltype_of(tree->type));
}

// ANDAND and OROR where a number is wanted.
VALUE truth_as_number(EMITTER& emitter, const NODE* tree) {
    std::string yes = new_block(emitter), no = new_block(emitter), join = new_block(emitter);
    emit_condition(emitter, tree, yes, no);
    open_block(emitter, yes);
    branch(emitter, join);
    open_block(emitter, no);
    open_block(emitter, join);
    LTYPE type = ltype_of(tree->type);
    return operation(emitter, type, "phi ", ltype_text(type), " [ 1, %", yes, " ], [ 0, %", no, " ]");
}

// One arm of QUEST; leaves the name of the block in which it ends.
VALUE emit_arm(EMITTER& emitter, const NODE* tree, const TYPE* type, const std::string& begin,
               std::string& end) {
    open_block(emitter, begin);
    VALUE value = type_is_void(type) ? emit_value(emitter, tree) : emit_value_as(emitter, tree, type);
    end = emitter.block;
    return value;
}

VALUE selection(EMITTER& emitter, const NODE* tree) {
    const NODE* arms = tree->right;
    if (!arms || arms->op != OP_COLON) refuse(emitter.module, "QUEST without COLON");
    std::string yes = new_block(emitter), no = new_block(emitter), join = new_block(emitter);
    std::string yes_end, no_end;
    emit_condition(emitter, tree->left, yes, no);
    VALUE a = emit_arm(emitter, arms->left, tree->type, yes, yes_end);
    branch(emitter, join);
    VALUE b = emit_arm(emitter, arms->right, tree->type, no, no_end);
    open_block(emitter, join);
    LTYPE type = ltype_of(tree->type);
    if (type == LTYPE::VOID) return {};
    VALUE value = operation(emitter, type, "phi ", ltype_text(type), " [ ", a.text, ", %", yes_end, " ], [ ",
                            b.text, ", %", no_end, " ]");
    value.align = a.align && b.align ? std::min(a.align, b.align) : a.align + b.align;
    value.is_volatile = a.is_volatile || b.is_volatile;
    return value;
}

// The value of a tree that does not start with its left operand's value.
VALUE emit_start(EMITTER& emitter, const NODE* tree) {
    switch (tree->op) {
    case OP_ICON: return integer_constant(emitter, tree);
    case OP_FCON: return floating_constant(emitter, tree);
    case OP_NAME: return value_of_name(emitter, tree);
    case OP_SCON:
    case OP_STDOT: return load(emitter, emit_place(emitter, tree));
    case OP_UAND:
    case OP_ACONV: return address_of(emitter, tree);
    case OP_ANDAND:
    case OP_OROR: return truth_as_number(emitter, tree);
    case OP_QUEST: return selection(emitter, tree);
    case OP_STARG: return emit_value(emitter, tree->left);
    case OP_CALL:
    case OP_UCALL: return emit_call(emitter, tree);
    case OP_ARGREF: return emit_argument_walk(emitter);
    default: break;
    }
    if (opcode_fact(tree->op).kind == OPCODE_CLASS::ASSIGNS) return emit_assignment(emitter, tree);
    refuse(emitter.module, "%s (opcode %d) cannot be translated", opcode_name(tree->op), tree->op);
}

} // namespace

VALUE emit_value(EMITTER& emitter, const NODE* tree) {
    if (!opcode_starts_with_left_value(tree->op)) return emit_start(emitter, tree);
    TREE_LIST above;
    for (; opcode_starts_with_left_value(tree->op); tree = tree->left) above.push_back(tree);
    VALUE value = emit_start(emitter, tree);
    for (; !above.empty(); above.pop_back()) value = finish(emitter, above.back(), value);
    return value;
}

VALUE emit_value_as(EMITTER& emitter, const NODE* tree, const TYPE* type) {
    VALUE value = emit_value(emitter, tree);
    LTYPE wanted = ltype_of(type);
    if (value.type == wanted) return value;
    if (ltype_is_floating(value.type) || ltype_is_floating(wanted) || wanted == LTYPE::VOID)
        return convert(emitter, value, tree->type, type);
    if (wanted == LTYPE::MEMORY || value.type == LTYPE::VOID)
        refuse(emitter.module, "%s has no value of type %s", opcode_name(tree->op), type_text(type).c_str());
    return reshape(emitter, value, type_is_signed(tree->type), wanted);
}

VALUE emit_truth(EMITTER& emitter, const NODE* tree) {
    if (opcode_is_relation(tree->op)) return relation(emitter, tree, emit_value(emitter, tree->left));
    if (tree->op == OP_EXCLAIM) return negated_truth(emitter, emit_value(emitter, tree->left));
    return truth_of(emitter, emit_value(emitter, tree));
}

void emit_condition(EMITTER& emitter, const NODE* tree, const std::string& yes, const std::string& no) {
    struct REST { // the right operand, to be tested when control comes to `begin`
        const NODE* tree;
        std::string begin, yes, no;
    };
    std::vector<REST> rests;
    std::string on_yes = yes, on_no = no;
    for (; tree->op == OP_ANDAND || tree->op == OP_OROR || tree->op == OP_EXCLAIM; tree = tree->left) {
        if (tree->op == OP_EXCLAIM) {
            std::swap(on_yes, on_no);
            continue;
        }
        std::string middle = new_block(emitter);
        rests.push_back({tree->right, middle, on_yes, on_no});
        (tree->op == OP_ANDAND ? on_yes : on_no) = middle;
    }
    branch_if(emitter, emit_truth(emitter, tree), on_yes, on_no);
    for (; !rests.empty(); rests.pop_back()) {
        const REST rest = std::move(rests.back());
        open_block(emitter, rest.begin);
        emit_condition(emitter, rest.tree, rest.yes, rest.no);
    }
}

} // namespace pelorus
