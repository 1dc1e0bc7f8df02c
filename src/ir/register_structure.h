// Structures that need no place in memory: those of a few scalars, each as long as the others, of which
// statements use the members or move the whole.
//
//     struct { float x, y, z; } p = f();      p.x + p.y      g(p)      return p;      *q = p
//
// A code generator keeps each scalar in a register of its own, and moves a whole one between these and the
// array of words, or of floating-point numbers, that the calling convention makes of it.
#pragma once

#include <cstdint>

#include "ir/node.h"

namespace pelorus {

struct TYPE;

struct STRUCTURE_LEAF {
    uint32_t offset; // bytes from the start of the structure
    const TYPE* type;
};

// The scalars of a structure, those of structures in it included, in the order of their offsets.
struct STRUCTURE_LEAVES {
    static constexpr uint32_t MOST = 4;
    STRUCTURE_LEAF leaves[MOST];
    uint32_t count = 0;
    uint32_t size = 0; // bytes of each: 4 or 8
};

// False when the type is no structure of up to four scalars of 4 or 8 bytes each which fill it. What is
// volatile, a bit-field, a member of a union or an array is none of them.
bool find_leaves(const TYPE* type, STRUCTURE_LEAVES& found);

// Calls visit(name) for each NAME of a local structure in a statement that needs it in memory. It does not
// where the NAME is, the last three behind COMMAOPs perhaps,
//   - what an STDOT, or a chain of them, has a scalar of that is no bit-field, whose address is not taken,
//   - the left side of an STASG whose value nobody uses,
//   - the right side of an STASG, the operand of an STARG, the value of a RETURN.
using NAME_VISITOR = void (*)(void* context, const NODE* name);
void visit_names_in_memory(const NODE* statement, NAME_VISITOR visit, void* context);

template <class F>
void for_each_name_in_memory(const NODE* statement, F visit) {
    visit_names_in_memory(
        statement, [](void* context, const NODE* name) { (*static_cast<F*>(context))(name); }, &visit);
}

} // namespace pelorus
