// See analyses.h.
#include "loops/analyses.h"

#include "cfg/dominators.h"

namespace pelorus {

namespace {

void forget(LOOPREC* loop) {
    loop->LCV = nullptr;
    loop->LCV_test = loop->LCV_increment = loop->LCV_initial = loop->LCV_last = loop->trips = nullptr;
    loop->inductions = nullptr;
    loop->region_constants = loop->altered = loop->variant_conditions = nullptr;
    loop->flags &= ~uint32_t{LOOP_NOT_AFFINE | LOOP_MAY_BE_ENDLESS};
    loop->trip_factor = 1;
    loop->trips_min = 0;
    loop->trips_max = UINT64_MAX;
    loop->max_unroll = MOST_UNROLLING;
    loop->advice = nullptr;
    if (!loop->head) return;
    loop->head->loop_control = nullptr;
    loop->head->loop_trips = nullptr;
}

} // namespace

bool analyse_loops(LOOPREC* root) {
    build_facts(facts_of(FACT_candidates));
    fact_was_built(FACT_loop_analyses);
    if (!root->first_inner) return false;
    bool moved = false;
    for_each_loop(root, [&](LOOPREC* loop) {
        if (loop != root) moved |= take_pragmas(loop);
    });
    build_facts(facts_of(FACT_candidates, FACT_dominator_sets));
    fact_was_built(FACT_loop_analyses); // a pragma that moved lost it
    const LOOP_DEFINITIONS definitions = find_definitions(root);
    for_each_loop(root, [&](LOOPREC* loop) {
        forget(loop);
        if (loop == root) return;
        find_inductions(definitions, loop);
        find_loop_control(definitions, loop);
    });
    return moved;
}

} // namespace pelorus
