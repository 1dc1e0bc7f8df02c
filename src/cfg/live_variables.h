// Live variables: which candidates may be read again before they are assigned.
//
// The sets are facts (facts.h). "live" is the textbook's backward problem, without the variables that no way
// from the entry has touched: reading those means nothing. "live_faint" is what the removal of dead
// assignments asks: there x = f(x) and x += e do not keep x alive by themselves, so that a variable that is
// only counted up in a loop is found dead. Both use the same vectors of BB, so that only one of the two holds
// at a time. A function without candidates has no vectors. The six sets of a block take blocks times
// candidates in bits, which is what a function of many of both costs most; they are used again by the next
// run.
//
// Aho, Lam, Sethi, Ullman: Compilers, 2nd edition, section 9.2.5. Faint variables: Giegerich, Moencke,
// Wilhelm: Invariance of Approximative Semantics with Respect to Program Transformations (1981).
#pragma once

#include "cfg/facts.h"

namespace pelorus {

struct NODE;
struct SYMBOL;

// Builds BB::live_in, live_out, defs, uses, all_defs and all_refs of every block. Needs: dfn, candidates.
// Linear in the statements, and in blocks times candidates over 32 for each sweep of the iteration.
// Errors: a CSE_DUPE or CSE_ORIG in a statement ends the run.
void build_live_variables();
void build_faintly_live_variables();

// What the two facts say: for each block its number and the words of its sets.
FACT_RECORD stored_live_variables();
FACT_RECORD computed_live_variables();
FACT_RECORD computed_faintly_live_variables();

// The candidate that a statement only gives a next value of its own: x = f(x) without side effects, or
// x op= e. Null for all other statements.
SYMBOL* faint_variable(const NODE* statement);

} // namespace pelorus
