// Memory of the stack: arrays of variable length, types made of them, alloca, and ways out of scopes, which give memory back.
#include <alloca.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

// More turns than the stack has room for, so that memory which is not given back ends the program.
enum { TURNS = 3000, BLOCK = 16384 };

static int sum(int n, int m, int a[n][m]) {
    int total = 0;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < m; j++) total += a[i][j];
    return total + (int)sizeof a[0];
}

static int last_of_row(int n, double (*rows)[n], int row) { return (int)*(rows[row + 1] - 1); }

static int counted(int *count) { return ++*count; }

static void types(int n) {
    int evaluated = 2;
    int grid[n][n + 1];
    for (int i = 0; i < n * (n + 1); i++) (&grid[0][0])[i] = i;
    int (*row)[n + 1] = grid;
    row++, row += 1;
    printf("%d %d %d %d\n", sum(n, n + 1, grid), (*row)[0], (int)(row - grid), (int)sizeof *row);
    typedef short rows[counted(&evaluated)][3];
    n = 100;
    rows first, *second = &first;
    evaluated = 50;
    printf("%d %d %d\n", (int)sizeof(rows), (int)sizeof first, (int)sizeof(*second)[0]);
    first[2][1] = 7;
    printf("%d %d %d\n", (*second)[2][1], (int)((char *)(second + 1) - (char *)second), (int)sizeof(int[counted(&evaluated)]));
    __typeof__(grid) other;
    memcpy(other, grid, sizeof other);
    printf("%d %d\n", other[1][2], evaluated);
    double wide[3][n];
    wide[1][n - 1] = 4.5;
    printf("%d %d %d\n", last_of_row(n, wide, 1), (int)sizeof wide, (int)(&wide[2] - &wide[0]));
    int *pointers[n], **end = pointers + n;
    pointers[n - 1] = &evaluated;
    printf("%d %d\n", *end[-1], (int)((uintptr_t)pointers % sizeof(int)));
    void *any = grid;
    printf("%d\n", (*(int (*)[2][n / 25])any)[1][1]);
}

static char *volatile kept;
static void *fill(size_t size, int value) { return memset(alloca(size), value, size); }

static int scopes(int way) {
    int total = 0;
    for (int turn = 0; turn < TURNS; turn++) {
        char block[BLOCK + (turn & 7)];
        kept = block;
        memset(block, turn, 64);
        if (way == 1 && turn % 3) continue;
        if (way == 2 && turn == 2500) break;
        if (way == 3) {
            char inner[sizeof block / 2];
            kept = inner;
            inner[5] = 1;
            if (turn < TURNS - 1) goto next;
            return total + inner[5];
        }
        total += block[63];
    next:;
    }
again:;
    char late[total > 5 ? BLOCK : 5];
    kept = late;
    if (total++ % TURNS) goto again;
    return total;
}

static int loops(int n) {
    int total = 0;
    while (n-- > 0) {
        int size = ({ char text[BLOCK + n % 3]; kept = text; text[0] = (char)n; (int)sizeof text + text[0]; });
        total += size;
        switch (n & 3) {
        case 0: {
            int numbers[n + BLOCK / 4];
            numbers[n] = n;
            kept = (char *)numbers;
            if (n & 4) break;
            total += numbers[n];
            continue;
        }
        default: total++;
        }
    }
    for (int i = 0, sizes[4 + n + 2]; i < 5; i++) sizes[i] = i, total += sizes[i];
    return total;
}

static int chain(int depth) {
    char *text = alloca(24);
    struct { long long a; } *pair = __builtin_alloca(sizeof *pair);
    pair->a = depth;
    sprintf(text, "%d", depth);
    return depth ? chain(depth - 1) + (int)strlen(text) + (int)((uintptr_t)pair & 7) : 0;
}

static void aligned(int n) {
    char line[n] __attribute__((aligned(64)));
    char *other = __builtin_alloca_with_align(n, 256);
    kept = line;
    printf("%d %d\n", (int)((uintptr_t)line % 64), (int)((uintptr_t)other % 32));
    char *texts[3];
    for (int i = 0; i < 3; i++) texts[i] = strcpy(alloca(n + i), i ? "second" : "first");
    printf("%s %s %d\n", texts[0], texts[2], texts[1] != texts[2]);
}

// The lengths in a type that an expression writes are computed even when nobody wants its value.
static void lengths_with_effects(int n) {
    void *any = &n;
    (void)(int(*)[n++])any, printf("%d ", n);
    (void)sizeof(int[n++]), printf("%d ", n);
    (void)sizeof *(int(*)[n++])any, printf("%d ", n);
    int(*row)[n] = (int(*)[n++]){any};
    printf("%d %d ", n, (int)sizeof *row);
    int bytes = sizeof(__typeof__(int[n++]));
    __typeof__((int(*)[n++])any) like = any;
    printf("%d %d %d ", n, bytes, (int)sizeof *like);
    if ((int(*)[n++])any) printf("%d ", n);
    int grid[3][n], i = 0;
    (void)sizeof grid[i++];
    bytes = sizeof grid[i++];
    printf("%d %d ", i, bytes);
    (void)_Alignof(int[n++]), (void)sizeof(int(*)[n++]);
    for (int k = 0; k < 2; (void)(char(*)[k++])any) n += 10;
    printf("%d\n", n);
}

int main(void) {
    types(4);
    for (int way = 0; way < 4; way++) printf("%d ", scopes(way));
    printf("%d %d\n", loops(2000), chain(12));
    aligned(33);
    lengths_with_effects(3);
    return fill(10, 3) == 0;
}
