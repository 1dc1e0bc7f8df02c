// When the local variables in memory are alive, and which of them are alive together.
#pragma once

#include <cstdint>
#include <vector>

#include "cfg/bitvec.h"

namespace pelorus {

struct SYMBOL;

// A local variable that lies in memory.
struct STACK_OBJECT {
    SYMBOL* symbol;
    bool escapes = false;          // its address is a value that is kept, compared or handed on
    bool knows_scope = true;       // all that names it stands in the block that declares it
    const char* why_not = nullptr; // why it must have a place to itself; null when it need not
};

struct OBJECT_LIFETIMES {
    std::vector<STACK_OBJECT> objects;
    BITVEC_TABLE overlaps; // by number of the object: those that are alive where it is; bv_free_table

    bool overlap(size_t a, size_t b) const { return bv_test(&overlaps.sets[a], static_cast<uint32_t>(b)); }
};

// Finds out about these variables, all of them level 2.
// Needs: dfn. Linear in the statements times the variables, for each round of the loops.
OBJECT_LIFETIMES find_object_lifetimes(const std::vector<SYMBOL*>& variables);

} // namespace pelorus
