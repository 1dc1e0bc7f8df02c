// The fast computation of immediate dominators and post-dominators; see dominators.h.
//
// Once in each direction, all on arrays by depth-first number:
//
//   1. The blocks are numbered by a depth-first search, which makes a spanning tree. Graphs in which a way
//      from the start does not reach every block are refused, as are those without one exit at the end.
//   2. From the last block to the second: the semidominator is the least-numbered block from which a way with
//      greater numbers in between leads to the block. EVAL finds it: of the blocks on the way up in the
//      forest of what was handled already, the one whose own semidominator is least. Blocks wait in the
//      bucket of their semidominator until the forest has grown up to it.
//   3. From the second block to the last: where the immediate dominator is not the semidominator, it is that
//      of the block that step 2 noted.
//
// EVAL leaves the forest as it is: there is no path compression, so it takes time in proportion to the way
// up, and graphs in which many such ways are long take quadratic time: a deep nest of loops, whose tails lead
// up through all the loops inside, or a ladder. Nests of people's programs are a few deep; bench/README.md
// has figures. The buckets are bit vectors, one a block, so memory is quadratic, too: 1 MB for 3,000 blocks,
// 134 MB for the most that a function can have, given back at the end, and untouched where there is none.
//
// Lengauer, Tarjan: A Fast Algorithm for Finding Dominators in a Flowgraph. TOPLAS 1 (1979).
#include "cfg/dominators.h"

#include "cfg/bitvec.h"
#include "cfg/graph_edit.h"
#include "memory/zone.h"
#include "support/trace.h"

namespace pelorus {

std::array<std::vector<BB*>, DIRECTIONS> dominator_vertex;

namespace {

// What step 2 knows of a block.
struct DOM_VERTEX {
    int16_t dfs_parent; // in the spanning tree; 0: the root
    int16_t ancestor;   // in the forest: the parent, once the block was handled; 0: a root of the forest
    int16_t semi;       // semidominator; its own number until it is handled
    int16_t label;      // what EVAL found last; its own number before
};

struct FAST_DOM {
    DIRECTION direction;
    int16_t blocks;                 // in the chain
    BITVEC_TABLE& buckets;          // by depth-first number
    std::vector<DOM_VERTEX> work{}; // the same
    std::vector<bool> has_bucket{}; // the same: whether its bucket has members; its bits mean nothing before
    int16_t numbered = 0;           // by the search
    // The edges that the search has not followed yet, of each block on its way down.
    std::vector<const BB_LIST*> path{};

    std::vector<BB*>& vertex() const { return dominator_vertex[direction]; }
    BB* block(int16_t number) const { return vertex()[static_cast<size_t>(number)]; }
    DOM_VERTEX& at(int16_t number) { return work[static_cast<size_t>(number)]; }
    int16_t number_of(const BB* block) const { return block->dfs_num[direction]; }
    const BB_LIST* onward(const BB* block) const {
        return direction == FORWARD ? block->succs : block->preds;
    }
    const BB_LIST* backward(const BB* block) const {
        return direction == FORWARD ? block->preds : block->succs;
    }
};

// --- Refusal ---

bool is_graph_exit(const BB* block) {
    return !block->succs || (has_one(block->succs) && only_of(block->succs) == block);
}

bool is_refused() {
    int exits = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (block != flow_graph.bb_list && !block->preds) return true;
        if (!is_graph_exit(block)) continue;
        if (block->dflink) return true;
        ++exits;
    }
    return exits != 1;
}

// --- 1: numbering ---

// False when there are more blocks to number than the chain holds.
bool visit_block(FAST_DOM& dom, BB* block, int16_t parent) {
    if (dom.numbered == dom.blocks) return false;
    const int16_t number = ++dom.numbered;
    block->dfs_num[dom.direction] = number;
    dom.vertex()[static_cast<size_t>(number)] = block;
    dom.at(number) = {parent, 0, number, number};
    dom.path.push_back(dom.onward(block));
    return true;
}

// The blocks on the path are those numbered last on the way down, so their numbers come from the tree.
bool number_from(FAST_DOM& dom, BB* root) {
    if (!visit_block(dom, root, 0)) return false;
    int16_t here = dom.numbered;
    while (!dom.path.empty()) {
        const BB_LIST* edge = dom.path.back();
        while (edge && dom.number_of(edge->block)) edge = edge->next;
        if (edge) {
            dom.path.back() = edge->next;
            if (!visit_block(dom, edge->block, here)) return false;
            here = dom.numbered;
        } else {
            dom.path.pop_back();
            here = dom.at(here).dfs_parent;
        }
    }
    return true;
}

bool number_blocks(FAST_DOM& dom) {
    if (dom.direction == FORWARD) return number_from(dom, flow_graph.bb_list);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (is_graph_exit(block) && !dom.number_of(block) && !number_from(dom, block)) return false;
    return true;
}

bool all_are_numbered(const FAST_DOM& dom) {
    if (dom.numbered != dom.blocks) return false;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* edge = dom.backward(block); edge; edge = edge->next)
            if (!dom.number_of(edge->block)) return false;
    return true;
}

// --- 2: semidominators ---

