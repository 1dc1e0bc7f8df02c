// Atomic operations.
//
// The instructions for them differ between processors of the family, so each operation is a call of a
// function of the compiler's library, `__sync_<operation>_<size>`, which picks the right ones when the
// program runs. These functions order memory fully, which every weaker order asked for allows. Plain loads
// and stores of up to 4 bytes are accesses of volatile objects with barriers around them; for a load of 8
// bytes the code generator has an instruction.
//
// An operator that the library has no function for tries until nobody was faster: a loop of statements.
//
// Objects of 1, 2, 4 and 8 bytes can be worked on. The others are refused.
#pragma once

#include "body.h"

namespace pelorus {

// `__atomic_...` and `__c11_atomic_...` that clang has kinds of expressions for.
NODE* value_of_atomic(BODY& body, const clang::AtomicExpr* expression);

// Fences, flags and `__sync_...`; null for builtins that are none.
NODE* value_of_atomic_builtin(BODY& body, const clang::CallExpr* call, unsigned builtin);

// Operators on an object of _Atomic type.
NODE* atomic_read(BODY& body, const clang::Expr* object);
NODE* atomic_assignment(BODY& body, const clang::BinaryOperator* expression);
NODE* atomic_increment(BODY& body, const clang::UnaryOperator* expression);

// The statement is an operator on an atomic number that only a loop can apply.
bool needs_atomic_loop(const clang::Stmt* statement);
// Emits that loop; the result is the variable that holds the operator's value.
SYMBOL* emit_atomic_loop(BODY& body, const clang::Expr* expression);

} // namespace pelorus
