// What decides between the two ways to the dominator trees, and compares them; see dominators.h.
//
// When the fast computation refuses the graph, a block's immediate dominator is read off its set: of its
// dominators the one with the greatest number below its own. Blocks are numbered depth-first, so that a block
// comes behind its dominators and those behind each other.
#include "cfg/dominators.h"

#include <utility>

#include "support/checking.h"
#include "support/fatal.h"
#include "support/pseudo_options.h"
#include "support/trace.h"

namespace pelorus {

namespace {

void number_as_chained(BB* block) {
    for (const DIRECTION direction : {FORWARD, REVERSE}) {
        block->dfs_num[direction] = block->dfn;
        dominator_vertex[direction][static_cast<size_t>(block->dfn)] = block;
    }
}

void read_dominators_off_sets() {
    find_dominator_sets();
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        number_as_chained(block);
        block->idom[REVERSE] = 0;
        if (block->dfn == 1) continue;
        if (const BLOCK_NUMBER nearest = nearest_in_dominator_set(block)) block->idom[FORWARD] = nearest;
    }
}

// --- The comparison ---

int number_or_none(const BB* block) { return block ? block->dfn : 0; }

void compare_with_set(const BB* block) {
    const int fast = number_or_none(immediate_dominator(block));
    const int slow = nearest_in_dominator_set(block);
    if (fast != slow)
        fatal_error("Error - fast_dom thinks that BB%d %s %d %s %d\n", block->dfn, " has a dominator of ",
                    fast, " and its dominator set says ", slow);
}

void compare_with_sets() {
    const QUIET_DOMINATOR_SETS sets;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) compare_with_set(block);
}

BB* immediate(DIRECTION direction, const BB* block) {
    BB* const found = dominator_vertex[direction][static_cast<size_t>(block->idom[direction])];
    return found == block ? nullptr : found; // it names itself when it is the only one
}

} // namespace

QUIET_DOMINATOR_SETS::QUIET_DOMINATOR_SETS() : were_there(fact_is_valid(FACT_dominator_sets)) {
    const int debug_output = std::exchange(trace_state.debug_output, 0);
    if (!were_there) compute_dominator_sets();
    trace_state.debug_output = debug_output;
}

QUIET_DOMINATOR_SETS::~QUIET_DOMINATOR_SETS() {
    if (!were_there) forget_dominator_sets();
}

void find_dominators() {
    if (!compute_dominators()) {
        read_dominators_off_sets();
        fact_was_built(FACT_dominator_sets);
    } else if (CHECKING_BUILD || debug_switch("verify")) {
        compare_with_sets();
    }
}

BB* immediate_dominator(const BB* block) { return immediate(FORWARD, block); }
BB* immediate_post_dominator(const BB* block) { return immediate(REVERSE, block); }

FACT_RECORD stored_dominators() {
    FACT_RECORD record;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        record.push_back(static_cast<uint64_t>(number_or_none(immediate_dominator(block))));
        record.push_back(static_cast<uint64_t>(number_or_none(immediate_post_dominator(block))));
    }
    return record;
}

} // namespace pelorus
