// Taking SSA form down; see ssa.h.
//
//   1. Phis go, and all versions go by the names of their variables again. The form is conventional, so that
//      no two versions of a variable are wanted at the same place.
//   2. Operator-assignments that construction expanded become that again.
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "ssa/ssa.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"

namespace pelorus {

namespace {

void drop_phi(BB* block, STMT* cell) {
    for (NODE* operand : phi_operands(cell->tree->left->right)) erase_tree(operand);
    erase_tree(cell->tree);
    remove_cell(block, cell);
}

void unwrap(NODE* wrapper) {
    NODE* inner = wrapper->left;
    *wrapper = *inner;
    inner->left = inner->right = nullptr;
    erase_node(inner);
}

void take_names_back(NODE* tree) {
    for_each_node(tree, [](NODE* node) {
        if (node->op == OP_SSA_DEF) unwrap(node);
        if (const int32_t version = version_of(node))
            node->ref = ssa_form.versions[static_cast<size_t>(version)].variable;
    });
}

void take_statement_back(STMT* cell) {
    const int32_t op = cell->tree->op == OP_SSA_DEF ? cell->tree->value_mid : int32_t{OP_NOP};
    take_names_back(cell->tree);
    if (op != OP_NOP) contract_operator_assignment(cell->tree, op);
}

} // namespace

bool deconstruct_SSA_form() {
    if (!ssa_form.stands) return false;
    check_SSA_form();
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        while (is_phi(block->stmts->tree)) drop_phi(block, block->stmts);
        for (STMT* cell = block->stmts; cell; cell = cell->next) take_statement_back(cell);
    }
    for (const SSA_VERSION& version : ssa_form.versions)
        if (version.variable) version.variable->ssa_version = 0;
    ssa_form = {};
    trees_changed();
    return true;
}

} // namespace pelorus
