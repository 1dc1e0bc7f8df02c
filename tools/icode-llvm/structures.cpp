// Structures whose scalars are values: they are put together where the calling convention wants an array, and
// stored where they become part of memory.
//
//     p = f()     %t1 = call [2 x float] @f()
//                 %t2 = extractvalue [2 x float] %t1, 0
//     g(p)        %t4 = insertvalue [2 x float] poison, float %x, 0
//                 %t5 = insertvalue [2 x float] %t4, float %y, 1
//
// An array has as many elements as the structure scalars; where it has other ones, everything goes through
// memory. What a call returns as an array does not, when it goes on as the same.
#include "emitter.h"

namespace pelorus {

namespace {

STRUCTURE_LEAVES leaves_of(EMITTER& emitter, const TYPE* type) {
    STRUCTURE_LEAVES leaves;
    if (!find_leaves(type, leaves))
        refuse(emitter.module, "structure %s is in registers", type_text(type).c_str());
    return leaves;
}

// The array's elements: as many as the scalars, and as long. NONE: it has others.
LTYPE element_of(const PASSING& passing, const STRUCTURE_LEAVES& leaves) {
    if (passing.bytes != leaves.count * leaves.size) return LTYPE::NONE;
    const size_t at = passing.type.find(" x ");
    const std::string element = at == std::string::npos ? passing.type : passing.type.substr(at + 3);
    for (const LTYPE type : {LTYPE::FLOAT, LTYPE::DOUBLE, LTYPE::I32, LTYPE::I64})
        if (element == joined(ltype_text(type), at == std::string::npos ? "" : "]"))
            return ltype_bits(type) == 8 * leaves.size ? type : LTYPE::NONE;
    return LTYPE::NONE;
}

// The same bits in another type.
VALUE same_bits(EMITTER& emitter, const VALUE& value, LTYPE to) {
    if (value.type == to) return value;
    if (!ltype_is_floating(value.type) && !ltype_is_floating(to)) return reshape(emitter, value, false, to);
    const LTYPE word = ltype_is_floating(to) ? ltype_integer(ltype_bits(to)) : value.type;
    const VALUE bits = ltype_is_floating(to) ? same_bits(emitter, value, word) : value;
    const LTYPE result = ltype_is_floating(to) ? to : ltype_integer(ltype_bits(bits.type));
    const VALUE cast = operation(emitter, result, "bitcast ", ltype_text(bits.type), " ", bits.text, " to ",
                                 ltype_text(result));
    return same_bits(emitter, cast, to);
}

void unpack(EMITTER& emitter, uint32_t variable, const STRUCTURE_LEAVES& leaves, const PASSING& passing,
            const std::string& array) {
    const LTYPE element = element_of(passing, leaves);
    for (uint32_t i = 0; i < leaves.count; i++) {
        VALUE value = {array, element};
        if (passing.type[0] == '[')
            value = operation(emitter, element, "extractvalue ", passing.type, " ", array, ", ", i);
        write_register(emitter, variable + i, same_bits(emitter, value, ltype_of(leaves.leaves[i].type)));
    }
}

VALUE pack(EMITTER& emitter, uint32_t variable, const STRUCTURE_LEAVES& leaves, const PASSING& passing) {
    const LTYPE element = element_of(passing, leaves);
    VALUE array = {"poison", LTYPE::MEMORY};
    for (uint32_t i = 0; i < leaves.count; i++) {
        const VALUE value = same_bits(emitter, read_register(emitter, variable + i), element);
        if (passing.type[0] != '[') return {value.text, LTYPE::MEMORY};
        array = operation(emitter, LTYPE::MEMORY, "insertvalue ", passing.type, " ", array.text, ", ",
                          ltype_text(element), " ", value.text, ", ", i);
    }
    return array;
}

PLACE leaf_place(EMITTER& emitter, const PLACE& whole, const STRUCTURE_LEAF& leaf) {
    PLACE place = whole;
    place.address = offset_address(emitter, whole.address, leaf.offset);
    place.align = common_alignment(whole.align, leaf.offset);
    place.type = leaf.type;
    return place;
}

void copy_registers(EMITTER& emitter, uint32_t to, uint32_t from, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) write_register(emitter, to + i, read_register(emitter, from + i));
}

void load_registers(EMITTER& emitter, uint32_t variable, const STRUCTURE_LEAVES& leaves, const PLACE& from) {
    for (uint32_t i = 0; i < leaves.count; i++)
        write_register(emitter, variable + i, load(emitter, leaf_place(emitter, from, leaves.leaves[i])));
}

// The parameter that the tree names and that comes as an array, without a slot.
const LOCAL* array_parameter(const EMITTER& emitter, const NODE* tree) {
    if (tree->op != OP_NAME || !tree->ref) return nullptr;
    const auto found = emitter.locals.find(tree->symbol());
    return found != emitter.locals.end() && found->second.is_value ? &found->second : nullptr;
}

} // namespace

