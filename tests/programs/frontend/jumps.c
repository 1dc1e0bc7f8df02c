// Computed goto, and jumps out of scopes that have something to do at their ends: cleanup functions, arrays of variable length.
#include <stdint.h>
#include <stdio.h>

static int interpret(const unsigned char *code, int value) {
    static const void *const table[] = {&&stop, &&add, &&twice, &&loop, [4 ... 6] = &&skip};
    static const int distances[] = {&&stop - &&stop, &&add - &&stop, &&twice - &&stop, [4] = &&skip - &&stop};
    const unsigned char *start = code;
    int turns = 0;
    goto *table[*code++];
add:
    value += *code++;
    goto *table[*code++];
twice:
    value *= 2;
    goto *(&&stop + distances[*code++]);
loop:
    if (++turns < 4) code = start;
    goto *table[*code++];
skip:
    code++;
    goto *table[*code++];
stop:
    return value;
}

static int labels_as_values(int n) {
    void *volatile back = &&second;
    void *next = n > 1 ? &&first : back;
    if (!next) return -1;
    goto *next;
first:
    n += 10;
    next = n < 30 ? &&first : &&third;
    goto *next;
second:
    return n;
third:
    if (next == &&third && next != back) n++;
    goto *back;
}

static int computed_out_of_array(int n) {
    void *out = n & 1 ? &&odd : &&even;
    for (int turn = 0; turn < 3000; turn++) {
        volatile char block[16384 + n];
        block[n] = 1;
        if (turn == 2999) goto *out;
        void *more = &&on;
        goto *more;
    on:
        n += block[n] - 1;
    }
odd:
    return n + 1;
even:
    return n;
}

static int depth;
static void note(int *x) { printf("(%d)", *x); depth += *x; }
static void note_text(const char **text) { printf("<%s>", *text); }
static void note_array(int (*a)[2]) { printf("[%d]", (*a)[1]); }
#define NOTED __attribute__((cleanup(note)))

static int returned(int way) {
    int a NOTED = way;
    const char *name __attribute__((cleanup(note_text))) = "name";
    if (way == 1) return a++;
    {
        int pair[2] __attribute__((cleanup(note_array))) = {1, a * 10};
        int b NOTED = 5;
        if (way == 2) return a + b + pair[1];
        if (way == 3) goto out;
        b++;
    }
    a += 100;
out:
    return depth;
}

static int around_loops(int n) {
    int total = 0;
    for (int i NOTED = 0; i < n; i++) {
        int size NOTED = i + 20;
        int values[size];
        int last NOTED = values[i] = i * i;
        if (i == 1) continue;
        if (i == 3) break;
        total += last + (int)sizeof values;
    }
    int outer = ({ int inner NOTED = total; inner++; inner * 2; });
    switch (n) {
        int unset;
    case 4: { int c NOTED = 77; unset = c; if (unset) break; }
    default: total = 0;
    }
    printf("\n");
    return total + outer;
}

static void nothing(int n) { int a NOTED = n; if (n) { int b NOTED = n + 1; return; } a--; }

int main(void) {
    static const unsigned char code[] = {1, 7, 2, 4, 9, 3, 4, 1, 1, 3, 0};
    printf("%d ", interpret(code, 1));
    printf("%d %d\n", labels_as_values(1), labels_as_values(5));
    printf("%d %d\n", computed_out_of_array(3), computed_out_of_array(4));
    for (int way = 0; way < 4; way++) printf(" %d\n", returned(way));
    printf("%d\n", around_loops(6));
    nothing(0), nothing(1);
    printf("\n");
    return 0;
}
