// The reader's client that builds functions: what the optimizer and the consumers of icode share.
//
// Keeps `function` (ir/stmt.h): its symbol, positions and statement list, most recent statement first; makes
// the FUNINFO of every function read, with its body's offset and size; counts symbols in function_symbols.
#pragma once

#include "icode/reader.h"
#include "ir/stmt.h"

namespace pelorus {

struct UNIT_CLIENT {
    // Called when a function's end record has been read and `function` is complete; may be null.
    void (*function_read)(void* context) = nullptr;
    // Called for assembly text outside functions (kind 36 or 47) and for pragmas outside functions; may be
    // null.
    void (*file_assembly)(void* context, int kind, const char* text, const POSITION& position) = nullptr;
    void (*file_pragma)(void* context, PRAGMA* pragma) = nullptr;
    void* context = nullptr;
};

// The client table that feeds `function`. `unit` must outlive the reader.
ICODE_CLIENT unit_icode_client(UNIT_CLIENT& unit);

// Forgets the current function's records; the storage itself goes with the function zone
// (release_local_zone).
void clear_function();

} // namespace pelorus
