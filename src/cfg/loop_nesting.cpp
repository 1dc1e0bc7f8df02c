// See loop_nesting.h.
//
// A depth-first search from the entry. An edge to a block on the way to the present one closes a loop with
// that block as its header; an edge to a block that was left already leads into the loops around that block
// whose headers are still on the way. Each block is linked to its innermost header, headers to those around
// them, and `weave` puts a new header where it belongs in such a chain.
//
// T. Wei, J. Mao, W. Zou, Y. Chen: A New Algorithm for Identifying Loops in Decompilation (2007).
#include "cfg/loop_nesting.h"

#include <utility>

namespace pelorus {

namespace {

struct SEARCH {
    LOOP_NESTING nesting;
    std::vector<int32_t> place; // on the way from the entry, from 1; 0: not on it
    std::vector<bool> seen;
};

// Says that the loop of `header`, which is on the way, is around `block`.
void weave(SEARCH& search, int32_t block, int32_t header) {
    if (block == header || !header) return;
    std::vector<int32_t>& headers = search.nesting.header;
    while (const int32_t inner = headers[static_cast<size_t>(block)]) {
        if (inner == header) return;
        if (search.place[static_cast<size_t>(inner)] < search.place[static_cast<size_t>(header)])
            headers[static_cast<size_t>(block)] = std::exchange(header, inner);
        block = headers[static_cast<size_t>(block)];
    }
    headers[static_cast<size_t>(block)] = header;
}

void follow_edge(SEARCH& search, int32_t block, int32_t target) {
    if (search.place[static_cast<size_t>(target)]) {
        search.nesting.is_header[static_cast<size_t>(target)] = true;
        return weave(search, block, target);
    }
    int32_t header = search.nesting.header[static_cast<size_t>(target)];
    while (header && !search.place[static_cast<size_t>(header)])
        header = search.nesting.header[static_cast<size_t>(header)]; // a loop with a second way in
    weave(search, block, header);
}

struct STEP {
    const BB* block;
    const BB_LIST* edge; // the next one to follow
};

void search_from_entry(SEARCH& search) {
    std::vector<STEP> way;
    const auto enter = [&](const BB* block) {
        const auto number = static_cast<size_t>(block->dfn);
        way.push_back({block, block->succs});
        search.place[number] = static_cast<int32_t>(way.size());
        search.seen[number] = true;
    };
    enter(flow_graph.bb_list);
    while (!way.empty()) {
        const BB* block = way.back().block;
        if (const BB_LIST* edge = way.back().edge) {
            way.back().edge = edge->next;
            if (search.seen[static_cast<size_t>(edge->block->dfn)])
                follow_edge(search, block->dfn, edge->block->dfn);
            else
                enter(edge->block);
            continue;
        }
        way.pop_back();
        search.place[static_cast<size_t>(block->dfn)] = 0;
        if (!way.empty())
            weave(search, way.back().block->dfn, search.nesting.header[static_cast<size_t>(block->dfn)]);
    }
}

// A header comes before the blocks of its loop, in the order of the numbers, but not in graphs that are not
// reducible; so the chains are followed.
void count_depths(LOOP_NESTING& nesting) {
    std::vector<size_t> chain;
    for (size_t block = 1; block < nesting.blocks.size(); block++) {
        for (size_t at = block; at && nesting.depth[at] < 0; at = static_cast<size_t>(nesting.header[at]))
            chain.push_back(at);
        for (; !chain.empty(); chain.pop_back()) {
            const auto header = static_cast<size_t>(nesting.header[chain.back()]);
            nesting.depth[chain.back()] = nesting.depth[header] + nesting.is_header[chain.back()];
        }
    }
}

} // namespace

LOOP_NESTING find_loop_nesting() {
    const auto count = static_cast<size_t>(flow_graph.bb_count) + 1;
    SEARCH search;
    search.nesting = {std::vector<const BB*>(count), std::vector<int32_t>(count),
                      std::vector<int32_t>(count, -1), std::vector<bool>(count)};
    search.nesting.depth[0] = 0;
    search.place.resize(count);
    search.seen.resize(count);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        search.nesting.blocks[static_cast<size_t>(block->dfn)] = block;
    search_from_entry(search);
    count_depths(search.nesting);
    return std::move(search.nesting);
}

} // namespace pelorus
