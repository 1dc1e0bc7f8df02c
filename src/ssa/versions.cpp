// See versions.h.
//
//   1. One walk notes the accesses to candidates, in the order of evaluation. It tells which variables are
//      tracked, and how often each is defined.
//   2. The notes are gone through, blocks in depth-first order. A definition begins a version. A use means
//      the last version of its block, or the one that the block is entered with: that is looked for up the
//      chain of single predecessors, and where several blocks lead to one, a phi is made.
//   3. The operands of phis are found in the same way, which may make more phis.
//
// So there are phis for uses alone, and neither dominators nor live variables are needed. A variable that is
// used behind a long ladder of joins gets a phi in each: the worst is the product of joins and variables, as
// it is for live variables in bits.
#include "ssa/versions.h"

#include <utility>

#include "cfg/candidate_fact.h"
#include "ir/stmt.h"
#include "scalar/assignment_query.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"

namespace pelorus {

bool is_operator_assignment(const NODE* node) {
    return opcode_assigns(node->op) && plain_operator(node->op) != OP_NOP;
}

namespace {

// Blocks at whose entry a variable may be looked up when that may not take long. Functions as people write
// them need one for an access at the most.
struct SEARCH_LIMITS {
    size_t at_least = 10000;
    size_t by_access = 8;
};
constexpr SEARCH_LIMITS SEARCH;

// By candidate number.
struct TRACKED {
    uint32_t definitions = 0;
    const char* why_not = nullptr; // it has no versions; null: it has
    const STMT* last = nullptr;    // statement that defines it
    VERSION only = NO_VERSION;     // of a variable that is defined once
};

struct NOTED_ACCESS {
    NODE* name;
    NODE* by;
    STMT* cell;
    BB* block;
    ACCESS kind;
};

// Versions by block and variable. A table with open addressing, since it is what construction does most.
class VERSION_TABLE {
public:
    VERSION_TABLE() : slots(64) {}
    // NO_VERSION when there is none.
    VERSION find(uint64_t key) const { return slots[place_of(key)].version; }
    size_t size() const { return count; }
    void put(uint64_t key, VERSION version) {
        SLOT& slot = slots[place_of(key)];
        count += !slot.key;
        slot = {key, version};
        if (count * 2 > slots.size()) grow();
    }

private:
    struct SLOT {
        uint64_t key = 0; // no block has the number 0
        VERSION version = NO_VERSION;
    };
    std::vector<SLOT> slots;
    size_t count = 0;

