// What building a hierarchy does to loops that are to be optimized, beside giving them their form.
#pragma once

#include "cfg/loop.h"

namespace pelorus {

// Moves the tests of loops from their tops to their ends. True when some loop changed; the hierarchy then
// holds no longer.
// Needs: loops. Breaks: loops, dom.
bool replicate_tests(LOOPREC* root);

// Makes constants of the tests in front of loops whose answers are known. The graph stays: `simpcfg` makes
// jumps of the tests. True when some test changed.
// Needs: loops, dominators, candidates. Keeps: cfg, loops.
bool fold_guards(LOOPREC* root);

// Has the program check for itself what was found out about the trips of its loops: it reads from address 0
// where that was wrong. True when something was added.
// Needs: loops, loop_analyses. Breaks: loop_analyses, live.
bool check_trips(LOOPREC* root);

} // namespace pelorus
