// A picture of the current function's graph, as text for graphviz's `dot`: docs/graphs.md has examples.
#pragma once

#include <string>

namespace pelorus {

// The blocks with their statements and edges, inside the loops while FACT_loops is valid, the trees of
// dominators and post-dominators, and the layout. `title` stands above. The text is in ASCII, and the same
// for the same function, whatever is in memory besides.
// Needs: numbers. Builds nothing: a picture is also made of a layout, in which dominators may not be built.
std::string graph_picture(const std::string& title);

} // namespace pelorus
