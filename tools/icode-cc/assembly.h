// Inline assembly.
#pragma once

#include "body.h"

namespace pelorus {

// A statement of assembly text: a record of its own, or with operands the call of a function with the
// attribute `assembly`. Labels are refused.
void convert_assembly(BODY& body, const clang::AsmStmt* statement);

// Assembly text outside functions.
void write_file_assembly(UNIT& unit, const clang::FileScopeAsmDecl* assembly);

} // namespace pelorus
