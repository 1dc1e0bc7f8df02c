// Moving assignments down to where they are needed; see assignments.h.
//
//         x = a * b;                      if (c)
//         if (c) use(x);      becomes         x = a * b, use(x);
//         else ...                        else ...
//
// Knoop, Ruething, Steffen: Partial Dead Code Elimination (1994), restricted to moves over one edge at a
// time, which blocks in depth-first order repeat: an assignment at the end of a block moves into the
// successors that read its variable when one of them does not, and each of them has the block as its only
// predecessor. Such a successor is in no loop that the block is not in, and nothing is executed more often
// than before.
//
// An assignment moves past the statements behind it in its block only when none of them reads or assigns the
// variable, assigns what the value reads, or, when the value reads memory, can write memory. What has effects
// stays. Nothing that a debugger looks for moves, nor do the copies of parameters.
#include <vector>

#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/tree_text.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// What has been read and written behind a statement of the block.
struct BEHIND {
    bitvec* read;
    bitvec* written;
    bool memory_written = false;
};

void note_accesses(BEHIND& behind, const NODE* tree) {
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (access.symbol && access.symbol->candidate >= 0) {
            if (is_use(access)) bv_set(behind.read, candidate_number(access.symbol));
            if (is_definition(access)) bv_set(behind.written, candidate_number(access.symbol));
        } else if (is_definition(access)) {
            behind.memory_written = true;
        }
    });
}

// Why the assignment cannot pass what stands behind it in the block; null when it can.
const char* why_it_stays(const NODE* assignment, const BEHIND& behind) {
    if (const char* why = why_assignment_stays(assignment)) return why;
    if (tree_has_effects(assignment->right)) return "its value has effects";
    const uint32_t number = candidate_number(assignment->left->symbol());
    if (bv_test(behind.read, number)) return "the variable is read behind it";
    if (bv_test(behind.written, number)) return "the variable is assigned behind it";
    const char* why = nullptr;
    for_each_access(static_cast<const NODE*>(assignment->right), [&](const TREE_ACCESS& access) {
        if (!access.symbol || access.symbol->candidate < 0) {
            if (access.kind != ACCESS::EXPOSE && behind.memory_written)
                why = "memory that it reads may change";
        } else if (bv_test(behind.written, candidate_number(access.symbol))) {
            why = "what it reads is assigned behind it";
        }
    });
    return why;
}

struct TARGETS {
    std::vector<BB*> blocks; // that read the variable
    bool everywhere = true;  // all successors do
};

TARGETS targets_of(const BB* block, uint32_t number) {
    TARGETS targets;
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next) {
        if (bv_test(edge->block->live_in, number))
            targets.blocks.push_back(edge->block);
        else
            targets.everywhere = false;
    }
    return targets;
}

// The variable is read by what the block leads to, and by nothing else of it.
void make_live_in(BB* block, const NODE* assignment) {
    bv_clear_range(block->live_in, candidate_number(assignment->left->symbol()),
                   candidate_number(assignment->left->symbol()));
    for_each_access(static_cast<const NODE*>(assignment->right), [&](const TREE_ACCESS& access) {
        if (access.symbol && access.symbol->candidate >= 0)
            bv_set(block->live_in, candidate_number(access.symbol));
    });
}

bool may_move(const NODE* assignment, const BEHIND& behind, const TARGETS& targets) {
    if (targets.everywhere || targets.blocks.empty()) return false;
    if (const char* why = why_it_stays(assignment, behind))
        return refuse(SITE_delay_assignment, why, "{}", assignment);
    for (const BB* target : targets.blocks)
        if (!has_one(target->preds))
            return refuse(SITE_delay_assignment, "other ways lead there too", "{} to {}", assignment, target);
    return true;
}

// The cell is taken out by the caller.
bool move_to(const BB* block, const STMT* cell, const TARGETS& targets) {
    const char* name = cell->tree->left->symbol()->name;
    if (debug_on())
        trace("\n\tBB %d (line %ld): Considering delaying %s\n", block->dfn,
              static_cast<long>(cell->position.line), tree_text(cell->tree).c_str());
    for (BB* target : targets.blocks) {
        if (!change_exactly(SITE_delay_assignment,
                            "\n\tDelaying assignment to '{}' from BB {} to BB {}\n"
                            "\tInserting   '{}'\n\tin front of '{}'\n",
                            name, static_cast<int>(block->dfn), static_cast<int>(target->dfn), cell->tree,
                            target->stmts->tree))
            return false;
        insert_before(target, target->stmts, copy_tree(cell->tree), cell->position);
        make_live_in(target, cell->tree);
    }
    return true;
}

void delay_in_block(BB* block, BEHIND& behind) {
    bv_clear_range(behind.read, 0, behind.read->n_bits - 1);
    bv_clear_range(behind.written, 0, behind.written->n_bits - 1);
    behind.memory_written = false;
    std::vector<STMT*> cells;
    for (STMT* cell = block->stmts; cell; cell = cell->next) cells.push_back(cell);
    for (size_t i = cells.size(); i-- > 0;) {
        STMT* cell = cells[i];
        stand_at(block, cell);
        if (assigns_candidate(cell->tree)) {
            const TARGETS targets = targets_of(block, candidate_number(cell->tree->left->symbol()));
            if (may_move(cell->tree, behind, targets) && move_to(block, cell, targets)) {
                erase_tree(cell->tree);
                remove_cell(block, cell);
                continue;
            }
        }
        note_accesses(behind, cell->tree);
    }
}

} // namespace

bool delay_assignments() {
    const CHANGE_MARK mark;
    trace("\n\n\t\t\t---------- ENTERING 'delay_assignments' ----------\n");
    build_facts(facts_of(FACT_candidates, FACT_live_faint));
    const auto count = static_cast<uint32_t>(function_candidates.count);
    if (count == 0) return false;
    BEHIND behind{new_bitvec(count, true), new_bitvec(count, true)};
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (has_several(block->succs)) delay_in_block(block, behind);
    bv_free(behind.read);
    bv_free(behind.written);
    return mark.any();
}

} // namespace pelorus
