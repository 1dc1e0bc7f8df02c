// Integrable definitions: a body that was just read is copied into the file zone. See inline_definition.h.
//
//   1. Each variable gets a copy; the trees name the copies.
//   2. The first statement, which copies the parameters into their homes, is taken apart: a call binds the
//      arguments instead. The others are copied in order, their labels numbered from 1.
//   3. What every expansion asks is found out once: which homes nobody changes, whether the body is one
//      value, and whether anything but its own variables is changed.
#include <algorithm>
#include <cstring>
#include <vector>

#include "ipa/inline.h"
#include "ipa/inline_definition.h"
#include "ir/call.h"
#include "ir/funinfo.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

// --- Copies of trees ---

namespace {

PRAGMA* copied_pragma(const PRAGMA* pragma, bool local) {
    auto* copy = zone_new<PRAGMA>(local);
    copy->kind = pragma->kind;
    copy->count = pragma->count;
    copy->strings = zone_array<const char*>(local, pragma->count);
    for (uint32_t i = 0; i < pragma->count; ++i) copy->strings[i] = zone_string(local, pragma->strings[i]);
    return copy;
}

void copy_payload(NODE* node, bool local) {
    if (node->op == OP_FCON) {
        auto* number = zone_new<TARGET_FLOAT>(local);
        *number = *node->floating();
        node->ref = number;
        node->text = nullptr; // formed again when it is asked for
    } else if (node->op == OP_PPRAGMA) {
        node->ref = copied_pragma(static_cast<const PRAGMA*>(node->ref), local);
    } else if (node->op == OP_SCON) {
        node->text = zone_bytes(local, node->text, static_cast<size_t>(node->value_lo));
    } else if (node->op == OP_ASM) {
        node->text = zone_string(local, node->text);
    }
}

} // namespace

NODE* copy_into_zone(const NODE* tree, bool local) {
    const bool usual = node_factory.local;
    node_factory.local = local;
    NODE* copy = copy_tree(tree);
    node_factory.local = usual;
    for_each_node(copy, [&](NODE* node) { copy_payload(node, local); });
    return copy;
}

uint32_t blocks_of(const NODE* statement) {
    switch (statement->op) {
    case OP_LABELDEF:
    case OP_IF:
    case OP_SWITCH:
    case OP_BRANCH:
    case OP_RETURN:
    case OP_URETURN: return 1;
    default: return 0;
    }
}

