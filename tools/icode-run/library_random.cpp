// Random numbers: rand, random and drand48 with their kin.
#include "library_random.h"

#include <cmath>

#include "library_call.h"

namespace pelorus {

namespace {

constexpr uint32_t LAGS = 31, SHORT_LAG = 3, DROPPED = 310;

uint32_t next_word(RANDOM_STATE& state) {
    uint32_t& oldest = state.words[state.next];
    oldest += state.words[(state.next + LAGS - SHORT_LAG) % LAGS];
    state.next = (state.next + 1) % LAGS;
    return oldest;
}

// The words begin as powers of 16807 modulo 2^31 - 1 times the seed; the first results are dropped.
void seed(RANDOM_STATE& state, uint32_t number) {
    constexpr int64_t MODULUS = 2147483647;
    int64_t word = static_cast<int32_t>(number ? number : 1);
    for (uint32_t& place : state.words) {
        place = static_cast<uint32_t>(word);
        word = word * 16807 % MODULUS;
        if (word < 0) word += MODULUS;
    }
    state.next = SHORT_LAG; // the first three count as the newest
    for (uint32_t i = 0; i < DROPPED; ++i) next_word(state);
    state.is_seeded = true;
}

void call_srand(GUEST_CALL& call) { seed(*call.library.random, word_argument(call, 0)); }

void call_rand(GUEST_CALL& call) {
    RANDOM_STATE& state = *call.library.random;
    if (!state.is_seeded) seed(state, 1);
    give(call, next_word(state) >> 1);
}

// Puts three results of a linear congruential generator together, whose state is the program's.
void call_rand_r(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    auto word = load<uint32_t>(call.machine, place);
    const auto draw = [&](uint32_t bits) {
        word = word * 1103515245 + 12345;
        return word / 65536 % (1u << bits);
    };
    uint32_t result = draw(11);
    result = result << 10 ^ draw(10);
    result = result << 10 ^ draw(10);
    store(call.machine, place, word);
    give(call, static_cast<int32_t>(result));
}

// --- 48 bits ---

constexpr uint64_t MASK_48 = (uint64_t{1} << 48) - 1;

uint64_t next_48(RANDOM_STATE& state) {
    state.bits = (state.bits * 0x5DEECE66D + 0xB) & MASK_48;
    return state.bits;
}

void call_srand48(GUEST_CALL& call) {
    call.library.random->bits = uint64_t{word_argument(call, 0)} << 16 | 0x330E;
}

void call_drand48(GUEST_CALL& call) {
    give_real(call, std::ldexp(static_cast<double>(next_48(*call.library.random)), -48));
}

void call_lrand48(GUEST_CALL& call) { give(call, static_cast<int64_t>(next_48(*call.library.random) >> 17)); }

void call_mrand48(GUEST_CALL& call) {
    give(call, static_cast<int32_t>(static_cast<uint32_t>(next_48(*call.library.random) >> 16)));
}

const LIBRARY_ROW RANDOM_ROWS[] = {
    {"_rand", call_rand, CALL_EFFECT::INSIDE},       {"_srand", call_srand, CALL_EFFECT::INSIDE},
    {"_random", call_rand, CALL_EFFECT::INSIDE},     {"_srandom", call_srand, CALL_EFFECT::INSIDE},
    {"_rand_r", call_rand_r, CALL_EFFECT::INSIDE},   {"_srand48", call_srand48, CALL_EFFECT::INSIDE},
    {"_drand48", call_drand48, CALL_EFFECT::INSIDE}, {"_lrand48", call_lrand48, CALL_EFFECT::INSIDE},
    {"_mrand48", call_mrand48, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> random_functions() { return RANDOM_ROWS; }

} // namespace pelorus
