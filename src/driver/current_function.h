// The current function: from making it current to the release of its storage.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

// The start of a run: no symbol of the file has been checked.
void start_storage_checks();

// Makes the function current: its name and file are what messages name, its own options are laid over the
// settings.
void make_function_current(FUNINFO* info);

// Reads the body of the current function into `function` (ir/stmt.h). Needs: the reader, the current
// function.
void read_current_function();

// Ends the life of all that belongs to the current function, after checks of the storage; there is none
// afterwards.
void release_function_storage();

} // namespace pelorus
