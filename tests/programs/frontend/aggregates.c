// Local structures, unions and arrays: by members, as wholes, in loops, across setjmp, behind pointers.
#include <setjmp.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

struct point { int x, y; };
struct box { struct point low, high; char name[6]; };
struct flags { unsigned a : 3; int b : 5; _Bool c : 1; unsigned short d : 9; unsigned long long e : 40; };
struct list { struct list *next; int value; };
struct mixed { char c; double d; short s; float f; long long l; void *p; };
union word { int i; unsigned u; float f; unsigned char bytes[4]; };
struct tagged { int kind; union word value; };

static volatile int one = 1;
static struct point global = {3, 4};
static volatile struct point shaky = {5, 6};

static struct point add(struct point a, struct point b) {
    struct point r = {a.x + b.x, a.y + b.y};
    return r;
}

static struct point steps(struct point from, int n) {
    struct point at = from, step = {1, -2};
    for (int i = 0; i < n; i++) {
        at = add(at, step);
        if (i & 1) step.x ^= 3;
    }
    return at;
}

static int peek(const struct box *box) { return box->low.x * 100 + box->high.y; }

static void members(int n) {
    struct box b = {{n, 2}, {3, n}, "box"};
    struct box c = b;
    struct point corners[2] = {b.low, c.high};
    c.low.x += corners[1].y;
    corners[0] = c.low;
    b.high = corners[0];
    printf("members %d %d %d %d %s %d\n", b.high.x, b.low.y, c.low.x, corners[0].x, c.name, peek(&c));
    struct mixed m = {'a', 1.5, -3, 2.5f, 1LL << 40, &m}, k = m;
    k.d *= m.f, k.l += m.s, k.c++;
    printf("mixed %c %g %d %g %lld %d\n", k.c, k.d, k.s, k.f, k.l, k.p == &m);
}

static int fields(int n) {
    struct flags s = {0}, t;
    for (int i = 0; i < n; i++) {
        s.a += i, s.b -= 3, s.c = i, s.d = s.d * 5 + 1, s.e = s.e * 3 + 7;
        s.b ^= s.a++, --s.d;
    }
    t = s;
    t.a = s.b, t.b = s.a;
    return (int)(t.a * 7 + t.b * 5 + t.c + t.d + t.e % 1000);
}

static void unions(int n) {
    union word one_member, several;
    struct tagged t = {n, {.f = 1.5f}}, copy;
    one_member.f = n;
    one_member.f += 0.5f;
    several.f = one_member.f;
    copy = t;
    copy.value.f *= 2;
    printf("unions %g %x %d %g %d\n", one_member.f, several.u, several.bytes[3], copy.value.f, copy.kind);
}

static int through_memory(struct point *p, int n) {
    struct point s = *p++, t = *p;
    struct list c = {0, 3}, b = {&c, 2}, a = {&b, 1}, at = a;
    int sum = 0;
    for (; at.next; at = *at.next) sum = sum * 10 + at.value;
    while (n--) s.x += t.y, t.y ^= s.x, s.y += t.x;
    *p-- = s;
    *p = t;
    global = s;
    shaky = t;
    t = shaky;
    struct point swap = s;
    s = t;
    t = swap;
    return sum * 10 + at.value + s.x + t.y;
}

static void bytes(const char *text) {
    struct point p, q;
    struct box b;
    char place[16] = {0};
    memset(&b, 0, sizeof b);
    memcpy(&p, text + 1, sizeof p);
    memset(&q, 0xff, sizeof q);
    memcpy(&b.high, &p, sizeof p);
    memcpy(place + 3, &b.high, sizeof b.high);
    printf("bytes %x %x %d %d %d %s\n", p.x, p.y, q.x, b.low.x, b.high.y == p.y, place + 3);
}

static int sum(int n, ...) {
    va_list list, again;
    int total = 0;
    va_start(list, n);
    va_copy(again, list);
    while (n--) {
        struct point p = va_arg(list, struct point);
        total += p.x * va_arg(list, int) + p.y;
    }
    total += va_arg(again, struct point).x;
    va_end(again);
    va_end(list);
    return total;
}

static struct point choose(int n) {
    struct point a = {n, 1}, b = {1, n}, c;
    for (int i = 0; i < n; i++) a.x += b.y, b.y ^= a.x;
    c = n & 1 ? a : b;
    a = b = c;
    c.x += (n & 2 ? a : add(a, c)).y;
    for (int i = 0; i < n; i++) c = (struct point){c.y + i, c.x}, a = c;
    return one ? c : a;
}

static jmp_buf place;
static int comes_back(int n) {
    struct point s = {n, 1};
    volatile struct point v = {n, 2};
    if (setjmp(place)) return s.x * 10 + v.x;
    v.x++;
    longjmp(place, 1);
}

static int scopes(int n) {
    int total = 0;
    while (n-- > 0) {
        struct point p;
        if (n & 1) p.x = n, p.y = 1;
        else p.x = 1, p.y = n;
        int v[3] = {p.x, p.y};
        if (n == 2) goto out;
        total += v[0] * 3 + v[1] - v[2];
    }
out:
    return total;
}

int main(void) {
    struct point pair[2] = {{1, 2}, {3, 4}};
    members(7);
    printf("fields %d\n", fields(20));
    unions(9);
    printf("memory %d", through_memory(pair, 3));
    printf(" %d %d %d %d %d %d\n", pair[0].x, pair[0].y, pair[1].x, pair[1].y, global.x, shaky.y);
    bytes("0123456789");
    printf("arguments %d\n", sum(2, (struct point){2, 3}, 4, (struct point){5, 6}, 7));
    for (int i = 0; i < 4; i++) printf("choose %d %d\n", choose(i).x, choose(i).y);
    struct point end = steps((struct point){10, 20}, 5);
    printf("steps %d %d %d %d\n", end.x, end.y, comes_back(4), scopes(7));
    return 0;
}
