// The current function; see current_function.h.
#include "driver/current_function.h"

#include <vector>

#include "cfg/bb.h"
#include "driver/files.h"
#include "driver/option_sets.h"
#include "icode/unit_client.h"
#include "ipa/file_level.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "memory/zone.h"
#include "support/run.h"
#include "support/trace.h"

namespace pelorus {

void make_function_current(FUNINFO* info) {
    run.current_function = info;
    run.current_function_name = info->name;
    run.current_file = position_file(info->position);
    trace_function_summary(*info);
    if (info->override_text) override_options(info->override_text);
}

void read_current_function() { read_function_body(*run_files.reader, run.current_function->body_offset); }

namespace {

void collect_trees(const STMT* cell, std::vector<NODE*>& trees) {
    for (; cell; cell = cell->next) trees.push_back(cell->tree);
}

std::vector<NODE*> function_trees() {
    std::vector<NODE*> trees;
    collect_trees(function.statements, trees);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        collect_trees(block->stmts, trees);
    return trees;
}

void collect_symbols(const SYMBOL_LIST& list, std::vector<SYMBOL*>& symbols) {
    for (SYMBOL* symbol = list.first; symbol; symbol = symbol->next) symbols.push_back(symbol);
}

// The symbols of the file with the trees of their initializers, and those of the function.
std::vector<SYMBOL*> all_symbols() {
    std::vector<SYMBOL*> symbols;
    collect_symbols(file_symbols, symbols);
    collect_symbols(function_symbols.parameters, symbols);
    collect_symbols(function_symbols.variables, symbols);
    collect_symbols(function_symbols.temporaries, symbols);
    collect_symbols(function_symbols.splits, symbols);
    return symbols;
}

void check_storage() {
    if (!debug_on()) return;
    check_zones(function_trees(), {}, all_symbols());
    report_memory();
}

} // namespace

void release_function_storage() {
    check_storage();
    clear_function();
    clear_flow_graph();
    release_local_zone();
    run.current_function = nullptr;
    run.current_function_name = nullptr;
    run.current_file = "NO_PSN_FILE";
}

} // namespace pelorus
