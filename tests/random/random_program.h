// Random icode: whole programs in the text form, made from a seed.
//
// Every program obeys the rules of icode and has one meaning: divisors are not zero, shift amounts and
// indices are masked, floating values are converted where they fit, every variable is set before it is read,
// loops end by a counter or by fuel, calls by a budget. What a program computes shows in what it prints, in
// its volatile accesses and in its calls of the library.
#pragma once

#include <cstdint>
#include <string>

namespace pelorus {

struct RANDOM_PROGRAM {
    std::string text;       // for assemble_icode
    uint32_t functions = 0; // main included
};

// The program depends on the order in which the compiler evaluates arguments, so that another compiler's
// build makes other programs of the same seeds.
RANDOM_PROGRAM random_program(uint64_t seed);

} // namespace pelorus
