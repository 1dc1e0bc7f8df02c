// The place of a part in an object in memory, as a tree: for explode_auto_struct_vars.
#pragma once

#include <cstdint>

#include "ir/node.h"
#include "ir/symbol.h"

namespace pelorus {

struct PART;

// The lvalue of a part that lies `offset` bytes behind the start of the object, by its members and elements
// where the object's type has one there. `base` is used up.
NODE* object_of_part(NODE* base, int64_t offset, const PART& part);

// The value of a part all of whose bytes are this one.
// Needs: it is 0 for floating types and bool.
NODE* value_of_bytes(const PART& part, uint8_t byte);

// An object in memory that a copy reads or writes: an lvalue, or what lies at an address.
struct MEMORY_OBJECT {
    NODE* lvalue = nullptr;  // null when there is an address
    NODE* address = nullptr; // null when there is an lvalue
    int64_t start = 0;       // which offset of the variable that is copied from or to lies at its start
    TYPE* type = nullptr;    // of that variable; for an address
    bool is_aligned = false; // for the type; for an address
};
// Both answer an empty record when the accesses to the object are counted, so that the copy stays one.
MEMORY_OBJECT object_as_it_is(NODE* lvalue, int64_t start);
MEMORY_OBJECT object_at_address(NODE* address, int64_t start, TYPE* type);
// The lvalue of a part in it, a tree of its own.
NODE* part_of_object(const MEMORY_OBJECT& object, const PART& part);
// The place of the pointer that leads to it; null when it is a variable, or a member of one.
NODE** pointer_to(MEMORY_OBJECT& object);

// What a pointer is made of besides constants: the variable whose value it is, null when it is an address of
// a variable or a string. False when it is something else.
bool find_base(const NODE* pointer, const SYMBOL*& base);
// `address = pointer`, which then is the variable `address`; for pointers to what may lie anywhere as well.
NODE* compute_pointer_once(NODE** pointer, SYMBOL* address);

} // namespace pelorus
