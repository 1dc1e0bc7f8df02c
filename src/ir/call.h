// Calls, and the function that a call names.
#pragma once

#include <vector>

#include "ir/node.h"

namespace pelorus {

inline bool is_call(const NODE* node) { return node->op == OP_CALL || node->op == OP_UCALL; }

// The NAME of the function that the call calls directly, by UAND(NAME); null for a call through a pointer.
// Needs: a CALL or UCALL.
inline const NODE* named_callee(const NODE* call) {
    const NODE* callee = call->left;
    return callee && callee->op == OP_UAND && callee->left && callee->left->op == OP_NAME ? callee->left
                                                                                          : nullptr;
}

// The function that the node calls directly. Null for a call through a pointer and for any other node.
inline SYMBOL* direct_callee(const NODE* node) {
    const NODE* name = is_call(node) ? named_callee(node) : nullptr;
    return name ? name->symbol() : nullptr;
}

// What is known of every call of the function: FUN_FLAG bits. 0 when that is nothing, as for an alias, whose
// name says nothing of what is behind it.
uint32_t flags_of_function(const SYMBOL* callee);
// The same of the function that the node calls directly; ipa/function_effects.h tells what the flags mean. 0
// for calls through pointers, and below level 1, where no pass may rely on it. Needs: a call.
uint32_t call_flags(const NODE* call);

// --- What passes ask of a call. Operators that run other code and are no calls may do everything. ---

// Its value is all that there is to it: it can be left out, and an equal one gives the same.
bool is_pure_call(const NODE* node);
// It may read memory, and change it: globals, and whatever addresses lead to.
bool may_read_memory(const NODE* call);
bool may_write_memory(const NODE* call);

// An argument that is the address of a local variable, which the callee at the most reads, and of which it
// keeps nothing: the variable is used by the call, and that is all.
struct LENT_ARGUMENT {
    NODE* argument;
    NODE* name;
};
// Those of the call, first to last.
std::vector<LENT_ARGUMENT> lent_arguments(const NODE* call);

// The call may return again, long after: setjmp and its like. By the attribute of the function's type, or its
// name.
bool may_return_twice(const NODE* call);

} // namespace pelorus
