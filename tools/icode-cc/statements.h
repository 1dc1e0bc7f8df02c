// Statements.
#pragma once

#include "body.h"

namespace pelorus {

// The whole body of a function, with the return at its end that `main` has by definition.
void convert_body(BODY& body, const clang::Stmt* statement);

void convert_statement(BODY& body, const clang::Stmt* statement);

// An expression for its effects, with control flow in place of operators where it is the outermost.
void convert_effects(BODY& body, const clang::Expr* expression);

// The body of a loop or switch, in which `break` and `continue` lead to these.
void convert_inside(BODY& body, const clang::Stmt* statement, JUMP_TARGETS targets);

void convert_goto(BODY& body, const clang::LabelDecl* label);

// The number of a label of `goto`.
uint32_t label_of(BODY& body, const clang::LabelDecl* label);

// Enters the static variables of a declaration in a function; their initializers are written after the
// function.
void convert_static_variables(BODY& body, const clang::DeclStmt* statement);

} // namespace pelorus
