// What an assignment must not lose.
#pragma once

#include "ir/parameters.h"
#include "ir/symbol.h"
#include "support/settings.h"

namespace pelorus {

// A debugger may look for the variable: with -g those that the source declares. Temporaries have no place
// there.
inline bool is_seen_by_debugger(const SYMBOL* symbol) {
    return settings.symbolic_debug && symbol->position.line != 0;
}

// The NAME of a candidate, and no volatile access.
inline bool names_candidate(const NODE* node) {
    return node->op == OP_NAME && node->symbol() && node->symbol()->candidate >= 0 &&
           !type_is_volatile(node->type);
}

// The tree is an ASG to a candidate.
inline bool assigns_candidate(const NODE* tree) { return tree->op == OP_ASG && names_candidate(tree->left); }

// Why an assignment to this candidate has to stay even when nobody reads it; null when it may go.
inline const char* why_assignment_stays(const NODE* assignment) {
    if (copied_parameter(assignment)) return "it is the copy of a parameter";
    if (is_seen_by_debugger(assignment->left->symbol())) return "a debugger must see the variable";
    return nullptr;
}

} // namespace pelorus
