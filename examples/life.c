/* The game of life twice: cell by cell on a torus, and 32 cells at a time by logic on words; the two must agree.
 *
 * Exercises: arrays of two dimensions, remainders, bitwise logic that stands for arithmetic, population counts.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum { ROWS = 48, COLUMNS = 32, GENERATIONS = 120 };

static unsigned char cells[ROWS][COLUMNS], next_cells[ROWS][COLUMNS];
static uint32_t words[ROWS], next_words[ROWS];

static void step_cells(void)
{
    for (int r = 0; r < ROWS; r++)
        for (int c = 0; c < COLUMNS; c++) {
            int n = 0;
            for (int dr = -1; dr <= 1; dr++)
                for (int dc = -1; dc <= 1; dc++)
                    if (dr || dc)
                        n += cells[(r + dr + ROWS) % ROWS][(c + dc + COLUMNS) % COLUMNS];
            next_cells[r][c] = n == 3 || (n == 2 && cells[r][c]);
        }
    memcpy(cells, next_cells, sizeof cells);
}

static uint32_t left(uint32_t w) { return w << 1 | w >> 31; }
static uint32_t right(uint32_t w) { return w >> 1 | w << 31; }

/* Adds the bits of `w` to three-digit sums, 32 of them side by side; sums of 8 count as 0, which is as good here. */
static void count_in(uint32_t sum[3], uint32_t w)
{
    for (int i = 0; i < 3; i++) {
        uint32_t carry = sum[i] & w;
        sum[i] ^= w;
        w = carry;
    }
}

static void step_words(void)
{
    for (int r = 0; r < ROWS; r++) {
        uint32_t above = words[(r + ROWS - 1) % ROWS], here = words[r], below = words[(r + 1) % ROWS];
        uint32_t sum[3] = {0, 0, 0};
        count_in(sum, left(above));
        count_in(sum, above);
        count_in(sum, right(above));
        count_in(sum, left(here));
        count_in(sum, right(here));
        count_in(sum, left(below));
        count_in(sum, below);
        count_in(sum, right(below));
        next_words[r] = ~sum[2] & sum[1] & (sum[0] | here);
    }
    memcpy(words, next_words, sizeof words);
}

static int population(uint32_t w)
{
    w -= w >> 1 & 0x55555555;
    w = (w & 0x33333333) + (w >> 2 & 0x33333333);
    return (int)(((w + (w >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24);
}

static int differences(void)
{
    int n = 0;

    for (int r = 0; r < ROWS; r++)
        for (int c = 0; c < COLUMNS; c++)
            n += cells[r][c] != (words[r] >> c & 1);
    return n;
}

static void place(int row, int column, const char *const *picture)
{
    for (; *picture; picture++, row++)
        for (int i = 0; (*picture)[i]; i++)
            if ((*picture)[i] == '#') {
                cells[row % ROWS][(column + i) % COLUMNS] = 1;
                words[row % ROWS] |= 1u << (column + i) % COLUMNS;
            }
}

static void show(int generation)
{
    int alive = 0;

    for (int r = 0; r < ROWS; r++)
        alive += population(words[r]);
    printf("generation %d: %d alive, %d different\n", generation, alive, differences());
    for (int r = 0; r < 16; r++) {
        char line[COLUMNS + 1];
        for (int c = 0; c < COLUMNS; c++)
            line[c] = cells[r][c] ? '#' : '.';
        line[COLUMNS] = 0;
        puts(line);
    }
}

int main(void)
{
    static const char *const glider[] = {".#.", "..#", "###", 0};
    static const char *const pentomino[] = {".##", "##.", ".#.", 0};
    static const char *const blinker[] = {"###", 0};

    place(1, 1, glider);
    place(22, 14, pentomino);
    place(12, 29, blinker);
    place(40, 5, glider);
    show(0);
    for (int generation = 1; generation <= GENERATIONS; generation++) {
        step_cells();
        step_words();
        if (generation % 40 == 0)
            show(generation);
        if (differences())
            return 1;
    }
    return 0;
}
