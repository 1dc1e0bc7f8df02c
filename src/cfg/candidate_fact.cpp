// See candidate_fact.h.
#include "cfg/candidate_fact.h"

#include <utility>
#include <vector>

#include "cfg/bb.h"
#include "ir/symbol.h"

namespace pelorus {

CANDIDATES function_candidates;

namespace {

CANDIDATES candidates_of_graph() {
    std::vector<const STMT*> lists;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) lists.push_back(block->stmts);
    return build_candidate_list(lists);
}

} // namespace

void collect_candidates() { function_candidates = candidates_of_graph(); }

FACT_RECORD stored_candidates() {
    FACT_RECORD record;
    for (int32_t i = 0; i < function_candidates.count; ++i)
        if (const SYMBOL* symbol = function_candidates.symbols[i])
            record.push_back(static_cast<uint64_t>(symbol->serial) << 16 |
                             static_cast<uint16_t>(symbol->candidate));
    return record;
}

// The numbers that the collecting gives are taken back.
FACT_RECORD computed_candidates() {
    std::vector<std::pair<SYMBOL*, CANDIDATE_NUMBER>> numbers;
    for_each_function_symbol([&](SYMBOL* symbol) { numbers.emplace_back(symbol, symbol->candidate); });
    candidates_of_graph();
    FACT_RECORD record;
    for (int32_t i = 0; i < function_candidates.count; ++i) {
        const SYMBOL* symbol = function_candidates.symbols[i];
        if (symbol && symbol->candidate >= 0)
            record.push_back(static_cast<uint64_t>(symbol->serial) << 16 | static_cast<uint16_t>(i));
    }
    for (const auto& [symbol, number] : numbers) symbol->candidate = number;
    return record;
}

} // namespace pelorus
