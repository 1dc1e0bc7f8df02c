// Calls: structures by value, variable arguments of every size, function pointers, inline functions, aliases and other
// attributes, recursion through pointers.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct tiny { char c; };
struct pair { int a; double b; };
struct floats { float x, y, z; };
struct large { int values[20]; };
struct mixed { short s; long long l; char c[3]; };
union either { int i; float f; };

static struct tiny tiny(char c) { return (struct tiny){c}; }
static struct pair pair(int a, double b) { struct pair p = {a, b}; return p; }
static struct floats floats(float x) { return (struct floats){x, x * 2, x * 3}; }
static struct large large(int n) { struct large l; for (int i = 0; i < 20; i++) l.values[i] = n + i; return l; }
static struct mixed mixed(struct mixed m, int n) { m.s += n; m.l *= n; m.c[1] = n; return m; }
static int take(struct tiny t, struct pair p, struct floats f, struct large l, struct mixed m, union either e) {
    return t.c + p.a + (int)p.b + (int)(f.x + f.y + f.z) + l.values[19] + m.s + (int)m.l + m.c[2] + e.i;
}

static long long add_all(int count, ...) {
    va_list list, copy;
    long long total = 0;
    va_start(list, count);
    va_copy(copy, list);
    for (int i = 0; i < count; i++) total += va_arg(list, int);
    while (count--) total += va_arg(copy, int) * 1000LL;
    va_end(copy);
    va_end(list);
    return total;
}

static void several(const char *kinds, ...) {
    va_list list;
    va_start(list, kinds);
    for (; *kinds; kinds++) {
        switch (*kinds) {
        case 'i': printf("%d ", va_arg(list, int)); break;
        case 'l': printf("%lld ", va_arg(list, long long)); break;
        case 'd': printf("%g ", va_arg(list, double)); break;
        case 's': printf("%s ", va_arg(list, const char *)); break;
        case 't': printf("%d ", va_arg(list, struct tiny).c); break;
        case 'p': { struct pair p = va_arg(list, struct pair); printf("%d/%g ", p.a, p.b); break; }
        case 'f': printf("%g ", va_arg(list, struct floats).z); break;
        case 'L': printf("%d ", va_arg(list, struct large).values[3]); break;
        }
    }
    printf("\n");
    va_end(list);
}

static int next(va_list *list) { return va_arg(*list, int); }
static int through_pointer(int count, ...) {
    va_list list;
    int total = 0;
    va_start(list, count);
    while (count--) total = total * 10 + next(&list);
    va_end(list);
    return total;
}
static void report(const char *format, ...) {
    char buffer[100];
    va_list list;
    va_start(list, format);
    vsnprintf(buffer, sizeof buffer, format, list);
    va_end(list);
    printf("[%s]\n", buffer);
}

inline int square(int x) { return x * x; }
extern inline int cube(int x) { return x * square(x); }
static inline int twice(int x) { return x + x; }
extern int square(int x);

static int compare(const void *a, const void *b) { return *(const int *)a - *(const int *)b; }
static int real_name(int x) { return x + 7; }
extern int other_name(int x) __attribute__((alias("exported_name")));
int exported_name(int x) { return x + 70; }
int missing(void) __attribute__((weak));
int placed __attribute__((section(".data.placed"))) = 12;
int aligned_object __attribute__((aligned(64))) = 1;
int renamed(const char *text) __asm__("atoi");
static int started;
__attribute__((constructor)) static void start(void) { started = 1; }
__attribute__((noinline)) static int apply(int (*f)(int), int x) { return f(x); }
static int (*choose(int n))(int) { return n ? twice : real_name; }
static void unused_helper(void);
extern void not_there(void);
static inline void never_used(void) { not_there(); unused_helper(); }
static void unused_helper(void) { not_there(); }

// Called with other arguments than the definition takes.
int takes_one();
struct pair pair_of();
static int call_with_more(void) { return takes_one(1, 2.5f) + pair_of(3, 4).a; }
int takes_one(int x) { return x; }
struct pair pair_of(int x) { return (struct pair){x, x}; }

int main(void) {
    int values[] = {5, 2, 9, 1};
    printf("%d %d\n", take(tiny('a'), pair(1, 2.5), floats(1), large(3), mixed((struct mixed){1, 2, {3, 4, 5}}, 10), (union either){6}),
           large(5).values[7]);
    printf("%d %g %g %d\n", tiny(9).c, pair(3, 4.5).b, floats(2).y, mixed((struct mixed){.s = 1}, 3).c[1]);
    printf("%lld\n", add_all(5, 1, 2, 3, 4, 5));
    several("ildsdl", 1, 2LL, 3.5, "four", 5.25, 6LL);
    several("tpfLidpi", tiny(7), pair(8, 9.5), floats(3), large(100), 4, 1.5, pair(1, 2), 3);
    printf("%d\n", through_pointer(4, 1, 2, 3, 4));
    report("%d-%s-%g", 5, "x", 2.5);
    printf("%d %d %d %d\n", square(5), cube(3), twice(4), apply(square, 6));
    qsort(values, 4, sizeof *values, compare);
    printf("%d %d %d\n", values[0], values[3], choose(0)(1) + choose(1)(1));
    printf("%d %d %d %d\n", other_name(1), missing == 0, placed, (int)((unsigned)&aligned_object % 64));
    printf("%d\n", call_with_more());
    printf("%d %d %d\n", renamed("321"), started, apply(other_name, 2));
    return 0;
}
