// See components.h.
#include "ipa/components.h"

#include <algorithm>

namespace pelorus {

namespace {

constexpr uint32_t UNSEEN = UINT32_MAX;

struct OPEN_NODE {
    uint32_t node;
    uint32_t next_edge; // in GRAPH_EDGES::targets
};

struct SEARCH {
    const GRAPH_EDGES& graph;
    COMPONENTS found{};
    std::vector<uint32_t> order{};  // in which each node was seen
    std::vector<uint32_t> lowest{}; // the first seen open node that it leads to
    std::vector<uint32_t> open{};   // nodes whose component is not complete
    std::vector<OPEN_NODE> path{};
    uint32_t seen = 0;
};

void enter(SEARCH& search, uint32_t node) {
    search.order[node] = search.lowest[node] = search.seen++;
    search.open.push_back(node);
    search.path.push_back({node, search.graph.first[node]});
}

// The open nodes from `node` on are a component.
void close(SEARCH& search, uint32_t node) {
    uint32_t member = UNSEEN;
    do {
        member = search.open.back();
        search.open.pop_back();
        search.found.component[member] = search.found.count();
        search.found.nodes.push_back(member);
    } while (member != node);
    search.found.first.push_back(static_cast<uint32_t>(search.found.nodes.size()));
}

void leave(SEARCH& search, uint32_t node) {
    search.path.pop_back();
    if (search.lowest[node] == search.order[node]) close(search, node);
    if (search.path.empty()) return;
    uint32_t& above = search.lowest[search.path.back().node];
    above = std::min(above, search.lowest[node]);
}

void follow(SEARCH& search, uint32_t from, uint32_t to) {
    if (search.order[to] == UNSEEN)
        enter(search, to);
    else if (search.found.component[to] == UNSEEN) // it is open
        search.lowest[from] = std::min(search.lowest[from], search.order[to]);
}

void search_from(SEARCH& search, uint32_t root) {
    enter(search, root);
    while (!search.path.empty()) {
        OPEN_NODE& top = search.path.back();
        if (top.next_edge < search.graph.first[top.node + 1]) {
            const uint32_t target = search.graph.targets[top.next_edge++];
            follow(search, top.node, target);
        } else {
            leave(search, top.node);
        }
    }
}

} // namespace

COMPONENTS find_components(const GRAPH_EDGES& graph) {
    SEARCH search{graph};
    search.found.component.assign(graph.count(), UNSEEN);
    search.order.assign(graph.count(), UNSEEN);
    search.lowest.assign(graph.count(), UNSEEN);
    for (uint32_t node = 0; node < graph.count(); ++node)
        if (search.order[node] == UNSEEN) search_from(search, node);
    return std::move(search.found);
}

} // namespace pelorus
