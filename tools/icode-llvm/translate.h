// The translation of one unit.
#pragma once

#include <cstdio>
#include <string>

namespace pelorus {

// LLVM IR text for the icode at the stream, which is closed. `name` is used in messages. With `interposable`
// the text is for a shared library, whose exported symbols other modules may replace. Errors: one message on
// the error stream, then fatal_exit or, for a damaged file, icode_exit.
std::string translate_unit(FILE* stream, const char* name, bool interposable);

} // namespace pelorus
