// The hash of a sequence of words.
#pragma once

#include <cstdint>

namespace pelorus {

// Takes one more word into the hash: a multiply-and-shift mixer. The constant is the odd number nearest to
// 2^64 divided by the golden ratio.
constexpr uint64_t mix_hash(uint64_t hash, uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ hash >> 29;
}

} // namespace pelorus