namespace {

struct DEFINER {
    INLINE_DEFINITION* definition;
    std::vector<uint32_t> labels; // new numbers by old ones; 0: none yet
};

// --- 1: the variables ---

SYMBOL* copied_local(const SYMBOL* symbol) {
    auto* copy = zone_new<SYMBOL>(false);
    *copy = *symbol;
    copy->name = zone_string(false, symbol->name);
    copy->next = nullptr;
    copy->pragmas = nullptr; // what they say is for whoever declares the variable
    copy->init_trees = nullptr;
    copy->replacement = nullptr;
    copy->local = 0;
    copy->reference_count = copy->assignment_count = 0;
    copy->address_exposed = 0;
    return copy;
}

bool is_variable(const SYMBOL* symbol) { return symbol->storage_class != SC_TYPEDEF; }

void copy_locals(DEFINER& definer) {
    INLINE_DEFINITION& definition = *definer.definition;
    definition.local_count = static_cast<uint32_t>(function_symbols.serial);
    definition.locals = zone_array<SYMBOL*>(false, definition.local_count);
    for_each_function_symbol([&](const SYMBOL* symbol) {
        if (is_variable(symbol)) definition.locals[symbol->serial] = copied_local(symbol);
    });
}

SYMBOL* local_of(const DEFINER& definer, const SYMBOL* symbol) {
    return definer.definition->locals[symbol->serial];
}

// --- 2: the statements ---

uint32_t new_label(DEFINER& definer, int32_t old) {
    const auto index = static_cast<size_t>(old);
    if (index >= definer.labels.size()) definer.labels.resize(index + 1);
    if (!definer.labels[index]) definer.labels[index] = ++definer.definition->labels;
    return definer.labels[index];
}

NODE* defined_tree(DEFINER& definer, const NODE* tree) {
    NODE* copy = copy_into_zone(tree, false);
    for_each_node(copy, [&](NODE* node) {
        if (node->op == OP_NAME && node->symbol() && node->symbol()->local)
            node->set_symbol(local_of(definer, node->symbol()));
        if (node->op == OP_LABEL || node->op == OP_LABELDEF)
            node->set_label(new_label(definer, node->value_lo));
    });
    return copy;
}

void add_definition_cell(DEFINER& definer, const STMT* cell, STMT**& end) {
    auto* copy = zone_new<STMT>(false);
    *copy = {defined_tree(definer, cell->tree), cell->position, nullptr};
    *end = copy;
    end = &copy->next;
    definer.definition->blocks += blocks_of(copy->tree);
}

void copy_statements(DEFINER& definer) {
    std::vector<const STMT*> cells; // the last one first, as the function has them
    const STMT* copies = parameter_copies();
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        if (cell != copies) cells.push_back(cell);
    STMT** end = &definer.definition->statements;
    for (auto cell = cells.rbegin(); cell != cells.rend(); ++cell) add_definition_cell(definer, *cell, end);
    if (function.return_symbol) definer.definition->return_symbol = local_of(definer, function.return_symbol);
}

// --- The parameters ---

void copy_parameters(DEFINER& definer) {
    INLINE_DEFINITION& definition = *definer.definition;
    std::vector<const SYMBOL*> symbols;
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        symbols.push_back(symbol);
    definition.parameter_count = static_cast<uint32_t>(symbols.size());
    definition.parameters = zone_array<INLINE_PARAMETER>(false, symbols.size());
    const STMT* cell = parameter_copies();
    const NODE* chain = cell ? cell->tree : nullptr;
    for (size_t i = 0; i < symbols.size(); ++i) {
        NODE* copy = defined_tree(definer, copy_of_parameter(chain, symbols[i]));
        definition.parameters[i] = {local_of(definer, symbols[i]), copy->left->symbol(), copy, false};
    }
}

// --- 3: what expansions ask ---

bool changes_others(const TREE_ACCESS& access) {
    if (access.is_volatile) return true;
    return is_definition(access) && !(access.symbol && access.symbol->level > 0);
}

void note_access(INLINE_DEFINITION& definition, const TREE_ACCESS& access) {
    if (changes_others(access)) definition.is_quiet = false;
    SYMBOL* symbol = access.symbol;
    if (!symbol || symbol->level == FILE_SCOPE) return;
    if (is_definition(access)) symbol->assignment_count++;
}

void note_node(INLINE_DEFINITION& definition, const NODE* node) {
    if (node->op == OP_NAME && node->symbol() && node->symbol()->level > 0) node->symbol()->reference_count++;
    if (node->op == OP_FIELD && node->field_info && node->field_info->flag) definition.has_bitfields = true;
    if (node_has_effect(node) && opcode_fact(node->op).kind == OPCODE_CLASS::CALLS)
        definition.is_quiet = false;
}

bool is_settled(const INLINE_PARAMETER& parameter) {
    const SYMBOL* home = parameter.home;
    return !home->address_exposed && !home->assignment_count && !type_is_volatile(home->declared_type);
}

void note_accesses(INLINE_DEFINITION& definition) {
    definition.is_quiet = true;
    for (STMT* cell = definition.statements; cell; cell = cell->next) {
        for_each_access(cell->tree, [&](const TREE_ACCESS& access) { note_access(definition, access); });
        for_each_node(cell->tree, [&](const NODE* node) { note_node(definition, node); });
        for_each_exposed(cell->tree, [](SYMBOL* symbol) {
            if (symbol->level > FILE_SCOPE) symbol->address_exposed = 1;
        });
        if (cell->tree->op == OP_ASM && !is_comment(cell->tree)) definition.is_quiet = false;
    }
    for (uint32_t i = 0; i < definition.parameter_count; ++i)
        definition.parameters[i].is_settled = is_settled(definition.parameters[i]);
}

bool is_settled_home(const INLINE_DEFINITION& definition, const SYMBOL* symbol) {
    for (uint32_t i = 0; i < definition.parameter_count; ++i)
        if (definition.parameters[i].home == symbol) return definition.parameters[i].is_settled;
    return false;
}

// The value names nothing local but parameters that stay what they were, and calls nothing: calls are met one
// by one, those of copies too.
bool is_simple_value(const INLINE_DEFINITION& definition, const NODE* value) {
    return !any_node(value, [&](const NODE* node) {
        if (is_call(node)) return true;
        const SYMBOL* symbol = node->op == OP_NAME ? node->symbol() : nullptr;
        return symbol && symbol->level > 0 && !is_settled_home(definition, symbol);
    });
}

NODE* only_value(const INLINE_DEFINITION& definition) {
    STMT* cell = definition.statements;
    if (!cell || cell->tree->op != OP_RETURN) return nullptr;
    NODE* value = cell->tree->right;
    const bool fits = type_is_scalar(value->type) && !tree_has_effects(value);
    return fits && is_simple_value(definition, value) ? value : nullptr;
}

const NODE* plain_local(const NODE* tree) {
    const bool is_local = tree->op == OP_NAME && tree->symbol() && tree->symbol()->level == BODY_LEVEL;
    return is_local && !type_qualifiers(tree->symbol()->declared_type) ? tree : nullptr;
}

// A variable that all returns name can be where the value is wanted, without a copy.
SYMBOL* returned_variable(const INLINE_DEFINITION& definition) {
    SYMBOL* variable = nullptr;
    for (const STMT* cell = definition.statements; cell; cell = cell->next) {
        if (cell->tree->op == OP_URETURN) return nullptr;
        if (cell->tree->op != OP_RETURN) continue;
        const NODE* name = plain_local(cell->tree->right);
        if (!name || (variable && variable != name->symbol())) return nullptr;
        variable = name->symbol();
    }
    return variable;
}

void trace_definition(const INLINE_DEFINITION& definition, const char* name) {
    if (!debug_on()) return;
    trace("\nINTEGRABLE DEFINITION FOR FUNCTION %s()\n\n", name);
    for (uint32_t i = 0; i < definition.local_count; ++i)
        if (const SYMBOL* symbol = definition.locals[i])
            trace("         LOCAL SYMBOL (LEVEL %d):  %s\n", symbol->level, symbol->name);
}

} // namespace

