/* The longest common subsequence of two strings, with a table, and the strings' distance. */
#include <stdio.h>

#define LENGTH 300
static char first[LENGTH + 1], second[LENGTH + 1];
static unsigned short length[LENGTH + 1][LENGTH + 1], distance[LENGTH + 1][LENGTH + 1];

static int smallest(int a, int b, int c)
{
    int m = a < b ? a : b;
    return m < c ? m : c;
}

static void fill(void)
{
    for (int i = 0; i <= LENGTH; i++) distance[i][0] = distance[0][i] = i;
    for (int i = 1; i <= LENGTH; i++)
        for (int j = 1; j <= LENGTH; j++) {
            int same = first[i - 1] == second[j - 1];
            if (same)
                length[i][j] = length[i - 1][j - 1] + 1;
            else
                length[i][j] = length[i - 1][j] > length[i][j - 1] ? length[i - 1][j] : length[i][j - 1];
            distance[i][j] = smallest(distance[i - 1][j] + 1, distance[i][j - 1] + 1, distance[i - 1][j - 1] + !same);
        }
}

int main(void)
{
    unsigned state = 7;
    for (int i = 0; i < LENGTH; i++) {
        state = state * 1103515245 + 12345;
        first[i] = 'a' + (state >> 16) % 6;
        second[i] = 'a' + (state >> 22) % 6;
    }
    fill();
    printf("%d %d\n", length[LENGTH][LENGTH], distance[LENGTH][LENGTH]);
    return 0;
}
