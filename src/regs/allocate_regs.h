// The variables that live in registers.
#pragma once

namespace pelorus {

// Gives each candidate that only its name reaches the storage class of variables in registers. With -g those
// that the source declares stay in memory. True when the function changed.
// Needs: dfn, candidates. Keeps: everything; the class is no part of a fact.
bool allocate_regs();

} // namespace pelorus
