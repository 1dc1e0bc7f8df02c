// The random numbers of a generator: one seed, one sequence, on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace pelorus {

// The generator of Steele, Lea and Flood (SplitMix): small, fast, and good for seeds that lie side by side.
class SEEDED_DICE {
public:
    explicit SEEDED_DICE(uint64_t seed) : state_(seed * 0xD1342543DE82EF95U + 1) {}
    uint64_t next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15U;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9U;
        z = (z ^ z >> 27) * 0x94D049BB133111EBU;
        return z ^ z >> 31;
    }
    uint32_t below(size_t count) { return static_cast<uint32_t>((next() >> 32) * count >> 32); }
    // Both ends can come.
    uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
    bool chance(uint32_t percent) { return below(100) < percent; }
    template <class T>
    auto& one_of(T& list) {
        return std::begin(list)[below(std::size(list))];
    }

private:
    uint64_t state_;
};

} // namespace pelorus
