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
    asm volatile("" ::: "memory");
    asm("nop");
    if (argc > 100) __builtin_unreachable();
}
