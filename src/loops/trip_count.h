// How often a test goes on before it stops, by the arithmetic of the target.
#pragma once

#include <cstdint>
#include <optional>

namespace pelorus {

// A value that changes by the same amount from test to test, modulo 2^bits, and the values with which the
// test goes on: `count` of them from `from` on, modulo 2^bits as well. All numbers are below 2^bits; count
// may be 2^64 for 64 bits, which is why it is split.
struct COUNTED_TEST {
    uint32_t bits;     // 1 to 64
    uint64_t first;    // the value at the first test
    uint64_t step;     // added before each further test
    uint64_t from;     // the first value that goes on
    uint64_t stopping; // how many values stop; 0: none
};

// How many tests go on before the first that stops; nothing when none ever stops. Takes as many steps as
// Euclid's algorithm does.
std::optional<uint64_t> count_tests(const COUNTED_TEST& test);

// The x with odd * x == 1, modulo 2^64.
uint64_t inverse_of_odd(uint64_t odd);

} // namespace pelorus
