// Formatted output and input: flags, widths, lengths, lists of arguments, and what scanf takes.
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static void list(const char *format, ...) {
    char text[200];
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int size = vsnprintf(text, 12, format, arguments);
    va_end(arguments);
    printf("%d '%s' ", size, text);
    vprintf(format, again);
    va_end(again);
    printf("\n");
}

static void integers(void) {
    const int values[] = {0, 1, -1, 42, -12345, INT32_MAX, INT32_MIN};
    for (unsigned i = 0; i < sizeof values / sizeof *values; i++) {
        const int n = values[i];
        printf("[%d|%i|%u|%x|%X|%o]", n, n, n, n, n, n);
        printf("[%8d|%-8d|%08d|%+d|% d|%.5d|%8.5d|%-+8.5d]", n, n, n, n, n, n, n, n);
        printf("[%#x|%#o|%#.8x|%#10x]", n, n, n, n);
        printf("[%hd|%hu|%hhd|%hhu|%ld|%lu]", n, n, n, n, (long)n, (unsigned long)n);
        printf("[%lld|%llu|%llx|%020lld|%jd|%zd|%td]\n", (long long)n * 1000003, (unsigned long long)n, (long long)n,
               (long long)n, (intmax_t)n, (ptrdiff_t)n, (ptrdiff_t)n);
    }
    printf("[%.0d|%5.0d|%-5c|%5c|%%|%*d|%-*d|%.*d]\n", 0, 0, 'x', 'y', 6, 1, 6, 2, 4, 3);
}

static void reals(void) {
    const double values[] = {0.0, -0.0, 1.0, -2.5, 0.1, 1e100, 1.5e-7, 123456789.0, 1.0 / 0.0, 0.0 / 0.0, 2.5, 3.5};
    for (unsigned i = 0; i < sizeof values / sizeof *values; i++) {
        const double d = values[i] == values[i] ? values[i] : __builtin_nan("");
        printf("[%f|%e|%g|%.0f|%.3f|%.10g|%+.2e|%12.4f|%-12.4f|%012.4f|%#g|%#.0f]\n", d, d, d, d, d, d, d, d, d, d, d, d);
        printf("[%a|%.2a|%G|%E|%Lf|%F]\n", d, d, d, d, (long double)d, d);
    }
}

static void texts(void) {
    printf("[%s|%10s|%-10s|%.2s|%10.2s|%-10.2s|%.*s]\n", "text", "text", "text", "text", "text", "text", 3, "text");
    const char open[3] = {'a', 'b', 'c'};
    printf("[%.3s]\n", open);
    int so_far = 0;
    const int all = printf("12345%n67\n", &so_far);
    printf("%d %d\n", so_far, all);
    list("%d %s %lld %c %g", 1, "two", 3LL, '4', 5.0);
    list("%g %d %g %lld %d", 0.5, 1, 1.5, 2LL, 3);
    char small[5];
    const int wanted = snprintf(small, sizeof small, "%s", "longer than that");
    printf("%s %d\n", small, wanted);
    printf("%d\n", snprintf(NULL, 0, "%d-%d", 123, 456));
    fprintf(stdout, "%s\n", "to a stream");
    fputs("puts ", stdout);
    putchar('c');
    putc('\n', stdout);
}

static void scanned(void) {
    int a = -1, b = -1, c = -1, n = -1;
    unsigned u = 0, x = 0;
    char word[20] = "", set[20] = "", three[4] = "";
    double d = 0;
    float f = 0;
    long long wide = 0;
    short half = 0;
    signed char byte = 0;
    printf("%d", sscanf("10 20,30", "%d %d,%d%n", &a, &b, &c, &n));
    printf(" %d %d %d %d\n", a, b, c, n);
    printf("%d", sscanf("0x1F 077 9 ff", "%i %i %i %x", &a, &b, &c, &x));
    printf(" %d %d %d %u\n", a, b, c, x);
    printf("%d", sscanf("word [a-z]12 xyz", "%19s [%19[a-z-]]%u %3c", word, set, &u, three));
    printf(" %s %s %u %s\n", word, set, u, three);
    printf("%d", sscanf("1.5e2 -.25 123456789012 40000 300", "%lf %f %lld %hd %hhd", &d, &f, &wide, &half, &byte));
    printf(" %g %g %lld %d %d\n", d, (double)f, wide, half, byte);
    printf("%d %d %d %d\n", sscanf("", "%d", &a), sscanf("x", "%d", &a), sscanf("5", "%d%d", &a, &b), sscanf("7 8", "%*d%d", &a));
    printf("%d", a);
    printf(" %d", sscanf("12345", "%2d%3d", &a, &b));
    printf(" %d %d", a, b);
    printf(" %d", sscanf("key=value", "%[^=]=%s", word, set));
    printf(" %s %s", word, set);
    printf(" %d", sscanf("50%", "%d%%%n", &a, &n));
    printf(" %d %d\n", a, n);
    printf("%d", sscanf("99999999999 -5", "%d %u", &a, &u));
    printf(" %d %u\n", a, u);
}

int main(void) {
    integers();
    reals();
    texts();
    scanned();
    return 0;
}