std::vector<LTYPE> leaf_types(EMITTER& emitter, const TYPE* type) {
    const STRUCTURE_LEAVES leaves = leaves_of(emitter, type);
    std::vector<LTYPE> types;
    types.reserve(leaves.count);
    for (uint32_t i = 0; i < leaves.count; i++) types.push_back(ltype_of(leaves.leaves[i].type));
    return types;
}

bool travels_as_leaves(const TYPE* type, const PASSING& passing) {
    STRUCTURE_LEAVES leaves;
    return passing.how == PASSED::AS_ARRAY && find_leaves(type, leaves) &&
           element_of(passing, leaves) != LTYPE::NONE;
}

uint32_t register_of_member(EMITTER& emitter, const PLACE& base, int64_t offset) {
    return base.variable + uint32_t(offset) / leaves_of(emitter, base.type).size;
}

uint32_t register_structure(const EMITTER& emitter, const NODE* tree) {
    const bool is_structure = tree->op == OP_NAME && tree->ref && type_is_csu(tree->symbol()->declared_type);
    return is_structure ? register_variable(emitter.ssa, tree->symbol()) : NO_REGISTER_VARIABLE;
}

void store_registers(EMITTER& emitter, const PLACE& to, uint32_t variable, const TYPE* type) {
    const STRUCTURE_LEAVES leaves = leaves_of(emitter, type);
    for (uint32_t i = 0; i < leaves.count; i++)
        store(emitter, leaf_place(emitter, to, leaves.leaves[i]), read_register(emitter, variable + i));
}

VALUE spill_structure(EMITTER& emitter, uint32_t variable, const TYPE* type) {
    const uint32_t align = type_strip(type)->align;
    const PLACE slot = {.address = temporary_slot(emitter, ltype_bytes(type_strip(type)->size), align),
                        .type = type_strip(type),
                        .align = align};
    store_registers(emitter, slot, variable, type);
    return {slot.address, LTYPE::MEMORY, align};
}

void assign_registers(EMITTER& emitter, uint32_t variable, const TYPE* type, const NODE* tree) {
    const NODE* value = emit_before_value(emitter, tree);
    const STRUCTURE_LEAVES leaves = leaves_of(emitter, type);
    if (const uint32_t from = register_structure(emitter, value); from != NO_REGISTER_VARIABLE)
        return copy_registers(emitter, variable, from, leaves.count);
    if (const LOCAL* parameter = array_parameter(emitter, value))
        return unpack(emitter, variable, leaves, pass_argument(type, emitter.variadic), parameter->text);
    const STRUCTURE_VALUE found = emit_structure(emitter, value);
    if (found.array.how == PASSED::AS_ARRAY && element_of(found.array, leaves) != LTYPE::NONE)
        return unpack(emitter, variable, leaves, found.array, found.value.text);
    const VALUE object = structure_in_memory(emitter, found, value->type);
    load_registers(emitter, variable, leaves, place_of_object(object, value->type));
}

VALUE emit_as_array(EMITTER& emitter, const NODE* tree, const PASSING& passing, const TYPE* type) {
    const NODE* value = emit_before_value(emitter, tree);
    const uint32_t variable = register_structure(emitter, value);
    if (variable != NO_REGISTER_VARIABLE && travels_as_leaves(type, passing))
        return pack(emitter, variable, leaves_of(emitter, type), passing);
    const STRUCTURE_VALUE found = emit_structure(emitter, value);
    if (found.array.how == PASSED::AS_ARRAY && found.array.type == passing.type) return found.value;
    return load_as_array(emitter, passing, structure_in_memory(emitter, found, type), type_strip(type)->size);
}

void emit_structure_to(EMITTER& emitter, const PLACE& to, const NODE* tree) {
    const NODE* value = emit_before_value(emitter, tree);
    if (const uint32_t from = register_structure(emitter, value); from != NO_REGISTER_VARIABLE)
        return store_registers(emitter, to, from, value->type);
    const STRUCTURE_VALUE found = emit_structure(emitter, value);
    const PASSING& array = found.array;
    if (array.how == PASSED::AS_ARRAY && !to.is_volatile && array.bytes == type_strip(to.type)->size)
        return line(emitter, "store ", array.type, " ", found.value.text, ", ptr ", to.address, ", align ",
                    to.align);
    store_structure(emitter, to, structure_in_memory(emitter, found, value->type));
}

} // namespace pelorus
