// What is known of a value: the lattice of conditional constant propagation, and its values of expressions.
//
//      NOTHING    no way to the value was found yet
//      CONSTANT   an integer, a floating value, or the address of an object
//      NOT_ZERO   an integer or pointer that is not zero
//      VARIES     anything
//
// A value only goes down this list while ways are found, from NOTHING to VARIES.
#pragma once

#include <vector>

#include "ir/node.h"

namespace pelorus {

struct EDGE_FACTS;

enum class KNOWN : uint8_t { NOTHING, CONSTANT, NOT_ZERO, VARIES };

struct KNOWN_VALUE {
    KNOWN known = KNOWN::NOTHING;
    int32_t op = OP_NOP;      // of a CONSTANT: ICON, FCON, or UAND
    INT96 integer{};          // ICON: in the range of its type
    TARGET_FLOAT floating{};  // FCON
    SYMBOL* object = nullptr; // UAND
};
constexpr KNOWN_VALUE ANY_VALUE{KNOWN::VARIES};
constexpr KNOWN_VALUE NOT_ZERO_VALUE{KNOWN::NOT_ZERO};

bool is_same_value(const KNOWN_VALUE& a, const KNOWN_VALUE& b);
// Known to be no zero.
bool is_not_zero(const KNOWN_VALUE& value);
// An ICON, and zero.
bool is_zero_value(const KNOWN_VALUE& value);
// What is known when the value may be either.
KNOWN_VALUE either_value(const KNOWN_VALUE& a, const KNOWN_VALUE& b);
// The same value under a type of the same representation; else anything.
KNOWN_VALUE value_as(const KNOWN_VALUE& value, const TYPE* from, const TYPE* to);

// What is known of a value at some place, when a test in front of it says something as well.
KNOWN_VALUE value_behind_test(const KNOWN_VALUE& value, const KNOWN_VALUE& fact);

// What is known of SSA versions, everywhere and in one block.
struct KNOWN_VERSIONS {
    const std::vector<KNOWN_VALUE>& values; // by version
    const EDGE_FACTS& facts;
    const BB* block;
};

// What is known of the expression's value, which is evaluated in that block. Nothing is changed, and what the
// expression does besides does not count. Expressions that are nested deeper than a few hundred operators may
// have any value.
KNOWN_VALUE known_value(const NODE* tree, const KNOWN_VERSIONS& versions);

// The constant as a tree of that type. Needs: a CONSTANT.
NODE* tree_of_value(const KNOWN_VALUE& value, TYPE* type);

} // namespace pelorus
