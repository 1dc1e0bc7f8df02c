// Construction of SSA form; see ssa.h.
//
//   1. The versions are found, and which of them each use means (versions.h).
//   2. Phis whose operands are all one version, or the phi itself, are that version. What remains of
//      circles of phis that only choose among each other in an irreducible graph is left: it costs a copy.
//   3. Definitions and uses get their symbols, and phis their statements.
//
// What it does not do: give versions to memory.
#include <algorithm>
#include <numeric>

#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "ssa/ssa.h"
#include "ssa/versions.h"
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

struct BUILDER {
    VERSIONS versions;
    std::vector<VERSION> same;    // by version: another version that it turned out to be; itself: none
    std::vector<int32_t> numbers; // by version: its number in the form; 0: nothing wants it
};

// --- 2 ---

VERSION resolved(BUILDER& builder, VERSION version) {
    while (builder.same[version] != version) {
        VERSION& same = builder.same[version];
        same = builder.same[same];
        version = same;
    }
    return version;
}

// The one version that a phi can be; NO_VERSION when there are several.
VERSION only_operand(BUILDER& builder, const DRAFT_PHI& phi) {
    VERSION only = NO_VERSION;
    for (const VERSION operand : builder.versions.operands_of(phi)) {
        const VERSION version = resolved(builder, operand);
        if (version == phi.version || version == only) continue;
        if (only) return NO_VERSION;
        only = version;
    }
    return only;
}

// By version: the phis that it is an operand of.
std::vector<std::vector<VERSION>> users_of_versions(const BUILDER& builder) {
    std::vector<std::vector<VERSION>> users(builder.versions.drafts.size());
    for (const DRAFT_PHI& phi : builder.versions.phis)
        for (const VERSION operand : builder.versions.operands_of(phi)) users[operand].push_back(phi.version);
    return users;
}

// The last blocks first, as they are wanted from the end: what is an operand comes before what it is one of,
// but for edges that go back.
std::vector<VERSION> phis_from_last_block(const BUILDER& builder) {
    std::vector<const DRAFT_PHI*> order;
    order.reserve(builder.versions.phis.size());
    for (const DRAFT_PHI& phi : builder.versions.phis) order.push_back(&phi);
    std::ranges::stable_sort(
        order, [](const DRAFT_PHI* a, const DRAFT_PHI* b) { return a->block->dfn > b->block->dfn; });
    std::vector<VERSION> versions;
    versions.reserve(order.size());
    for (const DRAFT_PHI* phi : order) versions.push_back(phi->version);
    return versions;
}

void drop_trivial_phis(BUILDER& builder) {
    std::vector<std::vector<VERSION>> users = users_of_versions(builder);
    std::vector<VERSION> waiting = phis_from_last_block(builder);
    while (!waiting.empty()) {
        const VERSION version = waiting.back();
        waiting.pop_back();
        if (builder.same[version] != version) continue;
        const VERSION only =
            only_operand(builder, builder.versions.phis[builder.versions.drafts[version].phi]);
        if (!only) continue;
        builder.same[version] = only;
        for (const VERSION user : users[version]) {
            if (builder.same[user] != user) continue;
            waiting.push_back(user);
            users[only].push_back(user);
        }
        users[version].clear();
    }
}

// --- 3 ---

// What no use wants is not made: phis of phis that turned out to be something else.
std::vector<bool> find_wanted(BUILDER& builder) {
    const VERSIONS& versions = builder.versions;
    std::vector<bool> wanted(versions.drafts.size());
    std::vector<VERSION> waiting;
    const auto want = [&](VERSION version) {
        version = resolved(builder, version);
        if (wanted[version]) return;
        wanted[version] = true;
        if (versions.drafts[version].phi != NO_PHI) waiting.push_back(version);
    };
    for (const VERSION_USE& use : versions.uses) want(use.version);
    for (VERSION version = 1; version < versions.drafts.size(); ++version)
        if (versions.drafts[version].definition) want(version);
    while (!waiting.empty()) {
        const VERSION version = waiting.back();
        waiting.pop_back();
        for (const VERSION operand : versions.operands_of(versions.phis[versions.drafts[version].phi]))
            want(operand);
    }
    return wanted;
}

