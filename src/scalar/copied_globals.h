// Globals whose value fast_CP knows, with program mode 2.
//
// The value of a global is known from an assignment at the top of a statement to whatever may write memory
// where it is not seen: a call of a function that may write memory, a store through a pointer or to a part of
// an object, assembly. A store to another variable by its name changes that one only.
#pragma once

#include "scalar/copy_values.h"

namespace pelorus {

// The value that may take the place of the NAME; null for none.
const NODE* value_of_global(const COPY_SWEEP& sweep, const NODE* name);
// An assignment whose left side is no candidate happens.
void note_store(COPY_SWEEP& sweep, const NODE* assignment);
// The same at the top of a statement, as it is after the statement was rewritten.
void note_global_value(COPY_SWEEP& sweep, const NODE* assignment);
// Code runs that is not in the tree.
void forget_globals(COPY_SWEEP& sweep);

} // namespace pelorus
