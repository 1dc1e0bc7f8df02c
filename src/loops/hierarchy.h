// Building the loop hierarchy of the current function (cfg/loop.h).
#pragma once

#include <cstdint>

namespace pelorus {

// Builds the hierarchy, FACT_loops, and analyses its loops, FACT_loop_analyses. True when the function
// changed. A function with an irreducible graph, or one that needs more blocks than can be numbered, gets
// none: its root is null.
//   flags          its low byte: loops are to be optimized. Tests move from the top of loops to their ends,
//                  guards in front of loops are folded, memory references are replaced by scalars; a function
//                  without loops then gets no hierarchy at all
//   no_points_to   what pointers point to is not worked out
//   final_rebuild  numbers and dominators are made anew at the end, so that they are valid as well
// Needs: cfg, dfn. Keeps: label leaves, meaning. Builds: dfn, loops, loop_analyses; where there are loops,
// dominators and dominator_sets as well. Breaks: live, ssa.
bool build_loop_hierarchy(uint32_t flags, bool no_points_to, bool final_rebuild);

// As passes of the pipeline: the hierarchy for those who only look, and for those who change loops.
bool find_loop_hierarchy();
bool prepare_loops();

} // namespace pelorus
