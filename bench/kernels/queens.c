/* Queens on boards of 4 to 9: recursion with bit sets. */
#include <stdio.h>

static unsigned solutions(unsigned all, unsigned columns, unsigned left, unsigned right)
{
    unsigned count = 0;
    if (columns == all) return 1;
    for (unsigned free = all & ~(columns | left | right); free;) {
        unsigned here = free & -free;
        free -= here;
        count += solutions(all, columns | here, (left | here) << 1, (right | here) >> 1);
    }
    return count;
}

int main(void)
{
    for (int size = 4; size <= 9; size++) printf("%d %u\n", size, solutions((1u << size) - 1, 0, 0, 0));
    return 0;
}
