// Coalescing of variables that copies join; see assignments.h.
//
//      t = f(); ... x = t; use(x)          x = f(); ... use(x)
//
//   1. Copies between candidates are collected, and the candidates that must stay as they are.
//   2. Variables that copies join, directly or over others, are a family: nobody else is merged with them, so
//      that they are only compared with each other. One walk up each block finds which are needed at once: an
//      assignment to one while another one is live behind it, unless it is a copy of that one.
//   3. The copies are gone through, those in the innermost loops first. Where nothing of the one side is
//      needed at once with something of the other, the two become one.
//   4. Names are replaced, and copies of a variable to itself go. That leaves blocks empty, and tests equal,
//      such as those of a loop and its guard, which simpcfg sees to.
//
// The name that is kept is that of a parameter's home, or else the one that is oldest, so that variables of
// the source are kept for temporaries.
//
// Chaitin: Register Allocation and Spilling via Graph Coloring. SIGPLAN Notices 17 (1982), section 2. Only
// copies have edges looked for, as Budimlic, Cooper, Harvey, Kennedy, Oberg, Reeves: Fast Copy Coalescing and
// Live-Range Identification. PLDI 2002, observe that nothing else is asked.
#include <algorithm>
#include <vector>

#include "cfg/bb.h"
#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "cfg/loop_nesting.h"
#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/parameters.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// The tables of a family take the square of its size in bits, and an assignment looks at all of it.
constexpr size_t MOST_IN_FAMILY = 1024;

struct COPY {
    const BB* block;
    const STMT* cell;
    uint32_t to, from; // candidates
};

// By candidate number. A class is what was merged so far; who stands for it has the sets of its members.
struct VARIABLE {
    SYMBOL* symbol = nullptr;
    const char* why_not = nullptr;   // it stays as it is; null: it may be merged
    bool is_home = false;            // the copy of a parameter
    uint32_t family = 0;             // the candidate that stands for it
    uint32_t place = 0;              // in the family
    uint32_t merged = 0;             // another member of its class; itself: it stands for the class
    SYMBOL* name = nullptr;          // of the class
    std::vector<uint64_t> members{}; // of the class, by place
    std::vector<uint64_t> rivals{};  // needed at once with one of them
};

struct COALESCING {
    std::vector<VARIABLE> variables{};
    std::vector<COPY> copies{};
    std::vector<std::vector<uint32_t>> families{}; // by the candidate that stands for one: its members
    bitvec live{};                                 // behind the place where the walk stands
    std::vector<TREE_ACCESS> accesses{};           // of the statement
};

// --- 1 ---

// The candidates that the statement copies between.
bool find_copy(const NODE* tree, uint32_t& to, uint32_t& from) {
    if (!assigns_candidate(tree) || !names_candidate(tree->right)) return false;
    to = candidate_number(tree->left->symbol());
    from = candidate_number(tree->right->symbol());
    return to != from;
}

void note_variable(VARIABLE& variable, const TREE_ACCESS& access) {
    if (access.kind == ACCESS::LEND) variable.why_not = "a call gets the address of one";
    if (access.is_volatile) variable.why_not = "an access to one is volatile";
    if (access.part) variable.why_not = "a part of one is read";
    variable.is_home |= is_definition(access) && copied_parameter(access.by);
}

void note_statement(COALESCING& coalescing, const BB* block, const STMT* cell) {
    uint32_t to = 0, from = 0;
    if (find_copy(cell->tree, to, from)) coalescing.copies.push_back({block, cell, to, from});
    for_each_access(static_cast<const NODE*>(cell->tree), [&](const TREE_ACCESS& access) {
        if (access.symbol && access.symbol->candidate >= 0)
            note_variable(coalescing.variables[candidate_number(access.symbol)], access);
    });
}

void find_copies(COALESCING& coalescing) {
    coalescing.variables.resize(static_cast<size_t>(function_candidates.count));
    for_each_candidate(function_candidates, [&](SYMBOL* symbol) {
        VARIABLE& variable = coalescing.variables[candidate_number(symbol)];
        variable.symbol = variable.name = symbol;
    });
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            note_statement(coalescing, block, cell);
    for_each_candidate(function_candidates, [&](const SYMBOL* symbol) {
        VARIABLE& variable = coalescing.variables[candidate_number(symbol)];
        if (symbol == function.return_symbol) variable.why_not = "one is the result of the function";
        if (symbol->replaced) variable.why_not = "the name of one stands for another object";
        if (is_seen_by_debugger(symbol)) variable.why_not = "a debugger must see one";
    });
}

bool have_one_type(const SYMBOL* a, const SYMBOL* b) {
    if (a->declared_type == b->declared_type && a->type == b->type) return true;
    return type_strip(a->declared_type) == type_strip(b->declared_type) &&
           type_strip(a->type) == type_strip(b->type) && !type_is_const(a->declared_type) &&
           !type_is_const(b->declared_type);
}

