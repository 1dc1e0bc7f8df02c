// Consistency of the control-flow graph; see bb.h.
//
// Invariants:
//   chain    no predecessors of the entry; dflinks and rdflinks agree; the entry's rdflink is the last block
//   blocks   each has statements, the last of which is its only branch
//   edges    the successors are just the targets of the labels of the ending branch; preds and succs agree
//   reach    every block but the entry has predecessors
//
// The checks only look. Missing successors and blocks without predecessors are what `validate_cfg` can repair
// and counts as corrected. Set comparisons go by marks, so that the whole is linear in blocks and edges even
// where a block has thousands of them.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/funinfo.h"
#include "ir/tree_text.h"
#include "ir/validate_tree.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// A set of blocks that empties at once.
class MARKS {
public:
    MARKS() : marks_(static_cast<size_t>(flow_graph.last_uon) + 1) {}
    void clear() { ++stamp_; }
    void add(const BB* block) { marks_[block->uon] = stamp_; }
    void fill(const BB_LIST* set) {
        clear();
        for (; set; set = set->next) add(set->block);
    }
    bool has(const BB* block) const { return marks_[block->uon] == stamp_; }

private:
    std::vector<uint32_t> marks_; // by creation number
    uint32_t stamp_ = 1;
};

struct CFG_CHECK {
    CFG_ERRORS errors{};
    const FAULT_SINK* sink = nullptr;
    MARKS marks{};

    // One more error of the kind: the rule, the block at fault, and its message, which is a line of the
    // trace.
    template <class... T>
    void corrected(RULE rule, const BB* block, const char* format, T... arguments) {
        errors.corrected++;
        report(rule, block, format, arguments...);
    }
    template <class... T>
    void uncorrected(RULE rule, const BB* block, const char* format, T... arguments) {
        errors.uncorrected++;
        report(rule, block, format, arguments...);
    }

private:
    template <class... T>
    void report(RULE rule, const BB* block, const char* format, T... arguments) {
        trace(format, arguments...);
        if (!sink) return;
        char line[200];
        snprintf(line, sizeof line, format, arguments...);
        std::string message = line + strspn(line, " +-"); // without the trace's marks
        if (message.ends_with('\n')) message.pop_back();
        const NODE* branch = block && block->last_stmt ? block->last_stmt->tree : nullptr;
        sink->take(sink->context, {rule, message.c_str(), nullptr, branch, block ? block->dfn : 0});
    }
};

// --- chain ---

void check_chain(CFG_CHECK& check, const BB* block) {
    const BB* entry = flow_graph.bb_list;
    if (block == entry && block->preds)
        check.uncorrected(RULE_G1, block, " +++++ Entry block BB%d has predecessors\n", block->dfn);
    const BB* back = block->rdflink;
    const bool back_good = back && (block == entry ? !back->dflink : back->dflink == block);
    if (!back_good) check.uncorrected(RULE_G1, block, " +++++ BB%d has improper <rdflink>\n", block->dfn);
    const bool forth_good = block->dflink ? block->dflink->rdflink == block : entry->rdflink == block;
    if (!forth_good) check.uncorrected(RULE_G1, block, " +++++ BB%d has improper <dflink>\n", block->dfn);
}

// --- blocks and their branches ---

NODE* ending_branch(const BB* block) {
    const STMT* cell = block->stmts;
    while (cell->next) cell = cell->next;
    return cell->tree;
}

void check_targets(CFG_CHECK& check, BB* block, NODE* branch) {
    check.marks.fill(block->succs);
    for_each_label(branch, [&](const NODE* leaf) {
        BB* target = leaf->label() ? leaf->label()->block : nullptr;
        if (!target || check.marks.has(target)) return;
        check.corrected(RULE_G3, block, " ----- BB%d's successors must include BB%d\n", block->dfn,
                        target->dfn);
        check.errors.missing_edges.emplace_back(block, target);
        check.marks.add(target);
    });
    check.marks.clear();
    for_each_label(branch, [&](const NODE* leaf) {
        if (leaf->label()) check.marks.add(leaf->label()->block);
    });
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        if (!check.marks.has(cell->block))
            check.uncorrected(RULE_G3, block, " +++++ BB%d has bogus successor: BB%d\n", block->dfn,
                              cell->block->dfn);
}

void check_branch(CFG_CHECK& check, BB* block) {
    if (!block->stmts)
        return check.uncorrected(RULE_G2, block, " +++++ BB%d has no statement list\n", block->dfn);
    NODE* branch = ending_branch(block);
    if (!branch || !is_ending_branch(branch->op))
        return check.uncorrected(RULE_G2, block, " +++++ BB%d has no ending branch\n", block->dfn);
    const bool returns = branch->op == OP_RETURN || branch->op == OP_URETURN;
    if (!returns || block->succs) check_targets(check, block, branch);
}

// --- edges ---

// For every block, the blocks that name it in one of their sets.
using NAMED_BY = std::vector<std::vector<const BB*>>;

