// Conditional constant propagation; see ssa.h.
//
//      x = 1;                              x is 1 in the test and behind it: only the way over the first arm
//      if (x) y = 2; else y = f();         is taken, so that y is 2
//
//   1. What tests say of versions behind them is collected (edge_facts.h).
//   2. Values go from NOTHING to what is known (known_values.h), along the edges that can be taken: a block
//      is looked at when the first edge to it was found, a statement again when a version in it is known to
//      be less constant than before. A phi is what the operands are that come over edges found so far.
//   3. Uses of versions that are constants become the constants, and their statements are simplified.
//   4. Branches whose conditions are decided become jumps, and what nothing reaches any more goes.
//
// Each version changes at most three times, so the whole is linear in the uses.
//
// What it does not do: follow values through memory, or learn ranges from tests.
//
// Wegman, Zadeck: Constant Propagation with Conditional Branches. TOPLAS 13 (1991).
#include <unordered_set>

#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "ssa/edge_facts.h"
#include "ssa/known_values.h"
#include "ssa/ssa.h"
#include "support/decision.h"
#include "tree/access.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct CONSTANT_COSTS {
    int64_t largest = 255; // number that an instruction holds itself, whichever it is
};
constexpr CONSTANT_COSTS COSTS;

// A statement that defines versions, or the ending of a block.
struct SITE_OF_VALUE {
    BB* block;
    STMT* cell;
};

struct PROPAGATION {
    EDGE_FACTS facts{};
    std::vector<KNOWN_VALUE> values{};               // by version
    std::vector<std::vector<SITE_OF_VALUE>> users{}; // by version
    std::vector<std::vector<STMT*>> defining{};      // by block number: statements with definitions
    std::vector<bool> reached{};                     // by block number
    std::unordered_set<uint64_t> edges{};            // that can be taken
    std::vector<std::pair<BB*, BB*>> new_edges{};    //
    std::vector<int32_t> changed{};                  // versions
};

size_t number_of(const BB* block) { return static_cast<size_t>(block->dfn); }

KNOWN_VALUE value_in(const PROPAGATION& all, const BB* block, const NODE* tree) {
    return known_value(tree, {all.values, all.facts, block});
}

// --- 2 ---

void note_statement(PROPAGATION& all, BB* block, STMT* cell) {
    const bool defines = has_definition(cell->tree);
    if (defines) all.defining[number_of(block)].push_back(cell);
    if (!defines && cell != block->last_stmt) return;
    const auto note_use = [&](const NODE* name) {
        all.users[static_cast<size_t>(version_of(name))].push_back({block, cell});
    };
    if (is_phi(cell->tree)) {
        for (const NODE* operand : phi_operands(cell->tree->left->right)) note_use(operand->left);
        return;
    }
    for_each_node(cell->tree, [&](const NODE* node) {
        if (version_of(node)) note_use(node);
    });
}

// What nothing of the function writes may be anything: it is not what the optimizer says that it is.
PROPAGATION start_propagation() {
    PROPAGATION all;
    all.facts = find_edge_facts();
    all.values.resize(ssa_form.versions.size());
    all.users.resize(ssa_form.versions.size());
    all.defining.resize(static_cast<size_t>(flow_graph.bb_count) + 1);
    all.reached.resize(static_cast<size_t>(flow_graph.bb_count) + 1);
    for (size_t version = 1; version < ssa_form.versions.size(); ++version)
        if (!ssa_form.versions[version].definition) all.values[version] = ANY_VALUE;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (STMT* cell = block->stmts; cell; cell = cell->next) note_statement(all, block, cell);
    return all;
}

void learn(PROPAGATION& all, int32_t version, const KNOWN_VALUE& value) {
    KNOWN_VALUE& known = all.values[static_cast<size_t>(version)];
    const KNOWN_VALUE both = either_value(known, value);
    if (is_same_value(both, known)) return;
    known = both;
    all.changed.push_back(version);
}

void take_edge(PROPAGATION& all, BB* from, BB* to) {
    if (all.edges.insert(key_of_edge(from, to)).second) all.new_edges.emplace_back(from, to);
}

// Of the version where control goes over the edge.
KNOWN_VALUE value_on_edge(const PROPAGATION& all, int32_t version, const BB* from, const BB* to) {
    const KNOWN_VALUE& value = all.values[static_cast<size_t>(version)];
    if (value.known == KNOWN::NOTHING || value.known == KNOWN::CONSTANT) return value;
    return value_behind_test(value, fact_on_edge(all.facts, version, from, to));
}