    size_t place_of(uint64_t key) const {
        constexpr uint64_t GOLDEN_RATIO = 0x9E3779B97F4A7C15;
        size_t place = (key * GOLDEN_RATIO) >> 32 & (slots.size() - 1);
        while (slots[place].key && slots[place].key != key) place = (place + 1) & (slots.size() - 1);
        return place;
    }
    void grow() {
        std::vector<SLOT> old(slots.size() * 2);
        old.swap(slots);
        for (const SLOT& slot : old)
            if (slot.key) slots[place_of(slot.key)] = slot;
    }
};

struct VERSION_SEARCH {
    std::vector<TRACKED> tracked{};
    std::vector<NOTED_ACCESS> accesses{};
    VERSIONS found{};
    VERSION_TABLE at_end{};         // by block and variable: the last one of the block so far
    VERSION_TABLE at_entry{};       // the same: found to be the one that it is entered with
    std::vector<BB*> way{};         // scratch
    size_t most_entries = SIZE_MAX; // of `at_entry`
};

bool takes_too_long(const VERSION_SEARCH& search) { return search.at_entry.size() > search.most_entries; }

// --- 1 ---

bool is_trackable_definition(const TREE_ACCESS& access, const STMT* cell) {
    if (!is_kill(access) || !is_plain(access) || access.is_volatile) return false;
    return access.by->op == OP_ASG || (access.by == cell->tree && is_operator_assignment(access.by));
}

void note_access(VERSION_SEARCH& search, const TREE_ACCESS& access, BB* block, STMT* cell) {
    if (!access.symbol || access.symbol->candidate < 0) return;
    search.accesses.push_back({access.name, access.by, cell, block, access.kind});
    TRACKED& variable = search.tracked[candidate_number(access.symbol)];
    if (access.kind == ACCESS::LEND) variable.why_not = "a call gets its address";
    if (!is_definition(access)) return;
    ++variable.definitions;
    if (!is_trackable_definition(access, cell) || variable.last == cell)
        variable.why_not = "it is assigned in the middle of a statement";
    variable.last = cell;
}

void note_accesses(VERSION_SEARCH& search) {
    search.tracked.resize(static_cast<size_t>(function_candidates.count));
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(cell->tree,
                            [&](const TREE_ACCESS& access) { note_access(search, access, block, cell); });
}

// What is known without its accesses.
const char* why_untracked(const SYMBOL* symbol) {
    if (is_seen_by_debugger(symbol)) return "a debugger must see the variable";
    if (symbol->replaced) return "its name stands for another object";
    return nullptr;
}

// True when any variable is.
bool find_tracked(VERSION_SEARCH& search, uint32_t least_definitions) {
    note_accesses(search);
    bool any = false;
    for_each_candidate(function_candidates, [&](const SYMBOL* symbol) {
        TRACKED& variable = search.tracked[candidate_number(symbol)];
        if (const char* why = why_untracked(symbol)) variable.why_not = why;
        if (variable.why_not && variable.definitions > 1)
            search.found.untracked.push_back({symbol, variable.why_not});
        if (variable.definitions < least_definitions) variable.why_not = "it is assigned too seldom";
        any |= !variable.why_not;
    });
    return any;
}

// --- 2 ---

uint64_t key_of(const BB* block, const SYMBOL* variable) {
    return uint64_t{static_cast<uint32_t>(block->dfn)} << 32 | candidate_number(variable);
}

VERSION new_draft(VERSION_SEARCH& search, SYMBOL* variable, uint32_t phi = NO_PHI) {
    const auto number = static_cast<VERSION>(search.found.drafts.size());
    search.found.drafts.push_back({variable, nullptr, nullptr, phi, false});
    return number;
}

VERSION new_phi(VERSION_SEARCH& search, SYMBOL* variable, BB* block) {
    const auto phi = static_cast<uint32_t>(search.found.phis.size());
    const VERSION version = new_draft(search, variable, phi);
    search.found.phis.push_back({block, version, 0, 0});
    return version;
}

// The version with which the block is entered.
VERSION version_at_entry(VERSION_SEARCH& search, BB* block, SYMBOL* variable) {
    search.way.clear();
    VERSION found = NO_VERSION;
    for (BB* here = block; !found;) {
        search.way.push_back(here);
        if (const VERSION known = search.at_entry.find(key_of(here, variable)))
            found = known;
        else if (!here->preds)
            found = new_draft(search, variable);
        else if (here->preds->next)
            found = new_phi(search, variable, here);
        else {
            here = here->preds->block;
            found = search.at_end.find(key_of(here, variable));
        }
    }
    for (const BB* passed : search.way) search.at_entry.put(key_of(passed, variable), found);
    return found;
}

VERSION version_at_end(VERSION_SEARCH& search, BB* block, SYMBOL* variable) {
    const VERSION last = search.at_end.find(key_of(block, variable));
    return last ? last : version_at_entry(search, block, variable);
}

// The only version of a variable that is defined once.
VERSION single_version(VERSION_SEARCH& search, SYMBOL* variable) {
    VERSION& only = search.tracked[candidate_number(variable)].only;
    if (!only) {
        only = new_draft(search, variable);
        search.found.drafts[only].is_single = true;
    }
    return only;
}

void read_access(VERSION_SEARCH& search, const NOTED_ACCESS& access) {
    SYMBOL* symbol = access.name->symbol();
    const TRACKED& variable = search.tracked[candidate_number(symbol)];
    if (variable.why_not) return;
    const bool is_single = variable.definitions == 1;
    if (access.kind != ACCESS::DEF)
        search.found.uses.push_back({access.name, is_single ? single_version(search, symbol)
                                                            : version_at_end(search, access.block, symbol)});
    if (access.kind == ACCESS::USE) return;
    const VERSION version = is_single ? single_version(search, symbol) : new_draft(search, symbol);
    search.found.drafts[version].definition = access.by;
    search.found.drafts[version].cell = access.cell;
    if (!is_single) search.at_end.put(key_of(access.block, symbol), version);
}

// --- 3 ---

void find_operands(VERSION_SEARCH& search) {
    for (size_t i = 0; i < search.found.phis.size() && !takes_too_long(search); ++i) {
        const DRAFT_PHI phi = search.found.phis[i];
        SYMBOL* variable = search.found.drafts[phi.version].variable;
        const auto first = static_cast<uint32_t>(search.found.operands.size());
        for (const BB_LIST* edge = phi.block->preds; edge; edge = edge->next)
            search.found.operands.push_back(version_at_end(search, edge->block, variable));
        search.found.phis[i].first_operand = first;
        search.found.phis[i].operand_count = static_cast<uint32_t>(search.found.operands.size()) - first;
    }
}

} // namespace

VERSIONS find_versions(uint32_t least_definitions, bool may_give_up) {
    build_facts(CANDIDATES_FACT);
    VERSION_SEARCH search;
    // An entry that edges lead to, too, would need a phi with the value from outside.
    if (flow_graph.bb_list->preds || !find_tracked(search, least_definitions)) return std::move(search.found);
    if (may_give_up) search.most_entries = SEARCH.at_least + SEARCH.by_access * search.accesses.size();
    for (const NOTED_ACCESS& access : search.accesses) {
        read_access(search, access);
        if (takes_too_long(search)) break;
    }
    find_operands(search);
    if (!takes_too_long(search)) return std::move(search.found);
    VERSIONS none;
    none.gave_up = true;
    return none;
}

} // namespace pelorus
