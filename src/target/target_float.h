// The target's floating-point values as nodes hold them, and their arithmetic: IEEE 754 single and double,
// rounding to nearest with ties to even, subnormals kept. Results are those of the target's instructions, bit
// for bit; a NaN has a sign here and no payload, which is all that the text of an FCON can say.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "target/int96.h"

namespace pelorus {

// 16 bytes. IEEE single values are held exactly in the double; long double is double on the target.
struct TARGET_FLOAT {
    double value;
    uint32_t bytes; // 4 or 8: the format that the value was rounded to; 0 before rounding
    uint32_t unused;
};
static_assert(sizeof(TARGET_FLOAT) == 16);

// Reads decimal text ("1.5e-3", "inf", "nan", a leading "-") with one rounding to the nearest value of the
// format of `bytes` (4: IEEE single; any other: IEEE double). Text that is no number or goes on behind it
// returns false and leaves 0. Out of range gives an infinity or a zero. Does not depend on the locale.
bool target_float_parse(std::string_view text, TARGET_FLOAT& value, uint32_t bytes);

// Rounds to the format of `bytes` (4: IEEE single; any other: IEEE double).
void target_float_round(TARGET_FLOAT& value, uint32_t bytes);

// The shortest decimal text that reads back as the same value in its format.
std::string target_float_text(const TARGET_FLOAT& value);

// --- Arithmetic in the format of `a`. Needs: both operands rounded to the same format. ---

// An operation without a value makes the positive NaN; a NaN operand is the result, the first one if both
// are.
TARGET_FLOAT target_float_add(const TARGET_FLOAT& a, const TARGET_FLOAT& b);
TARGET_FLOAT target_float_subtract(const TARGET_FLOAT& a, const TARGET_FLOAT& b);
TARGET_FLOAT target_float_multiply(const TARGET_FLOAT& a, const TARGET_FLOAT& b);
TARGET_FLOAT target_float_divide(const TARGET_FLOAT& a, const TARGET_FLOAT& b);
TARGET_FLOAT target_float_sqrt(const TARGET_FLOAT& value);
// Change the sign bit and nothing else, of NaNs as well.
TARGET_FLOAT target_float_negate(const TARGET_FLOAT& value);
TARGET_FLOAT target_float_abs(const TARGET_FLOAT& value);

// Unordered when one is a NaN. Zeros of both signs are equal.
std::partial_ordering target_float_compare(const TARGET_FLOAT& a, const TARGET_FLOAT& b);
// The same bits: tells the zeros apart, and finds a NaN equal to itself.
bool target_float_same(const TARGET_FLOAT& a, const TARGET_FLOAT& b);

// --- Conversions ---

// To the other format; a larger value than the format's largest becomes an infinity.
TARGET_FLOAT target_float_convert(const TARGET_FLOAT& value, uint32_t bytes);
// From an integer of at most 64 bits, with one rounding.
TARGET_FLOAT target_float_from_integer(INT96 value, uint32_t bytes);
// Toward zero. False, with nothing stored, for NaNs and for what the integer type cannot hold: C leaves that
// undefined, and the target's instructions and library do not agree about it.
bool target_float_to_integer(const TARGET_FLOAT& value, uint32_t bits, bool is_unsigned, INT96& integer);
// The value as an integer, when it is one of at most 64 bits.
bool target_float_is_integer(const TARGET_FLOAT& value, INT96& integer);
// True when 1 / value is exact, so that a division by it is a multiplication by that: powers of two whose
// reciprocals are normal.
bool target_float_exact_reciprocal(const TARGET_FLOAT& value, TARGET_FLOAT& reciprocal);

} // namespace pelorus
