// The file-level analysis; see file_level.h.
//
// What it does so far: the mode of the file, the mark of `main`, and the list of defined functions that the
// driver visits. What it does not do yet: it finds no calls, roots, recursion or constant globals, inlines
// nothing and suppresses nothing. So every function is compiled, and every global may change at any time, as
// its flags say. The trace says so.
#include "ipa/file_level.h"

#include <cstring>
#include <unordered_set>

#include "ir/symbol.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

FILE_LEVEL file_level;

namespace {

std::unordered_set<const FUNINFO*> defined_functions; // those of file_level.functions

constexpr int32_t MODE_OFF = 0;
constexpr int32_t MODE_PROGRAM = 1;
constexpr int32_t MODE_LIBRARY = 3; // any other mode is program and library

void apply_mode(int32_t mode) {
    file_level.whole_program = mode != MODE_OFF && mode != MODE_LIBRARY;
    file_level.is_library = mode != MODE_OFF && mode != MODE_PROGRAM;
    file_level.use_pseudo_function = mode != MODE_OFF;
}

} // namespace

void start_file_level() {
    file_level = {};
    defined_functions.clear();
    if (settings.optimization_level < FILE_LEVEL_ANALYSIS) settings.file_level_mode = MODE_OFF;
    apply_mode(settings.file_level_mode);
    file_level.has_call_graph = true;
    file_level.pseudo_function = get_funinfo("<outside>"); // no name of C
}

bool add_to_call_graph(FUNINFO* function) {
    if (!defined_functions.insert(function).second) return false;
    if (!strcmp(function->name, "main")) function->flags |= FUN_is_main;
    file_level.functions.push_back(function);
    return true;
}

void analyse_file() {
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) assume_unseen_changes(*symbol);
    info("\n\t\t======= File-level Analysis =======\n\n");
    trace("[Not built: file-level analysis; nothing is inlined or suppressed, all functions are compiled]\n");
    info("Not built: nothing is inlined or suppressed, all functions are compiled.\n");
    info("\n\t\t======= End file-level Analysis =======\n\n");
}

void trace_function_summary(const FUNINFO& function) {
    if (function.flags) trace_fun_flags(function);
}

} // namespace pelorus
