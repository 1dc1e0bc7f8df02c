// A number that tells whether a function changed.
#pragma once

#include <cstdint>

namespace pelorus {

// A hash of the current function: its blocks in their order with statements and edges, or its statement list
// before the graph is built. Analyses that only take notes on nodes and blocks do not change it; block
// numbers do not count, so that numbering again in the same order does not either. Comparable within one run
// only, since records count by where they are.
uint64_t function_fingerprint();

} // namespace pelorus