KNOWN_VALUE value_of_phi(const PROPAGATION& all, const BB* block, const NODE* phi) {
    KNOWN_VALUE value;
    for (const NODE* operand : phi_operands(phi)) {
        const BB* from = block_of_operand(operand);
        if (!all.edges.contains(key_of_edge(from, block))) continue;
        value = either_value(value, value_on_edge(all, operand->value_lo, from, block));
        if (value.known == KNOWN::VARIES) break;
    }
    return value;
}

void look_at_definitions(PROPAGATION& all, const BB* block, const NODE* tree) {
    if (is_phi(tree)) {
        // A block with many ways in is looked at for each of them.
        if (all.values[static_cast<size_t>(tree->value_lo)].known == KNOWN::VARIES) return;
        return learn(all, tree->value_lo, value_of_phi(all, block, tree->left->right));
    }
    for_each_node(tree, [&](const NODE* node) {
        if (node->op != OP_SSA_DEF) return;
        const NODE* assignment = node->left;
        const SYMBOL* variable = ssa_form.versions[static_cast<size_t>(node->value_lo)].variable;
        learn(all, node->value_lo,
              value_as(value_in(all, block, assignment->right), assignment->right->type, variable->type));
    });
}

// Where the block can lead as far as is known.
void look_at_ending(PROPAGATION& all, BB* block) {
    const NODE* tree = ending_tree(block);
    if (tree->op == OP_IF || tree->op == OP_SWITCH) {
        const KNOWN_VALUE value = value_in(all, block, tree->left);
        if (value.known == KNOWN::NOTHING) return;
        const bool is_integer = value.known == KNOWN::CONSTANT && value.op == OP_ICON;
        const bool is_decided = is_integer || (tree->op == OP_IF && is_not_zero(value));
        const INT96 number = is_integer ? value.integer : int96_signed(1);
        if (is_decided)
            if (const NODE* leaf = leaf_for_value(tree, number))
                return take_edge(all, block, target_of(leaf));
    }
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next) take_edge(all, block, edge->block);
}

void look_at_block(PROPAGATION& all, BB* block) {
    const bool is_new = !all.reached[number_of(block)];
    all.reached[number_of(block)] = true;
    for (const STMT* cell : all.defining[number_of(block)])
        if (is_new || is_phi(cell->tree)) look_at_definitions(all, block, cell->tree);
    if (is_new) look_at_ending(all, block);
}

void propagate(PROPAGATION& all) {
    look_at_block(all, flow_graph.bb_list);
    while (!all.new_edges.empty() || !all.changed.empty()) {
        if (!all.new_edges.empty()) {
            BB* to = all.new_edges.back().second;
            all.new_edges.pop_back();
            look_at_block(all, to);
            continue;
        }
        const int32_t version = all.changed.back();
        all.changed.pop_back();
        for (const SITE_OF_VALUE& user : all.users[static_cast<size_t>(version)]) {
            if (!all.reached[number_of(user.block)]) continue;
            look_at_definitions(all, user.block, user.cell->tree);
            if (user.cell == user.block->last_stmt) look_at_ending(all, user.block);
        }
    }
}

// --- 3 ---

// The address of an object stays behind its name: to write it at each use costs more.
bool is_worth_writing(const KNOWN_VALUE& value) {
    return value.known == KNOWN::CONSTANT && value.op != OP_UAND;
}

// A constant that only a test told of is there in a variable: to write it must not cost more.
bool is_cheap_constant(const KNOWN_VALUE& value) {
    const int64_t number = value.op == OP_ICON && int96_fits_signed32(value.integer)
                               ? int96_to_int64(value.integer)
                               : COSTS.largest + 1;
    return -COSTS.largest <= number && number <= COSTS.largest;
}

bool replace_use(const PROPAGATION& all, const BB* block, NODE* name) {
    const KNOWN_VALUE value = value_in(all, block, name);
    if (!is_worth_writing(value)) return false;
    const bool is_everywhere = all.values[static_cast<size_t>(version_of(name))].known == KNOWN::CONSTANT;
    if (!is_everywhere && !is_cheap_constant(value)) return false;
    NODE* constant = tree_of_value(value, name->type);
    const bool granted = change(is_everywhere ? SITE_ssa_constant : SITE_ssa_behind_test, "{} is {}",
                                name->symbol(), constant);
    if (granted) *name = *constant;
    erase_node(constant);
    return granted;
}

