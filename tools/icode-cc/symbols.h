// Symbols of the file: functions, variables and the objects that have no name in the source.
//
// A symbol is made when something first names it. What is defined in the file is written when something needs
// it: the external definitions at once, static ones and inline functions when something refers to them.
//
// An inline definition that is not the external one (C99 `inline` without `extern`, GNU `extern inline`)
// leaves the external name undefined here. Calls of such a function go to a copy of its body, a static
// function `_name$inline`, which the optimizer can expand; its address is always that of the external
// function.
#pragma once

#include "types.h"

namespace pelorus {

// The attribute that makes the declaration another name of something in the file, or null.
const clang::AliasAttr* alias_of(const clang::Decl* declaration);

// "_" and the linkage name: the name, or what an `asm` label says.
std::string linkage_name(const clang::NamedDecl* declaration);

// The function's definition, null without one. A GNU `extern inline` function may be defined again; the last
// definition counts.
const clang::FunctionDecl* definition_of(const clang::FunctionDecl* function);

// The symbol of a function, of a file-scope variable or of a static variable in a function.
SYMBOL* function_symbol(UNIT& unit, const clang::FunctionDecl* function);
SYMBOL* variable_symbol(UNIT& unit, const clang::VarDecl* variable);

// The symbol that a direct call of the function names: the function's, or that of its static copy.
SYMBOL* called_symbol(UNIT& unit, const clang::FunctionDecl* function);

// A function of the C or compiler's library, declared in the file or not. `type` is used when it is not.
SYMBOL* library_function(UNIT& unit, const std::string& name, TYPE* type);
// The same; makes a type for it from the result and the parameters.
SYMBOL* library_function(UNIT& unit, const std::string& name, TYPE* result,
                         const std::vector<TYPE*>& parameters);

// An external function `_<what>$<n>` that stands for something without an opcode, which its attribute tells.
SYMBOL* attributed_function(UNIT& unit, const char* what, TYPE* type,
                            const std::vector<std::string>& attribute);

// A static object of the file that has no name in the source, called `_<what>$<n>`.
SYMBOL* unnamed_object(UNIT& unit, const char* what, TYPE* type, uint32_t size, uint32_t align,
                       clang::SourceLocation place);
// The object of a file-scope compound literal, or of a string literal that is too long for one record.
SYMBOL* literal_object(UNIT& unit, const clang::Expr* literal);

// Gives each file-scope declaration its place in the source. Before any symbol is made.
void number_declarations(UNIT& unit);

// True when a definition is to be written: it is needed and it is this file's.
bool must_emit(const UNIT& unit, const clang::FunctionDecl* definition);
bool must_emit(const UNIT& unit, const clang::VarDecl* definition);

} // namespace pelorus