SYMBOL* symbol_for(const DRAFT_VERSION& draft, int32_t number) {
    SYMBOL* symbol = draft.variable;
    if (!draft.is_single) {
        symbol = zone_new<SYMBOL>(true);
        *symbol = *draft.variable;
        symbol->next = nullptr;
    }
    symbol->ssa_version = number;
    return symbol;
}

void make_versions(BUILDER& builder) {
    const std::vector<bool> wanted = find_wanted(builder);
    builder.numbers.resize(builder.versions.drafts.size());
    ssa_form.versions.assign(1, {});
    for (VERSION version = 1; version < builder.versions.drafts.size(); ++version) {
        if (!wanted[version]) continue;
        const DRAFT_VERSION& draft = builder.versions.drafts[version];
        const auto number = static_cast<int32_t>(ssa_form.versions.size());
        builder.numbers[version] = number;
        ssa_form.versions.push_back({symbol_for(draft, number), draft.variable, nullptr});
    }
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

SSA_VERSION& record_of(BUILDER& builder, VERSION version) {
    return ssa_form.versions[static_cast<size_t>(builder.numbers[resolved(builder, version)])];
}

void put_phi(BUILDER& builder, const DRAFT_PHI& phi) {
    const int32_t number = builder.numbers[phi.version];
    SSA_VERSION& version = ssa_form.versions[static_cast<size_t>(number)];
    NODE* chooser = new_node(OP_SSA_PHI, version.variable->declared_type);
    NODE** operands = zone_array<NODE*>(true, phi.operand_count);
    const BB_LIST* edge = phi.block->preds;
    for (size_t i = 0; i < phi.operand_count; ++i, edge = edge->next)
        operands[i] =
            new_operand(edge, builder.numbers[resolved(builder, builder.versions.operands_of(phi)[i])]);
    set_phi_operands(chooser, operands, static_cast<int32_t>(phi.operand_count));
    NODE* assignment = new_binary(OP_ASG, chooser->type, new_name(version.symbol, chooser->type), chooser);
    version.definition = wrap(assignment, number);
    insert_before(phi.block, phi.block->stmts, assignment, phi.block->stmts->position);
}

// The uses have their symbols: the NAME of an operator-assignment is copied with that of its use.
void put_definition(BUILDER& builder, VERSION number) {
    const DRAFT_VERSION& draft = builder.versions.drafts[number];
    NODE* definition = draft.definition;
    int32_t operator_before = OP_NOP;
    if (is_operator_assignment(definition)) {
        operator_before = definition->op;
        definition = draft.cell->tree = expand_operator_assignment(definition);
    }
    SSA_VERSION& version = record_of(builder, number);
    definition->left->ref = version.symbol;
    version.definition = wrap(definition, builder.numbers[number], operator_before);
}

void put_in_form(BUILDER& builder) {
    make_versions(builder);
    for (const VERSION_USE& use : builder.versions.uses)
        use.name->ref = record_of(builder, use.version).symbol;
    for (VERSION version = 1; version < builder.versions.drafts.size(); ++version)
        if (builder.versions.drafts[version].definition) put_definition(builder, version);
    for (size_t i = builder.versions.phis.size(); i-- > 0;) // each comes in front of those before
        if (builder.numbers[builder.versions.phis[i].version]) put_phi(builder, builder.versions.phis[i]);
}

} // namespace

bool construct_SSA_form() {
    ssa_form = {};
    BUILDER builder{find_versions(1, false), {}, {}};
    const size_t count = builder.versions.drafts.size();
    if (count == 1) return false;
    builder.same.resize(count);
    std::iota(builder.same.begin(), builder.same.end(), VERSION{0});
    drop_trivial_phis(builder);
    put_in_form(builder);
    ssa_form.stands = true;
    trees_changed();
    check_SSA_form();
    return true;
}

} // namespace pelorus
