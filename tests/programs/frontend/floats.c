// Floating-point arithmetic to the last bit: every pair of special and ordinary values, in both precisions, comparisons, conversions among all
// arithmetic types, and rounding of float after each operation.
#include <stdio.h>
#include <string.h>

static volatile double doubles[] = {0.0, -0.0, 1.0, -1.0, 0.1, 3.0, -2.5, 1e308, -1e308, 5e-324, 2.2250738585072014e-308, 1e16, 16777217.0,
                                    4294967295.5, 0.49999999999999994, 1e-300, __builtin_inf(), -__builtin_inf()};
static volatile float floats[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.1f, 3.0f, -2.5f, 3e38f, -3e38f, 1e-45f, 1.17549435e-38f, 16777216.0f, 0.3333333f,
                                  1e-30f, __builtin_inff(), -__builtin_inff()};
enum { DOUBLES = sizeof doubles / sizeof *doubles, FLOATS = sizeof floats / sizeof *floats };

static unsigned long long sum;
static void add(unsigned long long bits) { sum = (sum << 5 | sum >> 59) * 0x9E3779B97F4A7C15 + bits; }
// Which sign a result that is no number has is nobody's promise.
static void add_double(double d) { unsigned long long bits; memcpy(&bits, &d, sizeof bits); add(d == d ? bits : 1); }
static void add_float(float f) { unsigned bits; memcpy(&bits, &f, sizeof bits); add(f == f ? bits : 2); }
static void show(const char *what) { printf("%s %016llx\n", what, sum); sum = 0; }

static void arithmetic(void) {
    for (int i = 0; i < DOUBLES; i++) {
        for (int j = 0; j < DOUBLES; j++) {
            const double a = doubles[i], b = doubles[j];
            add_double(a + b); add_double(a - b); add_double(a * b); add_double(a / b); add_double(-a);
            add(a < b); add(a <= b); add(a > b); add(a >= b); add(a == b); add(a != b); add(a && b); add(!a);
        }
    }
    show("double");
    for (int i = 0; i < FLOATS; i++) {
        for (int j = 0; j < FLOATS; j++) {
            const float a = floats[i], b = floats[j];
            add_float(a + b); add_float(a - b); add_float(a * b); add_float(a / b); add_float(a * b + a); add_float(a + b - a);
            add(a < b); add(a <= b); add(a > b); add(a >= b); add(a == b); add(a != b); add(a || b);
            add_double((double)a * b); add_double(a * (double)b + 1);
        }
    }
    show("float");
}

// What is not a number: made, handed on, compared.
static void not_numbers(void) {
    volatile double zero = 0, infinity = doubles[16];
    const double made[] = {zero / zero, infinity - infinity, infinity * zero, -(zero / zero)};
    for (int i = 0; i < 4; i++) {
        add_double(made[i]); add_double(made[i] + 1); add_double(2 * made[i]); add_double(made[i] - made[3]); add_float((float)made[i]);
        add(made[i] == made[i]); add(made[i] != made[i]); add(made[i] < 1); add(!(made[i] >= 1)); add(made[i] ? 1 : 2);
    }
    volatile float f = (float)zero;
    add_float(f / f); add_double((double)(f / f));
    show("no numbers");
}

static void conversions(void) {
    static volatile long long wholes[] = {0, 1, -1, 127, 128, 255, 256, -129, 32768, 65535, 16777217, -16777219, 2147483647, -2147483648LL,
                                          4294967295LL, 4294967297LL, 9007199254740993LL, -9007199254740995LL, 9223372036854775807LL};
    for (unsigned i = 0; i < sizeof wholes / sizeof *wholes; i++) {
        const long long w = wholes[i];
        add_double(w); add_float(w); add_double((unsigned long long)w); add_float((unsigned long long)w);
        add_double((int)w); add_float((int)w); add_double((unsigned)w); add_float((unsigned)w);
        add_double((short)w); add_float((unsigned char)w); add_double((_Bool)w);
    }
    show("from integers");
    static volatile double inside[] = {0.0, -0.0, 0.9, -0.9, 1.5, -1.5, 100.99, -100.99, 32767.5, 2147483647.0, 65535.9, 0.5};
    for (unsigned i = 0; i < sizeof inside / sizeof *inside; i++) {
        const double d = inside[i];
        const float f = d;
        add((int)d); add((long long)d); add((_Bool)d); add((int)(f < 2147483000 ? f : 0)); add((long long)f); add((_Bool)f);
        if (d > -1) { add((unsigned)d); add((unsigned long long)d); add((unsigned)(f < 4e9f ? f : 0)); }
        if (d < 32768 && d > -32769) add((short)d);
        add_float(d); add_double(f);
    }
    add((unsigned)4294967295.0); add((unsigned long long)(doubles[11] * 1000)); add((long long)-doubles[11]);
    for (int i = 0; i < DOUBLES; i++) add_float(doubles[i]);
    show("to integers");
}

static void compound(void) {
    float f = 1; double d = 1; int n = 7; unsigned char c = 200; long long w = 1;
    for (int i = 1; i < 40; i++) {
        f += 0.1; f *= 1.01f; d -= f; d /= 1.1; n += d; n -= f; c += 1.5f; c *= 0.9; w += n * 0.5f; w -= d;
        f++; --d;
        add_float(f); add_double(d); add(n); add(c); add(w);
    }
    show("compound");
}

int main(void) {
    arithmetic();
    not_numbers();
    conversions();
    compound();
    return 0;
}
