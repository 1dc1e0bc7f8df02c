// The file-scope symbols of the output.
#pragma once

namespace pelorus {

// Sorts `file_symbols` by the place of their declaration in the source; symbols of the same place, or without
// one, keep their order.
void sort_file_symbols();

// Enters all file-scope symbols in the output's symbol table, sorted. The order of what was read is kept as
// far as the producer numbered its declarations in order, so a file that is written, read and written again
// keeps its order.
void declare_file_symbols();

// Lists the global variables on the trace and writes their definitions: storage class and initializer.
void write_global_definitions();

} // namespace pelorus
