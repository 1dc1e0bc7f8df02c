/* Kernels with more variables at once than there are registers: what becomes of those that get none. */
#include <stdint.h>
#include <stdio.h>

#define ROTATE(x, n) ((x) << (n) | (x) >> (32 - (n)))
#define QUARTER(a, b, c, d)                                                                                  \
    a += b, d ^= a, d = ROTATE(d, 16), c += d, b ^= c, b = ROTATE(b, 12), a += b, d ^= a, d = ROTATE(d, 8),  \
        c += d, b ^= c, b = ROTATE(b, 7)

/* 16 words that all rounds change. */
static uint32_t stream(const uint32_t *key, int blocks)
{
    uint32_t sum = 0;
    for (int n = 0; n < blocks; n++) {
        uint32_t a = key[0], b = key[1], c = key[2], d = key[3], e = key[4], f = key[5], g = key[6], h = key[7];
        uint32_t i = ~a, j = ~b, k = ~c, l = ~d, m = e ^ n, o = f + n, p = g, q = h;
        for (int round = 0; round < 10; round++) {
            QUARTER(a, e, i, m);
            QUARTER(b, f, j, o);
            QUARTER(c, g, k, p);
            QUARTER(d, h, l, q);
            QUARTER(a, f, k, q);
            QUARTER(b, g, l, m);
            QUARTER(c, h, i, o);
            QUARTER(d, e, j, p);
        }
        sum += a ^ b ^ c ^ d ^ e ^ f ^ g ^ h ^ i ^ j ^ k ^ l ^ m ^ o ^ p ^ q;
    }
    return sum;
}

/* Eight pairs of registers. */
static uint64_t wide(uint64_t seed, int rounds)
{
    uint64_t a = seed, b = seed * 3, c = seed * 5, d = seed * 7, e = ~a, f = ~b, g = ~c, h = ~d;
    for (int n = 0; n < rounds; n++) {
        a += e ^ h, b += f ^ a, c += g ^ b, d += h ^ c;
        e ^= a << 13 | a >> 51, f ^= b << 17 | b >> 47, g ^= c << 29 | c >> 35, h ^= d << 41 | d >> 23;
    }
    return a ^ b ^ c ^ d ^ e ^ f ^ g ^ h;
}

/* A few variables that the inner loop uses, and many that only the way around it needs. */
static int nested(const int *v, int size)
{
    int low = v[0], high = v[0], sum = 0, squares = 0, odd = 0, even = 0, zero = 0, runs = 0, last = 0, best = 0;
    int first = v[1], middle = v[size / 2], end = v[size - 1], steps = 0;
    for (int i = 0; i < size; i++) {
        int here = v[i], cross = 0;
        for (int j = 0; j < size; j++) cross += (v[j] ^ here) & (v[j] + i);
        sum += cross, squares += here * here, steps += first ^ middle;
        if (here < low) low = here;
        if (here > high) high = here;
        if (here & 1) odd++;
        else even += end;
        if (!here) zero++;
        if (here > last) runs++;
        else best += runs, runs = 0;
        last = here;
    }
    return low ^ high ^ sum ^ squares ^ odd ^ even ^ zero ^ runs ^ last ^ best ^ steps;
}

/* 16 sums and 8 factors of double precision: more than the registers that calls keep. */
static double product(const double *a, const double *b, int size)
{
    double s0 = 0, s1 = 0, s2 = 0, s3 = 0, s4 = 0, s5 = 0, s6 = 0, s7 = 0, s8 = 0, s9 = 0, t0 = 0, t1 = 0, t2 = 0, t3 = 0,
           t4 = 0, t5 = 0;
    for (int i = 0; i < size; i++, a += 4, b += 4) {
        double p = a[0], q = a[1], r = a[2], s = a[3], w = b[0], x = b[1], y = b[2], z = b[3];
        s0 += p * w, s1 += p * x, s2 += p * y, s3 += p * z, s4 += q * w, s5 += q * x, s6 += q * y, s7 += q * z;
        s8 += r * w, s9 += r * x, t0 += r * y, t1 += r * z, t2 += s * w, t3 += s * x, t4 += s * y, t5 += s * z;
    }
    return s0 - s1 + s2 - s3 + s4 - s5 + s6 - s7 + s8 - s9 + t0 - t1 + t2 - t3 + t4 - t5;
}

__attribute__((noinline)) static int visit(int x) { return x * 3 ^ x >> 2; }

/* Twelve variables over calls, which keep eight registers. */
static int calling(int n)
{
    int a = 1, b = 2, c = 3, d = 4, e = 5, f = 6, g = 7, h = 8, i = 9, j = 10, k = 11;
    for (int round = 0; round < n; round++) {
        a += visit(b), b ^= visit(c), c += d, d ^= e, e += f;
        if (a & 1) f += visit(g), g ^= h;
        h += i, i ^= j, j += k, k ^= a;
    }
    return a ^ b ^ c ^ d ^ e ^ f ^ g ^ h ^ i ^ j ^ k;
}

int main(int argc, char **argv)
{
    const char *only = argc > 1 ? argv[1] : "swnpc";
    static uint32_t key[8];
    static int v[200];
    static double x[400], y[400];
    for (int i = 0; i < 8; i++) key[i] = i * 0x9e3779b9u;
    for (int i = 0; i < 200; i++) v[i] = (i * 7919) % 211 - 100;
    for (int i = 0; i < 400; i++) x[i] = i % 17, y[i] = i % 13;
    for (; *only; only++) switch (*only) {
        case 's': printf("%08x\n", (unsigned)stream(key, 500)); break;
        case 'w': printf("%llx\n", (unsigned long long)wide(12345, 20000)); break;
        case 'n': printf("%d\n", nested(v, 200)); break;
        case 'p': printf("%g\n", product(x, y, 100)); break;
        default: printf("%d\n", calling(10000));
        }
    return 0;
}
