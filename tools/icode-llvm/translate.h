// The translation of one unit.
#pragma once

#include <cstdio>
#include <string>

#include "module.h"

namespace pelorus {

// LLVM IR text for the icode at the stream, which is closed. `name` is used in messages. Errors: one message
// on the error stream, then fatal_exit or, for a damaged file, icode_exit.
std::string translate_unit(FILE* stream, const char* name, const CODE& code);

} // namespace pelorus
