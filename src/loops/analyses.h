// What is found out about each loop: FACT_loop_analyses.
//
// The phases, each by itself; `analyse_loops` runs them in this order.
#pragma once

#include "cfg/loop.h"
#include "loops/definitions.h"

namespace pelorus {

// Analyses all loops of the hierarchy, after forgetting what was found before. True when a pragma moved to a
// preheader.
// Needs: loops. Builds: candidates, dominator_sets, loop_analyses. Linear in the statements, but for the
// sorting of definitions and the blocks in front of loops that are looked through.
bool analyse_loops(LOOPREC* root);

// --- loop_pragmas.cpp ---

// Takes what pragmas in front of the loop say into the record, and moves their statements into the
// preheader, where they are found again. True when one moved.
bool take_pragmas(LOOPREC* loop);

// --- induction.cpp ---

// Fills inductions, region_constants and altered.
void find_inductions(const LOOP_DEFINITIONS& definitions, LOOPREC* loop);
// The loop's induction variable of the symbol; null when it is none.
INDUCTION* induction_of(const LOOPREC* loop, const SYMBOL* symbol);

// --- loop_control.cpp ---

// Fills the loop-control variable, the trips, and the final values.
// Needs: inductions, pragmas.
void find_loop_control(const LOOP_DEFINITIONS& definitions, LOOPREC* loop);

} // namespace pelorus
