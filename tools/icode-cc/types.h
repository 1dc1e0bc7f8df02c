// Types: from clang's to icode's.
#pragma once

#include "unit.h"

namespace pelorus {

// The icode type of a complete or incomplete C type, qualifiers included and typedef names looked through.
// Refuses types that icode cannot describe and answers int for them.
TYPE* icode_type(UNIT& unit, clang::QualType type);

// The type of a function with these FA_ bits on top of those that its type has.
TYPE* function_type(UNIT& unit, clang::QualType type, uint32_t attributes);

// The member of the structure's icode type. Unnamed bit-fields have none (null).
TYPE_PART* member_of(UNIT& unit, const clang::FieldDecl* field);

// The type is a complex number or a vector: in icode a structure of its elements.
bool has_elements(clang::QualType type);
clang::QualType element_type(clang::QualType type);
// The members of the structure of such a type.
const std::vector<TYPE_PART*>& elements_of(UNIT& unit, clang::QualType type);

// Usual types.
TYPE* void_type(UNIT& unit);
TYPE* int_type(UNIT& unit);
TYPE* unsigned_type(UNIT& unit);
TYPE* long_long_type(UNIT& unit, bool is_unsigned);
TYPE* char_type(UNIT& unit, bool is_unsigned); // `signed char` and `unsigned char`
TYPE* void_pointer_type(UNIT& unit);
TYPE* char_pointer_type(UNIT& unit); // to unsigned char

uint32_t size_in_bytes(const UNIT& unit, clang::QualType type);

} // namespace pelorus
