// See int96.h. Nodes hold the three words apart; the arithmetic joins them into one 128-bit integer of the
// host.
#include "target/int96.h"

#include <algorithm>

namespace pelorus {

namespace {

using WIDE = __int128;
using UNSIGNED_WIDE = unsigned __int128;

constexpr uint32_t BITS = 96;

int32_t word(uint64_t bits) { return static_cast<int32_t>(static_cast<uint32_t>(bits)); }

UNSIGNED_WIDE bits(INT96 value) {
    const uint64_t low =
        static_cast<uint64_t>(static_cast<uint32_t>(value.mid)) << 32 | static_cast<uint32_t>(value.lo);
    return static_cast<UNSIGNED_WIDE>(static_cast<WIDE>(value.hi)) << 64 | low;
}

WIDE wide(INT96 value) { return static_cast<WIDE>(bits(value)); }

// The low 96 bits.
INT96 narrow(UNSIGNED_WIDE bits) {
    return {word(static_cast<uint64_t>(bits >> 64)), word(static_cast<uint64_t>(bits) >> 32),
            word(static_cast<uint64_t>(bits))};
}

INT96 narrow(WIDE value) { return narrow(static_cast<UNSIGNED_WIDE>(value)); }

} // namespace

INT96 int96_signed(int32_t value) { return {value < 0 ? -1 : 0, value < 0 ? -1 : 0, value}; }
INT96 int96_unsigned(uint32_t value) { return {0, 0, word(value)}; }
INT96 int96_from_int64(int64_t value) { return narrow(static_cast<WIDE>(value)); }
INT96 int96_from_uint64(uint64_t value) { return narrow(static_cast<WIDE>(value)); }
int64_t int96_to_int64(INT96 value) { return static_cast<int64_t>(wide(value)); }

bool int96_is_negative(INT96 value) { return value.hi < 0; }
bool int96_is_zero(INT96 value) { return !value.hi && !value.mid && !value.lo; }

// Sums of two 96-bit numbers fit 128 bits; a product may not, and wraps as an unsigned one.
INT96 int96_negate(INT96 value) { return narrow(-wide(value)); }
INT96 int96_add(INT96 a, INT96 b) { return narrow(wide(a) + wide(b)); }
INT96 int96_subtract(INT96 a, INT96 b) { return narrow(wide(a) - wide(b)); }
INT96 int96_multiply(INT96 a, INT96 b) { return narrow(bits(a) * bits(b)); }

bool int96_multiply_exactly(INT96 a, INT96 b, INT96& product) {
    WIDE exact = 0;
    const bool wrapped = __builtin_mul_overflow(wide(a), wide(b), &exact);
    product = int96_multiply(a, b);
    return !wrapped && wide(product) == exact;
}

INT96_DIVISION int96_divide(INT96 a, INT96 b) {
    return {narrow(wide(a) / wide(b)), narrow(wide(a) % wide(b))};
}

INT96 int96_and(INT96 a, INT96 b) { return {a.hi & b.hi, a.mid & b.mid, a.lo & b.lo}; }
INT96 int96_or(INT96 a, INT96 b) { return {a.hi | b.hi, a.mid | b.mid, a.lo | b.lo}; }
INT96 int96_xor(INT96 a, INT96 b) { return {a.hi ^ b.hi, a.mid ^ b.mid, a.lo ^ b.lo}; }
INT96 int96_not(INT96 value) { return {~value.hi, ~value.mid, ~value.lo}; }

INT96 int96_shift_left(INT96 value, uint32_t places) {
    return places < BITS ? narrow(bits(value) << places) : INT96{0, 0, 0};
}
INT96 int96_shift_right(INT96 value, uint32_t places) {
    return narrow(wide(value) >> std::min(places, BITS));
}

std::strong_ordering int96_compare(INT96 a, INT96 b) {
    const WIDE left = wide(a);
    const WIDE right = wide(b);
    return left < right   ? std::strong_ordering::less
           : left > right ? std::strong_ordering::greater
                          : std::strong_ordering::equal;
}

INT96 int96_truncate(INT96 value, uint32_t bits_kept, bool is_unsigned) {
    const uint32_t dropped = 128 - std::min(bits_kept, BITS);
    const UNSIGNED_WIDE top = bits(value) << dropped;
    return is_unsigned ? narrow(top >> dropped) : narrow(static_cast<WIDE>(top) >> dropped);
}

bool int96_fits(INT96 value, uint32_t bits_kept, bool is_unsigned) {
    return int96_truncate(value, bits_kept, is_unsigned) == value &&
           !(is_unsigned && int96_is_negative(value));
}

int int96_log2(INT96 value) {
    const WIDE number = wide(value);
    if (number <= 0 || (number & (number - 1)) != 0) return -1;
    int exponent = 0;
    while (number >> exponent != 1) ++exponent;
    return exponent;
}

bool int96_fits_signed32(INT96 value) { return int96_fits(value, 32, false); }
bool int96_fits_unsigned32(INT96 value) { return int96_fits(value, 32, true); }
bool int96_fits_signed64(INT96 value) { return int96_fits(value, 64, false); }
bool int96_fits_unsigned64(INT96 value) { return int96_fits(value, 64, true); }

bool int96_parse(std::string_view text, INT96& value) {
    const bool negative = text.starts_with("-");
    if (negative) text.remove_prefix(1);
    value = {0, 0, 0};
    for (const char c : text) {
        if (c < '0' || c > '9') return false;
        value = int96_subtract(int96_multiply(value, int96_signed(10)), int96_signed(c - '0'));
    }
    if (!negative) value = int96_negate(value);
    return !text.empty();
}

std::string int96_text(INT96 value) {
    WIDE rest = wide(value);
    const bool negative = rest < 0;
    if (negative) rest = -rest;
    std::string text;
    do text.push_back(static_cast<char>('0' + static_cast<int>(rest % 10)));
    while ((rest /= 10) != 0);
    if (negative) text.push_back('-');
    std::reverse(text.begin(), text.end());
    return text;
}

} // namespace pelorus
