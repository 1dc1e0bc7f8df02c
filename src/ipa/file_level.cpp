// The file-level analysis; see file_level.h.
//
//   1. What the functions' names say of them (classify.h).
//   2. The call graph: roots, numbers, what nothing reaches (call_graph.h). The mode is given up when the
//      file is said to be a program, and nothing could enter it.
//   3. The variables of static storage (global_variables.h).
//   4. What a call of each function can do (function_effects.h).
//   5. Recursion (recursion.h) and inlining (inline_decisions.h).
//
// What it finds is reported as it is found; docs/functions.md explains the reports.
// All of it is linear in the functions, their calls and the size of their bodies.
#include "ipa/file_level.h"

#include <algorithm>
#include <string_view>

#include "ipa/call_graph.h"
#include "ipa/classify.h"
#include "ipa/function_effects.h"
#include "ipa/global_variables.h"
#include "ipa/inline_decisions.h"
#include "ipa/recursion.h"
#include "ipa/references.h"
#include "ipa/reports.h"
#include "ir/symbol.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

FILE_LEVEL file_level;

namespace {

constexpr int32_t MODE_OFF = 0;
constexpr int32_t MODE_PROGRAM = 1;
constexpr int32_t MODE_BOTH = 2;    // so is any other
constexpr int32_t MODE_LIBRARY = 3; //

void apply_mode(int32_t mode) {
    file_level.whole_program = mode != MODE_OFF && mode != MODE_LIBRARY;
    file_level.library_entry = mode != MODE_OFF && mode != MODE_PROGRAM;
    file_level.use_pseudo_function = mode != MODE_OFF;
}

// All functions that the file defines, calls or takes the address of: the defined ones in the order of the
// file, then the others in the order of their first mention.
std::vector<FUNINFO*> ordered_functions() {
    std::vector<FUNINFO*> functions = file_level.defined;
    for (FUNINFO* info = first_funinfo(); info; info = info->next)
        if (!(info->flags & FUN_is_defined) && info != file_level.pseudo_function) functions.push_back(info);
    return functions;
}

bool is_cpp_name(std::string_view file) {
    const size_t dot = file.rfind('.');
    if (dot == std::string_view::npos) return false;
    constexpr std::string_view EXTENSIONS[] = {"cc", "cp", "cxx", "cpp", "c++", "C", "CPP"};
    return std::ranges::find(EXTENSIONS, file.substr(dot + 1)) != std::end(EXTENSIONS);
}

void classify_functions(const std::vector<FUNINFO*>& functions) {
    for (FUNINFO* info : functions) {
        if (file_level.source_is_cpp) info->flags |= FUN_is_cpp;
        classify_function(*info, false);
    }
}

// Whether a caller leaves the file by one of its calls.
void mark_calls_out(const std::vector<FUNINFO*>& functions) {
    for (FUNINFO* info : functions)
        for (const FUNCTION_REFERENCE* callee = info->callees; callee; callee = callee->next) {
            if (callee->function->flags & FUN_is_defined) continue;
            info->flags |= callee->function->flags & FUN_is_SYSTEM ? FUN_calls_SYSTEM : FUN_calls_OUTSIDE;
        }
}

// --- Entries ---

void warn_of_no_entry(const char* source_name) {
    constexpr const char* TEXT = "\"%s\": Warning - Reverting to -op0: file has no entry functions!\n";
    fprintf(trace_state.info_output ? trace_state.info_stream : stderr, TEXT, source_name);
}

bool is_program_without_entry() {
    const int32_t mode = settings.file_level_mode;
    return (mode == MODE_PROGRAM || mode == MODE_BOTH || mode < 0) && !has_entry_functions();
}

void give_up_mode(const char* source_name) {
    if (settings.file_level_mode >= 0) warn_of_no_entry(source_name);
    trace("\n>>>> WARNING: Reverting to -op0!\n\n");
    apply_mode(MODE_OFF);
}

void warn_of_uncalled_functions() {
    if (settings.no_uncalled_warning) return;
    for (const FUNINFO* function_info : file_level.defined) {
        const bool is_fine = function_info->number != NO_CALL_GRAPH_NUMBER ||
                             (function_info->flags & (FUN_is_processed | FUN_is_anonymous));
        if (is_fine) continue;
        info("\n>>>> WARNING - Function %s()", function_info->name);
        info(" is not called and will not be compiled\n");
    }
}

// --- Lists ---

void list_functions(const std::vector<FUNINFO*>& functions, const char* head,
                    bool (*belongs)(const FUNINFO& info)) {
    bool found = false;
    for (const FUNINFO* info : functions) {
        if ((info->flags & FUN_is_defined) || !(info->flags & FUN_is_called) || !belongs(*info)) continue;
        if (!found) report("%s", head);
        found = true;
        report("\t%s()\n", info->name);
    }
}

bool is_system(const FUNINFO& info) { return info.flags & FUN_is_SYSTEM; }
bool is_other(const FUNINFO& info) { return !is_system(info); }

// A file that is only a part of its program calls other parts; a whole one what is outside of it.
void list_functions_of_others(const std::vector<FUNINFO*>& functions) {
    if (!file_level.use_pseudo_function)
        list_functions(functions, "\nThese external functions are called but not defined here:\n", is_other);
    list_functions(functions, "\nThese SYSTEM functions are called but not defined:\n", is_system);
    if (file_level.use_pseudo_function)
        list_functions(functions, "\nThese OUTSIDE functions are called but not defined:\n", is_other);
}

void trace_call_graph() {
    for (const FUNINFO* info : file_level.functions) trace("%3d: %s\n", info->number, info->name);
}

void build_call_graph(const std::vector<FUNINFO*>& functions, const char* source_name) {
    note_data_references();
    classify_functions(functions);
    mark_calls_out(functions);
    find_roots();
    if (is_program_without_entry()) {
        give_up_mode(source_name);
        find_roots(); // what outside can call is a root again
    }
    number_call_graph();
}

void analyse_functions(const std::vector<FUNINFO*>& functions, const char* source_name,
                       const BODY_ACCESS& bodies) {
    build_call_graph(functions, source_name);
    suppress_unreached();
    warn_of_uncalled_functions();
    if (!file_level.has_call_graph) return;
    report_global_variables();
    find_constant_values();
    find_function_effects();
    report_recursion();
    decide_inlining(bodies);
    list_functions_of_others(functions);
    trace_call_graph();
    set_unseen_changes();
    report_constant_values();
}

} // namespace

