// Building the loop hierarchy; see hierarchy.h.
//
//   1. headers get one back edge each                               normalise_headers.cpp
//   2. the natural loops are found, and the root around them        find_loops.cpp
//   3. loops get preheaders and exits of their own                  loop_edges.cpp
//   4. loops and blocks are numbered, levels and source ranges set  number_loops.cpp
//   5. the hierarchy is checked                                     validate_loops.cpp
//   6. dominators are computed anew and the loops analysed; for loops that are to be optimized, tests move to
//      the ends of loops. That changes what the hierarchy says, which is never patched: 1 to 5 are done again
//   7. the loops get numbers, and the blocks dominators, that hold at the end
//
// Each phase looks at each edge once or twice; what costs more says so in its file. The dominator sets take
// the square of the number of blocks in bits.
#include "loops/hierarchy.h"

#include <vector>

#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "ir/funinfo.h"
#include "loops/analyses.h"
#include "loops/loop_checks.h"
#include "loops/phases.h"
#include "loops/transforms.h"
#include "support/call_points.h"
#include "support/checking.h"
#include "support/decision.h"
#include "support/fatal.h"
#include "support/pseudo_options.h"
#include "support/trace.h"

namespace pelorus {

namespace {

std::vector<const BB*> chain_of_blocks() {
    std::vector<const BB*> chain;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) chain.push_back(block);
    return chain;
}

bool has_back_edge() {
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (cell->block->dfn <= block->dfn) return true;
    return false;
}

bool is_connected() {
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        if ((block == flow_graph.bb_list) != !block->preds) return false;
    return true;
}

// Phase 5, where somebody looks. A fault is one of the phases before, never the program's.
void check_structure(LOOPREC* root) {
    const bool verifies = CHECKING_BUILD || debug_switch("verify");
    if (!verifies && !debug_on()) return;
    const LOOP_ERRORS errors = validate_loops(root, true);
    if (verifies && errors.corrected + errors.uncorrected)
        fatal_error("INTERNAL ERROR: the loop hierarchy of %s() has %d faults\n", function.info->name,
                    errors.corrected + errors.uncorrected);
}

// Phases 1 to 5; null when the function gets no hierarchy. One without loops needs no dominators.
LOOPREC* build_structure(bool& changed) {
    if (has_back_edge()) {
        if (!normalise_headers()) return nullptr;
        build_facts(facts_of(FACT_dfn, FACT_dominators, FACT_dominator_sets));
    }
    LOOPREC* root = find_loops();
    if (!root) return nullptr;
    link_loops(root);
    const bool complete = add_preheaders(root) && add_exits(root);
    // An edge that was led to a landing that stood there already makes no block, but loses the dominators.
    changed |= root->first_inner && !fact_is_valid(FACT_dominators);
    if (!complete) {
        forget_loops();
        return nullptr;
    }
    number_loops(root);
    check_structure(root);
    return root;
}

// Phase 6; false when the hierarchy holds no longer.
bool work_on_loops(LOOPREC* root, bool optimizes, bool no_points_to, bool& changed) {
    if (root->first_inner) build_facts(facts_of(FACT_dominators, FACT_dominator_sets));
    if (!no_points_to) call_point(CALL_POINT::POINTS_TO);
    changed |= analyse_loops(root);
    if (!optimizes) return true;
    if (replicate_tests(root)) {
        changed = true;
        return false;
    }
    changed |= fold_guards(root);
    call_point(CALL_POINT::SCALAR_MEMORY_REFERENCES);
    return true;
}

// Phases 1 to 6, until nothing changes the hierarchy any more. Each round but the last moves a test, and no
// test is moved twice, since the loop then has it at its end.
LOOPREC* build(bool optimizes, bool no_points_to, bool& changed) {
    for (;;) {
        const int32_t blocks = flow_graph.last_uon;
        forget_facts(facts_of(FACT_loops));
        flow_graph.root_loop = build_structure(changed);
        if (const int32_t added = flow_graph.last_uon - blocks)
            made(SITE_loop_hierarchy, "{} blocks that only jump", added);
        build_facts(DFN_FACT);
        fact_was_built(FACT_loops);
        if (!flow_graph.root_loop || work_on_loops(flow_graph.root_loop, optimizes, no_points_to, changed))
            return flow_graph.root_loop;
    }
}

// The end of each way: what was known before is known again, and that there is no hierarchy is known as well.
bool finish(FACTS before, bool changed) {
    build_facts(before & ~facts_of(FACT_loops, FACT_loop_analyses));
    fact_was_built(FACT_loops);
    if (fact_is_valid(FACT_candidates)) fact_was_built(FACT_loop_analyses);
    return changed;
}

} // namespace

bool build_loop_hierarchy(uint32_t flags, bool no_points_to, bool final_rebuild) {
    trace("\n\n\t\t\t---------- ENTERING 'build_loop_hierarchy' -------\n");
    const bool optimizes = (flags & 0xFF) != 0;
    const FACTS before = fact_state.valid & LOOP_FACTS;
    forget_facts(facts_of(FACT_loops));
    flow_graph.root_loop = nullptr;
    stand_at(0, 0);
    if (!is_connected() || (optimizes && !has_back_edge()) || !may_change(SITE_loop_hierarchy))
        return finish(before, false);
    const std::vector<const BB*> chain = chain_of_blocks();
    bool changed = false;
    LOOPREC* root = build(optimizes, no_points_to, changed);
    changed |= chain_of_blocks() != chain;
    if (!root) return finish(before, changed);
    if (final_rebuild) build_facts(facts_of(FACT_dominators));
    call_point(CALL_POINT::POINTS_TO);
    if (optimizes) {
        call_point(CALL_POINT::VALUE_PROPAGATION);
        if (!fact_is_valid(FACT_loop_analyses)) changed |= analyse_loops(root);
        if (debug_switch("check_trips") && check_trips(root)) {
            analyse_loops(root);
            changed = true;
        }
    }
    if ((CHECKING_BUILD || debug_on()) && check_clone_marks(root))
        fatal_error("INTERNAL ERROR: marks of cloned loops do not fit together\n");
    dump_loops(root);
    return finish(before, changed);
}

bool find_loop_hierarchy() { return build_loop_hierarchy(0, false, false); }
bool prepare_loops() { return build_loop_hierarchy(1, false, true); }

} // namespace pelorus
