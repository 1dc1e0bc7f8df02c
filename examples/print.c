/* A formatter of its own for numbers and text, with unnamed arguments, held against the C library's.
 *
 * Exercises: functions with unnamed arguments of 32 and 64 bits, doubles and pointers, va_list passed on, the digits
 * of numbers in several bases, small state machines.
 */
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct sink {
    char *at, *end;
    unsigned total; /* characters wanted, like snprintf's result */
};

struct format {
    int left, zero, plus, alternate, width, precision, longs;
};

static void put(struct sink *s, char c)
{
    if (s->at < s->end)
        *s->at++ = c;
    s->total++;
}

static void pad(struct sink *s, char c, int n)
{
    while (n-- > 0)
        put(s, c);
}

static void put_field(struct sink *s, const struct format *f, const char *prefix, const char *text, int n)
{
    int prefix_length = (int)strlen(prefix), fill = f->width - n - prefix_length;

    if (!f->left && !f->zero)
        pad(s, ' ', fill);
    for (; *prefix; prefix++)
        put(s, *prefix);
    if (!f->left && f->zero)
        pad(s, '0', fill);
    for (int i = 0; i < n; i++)
        put(s, text[i]);
    if (f->left)
        pad(s, ' ', fill);
}

static void put_number(struct sink *s, struct format *f, uint64_t value, unsigned base, const char *prefix, int upper)
{
    char digits[66], *p = digits + sizeof digits;
    const char *set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    int n = 0;

    for (; value; value /= base, n++)
        *--p = set[value % base];
    for (; n < (f->precision < 0 ? 1 : f->precision); n++)
        *--p = '0';
    if (f->precision >= 0)
        f->zero = 0;
    put_field(s, f, prefix, p, n);
}

static void put_fixed(struct sink *s, struct format *f, double x)
{
    char text[64];
    int n = 0, places = f->precision < 0 ? 6 : f->precision;
    const char *sign = x < 0 ? "-" : f->plus ? "+" : "";
    uint64_t scale = 1;

    if (x < 0)
        x = -x;
    for (int i = 0; i < places; i++)
        scale *= 10;
    uint64_t whole = (uint64_t)x;
    double scaled = (x - (double)whole) * (double)scale;
    uint64_t part = (uint64_t)scaled, last = places ? part : whole;
    double rest = scaled - (double)part;
    if (rest > 0.5 || (rest == 0.5 && last & 1)) /* half way goes to the even digit */
        part++;
    if (part >= scale) {
        part -= scale;
        whole++;
    }
    char digits[24], *p = digits + sizeof digits;
    do
        *--p = (char)('0' + whole % 10);
    while (whole /= 10);
    while (p < digits + sizeof digits)
        text[n++] = *p++;
    if (places)
        text[n++] = '.';
    for (uint64_t unit = scale / 10; unit; unit /= 10)
        text[n++] = (char)('0' + part / unit % 10);
    put_field(s, f, sign, text, n);
}

static const char *read_flags(const char *p, struct format *f)
{
    memset(f, 0, sizeof *f);
    for (;; p++)
        switch (*p) {
        case '-': f->left = 1; break;
        case '0': f->zero = 1; break;
        case '+': f->plus = 1; break;
        case '#': f->alternate = 1; break;
        default: return p;
        }
}

static const char *read_count(const char *p, int *count, va_list *arguments)
{
    if (*p == '*') {
        *count = va_arg(*arguments, int);
        return p + 1;
    }
    for (*count = 0; *p >= '0' && *p <= '9'; p++)
        *count = *count * 10 + *p - '0';
    return p;
}

