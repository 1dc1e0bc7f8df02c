// Dominators and post-dominators of the blocks, as sets and as trees.
//
// A block dominates another when every way from the entry to that one passes it; it post-dominates it when
// every way from that one to the exit passes it. Every block dominates itself. The nearest of the others is
// the immediate one, so that the immediate ones make a tree.
//
// The trees come from the fast computation (fast_dom.cpp), which refuses graphs without one well-placed exit;
// then the tree of dominators is read off the sets, and there is none of post-dominators.
//
// Blocks are numbered by `dfn`; within a tree they are numbered by a depth-first search of their own, in
// each direction, and BB::idom holds such a number.
#pragma once

#include <array>
#include <vector>

#include "cfg/bb.h"
#include "cfg/facts.h"

namespace pelorus {

enum DIRECTION : uint8_t {
    FORWARD, // from the entry along successors: dominators
    REVERSE, // from the exit along predecessors: post-dominators
};
constexpr int DIRECTIONS = 2;

// --- The trees: FACT_dominators ---

// In each direction the blocks by what BB::idom and BB::dfs_num call them, from 1; there is none at 0 and
// beyond the last. They are numbered by `dfn` when the trees come from the sets.
extern std::array<std::vector<BB*>, DIRECTIONS> dominator_vertex;

// Fills BB::dfs_num and BB::idom of every block, in both directions; false for a graph that it refuses, whose
// blocks then have no use of these. A graph of one block gets 1 in both directions.
// Needs: dfn. Cost: the search upwards shortens no ways, so that the worst graphs take quadratic time.
// Lengauer, Tarjan: A Fast Algorithm for Finding Dominators in a Flowgraph. TOPLAS 1 (1979).
bool compute_dominators();

// Builds FACT_dominators: the fast computation, or else the immediate dominators from the sets, which are
// valid then, too. In checking builds, and with `--debug=verify`, the two are compared, and a difference ends
// the run.
// Needs: dfn.
void find_dominators();

// The nearest dominator but the block itself; null for the entry.
// Needs: dominators.
BB* immediate_dominator(const BB* block);
// The same of post-dominators; null for the exit, and for every block when the graph was refused.
BB* immediate_post_dominator(const BB* block);

// The fact as it is, and as another computation finds it, which needs numbers alone and stores nothing: for
// each block of the chain the numbers of its immediate dominator and post-dominator, 0 for none.
FACT_RECORD stored_dominators();
FACT_RECORD computed_dominators();

// --- The sets: FACT_dominator_sets ---

// Computes the tables by iteration. They take the square of the number of blocks in bits, each, until the
// function is done. A block that no way from the entry reaches is dominated by all blocks, as one from which
// no way leads to an exit is post-dominated by all.
// Needs: dfn. Aho, Lam, Sethi, Ullman: Compilers, 2nd edition, section 9.6.1.
void compute_dominator_sets();
void compute_post_dominator_sets();
// Both, which is the fact.
void find_dominator_sets();
// Gives back the memory of the tables, which hold no longer.
void forget_dominator_sets();

// The sets of dominators for a check, as long as this lives: it leaves no trace, which is the same in all
// builds, and no tables that were not there before, since they are large. Needs: dfn.
struct QUIET_DOMINATOR_SETS {
    QUIET_DOMINATOR_SETS();
    ~QUIET_DOMINATOR_SETS();
    QUIET_DOMINATOR_SETS(const QUIET_DOMINATOR_SETS&) = delete;
    QUIET_DOMINATOR_SETS& operator=(const QUIET_DOMINATOR_SETS&) = delete;
    const bool were_there;
};

// Needs: dominator_sets. One look at a table.
bool dominates(const BB* block, const BB* other);
bool post_dominates(const BB* block, const BB* other);

// The block with the greatest number among those that dominate this one and have smaller numbers, which is
// the immediate dominator where blocks are numbered depth-first; NOT_REACHED when there is none.
// Needs: dominator sets.
BLOCK_NUMBER nearest_in_dominator_set(const BB* block);

FACT_RECORD stored_dominator_sets();
FACT_RECORD computed_dominator_sets();

} // namespace pelorus
