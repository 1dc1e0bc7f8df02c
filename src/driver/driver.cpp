// The program's spine; see driver.h.
#include "driver/driver.h"

#include <cstdio>
#include <memory>

#include "cfg/bb.h"
#include "cfg/simplify.h"
#include "driver/command_line.h"
#include "driver/current_function.h"
#include "driver/files.h"
#include "driver/options/option_sets.h"
#include "driver/pass_runner.h"
#include "driver/phases.h"
#include "driver/pipeline.h"
#include "driver/verify.h"
#include "icode/unit_client.h"
#include "ipa/file_level.h"
#include "ipa/function_effects.h"
#include "ipa/inline.h"
#include "ir/opcodes.h"
#include "ir/symbol.h"
#include "ir/type.h"
#include "memory/zone.h"
#include "support/call_points.h"
#include "support/decision.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"

namespace pelorus {

namespace {

std::unique_ptr<TYPE_PKG> types; // of the run

void release_types() {
    types.reset();
    set_type_package(nullptr);
}

void start_types() {
    types = std::make_unique<TYPE_PKG>();
    set_type_package(types.get());
    type_error_place = nullptr;
}

// Everything as it was when the process began, whatever an earlier run left: each folder clears what it owns,
// for which it may still look at what lies in the zones.
void start_run() {
    start_files();
    clear_function();
    clear_flow_graph();
    forget_comparisons();
    simplification = {};
    clear_file_symbols();
    clear_funinfo();
    clear_function_effects();
    clear_inlined_references();
    empty_zones();
    start_types();
    node_factory = {};
    start_storage_checks();
    start_verification();
    start_pass_runner();
    reset_decisions();
    clear_pseudo_options();
    reset_settings();
    run = {};
}

void check_processor_version() {
    int32_t& version = settings.processor_version;
    if (version == 5 || version == 6 || version == -1 || version == 0) return;
    printf("\n>>>> Warning: unrecognized option: '-v%d'\n\n", version);
    version = 0;
}

void start_file_state() {
    start_file_level();
    call_point(CALL_POINT::BUILTIN_DESCRIPTORS);
}

void release_run() {
    release_command_line();
    release_types();
}

} // namespace

int run_optimizer(int argc, char** argv) {
    start_run();
    icode_exit = [](int) { leave_run(); };
    process_command_line(argc, argv);
    validate_opcode_tables();
    check_processor_version();
    type_package()->find_target_limits();
    start_file_state();
    save_options();
    optimize_file();
    report_pass_times(pipeline_steps());
    report_decisions(stdout);
    const bool output_complete = close_icode_files();
    const bool texts_complete = close_text_files();
    const bool verified = !output_complete || verify_output();
    release_run();
    return output_complete && texts_complete && verified ? 0 : 1;
}

} // namespace pelorus
