// See live_variables.h.
//
// 1. Local sets: the accesses of each statement, in their order, tell what a block uses before it assigns it
//    (`uses`) and what it assigns for certain (`defs`).
// 2. Iteration from the last block to the entry: live_out is what the successors want, live_in what of it the
//    block does not assign, and what it uses. Blocks are numbered depth-first, so that few sweeps are needed.
// 3. Pruning, of the plain problem only: forward, what a way from the entry may have assigned or read.
//    Parameters have been assigned.
#include "cfg/live_variables.h"

#include <utility>
#include <vector>

#include "cfg/bb.h"
#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "ir/symbol.h"
#include "support/fatal.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr bitvec* BB::* LIVE_SETS[] = {&BB::live_in, &BB::live_out, &BB::defs,
                                       &BB::uses,    &BB::all_defs, &BB::all_refs};

// --- 1: local sets ---

// The vectors of the run before are used again when they are large enough.
void make_empty(bitvec*& v, uint32_t count) {
    if (!v || v->n_alloc < bv_words(count)) {
        if (v) bv_free(v);
        v = new_bitvec(count, true);
        return;
    }
    v->n_bits = count;
    v->n_words = bv_words(count);
    for (uint32_t word = 0; word < v->n_words; ++word) v->words[word] = 0;
}

void note_use(const BB* block, uint32_t number) {
    bv_set(block->all_refs, number);
    if (!bv_test(block->defs, number)) bv_set(block->uses, number);
}

void note_access(const BB* block, const TREE_ACCESS& access, const SYMBOL* faint) {
    if (access.by->op == OP_CSE_DUPE || access.by->op == OP_CSE_ORIG)
        fatal_error("\n\n   !!! Error in 'local_lva_defs()', opcode=%d %s !!!\n", access.by->op,
                    opcode_name(access.by->op));
    if (!access.symbol || access.symbol->candidate < 0) return;
    const auto number = candidate_number(access.symbol);
    if (access.symbol != faint && is_use(access)) note_use(block, number);
    if (!is_definition(access)) return;
    bv_set(block->all_defs, number);
    if (access.symbol != faint && is_kill(access)) bv_set(block->defs, number);
}

void find_local_sets(BB* block, uint32_t count, bool faint) {
    for (bitvec* BB::* const set : LIVE_SETS) make_empty(block->*set, count);
    for (const STMT* cell = block->stmts; cell; cell = cell->next) {
        const SYMBOL* variable = faint ? faint_variable(cell->tree) : nullptr;
        for_each_access(static_cast<const NODE*>(cell->tree),
                        [&](const TREE_ACCESS& access) { note_access(block, access, variable); });
    }
    bv_diff(block->defs, block->defs, block->uses);
    bv_assign(block->live_in, block->uses);
}

// --- 2: iteration ---

bool collect_from_successors(BB* block) {
    bool changed = false;
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
        changed |= bv_union(block->live_out, edge->block->live_in);
    return changed;
}

bool sweep_backward(BB* last) {
    bool changed = false;
    for (BB* block = last;; block = block->rdflink) {
        changed |= collect_from_successors(block);
        bv_diff(block->live_in, block->live_out, block->defs);
        bv_merge(block->live_in, block->uses);
        if (block == flow_graph.bb_list) return changed;
    }
}

void iterate() {
    do {
        trace("\n\tNext iteration of global live variable loop\n");
    } while (sweep_backward(flow_graph.bb_list->rdflink));
}

// --- 3: pruning ---

// By block number.
using SETS = std::vector<bitvec>;

bitvec* set_of(SETS& sets, const BB* block) { return &sets[static_cast<size_t>(block->dfn)]; }

SETS start_touched(uint32_t count) {
    SETS touched(static_cast<size_t>(flow_graph.bb_count) + 1);
    for (bitvec& set : touched) bv_init(&set, count, nullptr, false);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        bv_merge(set_of(touched, block), block->uses);
        bv_merge(set_of(touched, block), block->defs);
        bv_merge(set_of(touched, block), block->all_defs);
    }
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        if (symbol->candidate >= 0) bv_set(set_of(touched, flow_graph.bb_list), candidate_number(symbol));
    return touched;
}

void prune_untouched(uint32_t count) {
    SETS touched = start_touched(count);
    for (bool changed = true; changed;) {
        changed = false;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            for (const BB_LIST* edge = block->preds; edge; edge = edge->next)
                changed |= bv_union(set_of(touched, block), set_of(touched, edge->block));
    }
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        bv_and3(block->live_out, block->live_out, set_of(touched, block));
    for (bitvec& set : touched) bv_free(&set);
}

// --- The whole problem ---

void find_live_sets(bool faint) {
    const auto count = static_cast<uint32_t>(function_candidates.count);
    if (count == 0) return;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) find_local_sets(block, count, faint);
    iterate();
    if (!faint) prune_untouched(count);
}

// The same into other vectors, which are gone afterwards.
FACT_RECORD computed(bool faint) {
    std::vector<BB> kept;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        kept.push_back(*block);
        for (bitvec* BB::* const set : LIVE_SETS) block->*set = nullptr;
    }
    const int debug_output = std::exchange(trace_state.debug_output, 0);
    find_live_sets(faint);
    trace_state.debug_output = debug_output;
    FACT_RECORD record = stored_live_variables();
    size_t at = 0;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink, ++at)
        for (bitvec* BB::* const set : LIVE_SETS) {
            if (block->*set) bv_free(block->*set);
            block->*set = kept[at].*set;
        }
    return record;
}

} // namespace

SYMBOL* faint_variable(const NODE* statement) {
    const NODE* left = statement->left;
    if (!left || left->op != OP_NAME || !left->symbol() || left->symbol()->candidate < 0) return nullptr;
    SYMBOL* variable = left->symbol();
    if (statement->op == OP_ASG)
        return tree_mentions(statement->right, variable) && !tree_has_effects(statement->right) ? variable
                                                                                                : nullptr;
    return plain_operator(statement->op) != OP_NOP && !tree_mentions(statement->right, variable) ? variable
                                                                                                 : nullptr;
}

void build_live_variables() {
    forget_facts(facts_of(FACT_live_faint));
    find_live_sets(false);
}

void build_faintly_live_variables() {
    forget_facts(facts_of(FACT_live));
    find_live_sets(true);
}

FACT_RECORD stored_live_variables() {
    FACT_RECORD record;
    if (function_candidates.count == 0) return record;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        record.push_back(static_cast<uint64_t>(block->dfn));
        for (bitvec* BB::* const set : LIVE_SETS) {
            bv_clear_tail(block->*set);
            for (uint32_t word = 0; word < (block->*set)->n_words; ++word)
                record.push_back((block->*set)->words[word]);
        }
    }
    return record;
}

FACT_RECORD computed_live_variables() { return computed(false); }
FACT_RECORD computed_faintly_live_variables() { return computed(true); }

} // namespace pelorus
