// Arrays of variable length, and memory of the stack.
//
// The lengths of a variably modified type are computed where the type is written, once each time control
// comes there, and kept in temporaries. In icode such an array type is the open array of its innermost
// element of fixed size, and all arithmetic on addresses is explicit. A variable of such a type is a pointer
// to memory that the code generator takes from the stack.
#pragma once

#include "body.h"
#include "build.h"

namespace pelorus {

// Alignment of the memory that alloca gives, in bytes.
constexpr uint32_t STACK_ALIGNMENT = 8;

// The effects that compute the lengths in the type as it is written; typedef names have theirs already. Null:
// none.
NODE* lengths_of_type(BODY& body, clang::QualType type);
// Computing them does more than to fill the temporaries.
bool lengths_have_effects(const BODY& body, clang::QualType type);

// The size of an object in bytes, an unsigned number: an ICON but for arrays of variable length. 1 for void
// and functions, which is what pointers to them are moved by.
NODE* size_of(BODY& body, clang::QualType type);

// Makes the storage of an array variable and holds it.
void declare_array(BODY& body, const clang::VarDecl* variable);

// The object of a variable: for an array of variable length, what its pointer points to.
NODE* variable_object(BODY& body, const clang::VarDecl* variable);

// `bytes` of the caller's frame as a void pointer, aligned to `align` bytes, a power of two.
NODE* stack_memory(BODY& body, NODE* bytes, uint32_t align);
NODE* restore_stack(BODY& body, SYMBOL* stack);

// A call of a function that the code generator knows by its name.
NODE* generator_call(BODY& body, const char* name, TYPE* result, const std::vector<NODE*>& arguments);

} // namespace pelorus
