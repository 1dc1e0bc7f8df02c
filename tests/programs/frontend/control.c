// Statements: loops, switches with ranges and fallthrough, a switch into a loop, goto into a block, statement expressions.
#include <stdio.h>

static int classify(int c) {
    switch (c) {
    case 'a' ... 'z': return 1;
    case 'A' ... 'Z': return 2;
    case '0': case '1': case '2': return 3;
    default: break;
    case -5: c = 100;
    case 277: return c;
    }
    return 0;
}

static int by_long(long long v) { switch (v) { case 1LL << 40: return 1; case -1: return 2; } return 3; }
static int by_unsigned(unsigned char v) { switch (v) { case 200: return 1; case 255: return 2; default: return 3; } }
static int by_enum(enum { A, B, C } v) { switch (v) { case A: return 10; case B: return 20; case C: return 30; } return -1; }
static int only_default(int v) { switch (v) { default: v++; } switch (v); switch (v) { if (0) case 3: v = 9; } return v; }

static int copy_by_device(char *to, const char *from, int count) {
    int n = (count + 3) / 4;
    switch (count % 4) {
    case 0: do { *to++ = *from++;
    case 3:      *to++ = *from++;
    case 2:      *to++ = *from++;
    case 1:      *to++ = *from++;
            } while (--n > 0);
    }
    return n;
}

static int jumps(int n) {
    int total = 0;
    goto inside;
    while (n > 0) {
        int kept;
        total += n;
    inside:
        kept = n--;
        if (kept == 3) continue;
        if (kept < -10) goto out;
        total += 100;
    }
out:
    for (;;) { if (++total % 7 == 0) break; }
    do { total++; if (total % 5 == 0) continue; } while (total % 11);
    return total;
}

static int nested(void) {
    int count = 0;
    for (int i = 0; i < 5; i++) {
        switch (i) {
        case 1: continue;
        case 3: for (int j = 0; j < 4; j++) { if (j == 2) break; count += 10; } break;
        default: count++;
        }
        while (1) { if (count++ > 3) break; }
        if (0) { unreachable: count += 1000; }
    }
    if (count < 500) goto unreachable_once;
    return count;
unreachable_once:
    count += 500;
    if (count == 12345) goto unreachable;
    return count;
}

#define MAX(a, b) ({ __typeof__(a) left_ = (a); __typeof__(b) right_ = (b); left_ > right_ ? left_ : right_; })
#define SUM(n) ({ int sum_ = 0; for (int k_ = 1; k_ <= (n); k_++) sum_ += k_; sum_; })

static int expressions(int x) {
    int y = MAX(x, MAX(3, x * 2)) + SUM(x);
    y += x > 2 ? SUM(10) : SUM(20);
    if (x > 1 && SUM(x) == 6) y += 1000;
    while (({ int done = y % 2; if (done) y++; !done; })) y += 3;
    ({ struct { int a; } s = {y}; s; }).a;
    return ({ if (y > 50) y -= 50; y; }) + ({ goto skip; skip: x; });
}

static void old_style(a, b, c, d) char a; float b; short c; double *d; { printf("%d %g %d %g\n", a, b, c, *d); }

static int no_result(int x) { if (x) return 5; }

static const char *where(void) { return __func__; }

// Code that nothing leads to but a label in it, constant switches, conditions that are half constant, ranges too large for cases.
static int behind_return(int n) { return n; switch (n) { static int kept = 5; case 1: return kept; more: return 2; } if (n) goto more; }
static int constant_switch(int n) { switch (2) { case 1: while (n) { n--; case 2: n += 3; if (n > 20) break; } default: n += 1000; break; case 3: n = 0; } return n; }
static int into_loop(int n) { goto in; while (n < 10) { static int count = 40; in: n += count++; } return n; }
static int dead_if(int n) { goto second; first: return n; if (0) { third: n += 100; second: if (n > 500) goto first; } goto third; }
static int half_constant(int n) {
    if (n > 3 && 1) n++;
    if ((n += 2) && 0) n = 99;
    if ((n += 3) || 1) n *= 2;
    return n && (n++, 1) ? n : (n > 0 && 0) + ((n++ || 1) ? 5 : 6);
}
static int large_ranges(long long n) {
    switch (n) {
    case -5LL ... 5: return 1;
    case 1LL << 33 ... (1LL << 33) + 100: return 2;
    case -(1LL << 62) ... -(1LL << 40): return 3;
    default: return 4;
    }
}
static int all_bytes(unsigned char c) { switch (c) { case 250 ... 255: return 1; case 0 ... 63: return 2; case 64 ... 249: return 3; } return 4; }

static void without_control(void) {
    static const long long values[] = {0, -6, 5, 1LL << 33, (1LL << 33) + 101, -(1LL << 50), -(1LL << 39)};
    for (int n = -1; n < 6; n++)
        printf("%d %d %d %d %d, ", behind_return(n), constant_switch(n), into_loop(n), dead_if(n), half_constant(n));
    for (int n = 0; n < 7; n++) printf("%d", large_ranges(values[n]));
    for (int n = 0; n < 256; n += 15) printf("%d", all_bytes((unsigned char)n));
    printf("\n");
}

// `break` and `continue` in a loop's own condition or increment are about that loop.
static void in_conditions(void) {
    int n = 0;
    for (int i = 0, k; i < 2; i++, n += 100) {
        k = 0;
        while (({ if (k == 2) break; 1; })) k++, n++;
        while (({ if (++k == 4) continue; k < 7; })) n++;
        do k++, n++; while (({ if (k == 12) break; 1; }));
        do k++, n++; while (({ if (k == 15) { k = 20; continue; } k < 20; }));
        for (; ({ if (k == 22) break; 1; });) k++, n++;
        for (;({ if (k == 23) { k += 3; continue; } k < 28; }); k++) n++;
        for (; k < 35; ({ if (k == 31) break; k++; })) n++;
    }
    printf("%d\n", n);
}

int main(int argc, char **argv) {
    double d = 2.5;
    char text[16] = {0};
    printf("%d %d %d %d %d %d\n", classify('q'), classify('Q'), classify('1'), classify('-'), classify(-5), classify(277));
    printf("%d %d %d\n", by_long(1LL << 40), by_long(-1), by_long(0));
    printf("%d %d %d %d %d\n", by_unsigned(200), by_unsigned(255), by_unsigned(1), by_enum(1), by_enum(7));
    printf("%d %d\n", only_default(2), only_default(5));
    copy_by_device(text, "duff's device", 13);
    printf("%s\n", text);
    printf("%d %d %d\n", jumps(5), jumps(0), nested());
    printf("%d %d %d\n", expressions(1), expressions(3), expressions(6));
    old_style('x' + 256, 1.25f, 70000, &d);
    printf("%d %s %s\n", no_result(1), where(), __FUNCTION__);
    without_control();
    in_conditions();
    asm volatile("" ::: "memory");
    asm("nop");
    if (argc > 100) __builtin_unreachable();
}
