// Fast copy propagation; see assignments.h.
//
// A sweep counts how often each candidate is assigned and read, and decides which assignments hold
// everywhere: the only one of a variable, of a value that never changes. Then it walks the blocks in
// depth-first order and rewrites each statement (copy_values.cpp). Along an extended basic block, a "region",
// it also knows the values of variables that are assigned several times.
//
//     x = 5;  y = x + 1;  if (y > 3) ...        y = 5 + 1;  if (1) ...
//
// A sweep that decided a branch is followed by simpcfg and another one. Combining assignments to memory
// stands before, removal of dead assignments behind: what was copied is seldom needed any more. As the sweep
// comes to a pair of neighbouring assignments they are offered to combining again, since a value that was
// copied into the first may be one that the second can take over.
//
// What the pass guarantees:
// - The preparatory analysis is the splitting of statements at their commas, so that assignments stand at the
//   top, and the list of candidates. It is made anew for each sweep.
// - The mode is the parameter `combine` alone: it says whether pairs are combined, before the sweeps and in
//   them, and whether dead assignments go even when nothing was copied. Nothing of it outlives the call.
// - A local variable is stable, so that it may stand for another, where no assignment to it lies between the
//   copy and the use: everywhere for the unchanged home of a parameter, otherwise within the region.
// - Symbols that are no candidates are never replaced: not the parameters themselves, not variables in
//   memory; but for globals with program mode 2 (copied_globals.h).
// - Temporaries "K$" and "Q$" hold addresses and constants that were given a name on purpose, so that the
//   machine computes them once: the passes over loops and common subexpressions will make them. Only
//   pointers among them are copied.
//
// What it does not do: propagate over joins, which `copyprop` does.
#include "cfg/candidate_fact.h"
#include "cfg/graph_edit.h"
#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "scalar/copy_values.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// --- 1: counting ---

void clear_counts(SYMBOL* symbol) {
    symbol->assignment_count = 0;
    symbol->reference_count = 0;
    symbol->single_asg = nullptr;
}

bool is_restricted(const TYPE* type) { return type_is_pointer(type) && (type_qualifiers(type) & Q_RESTRICT); }
bool points_to_restricted(const TYPE* type) {
    return type_is_pointer(type) && type_target(type) && is_restricted(type_target(type));
}

// The innermost assignment of a = b = c, whose value all of them get.
NODE* innermost(NODE* assignment) {
    while (assignment->right->op == OP_ASG && type_compatible(assignment->type, assignment->right->type) &&
           !type_is_volatile(assignment->right->left->type) && !is_bitfield_member(assignment->right->left))
        assignment = assignment->right;
    return assignment;
}

void count_assignment(NODE* node) {
    SYMBOL* symbol = node->left->symbol();
    if (symbol->assignment_count == NEVER_COPIED) return;
    ++symbol->assignment_count;
    const bool has_value = node->op == OP_ASG && !is_restricted(node->left->type);
    symbol->single_asg = has_value ? node : nullptr;
}

void count_node(NODE* node) {
    if (node->op == OP_NAME && node->symbol() && node->symbol()->candidate >= 0) {
        ++node->symbol()->reference_count;
        if (points_to_restricted(node->type)) node->symbol()->assignment_count = NEVER_COPIED;
        return;
    }
    const bool assigns = opcode_assigns(node->op) || node->op == OP_RETURN;
    if (!assigns || !names_candidate(node->left)) return;
    --node->left->symbol()->reference_count; // the NAME itself comes next, and is no use
    count_assignment(node);
}

// --- 2: classification ---

void keep_private_copy(SYMBOL* symbol) { symbol->single_asg = copy_tree(innermost(symbol->single_asg)); }

void classify_single(COPY_SWEEP& sweep, SYMBOL* symbol) {
    NODE* assignment = symbol->single_asg;
    if (copied_parameter(assignment)) {
        trace("\n\tArgument variable is not re-assigned: %s\n", symbol->name);
        symbol->assignment_count = NEVER_COPIED;
        symbol->single_asg = nullptr;
        sweep.states[symbol->candidate].is_home = true;
    }
}

// Homes must be known first: they are what other variables may be copies of.
void classify_copy(const COPY_SWEEP& sweep, SYMBOL* symbol) {
    if (symbol->assignment_count != 1 || !symbol->single_asg) {
        symbol->single_asg = nullptr;
        return;
    }
    const NODE* value = innermost(symbol->single_asg)->right;
    if (!is_copyable_everywhere(sweep, value)) {
        symbol->assignment_count = 2;
        symbol->single_asg = nullptr;
        return;
    }
    if (debug_on())
        trace("\n\tGlobally constant assignment: %s = %s\n", symbol->name, tree_text(value).c_str());
    keep_private_copy(symbol);
}

