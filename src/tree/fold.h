// Constants: what operators make of them, computed as the target would (fold.cpp says what is left alone).
#pragma once

#include "ir/node.h"

namespace pelorus {

// The value of an operator applied to constants in the type, as a new ICON or FCON, or null when it has none
// that is the same on every target (division by zero, conversions out of range), or an operand is no
// constant. The operands are not used up.
NODE* fold_unary(const NODE* node);
NODE* fold_binary(const NODE* node);

// An FCON. Needs: the value is rounded to the format of the type.
NODE* make_fcon(TYPE* type, const TARGET_FLOAT& value);

} // namespace pelorus
