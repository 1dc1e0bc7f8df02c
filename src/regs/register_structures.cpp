// See register_structures.h.
#include "regs/register_structures.h"

#include <string>
#include <unordered_map>

#include "cfg/bb.h"
#include "ir/call.h"
#include "ir/register_structure.h"
#include "ir/symbol.h"
#include "ir/walk.h"
#include "support/decision.h"
#include "support/settings.h"

namespace pelorus {

namespace {

// Why a structure stays in memory; null: no reason was found.
using REASONS = std::unordered_map<const SYMBOL*, const char*>;

REASONS structures_of_function() {
    REASONS reasons;
    for (const SYMBOL* symbol = function_symbols.variables.first; symbol; symbol = symbol->next) {
        STRUCTURE_LEAVES leaves;
        if (symbol->storage_class != SC_AUTO || symbol->replaced ||
            !find_leaves(symbol->declared_type, leaves))
            continue;
        const bool is_seen = settings.symbolic_debug && symbol->position.line != 0;
        reasons[symbol] = is_seen ? "a debugger must see the variable" : nullptr;
    }
    return reasons;
}

void find_reasons(const NODE* tree, REASONS& reasons) {
    for_each_name_in_memory(tree, [&](const NODE* name) {
        const auto found = reasons.find(name->symbol());
        if (found != reasons.end()) found->second = "it is needed in memory";
    });
    if (any_node(tree, [](const NODE* node) { return is_call(node) && may_return_twice(node); }))
        for (auto& [symbol, reason] : reasons) reason = "a call may return twice";
}

REASONS find_all_reasons() {
    REASONS reasons = structures_of_function();
    if (reasons.empty()) return reasons;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next) find_reasons(cell->tree, reasons);
    return reasons;
}

} // namespace

std::unordered_set<const SYMBOL*> structures_for_registers() {
    std::unordered_set<const SYMBOL*> structures;
    for (const auto& [symbol, reason] : find_all_reasons())
        if (!reason) structures.insert(symbol);
    return structures;
}

void place_structures_in_registers() {
    const REASONS reasons = find_all_reasons();
    for (SYMBOL* symbol = function_symbols.variables.first; symbol; symbol = symbol->next) {
        const auto found = reasons.find(symbol);
        if (found == reasons.end()) continue;
        stand_at(0, symbol->position.line);
        if (found->second)
            refuse(SITE_structure_in_registers, found->second, "{}", symbol->name);
        else if (change(SITE_structure_in_registers, "{}", symbol->name))
            symbol->storage_class = SC_REGISTER;
    }
}

} // namespace pelorus
