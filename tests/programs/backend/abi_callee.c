/* The called side: checks what arrives and answers something to check. */
#include "abi_types.h"

#include <stdio.h>

int failures;

static void expect(int condition, const char *what)
{
    if (condition)
        return;
    failures++;
    printf("%s arrived wrong\n", what);
}

#define DEFINE(name, type)                                                                                             \
    type pass_##name(char c, type a, double d, type b, signed char s, type e, float f, long long l, type g)            \
    {                                                                                                                  \
        type result;                                                                                                   \
        expect(c == 200 && s == -100 && d == 0.5 && f == -2.25f && l == -5000000000ll, "a scalar beside " #name);      \
        expect(is_filled(&a, sizeof a, 1) && is_filled(&b, sizeof b, 2), "first and second " #name);                   \
        expect(is_filled(&e, sizeof e, 3) && is_filled(&g, sizeof g, 4), "third and fourth " #name);                   \
        fill(&result, sizeof result, 5);                                                                               \
        return result;                                                                                                 \
    }                                                                                                                  \
    type walk_##name(int count, ...)                                                                                   \
    {                                                                                                                  \
        type result;                                                                                                   \
        va_list v;                                                                                                     \
        va_start(v, count);                                                                                            \
        for (int i = 0; i < count; i++) {                                                                              \
            type a = va_arg(v, type);                                                                                  \
            int n = va_arg(v, int);                                                                                    \
            double d = va_arg(v, double);                                                                              \
            expect(is_filled(&a, sizeof a, i) && n == i && d == i * 0.5, "unnamed " #name);                            \
        }                                                                                                              \
        va_end(v);                                                                                                     \
        fill(&result, sizeof result, 6);                                                                               \
        return result;                                                                                                 \
    }
ABI_TYPES(DEFINE)

int with_nothing(struct nothing a, int b, struct nothing c, double d)
{
    (void)a, (void)c;
    return b == 7 && d == 1.5;
}

float many_floats(float a, double b, float c, double d, float e, float f, float g, double h, float i, float j, float k,
                  float l, float m, double n, float o, double p)
{
    expect(a == 1 && b == 2 && c == 3 && d == 4 && e == 5 && f == 6 && g == 7 && h == 8, "one of the first floats");
    expect(i == 9 && j == 10 && k == 11 && l == 12 && m == 13 && n == 14 && o == 15 && p == 16, "one of the last floats");
    return a + (float)p;
}

long long many_words(int a, long long b, int c, short d, long long e, unsigned char f, _Bool g, signed char h)
{
    expect(a == 1 && b == 1ll << 40 && c == -3 && d == -4 && e == -5 && f == 250 && g == 1 && h == -8, "one of the words");
    return b + c;
}

signed char narrow_char(int x) { return (signed char)x; }
unsigned short narrow_short(int x) { return (unsigned short)x; }
_Bool narrow_bool(int x) { return x; }

int unprototyped(int a, double b, long long c) { return a == 1 && b == 2.5 && c == 3; }

int old_style(a, b, c)
    char a;
    float b;
    short c;
{
    return a == 'a' && b == 1.25f && c == -7;
}
