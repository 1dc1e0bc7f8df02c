// Renaming of webs; see ssa.h.
//
//      i = 0; while (i < n) i++;           i = 0; while (i < n) i++;
//      i = k; while (i > 0) i--;           W$0 = k; while (W$0 > 0) W$0--;
//
//   1. Versions that a phi joins are one web, and so are those joined to them.
//   2. One web keeps the variable: for a parameter's home the one of the copy at the entry, else the one with
//      the value that nobody wrote, else the first. What nobody wrote may be any value, so that its web and
//      another one can be one.
//   3. Each other web gets a new variable. x op= e whose two xs are two variables then becomes x = x op e.
//
// A phi that could be dropped joins what is one version in SSA form, so that the phis can be taken as they
// are found. What this does not do: take apart what phis join, which would cost copies.
//
// S. Muchnick, Advanced Compiler Design and Implementation (1997), section 16.3.3, calls them webs.
#include <numeric>

#include "cfg/candidate_fact.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/parameters.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ssa/ssa.h"
#include "ssa/versions.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/operator_assignment.h"

namespace pelorus {

namespace {

// Live variables take blocks times candidates in bits, and no more candidates than 16 bits can number are
// tracked: what is beyond would have its place in memory.
struct RENAMING_LIMITS {
    int64_t candidates = 8192;
    int64_t members = int64_t{1} << 24; // blocks times candidates
};
constexpr RENAMING_LIMITS LIMITS;

struct WEB {
    SYMBOL* variable = nullptr;       // it goes by this one; null: not looked at yet
    const NODE* definition = nullptr; // the first
    const STMT* cell = nullptr;       // that stands here
};

struct WEBS {
    VERSIONS versions;
    std::vector<VERSION> joined{}; // by version: another version of its web; itself: it stands for the web
    std::vector<VERSION> keeper{}; // by serial number of the variable: of the web that keeps it; 0: none
    std::vector<WEB> webs{};       // by version that stands for it
    int64_t candidates = 0;        // that there are with the new variables
};

VERSION web_of(WEBS& webs, VERSION version) {
    while (webs.joined[version] != version) {
        VERSION& next = webs.joined[version];
        next = webs.joined[next];
        version = next;
    }
    return version;
}

// --- 1 ---

void join(WEBS& webs, VERSION a, VERSION b) { webs.joined[web_of(webs, b)] = web_of(webs, a); }

void join_by_phis(WEBS& webs) {
    for (const DRAFT_PHI& phi : webs.versions.phis)
        for (const VERSION operand : webs.versions.operands_of(phi)) join(webs, phi.version, operand);
}

// --- 2 ---

VERSION& keeper_of(WEBS& webs, const SYMBOL* variable) {
    return webs.keeper[static_cast<size_t>(variable->serial)];
}

bool is_unwritten(const DRAFT_VERSION& draft) { return !draft.definition && draft.phi == NO_PHI; }
bool is_copied_parameter(const DRAFT_VERSION& draft) {
    return draft.definition && copied_parameter(draft.definition);
}

void find_keepers(WEBS& webs) {
    const std::vector<DRAFT_VERSION>& drafts = webs.versions.drafts;
    for (VERSION version = 1; version < drafts.size(); ++version) {
        VERSION& keeper = keeper_of(webs, drafts[version].variable);
        if (!keeper || is_copied_parameter(drafts[version]) ||
            (is_unwritten(drafts[version]) && !is_copied_parameter(drafts[keeper])))
            keeper = version;
    }
    for (VERSION version = 1; version < drafts.size(); ++version)
        if (is_unwritten(drafts[version])) join(webs, keeper_of(webs, drafts[version].variable), version);
}

// --- 3 ---

void find_first_definitions(WEBS& webs) {
    for (VERSION version = 1; version < webs.versions.drafts.size(); ++version) {
        const DRAFT_VERSION& draft = webs.versions.drafts[version];
        WEB& web = webs.webs[web_of(webs, version)];
        if (!web.definition) web.definition = draft.definition, web.cell = draft.cell;
    }
}

bool has_room(const WEBS& webs) {
    return webs.candidates < LIMITS.candidates && webs.candidates * flow_graph.bb_count < LIMITS.members;
}

// The variable by which the web goes from now on.
SYMBOL* variable_of_web(WEBS& webs, VERSION version) {
    const VERSION number = web_of(webs, version);
    WEB& web = webs.webs[number];
    if (web.variable) return web.variable;
    web.variable = webs.versions.drafts[number].variable;
    if (number == web_of(webs, keeper_of(webs, web.variable))) return web.variable;
    stand_at(0, *web.cell);
    if (!has_room(webs)) {
        refuse(SITE_rename_web, "there would be too many variables", "{}", web.variable);
        return web.variable;
    }
    if (!may_change(SITE_rename_web)) return web.variable;
    ++webs.candidates;
    SYMBOL* split = new_split('W', web.variable);
    made(SITE_rename_web, "{} becomes {} from {} on", web.variable, split, web.definition);
    return web.variable = split;
}

void rename_definition(DRAFT_VERSION& draft, SYMBOL* variable) {
    if (draft.definition->left->symbol() == variable) return;
    if (is_operator_assignment(draft.definition))
        draft.definition = draft.cell->tree = expand_operator_assignment(draft.definition);
    draft.definition->left->ref = variable;
}

// In the order of the definitions, so that they are traced as they stand, before any of them changes.
void rename_webs(WEBS& webs) {
    for (VERSION version = 1; version < webs.versions.drafts.size(); ++version)
        variable_of_web(webs, version);
    for (const VERSION_USE& use : webs.versions.uses) use.name->ref = variable_of_web(webs, use.version);
    for (VERSION version = 1; version < webs.versions.drafts.size(); ++version)
        if (webs.versions.drafts[version].definition)
            rename_definition(webs.versions.drafts[version], variable_of_web(webs, version));
}

void refuse_untracked(const VERSIONS& versions) {
    for (const UNTRACKED& untracked : versions.untracked) {
        if (untracked.symbol == function.return_symbol) continue;
        stand_at(0, untracked.symbol->position.line);
        refuse(SITE_rename_web, untracked.why, "{}", untracked.symbol);
    }
}

} // namespace

bool rename_symbols() {
    trace_entering("rename_symbols");
    const CHANGE_MARK mark;
    WEBS webs{find_versions(2, true)};
    refuse_untracked(webs.versions);
    if (webs.versions.gave_up) refuse(SITE_rename_web, "the function has too many joins");
    const size_t count = webs.versions.drafts.size();
    if (count == 1) return false;
    webs.joined.resize(count);
    std::iota(webs.joined.begin(), webs.joined.end(), VERSION{0});
    webs.keeper.resize(static_cast<size_t>(function_symbols.serial));
    webs.webs.resize(count);
    webs.candidates = function_candidates.count;
    join_by_phis(webs);
    find_keepers(webs);
    find_first_definitions(webs);
    rename_webs(webs);
    if (!mark.any()) return false;
    trees_changed();
    symbols_changed();
    return true;
}

} // namespace pelorus
