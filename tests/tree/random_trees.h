// Random expression trees over a small set of variables, for tests.
#pragma once

#include <random>

#include "evaluator.h"

namespace pelorus {

// The types and variables that trees are made of. Lives in the global zone, so that trees can be released
// without it.
struct TREE_WORLD {
    std::vector<TYPE*> arithmetic; // every integer type, bool, float and double
    std::vector<TYPE*> pointers;
    std::vector<SYMBOL*> variables;
    std::vector<SYMBOL*> functions;
    TYPE* structure = nullptr;
    SYMBOL* array = nullptr; // of int
};

// Needs: an empty current type package.
TREE_WORLD make_world(TYPE_PKG& types);
// A machine with some value in every variable; pointers point to objects mostly.
MACHINE machine_of_world(const TREE_WORLD& world, uint64_t seed);

struct TREE_MAKER {
    const TREE_WORLD& world;
    std::mt19937_64 random;

    TREE_MAKER(const TREE_WORLD& of, uint64_t seed) : world(of), random(seed) {}
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random() % limit); }
    bool chance(uint32_t percent) { return below(100) < percent; }
};

// A tree of the type, which is arithmetic or a pointer. `size` bounds its operators.
NODE* random_value(TREE_MAKER& maker, TYPE* type, int size);
// An assignment, a call, a conditional jump or another statement.
NODE* random_statement(TREE_MAKER& maker, int size);

} // namespace pelorus
