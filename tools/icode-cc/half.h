// `__fp16`: a floating type of 16 bits that is stored and converted, and computed with in float.
//
// In icode it is an unsigned short that holds the bits. The compiler's library converts; its functions take
// and give all numbers by their bits, as integers.
#pragma once

#include "expressions.h"

namespace pelorus {

inline int64_t half_bits(const llvm::APFloat& value) {
    return static_cast<int64_t>(value.bitcastToAPInt().getZExtValue());
}

// The value of an expression of this type as a float.
NODE* value_of_half(BODY& body, const clang::Expr* expression);
// A conversion from or to this type.
NODE* half_conversion(BODY& body, const clang::CastExpr* cast);
// `x op= v` and `++x`.
NODE* change_half(BODY& body, const clang::CompoundAssignOperator* assignment);
NODE* increment_half(BODY& body, const clang::UnaryOperator* expression);

} // namespace pelorus
