// What a tree defines, uses and exposes.
//
// Every pass that asks which variables a statement reads, changes or gives the address of asks here, so that
// all have the same answer. The accesses of a tree come in the order in which they happen: operands left
// before right, an assignment after its right side, a call after its arguments.
//
//     x.f = (y += g(&z))     EXPOSE z;  call;  USE_DEF y;  DEF x, a part
//
// An lvalue is followed to what it names: through members, the right operand of a COMMAOP, IDENTITY, the
// wrappers of SSA form, and conversions. An lvalue that goes through a pointer names no variable and is an
// access to memory: to anything that is exposed, or that code outside the function can reach.
#pragma once

#include <cstdint>

#include "ir/node.h"

namespace pelorus {

struct SYMBOL;

enum class ACCESS : uint8_t {
    USE,     // the value is read
    DEF,     // it is replaced
    USE_DEF, // read, and replaced afterwards: x += 1, x++
    EXPOSE,  // the address is taken: from here on, what accesses memory may mean this variable
    LEND,    // a call gets the address, at the most reads the variable, and keeps nothing of the address
};

struct TREE_ACCESS {
    ACCESS kind;
    SYMBOL* symbol; // the variable; null for memory, and for the result of a call whose address is taken
    NODE* name;     // its NAME; null without a variable
    NODE* object;   // the lvalue as it stands under `by`, the NAME itself or what leads to it; the CALL, ASM
                    //   or other operator that accesses memory by itself
    NODE* by;       // the operator that defines or exposes, the call that is lent to; `object` for a use
    bool part;      // a member, or another width than the variable's: a DEF leaves the rest as it was
    bool conditional; // the tree may be evaluated without it
    bool is_volatile; // happens exactly as often as it is evaluated
};

inline bool is_use(const TREE_ACCESS& access) {
    return access.kind == ACCESS::USE || access.kind == ACCESS::USE_DEF || access.kind == ACCESS::LEND;
}
inline bool is_definition(const TREE_ACCESS& access) {
    return access.kind == ACCESS::DEF || access.kind == ACCESS::USE_DEF;
}
// The old value is gone for certain: the whole variable is replaced, and not only under a condition.
inline bool is_kill(const TREE_ACCESS& access) {
    return is_definition(access) && access.symbol && !access.part && !access.conditional;
}
// The operator assigns to the NAME itself, so that a pass can change or drop the operator with what it sees.
inline bool is_plain(const TREE_ACCESS& access) { return access.object == access.name; }

// Calls visit(access) for each access of the tree in the order of evaluation.
//   - RETURN defines its NAME, URETURN uses it.
//   - ARGREF uses and defines its parameter: the unnamed arguments lie behind it.
//   - A direct callee is no access. A call itself is one USE_DEF of memory, behind its arguments, a USE when
//     its function writes to none, a DEF when that reads none, and no access when that does neither. Assembly
//     and the opcodes without a name are a USE_DEF, and expose their operands as well.
//   - An address that is passed to a function which only reads by it is evaluated without an access; the call
//     is a LEND then, before it accesses memory.
//   - ASSERT and NASSERT are not evaluated, but speak of values: their operand's accesses are conditional.
//   - LOOP and INITLOOP define their control variable, ENDLOOP uses and defines it.
// The visit may change nodes that it was shown, but no others of the tree.
using ACCESS_VISITOR = void (*)(void* context, const TREE_ACCESS& access);
void visit_accesses(NODE* tree, ACCESS_VISITOR visit, void* context);

template <class F>
void for_each_access(NODE* tree, F visit) {
    visit_accesses(
        tree, [](void* context, const TREE_ACCESS& access) { (*static_cast<F*>(context))(access); }, &visit);
}
template <class F>
void for_each_access(const NODE* tree, F visit) {
    for_each_access(const_cast<NODE*>(tree), visit);
}

// The variable that an lvalue lies in, or null.
SYMBOL* variable_of(const NODE* lvalue);

// Evaluating the tree defines the variable, as a whole or in part, for certain or not.
bool tree_defines(const NODE* tree, const SYMBOL* symbol);

} // namespace pelorus
