// Construction of SSA form; see ssa.h.
//
//   1. Which variables are tracked, and how often each is defined.
//   2. The blocks are walked in depth-first order, and in each the accesses in the order of evaluation. A
//      definition begins a version. A use means the last version of its block, or the one that the block is
//      entered with: that is looked for up the chain of single predecessors, and where several blocks lead to
//      one, a phi is made.
//   3. The operands of phis are found when all blocks have been walked, in the same way, which may make more
//      phis.
//   4. Phis whose operands are all one version, or the phi itself, are that version. What remains of
//      circles of phis that only choose among each other in an irreducible graph is left: it costs a copy.
//   5. Definitions and uses get their symbols, and phis their statements.
//
// So the form is pruned, since phis are made for uses alone, and needs neither dominators nor live variables.
// A variable that is used behind a long ladder of joins gets a phi in each until step 4: the worst is the
// product of joins and variables, as it is for live variables in bits.
//
// What it does not do: give versions to memory.
#include <span>
#include <unordered_map>

#include "cfg/candidate_fact.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "scalar/assignment_query.h"
#include "ssa/ssa.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"

namespace pelorus {

SSA_FORM ssa_form;

int32_t version_of(const NODE* node) {
    return node->op == OP_NAME && node->symbol() ? node->symbol()->ssa_version : 0;
}

bool has_definition(const NODE* tree) {
    return any_node(tree, [](const NODE* node) { return node->op == OP_SSA_DEF; });
}

namespace {

using VERSION = uint32_t;
constexpr VERSION NO_VERSION = 0;

// By candidate number.
struct TRACKED {
    uint32_t definitions = 0;
    bool refused = false;
    const STMT* last = nullptr; // statement that defines it
};

struct PHI {
    BB* block;
    VERSION version;
    std::vector<VERSION> operands; // in the order of the predecessors
};

struct DRAFT {
    SYMBOL* variable;
    NODE* definition;           // null: at the entry, or a phi
    int32_t phi;                // its place among the phis; -1: none
    VERSION same;               // another version that it turned out to be; itself: none
    bool is_used;               //
    std::vector<VERSION> users; // phis; of phis alone
};

struct USE {
    NODE* name;
    VERSION version;
};

struct BUILDER {
    std::vector<TRACKED> tracked{};
    std::vector<DRAFT> drafts{1};
    std::vector<PHI> phis{};
    std::vector<USE> uses{};
    std::unordered_map<const NODE*, int32_t> operators{}; // of operator-assignments that became ASGs
    std::unordered_map<uint64_t, VERSION> at_end{}; // by block and variable: the last one of the block so far
    std::unordered_map<uint64_t, VERSION> at_entry{}; // the same: found to be the one that it is entered with
};

// --- 1 ---

bool is_operator_assignment(const NODE* node) {
    return opcode_assigns(node->op) && plain_operator(node->op) != OP_NOP;
}

bool is_trackable_definition(const TREE_ACCESS& access, const STMT* cell) {
    if (!is_kill(access) || !is_plain(access) || access.is_volatile) return false;
    return access.by->op == OP_ASG || (access.by == cell->tree && is_operator_assignment(access.by));
}

void note_access(BUILDER& builder, const TREE_ACCESS& access, const STMT* cell) {
    if (!access.symbol || access.symbol->candidate < 0) return;
    TRACKED& variable = builder.tracked[candidate_number(access.symbol)];
    if (access.kind == ACCESS::LEND) variable.refused = true;
    if (!is_definition(access)) return;
    ++variable.definitions;
    variable.refused |= !is_trackable_definition(access, cell) || variable.last == cell;
    variable.last = cell;
}

bool find_tracked(BUILDER& builder) {
    build_facts(CANDIDATES_FACT);
    builder.tracked.resize(static_cast<size_t>(function_candidates.count));
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(static_cast<const NODE*>(cell->tree),
                            [&](const TREE_ACCESS& access) { note_access(builder, access, cell); });
    bool any = false;
    for_each_candidate(function_candidates, [&](const SYMBOL* symbol) {
        TRACKED& variable = builder.tracked[candidate_number(symbol)];
        variable.refused |= !variable.definitions || is_seen_by_debugger(symbol) || symbol->replaced;
        any |= !variable.refused;
    });
    return any;
}

const TRACKED* tracking_of(const BUILDER& builder, const SYMBOL* symbol) {
    if (!symbol || symbol->candidate < 0) return nullptr;
    const TRACKED& variable = builder.tracked[candidate_number(symbol)];
    return variable.refused ? nullptr : &variable;
}

// --- 2 ---

uint64_t key_of(const BB* block, const SYMBOL* variable) {
    return uint64_t{static_cast<uint32_t>(block->dfn)} << 32 | candidate_number(variable);
}

VERSION new_draft(BUILDER& builder, SYMBOL* variable) {
    const auto number = static_cast<VERSION>(builder.drafts.size());
    builder.drafts.push_back({variable, nullptr, -1, number, false, {}});
    return number;
}

VERSION new_phi(BUILDER& builder, SYMBOL* variable, BB* block) {
    const VERSION version = new_draft(builder, variable);
    builder.drafts[version].phi = static_cast<int32_t>(builder.phis.size());
    builder.phis.push_back({block, version, {}});
    return version;
}

// The version with which the block is entered.
VERSION version_at_entry(BUILDER& builder, BB* block, SYMBOL* variable) {
    std::vector<BB*> way;
    VERSION found = NO_VERSION;
    for (BB* here = block; !found;) {
        way.push_back(here);
        if (const auto known = builder.at_entry.find(key_of(here, variable)); known != builder.at_entry.end())
            found = known->second;
        else if (!here->preds)
            found = new_draft(builder, variable);
        else if (here->preds->next)
            found = new_phi(builder, variable, here);
        else {
            here = here->preds->block;
            if (const auto last = builder.at_end.find(key_of(here, variable)); last != builder.at_end.end())
                found = last->second;
        }
    }
    for (const BB* passed : way) builder.at_entry[key_of(passed, variable)] = found;
    return found;
}

VERSION version_at_end(BUILDER& builder, BB* block, SYMBOL* variable) {
    const auto last = builder.at_end.find(key_of(block, variable));
    return last != builder.at_end.end() ? last->second : version_at_entry(builder, block, variable);
}

void expand_at_top(BUILDER& builder, STMT* cell) {
    NODE* tree = cell->tree;
    if (!is_operator_assignment(tree) || tree->left->op != OP_NAME) return;
    if (!tracking_of(builder, tree->left->symbol())) return;
    const int32_t op = tree->op;
    cell->tree = expand_operator_assignment(tree);
    builder.operators[cell->tree] = op;
}

// The only version of a variable that is defined once.
VERSION single_version(BUILDER& builder, SYMBOL* variable) {
    VERSION& only = builder.at_end[key_of(flow_graph.bb_list, variable)];
    if (!only) only = new_draft(builder, variable);
    return only;
}

void read_access(BUILDER& builder, const TREE_ACCESS& access, BB* block) {
    const TRACKED* variable = tracking_of(builder, access.symbol);
    if (!variable) return;
    const bool is_single = variable->definitions == 1;
    if (is_definition(access)) {
        const VERSION version =
            is_single ? single_version(builder, access.symbol) : new_draft(builder, access.symbol);
        builder.drafts[version].definition = access.by;
        if (!is_single) builder.at_end[key_of(block, access.symbol)] = version;
        return;
    }
    const VERSION version =
        is_single ? single_version(builder, access.symbol) : version_at_end(builder, block, access.symbol);
    builder.uses.push_back({access.name, version});
}

void read_statements(BUILDER& builder) {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (STMT* cell = block->stmts; cell; cell = cell->next) {
            expand_at_top(builder, cell);
            for_each_access(cell->tree,
                            [&](const TREE_ACCESS& access) { read_access(builder, access, block); });
        }
}

// --- 3 ---

void find_operands(BUILDER& builder) {
    for (size_t i = 0; i < builder.phis.size(); ++i) {
        BB* block = builder.phis[i].block;
        SYMBOL* variable = builder.drafts[builder.phis[i].version].variable;
        std::vector<VERSION> operands;
        for (const BB_LIST* edge = block->preds; edge; edge = edge->next)
            operands.push_back(version_at_end(builder, edge->block, variable));
        builder.phis[i].operands = std::move(operands);
    }
}

// --- 4 ---

VERSION resolved(BUILDER& builder, VERSION version) {
    while (builder.drafts[version].same != version) {
        VERSION& same = builder.drafts[version].same;
        same = builder.drafts[same].same;
        version = same;
    }
    return version;
}

// The one version that a phi can be; NO_VERSION when there are several.
VERSION only_operand(BUILDER& builder, const PHI& phi) {
    VERSION only = NO_VERSION;
    for (const VERSION operand : phi.operands) {
        const VERSION version = resolved(builder, operand);
        if (version == phi.version || version == only) continue;
        if (only) return NO_VERSION;
        only = version;
    }
    return only;
}

void drop_trivial_phis(BUILDER& builder) {
    for (const PHI& phi : builder.phis)
        for (const VERSION operand : phi.operands) builder.drafts[operand].users.push_back(phi.version);
    std::vector<VERSION> waiting;
    waiting.reserve(builder.phis.size());
    for (const PHI& phi : builder.phis) waiting.push_back(phi.version);
    while (!waiting.empty()) {
        const VERSION version = waiting.back();
        waiting.pop_back();
        DRAFT& draft = builder.drafts[version];
        if (draft.same != version) continue;
        const VERSION only = only_operand(builder, builder.phis[static_cast<size_t>(draft.phi)]);
        if (!only) continue;
        draft.same = only;
        std::vector<VERSION>& heir = builder.drafts[only].users;
        for (const VERSION user : draft.users) {
            waiting.push_back(user);
            heir.push_back(user);
        }
        draft.users.clear();
    }
}

// --- 5 ---

// What no use wants is not made: phis of phis that turned out to be something else.
void mark_used(BUILDER& builder) {
    std::vector<VERSION> waiting;
    const auto mark = [&](VERSION version) {
        version = resolved(builder, version);
        if (builder.drafts[version].is_used) return;
        builder.drafts[version].is_used = true;
        if (builder.drafts[version].phi >= 0) waiting.push_back(version);
    };
    for (const USE& use : builder.uses) mark(use.version);
    for (VERSION version = 1; version < builder.drafts.size(); ++version)
        if (builder.drafts[version].definition) mark(version);
    while (!waiting.empty()) {
        const VERSION version = waiting.back();
        waiting.pop_back();
        for (const VERSION operand : builder.phis[static_cast<size_t>(builder.drafts[version].phi)].operands)
            mark(operand);
    }
}

SYMBOL* symbol_for(const BUILDER& builder, SYMBOL* variable, int32_t number) {
    SYMBOL* symbol = variable;
    if (tracking_of(builder, variable)->definitions > 1) {
        symbol = zone_new<SYMBOL>(true);
        *symbol = *variable;
        symbol->next = nullptr;
    }
    symbol->ssa_version = number;
    return symbol;
}

// Numbers of the versions that are wanted, by draft.
std::vector<int32_t> make_versions(BUILDER& builder) {
    mark_used(builder);
    std::vector<int32_t> numbers(builder.drafts.size());
    ssa_form.versions.assign(1, {});
    for (VERSION version = 1; version < builder.drafts.size(); ++version) {
        const DRAFT& draft = builder.drafts[version];
        if (!draft.is_used) continue;
        const auto number = static_cast<int32_t>(ssa_form.versions.size());
        numbers[version] = number;
        ssa_form.versions.push_back({symbol_for(builder, draft.variable, number), draft.variable, nullptr});
    }
    return numbers;
}

// The assignment comes to stand under an SSA_DEF, which takes its place in memory, so that nobody has to know
// what it hangs on.
NODE* wrap(NODE* assignment, int32_t number, int32_t operator_before = OP_NOP) {
    NODE* inner = new_node(assignment->op, assignment->type);
    *inner = *assignment;
    assignment->op = OP_SSA_DEF;
    assignment->left = inner;
    assignment->right = nullptr;
    assignment->value_lo = number;
    assignment->value_mid = operator_before;
    return inner;
}

NODE* new_operand(const BB_LIST* edge, int32_t number) {
    const SSA_VERSION& version = ssa_form.versions[static_cast<size_t>(number)];
    NODE* name = new_name(version.symbol, version.variable->declared_type);
    NODE* operand = new_unary(OP_SSA_USE, name->type, name);
    operand->value_lo = number;
    operand->value_mid = edge->block->dfn;
    operand->ref = edge->block;
    return operand;
}

void put_phi(BUILDER& builder, const PHI& phi, const std::vector<int32_t>& numbers) {
    const int32_t number = numbers[phi.version];
    SSA_VERSION& version = ssa_form.versions[static_cast<size_t>(number)];
    NODE* chooser = new_node(OP_SSA_PHI, version.variable->declared_type);
    NODE** operands = zone_array<NODE*>(true, phi.operands.size());
    const BB_LIST* edge = phi.block->preds;
    for (size_t i = 0; i < phi.operands.size(); ++i, edge = edge->next)
        operands[i] = new_operand(edge, numbers[resolved(builder, phi.operands[i])]);
    set_phi_operands(chooser, operands, static_cast<int32_t>(phi.operands.size()));
    NODE* assignment = new_binary(OP_ASG, chooser->type, new_name(version.symbol, chooser->type), chooser);
    version.definition = wrap(assignment, number);
    insert_before(phi.block, phi.block->stmts, assignment, phi.block->stmts->position);
}

void put_in_form(BUILDER& builder) {
    const std::vector<int32_t> numbers = make_versions(builder);
    const auto symbol_of = [&](VERSION version) {
        return ssa_form.versions[static_cast<size_t>(numbers[resolved(builder, version)])].symbol;
    };
    for (const USE& use : builder.uses) use.name->ref = symbol_of(use.version);
    for (VERSION version = 1; version < builder.drafts.size(); ++version) {
        NODE* definition = builder.drafts[version].definition;
        if (!definition) continue;
        definition->left->ref = symbol_of(version);
        const auto expanded = builder.operators.find(definition);
        const int32_t operator_before = expanded == builder.operators.end() ? OP_NOP : expanded->second;
        ssa_form.versions[static_cast<size_t>(numbers[version])].definition =
            wrap(definition, numbers[version], operator_before);
    }
    for (size_t i = builder.phis.size(); i-- > 0;) // each comes in front of those before
        if (numbers[builder.phis[i].version]) put_phi(builder, builder.phis[i], numbers);
}

} // namespace

bool construct_SSA_form() {
    ssa_form = {};
    BUILDER builder;
    if (flow_graph.bb_list->preds || !find_tracked(builder)) return false;
    read_statements(builder);
    find_operands(builder);
    drop_trivial_phis(builder);
    put_in_form(builder);
    ssa_form.stands = true;
    trees_changed();
    check_SSA_form();
    return true;
}

} // namespace pelorus
