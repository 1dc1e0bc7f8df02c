// Scopes that cannot simply be left.
//
// An array of variable length gives its memory back when its scope ends, and a variable with the attribute
// cleanup is handed to its function. Such a local is "held" from its declaration to the end of its block. The
// held locals form a tree, in which each one knows the one that was in force where it was declared;
// `BODY::held` is the one in force now. A way out of a scope walks from there to the one that is in force at
// its target.
#pragma once

#include "body.h"

namespace pelorus {

// An array in memory whose size is not constant. False for pointers to such arrays.
bool is_variable_array(const UNIT& unit, clang::QualType type);
// The declaration is one of a held local.
bool is_held(const UNIT& unit, const clang::VarDecl* variable);

// Finds what is in force at each label of the function, and the labels whose addresses are taken.
// Before the body is converted.
void survey_body(BODY& body, const clang::Stmt* statement);

// Emits what is to be done on a way from here to where `target` is in force, an ancestor of `body.held` or
// null. `returns`: the function ends, which releases memory by itself.
void release_scopes(BODY& body, const clang::VarDecl* target, bool returns = false);

// A return from here has cleanup functions to call.
bool return_cleans_up(const BODY& body);

// The block ends in which `before` was in force at its begin.
void leave_scope(BODY& body, const clang::VarDecl* before, bool returns = false);

// Declares a held local whose object `symbol` is; arrays make theirs in arrays.h.
void hold_variable(BODY& body, const clang::VarDecl* variable);

} // namespace pelorus
