// check-arithmetic: prints what the target's arithmetic makes of many operands, for an oracle that computes
// the same by other means.
//
//   check-arithmetic integers|floats COUNT [SEED]
//
// One line an operation: its name, the operands, the result. Integers are 24 hexadecimal digits, floating
// values the bits of their format (8 or 16 digits), a NaN that of the target's default payload.
// tests/target/oracle.py reads it.
//
// Half of the operands lie at the edges of the types, where mistakes are, and half are random.
#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "target/int96.h"
#include "target/target_float.h"

using namespace pelorus;

namespace {

// xorshift64*; S. Vigna, "An experimental exploration of Marsaglia's xorshift generators, scrambled".
uint64_t random_state;

uint64_t random_bits() {
    random_state ^= random_state >> 12;
    random_state ^= random_state << 25;
    random_state ^= random_state >> 27;
    return random_state * 0x2545F4914F6CDD1DU;
}

uint32_t random_below(uint32_t limit) { return static_cast<uint32_t>((random_bits() >> 32) * limit >> 32); }

// --- Integers ---

const char* hex(INT96 value) {
    static char texts[4][32];
    static int next;
    char* text = texts[next = (next + 1) % 4];
    snprintf(text, sizeof texts[0], "%08" PRIx32 "%08" PRIx32 "%08" PRIx32, static_cast<uint32_t>(value.hi),
             static_cast<uint32_t>(value.mid), static_cast<uint32_t>(value.lo));
    return text;
}

// A power of two, or a random number of any length; a little more or less; of either sign.
INT96 random_integer() {
    const uint32_t places = random_below(96);
    INT96 value = int96_shift_left(int96_signed(1), places);
    if (random_below(2)) {
        const INT96 digits = {static_cast<int32_t>(random_bits()), static_cast<int32_t>(random_bits()),
                              static_cast<int32_t>(random_bits())};
        value = int96_and(digits, int96_subtract(value, int96_signed(1)));
    }
    value = int96_add(value, int96_signed(static_cast<int32_t>(random_below(5)) - 2));
    return random_below(2) ? value : int96_negate(value);
}

int order(std::partial_ordering ordering) {
    return ordering == std::partial_ordering::less         ? -1
           : ordering == std::partial_ordering::greater    ? 1
           : ordering == std::partial_ordering::equivalent ? 0
                                                           : 2;
}

void print_division(INT96 a, INT96 b) {
    if (int96_is_zero(b)) return;
    const INT96_DIVISION division = int96_divide(a, b);
    printf("div %s %s %s %s\n", hex(a), hex(b), hex(division.quotient), hex(division.remainder));
}

void print_truncation(INT96 a) {
    const uint32_t bits = 1 + random_below(96);
    const bool is_unsigned = random_below(2);
    printf("trunc %s %u %d %s\n", hex(a), bits, is_unsigned, hex(int96_truncate(a, bits, is_unsigned)));
    printf("fits %s %u %d %d\n", hex(a), bits, is_unsigned, int96_fits(a, bits, is_unsigned));
}

void print_text(INT96 a) {
    const std::string text = int96_text(a);
    INT96 parsed{};
    if (!int96_parse(text, parsed)) parsed = {1, 2, 3};
    printf("text %s %s %s\n", hex(a), text.c_str(), hex(parsed));
}

void print_integer_operations() {
    const INT96 a = random_integer();
    const INT96 b = random_integer();
    const uint32_t places = random_below(100);
    INT96 product{};
    const bool exact = int96_multiply_exactly(a, b, product);
    printf("add %s %s %s\n", hex(a), hex(b), hex(int96_add(a, b)));
    printf("sub %s %s %s\n", hex(a), hex(b), hex(int96_subtract(a, b)));
    printf("mul %s %s %s\n", hex(a), hex(b), hex(int96_multiply(a, b)));
    printf("mulx %s %s %d %s\n", hex(a), hex(b), exact, hex(product));
    print_division(a, b);
    printf("and %s %s %s\n", hex(a), hex(b), hex(int96_and(a, b)));
    printf("or %s %s %s\n", hex(a), hex(b), hex(int96_or(a, b)));
    printf("xor %s %s %s\n", hex(a), hex(b), hex(int96_xor(a, b)));
    printf("not %s %s\n", hex(a), hex(int96_not(a)));
    printf("neg %s %s\n", hex(a), hex(int96_negate(a)));
    printf("shl %s %u %s\n", hex(a), places, hex(int96_shift_left(a, places)));
    printf("shr %s %u %s\n", hex(a), places, hex(int96_shift_right(a, places)));
    printf("cmp %s %s %d\n", hex(a), hex(b), order(int96_compare(a, b)));
    printf("log2 %s %d\n", hex(a), int96_log2(a));
    print_truncation(a);
    print_text(a);
}

// --- Floating point ---

uint64_t bits_of(const TARGET_FLOAT& value) {
    const bool single = value.bytes == 4;
    if (std::isnan(value.value)) {
        const uint64_t sign = std::signbit(value.value) ? 1 : 0;
        return single ? sign << 31 | 0x7FC00000U : sign << 63 | 0x7FF8000000000000U;
    }
    return single ? std::bit_cast<uint32_t>(static_cast<float>(value.value))
                  : std::bit_cast<uint64_t>(value.value);
}

TARGET_FLOAT from_bits(uint64_t bits, uint32_t bytes) {
    double value = bytes == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(bits)))
                              : std::bit_cast<double>(bits);
    if (std::isnan(value)) value = std::copysign(std::nan(""), bits >> (bytes * 8 - 1) ? -1.0 : 1.0);
    return {value, bytes, 0};
}

