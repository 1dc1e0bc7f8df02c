// Passes over assignments to variables: which are needed, where, and what may stand for the variable instead.
#pragma once

namespace pelorus {

struct BB;
struct NODE;
struct STMT;

// --- find_live_variables.cpp ---

// Splits statements at their commas and drops what has no effect. True when the function changed. Linear.
bool normalise_statements();

// The same, and builds the fact "live variables", with
// `faint` the one that leaves out what only feeds itself. True when the function changed.
// Needs: dfn. Keeps: cfg, dfn. Builds: candidates, live or live_faint.
bool find_live_variables(bool faint);

// --- dead_assignments.cpp ---

// Drops assignments to candidates that nobody reads, and puts a value that is read once, by the next
// statement, there. `combine_flagged`: assignments inside expressions become statements where the order of
// evaluation allows. `delay`: assignments that are needed on some ways only move there. Candidates without a
// reference leave the list. Ends with simpcfg when blocks became empty. True when the function changed.
// Needs: dfn. Keeps: cfg, dfn. Breaks: candidates, live.
bool elim_dead_assigns(bool delay, bool combine_flagged);

// --- merge_symbols.cpp ---

// Lets two variables that a copy joins be one where they are not needed at once, and drops the copy. Ends
// with simpcfg when there were any. True when the function changed.
// Needs: dfn. Keeps: cfg, dfn. Breaks: candidates, live. Cost: that of live variables; an assignment to a
// variable that copies join to n others takes time n, which is at most 1,024.
bool merge_symbols();

// --- delay_assignments.cpp ---

// Moves assignments down to the ways on which their value is read (Knoop, Ruething, Steffen: Partial Dead
// Code Elimination, 1994): out of a block into those of its successors that need it. True when one moved.
// Needs: dfn, candidates, live_faint. Keeps: cfg, dfn, candidates. Breaks: live.
bool delay_assignments();

// --- embedded_assignments.cpp ---

// Makes statements of the assignments to candidates that stand inside the block's expressions and are
// evaluated first there. True when the block changed.
bool split_embedded_assignments(BB* block);

// --- combine_assignments.cpp ---

// The value of `first`, an assignment to a candidate that only the next statement reads, and once, takes the
// place of that use; the cell of `first` then holds the result, or null when nothing is left (x = v; v = x).
// The caller knows that nothing behind reads the variable. True when that was done.
bool combine_into_next(BB* block, STMT* first);

// --- combine_stores.cpp ---

// Pairs of neighbouring assignments to memory: overwritten ones go, and values just stored are not loaded
// again. With `late`, when no pass looks at single members and variables any more, narrow stores of constants
// to neighbouring places become one, and increments join the statement before them. True when the function
// changed. Does nothing at level 0.
// Needs: dfn. Keeps: cfg, dfn. Breaks: candidates, live.
bool combine_asgs_to_memory(bool late);
inline bool combine_stores_late() { return combine_asgs_to_memory(true); }

// The same for the statement of the cell and the next one, without what waits for `late`. True when the first
// is gone, and the cell holds the next one.
// Needs: candidates.
bool combine_with_next(BB* block, STMT* cell);

// --- fast_cp.cpp ---

// Copy and constant propagation along extended basic blocks, in at most `sweeps` sweeps, then
// elim_dead_assigns with `delay`. With `combine` assignments to memory are combined first, and dead ones go
// even when nothing was propagated. Does nothing at level 0. True when the function changed.
// Needs: dfn. Keeps: cfg, dfn. Breaks: candidates, live.
bool fast_CP(int sweeps, bool combine, bool delay = false);

// As passes of the pipeline.
inline bool propagate_copies() { return fast_CP(4, true); }
bool propagate_copies_and_delay(); // the last time, from level 2 on
inline bool drop_dead_assignments() { return fast_CP(0, true); }

} // namespace pelorus
