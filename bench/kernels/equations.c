/* Linear equations by elimination with row exchanges, in single precision. */
#include <stdio.h>

#define N 48
static float a[N][N + 1], x[N];

static void exchange_rows(int i, int j)
{
    for (int k = 0; k <= N; k++) {
        float kept = a[i][k];
        a[i][k] = a[j][k];
        a[j][k] = kept;
    }
}

static int largest(int column)
{
    int best = column;
    for (int i = column + 1; i < N; i++) {
        float here = a[i][column] < 0 ? -a[i][column] : a[i][column];
        float there = a[best][column] < 0 ? -a[best][column] : a[best][column];
        if (here > there) best = i;
    }
    return best;
}

static void solve(void)
{
    for (int i = 0; i < N; i++) {
        int best = largest(i);
        if (best != i) exchange_rows(i, best);
        for (int j = i + 1; j < N; j++) {
            float factor = a[j][i] / a[i][i];
            for (int k = i; k <= N; k++) a[j][k] -= factor * a[i][k];
        }
    }
    for (int i = N - 1; i >= 0; i--) {
        float sum = a[i][N];
        for (int k = i + 1; k < N; k++) sum -= a[i][k] * x[k];
        x[i] = sum / a[i][i];
    }
}

int main(void)
{
    int wrong = 0;
    for (int i = 0; i < N; i++) {
        float sum = 0;
        for (int k = 0; k < N; k++) {
            a[i][k] = (float)((i * 7 + k * 13) % 17) + (i == k ? 40 : 0);
            sum += a[i][k] * (float)(k + 1);
        }
        a[i][N] = sum;
    }
    solve();
    for (int i = 0; i < N; i++) {
        float error = x[i] - (float)(i + 1);
        if (error > 0.05f || error < -0.05f) wrong++;
    }
    printf("%d of %d are wrong\n", wrong, N);
    return 0;
}
