// Instructions, blocks and stack slots; see emitter.h.
#include "emitter.h"

#include <algorithm>
#include <cstring>

#include "icode/format.h"

namespace pelorus {

// Homes come first in the body.
uint32_t argument_number(const SYMBOL* variable) {
    if (variable->level != BODY_LEVEL) return 0;
    const SYMBOL* home = function_symbols.variables.first;
    uint32_t number = 1;
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol && home; symbol = symbol->next) {
        if (home == variable && !strcmp(home->name, symbol->name)) return number;
        home = home->next;
        number++;
    }
    return 0;
}

std::string new_block(EMITTER& emitter) { return joined("b", emitter.blocks++); }

void open_block(EMITTER& emitter, const std::string& name, bool is_label) {
    if (emitter.open) branch(emitter, name);
    put(emitter.body, name, ":\n", enter_block(emitter.ssa, name, is_label));
    emitter.block = name;
    emitter.open = true;
}

void branch(EMITTER& emitter, const std::string& target) {
    line(emitter, "br label %", target);
    if (emitter.open) note_edge(emitter.ssa, target);
    emitter.open = false;
}

void branch_if(EMITTER& emitter, const VALUE& condition, const std::string& yes, const std::string& no) {
    line(emitter, "br i1 ", condition.text, ", label %", yes, ", label %", no);
    if (emitter.open)
        for (const std::string& target : {yes, no}) note_edge(emitter.ssa, target);
    emitter.open = false;
}

std::string label_block(EMITTER& emitter, int32_t number) {
    if (number < 1 || uint32_t(number) > icode_limits.labels)
        refuse(emitter.module, "label number %d", number);
    if (emitter.labels.size() <= size_t(number)) emitter.labels.resize(size_t(number) + 1);
    emitter.labels[size_t(number)] |= LABEL_NAMED;
    return joined("L", number);
}

std::string new_slot(EMITTER& emitter, const std::string& type, uint32_t align, const std::string& name) {
    put(emitter.slots, "  ", name, " = alloca ", type, ", align ", std::max(align, 1u), "\n");
    return name;
}

std::string temporary_slot(EMITTER& emitter, const std::string& type, uint32_t align) {
    return new_slot(emitter, type, align, joined("%t", emitter.values++));
}

const LOCAL& local_slot(EMITTER& emitter, const SYMBOL* symbol) {
    auto [entry, is_new] = emitter.locals.try_emplace(symbol);
    LOCAL& local = entry->second;
    if (!is_new) return local;
    const TYPE* type = type_strip(symbol->declared_type);
    LTYPE scalar = ltype_of(type);
    if (scalar == LTYPE::NONE || scalar == LTYPE::VOID || type_is_function(type))
        refuse(emitter.module, "variable '%s' has a type that cannot be translated", symbol->name);
    local.align = std::max({symbol->align, type->align, 1u});
    std::string name = llvm_name('%', joined(symbol->name, ".", emitter.locals.size()));
    bool memory = scalar == LTYPE::MEMORY;
    local.text =
        new_slot(emitter, memory ? ltype_bytes(std::max(symbol->size, type->size)) : ltype_text(scalar),
                 local.align, name);
    local.is_value = false;
    put(emitter.slots,
        debug_place(emitter.module.debug, symbol,
                    debug_variable(emitter.module.debug, symbol, argument_number(symbol)), local.text));
    return local;
}

bool take_place_of_parameter(EMITTER& emitter, const SYMBOL* home, const SYMBOL* parameter) {
    if (parameter->level != PARAMETER_LEVEL || !argument_number(home) || emitter.locals.contains(home) ||
        is_in_register(home) || strcmp(home->name, parameter->name) != 0)
        return false;
    const TYPE* type = type_strip(home->declared_type);
    const auto place = emitter.locals.find(parameter);
    if (place == emitter.locals.end() || place->second.is_value || type_is_volatile(home->declared_type) ||
        home->size > type->size || place->second.align < std::max({home->align, type->align, 1u}))
        return false;
    const LOCAL local = place->second;
    emitter.locals[home] = local;
    put(emitter.slots,
        debug_place(emitter.module.debug, home,
                    debug_variable(emitter.module.debug, home, argument_number(home)), local.text));
    return true;
}

TREE_LIST list_items(const NODE* list) {
    TREE_LIST items;
    for (; list->op == OP_COMMA; list = list->left) items.push_back(list->right);
    items.push_back(list);
    std::reverse(items.begin(), items.end());
    return items;
}

std::string integer_text(int64_t value) { return joined(value); }

VALUE integer_value(LTYPE type, int64_t value) { return {integer_text(value), type}; }

uint32_t common_alignment(uint32_t align, int64_t offset) {
    uint64_t bits = uint64_t(offset) | align;
    return bits ? uint32_t(bits & -bits) : 1;
}

std::string offset_address(EMITTER& emitter, const std::string& address, int64_t offset) {
    if (offset == 0) return address;
    return operation(emitter, LTYPE::PTR, "getelementptr i8, ptr ", address, ", i32 ", offset).text;
}

void copy_memory(EMITTER& emitter, const std::string& to, uint32_t to_align, const std::string& from,
                 uint32_t from_align, uint32_t bytes, bool is_volatile) {
    if (bytes == 0) return;
    declare(emitter.module, "declare void @llvm.memcpy.p0.p0.i32(ptr, ptr, i32, i1)");
    line(emitter, "call void @llvm.memcpy.p0.p0.i32(ptr align ", to_align, " ", to, ", ptr align ",
         from_align, " ", from, ", i32 ", bytes, ", i1 ", is_volatile ? "true" : "false", ")");
}

} // namespace pelorus
