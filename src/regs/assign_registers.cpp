// See assign_registers.h.
//
// Variables get registers in the order of what a register is worth to them: the cost of their accesses over
// the length of their life, for which they keep it from others. Each takes the first register that is free
// over its whole life, one that a copy comes from or goes to before all others. So what is left without a
// register is what costs least for its length.
//
// F. Chow, J. Hennessy: The Priority-Based Coloring Approach to Register Allocation (1990). Interference is
// not built as a graph, which takes the square of the variables, but asked of the places that each register
// is taken for; live ranges are not split.
#include "regs/assign_registers.h"

#include <algorithm>
#include <map>

#include "ir/symbol.h"
#include "tree/candidates.h"

namespace pelorus {

namespace {

// Of one unit: where the ranges begin for which it is taken, and where they end.
using TAKEN = std::map<int32_t, int32_t>;

struct ASSIGNER {
    const LIVE_RANGES& ranges;
    std::vector<TAKEN> taken[REGISTER_FILES];
    std::vector<int32_t> units; // the result
    bool crosses_call = false;  // the variable that is looked at holds its value over a call
};

bool crosses_call(const LIVE_RANGES& ranges, const LIVE_RANGE& variable) {
    return std::any_of(variable.places.begin(), variable.places.end(), [&](const PLACE_RANGE& range) {
        const auto call = std::lower_bound(ranges.calls.begin(), ranges.calls.end(), range.from);
        return call != ranges.calls.end() && *call < range.to;
    });
}

bool is_free(const TAKEN& taken, const PLACE_RANGE& range) {
    const auto behind = taken.lower_bound(range.to);
    return behind == taken.begin() || std::prev(behind)->second <= range.from;
}

bool is_free(const ASSIGNER& assigner, const LIVE_RANGE& variable, int32_t unit) {
    if (assigner.crosses_call && is_lost_by_calls(variable.kind.file, unit)) return false;
    for (int32_t i = unit; i < unit + variable.kind.units; i++)
        for (const PLACE_RANGE& range : variable.places)
            if (!is_free(assigner.taken[variable.kind.file][static_cast<size_t>(i)], range)) return false;
    return true;
}

void take(ASSIGNER& assigner, const LIVE_RANGE& variable, int32_t unit) {
    assigner.units[candidate_number(variable.symbol)] = unit;
    for (int32_t i = unit; i < unit + variable.kind.units; i++)
        for (const PLACE_RANGE& range : variable.places)
            assigner.taken[variable.kind.file][static_cast<size_t>(i)].emplace(range.from, range.to);
}

bool take_register_of_partner(ASSIGNER& assigner, const LIVE_RANGE& variable) {
    for (const int32_t partner : variable.partners) {
        const auto number = static_cast<size_t>(partner);
        const int32_t unit = assigner.units[number];
        const REGISTER_CLASS kind = assigner.ranges.variables[number].kind;
        if (unit == NO_UNIT || kind.file != variable.kind.file || kind.units != variable.kind.units) continue;
        if (is_free(assigner, variable, unit)) return take(assigner, variable, unit), true;
    }
    return false;
}

void choose_register(ASSIGNER& assigner, const LIVE_RANGE& variable) {
    assigner.crosses_call = crosses_call(assigner.ranges, variable);
    if (take_register_of_partner(assigner, variable)) return;
    const int32_t end = units_of(variable.kind) - variable.kind.units;
    for (int32_t unit = 0; unit <= end; unit += variable.kind.units)
        if (is_free(assigner, variable, unit)) return take(assigner, variable, unit);
}

} // namespace

std::vector<int32_t> assign_registers(const LIVE_RANGES& ranges) {
    ASSIGNER assigner{ranges, {}, std::vector<int32_t>(ranges.variables.size(), NO_UNIT)};
    for (const REGISTER_FILE file : {INTEGER_FILE, FLOATING_FILE})
        assigner.taken[file].resize(static_cast<size_t>(units_of(file)));
    std::vector<const LIVE_RANGE*> order;
    for (const LIVE_RANGE& variable : ranges.variables)
        if (variable.symbol && !variable.why_memory) order.push_back(&variable);
    const auto worth = [](const LIVE_RANGE* variable) {
        return variable->cost / std::max(variable->length, 1);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](const LIVE_RANGE* a, const LIVE_RANGE* b) { return worth(a) > worth(b); });
    for (const LIVE_RANGE* variable : order) choose_register(assigner, *variable);
    return std::move(assigner.units);
}

} // namespace pelorus
