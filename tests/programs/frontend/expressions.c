// Statement expressions in every place, and what GNU C lets an expression be: omitted operands, casts to unions, empty assembly.
#include <stdio.h>
#include <string.h>

#define MAX(a, b) ({ __typeof__(a) _a = (a); __typeof__(b) _b = (b); _a > _b ? _a : _b; })
#define LOOP(n, step) ({ int _t = 0; for (int _i = 0; _i < (n); _i += (step)) _t += _i; _t; })
#define CHECKED(x) ({ int _x = (x); if (_x < 0) return -1; _x; })
#define NOT_NULL(p) ({ const char *_p = (p); if (!_p) goto missing; _p; })
typedef struct { int a[3]; double d; } RECORD;

static int calls;
static int called(int x) { calls++; return x; }

static int places(int n) {
    int table[6] = {[0 ... 2] = 7, LOOP(5, 2)}, index = 0;
    if (({ int x = n; while (x > 9) x /= 10; x; }) == 4) n++;
    while (({ if (index == 2) n++; index < 5; })) index++;
    for (int i = ({ int s = 0; do s++; while (s < 3); s; }); ({ switch (i) { case 6: i = 90; } i < 10; }); ({ if (i & 1) n++; i++; }))
        if (i == 8) continue;
    do n += 2; while (({ int c; for (c = n; c > 7;) c -= 7; c != 3; }));
    switch (({ int c = n; if (c > 5) c = 5; c; })) {
    case 5: n += ({ goto inside; inside: 100; }); break;
    default: n = 0;
    }
    table[LOOP(3, 1)] += MAX(LOOP(n & 7, 1), MAX(index, 3));
    return n + table[3] + table[4] + MAX(n & 3, ({ int q = CHECKED(n); q & 1; })) + CHECKED(n - 1) + (int)sizeof(({ int x[LOOP(9, 1)]; 'c'; }));
}

static int lazily(const char *text, int n) {
    int total = 0;
    total += n > 3 && ({ if (called(n) > 5) total += 1000; 1; });
    total += n > 3 || ({ for (int i = 0; i < 2; i++) called(i); 0; });
    total += n > 3 ? ({ int k = 0; while (k < 5) k++; called(k); }) : ({ if (n) called(1); -5; });
    total += (n - 4) ?: ({ do total += 50; while (called(0)); 2; });
    total += _Generic(n, int: n, default: ({ while (1) called(9); 1; }));
    total += __builtin_choose_expr(1, 3, ({ while (1) called(9); 1; }));
    (void)({ if (n == 5) total += 10000; });
    total += (called(1), ({ if (n) n--; n; }), n);
    printf("%s ", NOT_NULL(text));
    return total;
missing:
    return -total;
}

static RECORD record(int n) {
    RECORD result = ({ RECORD r = {{n}, 0.5}; if (n > 1) r.a[1] = n; for (int i = 0; i < n; i++) r.d *= 2; r; });
    return n > 5 ? ({ RECORD other = {.d = -1}; while (n--) other.a[0]++; other; }) : result;
}

union number { int i; float f; struct { unsigned char low, rest[3]; } bytes; };

static int extensions(int n) {
    union number u = (union number)1.0f;
    int taken = n ?: 5, twice = called(n) ?: called(8);
    int a = 3, b = 4;
    char text[] = "secret";
    asm volatile("" ::: "memory");
    asm("" : "+r"(a), "=r"(b) : "1"(a + 5));
    memset(text, 0, sizeof text);
    __asm__ __volatile__("" : : "r"(text), "m"(text) : "memory");
    register int in_register asm("r7") = n + 1;
    __auto_type wide = 5LL * n;
    goto *&&here;
    a = 0;
here:
    switch (n) {
    case -1000000 ... -1: return -1;
    case 100 ... 5000: return 1000 + n;
    case 7 ... 9: return 7;
    case 6000 ... 6001:
    default: break;
    }
    switch (wide) { case 1LL << 40 ... 1LL << 50: return 40; }
    return u.bytes.rest[2] + taken * 10 + twice + a * 100 + b * 1000 + in_register + text[0] + ((RECORD){{n}}).a[0];
}

int main(void) {
    for (int n = 0; n < 60; n += 12) printf("%d ", places(n));
    printf("%d\n", places(-3000));
    for (int n = 0; n < 8; n++) printf("%d ", lazily(n == 2 ? NULL : "t", n));
    printf("%d\n", calls);
    printf("%g %d %g %d\n", record(4).d, record(3).a[1], record(9).d, record(7).a[0]);
    const int values[] = {0, 1, 8, -1, -1000000, -1000001, 99, 100, 5000, 5001, 6001, 1 << 30};
    for (unsigned i = 0; i < sizeof values / sizeof *values; i++) printf("%d ", extensions(values[i]));
    printf("%d\n", calls);
    return 0;
}
