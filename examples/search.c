/* Search by trial and return: sudoku with sets of candidates as bits, the queens puzzle, knights' tours by the rule of
 * fewest exits, and the shortest edit between words.
 *
 * Exercises: recursion with state that is put back, bit sets, tables of offsets, early exits from nested loops.
 */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static uint16_t rows[9], columns[9], boxes[9]; /* digits used, bit d for digit d */
static char board[82];
static unsigned guesses;

static void toggle(int cell, int digit)
{
    uint16_t bit = (uint16_t)(1 << digit);
    int r = cell / 9, c = cell % 9;

    rows[r] ^= bit;
    columns[c] ^= bit;
    boxes[r / 3 * 3 + c / 3] ^= bit;
}

static unsigned candidates(int cell)
{
    int r = cell / 9, c = cell % 9;
    return 0x3FEu & ~(unsigned)(rows[r] | columns[c] | boxes[r / 3 * 3 + c / 3]);
}

static int bits(unsigned w)
{
    int n = 0;
    for (; w; w &= w - 1)
        n++;
    return n;
}

static int solve(void)
{
    int best = -1, fewest = 10;

    for (int cell = 0; cell < 81 && fewest > 1; cell++)
        if (board[cell] == '.') {
            int n = bits(candidates(cell));
            if (n < fewest) {
                fewest = n;
                best = cell;
            }
        }
    if (best < 0)
        return 1;
    unsigned set = candidates(best);
    for (int digit = 1; digit <= 9; digit++) {
        if (!(set >> digit & 1))
            continue;
        guesses++;
        board[best] = (char)('0' + digit);
        toggle(best, digit);
        if (solve())
            return 1;
        toggle(best, digit);
        board[best] = '.';
    }
    return 0;
}

static void sudoku(const char *puzzle)
{
    memset(rows, 0, sizeof rows);
    memset(columns, 0, sizeof columns);
    memset(boxes, 0, sizeof boxes);
    strcpy(board, puzzle);
    guesses = 0;
    for (int cell = 0; cell < 81; cell++) {
        if (board[cell] == '.')
            continue;
        if (!(candidates(cell) >> (board[cell] - '0') & 1)) {
            printf("contradiction at %d\n", cell);
            return;
        }
        toggle(cell, board[cell] - '0');
    }
    printf("%s after %u guesses\n", solve() ? board : "no solution", guesses);
}

static int queens(int n, unsigned used, unsigned rising, unsigned falling)
{
    unsigned all = (1u << n) - 1, free_places = all & ~(used | rising | falling);
    int count = 0;

    if (used == all)
        return 1;
    while (free_places) {
        unsigned place = free_places & -free_places;
        free_places ^= place;
        count += queens(n, used | place, (rising | place) << 1, (falling | place) >> 1);
    }
    return count;
}

enum { SIDE = 8 };
static int visited[SIDE][SIDE];
static const struct jump {
    signed char dx, dy;
} jumps[8] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};

static int open_place(int x, int y) { return x >= 0 && x < SIDE && y >= 0 && y < SIDE && !visited[x][y]; }

static int exits(int x, int y)
{
    int n = 0;
    for (int j = 0; j < 8; j++)
        n += open_place(x + jumps[j].dx, y + jumps[j].dy);
    return n;
}

/* The length of the tour that always goes where the fewest exits are. */
static int tour(int x, int y)
{
    int length = 1;

    memset(visited, 0, sizeof visited);
    for (;; length++) {
        int best = -1, fewest = 9;
        visited[x][y] = length;
        for (int j = 0; j < 8; j++) {
            int nx = x + jumps[j].dx, ny = y + jumps[j].dy;
            if (open_place(nx, ny) && exits(nx, ny) < fewest) {
                fewest = exits(nx, ny);
                best = j;
            }
        }
        if (best < 0)
            return length;
        x += jumps[best].dx;
        y += jumps[best].dy;
    }
}

static int edit_distance(const char *a, const char *b)
{
    int row[32], n = (int)strlen(b);

    for (int j = 0; j <= n; j++)
        row[j] = j;
    for (int i = 1; a[i - 1]; i++) {
        int corner = row[0];
        row[0] = i;
        for (int j = 1; j <= n; j++) {
            int replace = corner + (a[i - 1] != b[j - 1]);
            corner = row[j];
            int change = (row[j] < row[j - 1] ? row[j] : row[j - 1]) + 1;
            row[j] = replace < change ? replace : change;
        }
    }
    return row[n];
}

int main(void)
{
    static const char *const words[] = {"optimizer", "optician", "register", "resister", "loop", "pool", "unrolled", ""};
    int complete = 0;

    sudoku("53..7....6..195....98....6.8...6...34..8.3..17...2...6.6....28....419..5....8..79");
    sudoku("1....7.9..3..2...8..96..5....53..9...1..8...26....4...3......1..4......7..7...3..");
    sudoku("1.................1......................................3.......................");
    for (int n = 1; n <= 9; n++)
        printf("%d queens: %d\n", n, queens(n, 0, 0, 0));
    for (int x = 0; x < SIDE; x++) {
        for (int y = 0; y < SIDE; y++) {
            int n = tour(x, y);
            complete += n == SIDE * SIDE;
            printf("%3d", n);
        }
        putchar('\n');
    }
    printf("%d tours are complete\n", complete);
    for (int i = 0; i < 8; i++) {
        for (int j = 0; j < 8; j++)
            printf("%3d", edit_distance(words[i], words[j]));
        putchar('\n');
    }
    return 0;
}