// The block with the least semidominator on the way up from v, v included, the root of the tree not; of
// several the uppermost. Where the last search ended lies on this way, so beginning there changes nothing.
int16_t EVAL(FAST_DOM& dom, int16_t v) {
    DOM_VERTEX& start = dom.at(v);
    if (!start.ancestor) return v;
    int16_t best = start.label;
    int16_t least = start.semi;
    for (int16_t u = start.ancestor; dom.at(u).ancestor; u = dom.at(u).ancestor)
        if (dom.at(u).semi <= least) {
            best = u;
            least = dom.at(u).semi;
        }
    return start.label = best;
}

void put_in_bucket(FAST_DOM& dom, int16_t semi, int16_t w) {
    const auto slot = static_cast<size_t>(semi);
    bitvec* bucket = &dom.buckets.sets[slot];
    if (!dom.has_bucket[slot]) bv_fill(bucket, false);
    dom.has_bucket[slot] = true;
    bv_set(bucket, static_cast<uint32_t>(w));
}

void note_dominators_of_bucket(FAST_DOM& dom, int16_t parent) {
    if (!dom.has_bucket[static_cast<size_t>(parent)]) return;
    const bitvec* bucket = &dom.buckets.sets[parent];
    for (uint32_t member = bv_next(bucket, 1); member != BV_NONE; member = bv_next(bucket, member + 1)) {
        const auto v = static_cast<int16_t>(member);
        const int16_t u = EVAL(dom, v);
        dom.block(v)->idom[dom.direction] = dom.at(u).semi < dom.at(v).semi ? u : parent;
    }
}

// A bucket is never emptied. Reading it below each child of its block would evaluate its members anew each
// time, and the last time stands: EVAL depends on the forest alone. So it is enough to read it below the last
// child to be handled, which is the first that the search found and so has the next number.
void find_semidominators(FAST_DOM& dom) {
    for (int16_t w = dom.blocks; w >= 2; --w) {
        DOM_VERTEX& at = dom.at(w);
        for (const BB_LIST* edge = dom.backward(dom.block(w)); edge; edge = edge->next) {
            const int16_t u = EVAL(dom, dom.number_of(edge->block));
            if (dom.at(u).semi < at.semi) at.semi = dom.at(u).semi;
        }
        put_in_bucket(dom, at.semi, w);
        at.ancestor = at.dfs_parent;
        if (at.dfs_parent == w - 1) note_dominators_of_bucket(dom, at.dfs_parent);
    }
}

// --- 3: dominators ---

// For a block that no bucket gave one, as may be in a graph whose edges do not stand on both sides. Its
// predecessors are asked in both directions.
int16_t guessed_dominator(FAST_DOM& dom, int16_t w) {
    const BB* block = dom.block(w);
    if (has_one(block->preds)) {
        trace("Hooray, safe dominator computation\n");
        return dom.number_of(only_of(block->preds));
    }
    const int16_t chosen = dom.at(w).semi;
    trace("Risky dom computation in compute_dominators\n");
    trace("Assigning BB %d as %s dominator of BB %d\n", dom.block(chosen)->dfn,
          dom.direction == FORWARD ? "FORWARD" : "REVERSE", block->dfn);
    return chosen;
}

void settle_dominators(FAST_DOM& dom) {
    for (int32_t number = 2; number <= dom.blocks; ++number) { // the last may be the greatest of 16 bits
        const auto w = static_cast<int16_t>(number);
        int16_t& idom = dom.block(w)->idom[dom.direction];
        if (!idom) idom = guessed_dominator(dom, w);
        if (idom != dom.at(w).semi) idom = dom.block(idom)->idom[dom.direction];
    }
}

bool find_in_direction(DIRECTION direction, int16_t blocks, BITVEC_TABLE& buckets) {
    FAST_DOM dom{direction, blocks, buckets};
    dom.work.resize(buckets.count);
    dom.has_bucket.resize(buckets.count);
    if (!number_blocks(dom) || !all_are_numbered(dom)) {
        trace("Compute_dominators returning FALSE.  %s\n", "Initialization failed.");
        return false;
    }
    find_semidominators(dom);
    settle_dominators(dom);
    return true;
}

bool find_in_both_directions(int16_t blocks) {
    BITVEC_TABLE buckets;
    const auto slots = static_cast<uint32_t>(blocks) + 2;
    bv_make_table(&buckets, slots, slots);
    const bool found =
        find_in_direction(FORWARD, blocks, buckets) && find_in_direction(REVERSE, blocks, buckets);
    bv_free_table(&buckets);
    return found;
}

// --- The whole ---

void forget_vertices() {
    for (std::vector<BB*>& vertices : dominator_vertex) vertices = {};
}

// Answers the number of blocks.
int16_t start_dominators() {
    size_t blocks = 0;
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link)
        for (const DIRECTION direction : {FORWARD, REVERSE})
            block->dfs_num[direction] = block->idom[direction] = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) ++blocks;
    for (std::vector<BB*>& vertices : dominator_vertex) vertices.assign(blocks + 2, nullptr);
    at_local_release(forget_vertices);
    return static_cast<int16_t>(blocks);
}

void settle_single_block(BB* block) {
    for (const DIRECTION direction : {FORWARD, REVERSE}) {
        block->dfs_num[direction] = block->idom[direction] = 1;
        dominator_vertex[direction][1] = block;
    }
}

} // namespace

bool compute_dominators() {
    const int16_t blocks = start_dominators();
    if (blocks == 1) {
        settle_single_block(flow_graph.bb_list);
        return true;
    }
    return !is_refused() && find_in_both_directions(blocks);
}

} // namespace pelorus
