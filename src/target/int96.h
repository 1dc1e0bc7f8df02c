// The target's widest integer as the optimizer holds it: 96 bits, two's complement, three 32-bit words.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace pelorus {

struct INT96 {
    int32_t hi;  // most significant word
    int32_t mid; //
    int32_t lo;  // least significant word

    bool operator==(const INT96&) const = default;
};

// A constant of one of the two standard integer types, the widest signed and the widest unsigned one.
struct TARGET_INTEGER {
    INT96 value;
    bool is_unsigned;

    bool operator==(const TARGET_INTEGER&) const = default;
};

// From a 32-bit number: sign-extended, or zero-extended from its 32 bits.
INT96 int96_signed(int32_t value);
INT96 int96_unsigned(uint32_t value);
// From a 64-bit number.
INT96 int96_from_int64(int64_t value);
INT96 int96_from_uint64(uint64_t value);
// The low 64 bits.
int64_t int96_to_int64(INT96 value);

bool int96_is_negative(INT96 value);
bool int96_is_zero(INT96 value);

// --- Arithmetic. Results wrap to 96 bits. Constants have 64 bits at most, so that sums, differences,
// quotients and shifts to the right of constants are exact, and the low 64 bits of a product are. ---

INT96 int96_negate(INT96 value);
INT96 int96_add(INT96 a, INT96 b);
INT96 int96_subtract(INT96 a, INT96 b);
INT96 int96_multiply(INT96 a, INT96 b);
// The product, and whether it fits: false when it wrapped.
bool int96_multiply_exactly(INT96 a, INT96 b, INT96& product);

// The quotient is rounded toward zero and the remainder has the dividend's sign, as DIV and MOD have it.
struct INT96_DIVISION {
    INT96 quotient;
    INT96 remainder;
};
// Needs: b is not zero. The most negative value divided by -1 wraps to itself.
INT96_DIVISION int96_divide(INT96 a, INT96 b);

INT96 int96_and(INT96 a, INT96 b);
INT96 int96_or(INT96 a, INT96 b);
INT96 int96_xor(INT96 a, INT96 b);
INT96 int96_not(INT96 value);
// From 96 places on everything is shifted out.
INT96 int96_shift_left(INT96 value, uint32_t places);
// Shifts in the sign.
INT96 int96_shift_right(INT96 value, uint32_t places);

// As signed numbers. The value of an unsigned type is held zero-extended, so that this is the order of every
// type.
std::strong_ordering int96_compare(INT96 a, INT96 b);

// What an integer type of `bits` bits (1 to 96) keeps of the value: its low bits, extended by their sign or
// by zeros.
INT96 int96_truncate(INT96 value, uint32_t bits, bool is_unsigned);
// The value is one of the type.
bool int96_fits(INT96 value, uint32_t bits, bool is_unsigned);
// The n of which the value is the nth power of two, or -1. The most negative value is none.
int int96_log2(INT96 value);

// The two upper words are just the sign extension, or the zero extension, of the low word.
bool int96_fits_signed32(INT96 value);
bool int96_fits_unsigned32(INT96 value);
// The value is that of its low 64 bits, read as signed or as unsigned.
bool int96_fits_signed64(INT96 value);
bool int96_fits_unsigned64(INT96 value);

// Reads decimal digits with an optional leading "-". Digits are gathered as a negative number, so that the
// most negative value is exact; what does not fit wraps to 96 bits. Returns false, with the value of the
// digits read so far, when another character comes or there is no digit.
bool int96_parse(std::string_view text, INT96& value);
// Decimal text of the value as a signed number.
std::string int96_text(INT96 value);

} // namespace pelorus
