// The fact "candidates": the candidate list of the whole graph, kept from pass to pass while it holds.
#pragma once

#include "cfg/facts.h"
#include "tree/candidates.h"

namespace pelorus {

// Of the current function; means something while FACT_candidates is valid. A pass may drop some.
extern CANDIDATES function_candidates;

// Collects and numbers the candidates of all blocks. Linear in the statements.
void collect_candidates();

// The candidates that are stored, and those of them that would be candidates still if they were collected
// now: a pass may have dropped others, which does no harm.
FACT_RECORD stored_candidates();
FACT_RECORD computed_candidates();

} // namespace pelorus
