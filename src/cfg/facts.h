// Facts: what analyses found out about the current function, and whether it still holds.
//
// facts.def is the table: what each fact is built from, what loses it, where it is stored. Whoever edits the
// graph or the statements says so by the functions of graph_edit.h and statement_edit.h, which call
// `lose_facts`; a lost fact is never patched, but built anew when the next pass needs it. The runner builds
// what a pass's row needs and takes away what the row does not keep.
//
// In checking builds the runner has every fact that is still called valid computed once more and compared,
// so that an edit that was not reported is found at the pass that made it.
#pragma once

#include <cstdint>
#include <vector>

namespace pelorus {

enum FACT : uint8_t {
#define FACT(id, name, depends, lost, where, what) FACT_##id,
#include "cfg/facts.def"
#undef FACT
    FACT_COUNT,
};

// A set of facts.
using FACTS = uint32_t;
constexpr FACTS facts_of(FACT fact) { return FACTS{1} << fact; }
template <class... T>
constexpr FACTS facts_of(FACT fact, T... more) {
    return facts_of(fact) | facts_of(more...);
}
constexpr FACTS NUMBERS_FACT = facts_of(FACT_numbers);
constexpr FACTS DFN_FACT = NUMBERS_FACT | facts_of(FACT_dfn);
constexpr FACTS CANDIDATES_FACT = facts_of(FACT_candidates);
// What the blocks and edges alone say.
constexpr FACTS STRUCTURE_FACTS = DFN_FACT | facts_of(FACT_dominators, FACT_dominator_sets, FACT_loops);
// All that building a loop hierarchy leaves behind.
constexpr FACTS LOOP_FACTS = facts_of(FACT_numbers, FACT_dfn, FACT_candidates, FACT_dominators,
                                      FACT_dominator_sets, FACT_loops, FACT_loop_analyses);
constexpr FACTS NO_FACTS = 0;
constexpr FACTS ALL_FACTS = (FACTS{1} << FACT_COUNT) - 1;

// What an edit changed; a set.
enum EDIT : uint8_t { EDIT_EDGES = 1, EDIT_BLOCKS = 2, EDIT_TREES = 4, EDIT_SYMBOLS = 8 };
constexpr int EDIT_SETS = 16;

struct FACT_ROW {
    const char* name;
    FACTS depends; // on these facts
    uint8_t lost;  // by these edits
    const char* where;
    const char* what;
};
const FACT_ROW& fact_row(FACT fact);

// What a fact says, in an order of its own: two records are equal when the facts are.
using FACT_RECORD = std::vector<uint64_t>;

// How a fact is made. The folder that owns an analysis gives its builder; a fact without one cannot be
// needed.
struct FACT_BUILDER {
    void (*build)();           // computes and stores it
    FACT_RECORD (*stored)();   // what is stored
    FACT_RECORD (*computed)(); // what would be, were it built now; stores nothing
};
void set_fact_builder(FACT fact, const FACT_BUILDER& builder);

struct FACT_STATE {
    FACTS valid = NO_FACTS;
};
extern FACT_STATE fact_state;

inline bool fact_is_valid(FACT fact) { return fact_state.valid & facts_of(fact); }

// The facts that edits lose, those built from them included.
FACTS facts_lost_by(uint8_t edits);
// These facts, and all built from them, hold no longer; what they stored in blocks is cleared.
void forget_facts(FACTS facts);

// Something was edited: EDIT_... bits. Costs one look at a table while nothing that it loses is valid.
inline void lose_facts(uint8_t edits) {
    if (const FACTS lost = fact_state.valid & facts_lost_by(edits)) forget_facts(lost);
}

// A fact was built by whoever calls this, and what it is built from is valid.
void fact_was_built(FACT fact);
// Builds the facts that are not valid, after what they are built from. A fact without a builder ends the run:
// the pass that needs it cannot run.
void build_facts(FACTS needed);

// The first valid fact that is not what it would be if it were built now; FACT_COUNT when all are. Facts
// without a builder are taken at their word.
FACT find_stale_fact();

} // namespace pelorus