void drop_if_unused(SYMBOL* symbol) {
    if (symbol->reference_count > 0 && symbol->assignment_count == 0)
        trace("\n\tVariable is used but never assigned: %s\n", symbol->name);
    if (symbol->reference_count > 0 || symbol->assignment_count != 0) return;
    trace("\tNo references in the function for '%s'\n", symbol->name);
    drop_candidate(function_candidates, symbol);
}

COPY_SWEEP start_sweep() {
    COPY_SWEEP sweep;
    sweep.states = zone_array<COPY_STATE>(true, static_cast<size_t>(function_candidates.count));
    for (int32_t i = 0; i < function_candidates.count; ++i) sweep.states[i] = {};
    for_each_candidate(function_candidates, clear_counts);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next) for_each_node(cell->tree, count_node);
    for_each_candidate(function_candidates, drop_if_unused);
    for_each_candidate(function_candidates, [&](SYMBOL* symbol) {
        if (symbol->assignment_count == 1 && symbol->single_asg) classify_single(sweep, symbol);
    });
    for_each_candidate(function_candidates, [&](SYMBOL* symbol) { classify_copy(sweep, symbol); });
    return sweep;
}

// --- 3: propagation ---

// Blocks that only lead on, or return what needs no computing: they assign nothing, so that a region goes on
// behind them.
bool is_trivial(const BB* block) {
    const NODE* tree = block->stmts->tree;
    if (block->stmts != block->last_stmt) return false;
    if (tree->op == OP_BRANCH || tree->op == OP_URETURN) return true;
    return tree->op == OP_RETURN && opcode_arity(tree->right->op) == 0;
}

bool continues(const BB* block, const BB* last) {
    return last && has_one(block->preds) && only_of(block->preds) == last;
}

bool is_decided(const NODE* branch) {
    if (branch->op != OP_IF && branch->op != OP_SWITCH) return false;
    const NODE* condition = branch->left;
    while (condition->op == OP_COMMAOP) condition = condition->right;
    return condition->op == OP_ICON;
}

void sweep_block(COPY_SWEEP& sweep, BB* block) {
    STMT* before = nullptr; // the statement in front, rewritten already
    for (STMT* cell = block->stmts; cell;) {
        stand_at(block, cell);
        if (sweep.combine && before && combine_with_next(block, before)) {
            cell = before;
            before = nullptr;
        }
        if (rewrite_copies(sweep, block, cell)) {
            remove_cell(block, cell);
            continue;
        }
        before = cell;
        cell = cell->next;
    }
}

// True when a branch became constant.
bool sweep_blocks(COPY_SWEEP& sweep) {
    bool decided = false;
    const BB* last = nullptr; // of the region
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        const bool was_decided = is_decided(block->last_stmt->tree);
        if (is_trivial(block) && block != flow_graph.bb_list) {
            // Its one statement may use the region's values only where the region leads to it.
            const uint32_t region = sweep.region;
            if (!continues(block, last)) sweep.region = UINT32_MAX;
            sweep_block(sweep, block);
            sweep.region = region;
            continue;
        }
        if (!continues(block, last)) ++sweep.region;
        sweep_block(sweep, block);
        decided |= !was_decided && is_decided(block->last_stmt->tree);
        last = block;
    }
    return decided;
}

bool sweep_once(bool combine, int64_t& replaced) {
    trace("\n\n\t\t\t---------- ENTERING 'fast_CP' -----------------\n");
    const CHANGE_MARK mark;
    normalise_statements();
    build_facts(facts_of(FACT_candidates));
    COPY_SWEEP sweep = start_sweep();
    sweep.combine = combine;
    const bool decided = sweep_blocks(sweep);
    for_each_candidate(function_candidates, [](SYMBOL* symbol) { symbol->single_asg = nullptr; });
    replaced += sweep.replaced;
    if (mark.any()) trees_changed();
    if (!decided) return false;
    renumber_cfg();
    simpcfg(0);
    return true;
}

} // namespace

bool fast_CP(int sweeps, bool combine, bool delay) {
    if (settings.optimization_level < 1) return false;
    const CHANGE_MARK mark;
    if (combine) combine_asgs_to_memory(false);
    int64_t replaced = 0;
    while (sweeps-- > 0 && sweep_once(combine, replaced)) {
    }
    if (combine || replaced > 0) elim_dead_assigns(delay, true);
    return mark.any();
}

bool propagate_copies_and_delay() { return fast_CP(4, true, settings.optimization_level >= 2); }

} // namespace pelorus