INLINE_DEFINITION* make_inline_definition() {
    DEFINER definer{zone_new<INLINE_DEFINITION>(false), {}};
    INLINE_DEFINITION& definition = *definer.definition;
    definition.size = function.size_units;
    copy_locals(definer);
    copy_statements(definer);
    copy_parameters(definer);
    note_accesses(definition);
    definition.value = only_value(definition);
    definition.returned = returned_variable(definition);
    return &definition;
}

namespace {

// The one who wrote "inline" is told that it means nothing.
void report_not_integrable(const FUNINFO& info) {
    if (!(info.symbol->flags & SF_INLINE)) return;
    trace("\n\t!!! %s is not integrable.\n", info.name);
    fprintf(stderr, "\"%s\", line %ld: Warning - Function %s() cannot be inlined.\n",
            position_file(info.position), static_cast<long>(info.position.line), info.name);
    pelorus::info("\n>>> Warning: 'inline' declaration for %s() must be ignored.\n\n", info.name);
}

} // namespace

bool prepare_inline(FUNINFO& info) {
    stand_at(0, info.position.line);
    if (const char* why = why_not_integrable(info)) {
        refuse(SITE_inline_call, why, "{}", info.name);
        info.flags = (info.flags & ~uint32_t{FUN_is_inlined}) | FUN_cannot_inline;
        info.definition = nullptr;
        report_not_integrable(info);
        return false;
    }
    info.definition = make_inline_definition();
    trace_definition(*info.definition, info.name);
    return true;
}

} // namespace pelorus
