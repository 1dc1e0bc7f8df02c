// The C library's functions on texts, memory, characters and numbers in text form.
#include <ctype.h>
#include <errno.h>
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

static int sign(int n) { return (n > 0) - (n < 0); }

static void characters(void) {
    unsigned sum = 0;
    for (int c = -1; c < 256; c++) {
        const unsigned classes = !!isalpha(c) | !!isdigit(c) << 1 | !!isalnum(c) << 2 | !!isspace(c) << 3 |
                                 !!isupper(c) << 4 | !!islower(c) << 5 | !!ispunct(c) << 6 | !!isprint(c) << 7 |
                                 !!isgraph(c) << 8 | !!iscntrl(c) << 9 | !!isxdigit(c) << 10 | !!isblank(c) << 11;
        sum = sum * 31 + classes + (unsigned)toupper(c) * 3 + (unsigned)tolower(c);
    }
    printf("characters %u\n", sum);
    int (*classify)(int) = isalpha;
    int (*change)(int) = toupper;
    printf("through pointers %d %d %c\n", !!classify('x'), !!classify('1'), change('q'));
}

static void searches(void) {
    const char *text = "the quick brown fox";
    printf("%s|%s|%s|%s\n", strchr(text, 'q'), strrchr(text, 'o'), strstr(text, "own"), strpbrk(text, "xyz"));
    printf("%zu %zu %zu\n", strlen(text), strspn(text, "thequick "), strcspn(text, "b"));
    printf("%d %d %d\n", strchr(text, 'Q') == NULL, strchr(text, 0) == text + 19, memchr(text, 'k', 8) == NULL);
    printf("%d %d %d %d\n", sign(strcmp("abc", "abd")), sign(strncmp("abc", "abd", 2)),
           sign(memcmp("a\xff", "a\x01", 2)), sign(strcasecmp("HeLLo", "hEllO")));
}

static void copies(void) {
    char a[40], b[40];
    memset(a, '#', sizeof a);
    strncpy(a, "short", 10);
    printf("%s %d %c\n", a, a[9], a[10]);
    strcpy(b, a);
    strcat(b, "+more");
    strncat(b, "and more", 3);
    printf("%s %zu\n", b, strlen(b));
    memmove(b + 2, b, 8);
    printf("%s\n", b);
    printf("%s\n", stpcpy(a, "end") - 3);
    char *copy = strdup("a copy"), *part = strndup("a part of it", 6);
    printf("%s, %s\n", copy, part);
    free(copy);
    free(part);
}

static void tokens(void) {
    char list[] = "one, two;;three ,four";
    for (char *word = strtok(list, " ,;"); word; word = strtok(NULL, " ,;")) printf("[%s]", word);
    char inner[] = "a:b c:d", *outer_state, *inner_state;
    for (char *pair = strtok_r(inner, " ", &outer_state); pair; pair = strtok_r(NULL, " ", &outer_state))
        for (char *part = strtok_r(pair, ":", &inner_state); part; part = strtok_r(NULL, ":", &inner_state))
            printf("<%s>", part);
    char fields[] = "x,,z", *rest = fields;
    for (char *field; (field = strsep(&rest, ","));) printf("{%s}", field);
    printf("\n");
}

static void number(const char *text, int base) {
    char *end;
    errno = 0;
    const long value = strtol(text, &end, base);
    const int error = errno;
    errno = 0;
    const unsigned long word = strtoul(text, NULL, base);
    printf("'%s' %d: %ld '%s' %d, %lu %d\n", text, base, value, end, error == ERANGE, word, errno == ERANGE);
}

static void numbers(void) {
    const char *const texts[] = {"0",          "-1",         "  +42abc",     "2147483647", "2147483648", "-2147483648",
                                 "-2147483649", "4294967295", "4294967296", "-4294967296", "0x1fg",      "0x",
                                 "017",         "",           " -",          "zz",         "1e5"};
    for (unsigned i = 0; i < sizeof texts / sizeof *texts; i++) {
        number(texts[i], 10);
        number(texts[i], 0);
        number(texts[i], 36);
    }
    printf("%lld %llu\n", strtoll("-9223372036854775809", NULL, 10), strtoull("18446744073709551615", NULL, 10));
    printf("%d %ld %lld %g\n", atoi("12x"), atol("-34"), atoll("1234567890123"), atof("2.5e-3"));
    char *end;
    const double value = strtod("  -1.25e2xyz", &end);
    printf("%g '%s' %g %g %g\n", value, end, strtod("inf", NULL), strtod("0x1.8p3", NULL), (double)strtof("0.1", NULL));
    printf("%" PRIdMAX " %" PRIuMAX "\n", imaxabs(-5), strtoumax("77", NULL, 8));
}

int main(void) {
    characters();
    searches();
    copies();
    tokens();
    numbers();
    printf("%s\n", strerror(ENOENT));
    return 0;
}
