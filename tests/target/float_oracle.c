/* Runs on the target: reads the lines of `check-arithmetic floats`, computes each operation itself, and names those that differ. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <math.h>

typedef union { uint32_t bits; float value; } single;
typedef union { uint64_t bits; double value; } whole;

static uint64_t from_float(float value) { single s; s.value = value; return s.bits; }
static uint64_t from_double(double value) { whole w; w.value = value; return w.bits; }

static int compare(double a, double b) { return a < b ? 3 : a > b ? 1 : a == b ? 0 : 2; }

/* Conversions between the integer type `name` ends in and the format. */
#define INTEGERS(X) X("s8", int8_t) X("u8", uint8_t) X("s16", int16_t) X("u16", uint16_t) X("s32", int32_t) X("u32", uint32_t) X("s64", int64_t) X("u64", uint64_t)

static int convert_integer(const char *name, int bytes, uint64_t a, uint64_t *result) {
    single s; whole w; volatile float f; volatile double d;
    s.bits = (uint32_t)a; w.bits = a; f = s.value; d = w.value;
#define TO(text, type) if (!strcmp(name, "to" text)) { *result = bytes == 4 ? (uint64_t)(type)f : (uint64_t)(type)d; return 1; }
#define FROM(text, type) if (!strcmp(name, "from" text)) { volatile type i = (type)a; *result = bytes == 4 ? from_float((float)i) : from_double((double)i); return 1; }
    INTEGERS(TO)
    INTEGERS(FROM)
    return 0;
}

static uint64_t in_single(const char *name, uint32_t a_bits, uint32_t b_bits) {
    single a, b; volatile float x, y;
    a.bits = a_bits; b.bits = b_bits; x = a.value; y = b.value;
    if (!strcmp(name, "add")) return from_float(x + y);
    if (!strcmp(name, "sub")) return from_float(x - y);
    if (!strcmp(name, "mul")) return from_float(x * y);
    if (!strcmp(name, "div")) return from_float(x / y);
    if (!strcmp(name, "recip")) return from_float(y / x);
    if (!strcmp(name, "sqrt")) { float r; __asm__("vsqrt.f32 %0, %1" : "=t"(r) : "t"(x)); return from_float(r); }
    if (!strcmp(name, "neg")) return from_float(-x);
    if (!strcmp(name, "abs")) return from_float(__builtin_fabsf(x));
    if (!strcmp(name, "cmp")) return (uint64_t)compare(x, y);
    return from_double((double)x);
}

static uint64_t in_double(const char *name, uint64_t a_bits, uint64_t b_bits) {
    whole a, b; volatile double x, y;
    a.bits = a_bits; b.bits = b_bits; x = a.value; y = b.value;
    if (!strcmp(name, "add")) return from_double(x + y);
    if (!strcmp(name, "sub")) return from_double(x - y);
    if (!strcmp(name, "mul")) return from_double(x * y);
    if (!strcmp(name, "div")) return from_double(x / y);
    if (!strcmp(name, "recip")) return from_double(y / x);
    if (!strcmp(name, "sqrt")) { double r; __asm__("vsqrt.f64 %P0, %P1" : "=w"(r) : "w"(x)); return from_double(r); }
    if (!strcmp(name, "neg")) return from_double(-x);
    if (!strcmp(name, "abs")) return from_double(__builtin_fabs(x));
    if (!strcmp(name, "cmp")) return (uint64_t)compare(x, y);
    return from_float((float)x);
}

/* Prefix a text with its value as the C library reads it. */
static uint64_t read_text(const char *text, int bytes) { return bytes == 4 ? from_float(strtof(text, NULL)) : from_double(strtod(text, NULL)); }

int main(void) {
    static char line[256];
    unsigned long lines = 0, faults = 0;
    while (fgets(line, sizeof line, stdin)) {
        char name[16], *rest = line;
        uint64_t a, b = 0, given, result;
        int bytes, n = (int)strcspn(line, " ");
        memcpy(name, line, (size_t)n); name[n] = 0;
        bytes = (int)strtol(line + n, &rest, 10);
        a = strtoull(rest, &rest, 16);
        lines++;
        if (!strncmp(name, "none", 4)) continue;
        if (!strcmp(name, "text")) {
            given = a;
            result = read_text(rest, bytes);
            rest += 1 + strcspn(rest + 1, " ");
            if (strtoull(rest, NULL, 16) != given) result = ~given;
        } else {
            b = strtoull(rest, &rest, 16);
            given = strtoull(rest, &rest, 16);
            if (!convert_integer(name, bytes, a, &result)) result = bytes == 4 ? in_single(name, (uint32_t)a, (uint32_t)b) : in_double(name, a, b);
        }
        if (result != given && ++faults <= 20) printf("target has %llx: %s", (unsigned long long)result, line);
    }
    printf("%lu lines, %lu faults\n", lines, faults);
    return faults != 0;
}
