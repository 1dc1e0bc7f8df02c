// Pass 1.5; see pass_1_5.h. It is the frame: reading the functions one after another, and building their
// graphs. What would learn something from them is not built, and says so in the table.
#include "driver/pass_1_5.h"

#include "cfg/bb.h"
#include "cfg/simplify.h"
#include "driver/current_function.h"
#include "driver/options/option_sets.h"
#include "driver/verify.h"
#include "ipa/file_level.h"
#include "ipa/inline.h"
#include "loops/hierarchy.h"
#include "scalar/statements.h"
#include "ssa/ssa.h"
#include "support/call_points.h"
#include "support/decision.h"
#include "support/run.h"
#include "support/trace.h"

namespace pelorus {

namespace {

bool build_whole_graph() {
    build_cfg();
    return true;
}

// clang-format off
constexpr PASS PASSES[] = {
    {.name = "statement preparation",       .key = "prepare_statements", .run = prepare_statements, .why = "as in the pipeline"},
    {.name = "build_cfg",                   .key = "build_cfg", .need = NEED::NEEDED, .run = build_whole_graph, .keeps = DFN_FACT, .why = "basic blocks and the control-flow graph"},
    {.name = "beta_convert",                .key = "beta_convert",       .why = "specializes calls with known parameter values"},
    {.name = "simpcfg (0)",                 .key = "simpcfg", .run = simplify_graph_early, .needs = DFN_FACT, .keeps = DFN_FACT, .why = "simplifies the graph"},
    {.name = "rename_symbols",              .key = "rename_symbols", .run = rename_symbols, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = STRUCTURE_FACTS, .why = "gives each independent use of a variable a variable of its own"},
    {.name = "fast_CP (4, 1)",              .key = "fast_CP",            .why = "copies and constants"},
    {.name = "symbol marking",              .key = "mark_symbols",       .why = "which symbols are used and how"},
    {.name = "statement rewrite",           .key = "rewrite_statements", .run = rewrite_statements, .needs = DFN_FACT | CANDIDATES_FACT, .keeps = DFN_FACT, .why = "rewrites every statement of every block"},
    {.name = "build_loop_hierarchy (0, 0, 0)", .key = "build_loop_hierarchy", .run = find_loop_hierarchy, .needs = DFN_FACT, .keeps = LOOP_FACTS, .why = "dominators and loops. Without flags: the function is only looked at"},
    {.name = "Value Propagation",           .key = "value_propagation",  .why = "the ranges of values"},
    {.name = "specialize_current_function", .key = "specialize_current_function", .why = "versions of the function for known parameter values"},
};
// clang-format on

} // namespace

PASS_LIST pass_1_5_passes() { return {"Pass 1.5", PASSES}; }

namespace {

void trace_call_sites(const std::vector<FUNINFO*>& order) {
    for (const FUNINFO* info : order)
        for (const CALL_SITE* site = info->call_sites; site; site = site->next)
            trace("[%s calls %s with PE JF %s]\n", info->name, site->callee->name, site->jump_function);
}

void look_at_function(FUNINFO* info) {
    make_function_current(info);
    read_current_function();
    begin_function_decisions(run.current_function_name);
    expand_calls();
    verify_function_as_read();
    run_passes(pass_1_5_passes());
    end_function_decisions();
    end_function_verification();
    // A function's own options are not for the next one.
    if (info->override_text) restore_options();
    release_function_storage();
}

} // namespace

void run_pass_1_5(const std::vector<FUNINFO*>& order) {
    if (debug_on()) {
        fflush(debug_file());
        printf("%s Pass 1.5\n", TOOL_NAME);
    }
    trace("\n\n\t\t\t---------- ENTERING 'Pass 1.5' ------------\n");
    call_point(CALL_POINT::PARTIAL_EVALUATION_START);
    for (FUNINFO* info : order) look_at_function(info);
    if (file_level.has_call_graph) trace_call_sites(order);
    call_point(CALL_POINT::PARTIAL_EVALUATION);
    release_function_storage();
    call_point(CALL_POINT::PARTIAL_EVALUATION_STATISTICS);
    trace("\n\n\t\t\t---------- END 'Pass 1.5' ------------\n");
}

} // namespace pelorus
