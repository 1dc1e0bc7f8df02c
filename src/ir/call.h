// Calls, and the function that a call names.
#pragma once

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

// What is known of every call of the function that the node calls directly: FUN_FLAG bits (ir/funinfo.h); 0
// when that is nothing, and for calls through pointers. Needs: a call.
uint32_t call_flags(const NODE* call);

// The call may return again, long after: setjmp and its like. By the attribute of the function's type, or its
// name.
bool may_return_twice(const NODE* call);

} // namespace pelorus
