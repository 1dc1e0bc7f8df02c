// Trees: the shapes that the conversion puts together.
//
// Every function returns a new node of the function zone. A tree is used once; whoever needs it twice copies
// it.
#pragma once

#include "llvm/ADT/APFloat.h"
#include "llvm/ADT/APSInt.h"

#include "types.h"

namespace pelorus {

// What one SCON may hold: half of what a record can, so that the other fields always fit.
constexpr size_t STRING_PIECE_BYTES = 4096;

NODE* integer_constant(TYPE* type, int64_t value);
NODE* integer_constant(TYPE* type, const llvm::APSInt& value);
NODE* float_constant(TYPE* type, const llvm::APFloat& value);
// A zero of any scalar type.
NODE* zero_constant(TYPE* type);
// The bytes as an array of the type.
NODE* string_constant(TYPE* array, const std::string& bytes);
// The bytes of a literal in the target's order, padded with zeros to the size of its array type.
std::string literal_bytes(const UNIT& unit, const clang::StringLiteral* literal);

bool is_integer_constant(const NODE* node);
bool has_effects(const NODE* tree);      // an assignment or a call is in it
bool is_zero_constant(const NODE* node); // an ICON of value 0

// `value` converted: between arithmetic types, between pointers and 32-bit integers. A conversion to the same
// representation gives the tree itself.
NODE* arithmetic_conversion(NODE* value, TYPE* type);
// A pointer as a pointer of another type: changes the type of a fresh address in place.
NODE* pointer_conversion(NODE* pointer, TYPE* type);

// `pointer` moved by a number of bytes.
NODE* pointer_plus(NODE* pointer, int64_t bytes, TYPE* type);
// `index` objects of `size` bytes, an unsigned number, as a number of 32 bits.
NODE* scaled_index(UNIT& unit, NODE* index, NODE* size);
// `pointer` moved by `index` objects of `size` bytes, up or down; the result has the type `type`.
NODE* pointer_index(UNIT& unit, NODE* pointer, NODE* index, NODE* size, bool down, TYPE* type);

// The object that a pointer points to, as an lvalue of the type.
NODE* object_at(NODE* pointer, TYPE* type);
// The address of an lvalue, function or string. Notes on the symbol that its address is taken.
NODE* address_of(NODE* lvalue, TYPE* pointer_type);
// A member of a structure value or lvalue, or of what a pointer points to.
NODE* member_of_value(NODE* structure, TYPE_PART* member, TYPE* owner, TYPE* type);
NODE* member_of_pointer(NODE* pointer, TYPE_PART* member, TYPE* owner, TYPE* type);

// The alignment that the way to an object proves, in bytes.
uint32_t known_alignment(const NODE* object);

// `value` after the effects of `first`, either of which may be null.
NODE* sequence(NODE* first, NODE* value);
NODE* choice(TYPE* type, NODE* condition, NODE* yes, NODE* no);
// ASG, or STASG for structures.
NODE* assignment(NODE* lvalue, NODE* value, TYPE* type);

// A use of the symbol: a NAME that counts as a reference to it.
NODE* use_of(SYMBOL* symbol, TYPE* type);

// A call; `callee` is an address. The numbers of calls are given when the function is written.
NODE* call_of(TYPE* result, NODE* callee, const std::vector<NODE*>& arguments);
// A call of a function known by its symbol.
NODE* direct_call(UNIT& unit, TYPE* result, SYMBOL* callee, const std::vector<NODE*>& arguments);

} // namespace pelorus
