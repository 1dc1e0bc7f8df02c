// See trip_count.h.
//
// Seen from the first value that goes on, the values that stop are those from `going_on` to 2^bits - 1. What
// is looked for is the least j with
//
//     going_on <= first + j * step (mod 2^bits)
//
// which is a question about the multiples of a number modulo another, answered by halving the problem as
// Euclid's algorithm does.
#include "loops/trip_count.h"

namespace pelorus {

namespace {

__extension__ typedef unsigned __int128 WIDE;
constexpr WIDE NONE = ~WIDE{0};

// The least j with low <= factor * j (mod modulus) <= high, NONE without one. Needs: low <= high < modulus.
// NOLINTNEXTLINE(misc-no-recursion): each call at the least halves the modulus
WIDE first_in_range(WIDE factor, WIDE modulus, WIDE low, WIDE high) {
    if (low == 0) return 0;
    if (2 * factor > modulus) return first_in_range(modulus - factor, modulus, modulus - high, modulus - low);
    if (factor == 0) return NONE;
    const WIDE rounds = (low + factor - 1) / factor;
    if (factor * rounds <= high) return rounds;
    // No multiple of the factor is in the range itself: how often must one go round the modulus?
    const WIDE laps = first_in_range(modulus % factor, factor, (factor - high % factor) % factor,
                                     (factor - low % factor) % factor);
    return laps == NONE ? NONE : (low + modulus * laps + factor - 1) / factor;
}

} // namespace

std::optional<uint64_t> count_tests(const COUNTED_TEST& test) {
    const WIDE modulus = WIDE{1} << test.bits;
    const WIDE going_on = modulus - test.stopping;
    const WIDE first = (test.first - test.from) & (modulus - 1);
    if (first >= going_on) return 0;
    if (test.stopping == 0) return std::nullopt;
    const WIDE tests =
        first_in_range(test.step & (modulus - 1), modulus, going_on - first, modulus - 1 - first);
    if (tests == NONE) return std::nullopt;
    return static_cast<uint64_t>(tests);
}

// Newton's method: each round doubles the bits that are right, of which there are three to begin with.
uint64_t inverse_of_odd(uint64_t odd) {
    uint64_t inverse = odd;
    for (int bits = 3; bits < 64; bits *= 2) inverse *= 2 - odd * inverse;
    return inverse;
}

} // namespace pelorus
