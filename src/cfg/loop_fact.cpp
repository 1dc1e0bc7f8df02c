// The fact "loops" as it is, and as another way finds it; see loop.h.
//
// The other way needs no dominators: going through the headers from the last to the first, the blocks that
// reach a source of an edge back without passing the header are its loop's. Blocks that are in a loop already
// stand for it as a whole, which a union-find structure tells in nearly constant time. A way that leads out
// past the header, to a block with a lower number, means that the loop has another entry.
//
// Tarjan: Testing Flow Graph Reducibility. Journal of Computer and System Sciences 9 (1974).
#include <numeric>
#include <vector>

#include "cfg/loop.h"

namespace pelorus {

namespace {

// By block number; number 0 stands for no loop.
struct NEST {
    std::vector<BB*> blocks;
    std::vector<size_t> head;  // of the innermost loop
    std::vector<size_t> whole; // the block that stands for the largest loop found around this one
};

size_t number_of(const BB* block) { return static_cast<size_t>(block->dfn); }

NEST start_nest() {
    NEST nest;
    nest.blocks.push_back(nullptr);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) nest.blocks.push_back(block);
    nest.head.resize(nest.blocks.size());
    nest.whole.resize(nest.blocks.size());
    std::iota(nest.whole.begin(), nest.whole.end(), size_t{0});
    return nest;
}

size_t whole_of(NEST& nest, size_t block) {
    while (nest.whole[block] != block) {
        nest.whole[block] = nest.whole[nest.whole[block]];
        block = nest.whole[block];
    }
    return block;
}

// False when the loop has another entry.
bool find_members(NEST& nest, size_t head) {
    std::vector<size_t> waiting;
    bool is_head = false;
    for (const BB_LIST* cell = nest.blocks[head]->preds; cell; cell = cell->next)
        if (const size_t tail = number_of(cell->block); tail >= head) {
            is_head = true;
            waiting.push_back(whole_of(nest, tail));
        }
    if (is_head) nest.head[head] = head;
    while (!waiting.empty()) {
        const size_t block = whole_of(nest, waiting.back());
        waiting.pop_back();
        if (block == head) continue;
        if (block < head) return false;
        nest.whole[block] = head;
        if (!nest.head[block]) nest.head[block] = head;
        for (const BB_LIST* cell = nest.blocks[block]->preds; cell; cell = cell->next)
            waiting.push_back(whole_of(nest, number_of(cell->block)));
    }
    return true;
}

uint64_t pair_of(const BB* block, const BB* head) {
    return static_cast<uint64_t>(block->uon) << 16 | (head ? head->uon : 0);
}

} // namespace

FACT_RECORD stored_loops() {
    FACT_RECORD record;
    if (!flow_graph.root_loop) return record;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        record.push_back(pair_of(block, block->loop->head));
    return record;
}

FACT_RECORD computed_loops() {
    FACT_RECORD record;
    if (!flow_graph.root_loop) return record;
    NEST nest = start_nest();
    for (size_t head = nest.blocks.size(); --head > 0;)
        if (!find_members(nest, head)) return record;
    for (size_t block = 1; block < nest.blocks.size(); ++block)
        record.push_back(pair_of(nest.blocks[block], nest.blocks[nest.head[block]]));
    return record;
}

} // namespace pelorus
