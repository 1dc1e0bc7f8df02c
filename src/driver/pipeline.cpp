// The pipeline; see pipeline.h.
//
// A step whose pass is not built has a null function: the runner names it on the trace and goes on. Every
// step leaves the function correct, so leaving one out costs speed of the compiled program and nothing else.
//
// What is checked after each step, and when, is the affair of verify.h.
#include "driver/pipeline.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>

#include "cfg/bb.h"
#include "cfg/simplify.h"
#include "driver/files.h"
#include "driver/options/option_sets.h"
#include "driver/verify.h"
#include "icode/function_writer.h"
#include "ir/funinfo.h"
#include "scalar/statements.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

void reset_function_state() { clear_flow_graph(); }

// The predicate of the conditional-statement pass. Nothing makes conditional statements, so there is nothing
// for it to do.
bool has_conditional_statements() { return false; }

// clang-format off
constexpr PASS FINAL_GROUP[] = {
    {"empty slot 1",  empty_slot, "kept for a pass to come; returns at once"},
    {"empty slot 2",  empty_slot, "kept for a pass to come; returns at once"},
    {"simpcfg (1)",   simplify_graph_late, "simplifies the graph a last time, merging equal ends of blocks"},
    {"rotate_loops",  nullptr,    "moves the top of each loop behind its end, so that the test comes last"},
    {"unsimp_blocks", nullptr,    "undoes simplifications that only served the passes"},
};
// clang-format on

void write_output() {
    begin_function_output(*run_files.writer);
    if (!settings.keep_unoptimized) run_passes("step 23, output", FINAL_GROUP);
    end_function_verification(); // writing takes the trees apart
    write_function_blocks(*run_files.writer);
}

// clang-format off
constexpr PIPELINE_STEP STEPS[] = {
    { 1, "reset",                    GATE::ALWAYS,  NEED::NEEDED,   reset_function_state, "clears the per-function state"},
    { 2, "statement preparation",    GATE::ALWAYS,  NEED::MAY_SKIP, prepare_statements, "normalizes the trees, drops empty statements, marks calls that never return, narrows variables"},
    { 3, "build_cfg",                GATE::ALWAYS,  NEED::NEEDED,   build_cfg, "makes basic blocks of the statements, numbers them depth-first, drops unreachable ones"},
    { 4, "beta_convert",             GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "specializes calls with known parameter values"},
    { 5, "simpcfg (0)",              GATE::ALWAYS,  NEED::MAY_SKIP, simplify_graph_early, "simplifies the graph"},
    { 6, "statement rewrite",        GATE::ALWAYS,  NEED::MAY_SKIP, rewrite_statements, "rewrites each statement with an eye on the one before it"},
    { 7, "rename_symbols",           GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "gives each independent use of a variable a variable of its own"},
    { 8, "fast_CP (4, 1)",           GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "propagates copies and constants, removes dead assignments"},
    { 9, "explode_auto_struct_vars", GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "makes variables of the members of local structures"},
    {10, "build_stack_sharing_type", GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "lets variables share their places on the stack"},
    {11, "SSA constants",            GATE::LEVEL_2, NEED::MAY_SKIP, nullptr,   "static single assignment form, constants and dead assignments in it, and back"},
    {12, "SSA promotion",            GATE::LEVEL_2, NEED::MAY_SKIP, nullptr,   "promotes variables to registers in static single assignment form, in two rounds"},
    {13, "expand_bitfields",         GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "makes shifts and masks of bit-field accesses"},
    {14, "fast_CP (0, 1)",           GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "propagates copies and constants, removes dead assignments"},
    {15, "do_dd_optimizations",      GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "transforms loops by their dependences; decides by itself"},
    {16, "simpcfg (0)",              GATE::ALWAYS,  NEED::MAY_SKIP, simplify_graph_early, "simplifies the graph"},
    {17, "fast_CP (4, 1)",           GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "propagates copies and constants, removes dead assignments"},
    {18, "global group",             GATE::LEVEL_2, NEED::MAY_SKIP, nullptr,   "copyprop (1), annotate_cfg, gcse, restructure_loops, rename_symbols, expand_cluster_refs, merge_symbols; only expand_cluster_refs in a function of one block"},
    {19, "local group",              GATE::LEVEL_1, NEED::MAY_SKIP, nullptr,   "symbol marking, lcse_subrange_assignments, elim_dead_subrange_assigns, copyprop (1), from level 2 on convert_sti_to_cinit, lcse, propagate_increments"},
    {20, "combine_asgs_to_memory",   GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "makes one wide assignment of several narrow ones"},
    {21, "conditional statements",   GATE::NEVER,   NEED::MAY_SKIP, nullptr,   "for targets with conditional statements; never runs on this one"},
    {22, "allocate_regs",            GATE::ALWAYS,  NEED::MAY_SKIP, nullptr,   "assigns registers to variables"},
    {23, "output",                   GATE::NOT_SUPPRESSED, NEED::NEEDED, write_output, "writes the begin record, runs the final group, writes symbols and blocks"},
    {24, "restore options",          GATE::ALWAYS,  NEED::NEEDED,   restore_options, "ends the function's own options"},
};
// clang-format on

