// Register allocation: which variables live in registers.
//
// 1. Candidates that something but their own NAME reaches stay in memory: the address of one may be lent to a
//    call, and a NAME may be a volatile access. With -g a debugger looks for variables of the source there.
// 2. Each of the others gets the storage class of a variable in a register, which has no place in memory. The
//    code generator makes a value of it, and spills what does not fit.
//
// Passes behind this one still take such variables for candidates.
#include "regs/allocate_regs.h"

#include <vector>

#include "cfg/bb.h"
#include "cfg/candidate_fact.h"
#include "ir/symbol.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"

namespace pelorus {

namespace {

// --- 1: what stays in memory ---

// Why candidates stay in memory, by their numbers; null: they need not.
using REASONS = std::vector<const char*>;

void note_access(REASONS& reasons, const TREE_ACCESS& access) {
    if (!access.symbol || access.symbol->candidate < 0) return;
    const char*& why = reasons[candidate_number(access.symbol)];
    if (access.kind == ACCESS::LEND) why = "a call gets its address";
    if (access.name && type_is_volatile(access.name->type)) why = "an access is volatile";
}

const char* why_declaration_stays(const SYMBOL* symbol) {
    const TYPE* type = symbol->type;
    if (!type_is_integer(type) && !type_is_floating(type) && !type_is_pointer(type))
        return "no register holds its type";
    // A debugger may look for the variable. Temporaries have no place in the source.
    if (settings.symbolic_debug && symbol->position.line != 0) return "a debugger must see the variable";
    return nullptr;
}

REASONS reasons_for_memory() {
    REASONS reasons(static_cast<size_t>(function_candidates.count));
    for_each_candidate(function_candidates, [&](const SYMBOL* symbol) {
        reasons[candidate_number(symbol)] = why_declaration_stays(symbol);
    });
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(static_cast<const NODE*>(cell->tree),
                            [&](const TREE_ACCESS& access) { note_access(reasons, access); });
    return reasons;
}

// --- 2: variables in registers ---

void place_variable(SYMBOL* symbol, const char* why_memory) {
    stand_at(0, symbol->position.line);
    if (why_memory) {
        refuse(SITE_variable_in_register, why_memory, "{}", symbol->name);
    } else if (change(SITE_variable_in_register, "{}", symbol->name)) {
        symbol->storage_class = SC_REGISTER;
    }
}

} // namespace

bool allocate_regs() {
    trace_entering("allocate_regs");
    const CHANGE_MARK mark;
    const REASONS reasons = reasons_for_memory();
    for_each_candidate(function_candidates,
                       [&](SYMBOL* symbol) { place_variable(symbol, reasons[candidate_number(symbol)]); });
    return mark.any();
}

} // namespace pelorus
