// Static objects: their initializers, from the values that clang computes.
#pragma once

#include "symbols.h"

namespace pelorus {

// Writes the variable's symbol and, when the source gives one, its initializer.
void write_variable(UNIT& unit, const clang::VarDecl* definition);

// Leaves a variable that has an initializer to `write_pending_objects`.
void queue_variable(UNIT& unit, const clang::VarDecl* definition);

// Writes the initializers of the objects that conversions left in `pending_objects`; these may leave further
// ones.
// Needs: between functions.
void write_pending_objects(UNIT& unit);

// Every byte that the value would put into an object is zero.
bool is_zero_value(const clang::APValue& value);

} // namespace pelorus
