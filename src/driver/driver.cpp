// The program's spine; see driver.h.
#include "driver/driver.h"

#include <cstdio>

#include "driver/call_points.h"
#include "driver/command_line.h"
#include "driver/files.h"
#include "driver/options/option_sets.h"
#include "driver/output_stream.h"
#include "driver/phases.h"
#include "driver/pipeline.h"
#include "driver/verify.h"
#include "ipa/file_level.h"
#include "ir/opcodes.h"
#include "ir/symbol.h"
#include "ir/type.h"
#include "support/decision.h"
#include "support/settings.h"

namespace pelorus {

namespace {

void check_processor_version() {
    int32_t& version = settings.processor_version;
    if (version == 5 || version == 6 || version == -1 || version == 0) return;
    printf("\n>>>> Warning: unrecognized option: '-v%d'\n\n", version);
    version = 0;
}

void start_file_state() {
    clear_file_symbols();
    clear_funinfo();
    start_file_level();
    call_point(CALL_POINT::BUILTIN_DESCRIPTORS);
}

void release_run() {
    release_command_line();
    delete type_package();
    set_type_package(nullptr);
}

} // namespace

int run_optimizer(int argc, char** argv) {
    provide_standard_streams();
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
