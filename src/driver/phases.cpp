// The phases of the run; see phases.h.
//
// Phase 1 needs no function's body for long: each one is released as soon as it was read, so that the memory
// of a run is that of the file's symbols and types and of its largest function. Phase 2 reads the bodies
// again by their offsets.
#include "driver/phases.h"

#include <algorithm>

#include "driver/current_function.h"
#include "driver/files.h"
#include "driver/global_listing.h"
#include "driver/options/option_sets.h"
#include "driver/pass_1_5.h"
#include "driver/pipeline.h"
#include "icode/unit_client.h"
#include "ipa/file_level.h"
#include "ipa/inline.h"
#include "ipa/references.h"
#include "memory/zone.h"
#include "support/call_points.h"
#include "support/decision.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// --- What the reader hands on ---

void function_was_read(void*) {
    if (!run.reading_whole_file) return;
    if (!add_function(function.info))
        icode_fault(*run_files.reader, function.info->body_offset,
                    "a second definition of function \"%.80s\"", function.info->name);
    clear_function();
    release_local_zone();
}

void pass_assembly_on(void*, int kind, const char* text, const POSITION& position) {
    if (kind == RK_ASSEMBLY) {
        note_assembly(text);
        write_assembly(*run_files.writer, text, position);
    } else
        write_comment(*run_files.writer, text);
}

void take_file_pragma(void*, PRAGMA* pragma) {
    write_pragma(*run_files.writer, *pragma);
    if (pragma->kind == PK_OPTIONS && pragma->count) global_override(pragma->strings[0]);
}

// --- Phase 1 ---

void read_input() {
    run.phase = 1;
    run.reading_whole_file = 1;
    read_whole_file(*run_files.reader);
    run.reading_whole_file = 0;
}

// --- The analysis of the file reads some bodies again ---

void read_body(FUNINFO* info) {
    run.current_function = info;
    run.current_function_name = info->name;
    read_current_function();
}

void release_body() {
    clear_function();
    release_local_zone();
    run.current_function = nullptr;
    run.current_function_name = nullptr;
}

// --- Phase 2 ---

void announce_phase_2() {
    run.phase = 2;
    if (trace_state.info_output) fflush(trace_state.info_stream);
    if (!debug_on()) return;
    fflush(debug_file());
    printf("%s Pass 2\n", TOOL_NAME);
}

void optimize_wanted_functions(const std::vector<FUNINFO*>& order, OPTIMIZE_FUNCTION optimize) {
    for (FUNINFO* info : order)
        if (!(info->flags & (FUN_is_processed | FUN_is_suppressed))) optimize(info);
}

bool can_stay_suppressed(const FUNINFO& info) {
    return (info.flags & FUN_is_suppressed) && !(info.flags & FUN_cannot_suppress);
}

void unsuppress(FUNINFO* info, OPTIMIZE_FUNCTION optimize) {
    if (settings.optimization_level >= 3) trace("\n!!! %s() must be unsuppressed !!!\n\n", info->name);
    info->flags &= ~uint32_t{FUN_is_suppressed};
    optimize(info);
}

// A function may come to need another one that was thought to be needless, and that one a third.
void optimize_unsuppressed_functions(const std::vector<FUNINFO*>& order, OPTIMIZE_FUNCTION optimize) {
    for (bool found = true; found;) {
        found = false;
        for (FUNINFO* info : order) {
            if ((info->flags & FUN_is_processed) || can_stay_suppressed(*info)) continue;
            unsuppress(info, optimize);
            found = true;
        }
    }
}

void print_statistics() {
    print_name_statistics();
    call_point(CALL_POINT::PARTIAL_EVALUATION_STATISTICS);
}

} // namespace

ICODE_CLIENT optimizer_client() {
    static UNIT_CLIENT unit{function_was_read, pass_assembly_on, take_file_pragma, nullptr};
    return unit_icode_client(unit);
}

std::vector<FUNINFO*> function_order() {
    if (!file_level.has_call_graph) return {};
    std::vector<FUNINFO*> order = file_level.functions;
    const auto by_declaration = [](const FUNINFO* a, const FUNINFO* b) {
        return a->symbol->order < b->symbol->order;
    };
    if (settings.optimization_level >= 3)
        std::reverse(order.begin(), order.end());
    else
        std::stable_sort(order.begin(), order.end(), by_declaration);
    return order;
}

void optimize_function(FUNINFO* info) {
    make_function_current(info);
    // While its own body is read the file's word on who refers to the function does not count.
    SYMBOL* symbol = info->symbol;
    const uint16_t flags = symbol->flags;
    symbol->flags = static_cast<uint16_t>(flags & ~(SF_REFERENCED | SF_CALLED));
    read_current_function();
    if (settings.instrument && function.statements && (info->flags & FUN_is_main))
        call_point(CALL_POINT::INSTRUMENTATION);
    begin_function_decisions(info->name);
    expand_calls();
    run_function_pipeline();
    symbol->flags = flags;
    release_function_storage();
}

void optimize_functions(const std::vector<FUNINFO*>& order, OPTIMIZE_FUNCTION optimize) {
    optimize_wanted_functions(order, optimize);
    optimize_unsuppressed_functions(order, optimize);
}

void optimize_file() {
    read_input();
    analyse_file(icode_source_name(*run_files.reader), {read_body, release_body});
    release_function_storage();
    if (settings.optimization_level >= 4) run_pass_1_5(function_order());
    restore_options();

    declare_file_symbols();
    announce_phase_2();
    optimize_functions(function_order(), optimize_function);
    write_inlined_references([](const char* line) { write_comment(*run_files.writer, line); });
    write_global_definitions();
    print_statistics();
}

} // namespace pelorus
