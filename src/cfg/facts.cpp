// See facts.h.
#include "cfg/facts.h"

#include <array>

#include "cfg/candidate_fact.h"
#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "cfg/live_variables.h"
#include "cfg/loop.h"
#include "support/fatal.h"

namespace pelorus {

FACT_STATE fact_state;

namespace {

constexpr uint8_t EDGES = EDIT_EDGES;
constexpr uint8_t BLOCKS = EDIT_BLOCKS;
constexpr uint8_t TREES = EDIT_TREES;
constexpr uint8_t SYMBOLS = EDIT_SYMBOLS;
#define FACTS_OF(id) facts_of(FACT_##id)

constexpr std::array<FACT_ROW, FACT_COUNT> FACT_ROWS{{
#define FACT(id, name, depends, lost, where, what) {name, depends, lost, where, what},
#include "cfg/facts.def"
#undef FACT
}};

constexpr const FACT_ROW& row_of(int fact) { return FACT_ROWS[static_cast<size_t>(fact)]; }

constexpr bool rows_stand_behind_what_they_need() {
    for (int fact = 0; fact < FACT_COUNT; ++fact)
        if (row_of(fact).depends >> fact) return false;
    return true;
}
static_assert(rows_stand_behind_what_they_need());

// One sweep is enough, since a row stands behind those that it depends on.
constexpr FACTS with_dependents(FACTS facts) {
    for (int fact = 0; fact < FACT_COUNT; ++fact)
        if (row_of(fact).depends & facts) facts |= FACTS{1} << fact;
    return facts;
}

constexpr std::array<FACTS, EDIT_SETS> losses() {
    std::array<FACTS, EDIT_SETS> by_edits{};
    for (size_t edits = 0; edits < EDIT_SETS; ++edits) {
        for (int fact = 0; fact < FACT_COUNT; ++fact)
            if (row_of(fact).lost & edits) by_edits[edits] |= FACTS{1} << fact;
        by_edits[edits] = with_dependents(by_edits[edits]);
    }
    return by_edits;
}
constexpr std::array<FACTS, EDIT_SETS> LOSSES = losses();

// Those of this folder; the folders above add theirs.
std::array<FACT_BUILDER, FACT_COUNT> builders = [] {
    std::array<FACT_BUILDER, FACT_COUNT> own{};
    own[FACT_numbers] = {renumber_cfg, stored_block_numbers, computed_block_numbers};
    own[FACT_dfn] = {renumber_cfg, stored_block_order, computed_block_order};
    own[FACT_candidates] = {collect_candidates, stored_candidates, computed_candidates};
    own[FACT_live] = {build_live_variables, stored_live_variables, computed_live_variables};
    own[FACT_live_faint] = {build_faintly_live_variables, stored_live_variables,
                            computed_faintly_live_variables};
    own[FACT_dominators] = {find_dominators, stored_dominators, computed_dominators};
    own[FACT_dominator_sets] = {find_dominator_sets, stored_dominator_sets, computed_dominator_sets};
    own[FACT_loops] = {nullptr, stored_loops, computed_loops}; // made by a pass, since the graph changes
    return own;
}();

FACT_BUILDER& builder_of(int fact) { return builders[static_cast<size_t>(fact)]; }

void clear_loop_analyses() {
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) {
        block->loop_control = nullptr;
        block->loop_trips = nullptr;
    }
}

} // namespace

const FACT_ROW& fact_row(FACT fact) { return row_of(fact); }

void set_fact_builder(FACT fact, const FACT_BUILDER& builder) { builder_of(fact) = builder; }

FACTS facts_lost_by(uint8_t edits) { return LOSSES[edits]; }

void forget_facts(FACTS facts) {
    const FACTS lost = fact_state.valid & with_dependents(facts);
    fact_state.valid &= ~lost;
    if (lost & facts_of(FACT_loops)) forget_loops();
    if (lost & facts_of(FACT_loop_analyses)) clear_loop_analyses();
}

void fact_was_built(FACT fact) { fact_state.valid |= facts_of(fact); }

void build_facts(FACTS needed) {
    if (!(needed & ~fact_state.valid)) return; // what valid facts are built from is valid
    // What a fact is built from stands before it, so that going back over the rows finds all that is missing.
    for (int fact = FACT_COUNT; fact-- > 0;)
        if (needed >> fact & 1) needed |= row_of(fact).depends;
    for (int fact = 0; fact < FACT_COUNT; ++fact) {
        if (!((needed & ~fact_state.valid) >> fact & 1)) continue;
        if (!builder_of(fact).build)
            fatal_error("INTERNAL ERROR: nothing builds the fact '%s', which a pass needs\n",
                        row_of(fact).name);
        builder_of(fact).build();
        fact_was_built(static_cast<FACT>(fact));
    }
}

FACT find_stale_fact() {
    for (int fact = 0; fact < FACT_COUNT; ++fact) {
        const FACT_BUILDER& builder = builder_of(fact);
        if (!(fact_state.valid >> fact & 1) || !builder.stored) continue;
        if (builder.stored() != builder.computed()) return static_cast<FACT>(fact);
    }
    return FACT_COUNT;
}

} // namespace pelorus
