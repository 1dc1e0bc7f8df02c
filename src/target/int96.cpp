// See int96.h. The words are kept apart, as the nodes hold them; the sums run over unsigned 64-bit accumulators.
#include "target/int96.h"

#include <algorithm>

namespace pelorus {

namespace {

int32_t word(uint64_t bits) { return static_cast<int32_t>(static_cast<uint32_t>(bits)); }
uint64_t bits(int32_t word) { return static_cast<uint32_t>(word); }

// value * 10 - digit
INT96 times_ten_minus(INT96 value, uint32_t digit) {
    const uint64_t lo = bits(value.lo) * 10;
    const uint64_t mid = bits(value.mid) * 10 + (lo >> 32);
    const uint64_t hi = bits(value.hi) * 10 + (mid >> 32);
    const uint64_t low = (lo & UINT32_MAX) - digit;
    const uint64_t middle = (mid & UINT32_MAX) - (low >> 63);
    return {word(hi - (middle >> 63)), word(middle), word(low)};
}

// Divides an unsigned value by 10 in place and returns the remainder.
uint32_t divide_by_ten(INT96& value) {
    uint64_t remainder = 0;
    for (int32_t* part : {&value.hi, &value.mid, &value.lo}) {
        const uint64_t dividend = (remainder << 32) | bits(*part);
        *part = word(dividend / 10);
        remainder = dividend % 10;
    }
    return static_cast<uint32_t>(remainder);
}

} // namespace

INT96 int96_signed(int32_t value) { return {value < 0 ? -1 : 0, value < 0 ? -1 : 0, value}; }
INT96 int96_unsigned(uint32_t value) { return {0, 0, word(value)}; }

INT96 int96_from_int64(int64_t value) {
    const auto unsigned_value = static_cast<uint64_t>(value);
    return {value < 0 ? -1 : 0, word(unsigned_value >> 32), word(unsigned_value)};
}

INT96 int96_from_uint64(uint64_t value) { return {0, word(value >> 32), word(value)}; }

int64_t int96_to_int64(INT96 value) { return static_cast<int64_t>(bits(value.mid) << 32 | bits(value.lo)); }

bool int96_is_negative(INT96 value) { return value.hi < 0; }
bool int96_is_zero(INT96 value) { return !value.hi && !value.mid && !value.lo; }

INT96 int96_negate(INT96 value) {
    const uint64_t lo = bits(~value.lo) + 1;
    const uint64_t mid = bits(~value.mid) + (lo >> 32);
    return {word(bits(~value.hi) + (mid >> 32)), word(mid), word(lo)};
}

bool int96_fits_signed32(INT96 value) { return value == int96_signed(value.lo); }
bool int96_fits_unsigned32(INT96 value) { return value.hi == 0 && value.mid == 0; }
bool int96_fits_signed64(INT96 value) { return value.hi == (value.mid < 0 ? -1 : 0); }
bool int96_fits_unsigned64(INT96 value) { return value.hi == 0; }

bool int96_parse(std::string_view text, INT96& value) {
    const bool negative = text.starts_with("-");
    if (negative) text.remove_prefix(1);
    value = {0, 0, 0};
    for (const char c : text) {
        if (c < '0' || c > '9') return false;
        value = times_ten_minus(value, static_cast<uint32_t>(c - '0'));
    }
    if (!negative) value = int96_negate(value);
    return !text.empty();
}

std::string int96_text(INT96 value) {
    const bool negative = int96_is_negative(value);
    if (negative) value = int96_negate(value);
    std::string text;
    do text.push_back(static_cast<char>('0' + divide_by_ten(value)));
    while (!int96_is_zero(value));
    if (negative) text.push_back('-');
    std::reverse(text.begin(), text.end());
    return text;
}

} // namespace pelorus
