// The count of a test against counting.
#include "loops/trip_count.h"

#include <gtest/gtest.h>

#include <random>

namespace pelorus {
namespace {

std::optional<uint64_t> counted_one_by_one(const COUNTED_TEST& test, uint64_t most) {
    const uint64_t mask = ~uint64_t{0} >> (64 - test.bits);
    uint64_t value = test.first;
    for (uint64_t tests = 0; tests <= most; ++tests, value = (value + test.step) & mask)
        if (((value - test.from) & mask) > mask - test.stopping) return tests;
    return std::nullopt;
}

TEST(TripCount, IsThatOfCountingForAllSmallNumbers) {
    for (uint32_t bits = 1; bits <= 4; ++bits) {
        const uint64_t values = uint64_t{1} << bits;
        for (uint64_t first = 0; first < values; ++first)
            for (uint64_t step = 0; step < values; ++step)
                for (uint64_t from = 0; from < values; ++from)
                    for (uint64_t stopping = 0; stopping < values; ++stopping) {
                        const COUNTED_TEST test{bits, first, step, from, stopping};
                        ASSERT_EQ(count_tests(test), counted_one_by_one(test, values))
                            << bits << " bits: " << first << " step " << step << " from " << from
                            << " stopping " << stopping;
                    }
    }
}

TEST(TripCount, MissesAHoleThatItStepsOverUntilItHitsIt) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 2000; ++i) {
        const COUNTED_TEST test{16, random() & 0xFFFF, random() & 0xFFFF, random() & 0xFFFF, random() & 7};
        ASSERT_EQ(count_tests(test), counted_one_by_one(test, 0xFFFF));
    }
}

TEST(TripCount, TakesNumbersOf64Bits) {
    EXPECT_EQ(count_tests({64, 0, 3, 0, 1}), 0x5555555555555555U) << "3n == 2^64 - 1";
    EXPECT_EQ(count_tests({64, 0, 1, 0, 1}), UINT64_MAX);
    EXPECT_EQ(count_tests({64, 0, 2, 0, 1}), std::nullopt) << "even values never meet an odd one";
    EXPECT_EQ(count_tests({64, 5, 1, 0, 0}), std::nullopt) << "nothing stops";
    for (uint64_t odd = 1; odd < 10000; odd += 2) EXPECT_EQ(odd * inverse_of_odd(odd), 1U);
}

} // namespace
} // namespace pelorus
