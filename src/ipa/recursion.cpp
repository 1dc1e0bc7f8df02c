// See recursion.h.
//
//   1. Calls by name are edges between functions. Calls through pointers go to a node that stands for all
//      functions whose address is taken, calls out of the file to the pseudo-function, which calls back what
//      outside can call.
//   2. The functions in circles of edges are listed: the members of components of several nodes
//      (components.h), and those that call themselves.
//
// A function of the C library may call whatever its caller's program holds, so that a caller of one reaches
// every function unless the file is the whole program.
//
// All that is asked is whether a function reaches itself. That is the diagonal of the closure of the calls,
// which components tell without the rest of it: a vector for each function of what it reaches takes n * n / 8
// bytes, and closing the vectors as many sweeps as calls go backward in a row. bench/README.md has the times.
#include "ipa/recursion.h"

#include <algorithm>

#include "ipa/components.h"
#include "ipa/file_level.h"
#include "ipa/reports.h"

namespace pelorus {

namespace {

// Nodes: functions by their numbers, which begin at 1, and behind those
struct CALL_NODES {
    uint32_t by_pointer; // what calls through pointers reach
    uint32_t outside;    // the pseudo-function
    uint32_t anything;   // every function
};

CALL_NODES number_nodes() {
    const uint32_t last = file_level.node_count;
    return {last + 1, last + 2, last + 3};
}

bool calls_anything(const FUNINFO& info) {
    return !file_level.whole_program && (info.flags & FUN_calls_SYSTEM);
}

void add_calls(GRAPH_EDGES& graph, const CALL_NODES& nodes, const FUNINFO& info) {
    for (const FUNCTION_REFERENCE* callee = info.callees; callee; callee = callee->next)
        if (callee->function->number != NO_CALL_GRAPH_NUMBER)
            graph.targets.push_back(callee->function->number);
    if (info.flags & FUN_calls_anonymous) graph.targets.push_back(nodes.by_pointer);
    if (file_level.use_pseudo_function && (info.flags & FUN_calls_OUTSIDE))
        graph.targets.push_back(nodes.outside);
    if (calls_anything(info)) graph.targets.push_back(nodes.anything);
}

// In a very large file the functions at the end of the graph share the last number, and so a node.
void add_functions(GRAPH_EDGES& graph, const CALL_NODES& nodes) {
    graph.end_node(); // 0 is no number
    const std::vector<FUNINFO*>& functions = file_level.functions;
    for (size_t i = 0; i < functions.size(); ++i) {
        add_calls(graph, nodes, *functions[i]);
        if (i + 1 == functions.size() || functions[i + 1]->number != functions[i]->number) graph.end_node();
    }
}

template <class F>
void add_functions_where(GRAPH_EDGES& graph, F is_called) {
    for (const FUNINFO* info : file_level.functions)
        if (is_called(*info)) graph.targets.push_back(info->number);
}

GRAPH_EDGES possible_calls(const CALL_NODES& nodes) {
    GRAPH_EDGES graph;
    add_functions(graph, nodes);
    add_functions_where(graph, [](const FUNINFO& info) { return (info.flags & FUN_is_anonymous) != 0; });
    graph.targets.push_back(nodes.outside); // a pointer may lead out of the file
    graph.end_node();
    if (!file_level.whole_program)
        add_functions_where(graph, [](const FUNINFO& info) { return (info.flags & FUN_is_extern) != 0; });
    graph.targets.push_back(nodes.by_pointer); // outside has the addresses that it was given
    graph.end_node();
    add_functions_where(graph, [](const FUNINFO&) { return true; });
    graph.end_node();
    return graph;
}

bool reaches_itself(const GRAPH_EDGES& graph, const COMPONENTS& components, uint32_t node) {
    if (components.of(components.component[node]).size() > 1) return true;
    return std::ranges::find(graph.of(node), node) != graph.of(node).end();
}

} // namespace

void report_recursion() {
    const GRAPH_EDGES graph = possible_calls(number_nodes());
    const COMPONENTS components = find_components(graph);
    bool found = false;
    for (const FUNINFO* info : file_level.functions) {
        if (!reaches_itself(graph, components, info->number)) continue;
        if (!found) report("\nThese functions may be recursive:\n");
        found = true;
        report("\t%s()\n", info->name);
    }
}

} // namespace pelorus