// Exponents of interest: zero and subnormal, smallest normal, around 1, the sizes of the integer types,
// largest, infinities.
TARGET_FLOAT random_float(uint32_t bytes) {
    const uint32_t fraction_bits = bytes == 4 ? 23 : 52;
    const uint32_t bias = bytes == 4 ? 127 : 1023;
    const uint32_t exponents[] = {0,         1,           2,         bias - fraction_bits,
                                  bias - 1,  bias,        bias + 1,  bias + 7,
                                  bias + 15, bias + 16,   bias + 23, bias + 24,
                                  bias + 30, bias + 31,   bias + 32, bias + 52,
                                  bias + 53, bias + 62,   bias + 63, bias + 64,
                                  2 * bias,  2 * bias + 1};
    const uint64_t fraction_mask = (uint64_t{1} << fraction_bits) - 1;
    uint64_t exponent = random_below(2 * bias + 2);
    if (random_below(2)) exponent = exponents[random_below(std::size(exponents))];
    uint64_t fraction = random_bits() & fraction_mask;
    switch (random_below(4)) {
    case 0: fraction &= ~(fraction_mask >> random_below(fraction_bits)); break; // few digits: ties
    case 1: fraction = random_below(2) ? 0 : fraction_mask; break;
    default: break;
    }
    const uint64_t sign = random_below(2);
    return from_bits(sign << (bytes * 8 - 1) | exponent << fraction_bits | fraction, bytes);
}

void print_float(const char* name, const TARGET_FLOAT& a, const TARGET_FLOAT& b, const TARGET_FLOAT& result) {
    printf("%s %u %" PRIx64 " %" PRIx64 " %" PRIx64 "\n", name, a.bytes, bits_of(a), bits_of(b),
           bits_of(result));
}

void print_conversions(const TARGET_FLOAT& a) {
    print_float("convert", a, a, target_float_convert(a, a.bytes == 4 ? 8 : 4));
    const uint32_t bits = 8U << random_below(4);
    const bool is_unsigned = random_below(2);
    INT96 integer{};
    if (target_float_to_integer(a, bits, is_unsigned, integer))
        printf("%s%u %u %" PRIx64 " 0 %" PRIx64 "\n", is_unsigned ? "tou" : "tos", bits, a.bytes, bits_of(a),
               static_cast<uint64_t>(int96_to_int64(integer)));
    else
        printf("none%s%u %u %" PRIx64 " 0 0\n", is_unsigned ? "u" : "s", bits, a.bytes, bits_of(a));
    const INT96 number = int96_truncate(random_integer(), bits, is_unsigned);
    printf("%s%u %u %" PRIx64 " 0 %" PRIx64 "\n", is_unsigned ? "fromu" : "froms", bits, a.bytes,
           static_cast<uint64_t>(int96_to_int64(number)),
           bits_of(target_float_from_integer(number, a.bytes)));
}

// The text of the value read again must be the value; the oracle reads the text itself.
void print_float_text(const TARGET_FLOAT& a) {
    if (std::isnan(a.value)) return;
    TARGET_FLOAT again{};
    target_float_parse(target_float_text(a), again, a.bytes);
    printf("text %u %" PRIx64 " %s %" PRIx64 "\n", a.bytes, bits_of(a), target_float_text(a).c_str(),
           bits_of(again));
}

void print_float_operations() {
    const uint32_t bytes = random_below(2) ? 4 : 8;
    const TARGET_FLOAT a = random_float(bytes);
    const TARGET_FLOAT b = random_below(8) ? random_float(bytes) : a;
    TARGET_FLOAT reciprocal{};
    print_float("add", a, b, target_float_add(a, b));
    print_float("sub", a, b, target_float_subtract(a, b));
    print_float("mul", a, b, target_float_multiply(a, b));
    print_float("div", a, b, target_float_divide(a, b));
    print_float("sqrt", a, a, target_float_sqrt(a));
    print_float("neg", a, a, target_float_negate(a));
    print_float("abs", a, a, target_float_abs(a));
    printf("cmp %u %" PRIx64 " %" PRIx64 " %x\n", bytes, bits_of(a), bits_of(b),
           order(target_float_compare(a, b)) & 3);
    if (target_float_exact_reciprocal(a, reciprocal))
        print_float("recip", a, b, target_float_multiply(b, reciprocal));
    print_conversions(a);
    print_float_text(a);
}

int usage() {
    fprintf(stderr, "usage: check-arithmetic integers|floats COUNT [SEED]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) return usage();
    const bool integers = !strcmp(argv[1], "integers");
    if (!integers && strcmp(argv[1], "floats") != 0) return usage();
    const unsigned long count = strtoul(argv[2], nullptr, 10);
    random_state = (argc > 3 ? strtoul(argv[3], nullptr, 10) : 0) * 2 + 0x9E3779B97F4A7C15U;
    for (unsigned long i = 0; i < count; ++i)
        integers ? print_integer_operations() : print_float_operations();
    return fflush(stdout) ? 1 : 0;
}
