// Which place in a local variable an lvalue, or an address, means.
//
//     s.a.x       &s.a + 4, *(&s.a + 4)       v[2], that is *(&v + 8)
//
// All of them are a variable and a distance from its start. The variable may lie behind its address, as an
// array does, so that `visit_accesses` tells of an access to memory and of a variable that is exposed: who
// follows the lvalue to the variable knows that the address goes nowhere else.
#pragma once

#include <cstdint>

#include "ir/node.h"

namespace pelorus {

struct LOCAL_PLACE {
    NODE* name = nullptr;                // of the variable, which is one of the body; null: no such place
    NODE* address = nullptr;             // the UAND or ACONV on the way to it; null when there is none
    const TYPE_PART* bitfield = nullptr; // the member, when that is a bit-field
    int64_t offset = 0;                  // bytes from the start of the variable; of a bit-field's container
    bool is_fixed = true;                // false: a subscript is not constant, and `offset` leaves it out
};

// The place that an lvalue denotes. A NAME of a scalar variable is one, too.
LOCAL_PLACE place_of_object(NODE* lvalue);
// The place that a pointer points to.
LOCAL_PLACE place_of_address(NODE* pointer);

} // namespace pelorus
