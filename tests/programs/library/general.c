// stdlib.h and the compiler's library: memory, sorting, random numbers, quotients, bits; and how programs end.
#include <assert.h>
#include <limits.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static unsigned comparisons, order;

static int compare_ints(const void *a, const void *b) {
    const int x = *(const int *)a, y = *(const int *)b;
    comparisons++;
    order = order * 31 + (unsigned)x * 7 + (unsigned)y;
    return (x > y) - (x < y);
}

struct entry {
    char name[37];
    int key;
};

static int compare_keys(const void *a, const void *b) {
    comparisons++;
    return ((const struct entry *)a)->key - ((const struct entry *)b)->key;
}

static void sorting(void) {
    int numbers[101];
    for (int i = 0; i < 101; i++) numbers[i] = i * 37 % 101 * (i % 3 ? 1 : -1);
    qsort(numbers, 101, sizeof *numbers, compare_ints);
    printf("sorted with %u comparisons %u:", comparisons, order);
    for (int i = 0; i < 101; i += 10) printf(" %d", numbers[i]);
    const int key = numbers[33], none = 1000;
    printf("; %td %d\n", (int *)bsearch(&key, numbers, 101, sizeof key, compare_ints) - numbers,
           bsearch(&none, numbers, 101, sizeof none, compare_ints) == NULL);
    struct entry entries[20];
    for (int i = 0; i < 20; i++) {
        snprintf(entries[i].name, sizeof entries[i].name, "entry %d", i);
        entries[i].key = i % 4;
    }
    comparisons = 0;
    qsort(entries, 20, sizeof *entries, compare_keys);
    printf("%u:", comparisons);
    for (int i = 0; i < 20; i++) printf(" %s", entries[i].name + 6);
    printf("\n");
}

static void memory(void) {
    int *block = calloc(10, sizeof *block);
    for (int i = 0; i < 10; i++) block[i] += i;
    block = realloc(block, 1000 * sizeof *block);
    int sum = 0;
    for (int i = 0; i < 10; i++) sum += block[i];
    free(block);
    void *aligned = NULL;
    const int result = posix_memalign(&aligned, 64, 100);
    printf("%d %d %u\n", sum, result, (unsigned)aligned % 64);
    free(aligned);
    free(NULL);
    volatile size_t many = 0x10001;
    void *volatile none = calloc(many, many);
    printf("%d\n", none == NULL);
}

static void random_numbers(void) {
    printf("%d %d %d;", rand(), rand(), rand());
    srand(12345);
    unsigned sum = 0;
    for (int i = 0; i < 1000; i++) sum = sum * 3 + (unsigned)rand();
    srandom(0);
    unsigned state = 7;
    printf(" %u; %ld;", sum, random());
    const int first = rand_r(&state);
    printf(" %d %u;", first, state);
    srand48(99);
    printf(" %.12f", drand48());
    printf(" %ld", lrand48());
    printf(" %ld\n", mrand48());
}

static void arithmetic(void) {
    const div_t q = div(-17, 5);
    const ldiv_t l = ldiv(17, -5);
    const lldiv_t w = lldiv(-1000000000000LL, 7);
    printf("%d %d, %ld %ld, %lld %lld\n", q.quot, q.rem, l.quot, l.rem, w.quot, w.rem);
    printf("%d %ld %lld\n", abs(-3), labs(-4L), llabs(-5LL));
    volatile unsigned u = 0x00f0a000;
    volatile unsigned long long v = 0x00f0a00000000000;
    printf("%d %d %d %d %d %d\n", __builtin_clz(u), __builtin_ctz(u), __builtin_popcount(u), __builtin_parity(u),
           __builtin_ffs((int)u), __builtin_clrsb((int)~u));
    printf("%d %d %d %d %d %llx\n", __builtin_clzll(v), __builtin_ctzll(v), __builtin_popcountll(v),
           __builtin_parityll(v), __builtin_ffsll((long long)v), __builtin_bswap64(v));
    int cell = 5, other = 9;
    const int old = __sync_fetch_and_add(&cell, 3);
    const int swapped = __sync_bool_compare_and_swap(&cell, 8, 20);
    __atomic_store_n(&other, cell, __ATOMIC_SEQ_CST);
    printf("%d %d %d %d\n", old, swapped, __atomic_exchange_n(&cell, 1, __ATOMIC_ACQ_REL), other);
}

static void locale(void) {
    const struct lconv *conventions = localeconv();
    printf("%s '%s' '%s' '%s' %d %d %d\n", setlocale(LC_ALL, NULL), conventions->decimal_point, conventions->thousands_sep,
           conventions->negative_sign, conventions->int_frac_digits == CHAR_MAX, conventions->int_n_sign_posn == CHAR_MAX,
           setlocale(LC_ALL, "no such locale") == NULL);
}

static void last(void) { printf("last\n"); }
static void first(void) {
    printf("first\n");
    atexit(last);
}

int main(void) {
    sorting();
    memory();
    random_numbers();
    arithmetic();
    locale();
    assert(comparisons > 0);
    atexit(first);
    exit(259);
}
