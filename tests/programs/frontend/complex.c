/* Complex numbers: operators, conversions, calls, initializers, infinities. */
#include <complex.h>
#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

typedef double complex dc;
typedef float complex fc;
typedef _Complex int ic;
typedef _Complex unsigned char bc;
typedef _Complex long long lc;

static void put(const char* what, double re, double im) {
    char text[2][40];
    double part[2] = {re, im};
    for (int i = 0; i < 2; i++) /* the sign of what is no number is anybody's */
        if (isnan(part[i]))
            strcpy(text[i], "nan");
        else
            snprintf(text[i], 40, "%.9g", part[i]);
    printf("%s %s %s\n", what, text[0], text[1]);
}
#define PUT(z) put(#z, creal(z), cimag(z))
#define PUTI(z) printf("%s %lld %lld\n", #z, (long long)__real__(z), (long long)__imag__(z))

/* Static objects. */
static dc constant = 1.5 - 2.5 * I, zeros[3] = {0, 1, 2.0 * I};
static const ic whole = 3 + 4i, wholes[] = {1, 2i, -1 - 1i};
static struct {
    char c;
    fc f;
    bc b;
} __attribute__((packed)) packed = {'x', 1 - 1 * I, 200 + 100i};
static fc many[20] = {[3] = 1 + 1i, [17] = 2i};

static int calls;
static dc next(void) { return ++calls + 10 * calls * I; }
static dc* where(void) { return calls++, &constant; }

/* By every way through a call. */
static __attribute__((noinline)) fc pass_float(fc a, float b, fc c) { return a * b + c; }
static __attribute__((noinline)) dc pass_double(int n, dc a, dc b, dc c, dc d, dc e) { return n ? a - e : b * c + d; }
static __attribute__((noinline)) ic pass_int(ic a, char b, ic c) { return a * b - c; }
static __attribute__((noinline)) bc pass_byte(bc a, bc b) { return a * b; }
static __attribute__((noinline)) lc pass_long(int n, lc a, lc b) { return a / (b + n); }
static dc sum(int n, ...) {
    va_list list;
    dc total = 0;
    va_start(list, n);
    while (n--) {
        total += va_arg(list, dc);
        total += va_arg(list, int);
        total += va_arg(list, fc);
        total += va_arg(list, ic);
    }
    va_end(list);
    return total;
}

static void arithmetic(dc a, dc b, double r, fc f, ic i) {
    PUT(a + b), PUT(a - b), PUT(a * b), PUT(a / b);
    PUT(a + r), PUT(r + a), PUT(a - r), PUT(r - a), PUT(a * r), PUT(r * a), PUT(a / r), PUT(r / a);
    PUT(-a), PUT(~a), PUT(+a), PUT(f * a), PUT(f / f), PUT(f * f), PUT(i * r), PUT(a / i), PUT(f + 1.0f);
    PUT(a ? b : a), PUT((a, b)), PUT(a ?: b);
    ic j = {-7, 3};
    PUTI(i + j), PUTI(i - j), PUTI(i * j), PUTI(i / j), PUTI(~i), PUTI(i * 3), PUTI(3 / j);
    bc b1 = 250 + 7i, b2 = 9 + 100i;
    PUTI(b1 + b2), PUTI(b1 - b2), PUTI(b1 * b2), PUTI(b1 / b2), PUTI(-b1), PUTI(~b2);
    lc l = 1ll << 40;
    l += 5000000000ll * 1i;
    PUTI(l), PUTI(l * l / 3), PUTI(l / i);
    printf("%d %d %d %d %d %d\n", a == b, a != b, a == a, r == a, i == 3, (dc)r == r);
    printf("%d %d %d %d\n", !a, a && i, !(a - a), (_Bool)(b - b) || 0);
}

static void long_double(long double complex a, double complex b) {
    b *= a, a = a * a / b + b * 2, PUT(a), PUT(b);
}

