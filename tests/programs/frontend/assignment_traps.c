// Where an assignment looks as if it could be copied, moved or dropped and may not: each function is one trap for
// the passes over assignments. Values come from volatile objects, so that nothing is known before the program runs.
#include <alloca.h>
#include <math.h>
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

static volatile int seven = 7, zero = 0;
static int calls;
static int count(int n) { return calls++, n; }

// --- Addresses that escape ---

static int *kept;
static void keep(int *p) { kept = p; }
static void change_kept(void) { *kept += 100; }
struct holder { int *inner; int other; };

static int through_call(int n) {
    int x = n;
    keep(&x);
    x = n + 1;
    change_kept();
    int y = x;
    x = 0;
    change_kept();
    return y * 1000 + x;
}
static int through_member(int n) {
    int x = n;
    struct holder h = {&x, 1};
    struct holder copy = h;
    x = 2;
    *copy.inner += n;
    return x;
}
static int through_conversion(int n) {
    int x = n, y = n;
    unsigned long number = (unsigned long)&x;
    x = 1;
    *(int *)(number ^ 0) = 40 + y;
    return x;
}
static int through_array(int n) {
    int x = n, *list[2] = {0, &x};
    x = 5;
    list[seven - 6][0]++;
    return x;
}

// --- Control that comes back ---

static jmp_buf place;
static int copied_before_setjmp(int n) {
    int y = n;
    int code = setjmp(place);
    printf("%d %d, ", code, y);
    if (code < 2) {
        n = seven + code; // not read after the jump
        printf("%d, ", n);
        longjmp(place, code + 1);
    }
    return y;
}
static int delayed_past_setjmp(int n) {
    int x = n * 3;
    if (setjmp(place) == 0) {
        n = seven;
        printf("%d, ", n);
        longjmp(place, 1);
    }
    return x * 2;
}
static int around_loops(int n) {
    int x = 1, y = n, sum = 0;
    do {
        sum = sum * 10 + x + y;
        x = 2;
        y = sum & 3;
        if (n == 2) y = n;
    } while (--n > 0);
    for (int i = 0, last = 9; i < 3; i++) {
        sum = sum * 10 + last;
        last = i;
    }
    return sum + x + y;
}

// --- The same bytes under another name ---

static unsigned union_members(float f) {
    union { float f; unsigned u; unsigned char c[4]; } both;
    both.f = f;
    unsigned before = both.u;
    both.c[3] = 0;
    both.f = both.f + 1;
    return before ^ both.u;
}
struct pair { short low, high; int wide; };
static struct pair partial(struct pair p) {
    struct pair q = p;
    q.low = 1;
    p.low = 2;
    struct pair r = q;
    q = p;
    q.high = r.low;
    memcpy(&q.wide, &p, sizeof q.wide);
    return q;
}
static int bit_fields(int n) {
    struct { unsigned low : 3; int top : 2; } bits = {0, 0};
    int x = bits.low = n, y = bits.top = n;
    return x * 100 + y * 10 + (int)bits.low;
}
static int narrowed(int n) {
    unsigned char c = n;
    int x = c = n + 1;
    return x * 1000 + c + (short)(n << 12);
}

// --- Copies whose source changes ---

static int on_one_path(int n) {
    int x = n, y = x, z = y;
    if (n > 5) x = 9;
    if (n > 6) z = x;
    return x * 100 + y * 10 + z;
}
static int both_ways(int a, int b) {
    int t = a;
    a = b;
    b = t;
    t = a;
    if (a < b) a = b, b = t;
    return a * 10 + b;
}
static int parameters(int a, int b) {
    int old = a;
    a += b;
    b = old;
    while (b > 5) b--, old = a;
    return a * 100 + b * 10 + old % 10;
}
static int restricted(int *restrict p, int *q, int n) {
    int *restrict own = p;
    int *copy = q;
    *own = n;
    q = own + 1;
    *q = *copy + 1;
    own = q;
    return *own * 10 + p[0];
}
static int inside_expressions(int n) {
    int x = n, y;
    y = ((x = n + 1) > 3 && (x = 2)) + n;
    y++ < n ? (x += 10) : (x = 3);
    return y * 1000 + x;
}

// --- Values that are equal and yet others ---

static int signs(double zero_or_less) {
    double a = 0.0, b = -0.0;
    double x = a;
    int bits = signbit(x) != 0;
    x = b;
    bits = bits * 2 + (signbit(x) != 0);
    if (a == zero_or_less) a = zero_or_less;
    bits = bits * 2 + (signbit(a) != 0);
    float f = -0.0f;
    f = f + 0.0f;
    return bits * 2 + (signbit(f) != 0);
}
static int not_a_number(double d) {
    double x = d;
    int same = x == d;
    x = d;
    return same * 2 + (x != d);
}

// --- Assignments that nobody reads, and what they do besides ---

static int dead_but_for_effects(int n) {
    int x = count(n), y = count(x) + count(2);
    x = seven, x = seven;
    y = x = count(3);
    int unused = n / (n + 1) + count(4);
    for (int i = 0, counted = 0; i < count(2); i++) counted += count(1);
    return x;
}
static int volatile_locals(int n) {
    volatile int x = n;
    int y = x;
    x = y;
    x = x;
    volatile struct pair p = {1, 2, n};
    p.low = p.high;
    int z = p.low;
    p.low = 9;
    return z * 100 + p.low * 10 + y + x;
}
static int frames(int n) {
    char *first = alloca(16);
    int size = n;
    char *second = alloca((unsigned)size);
    size = 4;
    first[0] = 1;
    second[0] = (char)size;
    return first != second ? first[0] * 10 + second[0] : -1;
}
static int labels(int n) {
    void *to = n > 3 ? &&big : &&small;
    int x = 1;
    goto *to;
small:
    x = 2;
    to = &&big;
    goto *to;
big:
    return x * 10 + (to == &&big);
}

int main(void) {
    int block[3] = {1, 2, 3};
    printf("%d %d %d %d\n", through_call(seven), through_member(seven), through_conversion(seven),
           through_array(seven));
    printf("%d\n", copied_before_setjmp(seven));
    printf("%d\n", delayed_past_setjmp(seven - 2));
    printf("%d %d\n", around_loops(seven - 4), around_loops(seven - 5));
    struct pair p = partial((struct pair){3, 4, seven});
    printf("%08x %d %d %d\n", union_members(1.5f), p.low, p.high, p.wide);
    printf("%d %d\n", bit_fields(seven + 6), narrowed(seven + 250));
    printf("%d %d %d\n", on_one_path(seven), on_one_path(seven - 1), on_one_path(3));
    printf("%d %d %d\n", both_ways(1, seven), both_ways(seven, 2), parameters(seven, 9));
    printf("%d %d %d\n", restricted(block, block + 2, seven), inside_expressions(seven), inside_expressions(2));
    printf("%d %d %d\n", signs(-0.0 * seven), not_a_number(zero / 1.0), not_a_number(NAN * seven));
    int result = dead_but_for_effects(seven);
    printf("%d %d\n", result, calls);
    printf("%d %d %d %d\n", volatile_locals(seven), frames(seven), labels(seven), labels(zero));
    return 0;
}
