/* Arithmetic on 64 bits and more: modular powers, primality, factoring, square roots, exact factorials, and a check
 * of each operator against one built from 32-bit halves.
 *
 * Exercises: long long in every operator, division and remainder with signs, shifts by variable amounts, carries,
 * mixed widths.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static uint64_t state = 88172645463325252ull;

static uint64_t random64(void)
{
    state ^= state << 13;
    state ^= state >> 7;
    return state ^= state << 17;
}

/* a * b % m without leaving 64 bits; m below 2^63. */
static uint64_t multiply_mod(uint64_t a, uint64_t b, uint64_t m)
{
    uint64_t r = 0;

    if ((a | b) >> 32 == 0)
        return a * b % m;
    for (a %= m; b; b >>= 1) {
        if (b & 1)
            r = r + a >= m ? r + a - m : r + a;
        a = a + a >= m ? a + a - m : a + a;
    }
    return r;
}

static uint64_t power_mod(uint64_t base, uint64_t exponent, uint64_t m)
{
    uint64_t r = 1 % m;

    for (; exponent; exponent >>= 1) {
        if (exponent & 1)
            r = multiply_mod(r, base, m);
        base = multiply_mod(base, base, m);
    }
    return r;
}

static int is_prime(uint64_t n) /* Miller and Rabin; the bases decide for all 64-bit numbers */
{
    static const unsigned bases[] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37};
    uint64_t d = n - 1;
    int twos = 0;

    if (n < 2)
        return 0;
    for (int i = 0; i < 12; i++)
        if (n % bases[i] == 0)
            return n == bases[i];
    for (; !(d & 1); d >>= 1)
        twos++;
    for (int i = 0; i < 12; i++) {
        uint64_t x = power_mod(bases[i], d, n);
        int witness = x != 1 && x != n - 1;
        for (int k = 1; k < twos && witness; k++) {
            x = multiply_mod(x, x, n);
            witness = x != n - 1;
        }
        if (witness)
            return 0;
    }
    return 1;
}

static uint64_t gcd(uint64_t a, uint64_t b)
{
    while (b) {
        uint64_t t = a % b;
        a = b;
        b = t;
    }
    return a;
}

static uint64_t square_root(uint64_t n)
{
    uint64_t r = 0;

    for (int bit = 31; bit >= 0; bit--) {
        uint64_t t = r | 1ull << bit;
        if (t * t <= n)
            r = t;
    }
    return r;
}

static void factor(uint64_t n)
{
    printf("%llu =", (unsigned long long)n);
    for (uint64_t p = 2; p * p <= n; p += 1 + (p & 1))
        while (n % p == 0) {
            printf(" %llu", (unsigned long long)p);
            n /= p;
        }
    printf(" %llu\n", (unsigned long long)n);
}

/* The same by halves of 32 bits. */
struct wide {
    uint32_t low, high;
};

static struct wide split(uint64_t x)
{
    struct wide w = {(uint32_t)x, (uint32_t)(x >> 32)};
    return w;
}
static uint64_t whole(struct wide w) { return (uint64_t)w.high << 32 | w.low; }

static struct wide add(struct wide a, struct wide b)
{
    struct wide r = {a.low + b.low, a.high + b.high};
    r.high += r.low < a.low;
    return r;
}

static struct wide negate(struct wide a)
{
    struct wide one = {1, 0}, r = {~a.low, ~a.high};
    return add(r, one);
}

static struct wide multiply(struct wide a, struct wide b)
{
    uint32_t al = a.low & 0xFFFF, ah = a.low >> 16, bl = b.low & 0xFFFF, bh = b.low >> 16;
    uint32_t low = al * bl, middle = ah * bl + (low >> 16), middle2 = al * bh + (middle & 0xFFFF);
    struct wide r = {middle2 << 16 | (low & 0xFFFF), ah * bh + (middle >> 16) + (middle2 >> 16)};
    r.high += a.low * b.high + a.high * b.low;
    return r;
}

static struct wide shift_left(struct wide a, unsigned n)
{
    struct wide r = {0, 0};
    if (n == 0)
        return a;
    if (n >= 32)
        r.high = a.low << (n - 32);
    else {
        r.low = a.low << n;
        r.high = a.high << n | a.low >> (32 - n);
    }
    return r;
}

static int check_operators(void)
{
    int wrong = 0;

    for (int i = 0; i < 2000; i++) {
        uint64_t a = random64() >> (i % 50), b = random64() >> (i * 7 % 50);
        unsigned n = (unsigned)(a ^ b) & 63;
        wrong += whole(add(split(a), split(b))) != a + b;
        wrong += whole(add(split(a), negate(split(b)))) != a - b;
        wrong += whole(multiply(split(a), split(b))) != a * b;
        wrong += whole(shift_left(split(a), n)) != a << n;
        wrong += (int64_t)a >> n != (int64_t)(a >> n | ((int64_t)a < 0 && n ? ~0ull << (64 - n) : 0));
        int64_t sa = (int64_t)a, sb = (int64_t)(b | 1);
        wrong += sa / sb * sb + sa % sb != sa || ((sa % sb < 0) != (sa < 0) && sa % sb != 0);
        wrong += (a < b) != (a >> 32 != b >> 32 ? a >> 32 < b >> 32 : (uint32_t)a < (uint32_t)b);
        wrong += (sa < sb) != ((sa >> 63 != sb >> 63) ? sa < 0 : a < (uint64_t)sb);
        wrong += (uint64_t)(double)(a >> 12) != a >> 12;
    }
    return wrong;
}

static void factorial(int n)
{
    static uint32_t digits[40]; /* nine decimal digits each, least significant first */
    int used = 1;

    memset(digits, 0, sizeof digits);
    digits[0] = 1;
    for (int f = 2; f <= n; f++) {
        uint64_t carry = 0;
        for (int i = 0; i < used; i++) {
            carry += (uint64_t)digits[i] * (unsigned)f;
            digits[i] = (uint32_t)(carry % 1000000000);
            carry /= 1000000000;
        }
        if (carry)
            digits[used++] = (uint32_t)carry;
    }
    printf("%d! = %lu", n, (unsigned long)digits[--used]);
    while (used-- > 0)
        printf("%09lu", (unsigned long)digits[used]);
    putchar('\n');
}

int main(void)
{
    static const uint64_t candidates[] = {561, 2147483647, 3215031751, 3825123056546413051, 2305843009213693951,
                                          9007199254740993, 1000000000039, 18446744073709ull};
    uint64_t sum = 0;

    printf("%d operators wrong\n", check_operators());
    for (unsigned i = 0; i < sizeof candidates / sizeof *candidates; i++)
        printf("%llu is%s prime\n", (unsigned long long)candidates[i], is_prime(candidates[i]) ? "" : " not");
    factor(600851475143);
    factor(1ull << 40 | 1);
    for (int i = 0; i < 300; i++) {
        uint64_t n = random64() >> (i % 64), r = square_root(n);
        sum += r + gcd(n, 360360);
        if (r * r > n || (r + 1 < 1ull << 32 && (r + 1) * (r + 1) <= n))
            printf("ROOT OF %llu IS WRONG\n", (unsigned long long)n);
    }
    printf("sum %llu\n", (unsigned long long)sum);
    factorial(20);
    factorial(100);
    return 0;
}
