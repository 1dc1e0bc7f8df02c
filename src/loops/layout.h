// The layout of the blocks: passes that only put them in another order for the code generator.
#pragma once

namespace pelorus {

// Moves the top of each loop behind the loop's end, so that the test that leaves the loop comes last.
// Needs: numbers; meant for a depth-first order. Keeps: numbers, statements, edges. Breaks: dfn, since a
// block may come to stand before all that lead to it.
bool rotate_loops();

} // namespace pelorus
