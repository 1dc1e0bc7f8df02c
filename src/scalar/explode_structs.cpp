// Scalar replacement of local structures, unions and arrays; see explode_structs.h.
//
//     s.x = a; s.y = b; g = s.x + s.y;       M$0 = a; M$1 = b; g = M$0 + M$1;
//
//   1. Every access to such a variable is collected (explode_collect.cpp).
//   2. The parts that accesses name are found, and those that overlap, which stay in memory
//      (explode_parts.cpp).
//   3. What it costs is compared with what it saves: an access by name saves a load or a store. A copy from
//      or to an object in memory is made by members, so that only one side of it is left. Every other use as
//      a whole needs the variable in memory: parts are loaded behind calls and the copy of a parameter, and
//      stored in front of calls and returns, but for those that are in memory as they are.
//   4. The parts become variables, and the statements are rewritten (explode_rewrite.cpp).
//
// This is what S. Muchnick, Advanced Compiler Design and Implementation, section 12.2, calls scalar
// replacement of aggregates, extended to structures that calls and memory want whole. An array with a
// subscript that is not constant is left alone, and so is a variable whose address goes anywhere but to
// functions that only read.
#include "scalar/explode_structs.h"

#include <algorithm>

#include "cfg/bb.h"
#include "cfg/statement_edit.h"
#include "ir/tree_text.h"
#include "scalar/explode_variables.h"
#include "support/decision.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// What accesses to memory cost, in halves of an instruction.
struct EXPLOSION_COSTS {
    int64_t access = 2;      // a load or a store of a part
    int64_t copied_word = 3; // a word in a copy, of which pairs of loads and of stores make one instruction
    int64_t stored_word = 2; // a word that memset stores
};
constexpr EXPLOSION_COSTS COSTS;

// --- 3 ---

bool is_assigned_in_range(const EXPLODED& variable, const PART& part) {
    return std::ranges::any_of(variable.fills,
                               [&](const BYTE_FILL& fill) { return overlap(fill.bits, part.bits); });
}

bool is_copied_into(const EXPLODED& variable, const PART& part) {
    return std::ranges::any_of(variable.wholes, [&](const WHOLE_USE& whole) {
        return !whole.reads && whole.may_copy && overlap(whole.bits, part.bits);
    });
}

void find_parts_ahead(EXPLODED& variable, std::vector<PART>& parts, bool by_members) {
    for (PART& part : parts)
        part.is_ahead = part.is_assigned || is_assigned_in_range(variable, part) ||
                        (by_members && is_copied_into(variable, part));
}

int64_t gain_of_parts(const EXPLODED& variable) {
    int64_t gain = 0;
    for (const PART& part : variable.parts)
        if (!part.why_it_stays) gain += COSTS.access * part.accesses;
    return gain;
}

// Parts in the range that a use as a whole concerns.
template <class F>
int64_t count_parts(const EXPLODED& variable, BIT_RANGE bits, bool with_unnamed, F concerns) {
    int64_t count = 0;
    const auto add = [&](const PART& part) {
        count += !part.why_it_stays && overlap(part.bits, bits) && concerns(part);
    };
    std::ranges::for_each(variable.parts, add);
    if (with_unnamed) std::ranges::for_each(variable.unnamed, add);
    return count;
}

int64_t words_in(BIT_RANGE bits) { return (bits.count + 31) / 32; }

// A part that nothing reads by name need not be loaded, unless the variable is copied on. A copy between two
// variables that copy members needs no memory, which is half the merit of each.
int64_t cost_of_whole(const EXPLODED& variable, const WHOLE_USE& whole, bool by_members) {
    const int64_t saved = by_members && whole.may_copy ? COSTS.copied_word * words_in(whole.bits) : 0;
    if (by_members && whole.of_two) return -saved / 2;
    const auto is_concerned = [&](const PART& part) {
        if (whole.reads) return part.is_ahead || (by_members && whole.may_copy);
        return part.is_read || (variable.is_read_whole && (part.is_ahead || by_members));
    };
    return COSTS.access * count_parts(variable, whole.bits, by_members, is_concerned) - saved;
}

int64_t gain_of(EXPLODED& variable, bool by_members) {
    find_parts_ahead(variable, variable.parts, by_members);
    find_parts_ahead(variable, variable.unnamed, by_members);
    int64_t gain = gain_of_parts(variable);
    for (const WHOLE_USE& whole : variable.wholes)
        gain -= whole.weight * cost_of_whole(variable, whole, by_members);
    if (by_members)
        for (const BYTE_FILL& fill : variable.fills)
            gain += COSTS.stored_word * fill.weight * words_in(fill.bits);
    return gain;
}

// True when it is worth it; in which way copies are made is known then.
bool choose_way(EXPLODED& variable) {
    const int64_t through_memory = gain_of(variable, false);
    const int64_t by_members = variable.may_copy_members ? gain_of(variable, true) : 0;
    if (std::max(through_memory, by_members) <= 0) return false;
    variable.by_members =
        variable.may_copy_members &&
        (by_members > through_memory || (by_members == through_memory && variable.unnamed.empty()));
    if (variable.by_members) add_unnamed_parts(variable);
    find_parts_ahead(variable, variable.parts, variable.by_members);
    return true;
}

// --- 4 ---

std::string parts_text(const EXPLODED& variable) {
    std::string text;
    for (const PART& part : variable.parts)
        if (part.symbol)
            append_text(text,
                        decision_text("{}{} at {}", text.empty() ? "" : ", ", part.symbol, part.offset));
    return text.empty() ? "nothing" : text;
}

void make_symbols(EXPLODED& variable) {
    for (PART& part : variable.parts)
        if (!part.why_it_stays) part.symbol = new_part('M', variable.symbol, part.type);
}

bool is_used(const EXPLODED& variable) {
    return !variable.parts.empty() || !variable.wholes.empty() || !variable.fills.empty();
}

bool refuse_variable(const EXPLODED& variable, const char* why) {
    return refuse(SITE_explode_variable, why, "{}", variable.symbol);
}

// Each reason once.
void refuse_parts(const EXPLODED& variable) {
    std::vector<const char*> told;
    for (const PART& part : variable.parts) {
        if (!part.why_it_stays || std::ranges::find(told, part.why_it_stays) != told.end()) continue;
        refuse_variable(variable, part.why_it_stays);
        told.push_back(part.why_it_stays);
    }
}

bool explode(EXPLOSION& explosion, EXPLODED& variable) {
    if (!variable.why_not && explosion.can_be_returned_to)
        variable.why_not = "the function calls setjmp or its like";
    if (variable.why_not) return refuse_variable(variable, variable.why_not);
    if (!is_used(variable)) return false;
    complete_parts(variable);
    refuse_parts(variable);
    if (!choose_way(variable))
        return gain_of_parts(variable) > 0 || !variable.wholes.empty()
                   ? refuse_variable(variable, "as a whole it is used more")
                   : false;
    if (!may_change(SITE_explode_variable)) return false;
    make_symbols(variable);
    made(SITE_explode_variable, "{} becomes {}", variable.symbol, parts_text(variable));
    variable.is_exploded = true;
    return true;
}

} // namespace

bool explode_auto_struct_vars() {
    trace_entering("explode_auto_struct_vars");
    EXPLOSION explosion = collect_structs();
    bool any = false;
    for (EXPLODED& variable : explosion.variables) {
        stand_at(0, variable.symbol->position.line);
        any |= explode(explosion, variable);
    }
    if (!any) return false;
    symbols_changed();
    rewrite_exploded(explosion);
    return true;
}

} // namespace pelorus
