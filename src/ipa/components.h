// Strongly connected components of a directed graph: the functions that call each other in a circle.
//
// Tarjan: Depth-First Search and Linear Graph Algorithms (1972), with a list of open nodes in place of
// recursion, so that long chains of calls take no stack. Linear in nodes and edges.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace pelorus {

// Nodes are numbered from 0. The targets of node n stand in `targets` from first[n] to first[n + 1].
struct GRAPH_EDGES {
    std::vector<uint32_t> first{0};
    std::vector<uint32_t> targets;

    // Closes the list of the next node's targets, which were put at the end of `targets`.
    void end_node() { first.push_back(static_cast<uint32_t>(targets.size())); }
    uint32_t count() const { return static_cast<uint32_t>(first.size() - 1); }
    std::span<const uint32_t> of(uint32_t node) const {
        return {targets.data() + first[node], targets.data() + first[node + 1]};
    }
};

struct COMPONENTS {
    std::vector<uint32_t> component; // of each node; an edge leads to the same component or a smaller number
    std::vector<uint32_t> nodes;     // component by component, in the order of their numbers
    std::vector<uint32_t> first{0};  // in `nodes`, of each component, and the end

    uint32_t count() const { return static_cast<uint32_t>(first.size() - 1); }
    std::span<const uint32_t> of(uint32_t number) const {
        return {nodes.data() + first[number], nodes.data() + first[number + 1]};
    }
};

// Callees come before their callers.
COMPONENTS find_components(const GRAPH_EDGES& graph);

} // namespace pelorus