// What keeps the two apart, but for where they are needed; null: nothing.
const char* why_apart(const VARIABLE& a, const VARIABLE& b) {
    if (a.why_not || b.why_not) return a.why_not ? a.why_not : b.why_not;
    if (!have_one_type(a.symbol, b.symbol)) return "their types differ";
    return nullptr;
}

bool refuse_copy(const COPY& copy, const char* why) {
    stand_at(copy.block, copy.cell);
    return refuse(SITE_merge_variables, why, "{}", copy.cell->tree);
}

// --- 2 ---

bool join_families(COALESCING& coalescing, const COPY& copy) {
    uint32_t larger = coalescing.variables[copy.to].family;
    uint32_t smaller = coalescing.variables[copy.from].family;
    if (larger == smaller) return true;
    std::vector<std::vector<uint32_t>>& families = coalescing.families;
    if (families[larger].size() + families[smaller].size() > MOST_IN_FAMILY) return false;
    if (families[larger].size() < families[smaller].size()) std::swap(larger, smaller);
    for (const uint32_t member : families[smaller]) {
        coalescing.variables[member].family = larger;
        families[larger].push_back(member);
    }
    families[smaller].clear();
    return true;
}

// Copies that join nothing are taken from the list.
void find_families(COALESCING& coalescing) {
    const auto count = static_cast<uint32_t>(coalescing.variables.size());
    coalescing.families.resize(count);
    for (uint32_t i = 0; i < count; ++i) coalescing.variables[i].family = i;
    for (const COPY& copy : coalescing.copies)
        for (const uint32_t candidate : {copy.to, copy.from})
            if (coalescing.families[candidate].empty()) coalescing.families[candidate] = {candidate};
    std::erase_if(coalescing.copies, [&](const COPY& copy) {
        const char* why = why_apart(coalescing.variables[copy.to], coalescing.variables[copy.from]);
        if (!why && !join_families(coalescing, copy)) why = "copies join too many variables";
        return why && !refuse_copy(copy, why);
    });
}

bool has_partners(const COALESCING& coalescing, const VARIABLE& variable) {
    return coalescing.families[variable.family].size() > 1;
}

void set_place(std::vector<uint64_t>& set, uint32_t place) { set[place / 64] |= uint64_t{1} << place % 64; }

void make_classes(COALESCING& coalescing) {
    for (const std::vector<uint32_t>& family : coalescing.families) {
        if (family.size() < 2) continue;
        for (uint32_t place = 0; place < family.size(); ++place) {
            VARIABLE& variable = coalescing.variables[family[place]];
            variable.place = place;
            variable.merged = family[place];
            variable.members.resize((family.size() + 63) / 64);
            variable.rivals.resize(variable.members.size());
            set_place(variable.members, place);
        }
    }
}

// The candidate gets a value while what is live is needed; `copied` holds the same value.
void note_definition(COALESCING& coalescing, uint32_t candidate, uint32_t copied) {
    VARIABLE& variable = coalescing.variables[candidate];
    if (!has_partners(coalescing, variable)) return;
    for (const uint32_t other : coalescing.families[variable.family]) {
        if (other == candidate || other == copied || !bv_test(&coalescing.live, other)) continue;
        VARIABLE& rival = coalescing.variables[other];
        set_place(variable.rivals, rival.place);
        set_place(rival.rivals, variable.place);
    }
}

void collect_accesses(COALESCING& coalescing, const NODE* tree) {
    coalescing.accesses.clear();
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (access.symbol && access.symbol->candidate >= 0) coalescing.accesses.push_back(access);
    });
}

// From behind the statement to in front of it. When it assigns in the middle, all that it reads and assigns
// is taken to be needed at once.
void walk_up(COALESCING& coalescing, const NODE* tree) {
    uint32_t to = BV_NONE, from = BV_NONE;
    find_copy(tree, to, from);
    collect_accesses(coalescing, tree);
    const bool in_the_middle = std::ranges::any_of(coalescing.accesses, [&](const TREE_ACCESS& access) {
        return is_definition(access) && access.by != tree;
    });
    const auto for_each = [&](auto concerns, auto visit) {
        for (const TREE_ACCESS& access : coalescing.accesses)
            if (concerns(access)) visit(candidate_number(access.symbol));
    };
    const auto is_any = [](const TREE_ACCESS&) { return true; };
    const auto add = [&](uint32_t candidate) { bv_set(&coalescing.live, candidate); };
    if (in_the_middle) for_each(is_any, add);
    for_each(is_definition, [&](uint32_t candidate) { note_definition(coalescing, candidate, from); });
    for_each(is_kill, [&](uint32_t candidate) { bv_clear_range(&coalescing.live, candidate, candidate); });
    for_each(is_use, add);
}

void find_rivals(COALESCING& coalescing) {
    bv_init(&coalescing.live, static_cast<uint32_t>(function_candidates.count), nullptr, false);
    std::vector<const NODE*> trees;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        bv_assign(&coalescing.live, block->live_out);
        trees.clear();
        for (const STMT* cell = block->stmts; cell; cell = cell->next) trees.push_back(cell->tree);
        for (size_t i = trees.size(); i-- > 0;) walk_up(coalescing, trees[i]);
    }
    bv_free(&coalescing.live);
}

