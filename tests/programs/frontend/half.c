/* __fp16: stored in 16 bits, computed with in float. */
#include <stdio.h>

/* clang asks for this one, which the compiler's library does not have. */
unsigned short __gnu_d2h_ieee(unsigned long long);
unsigned short __aeabi_d2h(unsigned long long bits) { return __gnu_d2h_ieee(bits); }

static __fp16 global = 1.5f, many[3] = {0.1f, -2, 65504};
static struct {
    __fp16 a;
    char b;
    __fp16 c[2];
} __attribute__((packed)) packed = {2, 'x', {3, 4.5f}};
static int calls;

static __attribute__((noinline)) float change(__fp16* p, int n, double d) {
    p[calls++] += n, p[1] = d, *p *= 2.0, ++p[2], p[2]--;
    float old = p[1]++, new = --*p;
    return old + new * p[2];
}

#define BITS(x) (__extension__({ union { __fp16 h; unsigned short s; } u_ = {(x)}; u_.s; }))

int main(void) {
    __fp16 h = 3.14159, k;
    k = h;
    int i = h;
    h = i;
    unsigned u = k;
    long long l = k;
    _Bool b = k;
    double d = k;
    volatile double x;
    printf("%g %d %u %lld %d %g %g\n", (float)k, i, u, l, b, d, (double)-k);
    printf("%g %d\n", change(many, 3, 1e-7), calls);
    printf("%x %x %x\n", BITS(many[0]), BITS(many[1]), BITS(many[2]));
    packed.c[1] = global + packed.a, packed.a -= 0.5;
    printf("%g %g %d %d %d\n", packed.c[1], packed.a, k < h, k ? 1 : 2, (int)sizeof packed);
    volatile __fp16 v = 1e6f, zero = -0.0f;
    printf("%g %d %d %d %d\n", v, !v, v && h, zero ? 1 : 0, !zero);
    k = 1ll << 33, printf("%x\n", BITS(k));
    static const double values[] = {2049, 2051, 5e-8, 2e-8, 65519.9, 65520, 1.00048828125, 1.000488281250001, -3e-5, 6.1e-5, 1.0 / 0.0};
    for (unsigned n = 0; n < sizeof values / sizeof *values; n++) {
        x = values[n], h = x, k = (float)x;
        printf("%x %x %.9g\n", BITS(h), BITS(k), h);
    }
    unsigned hash = 0;
    for (unsigned n = 0; n < 65536; n += 7) {
        union { unsigned short s; __fp16 h; } pun = {n};
        float y = pun.h;
        if (y == y) pun.h = y * 1.0003f;
        hash = (hash ^ pun.s) * 16777619u + (pun.h == pun.h) + (pun.h > 1) * 2;
    }
    __fp16* p = &(__fp16){7};
    printf("%x %g %g %g\n", hash, (*p)++ + 0.0f, *p, ({ __fp16 q = 2; q; }) + 1.0f);
    return 0;
}
