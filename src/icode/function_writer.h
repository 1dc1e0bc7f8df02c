// The records of one optimized function: the last thing that happens to it.
#pragma once

#include "icode/writer.h"

namespace pelorus {

// The function's begin record. Needs: `function` and the output's symbol table. The pipeline calls it before
// its last passes.
void begin_function_output(ICODE_WRITER& writer);

// All that follows: symbols, body begin, leaf note, comments, blocks in layout order, function end.
// Needs: cfg (numbered). Breaks: the trees, which the pre-write walk changes.
void write_function_blocks(ICODE_WRITER& writer);

} // namespace pelorus