// --- 3 ---

uint32_t class_of(COALESCING& coalescing, uint32_t candidate) {
    std::vector<VARIABLE>& variables = coalescing.variables;
    while (variables[candidate].merged != candidate) {
        variables[candidate].merged = variables[variables[candidate].merged].merged;
        candidate = variables[candidate].merged;
    }
    return candidate;
}

bool have_common(const std::vector<uint64_t>& a, const std::vector<uint64_t>& b) {
    for (size_t word = 0; word < a.size(); ++word)
        if (a[word] & b[word]) return true;
    return false;
}

void add_all(std::vector<uint64_t>& to, const std::vector<uint64_t>& from) {
    for (size_t word = 0; word < to.size(); ++word) to[word] |= from[word];
}

// The class whose name is kept comes first.
bool keeps_name(const VARIABLE& a, const VARIABLE& b) {
    return a.is_home != b.is_home ? a.is_home : a.name->serial < b.name->serial;
}

// The test in front of a loop that the copy is for: at the end of its block, or of the only one before.
const NODE* guard_behind(const LOOP_NESTING& nesting, const BB* block) {
    const auto depth = [&](const BB* at) { return nesting.depth[static_cast<size_t>(at->dfn)]; };
    const BB* test = has_several(block->succs) || !has_one(block->preds) ? block : block->preds->block;
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
        if (depth(edge->block) > depth(block) && test->last_stmt->tree->op == OP_IF)
            return test->last_stmt->tree->left;
    return nullptr;
}

// A loop's guard that becomes the test at the loop's end would be merged with it, and every trip would jump
// to the test.
bool makes_guard_equal(const LOOP_NESTING& nesting, const COALESCING& coalescing, const COPY& copy) {
    const NODE* guard = guard_behind(nesting, copy.block);
    return guard && (tree_mentions(guard, coalescing.variables[copy.to].symbol) ||
                     tree_mentions(guard, coalescing.variables[copy.from].symbol));
}

bool merge_copy(COALESCING& coalescing, const COPY& copy) {
    VARIABLE* kept = &coalescing.variables[class_of(coalescing, copy.to)];
    VARIABLE* lost = &coalescing.variables[class_of(coalescing, copy.from)];
    if (kept == lost) return false;
    if (!keeps_name(*kept, *lost)) std::swap(kept, lost);
    if (kept->is_home && lost->is_home) return refuse_copy(copy, "both are copies of parameters");
    if (have_common(kept->members, lost->rivals)) return refuse_copy(copy, "both are needed at once");
    stand_at(copy.block, copy.cell);
    if (!change(SITE_merge_variables, "{} is {}, by {}", lost->name, kept->name, copy.cell->tree))
        return false;
    lost->merged = kept->merged;
    add_all(kept->members, lost->members);
    add_all(kept->rivals, lost->rivals);
    return true;
}

bool merge_classes(COALESCING& coalescing) {
    const LOOP_NESTING nesting = find_loop_nesting();
    std::ranges::stable_sort(coalescing.copies, std::greater<>(), [&](const COPY& copy) {
        return nesting.depth[static_cast<size_t>(copy.block->dfn)];
    });
    bool any = false;
    for (const COPY& copy : coalescing.copies)
        any |= makes_guard_equal(nesting, coalescing, copy)
                   ? refuse_copy(copy, "a loop would end in the test of its guard")
                   : merge_copy(coalescing, copy);
    return any;
}

// --- 4 ---

void replace_names(COALESCING& coalescing, NODE* tree) {
    for_each_node(tree, [&](NODE* node) {
        if (node->op != OP_NAME || !node->symbol() || node->symbol()->candidate < 0) return;
        const uint32_t candidate = candidate_number(node->symbol());
        if (has_partners(coalescing, coalescing.variables[candidate]))
            node->ref = coalescing.variables[class_of(coalescing, candidate)].name;
    });
}

void rewrite_block(COALESCING& coalescing, BB* block) {
    for (STMT* cell = block->stmts; cell;) {
        uint32_t to = 0, from = 0;
        const bool is_copy = find_copy(cell->tree, to, from);
        replace_names(coalescing, cell->tree);
        if (is_copy && cell->tree->left->symbol() == cell->tree->right->symbol()) {
            erase_tree(cell->tree);
            remove_cell(block, cell);
        } else {
            cell = cell->next;
        }
    }
}

} // namespace

bool merge_symbols() {
    trace_entering("merge_symbols");
    const bool changed = find_live_variables(false);
    COALESCING coalescing;
    find_copies(coalescing);
    if (coalescing.copies.empty()) return changed;
    find_families(coalescing);
    if (coalescing.copies.empty()) return changed;
    make_classes(coalescing);
    find_rivals(coalescing);
    if (!merge_classes(coalescing)) return changed;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) rewrite_block(coalescing, block);
    trees_changed();
    simpcfg(0);
    return true;
}

} // namespace pelorus
