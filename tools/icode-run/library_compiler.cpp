// Functions of the compiler's library: arithmetic that the processor has no instruction for, and counting of
// bits. `si` in a name is 32 bits, `di` 64, `sf` float, `df` double.
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include "library_call.h"

namespace pelorus {

namespace {

template <typename T>
T integer(GUEST_CALL& call, uint32_t index) {
    return static_cast<T>(wide_argument(call, index));
}

// --- Arithmetic ---

// An EABI division function returns when the divisor is zero; what it returns nobody can rely on.
template <typename T>
void need_divisor(GUEST_CALL& call, T left, T right) {
    if (right == 0) trap(call.machine, "division by zero");
    if (std::is_signed_v<T> && left == std::numeric_limits<T>::min() && right == static_cast<T>(-1))
        trap(call.machine, "the quotient does not fit");
}

template <typename T>
void call_divide(GUEST_CALL& call) {
    const T left = integer<T>(call, 0), right = integer<T>(call, 1);
    need_divisor(call, left, right);
    give_as(call, static_cast<T>(left / right));
}

template <typename T>
void call_modulo(GUEST_CALL& call) {
    const T left = integer<T>(call, 0), right = integer<T>(call, 1);
    need_divisor(call, left, right);
    give_as(call, static_cast<T>(left % right));
}

void call_multiply(GUEST_CALL& call) {
    give_as(call, integer<uint64_t>(call, 0) * integer<uint64_t>(call, 1));
}

uint32_t distance(GUEST_CALL& call) {
    const uint32_t bits = word_argument(call, 1);
    if (bits > 63) trap(call.machine, "a shift by %u bits", bits);
    return bits;
}

void call_shift_left(GUEST_CALL& call) { give_as(call, integer<uint64_t>(call, 0) << distance(call)); }
void call_shift_right(GUEST_CALL& call) { give_as(call, integer<uint64_t>(call, 0) >> distance(call)); }
void call_shift_signed(GUEST_CALL& call) { give_as(call, integer<int64_t>(call, 0) >> distance(call)); }

template <typename T>
void call_power(GUEST_CALL& call) {
    T base = static_cast<T>(real_argument(call, 0)), result = 1;
    const int exponent = int_argument(call, 1);
    for (uint32_t rest = exponent < 0 ? 0u - static_cast<uint32_t>(exponent)
                                      : static_cast<uint32_t>(exponent);
         rest; rest /= 2) {
        if (rest % 2) result *= base;
        base *= base;
    }
    give_real(call, static_cast<double>(exponent < 0 ? 1 / result : result));
}

// --- Floating numbers of 16 bits, all numbers by their bits ---

// `value` rounded to nearest, ties to even; `fraction` are the ten highest bits of what is no number.
uint16_t half_bits(double value, uint64_t fraction) {
    const auto sign = static_cast<uint16_t>(std::signbit(value) ? 0x8000 : 0);
    const double size = std::fabs(value);
    if (std::isnan(value)) return static_cast<uint16_t>(sign | 0x7E00 | fraction);
    if (size >= 65520) return static_cast<uint16_t>(sign | 0x7C00);
    const int exponent = size < 0x1p-14 ? -14 : std::ilogb(size);
    const double scaled = std::nearbyint(std::ldexp(size, 10 - exponent)); // a carry goes into the exponent
    return static_cast<uint16_t>(sign + ((exponent + 14) << 10) + static_cast<int>(scaled));
}

void call_from_float(GUEST_CALL& call) {
    const uint32_t bits = integer<uint32_t>(call, 0);
    give(call, half_bits(std::bit_cast<float>(bits), (bits >> 13) & 0x3FF));
}

void call_from_double(GUEST_CALL& call) {
    const uint64_t bits = integer<uint64_t>(call, 0);
    give(call, half_bits(std::bit_cast<double>(bits), (bits >> 42) & 0x3FF));
}

void call_to_float(GUEST_CALL& call) {
    const uint32_t bits = integer<uint16_t>(call, 0);
    const uint32_t sign = (bits & 0x8000) << 16, exponent = (bits >> 10) & 0x1F, fraction = bits & 0x3FF;
    float value = std::ldexp(static_cast<float>(exponent ? fraction + 1024 : fraction),
                             static_cast<int>(exponent ? exponent : 1) - 25);
    if (exponent == 31) value = std::bit_cast<float>(0x7F800000 | (fraction << 13));
    give(call, std::bit_cast<uint32_t>(value) | sign);
}

// --- Bits ---

template <typename T>
void need_bits(GUEST_CALL& call, T value) {
    if (value == 0) trap(call.machine, "the bits of 0 are counted from an end");
}

template <typename T>
void call_leading_zeros(GUEST_CALL& call) {
    const T value = integer<T>(call, 0);
    need_bits(call, value);
    give(call, std::countl_zero(value));
}

template <typename T>
void call_trailing_zeros(GUEST_CALL& call) {
    const T value = integer<T>(call, 0);
    need_bits(call, value);
    give(call, std::countr_zero(value));
}

template <typename T>
void call_first_set(GUEST_CALL& call) {
    const T value = integer<T>(call, 0);
    give(call, value ? std::countr_zero(value) + 1 : 0);
}

template <typename T>
void call_population(GUEST_CALL& call) {
    give(call, std::popcount(integer<T>(call, 0)));
}

template <typename T>
void call_parity(GUEST_CALL& call) {
    give(call, std::popcount(integer<T>(call, 0)) & 1);
}

// How many bits below the sign bit are like it.
template <typename T>
void call_redundant_signs(GUEST_CALL& call) {
    T value = integer<T>(call, 0);
    if (static_cast<std::make_signed_t<T>>(value) < 0) value = static_cast<T>(~value);
    give(call, std::countl_zero(value) - 1);
}

void call_swap_word(GUEST_CALL& call) { give_as(call, __builtin_bswap32(integer<uint32_t>(call, 0))); }
void call_swap_wide(GUEST_CALL& call) { give_as(call, __builtin_bswap64(integer<uint64_t>(call, 0))); }

void call_nothing(GUEST_CALL& call) { give(call, 0); }

// To nearest.
void call_rounding(GUEST_CALL& call) { give(call, 1); }

const LIBRARY_ROW COMPILER_ROWS[] = {
    {"___divsi3", call_divide<int32_t>, CALL_EFFECT::NONE},
    {"___udivsi3", call_divide<uint32_t>, CALL_EFFECT::NONE},
    {"___modsi3", call_modulo<int32_t>, CALL_EFFECT::NONE},
    {"___umodsi3", call_modulo<uint32_t>, CALL_EFFECT::NONE},
    {"___divdi3", call_divide<int64_t>, CALL_EFFECT::NONE},
    {"___udivdi3", call_divide<uint64_t>, CALL_EFFECT::NONE},
    {"___moddi3", call_modulo<int64_t>, CALL_EFFECT::NONE},
    {"___umoddi3", call_modulo<uint64_t>, CALL_EFFECT::NONE},
    {"___muldi3", call_multiply, CALL_EFFECT::NONE},
    {"___ashldi3", call_shift_left, CALL_EFFECT::NONE},
    {"___lshrdi3", call_shift_right, CALL_EFFECT::NONE},
    {"___ashrdi3", call_shift_signed, CALL_EFFECT::NONE},
    {"___aeabi_idiv", call_divide<int32_t>, CALL_EFFECT::NONE},
    {"___aeabi_uidiv", call_divide<uint32_t>, CALL_EFFECT::NONE},
    {"___aeabi_lmul", call_multiply, CALL_EFFECT::NONE},
    {"___aeabi_llsl", call_shift_left, CALL_EFFECT::NONE},
    {"___aeabi_llsr", call_shift_right, CALL_EFFECT::NONE},
    {"___aeabi_lasr", call_shift_signed, CALL_EFFECT::NONE},
    {"___powisf2", call_power<float>, CALL_EFFECT::NONE},
    {"___powidf2", call_power<double>, CALL_EFFECT::NONE},
    {"___gnu_f2h_ieee", call_from_float, CALL_EFFECT::NONE},
    {"___gnu_d2h_ieee", call_from_double, CALL_EFFECT::NONE},
    {"___gnu_h2f_ieee", call_to_float, CALL_EFFECT::NONE},
    {"___clzsi2", call_leading_zeros<uint32_t>, CALL_EFFECT::NONE},
    {"___clzdi2", call_leading_zeros<uint64_t>, CALL_EFFECT::NONE},
    {"___ctzsi2", call_trailing_zeros<uint32_t>, CALL_EFFECT::NONE},
    {"___ctzdi2", call_trailing_zeros<uint64_t>, CALL_EFFECT::NONE},
    {"___ffssi2", call_first_set<uint32_t>, CALL_EFFECT::NONE},
    {"___ffsdi2", call_first_set<uint64_t>, CALL_EFFECT::NONE},
    {"_ffs", call_first_set<uint32_t>, CALL_EFFECT::NONE},
    {"_ffsl", call_first_set<uint32_t>, CALL_EFFECT::NONE},
    {"_ffsll", call_first_set<uint64_t>, CALL_EFFECT::NONE},
    {"___popcountsi2", call_population<uint32_t>, CALL_EFFECT::NONE},
    {"___popcountdi2", call_population<uint64_t>, CALL_EFFECT::NONE},
    {"___paritysi2", call_parity<uint32_t>, CALL_EFFECT::NONE},
    {"___paritydi2", call_parity<uint64_t>, CALL_EFFECT::NONE},
    {"___clrsbsi2", call_redundant_signs<uint32_t>, CALL_EFFECT::NONE},
    {"___clrsbdi2", call_redundant_signs<uint64_t>, CALL_EFFECT::NONE},
    {"___bswapsi2", call_swap_word, CALL_EFFECT::NONE},
    {"___bswapdi2", call_swap_wide, CALL_EFFECT::NONE},
    {"___clear_cache", call_nothing, CALL_EFFECT::NONE},
    {"___builtin_flt_rounds", call_rounding, CALL_EFFECT::NONE},
    {"_fegetround", call_nothing, CALL_EFFECT::NONE},
};

} // namespace

std::span<const LIBRARY_ROW> compiler_functions() { return COMPILER_ROWS; }

} // namespace pelorus
