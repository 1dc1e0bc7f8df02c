// Builtin functions of the GNU dialect, _Generic, choices at compile time.
#include <math.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

volatile unsigned word = 0x12345678;
volatile unsigned long long wide = 0x123456789ABCDEF0ull;
volatile double real = 2.5, not_a_number, infinite;
volatile float single = -0.0f;
volatile int number = 2147483647;
struct part { char c; struct { int x[4]; } inner; double d; };

#define KIND(x) _Generic((x), int: "int", unsigned: "unsigned", char *: "text", const char *: "const text", double: "double", default: "other")

static void bits(void) {
    printf("%d %d %d %d\n", __builtin_clz(word), __builtin_ctz(word), __builtin_popcount(word), __builtin_ffs(word));
    printf("%d %d %d %d\n", __builtin_clzll(wide), __builtin_ctzll(wide), __builtin_popcountll(wide), __builtin_parity(word));
    printf("%x %x %llx\n", __builtin_bswap16((unsigned short)word), __builtin_bswap32(word), (unsigned long long)__builtin_bswap64(wide));
}

static void floating(void) {
    not_a_number = __builtin_nan("");
    infinite = __builtin_inf();
    printf("%d%d%d ", isnan(not_a_number) != 0, isinf(-infinite) != 0, isfinite(real) != 0);
    printf("%d%d%d ", isnan(real) != 0, isinf(real) != 0, isfinite(infinite) != 0);
    printf("%d%d%d ", isnormal(real) != 0, isnormal(real * 1e-320) != 0, signbit(single) != 0);
    printf("%d %d %d\n", fpclassify(real) == FP_NORMAL, fpclassify(0.0 * real) == FP_ZERO, fpclassify(not_a_number) == FP_NAN);
    printf("%d%d%d\n", isgreater(real, 1.0), isless(not_a_number, 1.0), isunordered(not_a_number, real));
    printf("%g %g %g\n", HUGE_VAL, __builtin_fabs(-real), __builtin_copysign(3.0, single));
    printf("%g %g %.3f\n", sqrt(real * 10), fabs(-real), sin(real));
}

static void overflow(void) {
    int r; unsigned u; long long l; unsigned long long ull; signed char c;
    printf("%d ", __builtin_add_overflow(number, 1, &r)); printf("%d ", r);
    printf("%d ", __builtin_mul_overflow(number, 2, &l)); printf("%lld ", l);
    printf("%d ", __builtin_sub_overflow(0u, word, &u)); printf("%u\n", u);
    printf("%d ", __builtin_mul_overflow(wide, wide, &ull)); printf("%llu ", ull);
    printf("%d ", __builtin_saddll_overflow(INT64_MAX, number, &l)); printf("%lld ", l);
    printf("%d ", __builtin_smulll_overflow(-3LL, 5LL * number, &l)); printf("%lld ", l);
    printf("%d ", __builtin_add_overflow(100, 27, &c)); printf("%d ", c);
    printf("%d\n", __builtin_add_overflow(100, 28, &c));
}

#define OVERFLOW(op, x, y, type) ({ type _r; int _o = __builtin_##op##_overflow(x, y, &_r); printf("%d:%lld ", _o, (long long)_r); })
static void mixed_overflow(void) {
    static const long long values[] = {0, 1, -1, 2147483647, -2147483648LL, 4294967295LL, 4294967296LL, INT64_MAX, INT64_MIN, 3037000500LL};
    for (unsigned i = 0; i < sizeof values / sizeof *values; i++)
        for (unsigned k = 0; k < sizeof values / sizeof *values; k++) {
            volatile long long x = values[i], y = values[k];
            OVERFLOW(add, x, (int)y, int); OVERFLOW(add, x, (unsigned long long)y, unsigned long long); OVERFLOW(add, (unsigned)x, y, short);
            OVERFLOW(sub, (unsigned)x, y, unsigned); OVERFLOW(sub, (unsigned long long)x, y, long long); OVERFLOW(sub, x, y, signed char);
            OVERFLOW(mul, x, (unsigned long long)y, long long); OVERFLOW(mul, (int)x, (unsigned long long)y, unsigned long long);
            OVERFLOW(mul, x, y, unsigned); OVERFLOW(mul, x, y, unsigned long long); OVERFLOW(mul, x, y, long long);
            printf("\n");
        }
}

