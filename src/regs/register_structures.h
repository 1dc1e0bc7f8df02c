// The local structures that live in registers.
#pragma once

namespace pelorus {

// Gives each local structure that no statement needs in memory (ir/register_structure.h) the storage class of
// variables in registers; the code generator makes a value of each of its scalars. With -g those that the
// source declares stay in memory, and where a call may return twice all do.
// Needs: nothing. Keeps: everything; the class is no part of a fact.
void place_structures_in_registers();

} // namespace pelorus
