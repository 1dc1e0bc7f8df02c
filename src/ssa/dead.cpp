// Removal of dead assignments on SSA form; see ssa.h.
//
//      for (i = 0; i < n; i++) s += a[i];      s is wanted by its own next value alone: both go
//
//   1. Statements that do more than define a version are wanted, as are all branches. So is what a wanted
//      statement uses: the definition of each version in it, and what that uses in turn. A phi uses its
//      operands.
//   2. Definitions that nobody wants go; what their values do besides stays as a statement.
//
// Circles of definitions that only want each other are found, over phis, too, which live variables do not
// tell. What it does not do: drop branches, and loops that do nothing.
//
// Cytron, Ferrante, Rosen, Wegman, Zadeck: Efficiently Computing Static Single Assignment Form and the
// Control Dependence Graph. TOPLAS 13 (1991), section 7.1, without its control dependence.
#include "cfg/statement_edit.h"
#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "ssa/ssa.h"
#include "support/decision.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct DEAD_SEARCH {
    std::vector<NODE*> statements{}; // by version: the one that defines it
    std::vector<bool> wanted{};      // by version
    std::vector<int32_t> waiting{};  // wanted versions whose statements were not looked at
};

void want(DEAD_SEARCH& search, int32_t version) {
    if (search.wanted[static_cast<size_t>(version)]) return;
    search.wanted[static_cast<size_t>(version)] = true;
    search.waiting.push_back(version);
}

// The versions that the tree uses. What it defines is no use, and no harm either.
void want_uses(DEAD_SEARCH& search, const NODE* tree) {
    for_each_node(tree, [&](const NODE* node) {
        if (node->op == OP_SSA_PHI)
            for (const NODE* operand : phi_operands(node)) want(search, operand->value_lo);
        else if (const int32_t version = version_of(node))
            want(search, version);
    });
}

// The statement is the definition of one version and does nothing else: it is there for that version alone.
bool may_be_dead(const NODE* tree) {
    const NODE* assignment = definition_of(tree);
    return assignment && !has_definition(assignment->right) && !why_assignment_stays(assignment);
}

void want_what_must_be(DEAD_SEARCH& search, NODE* tree) {
    if (!may_be_dead(tree)) return want_uses(search, tree);
    search.statements[static_cast<size_t>(tree->value_lo)] = tree;
    const NODE* value = tree->left->right;
    if (value->op != OP_SSA_PHI && tree_has_effects(value)) want_uses(search, value);
}

DEAD_SEARCH find_wanted() {
    DEAD_SEARCH search;
    search.statements.resize(ssa_form.versions.size());
    search.wanted.resize(ssa_form.versions.size());
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next) want_what_must_be(search, cell->tree);
    while (!search.waiting.empty()) {
        const auto version = static_cast<size_t>(search.waiting.back());
        search.waiting.pop_back();
        if (search.statements[version]) want_uses(search, search.statements[version]->left->right);
    }
    return search;
}

// The cell holds the next statement, or what is left of this one.
void drop(BB* block, STMT* cell) {
    NODE* assignment = cell->tree->left;
    NODE* value = assignment->right;
    ssa_form.versions[static_cast<size_t>(cell->tree->value_lo)].definition = nullptr;
    erase_node(cell->tree);
    erase_node(assignment->left);
    erase_node(assignment);
    if (value->op == OP_SSA_PHI)
        for (NODE* operand : phi_operands(value)) erase_tree(operand);
    NODE* rest = value->op == OP_SSA_PHI ? nullptr : reduce_to_effects(value);
    if (rest)
        cell->tree = rest;
    else
        remove_cell(block, cell);
}

bool is_unwanted(const DEAD_SEARCH& search, const NODE* tree) {
    if (tree->op != OP_SSA_DEF) return false;
    const auto version = static_cast<size_t>(tree->value_lo);
    return search.statements[version] == tree && !search.wanted[version];
}

void drop_unwanted(const DEAD_SEARCH& search, BB* block) {
    for (STMT* cell = block->stmts; cell;) {
        stand_at(block, cell);
        const NODE* tree = cell->tree;
        if (!is_unwanted(search, tree) || !change(SITE_dead_ssa_assignment, "{}", tree->left)) {
            cell = cell->next;
            continue;
        }
        const STMT* next = cell->next;
        drop(block, cell);
        if (cell->next == next) cell = cell->next;
    }
}

} // namespace

bool elim_dead_SSA_assignments() {
    if (!ssa_form.stands) return false;
    const CHANGE_MARK mark;
    const DEAD_SEARCH search = find_wanted();
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) drop_unwanted(search, block);
    if (mark.any()) trees_changed();
    return mark.any();
}

} // namespace pelorus
