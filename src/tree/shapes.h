// Sums and products with a constant part, as the simplifier's rules take them apart and put them together.
#pragma once

#include <utility>

#include "tree/simplifier.h"

namespace pelorus {

// base + constant, modulo the width; the constant is signed. A node that is no such sum is its own base, with
// 0.
struct SUM {
    NODE* base;
    INT96 constant;
};
SUM sum_of(NODE* node);
bool is_sum(NODE* node);
// The canonical form: PLUS or MINUS of a constant that is not negative, or the base. Needs: `base` is
// simplified.
NODE* make_sum(TYPE* type, NODE* base, INT96 constant);

// base * factor, modulo the width. A node that is no product with a constant is its own base, with 1.
struct PRODUCT {
    NODE* base;
    INT96 factor;
};
PRODUCT product_of(NODE* node);
// The canonical form: SLL for powers of two, UMINUS, the base, 0, or MULT. Needs: `base` is simplified.
NODE* make_product(TYPE* type, NODE* base, INT96 factor);

// What a signed variable lacks to be divided by 2^power with a shift: 2^power - 1 when it is negative, else
// 0.
NODE* rounding_of(TYPE* type, const NODE* dividend, uint32_t power);
// What is zero when the node, a signed remainder by a power of two, is zero; null for other nodes.
NODE* remainder_as_condition(NODE* node);

} // namespace pelorus
