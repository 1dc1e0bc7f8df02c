// The sets of dominators and post-dominators by iteration; see dominators.h.
//
// Every set begins with all blocks, those of blocks without edges to come from with the block alone; then
// each becomes what the sets of all neighbours have in common and the block itself, until nothing changes.
// Dominators are swept in the order of the chain and post-dominators against it, so that what was found for
// the neighbours is mostly there: two sweeps do where no loop is irreducible. Each takes as many steps as
// there are edges times the words of a set.
//
// Time and memory are quadratic in the number of blocks, which is the price of asking for any pair with one
// look: each of the two tables takes 1 MB for 3,000 blocks and 134 MB for the most that a function can have.
#include "cfg/dominators.h"

#include "cfg/bitvec.h"
#include "memory/zone.h"
#include "support/hash.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr int NUMBERS_IN_LINE = 14; // of the listing

std::array<BITVEC_TABLE, DIRECTIONS> dominance; // by block number

bitvec* set_in(DIRECTION direction, const BB* block) {
    return &dominance[direction].sets[static_cast<size_t>(block->dfn)];
}

const BB_LIST* edges_from(DIRECTION direction, const BB* block) {
    return direction == FORWARD ? block->preds : block->succs;
}

uint32_t member_of(const BB* block) { return static_cast<uint32_t>(block->dfn); }

// --- Iteration ---

void start_sets(DIRECTION direction) {
    const uint32_t members = static_cast<uint32_t>(flow_graph.bb_count) + 1;
    at_local_release(forget_dominator_sets);
    bv_free_table(&dominance[direction]);
    bv_make_table(&dominance[direction], members, members);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        bv_fill(set_in(direction, block), edges_from(direction, block) != nullptr);
        bv_set(set_in(direction, block), member_of(block));
    }
}

// True when the block's set changed. `common` is a set to work with.
bool meet(DIRECTION direction, const BB* block, bitvec* common) {
    const BB_LIST* edge = edges_from(direction, block);
    if (!edge) return false;
    bv_assign(common, set_in(direction, edge->block));
    while ((edge = edge->next)) bv_and3(common, common, set_in(direction, edge->block));
    bv_set(common, member_of(block));
    return bv_cmp_cpy(set_in(direction, block), common);
}

bool sweep_sets(DIRECTION direction, bitvec* common) {
    bool changed = false;
    BB* const entry = flow_graph.bb_list;
    if (direction == FORWARD) {
        for (const BB* block = entry; block; block = block->dflink) changed |= meet(direction, block, common);
        return changed;
    }
    for (const BB* block = entry->rdflink;; block = block->rdflink) {
        changed |= meet(direction, block, common);
        if (block == entry) return changed;
    }
}

// --- The listing ---

void list_dominated(DIRECTION direction, const BB* block) {
    int listed = 0;
    for (const BB* other = flow_graph.bb_list; other; other = other->dflink) {
        if (!bv_test(set_in(direction, other), member_of(block))) continue;
        if (listed++ % NUMBERS_IN_LINE == 0) trace("\n\t");
        trace("%d ", other->dfn);
    }
}

// Each block's line asks about all others, which is for short functions.
void list_dominance(DIRECTION direction) {
    if (debug_level() <= 1) return;
    list_bb(flow_graph.bb_list, nullptr, debug_file());
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (direction == FORWARD)
            trace("\n  BB %d dominates these...", block->dfn);
        else
            trace("\n  BB %d post-dominates these...", block->dfn);
        list_dominated(direction, block);
    }
    trace("\n");
}

void trace_sweep(DIRECTION direction) {
    if (direction == FORWARD)
        trace("\n\tNext iteration of the CFG dominance computation\n");
    else
        trace("\n\tNext iteration of the CFG post-dominance computation\n");
}

void compute_sets(DIRECTION direction) {
    start_sets(direction);
    bitvec common;
    bv_init(&common, static_cast<uint32_t>(flow_graph.bb_count) + 1, nullptr, false);
    do {
        trace_sweep(direction);
    } while (sweep_sets(direction, &common));
    bv_free(&common);
    list_dominance(direction);
}

} // namespace

void compute_dominator_sets() { compute_sets(FORWARD); }
void compute_post_dominator_sets() { compute_sets(REVERSE); }

void find_dominator_sets() {
    compute_dominator_sets();
    compute_post_dominator_sets();
}

void forget_dominator_sets() {
    for (BITVEC_TABLE& table : dominance) bv_free_table(&table);
}

// --- Questions ---

bool dominates(const BB* block, const BB* other) { return bv_test(set_in(FORWARD, other), member_of(block)); }

bool post_dominates(const BB* block, const BB* other) {
    return bv_test(set_in(REVERSE, other), member_of(block));
}

BLOCK_NUMBER nearest_in_dominator_set(const BB* block) {
    const uint32_t nearest = bv_previous(set_in(FORWARD, block), member_of(block));
    return nearest == BV_NONE ? NOT_REACHED : static_cast<BLOCK_NUMBER>(nearest);
}

// A hash for each set instead of its members, of which there may be too many to write down. Each member adds
// its own number to it, so that a set that is another's and one block more has the other's hash and one
// number more (dominator_check.cpp).
FACT_RECORD stored_dominator_sets() {
    FACT_RECORD record;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const DIRECTION direction : {FORWARD, REVERSE}) {
            bitvec* set = set_in(direction, block);
            bv_clear_tail(set);
            uint64_t hash = 0;
            for (uint32_t word = 0; word < set->n_words; ++word) hash += set->words[word] * mix_hash(1, word);
            record.push_back(hash);
        }
    return record;
}

} // namespace pelorus