static void put_one(struct sink *s, struct format *f, char kind, va_list *arguments)
{
    switch (kind) {
    case 'd': {
        int64_t v = f->longs >= 2 ? va_arg(*arguments, long long) : va_arg(*arguments, int);
        put_number(s, f, v < 0 ? 0 - (uint64_t)v : (uint64_t)v, 10, v < 0 ? "-" : f->plus ? "+" : "", 0);
        break;
    }
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
        uint64_t v = f->longs >= 2 ? va_arg(*arguments, unsigned long long) : va_arg(*arguments, unsigned);
        const char *prefix = f->alternate && v ? (kind == 'x' ? "0x" : kind == 'X' ? "0X" : "") : "";
        put_number(s, f, v, kind == 'u' ? 10 : kind == 'o' ? 8 : 16, prefix, kind == 'X');
        break;
    }
    case 'c': {
        char c = (char)va_arg(*arguments, int);
        put_field(s, f, "", &c, 1);
        break;
    }
    case 's': {
        const char *text = va_arg(*arguments, const char *);
        int n = 0;
        while (text[n] && (f->precision < 0 || n < f->precision))
            n++;
        put_field(s, f, "", text, n);
        break;
    }
    case 'f': put_fixed(s, f, va_arg(*arguments, double)); break;
    default: put(s, kind);
    }
}

static int vformat(char *out, size_t size, const char *p, va_list arguments)
{
    struct sink s = {out, size ? out + size - 1 : out, 0};
    struct format f;
    va_list rest;

    va_copy(rest, arguments);
    while (*p) {
        if (*p != '%') {
            put(&s, *p++);
            continue;
        }
        p = read_flags(p + 1, &f);
        p = read_count(p, &f.width, &rest);
        f.precision = -1;
        if (*p == '.')
            p = read_count(p + 1, &f.precision, &rest);
        for (; *p == 'l'; p++)
            f.longs++;
        put_one(&s, &f, *p++, &rest);
    }
    va_end(rest);
    if (size)
        *s.at = 0;
    return (int)s.total;
}

static int cases, failures;

static void check(const char *format, ...) __attribute__((format(printf, 1, 2)));

static void check(const char *format, ...)
{
    char ours[80], theirs[80];
    va_list a, b;

    va_start(a, format);
    va_copy(b, a);
    int n = vformat(ours, sizeof ours, format, a);
    int m = vsnprintf(theirs, sizeof theirs, format, b);
    va_end(b);
    va_end(a);
    cases++;
    if (n == m && !strcmp(ours, theirs)) {
        if (cases < 20 || cases % 100 < 3)
            printf("[%s]\n", ours);
        return;
    }
    failures++;
    printf("DIFFERENT: [%s] %d, [%s] %d\n", ours, n, theirs, m);
}

static double mean(int count, ...)
{
    va_list v;
    double sum = 0;

    va_start(v, count);
    for (int i = 0; i < count; i++)
        sum += i % 2 ? (double)va_arg(v, long long) : va_arg(v, double);
    va_end(v);
    return sum / count;
}

int main(void)
{
    check("%d %d %u %c%c%%", 0, -42, 4000000000u, 'o', 'k');
    check("[%5d|%-5d|%05d|%+d]", 42, 42, 42, 42);
    check("%x %X %#x %#o %08x", 255u, 48879u, 4096u, 0u, 0xBEEFu);
    check("%lld %llu %llx", -9223372036854775807ll - 1, 18446744073709551615ull, 0x123456789ABCDEFull);
    check("%d %lld %d %lld %d", 1, 2ll, 3, 4ll, 5);
    check("%s|%10s|%-10s|%.3s|%*s", "text", "right", "left", "cut off", 7, "star");
    check("%f %.2f %.0f %+.3f %9.4f|%-9.1f|", 3.25, 2.675, 0.75, 1.0, -12.5, 99.96);
    check("%d %f %s %lld %c %f", 7, 1.5, "mixed", 8ll, 'x', -0.125);
    check("%.5d|%8.3d|%-8.3x|%.0d|", 42, 7, 15u, 0);
    for (int i = 0; i < 700; i++)
        check("%*d %-*x %0*lld %.*f", i % 12, i * 9973 - 300000, i % 7, (unsigned)i * 40503u, i % 15,
              (long long)i * i * i * 1000003, i % 5, i / 8.0);
    printf("%.4f\n", mean(5, 1.5, 2ll, 3.5, -4ll, 10.25));
    printf("%d cases, %d failures\n", cases, failures);
    return failures != 0;
}
