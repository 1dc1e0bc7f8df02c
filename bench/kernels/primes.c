/* Prime numbers of 64 bits by the test of Miller and Rabin, and a sieve for the small ones. */
#include <stdint.h>
#include <stdio.h>

static uint64_t times(uint64_t a, uint64_t b, uint64_t m)
{
    uint64_t product = 0;
    for (; b; b >>= 1) {
        if (b & 1) {
            product += a;
            if (product >= m || product < a) product -= m;
        }
        uint64_t twice = a + a;
        a = twice >= m || twice < a ? twice - m : twice;
    }
    return product;
}

static uint64_t power(uint64_t a, uint64_t e, uint64_t m)
{
    uint64_t result = 1;
    for (; e; e >>= 1) {
        if (e & 1) result = times(result, a, m);
        a = times(a, a, m);
    }
    return result;
}

static int is_witness(uint64_t a, uint64_t n)
{
    uint64_t odd = n - 1;
    int twos = 0;
    while (!(odd & 1)) odd >>= 1, twos++;
    uint64_t x = power(a, odd, n);
    if (x == 1 || x == n - 1) return 0;
    while (--twos > 0) {
        x = times(x, x, n);
        if (x == n - 1) return 0;
    }
    return 1;
}

static int is_prime(uint64_t n)
{
    static const uint8_t bases[] = {2, 3, 5, 7, 11, 13};
    for (unsigned i = 0; i < sizeof bases; i++) {
        if (n % bases[i] == 0) return n == bases[i];
        if (is_witness(bases[i], n)) return 0;
    }
    return 1;
}

static uint8_t crossed_out[100000];

int main(void)
{
    int small = 0;
    for (unsigned i = 2; i < sizeof crossed_out; i++) {
        if (crossed_out[i]) continue;
        small++;
        for (unsigned j = i + i; j < sizeof crossed_out; j += i) crossed_out[j] = 1;
    }
    printf("%d below %zu\n", small, sizeof crossed_out);
    for (uint64_t n = 1000000007ull * 1000000000; n < 1000000007ull * 1000000000 + 60; n++)
        if (is_prime(n)) printf("%llu\n", (unsigned long long)n);
    return 0;
}