// True when nothing is left of the statement, and the cell holds the next one.
bool simplify_statement(BB* block, STMT* cell) {
    NODE* assignment = definition_of(cell->tree);
    NODE*& place = assignment ? assignment->right : cell->tree;
    if (has_definition(place)) return false;
    place = simplify_tree(place);
    if (assignment || cell == block->last_stmt) return false;
    cell->tree = reduce_to_effects(cell->tree);
    if (cell->tree) return false;
    remove_cell(block, cell);
    return true;
}

bool is_condition(const NODE* tree) {
    return opcode_is_relation(tree->op) || tree->op == OP_EXCLAIM || tree->op == OP_ANDAND ||
           tree->op == OP_OROR;
}

// A condition that is decided without being a constant: that a pointer is not null, say.
bool decide_condition(const PROPAGATION& all, const BB* block, NODE*& condition) {
    if (tree_has_effects(condition) || !any_node(condition, version_of)) return false;
    const KNOWN_VALUE value = value_in(all, block, condition);
    if (!is_not_zero(value) && !is_zero_value(value)) return false;
    if (!change(SITE_ssa_condition, "{} is {}", condition, is_not_zero(value) ? "not 0" : "0")) return false;
    erase_tree(condition);
    condition = new_icon(type_package()->int_type(), int96_signed(is_not_zero(value)));
    return true;
}

bool decide_conditions(const PROPAGATION& all, const BB* block, NODE* tree) {
    bool decided = false;
    for_each_node(tree, [&](NODE* node) {
        const bool tests_both = node->op == OP_ANDAND || node->op == OP_OROR;
        const bool tests = tests_both || node->op == OP_IF || node->op == OP_QUEST || node->op == OP_EXCLAIM;
        if (node->left && (tests || is_condition(node->left)))
            decided |= decide_condition(all, block, node->left);
        if (node->right && (tests_both || is_condition(node->right)))
            decided |= decide_condition(all, block, node->right);
    });
    return decided;
}

// True when nothing is left of the statement.
bool replace_uses(const PROPAGATION& all, BB* block, STMT* cell) {
    if (is_phi(cell->tree) || cell->tree->op == OP_URETURN) return false; // which want names
    std::vector<NODE*> names;
    for_each_access(cell->tree, [&](const TREE_ACCESS& access) {
        if (access.kind == ACCESS::USE && access.name && is_plain(access) && version_of(access.name))
            names.push_back(access.name);
    });
    bool replaced = false;
    for (NODE* name : names) replaced |= replace_use(all, block, name);
    if (!names.empty()) replaced |= decide_conditions(all, block, cell->tree);
    return replaced && simplify_statement(block, cell);
}

void replace_in_block(const PROPAGATION& all, BB* block) {
    for (STMT* cell = block->stmts; cell;) {
        stand_at(block, cell);
        if (!replace_uses(all, block, cell)) cell = cell->next;
    }
}

// --- 4 ---

bool fold_branches() {
    bool folded = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) folded |= fold_decided_ending(block);
    return folded;
}

// Drops the operands of phis that came over edges that are gone.
void prune_phi_operands() {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; is_phi(cell->tree); cell = cell->next) {
            NODE* phi = cell->tree->left->right;
            const std::span<NODE*> operands = phi_operands(phi);
            int32_t kept = 0;
            for (NODE* operand : operands) {
                if (!in_set(block->preds, block_of_operand(operand))) continue;
                operand->value_mid = block_of_operand(operand)->dfn;
                operands[static_cast<size_t>(kept++)] = operand;
            }
            set_phi_operands(phi, operands.data(), kept);
        }
}

} // namespace

bool propagate_SSA_constants(bool fold) {
    if (!ssa_form.stands) return false;
    const CHANGE_MARK mark;
    PROPAGATION all = start_propagation();
    propagate(all);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (all.reached[number_of(block)]) replace_in_block(all, block);
    if (!mark.any()) return false;
    trees_changed();
    if (fold && fold_branches()) {
        renumber_cfg();
        prune_phi_operands();
    }
    check_SSA_form();
    return true;
}

} // namespace pelorus
