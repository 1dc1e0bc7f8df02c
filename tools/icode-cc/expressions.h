// Expressions.
//
// Each function gives a tree; what cannot be a tree, such as a loop in a statement expression, is emitted
// before by `emit_inner_statements`.
#pragma once

#include "body.h"
#include "build.h"

namespace pelorus {

// The value: a scalar, a structure (an lvalue tree or a call), or for void expressions the effects (a zero
// when there are none).
NODE* value_of(BODY& body, const clang::Expr* expression);

// The object that an lvalue expression denotes. Strings and compound literals are lvalues.
NODE* lvalue_of(BODY& body, const clang::Expr* expression);

// Evaluating the expression does more than to give its value. The lengths in types that it writes count.
bool has_side_effects(const BODY& body, const clang::Expr* expression);

// The effects alone; null when there are none.
NODE* effects_of(BODY& body, const clang::Expr* expression);

// A scalar that is not zero when the expression is true: constant conditions are an ICON.
NODE* condition_of(BODY& body, const clang::Expr* expression);

// The constant that a side-effect-free scalar expression is, or null.
NODE* constant_of(BODY& body, const clang::Expr* expression);

// Emits the statements of statement expressions that no tree can hold and keeps their values in temporaries.
// To be called for each full expression before its tree is made.
void emit_inner_statements(BODY& body, const clang::Expr* expression);

// A local or, with `value`, the tree that assigns to a new temporary.
NODE* use_local(SYMBOL* symbol);
struct SAVED_VALUE {
    SYMBOL* symbol;
    NODE* assignment;
};
SAVED_VALUE save_value(BODY& body, NODE* value);

// `pointer`, marked when what it points to may lie at any address although its type wants alignment.
NODE* marked_pointer(BODY& body, NODE* pointer, clang::QualType pointee);

// Parts of value_of and lvalue_of, by file.
NODE* value_of_cast(BODY& body, const clang::CastExpr* cast);                                 // casts.cpp
NODE* value_of_unary(BODY& body, const clang::UnaryOperator* expression);                     // operators.cpp
NODE* value_of_binary(BODY& body, const clang::BinaryOperator* expression);                   // operators.cpp
NODE* value_of_conditional(BODY& body, const clang::AbstractConditionalOperator* expression); // operators.cpp
NODE* increment_of(BODY& body, const clang::UnaryOperator* expression, bool value_needed);    // operators.cpp
OPCODE arithmetic_opcode(clang::BinaryOperatorKind kind); // operators.cpp: of `+` to `|`; OP_NOP for others
OPCODE relation_opcode(clang::BinaryOperatorKind kind, bool is_unsigned);                    // operators.cpp
NODE* value_of_call(BODY& body, const clang::CallExpr* call);                                // calls.cpp
NODE* value_of_statements(BODY& body, const clang::StmtExpr* expression, bool value_needed); // inner.cpp
NODE* value_of_va_arg(BODY& body, const clang::VAArgExpr* expression);                       // calls.cpp
NODE* value_of_builtin(BODY& body, const clang::CallExpr* call, unsigned builtin);           // builtins.cpp
NODE* value_of_list_builtin(BODY& body, const clang::CallExpr* call,
                            unsigned builtin); // calls.cpp: va_start and its kin; null for others

// processor.cpp: what is one instruction; null for others
NODE* value_of_instruction(BODY& body, const clang::CallExpr* call, unsigned builtin);
NODE* value_of_register(BODY& body, const clang::Expr* object);

// checked.cpp: arithmetic that tells whether it overflows; null for others
NODE* value_of_checked_builtin(BODY& body, const clang::CallExpr* call, unsigned builtin);

// The statements that give `target` (an lvalue; used by copies) its initial value (initial.cpp).
void initialise_object(BODY& body, NODE* target, clang::QualType type, const clang::Expr* value,
                       std::vector<NODE*>& statements);

} // namespace pelorus
