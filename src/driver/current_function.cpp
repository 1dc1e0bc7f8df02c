// The current function; see current_function.h.
//
// Before a release the trace's check looks for pointers that would dangle. Whole it takes as long as the file
// is large, so it is whole only between the phases. After a function it covers what the function can have
// touched: its own trees and symbols, the file's symbols that came since the last check, and the records of
// those that its trees name.
#include "driver/current_function.h"

#include <unordered_set>
#include <vector>

#include "cfg/bb.h"
#include "driver/files.h"
#include "driver/options/option_sets.h"
#include "icode/unit_client.h"
#include "ipa/file_level.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/walk.h"
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

// Where the next check of new file symbols begins: the last one of the list at the last check. Null: at the
// first.
SYMBOL* last_checked;

void collect_new_file_symbols(std::vector<SYMBOL*>& symbols) {
    for (SYMBOL* symbol = last_checked ? last_checked : file_symbols.first; symbol; symbol = symbol->next)
        symbols.push_back(symbol);
    last_checked = file_symbols.last;
}

// The symbols of the function, and those of the file that were not checked with it before.
std::vector<SYMBOL*> symbols_to_check() {
    if (!run.current_function) last_checked = nullptr;
    std::vector<SYMBOL*> symbols;
    collect_new_file_symbols(symbols);
    collect_symbols(function_symbols.parameters, symbols);
    collect_symbols(function_symbols.variables, symbols);
    collect_symbols(function_symbols.temporaries, symbols);
    collect_symbols(function_symbols.splits, symbols);
    return symbols;
}

// The file's symbols that the trees name, each once.
std::vector<SYMBOL*> named_file_symbols(const std::vector<NODE*>& trees) {
    std::vector<SYMBOL*> symbols;
    std::unordered_set<const SYMBOL*> seen;
    for (const NODE* tree : trees)
        for_each_node(tree, [&](const NODE* node) {
            SYMBOL* named = node->op == OP_NAME ? node->symbol() : nullptr;
            if (named && !named->local && seen.insert(named).second) symbols.push_back(named);
        });
    return symbols;
}

void check_storage() {
    if (!debug_on()) return;
    const std::vector<NODE*> trees = function_trees();
    const std::vector<SYMBOL*> symbols = symbols_to_check();
    const std::vector<SYMBOL*> records = named_file_symbols(trees);
    check_zones({.function_trees = trees, .symbols = symbols, .records = records});
    report_memory();
}

} // namespace

void start_storage_checks() { last_checked = nullptr; }

void release_function_storage() {
    check_storage();
    clear_function();
    clear_flow_graph();
    release_local_zone();
    zone_start(); // the function's own options may have asked for something else
    run.current_function = nullptr;
    run.current_function_name = nullptr;
    run.current_file = "NO_PSN_FILE";
}

} // namespace pelorus