void start_file_level() {
    file_level = {};
    clear_references();
    clear_function_effects();
    if (settings.optimization_level < FILE_LEVEL_ANALYSIS) settings.file_level_mode = MODE_OFF;
    apply_mode(settings.file_level_mode);
    file_level.pseudo_function = get_funinfo("<outside>"); // no name of C
}

bool add_function(FUNINFO* info) {
    if (!file_level.names.insert(info).second) return false;
    file_level.defined.push_back(info);
    note_references(*info);
    note_function_effects(*info);
    return true;
}

void analyse_file(const char* source_name, const BODY_ACCESS& bodies) {
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) assume_unseen_changes(*symbol);
    file_level.source_is_cpp = is_cpp_name(source_name);
    const std::vector<FUNINFO*> functions = ordered_functions();
    if (functions.empty()) return;
    report("\n\t\t======File-level Analysis Summary======\n\n");
    analyse_functions(functions, source_name, bodies);
    info("\n\t\t======= End file-level Analysis =======\n\n");
}

// --- One function ---

void trace_function_summary(const FUNINFO& info) {
    if (!debug_on()) return;
    trace("\n%s()", info.name);
    trace(" is called from %d sites in this file.\n", static_cast<int>(info.site_count));
    if (info.flags & FUN_is_inlined) trace("    It appears to be inlineable (size = %u units)\n", info.size);
    trace("    It calls these functions:\n");
    for (const FUNCTION_REFERENCE* callee = info.callees; callee; callee = callee->next)
        trace("\t%s()\n", callee->function->name);
    if (!info.callees) trace("\t<NONE>\n");
    if (info.flags) trace_fun_flags(info);
}

} // namespace pelorus
