// Passes over single statements and pairs of neighbours. Each answers whether it changed the function.
#pragma once

namespace pelorus {

// Prepares the statements of the function as they were read, before the graph is built: simplifies each,
// drops those without effects, says where a call does not return (level 1 and above), and gives variables
// whose values fit a narrower type that type.
// Needs: function.statements, last first.
bool prepare_statements();

// Rewrites the statements of each block in their order, each together with the one before it.
// Needs: cfg, candidates. Keeps: cfg, dfn.
bool rewrite_statements();

} // namespace pelorus
