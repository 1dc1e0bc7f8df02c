// Pass 1.5; see pass_1_5.h. It is the frame: reading the functions one after another, and building their
// graphs. What would learn something from them is not built, and says so in the table.
#include "driver/pass_1_5.h"

#include "cfg/bb.h"
#include "cfg/simplify.h"
#include "driver/call_points.h"
#include "driver/current_function.h"
#include "driver/options/option_sets.h"
#include "driver/verify.h"
#include "scalar/statements.h"
#include "support/run.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// clang-format off
constexpr PASS PASSES[] = {
    {"statement preparation",       prepare_statements, "as in the pipeline"},
    {"build_cfg",                   build_cfg, "basic blocks and the control-flow graph"},
    {"beta_convert",                nullptr,   "specializes calls with known parameter values"},
    {"simpcfg (0)",                 simplify_graph_early, "simplifies the graph"},
    {"rename_symbols",              nullptr,   "gives each independent use of a variable a variable of its own"},
    {"fast_CP (4, 1)",              nullptr,   "copies and constants"},
    {"symbol marking",              nullptr,   "which symbols are used and how"},
    {"statement rewrite",           rewrite_statements, "rewrites every statement of every block"},
    {"build_loop_hierarchy",        nullptr,   "dominators and loops"},
    {"Value Propagation",           nullptr,   "the ranges of values"},
    {"specialize_current_function", nullptr,   "versions of the function for known parameter values"},
};
// clang-format on

void look_at_function(FUNINFO* info) {
    make_function_current(info);
    read_current_function();
    verify_function_as_read();
    run_passes("Pass 1.5", PASSES);
    end_function_verification();
    // A function's own options are not for the next one.
    if (info->override_text) restore_options();
    release_function_storage();
}

} // namespace

std::span<const PASS> pass_1_5_passes() { return PASSES; }

void run_pass_1_5(const std::vector<FUNINFO*>& order) {
    if (debug_on()) {
        fflush(debug_file());
        printf("%s Pass 1.5\n", TOOL_NAME);
    }
    trace("\n\n\t\t\t---------- ENTERING 'Pass 1.5' ------------\n");
    call_point(CALL_POINT::PARTIAL_EVALUATION_START);
    for (FUNINFO* info : order) look_at_function(info);
    call_point(CALL_POINT::PARTIAL_EVALUATION);
    release_function_storage();
    call_point(CALL_POINT::PARTIAL_EVALUATION_STATISTICS);
    trace("\n\n\t\t\t---------- END 'Pass 1.5' ------------\n");
}

} // namespace pelorus
