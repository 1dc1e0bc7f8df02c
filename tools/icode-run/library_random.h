// The state of the library's random numbers.
#pragma once

#include <cstdint>

namespace pelorus {

// An additive lagged Fibonacci generator with the lags 3 and 31, which the target's C library has as well, so
// that programs draw the same numbers here and there.
struct RANDOM_STATE {
    uint32_t words[31];     // the last 31 words that were made
    uint32_t next = 0;      // which of them is the oldest
    uint64_t bits = 0;      // of drand48 and its kin, 48 of them
    bool is_seeded = false; // by 1, when the program does not do it
};

} // namespace pelorus
