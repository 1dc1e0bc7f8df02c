// Inline expansion: calls in every place of a statement, and bodies of every form.
#include <setjmp.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

struct point { int x, y; };
struct big { int values[6]; double weight; };

static int g, v[8] = {4, 9, 1, 12, 3, 30, 7, 2};
static struct point global = {100, 200};
static volatile int port;

static inline int square(int a) { return a * a; }
static inline long long wide(unsigned a) { return a; }
static inline _Bool odd(unsigned char a) { return a & 1; }
static inline int second(const struct point *p) { return p->y; }
static inline short narrow(short a) { return a + 1; }
static inline double half(float a) { return a / 2; }

static int bump(int by) { g += by; return g; }
static int peek(const int *p) { int r = *p; while (r > 9) r -= 3; return r; }
static int next(int a) { if (a > 5) return g; return ++g; }
static int clamp(int a, int most) {
    if (a > most) return most;
    while (a < 0) { a += 5; if (a == 3) return -a; }
    return a;
}
static void twice(int *p) { if (!p) return; *p += 1; *p += 2; }
static int loop(int a, int n) { int s = 0; while (n-- > 0) s += a; return s; }
static int changed(int a) { while (a & 1) a >>= 1; return a; }
static int steps(int a) {
    static int turns;
again:
    switch (a) {
    case 1: return ++turns;
    case 7: a = 1; goto again;
    case 9: break;
    default: return turns * 100;
    }
    return -a;
}
static int table(unsigned a) {
    static void *ways[] = {&&zero, &&one, &&two};
    goto *ways[a % 3];
zero: return 10;
one: a += 5;
two: return (int)a;
}

static void set(int *p, int value) { *p = value; }
static int addressed(int a) { set(&a, a + 1); return a; }
static int fresh(int n) { int seen[3] = {1, 2}; seen[n % 3] += n; return seen[0] * 100 + seen[1] * 10 + seen[2]; }

static struct point make(int x, int y) { struct point p; p.x = x; p.y = y; return p; }
static struct point sum(struct point a, struct point b) { a.x += b.x; a.y += b.y; return a; }
static struct point at(const struct point *p) { return *p; }
static struct big scale(struct big b, double by) {
    if (by == 0) return (struct big){{0}};
    for (int i = 0; i < 6; i++) b.values[i] = (int)(b.values[i] * by);
    b.weight *= by;
    return b;
}

static inline int down(int n) { return n <= 0 ? 0 : n + down(n - 1); }
static int even_steps(int n);
static int odd_steps(int n) { return n == 0 ? 0 : 1 + even_steps(n - 1); }
static int even_steps(int n) { return n == 0 ? 1 : 2 * odd_steps(n - 1); }

static inline int total(int n, ...) {
    va_list list;
    int s = 0;
    for (va_start(list, n); n > 0; n--) s += va_arg(list, int);
    va_end(list);
    return s;
}
static jmp_buf place;
static void leave(int code) { if (code) longjmp(place, code); }
static int guarded(int code) { int r = setjmp(place); if (!r) leave(code); return r; }
static int room(int n) { int cells[n]; for (int i = 0; i < n; i++) cells[i] = i; return cells[n - 1]; }
static inline _Noreturn void stop(int status) { printf("stopped\n"); exit(status); }

static void orders(int a) {
    int i = 1, *p = v;
    printf("%d ", g + a + bump(1));
    printf("%d ", g + peek(v + 3));
    printf("%d ", g * peek(v + 5) + bump(1));
    v[i] = bump(i), v[g & 7] += bump(2), p[square(2)] = bump(3);
    printf("%d %d %d ", v[1], v[4], bump(bump(a) + bump(6)));
    printf("%d\n", (g = a, bump(2)) + a);
}

static void conditions(void) {
    int count = 0;
    for (int a = 0; a < 9; a++) {
        if (a && next(a)) count += 1;
        if (!(a > 2 && next(a) > 20)) count += 10;
        count += 5 * (a == 3 || next(a) > 7) + (a && !next(2));
        count += a & 1 ? next(1) : a + 2;
        (void)(a > 4 && next(a));
        a > 6 ? twice(&count) : (void)0;
        switch (a + clamp(next(a), 3)) {
        case 4: count += 1000; break;
        case 5: count -= clamp(a - 9, 5); break;
        default: count ^= 3;
        }
        while (odd((unsigned char)count) && clamp(count, 50) > 10) count -= 7;
    }
    printf("%d %d\n", count, g);
}

static void structures(int a) {
    struct point q = make(a, 3), list[3] = {q, sum(q, make(1, 2)), sum(sum(q, q), global)};
    q = sum(at(&list[1]), q);
    list[a % 3] = at(&list[2]);
    const struct big b = scale((struct big){{1, 2, 3, 4, 5, 6}, 0.5}, a);
    printf("%d %d %d %d ", q.x, make(a, 7).y + sum(global, q).x, second(&list[1]), (a > 2 ? make(1, 2) : q).x);
    printf("%d %g %d\n", b.values[5], scale(b, 2).weight, scale(b, 0).values[1]);
}

static void volatiles(void) {
    port = 5;
    port = square(port) + port;
    port = clamp(port, port);
    printf("%d\n", clamp(port, 8) + port);
}

int main(void) {
    printf("%d %lld %d %d %g\n", square(square(2) + 1), wide(-1), odd(255), narrow(32766), half(3));
    orders(3);
    conditions();
    structures(2);
    volatiles();
    for (int i = 0; i < 10; i++) printf("%d %d %d %d ", steps(i), table((unsigned)i), addressed(i), fresh(i));
    printf("\n%d %d %d %d\n", down(30), odd_steps(9), loop(7, 6), changed(47));
    printf("%d %d %d %d\n", total(3, 1, 2, 3), guarded(0), guarded(6), room(5));
    if (clamp(g, 1) == 1) stop(total(2, 3, 4));
    return 1;
}
