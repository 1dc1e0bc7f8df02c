// Candidates: the variables of the current function that a data-flow pass tracks.
//
// A candidate is a local scalar, not volatile, whose address the statements do not take, and which they
// assign by its name alone. So nothing but the statements that name it reads or changes it.
//
// A function that calls setjmp or its like has no candidates: any call behind may lead back there, with the
// variables as they are then, and the graph has no edge that says so.
#pragma once

#include <cstdint>
#include <span>

#include "ir/symbol.h"

namespace pelorus {

struct STMT;

struct CANDIDATES {
    SYMBOL** symbols; // in the function zone, by candidate number; null: dropped since the last numbering
    int32_t count;    // numbers given, those of dropped ones included: the size of a set of candidates
};

// The number of a candidate as a member of sets.
inline uint32_t candidate_number(const SYMBOL* symbol) { return static_cast<uint32_t>(symbol->candidate); }

// Calls visit(symbol) for each candidate that was not dropped, in the order of their numbers.
template <class F>
void for_each_candidate(const CANDIDATES& candidates, F visit) {
    for (int32_t i = 0; i < candidates.count; ++i)
        if (SYMBOL* symbol = candidates.symbols[i]) visit(symbol);
}

// Collects the candidates and numbers them from 0 (at most 32767); every other symbol of the function gets
// -1. Notes in `address_exposed` of every symbol whether the statements take its address, or that of a part
// of it. `lists` are the function's statements: one list before the graph is built, afterwards one for each
// block.
CANDIDATES build_candidate_list(std::span<const STMT* const> lists);

// A list may be kept from pass to pass as long as the statements expose nothing more. A pass that finds a
// candidate not worth tracking drops it: it is no candidate from then on, but the others keep their numbers,
// so that sets made before stay right. Numbering closes the gaps, in the order of the list; sets made before
// are then of no use any more.
void drop_candidate(CANDIDATES& candidates, SYMBOL* symbol);
void number_candidates(CANDIDATES& candidates);

} // namespace pelorus
