// See candidates.h.
#include "tree/candidates.h"

#include <limits>
#include <vector>

#include "ir/call.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "tree/access.h"

namespace pelorus {

namespace {

constexpr int32_t MOST_CANDIDATES = int32_t{std::numeric_limits<int16_t>::max()} + 1;

// What keeps variables from being candidates.
struct OBSTACLES {
    std::vector<bool> hard_to_see; // by serial number: some statement assigns the variable other than by its
                                   //   name, as through a COMMAOP
    bool can_be_returned_to = false; // the function calls setjmp or its like
};

void note_access(OBSTACLES& obstacles, const TREE_ACCESS& access) {
    if (!access.symbol) {
        obstacles.can_be_returned_to |= is_call(access.by) && may_return_twice(access.by);
        return;
    }
    if (access.kind == ACCESS::EXPOSE) expose_symbol(access.symbol);
    if (access.symbol->level > 0 && is_definition(access) && (!is_plain(access) || access.part))
        obstacles.hard_to_see[static_cast<size_t>(access.symbol->serial)] = true;
}

bool may_be_candidate(const SYMBOL& symbol) {
    const bool is_local = symbol.storage_class == SC_AUTO || symbol.storage_class == SC_REGISTER;
    return is_local && !symbol.address_exposed && !symbol.replaced && type_is_scalar(symbol.type) &&
           !type_is_volatile(symbol.type);
}

} // namespace

CANDIDATES build_candidate_list(std::span<const STMT* const> lists) {
    clear_exposures();
    OBSTACLES obstacles{std::vector<bool>(static_cast<size_t>(function_symbols.serial))};
    for (const STMT* statement : lists)
        for (; statement; statement = statement->next)
            for_each_access(statement->tree,
                            [&](const TREE_ACCESS& access) { note_access(obstacles, access); });
    CANDIDATES candidates{zone_array<SYMBOL*>(true, static_cast<size_t>(function_symbols.serial)), 0};
    for_each_function_symbol([&](SYMBOL* symbol) {
        symbol->candidate = NO_CANDIDATE;
        const bool is_candidate = may_be_candidate(*symbol) && !obstacles.can_be_returned_to &&
                                  !obstacles.hard_to_see[static_cast<size_t>(symbol->serial)];
        if (is_candidate && candidates.count < MOST_CANDIDATES) {
            symbol->candidate = static_cast<CANDIDATE_NUMBER>(candidates.count);
            candidates.symbols[candidates.count++] = symbol;
        }
    });
    return candidates;
}

void drop_candidate(CANDIDATES& candidates, SYMBOL* symbol) {
    if (symbol->candidate < 0) return;
    candidates.symbols[symbol->candidate] = nullptr;
    symbol->candidate = NO_CANDIDATE;
}

void number_candidates(CANDIDATES& candidates) {
    int32_t count = 0;
    for (int32_t i = 0; i < candidates.count; ++i) {
        SYMBOL* symbol = candidates.symbols[i];
        if (!symbol) continue;
        symbol->candidate = static_cast<CANDIDATE_NUMBER>(count);
        candidates.symbols[count++] = symbol;
    }
    candidates.count = count;
}

} // namespace pelorus
