/* Vectors: operators, subscripts, rearrangement, conversions, calls, initializers. */
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#define VECTOR(name, type, bytes) typedef type name __attribute__((vector_size(bytes)));
VECTOR(i4, int, 16)
VECTOR(u4, unsigned, 16)
VECTOR(f4, float, 16)
VECTOR(d2, double, 16)
VECTOR(l2, long long, 16)
VECTOR(ul2, unsigned long long, 16)
VECTOR(c16, signed char, 16)
VECTOR(b16, unsigned char, 16)
VECTOR(s8, short, 16)
VECTOR(us4, unsigned short, 8)
VECTOR(f2, float, 8)
VECTOR(i1, int, 4)
VECTOR(c4, char, 4)
VECTOR(l1, long long, 8)
VECTOR(i16, int, 64)

/* Prints the elements of any vector. */
#define PUT(...)                                                              \
    ({                                                                        \
        __typeof__((__VA_ARGS__) + (__VA_ARGS__)) shown_ = (__VA_ARGS__);     \
        printf("%s", #__VA_ARGS__);                                           \
        for (unsigned k_ = 0; k_ < sizeof shown_ / sizeof shown_[0]; k_++)    \
            printf(_Generic(shown_[0], float: " %g", double: " %g", default: " %lld"), \
                   _Generic(shown_[0], float: shown_[k_], double: shown_[k_], default: (long long)shown_[k_])); \
        printf("\n");                                                        \
    })

static const i4 constant = {1, -2, 3}, table[] = {{4, 5}, {0, 0, 7}};
static f4 global = {0.5f, -1.5f, 2.5f, 1e5f};
static struct {
    char c;
    i4 v;
    us4 w;
} __attribute__((packed)) packed = {'p', {1, 2, 3, 4}, {65535, 1}};
static i16 large = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
static i4 spare = {1, 2, 3, 4};
static int calls;

static __attribute__((noinline)) i4 pass(int n, f4 a, double d, f2 b, i4 c, i1 e, c4 f, i16 g) {
    return c + (i4){n, (int)a[1], (int)(b[0] * d), e[0] + f[3] + g[15]};
}
struct two { f4 a, b; };
struct mixed { char c; d2 v; };
static __attribute__((noinline)) struct two pass_two(struct mixed m, struct two t) {
    return (struct two){t.b + (float)m.c, t.a * (float)m.v[1]};
}
static __attribute__((noinline)) i16 pass_large(i16 v) { return v * v; }
static __attribute__((noinline)) c4 pass_small(c4 a, i1 b) { return a + (char)b[0]; }
static i4 sum(int n, ...) {
    va_list list;
    i4 total = {};
    va_start(list, n);
    while (n--) {
        total += va_arg(list, i4);
        total += va_arg(list, int);
        total[n & 3] += (int)va_arg(list, f2)[1];
        total += (int)va_arg(list, i16)[3] + va_arg(list, c4)[2];
    }
    va_end(list);
    return total;
}
static i4* where(void) { return calls++, &spare; }
static int next(void) { return ++calls; }

static __attribute__((noinline)) void integers(i4 a, i4 b, u4 u, b16 c, c16 d, s8 s, l2 l, ul2 m, int n) {
    PUT(a + b), PUT(a - b), PUT(a * b), PUT(a / b), PUT(a % b), PUT(a & b), PUT(a | 12), PUT(3 ^ a), PUT(~a), PUT(-a);
    PUT(a << 3), PUT(a >> 1), PUT(u >> 28), PUT(a << (b & 7)), PUT(1 << (b & 7));
    PUT(a < b), PUT(a >= b), PUT(u > 5u), PUT(u <= (u4)a), PUT(a == b), PUT(a != 2);
    PUT(c + c), PUT(c * c), PUT(c / 7), PUT(c >> 1), PUT(c > 200), PUT(d >> 1), PUT(d * d), PUT(d < 0), PUT(d % 5), PUT(-d);
    PUT(s * s), PUT(s << 9), PUT(s == -s), PUT(l * l), PUT(l / 3), PUT(l >> 40), PUT(m >> 60), PUT(m > 4), PUT(l < 0);
    PUT((c16)a), PUT((l2)c), PUT((f4)u == (f4)u), PUT((u4)a + 1), PUT((us4)5ll + (us4)0x123456789abcdefll), PUT((l1)7ll);
    printf("%lld %lld\n", (long long)(us4){1, 2, 3, 4}, (long long)(f2){1, 2});
    b = a, b[n] = 77, b[n - 1] += 5, ++b[0], PUT(b);
    b += a, PUT(b), b <<= 2, PUT(b), b *= b, PUT(b), b -= n, PUT(b), b %= 7, PUT(b);
    PUT(n ? a : b), PUT((n++, a)), PUT(({ i4 t = a; if (n > 90) t = b; t + n; }));
    u >>= u & 3, PUT(u);
    printf("%d %d %d\n", (a + b)[n & 3], pass_small((c4){1, 2, 3, 4}, (i1){n})[n & 1], (a * a)[2]);
}

static __attribute__((noinline)) void floating(f4 a, f4 b, d2 d, float x) {
    PUT(a + b), PUT(a - x), PUT(a * b), PUT(x / a), PUT(-a), PUT(a < b), PUT(a != a), PUT(d * d), PUT(d >= 0);
    a *= b, PUT(a), a /= 2, PUT(a);
    PUT(__builtin_convertvector(a, i4)), PUT(__builtin_convertvector(d, l2)), PUT(__builtin_convertvector((i4){1, -2, 3}, f4));
    PUT(__builtin_convertvector((us4){65535, 2}, i4)), PUT(__builtin_convertvector((f2){1.5f, -2}, d2));
    PUT(__builtin_convertvector(a + b, us4) + (us4){}), PUT((f4)(i4){0x3f800000, 0x40000000} + a);
}

static __attribute__((noinline)) void rearranged(i4 a, i4 b, i4 mask, b16 c) {
    PUT(__builtin_shufflevector(a, b, 0, 4, 1, 5)), PUT(__builtin_shufflevector(a, a, 3, 2)), PUT(__builtin_shufflevector(a, b, 1, 2, 3, 4, 5, 6, 7, 0));
    PUT(__builtin_shufflevector(a, mask)), PUT(__builtin_shufflevector(c, c & 31));
    a = __builtin_shufflevector(a, a, 3, 2, 1, 0), PUT(a);
    a = (i4){a[1], a[0], a[3], a[2]}, PUT(a), a = a + a[2], PUT(a), a *= a[0], PUT(a);
    PUT(__builtin_elementwise_max(a, b)), PUT(__builtin_elementwise_min((u4)a, (u4)b)), PUT(__builtin_elementwise_abs(b - 3));
    printf("%d %d %d %d %d %d\n", __builtin_reduce_add(a), __builtin_reduce_mul(a), __builtin_reduce_xor(a), __builtin_reduce_max(a + b),
           __builtin_reduce_min(b), __builtin_reduce_or(c));
}

static void objects(void) {
    *where() += 10, PUT(spare), (*where())[calls & 3] = 7, PUT(spare);
    packed.w += 1, packed.w[3] = 9, PUT(packed.w), printf("%c %d\n", packed.c, packed.v[calls & 3]);
    i4 local[2] = {table[1], packed.v * 2}, *p = local, copy = *p++ + *p, zero = {}, one = {next()};
    PUT(local[1]), PUT(copy), PUT(zero), PUT(one), PUT(constant + table[0]), PUT(((i4){1, next(), 3}));
    volatile i4 v = {1, 2};
    v += 3, v[1] = 9, PUT(v), PUT(global * 2), large[calls & 15] = -1, PUT(large), PUT(pass_large(large + 1));
    memset(&local, 1, 20), PUT(local[0] + local[1]);
    union { i4 v; char c[16]; d2 d; } pun = {.v = {0x04030201, 5}};
    pun.d = pun.d + 0.0, pun.c[3]++, PUT(pun.v);
    i4 old = packed.v, w = packed.v -= 1, x = w = old * 2;
    PUT(old), PUT(w), PUT(x), printf("%zu %zu %d\n", sizeof(i16), _Alignof(i4), calls);
}

/* Elements with names, of the vectors of other languages. */
typedef float e4 __attribute__((ext_vector_type(4)));
typedef int e3 __attribute__((ext_vector_type(3)));
static __attribute__((noinline)) e4 named(e4 a, e4* p, e3 b) {
    a.xy = a.yx, PUT(a), p->zw += a.xw, PUT(*p), a.wzyx = p->xyzw * 2, PUT(a), PUT(a.zw.yx), PUT((a + *p).xxzx);
    a.x += 1, p->w = b.y + (b * 2).z, b.zx = b.xy, a.hi = a.lo, PUT(a), PUT(*p), PUT(b.xyzz), PUT((b < 3).xyzx);
    (*p).yz.y -= b.x, PUT(*p), PUT(__builtin_shufflevector(a, *p, 7, 0)), PUT((b % 2 + b.zzz).xyzz);
    b.yz = b.xy;
    return (e4){a.x, a.y, b.x, b.z} * 0.5f + a.s0;
}

int main(void) {
    c16 d = {1, -1, 127, -128, 64, 3, -7, 9};
    integers((i4){7, -9, 100, 1 << 30}, (i4){2, 4, -3, 5}, (u4){1, ~0u, 6, 1u << 31}, (b16){255, 1, 201, 128, 9}, d,
             (s8){300, -1, 32767, -32768}, (l2){1ll << 40, -5}, (ul2){~0ull, 3}, 2);
    floating(global, (f4){1, 2, 3, 0.25}, (d2){1.25, -1e15}, 3);
    rearranged((i4){1, 2, 3, 4}, (i4){-5, 6, -7, 8}, (i4){2, 7, 0, -1}, (b16){3, 77, 15, 14, 13, 200, 1});
    objects();
    e4 ext = {1, 2, 3, 4};
    PUT(named(ext + 1.5f, &ext, (e3){5, 6, 7})), PUT(ext);
    PUT(pass(1, global, 2.5, (f2){4, 5}, constant, (i1){6}, (c4){1, 2, 3, 4}, large));
    struct two t = pass_two((struct mixed){'a', {1, 2}}, (struct two){global, {1}});
    PUT(t.a), PUT(t.b), PUT(sum(2, constant, 3, (f2){1, 2}, large, (c4){1, 2, 3}, table[0], 4, (f2){9, 8}, large, (c4){}));
    return 0;
}
