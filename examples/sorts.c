/* Six ways to sort, on arrays in several orders, each checked against the others.
 *
 * Exercises: array indexing, nested loops, recursion, pointers to functions, comparisons of signed and unsigned
 * numbers, structures copied by value.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define COUNT 1200

struct item {
    int key;
    unsigned short place; /* where the item stood before sorting */
    char tag;
};

static unsigned compares;

static int less(const struct item *a, const struct item *b)
{
    compares++;
    return a->key < b->key;
}

static void swap(struct item *a, struct item *b)
{
    struct item t = *a;
    *a = *b;
    *b = t;
}

static void insertion_sort(struct item *a, int n)
{
    for (int i = 1; i < n; i++) {
        struct item x = a[i];
        int j = i;
        for (; j > 0 && less(&x, &a[j - 1]); j--)
            a[j] = a[j - 1];
        a[j] = x;
    }
}

static void shell_sort(struct item *a, int n)
{
    static const int gaps[] = {701, 301, 132, 57, 23, 10, 4, 1};

    for (unsigned g = 0; g < sizeof gaps / sizeof *gaps; g++) {
        int gap = gaps[g];
        for (int i = gap; i < n; i++)
            for (int j = i; j >= gap && less(&a[j], &a[j - gap]); j -= gap)
                swap(&a[j], &a[j - gap]);
    }
}

static void sift_down(struct item *a, int root, int n)
{
    int child;

    while ((child = 2 * root + 1) < n) {
        if (child + 1 < n && less(&a[child], &a[child + 1]))
            child++;
        if (!less(&a[root], &a[child]))
            return;
        swap(&a[root], &a[child]);
        root = child;
    }
}

static void heap_sort(struct item *a, int n)
{
    for (int i = n / 2 - 1; i >= 0; i--)
        sift_down(a, i, n);
    while (--n > 0) {
        swap(&a[0], &a[n]);
        sift_down(a, 0, n);
    }
}

static void quick_sort(struct item *a, int n)
{
    while (n > 16) {
        struct item pivot = a[n / 2];
        int i = 0, j = n - 1;
        do {
            while (less(&a[i], &pivot))
                i++;
            while (less(&pivot, &a[j]))
                j--;
            if (i <= j)
                swap(&a[i++], &a[j--]);
        } while (i <= j);
        if (j + 1 < n - i) { /* the smaller part by recursion */
            quick_sort(a, j + 1);
            a += i;
            n -= i;
        } else {
            quick_sort(a + i, n - i);
            n = j + 1;
        }
    }
    insertion_sort(a, n);
}

static void merge_sort(struct item *a, int n)
{
    static struct item work[COUNT];

    for (int width = 1; width < n; width *= 2) {
        for (int start = 0; start < n; start += 2 * width) {
            int middle = start + width < n ? start + width : n;
            int end = start + 2 * width < n ? start + 2 * width : n;
            int i = start, j = middle, k = start;
            while (i < middle && j < end)
                work[k++] = less(&a[j], &a[i]) ? a[j++] : a[i++];
            while (i < middle)
                work[k++] = a[i++];
            while (j < end)
                work[k++] = a[j++];
        }
        memcpy(a, work, (size_t)n * sizeof *a);
    }
}

static int compare_items(const void *a, const void *b)
{
    const struct item *x = a, *y = b;

    compares++;
    return x->key < y->key ? -1 : x->key > y->key;
}

static void library_sort(struct item *a, int n) { qsort(a, (size_t)n, sizeof *a, compare_items); }

static const struct method {
    const char *name;
    void (*sort)(struct item *, int);
    int stable;
} methods[] = {
    {"insertion", insertion_sort, 1}, {"shell", shell_sort, 0}, {"heap", heap_sort, 0},
    {"quick", quick_sort, 0},         {"merge", merge_sort, 1}, {"library", library_sort, 0},
};

static void fill(struct item *a, int order)
{
    unsigned seed = 2463534242u;

    for (int i = 0; i < COUNT; i++) {
        seed ^= seed << 13;
        seed ^= seed >> 17;
        seed ^= seed << 5;
        a[i].key = order == 0   ? (int)seed
                   : order == 1 ? i * 7 - 900
                   : order == 2 ? 900 - i * 7
                                : (int)(seed % 17) - 8;
        a[i].place = (unsigned short)i;
        a[i].tag = (char)('a' + i % 26);
    }
}

static const char *verify(const struct item *a, const struct item *before, int stable)
{
    for (int i = 0; i < COUNT; i++) {
        const struct item *origin = &before[a[i].place];
        if (origin->key != a[i].key || origin->tag != a[i].tag)
            return "LOST AN ITEM";
        if (i == 0)
            continue;
        if (a[i].key < a[i - 1].key)
            return "NOT SORTED";
        if (stable && a[i].key == a[i - 1].key && a[i].place < a[i - 1].place)
            return "NOT STABLE";
    }
    return "ok";
}

int main(void)
{
    static const char *const orders[] = {"random", "rising", "falling", "few keys"};
    static struct item before[COUNT], a[COUNT];
    int bad = 0;

    for (int order = 0; order < 4; order++)
        for (unsigned m = 0; m < sizeof methods / sizeof *methods; m++) {
            fill(before, order);
            memcpy(a, before, sizeof a);
            compares = 0;
            methods[m].sort(a, COUNT);
            const char *verdict = verify(a, before, methods[m].stable);
            bad += strcmp(verdict, "ok") != 0;
            /* The number of comparisons of the library's sort is the library's affair. */
            if (methods[m].sort == library_sort)
                compares = 0;
            printf("%-9s %-9s %7u comparisons, median %11d: %s\n", orders[order], methods[m].name, compares,
                   a[COUNT / 2].key, verdict);
        }
    return bad;
}
