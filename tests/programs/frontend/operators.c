// Operators and conversions: every arithmetic type, compound assignment in the common type, increments, shifts, comparisons
// by sign, pointers, conditions as values.
#include <stdio.h>

volatile int zero = 0, one = 1, minus = -1;
volatile unsigned big = 0xFFFFFFF0u;
volatile long long huge = -5000000000LL;
volatile unsigned long long uhuge = 0xFFFFFFFFFFFFFFF0ull;
volatile double real = -2.75;
volatile float single = 3.5f;
volatile char plain = 200;
volatile signed char small = -100;
volatile short half = -30000;
volatile unsigned short uhalf = 60000;
volatile _Bool truth = 1;
enum size { LITTLE = 1, LARGE = 3000000000u };
enum below { NEGATIVE = -1, POSITIVE = 1 };

static int trace_count;
static int traced(int value) { trace_count++; return value; }

static void arithmetic(void) {
    printf("%d %u %d %d\n", minus / 2, big / 3, minus % 2, -7 % 3);
    printf("%lld %llu %lld %llu\n", huge / 7, uhuge / 7, huge % 7, uhuge % 1000);
    printf("%d %u %lld %llu\n", minus >> 1, big >> 1, huge >> 3, uhuge >> 3);
    printf("%d %u %lld\n", minus << 3, big << 4, huge << 2);
    printf("%d %d %d %d\n", plain + small, half * 2, uhalf + uhalf, ~plain);
    printf("%g %g %g %g\n", real * single, real / 3, single - real, -real);
    printf("%d %d %d %d %d\n", (int)real, (unsigned char)big, (signed char)plain, (short)uhalf, (int)single);
    printf("%u %llu %g %g\n", (unsigned)single, (unsigned long long)single, (double)huge, (float)uhuge);
    printf("%d %d %d\n", (_Bool)real, (_Bool)(big & 0x100), (_Bool)0.1f);
    printf("%lld %llu %lld\n", (long long)minus, (unsigned long long)minus, (long long)real);
    printf("%d %d %u %d\n", LITTLE, LARGE > 5, LARGE, NEGATIVE < POSITIVE);
}

static void comparisons(void) {
    printf("%d%d%d%d ", minus < one, minus < (int)big, (unsigned)minus < big, big > 5);
    printf("%d%d%d ", huge < 0, uhuge > 5, (unsigned long long)huge < uhuge);
    printf("%d%d%d%d ", real < single, real != real, real >= -2.75, single == 3.5f);
    printf("%d%d%d\n", plain > small, truth == 1, (char)-1 > 0);
}

static void assignments(void) {
    char c = 250; signed char s = 120; short h = 32760; unsigned short u = 65530; int i = 5; unsigned w = 7;
    long long l = 1; float f = 1.5f; double d = 2; _Bool b = 0;
    c += 10; s += 10; h += 100; u += 10; i *= 2.6; w -= 8; l <<= 40; f /= 4; d *= f; b += 5;
    printf("%d %d %d %d %d %u %lld %g %g %d\n", c, s, h, u, i, w, l, f, d, b);
    c <<= 4; s >>= 2; h ^= -1; u |= 0x8001; i %= 7; w &= 0xF0F0; l /= -3; f += 1e10; d -= l; b = !b;
    printf("%d %d %d %d %d %u %lld %g %g %d\n", c, s, h, u, i, w, l, f, d, b);
    printf("%d %d %d %d %d\n", c++, ++s, h--, --u, i++ + ++i);
    b = 1; b--; printf("%d ", b); b--; printf("%d ", b); b++; b++; printf("%d %g %g %lld\n", b, f++, --d, l++);
    i = u = c = 300; printf("%d %d %d\n", i, u, c);
    i = (s = 200) + 1; printf("%d %d\n", i, s);
    enum size e = LITTLE; e++; e += 3; printf("%d\n", (int)e);
    i = 1; i += i++ * 0 + 3; printf("%d\n", i);
    s = -1; s >>= 1; w = s; printf("%u\n", w); w >>= (char)28; printf("%u\n", w);
    u = 40000; i = u * 3 % 7; printf("%d\n", i);
    l = 5; l *= 2.5; i = 10; i -= 2.5f; i /= 2ull; printf("%lld %d\n", l, i);
}

static void pointers(void) {
    int values[8] = {1, 2, 3, 4, 5, 6, 7, 8}, *p = values, *end = values + 8;
    struct { char c; double d; } pairs[3], *q = pairs;
    int grid[3][4], (*row)[4] = grid;
    long long offset = 2; char index = 3;
    for (int i = 0; i < 12; i++) grid[i / 4][i % 4] = i;
    printf("%d %d %d %d\n", *p++, *++p, p[1], p[-1]);
    printf("%d %d %d\n", (int)(end - p), 2[values], *(end + -1));
    p += offset; printf("%d ", *p); p -= 1; printf("%d %d %d\n", *p, values[index], values[offset]);
    printf("%d %d\n", (int)((char *)&q[2] - (char *)q), (int)(&q[2] - q));
    printf("%d %d %d %d\n", row[1][2], *(*(grid + 2) + 1), (int)sizeof *row, (int)(&grid[2] - grid));
    printf("%d %d %d %d\n", p < end, p > values, p == &values[3], !p);
    void *v = values; v = (char *)v + 4; v++; printf("%d\n", (int)((char *)v - (char *)values));
    unsigned number = (unsigned)(void *)0x1234; printf("%x %d\n", number, (int)(short)(int)(void *)0x12345678);
    (*&p)++; *p++ += 10; (*p)--; printf("%d %d %d\n", values[4], values[5], (int)(p - values));
    int (*function)(int) = traced; printf("%d %d %d\n", function(1), (*function)(2), (**function)(3));
    printf("%d\n", (int)(long long)(void *)8 + (int)((p ? p : end) - values));
}

static void conditions(void) {
    int x = traced(5) && traced(0) && traced(7), y = traced(0) || traced(3) || traced(1);
    printf("%d %d %d\n", x, y, trace_count);
    printf("%d %d %d %d\n", !real, !!single, !zero, real && single);
    printf("%g %lld %d\n", one ? 1 : 2.5, zero ? 1 : huge, zero ?: 42);
    printf("%d %d\n", (x = 3, y = x + 1, x * y), one ? zero ? 1 : 2 : 3);
    const char *text = zero ? "yes" : 0; printf("%d\n", text == 0);
    if (one && (zero || !minus) || single) printf("taken\n"); else printf("not taken\n");
    if (!(one && zero) && !!huge) printf("taken\n");
    one ? traced(1) : (void)traced(2); zero && traced(1); one || traced(1); printf("%d\n", trace_count);
    struct pair { int a, b; } left = {1, 2}, right = {3, 4}, both = one ? left : right;
    printf("%d %d %d\n", both.b, (zero ? left : right).a, (left = right).b);
    for (x = 0, y = 10; x < y; x++, y--) if (x == 3) break; else continue;
    printf("%d %d\n", x, y);
    printf("%d %d\n", 0 && traced(1), 1 || traced(1));
    printf("%d %d %d\n", one && 5, 5 && one, (one, zero) || one);
}

int main(void) {
    arithmetic();
    comparisons();
    assignments();
    pointers();
    conditions();
    return 0;
}
