// The check of SSA form; see ssa.h.
//
// The blocks are walked in depth-first order. Each definition must be the one that its version's record
// names, and each use must come behind its definition: in the same block, or in one that dominates. An
// operand of a phi is used at the end of its block.
#include <vector>

#include "cfg/dominators.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "ssa/ssa.h"
#include "support/checking.h"
#include "support/fatal.h"
#include "support/pseudo_options.h"
#include "tree/access.h"

namespace pelorus {

namespace {

struct SEEN {
    const BB* block = nullptr; // of the definition; null: not met
    uint32_t place = 0;        // of the statement in the whole walk
};

struct FORM_CHECK {
    std::vector<SEEN> definitions{}; // by version
    const BB* block = nullptr;
    uint32_t place = 0;
};

[[noreturn]] void fault(const FORM_CHECK& check, const char* what, const NODE* node) {
    fatal_error("Error - SSA form, BB%d: %s: %s\n", check.block->dfn, what, tree_text(node).c_str());
}

size_t checked_version(const FORM_CHECK& check, const NODE* name) {
    const auto version = static_cast<size_t>(version_of(name));
    if (!version || version >= ssa_form.versions.size()) fault(check, "there is no such version", name);
    if (ssa_form.versions[version].symbol != name->symbol()) fault(check, "another version's symbol", name);
    return version;
}

void note_definition(FORM_CHECK& check, const NODE* wrapper) {
    const NODE* assignment = wrapper->left;
    const size_t version = checked_version(check, assignment->left);
    if (ssa_form.versions[version].definition != assignment ||
        version != static_cast<size_t>(wrapper->value_lo))
        fault(check, "the definition is another one", wrapper);
    if (check.definitions[version].block) fault(check, "a second definition", wrapper);
    check.definitions[version] = {check.block, check.place};
}

template <class F>
void for_each_statement(FORM_CHECK& check, F visit) {
    check.place = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        check.block = block;
        for (const STMT* cell = block->stmts; cell; cell = cell->next) {
            ++check.place;
            visit(cell->tree);
        }
    }
}

// A variable with one version may be read where nobody wrote it.
bool may_be_unwritten(const SSA_VERSION& version) {
    return version.symbol == version.variable || !version.definition;
}

// `end_of`: the block at whose end the version is used; null: in the statement looked at.
void check_use(const FORM_CHECK& check, const NODE* name, const BB* end_of) {
    const size_t version = checked_version(check, name);
    if (may_be_unwritten(ssa_form.versions[version])) return;
    const SEEN& definition = check.definitions[version];
    if (!definition.block) fault(check, "a use without definition", name);
    const BB* block = end_of ? end_of : check.block;
    const bool is_behind = definition.block == block ? end_of || definition.place <= check.place
                                                     : dominates(definition.block, block);
    if (!is_behind) fault(check, "a use that the definition does not dominate", name);
}

void check_phi(const FORM_CHECK& check, const NODE* phi) {
    size_t predecessors = 0;
    for (const BB_LIST* edge = check.block->preds; edge; edge = edge->next) ++predecessors;
    if (phi_operands(phi).size() != predecessors)
        fault(check, "operands are not as many as predecessors", phi);
    for (const NODE* operand : phi_operands(phi)) {
        if (!in_set(check.block->preds, block_of_operand(operand)))
            fault(check, "an operand comes from no predecessor", operand);
        if (version_of(operand->left) != operand->value_lo)
            fault(check, "the operand is another version", operand);
        check_use(check, operand->left, block_of_operand(operand));
    }
}

void check_uses(const FORM_CHECK& check, const NODE* tree) {
    if (is_phi(tree)) return check_phi(check, tree->left->right);
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (access.name && version_of(access.name) && is_use(access)) check_use(check, access.name, nullptr);
    });
}

void check_form() {
    FORM_CHECK check;
    check.definitions.resize(ssa_form.versions.size());
    for_each_statement(check, [&](const NODE* tree) {
        for_each_node(tree, [&](const NODE* node) {
            if (node->op == OP_SSA_DEF) note_definition(check, node);
        });
    });
    for_each_statement(check, [&](const NODE* tree) { check_uses(check, tree); });
}

} // namespace

void check_SSA_form() {
    if (!ssa_form.stands || !(CHECKING_BUILD || debug_switch("verify"))) return;
    const QUIET_DOMINATOR_SETS sets;
    check_form();
}

} // namespace pelorus
