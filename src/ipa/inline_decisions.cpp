// See inline_decisions.h.
//
//   1. A function with a call backward in the order of the call graph is called in a circle; the first such
//      callee of each function is marked, since an expansion of the call would never end.
//   2. Callees come before their callers, so that the size of a function counts what is expanded in it.
//   3. What passes the test has its body read again, for the definition that expansion copies.
//
// Sizes are numbers of operator nodes, which is about the number of instructions: a call with its arguments
// takes some five, and a function without a body of its own saves its entry and exit.
#include "ipa/inline_decisions.h"

#include "ipa/call_graph.h"
#include "ipa/inline.h"
#include "ir/symbol.h"
#include "support/decision.h"
#include "support/pseudo_options.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// All in size units, and exclusive.
struct INLINE_LIMITS {
    uint32_t tiny = 21;         // about what a call costs: always worth it when it makes one call at the most
    uint32_t single_site = 100; // its only copy is in its only caller
    uint32_t small = 63;        // at level 4
};
constexpr INLINE_LIMITS LIMITS;

bool is_declared_inline(const FUNINFO& info) { return info.symbol->flags & SF_INLINE; }
bool must_be_inlined(const FUNINFO& info) { return find_attribute(info.symbol, "always_inline"); }
bool inlines_single_sites() { return debug_switch("inline_single") != 0; }

// --- What rules a function out ---

void mark_functions_never_inlined() {
    for (FUNINFO* info : file_level.functions) {
        const SYMBOL& symbol = *info->symbol;
        const bool refused = find_attribute(&symbol, "noinline") || find_attribute(&symbol, "naked") ||
                             (info->flags & FUN_is_interrupt) ||
                             (symbol.flags & (SF_WEAK | SF_VARIADIC_WALK));
        if (refused) info->flags |= FUN_cannot_inline;
        if (is_declared_inline(*info) && !refused) info->flags |= FUN_is_inlined;
    }
}

// --- The rules ---

bool passes_single_site_rule(const FUNINFO& info) {
    if (settings.optimization_level < 3 && !is_declared_inline(info)) return false;
    if ((info.flags & FUN_is_extern) && !file_level.whole_program) return false;
    constexpr uint32_t OTHER_USES =
        FUN_cannot_suppress | FUN_is_anonymous | FUN_follows_call | FUN_is_cg_root;
    return info.site_count == 1 && !(info.flags & OTHER_USES);
}

bool is_candidate(const FUNINFO& info) {
    if ((info.flags & FUN_cannot_inline) || !info.size) return false;
    if (is_declared_inline(info) || (info.flags & FUN_is_inlined)) return true;
    if (settings.inline_threshold > 0 && !(info.flags & (FUN_never_returns | FUN_follows_call))) return true;
    return inlines_single_sites() && passes_single_site_rule(info);
}

// The sizes of a function that is full of expanded calls may be beyond any number.
uint64_t expanded_size(const FUNINFO& info) {
    uint64_t size = info.size;
    for (const FUNCTION_REFERENCE* callee = info.callees; callee; callee = callee->next)
        if (callee->function->flags & FUN_is_inlined) size += callee->function->size;
    return size;
}

bool calls_at_most_one(const FUNINFO& info) { return !info.callees || !info.callees->next; }

uint64_t uses_of(const FUNINFO& info) {
    const bool has_another = info.flags & (FUN_is_anonymous | FUN_follows_call | FUN_is_cg_root);
    return info.site_count + uint64_t{has_another};
}

bool is_inlineable(const FUNINFO& info) {
    if (!info.size) return false;
    if (must_be_inlined(info)) return true;
    const uint64_t size = expanded_size(info);
    if (size < LIMITS.tiny && calls_at_most_one(info)) return true;
    if (size < LIMITS.single_site && passes_single_site_rule(info)) return true;
    if (size * uses_of(info) <= static_cast<uint64_t>(settings.inline_threshold)) return true;
    return settings.level4_inlining && settings.inline_threshold != 0 && size < LIMITS.small;
}

bool is_needed_otherwise(const FUNINFO& info) {
    return info.flags & (FUN_is_cg_root | FUN_is_anonymous | FUN_follows_call | FUN_cannot_suppress);
}

// --- The decisions ---

void make_unfoldable(FUNINFO& info) {
    info.flags &= ~uint32_t{FUN_is_inlined};
    trace("\n\tMaking this function unfoldable: %s()\n\n", info.name);
    pelorus::info("\nMaking this function unfoldable: %s()\n", info.name);
}

void make_inlineable(FUNINFO& info) {
    trace("\n\tMaking this function inlineable: %s()\n\n", info.name);
    pelorus::info("\nMaking this function inlineable: %s()\n", info.name);
    if (!options_expand_calls_of(info) || is_needed_otherwise(info)) return;
    info.flags |= FUN_is_suppressed;
    trace("\tInlineable function will be suppressed: %s()\n\n", info.name);
    pelorus::info("Inlineable function will be suppressed: %s()\n", info.name);
}

bool has_definition(FUNINFO& info, const BODY_ACCESS& bodies) {
    if (!options_expand_calls_of(info)) return true; // nothing needs it
    bodies.read(&info);
    const bool prepared = prepare_inline(info);
    bodies.release();
    return prepared;
}

void decide(FUNINFO& info, const BODY_ACCESS& bodies) {
    if (!is_candidate(info)) return;
    if (!is_inlineable(info)) {
        if (info.flags & FUN_is_inlined) make_unfoldable(info);
        return;
    }
    info.flags |= FUN_is_inlined;
    has_definition(info, bodies) ? make_inlineable(info) : make_unfoldable(info);
}

} // namespace

void decide_inlining(const BODY_ACCESS& bodies) {
    mark_functions_never_inlined();
    mark_calls_backward();
    for (size_t i = file_level.functions.size(); i-- > 0;) {
        FUNINFO& info = *file_level.functions[i];
        info.uses_left = info.site_count;
        if (!disable_switch("inline")) decide(info, bodies);
    }
}

} // namespace pelorus
