// Register allocation: which variables live in registers.
//
// 1. Candidates that something but their own NAME reaches stay in memory: the address of one may be lent to a
//    call, and a NAME may be a volatile access. With -g a debugger looks for variables of the source there.
// 2. Each of the others gets the storage class of a variable in a register, which has no place in memory. The
//    code generator makes a value of it, and spills what does not fit.
// 3. Registers are given out by what they are worth (assign_registers.h), over live ranges (live_ranges.h)
//    and with the depth of loops (loop_nesting.h). The register stands with the symbol, as a hint. Not at
//    level 0, where nobody asks for it.
// 4. So do small structures that are nowhere needed in memory (register_structures.h).
// 5. How many registers each loop wants goes to the trace and the information file.
//
// Passes behind this one still take such variables for candidates.
#include "regs/allocate_regs.h"

#include <vector>

#include "cfg/bb.h"
#include "cfg/candidate_fact.h"
#include "ir/symbol.h"
#include "regs/assign_registers.h"
#include "regs/register_structures.h"
#include "support/decision.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"

namespace pelorus {

namespace {

struct TUNING {
    // Variables for which no register is free are values all the same, and the code generator spills what it
    // wants, where it wants. With them in memory instead (`--debug=spill`) programs execute, at level 2,
    // these instructions for each that they execute now: bzip2 0.961, mawk 1.000, zlib 1.007, Lua 1.051; the
    // kernels of bench/pressure.c 0.84 to 1.05, and 0.84 to 1.09 at level 1; the examples the same, since
    // two of their 800 variables are without a register.
    bool leaves_spills = true;
};
constexpr TUNING tuning;

// --- 1: what stays in memory ---

const char* why_declaration_stays(const SYMBOL* symbol) {
    const TYPE* type = symbol->type;
    if (!type_is_integer(type) && !type_is_floating(type) && !type_is_pointer(type))
        return "no register holds its type";
    // A debugger may look for the variable. Temporaries have no place in the source.
    if (settings.symbolic_debug && symbol->position.line != 0) return "a debugger must see the variable";
    return nullptr;
}

std::vector<LIVE_RANGE> variables_of_function() {
    std::vector<LIVE_RANGE> variables(static_cast<size_t>(function_candidates.count));
    for_each_candidate(function_candidates, [&](SYMBOL* symbol) {
        LIVE_RANGE& variable = variables[candidate_number(symbol)];
        variable.symbol = symbol;
        variable.why_memory = why_declaration_stays(symbol);
    });
    return variables;
}

// What accesses say, where live ranges are not looked for.
void find_reasons(std::vector<LIVE_RANGE>& variables) {
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(static_cast<const NODE*>(cell->tree), [&](const TREE_ACCESS& access) {
                if (!access.symbol || access.symbol->candidate < 0) return;
                if (const char* why = why_memory(access))
                    variables[candidate_number(access.symbol)].why_memory = why;
            });
}

// --- 2 and 3: what the others get ---

struct ASSIGNED_REGISTER {
    REGISTER_CLASS kind;
    int32_t unit;
};
void append_text(std::string& text, const ASSIGNED_REGISTER& assigned) {
    if (assigned.unit != NO_UNIT)
        text += ", " + register_name(assigned.kind, assigned.unit);
    else if (settings.optimization_level > 0)
        text += ", for which no register is free";
}

bool leaves_spills() { return tuning.leaves_spills && !has_debug_switch("spill"); }

void place_variable(const LIVE_RANGE& range, int32_t unit) {
    SYMBOL* symbol = range.symbol;
    stand_at(0, symbol->position.line);
    if (range.why_memory) {
        refuse(SITE_variable_in_register, range.why_memory, "{}", symbol->name);
        return;
    }
    if (unit == NO_UNIT && !leaves_spills()) {
        refuse(SITE_variable_in_register, "no register is free", "{}", symbol->name);
        return;
    }
    if (!change(SITE_variable_in_register, "{}{}", symbol->name, ASSIGNED_REGISTER{range.kind, unit})) return;
    symbol->storage_class = SC_REGISTER;
    symbol->fifth = unit == NO_UNIT ? 0 : register_hint(range.kind, unit);
}

// --- 5: what is said ---

void report_loops(const LIVE_RANGES& ranges, const LOOP_NESTING& nesting) {
    if (!debug_on() && !trace_state.info_output) return;
    const std::vector<PRESSURE> pressure = pressure_of_loops(ranges, nesting);
    for (size_t number = 1; number < nesting.blocks.size(); number++) {
        if (!nesting.is_header[number]) continue;
        constexpr char format[] = "Loop of %s() at line %u, depth %d: variables want %d of %d integer "
                                  "registers and %d of %d floating ones\n";
        const auto& units = pressure[number].units;
        const auto print = [&](void (*to)(const char*, ...)) {
            to(format, run.current_function_name, nesting.blocks[number]->last_stmt->position.line,
               nesting.depth[number], units[INTEGER_FILE], units_of(INTEGER_FILE), units[FLOATING_FILE],
               units_of(FLOATING_FILE));
        };
        print(trace);
        print(info);
    }
}

} // namespace

bool allocate_regs() {
    trace_entering("allocate_regs");
    const CHANGE_MARK mark;
    std::vector<LIVE_RANGE> variables = variables_of_function();
    std::vector<int32_t> units(variables.size(), NO_UNIT);
    if (settings.optimization_level == 0) {
        find_reasons(variables);
    } else if (!variables.empty()) {
        build_facts(facts_of(FACT_live));
        const LOOP_NESTING nesting = find_loop_nesting();
        LIVE_RANGES ranges = find_live_ranges(std::move(variables), nesting);
        units = assign_registers(ranges);
        report_loops(ranges, nesting);
        variables = std::move(ranges.variables);
    }
    for (const LIVE_RANGE& variable : variables)
        if (variable.symbol) place_variable(variable, units[candidate_number(variable.symbol)]);
    place_structures_in_registers();
    return mark.any();
}

} // namespace pelorus
