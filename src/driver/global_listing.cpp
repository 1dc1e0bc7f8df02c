// See global_listing.h.
#include "driver/global_listing.h"

#include <algorithm>
#include <vector>

#include "driver/files.h"
#include "ir/funinfo.h"
#include "ir/symbol.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// What tells the code generator that a global lives in a register for the whole program.
constexpr uint8_t REGISTER_FOR_EXTERN = 'm';
constexpr uint8_t REGISTER_FOR_DEFINED = 'l';

void write_definition(SYMBOL* symbol) {
    if (symbol->promoted)
        symbol->storage_class =
            symbol->storage_class == SC_EXTERN ? REGISTER_FOR_EXTERN : REGISTER_FOR_DEFINED;
    declare_global(*run_files.writer, symbol);
    trace_symbol('#', *symbol);
    if (symbol->init_trees) write_initializer(*run_files.writer, symbol);
}

// A function that may not be compiled is declared when it is, or when something refers to it after all.
bool may_be_left_out(const SYMBOL& symbol) {
    return symbol.funinfo && symbol.funinfo->symbol == &symbol && (symbol.funinfo->flags & FUN_is_suppressed);
}

} // namespace

void sort_file_symbols() {
    const auto by_order = [](const SYMBOL* a, const SYMBOL* b) { return a->order < b->order; };
    std::vector<SYMBOL*> symbols;
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) symbols.push_back(symbol);
    std::stable_sort(symbols.begin(), symbols.end(), by_order);
    file_symbols = {};
    for (SYMBOL* symbol : symbols) {
        symbol->next = nullptr;
        (file_symbols.last ? file_symbols.last->next : file_symbols.first) = symbol;
        file_symbols.last = symbol;
    }
}

void declare_file_symbols() {
    sort_file_symbols();
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next)
        if (!may_be_left_out(*symbol)) declare_global(*run_files.writer, symbol);
    sort_file_symbols(); // symbols that came in with a declaration stand at the end of the list
}

void write_global_definitions() {
    trace("\n\fGlobal symbols\n\n");
    trace_symbol_header();
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next)
        if (is_file_variable(*symbol)) write_definition(symbol);
}

} // namespace pelorus
