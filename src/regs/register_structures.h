// The local structures that live in registers.
#pragma once

#include <unordered_set>

namespace pelorus {

struct SYMBOL;

// The local structures that no statement needs in memory (ir/register_structure.h), when the code stays as it
// is. With -g those that the source declares are not among them, and where a call may return twice none is.
// Linear in the statements.
std::unordered_set<const SYMBOL*> structures_for_registers();

// Gives each of these the storage class of variables in registers; the code generator makes a value of each
// of its scalars.
// Needs: nothing. Keeps: everything; the class is no part of a fact.
void place_structures_in_registers();

} // namespace pelorus
