// Objects: where they are, how they are read and written.
//
// The alignment of an access is what the way to the object proves: that of the variable or of the type behind
// the pointer, lowered by each member's offset. A pointer whose own alignment is known to be less lowers it
// further.
//
// A bit-field is read and written through its container, an unsigned integer at the member's offset:
//
//     bits of the container   | ... | width bits | shift bits |
#include "emitter.h"

#include <algorithm>

namespace pelorus {

namespace {

PLACE place_of_name(EMITTER& emitter, const NODE* tree) {
    const SYMBOL* symbol = tree->symbol();
    if (!symbol) refuse(emitter.module, "NAME without a symbol");
    PLACE place = {.address = {}, .type = tree->type, .is_volatile = type_is_volatile(tree->type)};
    place.variable = register_variable(emitter.ssa, symbol);
    if (place.variable != NO_REGISTER_VARIABLE) return place;
    if (symbol->level) {
        const LOCAL& local = local_slot(emitter, symbol);
        if (local.is_value) refuse(emitter.module, "parameter '%s' is used as an object", symbol->name);
        place.address = local.text;
        place.align = local.align;
        return place;
    }
    place.address = global_name(emitter.module, symbol);
    bool is_function = type_is_function(symbol->declared_type);
    place.align = is_function ? 1 : std::max(symbol->align, 1u);
    if (symbol->flags & SF_THREAD) {
        declare(emitter.module, "declare nonnull ptr @llvm.threadlocal.address.p0(ptr nonnull)");
        place.address =
            operation(emitter, LTYPE::PTR, "call ptr @llvm.threadlocal.address.p0(ptr ", place.address, ")")
                .text;
    }
    return place;
}

PLACE place_of_string(EMITTER& emitter, const NODE* tree) {
    uint32_t align = std::max(type_strip(tree->type)->align, 1u);
    std::string name = string_name(emitter.module, {tree->text, size_t(tree->value_lo)}, align);
    return {.address = name, .type = tree->type, .align = align};
}

PLACE place_of_value(EMITTER& emitter, const NODE* tree) {
    VALUE value = emit_value(emitter, tree);
    if (value.type != LTYPE::MEMORY) refuse(emitter.module, "%s is no object", opcode_name(tree->op));
    return place_of_object(value, tree->type);
}

// The object that a tree denotes which is no member of another.
PLACE place_of_whole(EMITTER& emitter, const NODE* tree) {
    for (; tree->op == OP_COMMAOP; tree = tree->right) emit_value(emitter, tree->left);
    switch (tree->op) {
    case OP_NAME: return place_of_name(emitter, tree);
    case OP_SCON: return place_of_string(emitter, tree);
    case OP_UMULT:
        return place_behind(reshape(emitter, emit_value(emitter, tree->left), false, LTYPE::PTR), tree->type);
    case OP_STREF: {
        TYPE* structure = static_cast<TYPE*>(tree->right->ref);
        VALUE pointer = reshape(emitter, emit_value(emitter, tree->left), false, LTYPE::PTR);
        if (!structure) refuse(emitter.module, "STREF without a structure");
        return place_of_member(emitter, place_behind(pointer, structure), tree->right, tree->type);
    }
    case OP_STDOT: return emit_place(emitter, tree);
    default: return place_of_value(emitter, tree);
    }
}

VALUE load_container(EMITTER& emitter, const PLACE& place) {
    return operation(emitter, place.container, "load ", place.is_volatile ? "volatile " : "",
                     ltype_text(place.container), ", ptr ", place.address, ", align ", place.align);
}

// The value of the field whose bits are the lowest `place.width` of `bits` after a shift, as the declared
// type.
VALUE extract_field(EMITTER& emitter, const PLACE& place, const VALUE& bits, uint32_t shift) {
    const char* type = ltype_text(place.container);
    bool is_signed = type_is_signed(place.type);
    uint32_t above = ltype_bits(place.container) - place.width - shift;
    VALUE value = bits;
    if (above) value = operation(emitter, value.type, "shl ", type, " ", value.text, ", ", above);
    if (above + shift)
        value = operation(emitter, value.type, is_signed ? "ashr " : "lshr ", type, " ", value.text, ", ",
                          above + shift);
    return reshape(emitter, value, is_signed, ltype_of(place.type));
}

VALUE store_field(EMITTER& emitter, const PLACE& place, const VALUE& value) {
    const char* type = ltype_text(place.container);
    VALUE bits = reshape(emitter, value, type_is_signed(place.type), place.container);
    if (place.width < ltype_bits(place.container)) {
        uint64_t mask = (uint64_t(1) << place.width) - 1;
        VALUE old = load_container(emitter, place);
        uint32_t unused = 64 - ltype_bits(place.container);
        uint64_t others = (~(mask << place.shift) << unused) >> unused;
        VALUE kept = operation(emitter, place.container, "and ", type, " ", old.text, ", ", others);
        VALUE part = bits; // masked where it lies, which llc takes for an insertion
        if (place.shift)
            part = operation(emitter, place.container, "shl ", type, " ", part.text, ", ",
                             uint32_t(place.shift));
        part = operation(emitter, place.container, "and ", type, " ", part.text, ", ", mask << place.shift);
        VALUE both = operation(emitter, place.container, "or ", type, " ", kept.text, ", ", part.text);
        line(emitter, "store ", place.is_volatile ? "volatile " : "", type, " ", both.text, ", ptr ",
             place.address, ", align ", place.align);
    } else
        line(emitter, "store ", place.is_volatile ? "volatile " : "", type, " ", bits.text, ", ptr ",
             place.address, ", align ", place.align);
    return extract_field(emitter, place, bits, 0);
}

// The type in which the operator of a compound assignment works.
const TYPE* working_type(const NODE* tree, bool is_shift) {
    if (!is_shift) return tree->right->type;
    const TYPE* own = type_strip(tree->type);
    return own->size < 4 ? type_package()->int_type() : own;
}

VALUE compound_assignment(EMITTER& emitter, const NODE* tree, int32_t op) {
    PLACE place = emit_place(emitter, tree->left);
    VALUE right = emit_value(emitter, tree->right);
    VALUE old = load(emitter, place);
    VALUE result;
    if (old.type == LTYPE::PTR)
        result = binary(emitter, op, place.type, old, place.type, right, tree->right->type);
    else {
        const TYPE* working = working_type(tree, op == OP_SLL || op == OP_SRL);
        VALUE left = convert(emitter, old, place.type, working);
        result = binary(emitter, op, working, left, working, right, tree->right->type);
        result = convert(emitter, result, working, place.type);
    }
    VALUE stored = store(emitter, place, result);
    return tree->op == OP_PLUSPLUS || tree->op == OP_MINMIN ? old : stored;
}

} // namespace

PLACE place_of_object(const VALUE& object, const TYPE* type) {
    return {.address = object.text,
            .type = type,
            .align = object.align ? object.align : type_strip(type)->align,
            .is_volatile = object.is_volatile};
}

PLACE place_behind(const VALUE& pointer, const TYPE* type) {
    uint32_t align = std::max(type_strip(type)->align, 1u);
    if (pointer.align) align = std::min(align, pointer.align);
    return {.address = pointer.text, .type = type, .align = align, .is_volatile = type_is_volatile(type)};
}

PLACE place_of_member(EMITTER& emitter, const PLACE& base, const NODE* field, const TYPE* type) {
    const TYPE_PART* member = field->field_info;
    if (field->op != OP_FIELD || !member) refuse(emitter.module, "a member is missing");
    PLACE place = base;
    if (base.variable != NO_REGISTER_VARIABLE) {
        place.variable = register_of_member(emitter, base, member->value);
        place.type = type;
        return place;
    }
    place.address = offset_address(emitter, base.address, member->value);
    place.align = common_alignment(base.align, member->value);
    place.type = type;
    place.is_volatile = base.is_volatile || type_is_volatile(type);
    if (!member->flag) return place;
    const TYPE* bits = type_strip(member->type);
    place.container = bits->kind == TK_BITFIELD && bits->other ? ltype_of(bits->other) : LTYPE::NONE;
    place.width = bits->bit_width;
    place.shift = uint8_t(bits->bit_shift);
    if (!ltype_is_integer(place.container) || place.width == 0 || bits->bit_shift < 0 ||
        uint32_t(place.width) + place.shift > ltype_bits(place.container))
        refuse(emitter.module, "bit-field '%s' does not lie in its container", member->name);
    return place;
}

PLACE emit_place(EMITTER& emitter, const NODE* tree) {
    TREE_LIST members;
    for (; tree->op == OP_STDOT; tree = tree->left) members.push_back(tree);
    PLACE place = place_of_whole(emitter, tree);
    for (; !members.empty(); members.pop_back())
        place = place_of_member(emitter, place, members.back()->right, members.back()->type);
    return place;
}

VALUE read_register(EMITTER& emitter, uint32_t variable) {
    return {read_variable(emitter.ssa, variable), emitter.ssa.variables[variable].type};
}

void write_register(EMITTER& emitter, uint32_t variable, const VALUE& value) {
    const REGISTER_VARIABLE& known = emitter.ssa.variables[variable];
    if (value.type != known.type)
        refuse(emitter.module, "variable '%s' gets a value of another type", known.symbol->name);
    if (!emitter.open) return;
    write_variable(emitter.ssa, variable, value.text);
    put(emitter.body, debug_value(emitter.module.debug, known.symbol, known.debug,
                                  joined(ltype_text(value.type), " ", value.text)));
}

VALUE load(EMITTER& emitter, const PLACE& place) {
    LTYPE type = ltype_of(place.type);
    if (type == LTYPE::MEMORY && place.variable != NO_REGISTER_VARIABLE)
        return spill_structure(emitter, place.variable, place.type);
    if (type == LTYPE::MEMORY) return {place.address, type, place.align, place.is_volatile};
    if (type == LTYPE::VOID) return {};
    if (type == LTYPE::NONE) refuse(emitter.module, "values of type %s", type_text(place.type).c_str());
    if (place.variable != NO_REGISTER_VARIABLE) return read_register(emitter, place.variable);
    if (place.width) return extract_field(emitter, place, load_container(emitter, place), place.shift);
    return operation(emitter, type, "load ", place.is_volatile ? "volatile " : "", ltype_text(type), ", ptr ",
                     place.address, ", align ", place.align);
}

VALUE store(EMITTER& emitter, const PLACE& place, const VALUE& value) {
    if (place.width) return store_field(emitter, place, value);
    if (value.type == LTYPE::MEMORY || value.type == LTYPE::VOID)
        refuse(emitter.module, "a value that is no scalar is stored");
    if (place.variable != NO_REGISTER_VARIABLE) return write_register(emitter, place.variable, value), value;
    line(emitter, "store ", place.is_volatile ? "volatile " : "", ltype_text(value.type), " ", value.text,
         ", ptr ", place.address, ", align ", place.align);
    return value;
}

void store_structure(EMITTER& emitter, const PLACE& to, const VALUE& from) {
    const TYPE* type = type_strip(to.type);
    if (from.type != LTYPE::MEMORY) refuse(emitter.module, "a structure is assigned a value that is none");
    copy_memory(emitter, to.address, to.align, from.text, from.align ? from.align : type->align, type->size,
                to.is_volatile || from.is_volatile);
}

VALUE emit_assignment(EMITTER& emitter, const NODE* tree) {
    if (int32_t op = plain_operator(tree->op); op != OP_NOP) return compound_assignment(emitter, tree, op);
    if (tree->op != OP_ASG && tree->op != OP_STASG)
        refuse(emitter.module, "%s (opcode %d) cannot be translated", opcode_name(tree->op), tree->op);
    const bool copies_name = tree->left->op == OP_NAME && tree->right->op == OP_NAME;
    if (tree->op == OP_STASG && copies_name && tree->left->ref && tree->right->ref &&
        take_place_of_parameter(emitter, tree->left->symbol(), tree->right->symbol()))
        return load(emitter, emit_place(emitter, tree->left));
    PLACE place = emit_place(emitter, tree->left);
    if (ltype_of(place.type) == LTYPE::MEMORY) {
        if (place.variable != NO_REGISTER_VARIABLE)
            return assign_registers(emitter, place.variable, place.type, tree->right), VALUE();
        emit_structure_to(emitter, place, tree->right);
        return {place.address, LTYPE::MEMORY, place.align, place.is_volatile};
    }
    return store(emitter, place, emit_value_as(emitter, tree->right, place.type));
}

} // namespace pelorus
