// The pipeline; see pipeline.h.
//
// A row whose pass is not built has neither a function nor members: the runner names it on the trace and goes
// on. Every step leaves the function correct, so leaving one out costs speed of the compiled program and
// nothing else. Which rows must stand before which is a table of its own, checked when this file is compiled.
#include "driver/pipeline.h"

#include <iterator>
#include <string_view>

#include "cfg/bb.h"
#include "cfg/simplify.h"
#include "cfg/tail_recursion.h"
#include "driver/files.h"
#include "driver/graph_files.h"
#include "driver/options/option_sets.h"
#include "driver/verify.h"
#include "icode/function_writer.h"
#include "ir/funinfo.h"
#include "loops/hierarchy.h"
#include "loops/layout.h"
#include "regs/allocate_regs.h"
#include "regs/stack_sharing.h"
#include "scalar/assignments.h"
#include "scalar/expand_bitfields.h"
#include "scalar/explode_structs.h"
#include "scalar/statements.h"
#include "ssa/ssa.h"
#include "support/run.h"
#include "support/settings.h"

namespace pelorus {

namespace {

bool reset_function_state() {
    clear_flow_graph();
    return false;
}

// The predicate of the conditional-statement pass. Nothing makes conditional statements, so there is nothing
// for it to do.
bool has_conditional_statements() { return false; }

bool write_begin() {
    begin_function_output(*run_files.writer);
    return false;
}

void draw_layout();

// Writing takes the trees apart.
bool write_blocks() {
    draw_layout();
    end_function_verification();
    write_function_blocks(*run_files.writer);
    return true;
}

bool end_own_options() {
    restore_options();
    return false;
}

// clang-format off
constexpr PASS BUILDING[] = {
    {.name = "blocks", .key = "build_cfg", .need = NEED::NEEDED, .run = make_blocks_and_edges,
     .why = "makes blocks of the statements and edges of their branches"},
    {.name = "tail recursion", .key = "tail_recursion", .run = remove_tail_recursion,
     .why = "makes loops of calls of the function by itself; here, since a loop must be there when blocks are numbered"},
    {.name = "numbers", .key = "build_cfg", .need = NEED::NEEDED, .run = number_new_graph, .keeps = DFN_FACT,
     .why = "numbers the blocks depth-first and drops those that nothing reaches"},
};

constexpr PASS SSA_CONSTANTS[] = {
    {.name = "build_loop_hierarchy (0, 0, 0)", .key = "build_loop_hierarchy", .why = "loops, so that one without effects goes only when it ends. Without flags: no loop is to change yet. Runs with its first reader"},
    {.name = "construct_SSA_form",         .key = "construct_SSA_form",        .run = construct_SSA_form, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "gives each definition of a variable a version of its own"},
    {.name = "propagate_SSA_constants (1)", .key = "propagate_SSA_constants",  .run = propagate_and_fold, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "finds constants along the ways that can be taken, and folds branches"},
    {.name = "elim_dead_SSA_assignments",  .key = "elim_dead_SSA_assignments", .run = elim_dead_SSA_assignments, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "drops assignments that nothing with an effect depends on"},
    {.name = "deconstruct_SSA_form",       .key = "construct_SSA_form",        .need = NEED::NEEDED, .run = deconstruct_SSA_form, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "back to plain variables, without copies"},
};

constexpr PASS SSA_PROMOTION[] = {
    {.name = "build_loop_hierarchy (0, 0, 0)", .key = "build_loop_hierarchy", .why = "the loops over which scalars are kept in temporaries; anew, since folded branches took the last one. Without flags, as before. Runs with its first reader"},
    {.name = "construct_SSA_form",    .key = "construct_SSA_form", .why = "as before"},
    {.name = "promote, first round",  .key = "promote",            .why = "keeps scalars in memory in temporaries over regions"},
    {.name = "deconstruct_SSA_form",  .key = "construct_SSA_form", .why = "as before"},
    {.name = "construct_SSA_form",    .key = "construct_SSA_form", .why = "as before, over what the first round made"},
    {.name = "promote, second round", .key = "promote",            .why = "indirect accesses, whose addresses the first round made plain"},
    {.name = "deconstruct_SSA_form",  .key = "construct_SSA_form", .why = "as before"},
};

constexpr PASS DD_GROUP[] = {
    {.name = "build_loop_hierarchy (1, 0, 1)", .key = "build_loop_hierarchy", .gate = GATE::LEVEL_2, .run = prepare_loops, .needs = DFN_FACT, .keeps = LOOP_FACTS, .why = "dominators, loops and what controls them; tests move to the ends of loops. With flags, since loops are to be changed, and with a last rebuild, since those who change them ask for dominators"},
    {.name = "dependence transformations",     .key = "do_dd_optimizations", .why = "interchange, unrolling and the like, by the dependences between accesses"},
};

constexpr PASS GLOBAL_GROUP[] = {
    {.name = "copyprop (1)",        .key = "copyprop",            .gate = GATE::SEVERAL_BLOCKS, .why = "propagates copies and constants over joins, before expressions are compared"},
    {.name = "annotate_cfg",        .key = "gcse",                .gate = GATE::SEVERAL_BLOCKS, .why = "numbers expressions by value, for gcse"},
    {.name = "gcse",                .key = "gcse",                .gate = GATE::SEVERAL_BLOCKS, .why = "removes partial redundancies"},
    {.name = "build_loop_hierarchy (0, 0, 0)", .key = "build_loop_hierarchy", .gate = GATE::SEVERAL_BLOCKS, .why = "preheaders for restructure_loops. Without flags: tests are at the ends of loops already. Runs with its first reader"},
    {.name = "restructure_loops",   .key = "restructure_loops",   .gate = GATE::SEVERAL_BLOCKS, .why = "strength reduction and code motion, when what is invariant has a name"},
    {.name = "rename_symbols",      .key = "rename_symbols",      .gate = GATE::SEVERAL_BLOCKS, .run = rename_symbols, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = STRUCTURE_FACTS, .why = "takes apart the temporaries that the passes before share"},
    {.name = "expand_cluster_refs", .key = "expand_cluster_refs", .why = "addresses references that are close together from one base; also in a single block"},
    {.name = "merge_symbols",       .key = "merge_symbols",       .gate = GATE::SEVERAL_BLOCKS, .run = merge_symbols, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "coalesces variables joined by copies, which are most when the others are done"},
};

constexpr PASS LOCAL_GROUP[] = {
    {.name = "symbol marking",               .key = "mark_symbols",                .why = "which symbols are used and how; the others of the group ask"},
    {.name = "lcse_subrange_assignments",    .key = "lcse_subrange_assignments",   .why = "drops assignments of what a part of an object holds already"},
    {.name = "elim_dead_subrange_assigns",   .key = "elim_dead_subrange_assigns",  .why = "drops assignments to parts of objects that are overwritten"},
    {.name = "copyprop (1)",                 .key = "copyprop",                    .why = "propagates what the two before left"},
    {.name = "convert_sti_to_cinit",         .key = "convert_sti_to_cinit",        .gate = GATE::LEVEL_2, .why = "makes initializers of constant assignments in a static initializer function"},
    {.name = "lcse",                         .key = "lcse",                        .why = "removes common subexpressions within extended blocks"},
    {.name = "propagate_increments",         .key = "propagate_increments",        .why = "moves increments to where addressing modes carry them; last, since it hides equal expressions"},
};

constexpr PASS OUTPUT[] = {
    {.name = "begin record",  .key = "output",        .need = NEED::NEEDED, .run = write_begin, .keeps = ALL_FACTS, .why = "writes the function's begin record"},
    {.name = "empty slot 1",  .key = "empty_slot",    .run = empty_slot, .keeps = ALL_FACTS, .why = "kept for a pass to come; returns at once"},
    {.name = "empty slot 2",  .key = "empty_slot",    .run = empty_slot, .keeps = ALL_FACTS, .why = "kept for a pass to come; returns at once"},
    {.name = "simpcfg (1)",   .key = "simpcfg",       .run = simplify_graph_late, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "simplifies the graph a last time, merging equal ends of blocks, which hides them from other passes"},
    {.name = "rotate_loops",  .key = "rotate_loops",  .run = rotate_loops, .needs = DFN_FACT, .keeps = NUMBERS_FACT | CANDIDATES_FACT, .why = "moves the top of each loop behind its end, so that the test comes last; the layout is final then"},
    {.name = "unsimp_blocks", .key = "unsimp_blocks", .run = unsimp_blocks, .needs = NUMBERS_FACT, .keeps = NUMBERS_FACT, .why = "gives the way into a guarded loop its own test back, which merging took; by the layout, which says what falls through"},
    {.name = "write blocks",  .key = "output",        .need = NEED::NEEDED, .run = write_blocks, .why = "writes symbols and blocks"},
};

constexpr PASS STEPS[] = {
    {.name = "reset",                    .key = "reset", .need = NEED::NEEDED, .run = reset_function_state, .why = "clears the per-function state"},
    {.name = "statement preparation",    .key = "prepare_statements", .run = prepare_statements, .why = "normalizes the trees, drops empty statements, marks calls that never return, narrows variables; before blocks hide which statement follows"},
    {.name = "build_cfg",                .key = "build_cfg", .need = NEED::NEEDED, .keeps = DFN_FACT, .why = "makes basic blocks of the statements, numbers them depth-first, drops unreachable ones", .members = BUILDING},
    {.name = "beta_convert",             .key = "beta_convert", .why = "specializes calls with known parameter values"},
    {.name = "simpcfg (0)",              .key = "simpcfg", .run = simplify_graph_early, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "simplifies the graph, so that the passes see long blocks"},
    {.name = "statement rewrite",        .key = "rewrite_statements", .run = rewrite_statements, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "rewrites each statement together with the one before it, now that blocks are long"},
    {.name = "rename_symbols",           .key = "rename_symbols", .run = rename_symbols, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = STRUCTURE_FACTS, .why = "gives each independent use of a variable a variable of its own"},
    {.name = "fast_CP (4, 1)",           .key = "fast_CP", .run = propagate_copies, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "propagates copies and constants, removes dead assignments"},
    {.name = "explode_auto_struct_vars", .key = "explode_auto_struct_vars", .run = explode_auto_struct_vars, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "makes variables of the members of local structures"},
    {.name = "build_stack_sharing_type", .key = "build_stack_sharing_type", .run = build_stack_sharing_type, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "lets the variables that are left in memory share their places on the stack"},
    {.name = "SSA constants",            .key = "SSA_constants", .gate = GATE::LEVEL_2, .why = "static single assignment form, constants and dead assignments in it, and back", .members = SSA_CONSTANTS},
    {.name = "SSA promotion",            .key = "SSA_promotion", .gate = GATE::LEVEL_2, .why = "promotes variables to registers in static single assignment form, in two rounds", .members = SSA_PROMOTION},
    {.name = "expand_bitfields",         .key = "expand_bitfields", .run = expand_bitfields, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "makes shifts and masks of bit-field accesses, which the next step simplifies"},
    {.name = "fast_CP (0, 1)",           .key = "fast_CP", .run = drop_dead_assignments, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "combines assignments and removes dead ones"},
    {.name = "do_dd_optimizations",      .key = "do_dd_optimizations", .why = "transforms loops by their dependences; decides by itself", .members = DD_GROUP},
    {.name = "simpcfg (0)",              .key = "simpcfg", .run = simplify_graph_early, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "simplifies the graph that the loop passes left"},
    {.name = "fast_CP (4, 1)",           .key = "fast_CP", .run = propagate_copies_and_delay, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "propagates copies and constants, removes dead assignments; from level 2 on delays those that only some ways need"},
    {.name = "global group",             .key = "global_group", .gate = GATE::LEVEL_2, .why = "redundancies over the whole function, and what follows from their removal", .members = GLOBAL_GROUP},
    {.name = "local group",              .key = "local_group", .gate = GATE::LEVEL_1, .why = "redundancies within extended blocks, parts of objects included", .members = LOCAL_GROUP},
    {.name = "combine_asgs_to_memory",   .key = "combine_asgs_to_memory", .run = combine_stores_late, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "makes one wide assignment of several narrow ones, when no pass looks at the narrow ones any more"},
    {.name = "conditional statements",   .key = "conditional_statements", .gate = GATE::NEVER, .why = "for targets with conditional statements; never runs on this one"},
    {.name = "allocate_regs",            .key = "allocate_regs", .run = allocate_regs, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = ALL_FACTS & ~facts_of(FACT_live_faint), .why = "assigns registers to variables, when no further ones come"},
    {.name = "output",                   .key = "output", .gate = GATE::NOT_SUPPRESSED, .need = NEED::NEEDED, .why = "writes the begin record, runs the final group, writes symbols and blocks", .members = OUTPUT},
    {.name = "restore options",          .key = "restore_options", .need = NEED::NEEDED, .run = end_own_options, .why = "ends the function's own options"},
};
// clang-format on
static_assert(std::size(STEPS) == 24);

// The step that writes has its picture made before it takes the function apart.
void draw_layout() {
    constexpr int OUTPUT_STEP = 23;
    static_assert(STEPS[OUTPUT_STEP - 1].members.data() == OUTPUT);
    draw_graph_after(OUTPUT_STEP, STEPS[OUTPUT_STEP - 1].name);
}

// --- What must stand before what ---

struct ORDER {
    const char* before;
    const char* after; // every row of this name has one of the other's before it
    const char* why;
};
constexpr ORDER ORDERS[] = {
    {"reset", "blocks", "the graph of the function before must be gone"},
    {"statement preparation", "blocks", "it works on the list of statements"},
    {"blocks", "tail recursion", "it looks at blocks and edges"},
    {"tail recursion", "numbers", "it makes a block, and numbers are given once"},
    {"numbers", "simpcfg (0)", "it walks the blocks by their numbers"},
    {"simpcfg (0)", "fast_CP (4, 1)", "it follows extended blocks, which joins cut short"},
    {"rename_symbols", "fast_CP (4, 1)", "a copy is lost where its variable is assigned for another use"},
    {"explode_auto_struct_vars", "build_stack_sharing_type", "what becomes scalars needs no place"},
    {"construct_SSA_form", "propagate_SSA_constants (1)", "it works on SSA form"},
    {"construct_SSA_form", "promote, first round", "it works on SSA form"},
    {"propagate_SSA_constants (1)", "elim_dead_SSA_assignments", "constants leave assignments dead"},
    {"promote, first round", "promote, second round",
     "the second takes the addresses that the first made plain"},
    {"expand_bitfields", "fast_CP (0, 1)", "it propagates the parts of containers"},
    {"annotate_cfg", "gcse", "gcse reads the numbers"},
    {"symbol marking", "lcse", "it asks for the marks"},
    {"lcse", "propagate_increments", "moved increments hide equal expressions"},
    {"begin record", "write blocks", "the format wants it so"},
    {"allocate_regs", "output", "what is written has its registers"},
    {"simpcfg (1)", "rotate_loops", "it would undo the layout"},
    {"rotate_loops", "unsimp_blocks", "it asks which block falls through to a test"},
    {"output", "restore options", "the final group runs by the function's own options"},
};

// Looks through the rows in their order for `after` without a `before` in front; `seen` tells whether one
// came.
constexpr bool keeps_order(std::span<const PASS> passes, const ORDER& order, bool& seen, bool& found) {
    for (const PASS& pass : passes) {
        if (std::string_view(order.after) == pass.name) {
            found = true;
            if (!seen) return false;
        }
        seen |= std::string_view(order.before) == pass.name;
        if (!keeps_order(pass.members, order, seen, found)) return false;
    }
    return true;
}

constexpr bool all_orders_are_kept() {
    for (const ORDER& order : ORDERS) {
        bool seen = false;
        bool found = false;
        if (!keeps_order(STEPS, order, seen, found) || !seen || !found) return false;
    }
    return true;
}
static_assert(all_orders_are_kept());

} // namespace

bool empty_slot() { return false; }

PASS_LIST pipeline_steps() { return {nullptr, STEPS}; }

const char* gate_text(GATE gate) {
    switch (gate) {
    case GATE::ALWAYS: return "always";
    case GATE::LEVEL_1: return "level 1 or more";
    case GATE::LEVEL_2: return "level 2 or more";
    case GATE::SEVERAL_BLOCKS: return "two blocks or more";
    case GATE::NEVER: return "never";
    case GATE::NOT_SUPPRESSED: return "not suppressed";
    }
    return "";
}

bool gate_is_open(GATE gate) {
    switch (gate) {
    case GATE::ALWAYS: return true;
    case GATE::LEVEL_1: return settings.optimization_level >= 1;
    case GATE::LEVEL_2: return settings.optimization_level >= 2;
    case GATE::SEVERAL_BLOCKS: return flow_graph.bb_list && flow_graph.bb_list->dflink;
    case GATE::NEVER: return has_conditional_statements();
    case GATE::NOT_SUPPRESSED: return !(run.current_function->flags & FUN_is_suppressed);
    }
    return false;
}

void run_function_pipeline() {
    read_runner_switches();
    verify_function_as_read();
    run_passes(pipeline_steps());
    end_function_decisions();
}

} // namespace pelorus
