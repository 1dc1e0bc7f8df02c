// Inline expansion: calls of small functions of the file become copies of their bodies.
//
// The file-level analysis decides which functions are inlineable (FUN_is_inlined) and keeps an integrable
// definition of each. The calls are expanded when a calling function has been read, before any pass runs on
// it.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

// Builds the integrable definition of an inlineable function. Needs: `function` (ir/stmt.h) holds its body,
// just read. False when the function cannot be integrated: it loses FUN_is_inlined and gets
// FUN_cannot_inline, and a warning says so when it was declared inline.
bool prepare_inline(FUNINFO& info);

// The options let calls of an inlineable function be expanded. Needs: its symbol.
bool options_expand_calls_of(const FUNINFO& callee);

// Expands the calls of the current function, those in expanded bodies too. Needs: `function` as it was read,
// before its blocks are built. Answers whether any was.
bool expand_calls();

// The function must be compiled, since something refers to it. Left alone when other files see it anyway.
void mark_cannot_suppress(FUNINFO& info);

// The list of the functions whose calls were expanded, as comment lines of the output, through write(line).
void write_inlined_references(void (*write)(const char* line));

// Forgets the list. At the start of a run.
void clear_inlined_references();

} // namespace pelorus