static void assignments(void) {
    dc z = 1 + 2 * I, w;
    double d = 3;
    float f = 1.5f;
    int n = 7;
    z += 1, PUT(z);
    z -= 2 * I, PUT(z);
    z *= 1 + 1 * I, PUT(z);
    z /= 2, PUT(z);
    z *= z, PUT(z);
    z = __imag__ z + __real__ z * I, PUT(z);
    z = __builtin_complex(__imag__ z, __real__ z), PUT(z);
    w = z = z * 2, PUT(w);
    d *= 2 + 1 * I, n *= 2 + 1i, f /= 2 - 1 * I;
    printf("%g %d %g\n", d, n, f);
    n = 5.75 + 1i, d = whole, f = z;
    printf("%d %g %g %d\n", n, d, f, (int)(3.9 + 1i));
    PUT(z++), PUT(++z), PUT(z--), PUT(--z);
    __real__ z = 5, __imag__ z += 2, ++__imag__ z, PUT(z);
    PUT(__imag__(z * z) + __real__ 7 + __imag__ n);
    *where() += 2 + I, PUT(constant);
    *where() = *where() * I, PUT(constant);
    zeros[calls++ & 1] -= 4 * I, PUT(zeros[0]), PUT(zeros[1]);
    printf("%d calls\n", calls);
    packed.f *= 2 + 1 * I, packed.b -= 250, PUT(packed.f), PUTI(packed.b);
    volatile fc v = 1;
    v += I, v = v * v, PUT(v);
    dc *p = zeros, copy[] = {*p, p[1] * 2, [3] = 1};
    *p = p[1], PUT(zeros[0]), PUT(copy[0]), PUT(copy[1]), PUT(copy[2]), PUT(copy[3]);
    struct {
        dc a;
        int b;
        fc c;
    } s = {1 + I, 2, .c = d * I}, t = s;
    t.a += t.c, PUT(t.a), PUT(s.c), PUT(((dc){4, 5})), PUT((struct { dc x; }){3 * I}.x);
    PUT(({ dc q = z; if (n > 100) q = 0; q * 2; }));
    dc e = {}, g = {1}, h = {1, 2}, k = {h};
    PUT(e), PUT(g), PUT(k), PUT(many[3] + many[17] + many[4]), PUTI(wholes[1] * wholes[2] + whole);
}

static void infinities(void) {
    static const double values[] = {0.0, -0.0, 1, -2.5, INFINITY, -INFINITY, NAN, 1e300, 5e-324};
    enum { N = sizeof values / sizeof *values };
    unsigned hash = 0;
    for (int i = 0; i < N * N * N * N; i++) {
        dc a = __builtin_complex(values[i % N], values[i / N % N]), b = __builtin_complex(values[i / N / N % N], values[i / N / N / N]);
        fc c = a, d = b;
        double r = creal(b);
        dc results[] = {a * b, a / b, a + b, a - b, r * a, r / a, a / r, r - a, -a, ~b, c * d, c / d, cproj(a)};
        for (unsigned k = 0; k < sizeof results / sizeof *results; k++) {
            unsigned char bytes[16];
            double part[2] = {creal(results[k]), cimag(results[k])};
            for (int m = 0; m < 2; m++) part[m] = isnan(part[m]) ? 12345 : part[m];
            memcpy(bytes, part, 16);
            for (int m = 0; m < 16; m++) hash = (hash ^ bytes[m]) * 16777619u;
        }
        hash += a == b, hash ^= (a != c) * 4, hash += (a ? 1 : 2) * 8;
        if (i % 777 == 0) PUT(a * b), PUT(a / b), printf("%08x\n", hash);
    }
    printf("%08x\n", hash);
}

#pragma STDC CX_LIMITED_RANGE ON
static __attribute__((noinline)) dc limited(dc a, dc b) { return a * b / (a + b); }
#pragma STDC CX_LIMITED_RANGE OFF

int main(void) {
    arithmetic(1.5 + 2.25 * I, -3 + 0.5 * I, 2.5, 0.5f - 4 * I, 3 - 5i);
    assignments();
    long_double(1 + 2 * I, 3 * I);
    infinities();
    PUT(pass_float(1 + I, 2, 3 * I)), PUT(pass_double(0, 1, 2 * I, 3 + I, 4, 5)), PUT(pass_double(1, 1, 2, 3, 4, I));
    PUTI(pass_int(1 + 2i, 'a', 3)), PUTI(pass_byte(17, 20i)), PUTI(pass_long(1, 1000000000000ll, 4 + 3i));
    PUT(sum(2, (dc)1, 2, (fc)3i, whole, (dc)(4 * I), 5, (fc)6, whole * 2));
    dc (*function)(int, dc, dc, dc, dc, dc) = pass_double;
    PUT(function(1, constant, 0, 0, 0, next())), PUT(limited(1 + 2 * I, 3 - I));
    PUT(csqrt(-4)), PUT(cexp(I * 3.14159265358979)), PUT(conj(next() - 1)), PUT(cpow(2 * I, 2)), PUT(clog(constant));
    printf("%g %g %g %zu %zu\n", cabs(3 + 4 * I), (double)cabsf(5 + 12 * I), carg(-1), sizeof(bc), _Alignof(lc));
    return 0;
}
