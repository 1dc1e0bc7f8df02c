// Looking after the loop hierarchy (cfg/loop.h): its validation and its dump.
#pragma once

#include "cfg/loop.h"

namespace pelorus {

struct LOOP_ERRORS {
    int corrected = 0;   // that `validate_loops` repaired
    int uncorrected = 0; //
};

// Checks the tree of loops below the root and what the blocks say of it, reports on the debug trace, and
// repairs what is called corrected: levels, and the loop of a block that has none. With a trace the totals go
// to the standard error stream as well.
//   complete   each loop has its preheader and its exits, as it does when its building is done; otherwise
//              those that are there are checked, and the loop may be entered and left without
// Needs: numbers. Linear in blocks, edges and the lists of the loops, but for loops whose parent is wrong.
LOOP_ERRORS validate_loops(LOOPREC* root, bool complete);

// Checks the marks of loops that are clones of each other: one is the conservative and the other the
// aggressive one, only that one takes something for granted, and each names the other. Reports on the debug
// trace; answers how many loops are at fault. Needs: numbers of the loops.
int check_clone_marks(LOOPREC* root);

// Prints the blocks and every loop with what is known of it, on the debug trace; without one does nothing.
void dump_loops(const LOOPREC* root);

} // namespace pelorus
