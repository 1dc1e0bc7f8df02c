// The layout of the blocks for the code generator: which stands behind which, and what that saves.
#pragma once

namespace pelorus {

// Moves the top of each loop behind the loop's end, so that the test that leaves the loop comes last.
// Needs: numbers; meant for a depth-first order. Keeps: numbers, statements, edges. Breaks: dfn, since a
// block may come to stand before all that lead to it.
bool rotate_loops();

// Gives a test that was merged with that of a loop's end back to the way into the loop.
// Needs: numbers. Keeps: numbers. Breaks: dfn, candidates.
bool unsimp_blocks();

} // namespace pelorus
