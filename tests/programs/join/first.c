// Together with second.c: one variable or function under one name, whatever either file knows of it; statics apart.
#include <stdio.h>
#include "shared.h"

struct local { char text[3]; };
static struct local hidden = {"A"};
static int (*const pointers[])(int) = {twice, helper};
__attribute__((common)) int merged;
__attribute__((weak)) int weakly(void) { return 1; }
static int same_name(void) { static int n; return ++n + hidden.text[0]; }
static int target(void) { return 11; }
extern int alias_of_target(void) __attribute__((alias("target")));
__attribute__((constructor)) static void before(void) { puts("first"); }

int main(void) {
    struct pair p = swap((struct pair){1, 2});
    list_t* l = make(3);
    l->next = make(4);
    counter++;
    printf("%d %d %d %d %d\n", p.a, p.b, total(l), twice(counter), table[2]);
    printf("%d %d %d %d %d\n", same_name(), same_name(), weakly(), helper(1), node_value(root));
    printf("%d %d %d %d %d\n", merged, chosen, renamed(3), unprototyped(1, 2), missing ? 1 : 0);
    printf("%d %d %d\n", alias_of_target(), pointers[0](4) + pointers[1](5), twice_plus(4));
    stop(3);
}