constexpr int STEP_COUNT = static_cast<int>(std::size(STEPS));
constexpr int FIRST_WITH_GRAPH = 3; // the graph is there from this step on,
constexpr int LAST_WITH_GRAPH = 22; // and whole up to this one: writing takes the trees apart

constexpr bool steps_are_in_order() {
    for (int i = 0; i < STEP_COUNT; ++i)
        if (STEPS[i].number != i + 1) return false;
    return true;
}
static_assert(steps_are_in_order());

// What the runner itself was asked for; read at every function, since a function's options may ask.
struct RUNNER {
    bool timing = false;
    int32_t dump_after = 0; // 0: no dumps; 1: after every step; else after that step
};
RUNNER runner;

using CLOCK = std::chrono::steady_clock;

std::array<CLOCK::duration, STEP_COUNT> step_times{};

void read_switches() {
    runner.timing = debug_switch("timing") != 0;
    runner.dump_after = debug_switch("dump_after");
}

bool is_left_out(const PIPELINE_STEP& step) {
    if (step.need == NEED::NEEDED) return false;
    return settings.keep_unoptimized || ((settings.skipped_steps >> step.number) & 1);
}

void dump_after(const PIPELINE_STEP& step) {
    fprintf(debug_file(), "\n\t    ===== %s() after step %d, %s\n", run.current_function_name, step.number,
            step.name);
    list_bb(flow_graph.bb_list, nullptr, debug_file());
}

void check_and_dump(const PIPELINE_STEP& step) {
    verify_after_pass(("step " + std::to_string(step.number)).c_str(), step.name);
    if (step.number < FIRST_WITH_GRAPH || step.number > LAST_WITH_GRAPH) return;
    if (runner.dump_after == 1 || runner.dump_after == step.number) dump_after(step);
}

void run_timed(const PIPELINE_STEP& step) {
    const CLOCK::time_point start = CLOCK::now();
    step.run();
    step_times[static_cast<size_t>(step.number - 1)] += CLOCK::now() - start;
}

void run_step(const PIPELINE_STEP& step) {
    if (!gate_is_open(step.gate)) return;
    if (!step.run) return trace("[Step %d, %s: not built]\n", step.number, step.name);
    if (is_left_out(step)) return trace("[Step %d, %s: left out]\n", step.number, step.name);
    if (runner.timing)
        run_timed(step);
    else
        step.run();
    check_and_dump(step);
}

} // namespace

void empty_slot() {}

std::span<const PIPELINE_STEP> pipeline_steps() { return STEPS; }
std::span<const PASS> final_group() { return FINAL_GROUP; }

const char* gate_text(GATE gate) {
    switch (gate) {
    case GATE::ALWAYS: return "always";
    case GATE::LEVEL_1: return "level 1 or more";
    case GATE::LEVEL_2: return "level 2 or more";
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
    case GATE::NEVER: return has_conditional_statements();
    case GATE::NOT_SUPPRESSED: return !(run.current_function->flags & FUN_is_suppressed);
    }
    return false;
}

void run_passes(const char* group, std::span<const PASS> passes) {
    for (const PASS& pass : passes) {
        if (!pass.run) {
            trace("[%s: not built]\n", pass.name);
            continue;
        }
        pass.run();
        verify_after_pass(group, pass.name);
    }
}

void run_function_pipeline() {
    read_switches();
    verify_function_as_read();
    for (const PIPELINE_STEP& step : STEPS) run_step(step);
}

void report_step_times() {
    if (!runner.timing) return;
    fprintf(debug_file(), "\n\t    ===== Seconds in each step\n");
    for (const PIPELINE_STEP& step : STEPS) {
        const std::chrono::duration<double> seconds = step_times[static_cast<size_t>(step.number - 1)];
        if (step.run) fprintf(debug_file(), "\t%10.6f  %2d  %s\n", seconds.count(), step.number, step.name);
    }
}

} // namespace pelorus