NAMED_BY collect(BB_LIST* BB::* set) {
    NAMED_BY named_by(static_cast<size_t>(flow_graph.bb_count) + 1);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* cell = block->*set; cell; cell = cell->next)
            if (cell->block->dfn > 0) named_by[static_cast<size_t>(cell->block->dfn)].push_back(block);
    return named_by;
}

// Whoever names a block in one set must be named by it in the other.
void check_mutual(CFG_CHECK& check, BB_LIST* BB::* set, BB_LIST* BB::* other, const char* message) {
    const NAMED_BY named_by = collect(set);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        check.marks.fill(block->*other);
        for (const BB* by : named_by[static_cast<size_t>(block->dfn)])
            if (!check.marks.has(by))
                check.uncorrected(RULE_G4, block, message, block->dfn, by->dfn, by->dfn, block->dfn);
    }
}

// --- reach ---

// A block without predecessors does not count as one itself, so that blocks behind it are found by a later
// round, or by this one when they come later. Edges that only the set misses lead to their blocks.
void check_reach(CFG_CHECK& check) {
    check.marks.clear(); // blocks that something leads to by an edge that is missing
    for (const auto& [from, to] : check.errors.missing_edges) check.marks.add(to);
    std::vector<bool> cut_off(static_cast<size_t>(flow_graph.last_uon) + 1);
    const auto is_cut_off = [&](const BB* block) {
        for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
            if (!cut_off[cell->block->uon]) return false;
        return !check.marks.has(block);
    };
    for (bool found = true; found;) {
        found = false;
        for (BB* block = flow_graph.bb_list->dflink; block; block = block->dflink) {
            if (cut_off[block->uon] || !is_cut_off(block)) continue;
            check.corrected(RULE_G5, block, " ----- BB%d cannot be reached from the entry block\n",
                            block->dfn);
            check.errors.unreachable.push_back(block);
            cut_off[block->uon] = true;
            found = true;
        }
    }
}

void report_count(const char* format, int count) {
    if (count) fprintf(stderr, format, count);
}

} // namespace

CFG_ERRORS check_cfg(const FAULT_SINK* sink) {
    CFG_CHECK check;
    check.sink = sink;
    if (!flow_graph.bb_list) {
        check.uncorrected(RULE_G1, nullptr, "%s", " +++++ bb_list == NULL\n");
        return check.errors;
    }
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        check_chain(check, block);
        check_branch(check, block);
    }
    check_mutual(check, &BB::preds, &BB::succs, " +++++ BB%d precedes BB%d but BB%d doesn't succeed BB%d\n");
    check_mutual(check, &BB::succs, &BB::preds, " +++++ BB%d succeeds BB%d but BB%d doesn't precede BB%d\n");
    check_reach(check);
    return check.errors;
}

namespace {

void repair(const CFG_ERRORS& errors) {
    for (const auto& [from, to] : errors.missing_edges) add_edge(from, to);
    for (BB* block : errors.unreachable)
        while (block->succs) remove_edge(block, block->succs->block);
}

} // namespace

void validate_cfg() {
    if (!debug_on()) return;
    trace("\n\n ===== Validating this CFG\n");
    if (flow_graph.bb_list) {
        relink_blocks();
        list_bb(flow_graph.bb_list, nullptr, debug_file());
    }
    const CFG_ERRORS errors = check_cfg();
    repair(errors);
    trace(" ===== Corrected errors: %d, Uncorrected errors: %d\n\n", errors.corrected, errors.uncorrected);
    report_count("\n\n ----- %d Corrected CFG errors!!!", errors.corrected);
    report_count("\n\n +++++ %d Uncorrected CFG errors!!!", errors.uncorrected);
}

namespace {

int check_cells(const BB* block, const FAULT_SINK* sink) {
    int faults = 0;
    for (const STMT* cell = block->stmts; cell; cell = cell->next) {
        const TREE_PLACE place{cell->tree, block->dfn, sink};
        if (!cell->tree) {
            report_invalid_node(RULE_N1, "NULL statement", nullptr, place);
            faults++;
            continue;
        }
        const bool branch = is_ending_branch(cell->tree->op);
        if (branch && cell->next)
            report_invalid_node(RULE_G2, "This branch is not the last statement of its block", cell->tree,
                                place);
        if (!branch && !cell->next)
            report_invalid_node(RULE_G2, "The last statement of a block must be a branch", cell->tree, place);
        faults += branch != !cell->next;
        faults +=
            validate_stmt(cell->tree, block->dfn, block == flow_graph.bb_list && cell == block->stmts, sink);
    }
    return faults;
}

} // namespace

int validate_stmts(const FAULT_SINK* sink) {
    trace("\n\n ===== Validating all statements in the CFG\n");
    int faults = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (!block->stmts) {
            report_invalid_node(RULE_G2, "The basic block has no statement list", nullptr,
                                {nullptr, block->dfn, sink});
            faults++;
        }
        faults += check_cells(block, sink);
    }
    return faults;
}

} // namespace pelorus
