// Flags of functions, bottom-up; see function_effects.h.
//
// Components of functions that call each other come after those that they call. Within one, effects are added
// until nothing changes: a function whose effects grew hands its callers' sites on to be looked at again. An
// effect is added once at the most, so that takes time proportional to the calls.
//
// Banning: An Efficient Way to Find the Side Effects of Procedure Calls and the Aliases of Variables (1979).
#include "ipa/function_effects.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "ipa/body_effects.h"
#include "ipa/components.h"
#include "ir/call.h"
#include "ir/symbol.h"

namespace pelorus {

namespace {

BODY_NOTES notes; // of the file, until its flags are found

constexpr uint32_t NOT_DEFINED = UINT32_MAX;

struct EFFECT_SOLVER {
    std::vector<uint16_t> effects{};     // by number of the note
    std::vector<bool> never_returns{};   //
    std::vector<uint32_t> callees{};     // by number of the call: that of the note, or NOT_DEFINED
    std::vector<uint32_t> owners{};      // by number of the call
    std::vector<uint32_t> first_site{0}; // by number of the note, in `sites`: calls of it
    std::vector<uint32_t> sites{};
    std::unordered_map<const SYMBOL*, uint32_t> numbers{};
    COMPONENTS components{};
};

// --- Functions that the file does not define ---

bool may_call_back(const SYMBOL* callee) {
    constexpr std::string_view NAMES[] = {"abort", "bsearch", "exit", "qsort", "raise"};
    return std::ranges::find(NAMES, plain_name(callee->name)) != std::end(NAMES);
}

uint16_t effects_by_name(const CALL_NOTE& call) {
    const uint32_t flags = flags_of_function(call.callee);
    if (call.passes_functions || may_call_back(call.callee)) return EFFECT_ALL;
    uint32_t effects = EFFECT_ALL;
    const auto lacks = [&](uint32_t flag, uint32_t effect) {
        if (flags & flag) effects &= ~effect;
    };
    lacks(FUN_no_global_asg, EFFECT_GLOBAL_ASG);
    lacks(FUN_no_global_use, EFFECT_GLOBAL_USE);
    lacks(FUN_no_ind_asg, EFFECT_OTHER_ASG);
    lacks(FUN_no_ind_use, EFFECT_OTHER_USE | EFFECT_ARGUMENT_USE);
    lacks(FUN_no_byref_asg, EFFECT_ARGUMENT_ASG | EFFECT_KEEPS);
    lacks(FUN_is_pure_fun, EFFECT_SEEN | EFFECT_NO_END);
    // Functions such as strlen read what they are passed, and nothing else.
    if ((flags & FUN_is_SYSTEM) && (flags & FUN_no_byref_asg)) effects &= ~uint32_t{EFFECT_OTHER_USE};
    return static_cast<uint16_t>(effects);
}

// --- Calls ---

// What the callee's effects are for the function that calls it so.
uint16_t effects_at(const CALL_NOTE& call, uint16_t effects) {
    if (!call.fits && effects & (EFFECT_ARGUMENT_ASG | EFFECT_ARGUMENT_USE | EFFECT_KEEPS)) return EFFECT_ALL;
    constexpr uint32_t OF_ARGUMENTS = EFFECT_ARGUMENT_ASG | EFFECT_ARGUMENT_USE | EFFECT_KEEPS;
    uint32_t here = effects & ~OF_ARGUMENTS;
    if (effects & EFFECT_ARGUMENT_ASG) {
        if (call.passes & (FROM_STATIC | FROM_CONSTANT)) here |= EFFECT_GLOBAL_ASG;
        if (call.passes & FROM_PASSED) here |= EFFECT_ARGUMENT_ASG;
        if (call.passes & FROM_OTHER) here |= EFFECT_OTHER_ASG;
    }
    if (effects & EFFECT_ARGUMENT_USE) {
        if (call.passes & FROM_STATIC) here |= EFFECT_GLOBAL_USE;
        if (call.passes & FROM_PASSED) here |= EFFECT_ARGUMENT_USE;
        if (call.passes & FROM_OTHER) here |= EFFECT_OTHER_USE;
    }
    if ((effects & EFFECT_KEEPS) && (call.passes & FROM_PASSED)) here |= EFFECT_KEEPS;
    return static_cast<uint16_t>(here);
}

uint16_t effects_of_call(const EFFECT_SOLVER& solver, uint32_t number) {
    const CALL_NOTE& call = notes.calls[number];
    const uint32_t callee = solver.callees[number];
    return effects_at(call, callee == NOT_DEFINED ? effects_by_name(call) : solver.effects[callee]);
}

void number_functions(EFFECT_SOLVER& solver) {
    for (uint32_t i = 0; i < notes.bodies.size(); ++i) solver.numbers[notes.bodies[i].info->symbol] = i;
    solver.callees.resize(notes.calls.size());
    solver.owners.resize(notes.calls.size());
    for (uint32_t owner = 0; owner < notes.bodies.size(); ++owner)
        for (uint32_t i = notes.bodies[owner].first_call; i < notes.bodies[owner].end_calls; ++i) {
            const auto found = solver.numbers.find(notes.calls[i].callee);
            solver.callees[i] = found == solver.numbers.end() ? NOT_DEFINED : found->second;
            solver.owners[i] = owner;
        }
}

void find_order(EFFECT_SOLVER& solver) {
    GRAPH_EDGES graph;
    for (const BODY_NOTE& body : notes.bodies) {
        for (uint32_t i = body.first_call; i < body.end_calls; ++i)
            if (solver.callees[i] != NOT_DEFINED) graph.targets.push_back(solver.callees[i]);
        graph.end_node();
    }
    solver.components = find_components(graph);
}

void list_sites(EFFECT_SOLVER& solver) {
    solver.first_site.assign(notes.bodies.size() + 1, 0);
    for (const uint32_t callee : solver.callees)
        if (callee != NOT_DEFINED) ++solver.first_site[callee + 1];
    for (size_t i = 1; i < solver.first_site.size(); ++i) solver.first_site[i] += solver.first_site[i - 1];
    solver.sites.resize(solver.first_site.back());
    std::vector<uint32_t> next = solver.first_site;
    for (uint32_t i = 0; i < solver.callees.size(); ++i)
        if (solver.callees[i] != NOT_DEFINED) solver.sites[next[solver.callees[i]]++] = i;
}

// --- Effects ---

uint16_t effects_before_circles(const EFFECT_SOLVER& solver, uint32_t number) {
    const BODY_NOTE& body = notes.bodies[number];
    uint32_t effects = body.promises_nothing ? EFFECT_ALL : body.effects;
    for (uint32_t i = body.first_call; i < body.end_calls; ++i) {
        effects |= effects_of_call(solver, i);
        const uint32_t callee = solver.callees[i];
        const bool in_circle = callee != NOT_DEFINED &&
                               solver.components.component[callee] == solver.components.component[number];
        if (in_circle) effects |= EFFECT_NO_END;
    }
    return static_cast<uint16_t>(effects);
}

void solve_component(EFFECT_SOLVER& solver, std::span<const uint32_t> members) {
    for (const uint32_t member : members) solver.effects[member] = effects_before_circles(solver, member);
    if (members.size() == 1 && !(solver.effects[members[0]] & EFFECT_NO_END)) return;
    const uint32_t component = solver.components.component[members[0]];
    std::vector<uint32_t> waiting(members.begin(), members.end());
    while (!waiting.empty()) {
        const uint32_t callee = waiting.back();
        waiting.pop_back();
        for (uint32_t i = solver.first_site[callee]; i < solver.first_site[callee + 1]; ++i) {
            const uint32_t caller = solver.owners[solver.sites[i]];
            if (solver.components.component[caller] != component) continue;
            const auto sum =
                static_cast<uint16_t>(solver.effects[caller] | effects_of_call(solver, solver.sites[i]));
            if (sum == solver.effects[caller]) continue;
            solver.effects[caller] = sum;
            waiting.push_back(caller);
        }
    }
}

// --- Never returning ---

bool stops(const EFFECT_SOLVER& solver, const SYMBOL* callee) {
    const auto found = solver.numbers.find(callee);
    if (found != solver.numbers.end()) return solver.never_returns[found->second];
    return flags_of_function(callee) & FUN_never_returns;
}

bool may_return(const EFFECT_SOLVER& solver, const BODY_NOTE& body) {
    std::vector<bool> seen(body.end_flow - body.first_flow);
    std::vector<uint32_t> waiting{0};
    while (!waiting.empty()) {
        const uint32_t block = waiting.back();
        waiting.pop_back();
        if (seen[block]) continue;
        seen[block] = true;
        const FLOW_NOTE& flow = notes.flow[body.first_flow + block];
        const auto is_stop = [&](uint32_t i) { return stops(solver, notes.stops[i]); };
        bool stopped = false;
        for (uint32_t i = flow.first_stop; i < flow.end_stops && !stopped; ++i) stopped = is_stop(i);
        if (stopped) continue;
        if (flow.leaves) return true;
        for (uint32_t i = flow.first_successor; i < flow.end_successors; ++i)
            waiting.push_back(notes.successors[i]);
    }
    return false;
}

// A function of a circle of calls is taken to return while the others are looked at.
bool never_returns(const EFFECT_SOLVER& solver, const BODY_NOTE& body) {
    if (body.promises_nothing) return false;
    if (body.never_returns) return true;
    return body.first_flow != body.end_flow && !may_return(solver, body);
}

// --- Flags ---

uint32_t flags_of(uint16_t effects) {
    uint32_t flags = 0;
    const auto set_without = [&](uint32_t some, uint32_t flag) {
        if (!(effects & some)) flags |= flag;
    };
    set_without(EFFECT_GLOBAL_ASG, FUN_no_global_asg);
    set_without(EFFECT_GLOBAL_USE, FUN_no_global_use);
    set_without(EFFECT_ARGUMENT_ASG | EFFECT_OTHER_ASG, FUN_no_ind_asg);
    set_without(EFFECT_ARGUMENT_USE | EFFECT_OTHER_USE, FUN_no_ind_use);
    set_without(EFFECT_ARGUMENT_ASG | EFFECT_KEEPS, FUN_no_byref_asg);
    set_without(EFFECT_MEMORY | EFFECT_SEEN | EFFECT_NO_END, FUN_is_pure_fun);
    return flags;
}

void set_flags(const EFFECT_SOLVER& solver, uint32_t number) {
    const BODY_NOTE& body = notes.bodies[number];
    if (body.promises_nothing) return;
    uint32_t flags = flags_of(solver.effects[number]);
    if (solver.never_returns[number]) flags = (flags | FUN_never_returns) & ~uint32_t{FUN_is_pure_fun};
    if (body.is_straight) flags |= FUN_has_1_BB;
    if (!body.has_loop) flags |= FUN_no_RPT_loop;
    body.info->flags |= flags;
}

} // namespace

void note_function_effects(FUNINFO& info) { add_body_note(notes, info); }

void find_function_effects() {
    EFFECT_SOLVER solver;
    solver.effects.resize(notes.bodies.size());
    solver.never_returns.resize(notes.bodies.size());
    number_functions(solver);
    find_order(solver);
    list_sites(solver);
    for (uint32_t component = 0; component < solver.components.count(); ++component) {
        solve_component(solver, solver.components.of(component));
        for (const uint32_t member : solver.components.of(component))
            solver.never_returns[member] = never_returns(solver, notes.bodies[member]);
    }
    for (uint32_t i = 0; i < notes.bodies.size(); ++i) set_flags(solver, i);
    clear_function_effects();
}

void clear_function_effects() { notes = {}; }

} // namespace pelorus