static void rotations(void) {
    for (int places = 0; places < 70; places += 9)
        printf("%x %x %x %llx ", __builtin_rotateleft8((unsigned char)word, places), __builtin_rotateright16((unsigned short)word, places),
               __builtin_rotateleft32(word, places), (unsigned long long)__builtin_rotateright64(wide, places));
    printf("\n");
}

static void places_and_checks(int i) {
    char copy[16], *end;
    printf("%d %d ", (int)offsetof(struct part, inner.x[i]), (int)offsetof(struct { char c[3]; struct part p[4]; }, p[i + 1].inner.x[i]));
    end = __builtin___stpcpy_chk(copy, "checked", __builtin_object_size(copy, 0));
    __builtin___memcpy_chk(end, "!", 2, __builtin_object_size(end, 0));
    printf("%s %d %s %s\n", copy, __LINE__ - __builtin_LINE(), __builtin_FUNCTION(), __func__);
    printf("%d %d ", (char *)__builtin_frame_address(0) + 65536 > copy, __builtin_return_address(0) != 0);
    printf("%d %g %d%d\n", __builtin_flt_rounds(), __builtin_powi(real, 3), __builtin_iszero(real - 2.5), __builtin_issubnormal(real * 1e-308 * 1e-2));
    if (__builtin_unpredictable(i == 77)) __builtin_trap();
    if (i == 78) __builtin_unreachable();
}

static void constants(void) {
    char copy[8];
    static char sized[__builtin_types_compatible_p(int, long) ? 3 : 5];
    printf("%d %d %d\n", (int)offsetof(struct part, inner.x[2]), (int)sizeof sized, __builtin_constant_p(word));
    printf("%s %s %s %s %s\n", KIND(1), KIND(1u), KIND(copy), KIND("x"), KIND(1.0f));
    printf("%d %d\n", __builtin_choose_expr(1, 5, "no"), (int)__builtin_strlen("seven!!"));
    __builtin_memcpy(copy, "builtin", 8);
    __builtin_printf("%s %d\n", copy, __builtin_expect(word == 5, 0) ? 1 : 2);
    printf("%d %d %d\n", L'\x1234', (int)sizeof L"wide", (int)L"wide"[3]);
    printf("%d %d %d\n", __builtin_object_size(copy, 0) == 8, (int)_Alignof(double), (int)sizeof(long double));
    __builtin_prefetch(copy);
    memset(copy, 'x', 3);
    printf("%.3s %u %d\n", copy, (unsigned)UINT8_C(7), __builtin_isinf_sign(-infinite));
    printf("%d %d\n", __sync_fetch_and_add(&number, 1) == 2147483647, __sync_bool_compare_and_swap(&word, 5u, 6u));
}

// What stands in a hint is evaluated, too.
static int ended(int n, ...) {
    va_list lists[2], *next = lists;
    va_start(lists[0], n);
    n = va_arg(*next, int);
    va_end(*next++);
    return n * 10 + (int)(next - lists);
}

static void hints(void) {
    int n = 3, z = 0;
    if (__builtin_expect(n, z++)) n++;
    int sum = __builtin_expect(n, z++) + __builtin_expect_with_probability(n, z++, 0.5);
    int *place = __builtin_assume_aligned(&n, 4, 4 * z++);
    printf("%d %d %d %d\n", sum, z, place != 0, ended(1, 7));
}

int main(void) {
    bits();
    floating();
    overflow();
    mixed_overflow();
    rotations();
    places_and_checks(1);
    constants();
    hints();
    return 0;
}
