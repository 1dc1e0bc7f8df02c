// Inline assembly.
#pragma once

#include "body.h"

namespace pelorus {

// A statement of assembly text. The format has no operands, so only a text that takes none can be kept; an
// empty text with operands, which programs use to hide values from the compiler, moves the values through
// volatile memory.
void convert_assembly(BODY& body, const clang::AsmStmt* statement);

// Assembly text outside functions.
void write_file_assembly(UNIT& unit, const clang::FileScopeAsmDecl* assembly);

} // namespace pelorus
