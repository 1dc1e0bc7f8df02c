// The phases of the run over the file.
#pragma once

#include <vector>

#include "icode/reader.h"
#include "ir/funinfo.h"

namespace pelorus {

// The operations with which the reader of the input fills the optimizer's records.
ICODE_CLIENT optimizer_client();

// Phase 1 reads and analyses the file, Pass 1.5 (level 4) looks at all functions together, phase 2 optimizes
// and writes one function at a time. Needs: files open, settings saved.
void optimize_file();

// Reads one function, runs the pipeline on it and releases its storage.
void optimize_function(FUNINFO* info);

// The order in which phase 2 takes functions: first those that are not suppressed, then, in sweeps until one
// finds nothing, those that must not stay so. `optimize` is optimize_function but in tests; it marks what it
// did as processed.
using OPTIMIZE_FUNCTION = void (*)(FUNINFO* info);
void optimize_functions(const std::vector<FUNINFO*>& order, OPTIMIZE_FUNCTION optimize);

// The functions of the call graph in the order in which Pass 1.5 and phase 2 visit them: from level 3 on
// callees before callers, which is the call graph's list reversed; below that the order of their
// declarations.
std::vector<FUNINFO*> function_order();

} // namespace pelorus
