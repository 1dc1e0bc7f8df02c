/* Dense matrices: products in several loop orders, elimination with pivots, determinants, and a fast Fourier
 * transform that multiplies large polynomials.
 *
 * Exercises: arrays of two dimensions, structures of doubles as arguments and results, floats, innermost loops.
 */
#include <math.h>
#include <stdio.h>
#include <string.h>

enum { N = 32, POINTS = 512 };

typedef double matrix[N][N];

struct complex_number {
    double re, im;
};

struct vector3 {
    float x, y, z;
};

static struct complex_number times(struct complex_number a, struct complex_number b)
{
    struct complex_number r = {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    return r;
}

static struct complex_number plus(struct complex_number a, struct complex_number b)
{
    return (struct complex_number){a.re + b.re, a.im + b.im};
}

static struct vector3 cross(struct vector3 a, struct vector3 b)
{
    struct vector3 r = {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    return r;
}

static float dot(struct vector3 a, struct vector3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

static void fill(matrix m, unsigned seed)
{
    for (int i = 0; i < N; i++)
        for (int j = 0; j < N; j++) {
            seed = seed * 1103515245 + 12345;
            m[i][j] = (double)(int)(seed >> 20) / 512 - 4;
        }
}

static void multiply_rows(matrix c, matrix a, matrix b)
{
    for (int i = 0; i < N; i++)
        for (int j = 0; j < N; j++) {
            double sum = 0;
            for (int k = 0; k < N; k++)
                sum += a[i][k] * b[k][j];
            c[i][j] = sum;
        }
}

static void multiply_outer(matrix c, matrix a, matrix b)
{
    memset(c, 0, sizeof(matrix));
    for (int k = 0; k < N; k++)
        for (int i = 0; i < N; i++)
            for (int j = 0; j < N; j++)
                c[i][j] += a[i][k] * b[k][j];
}

static double largest_difference(matrix a, matrix b)
{
    double worst = 0;

    for (int i = 0; i < N; i++)
        for (int j = 0; j < N; j++) {
            double d = fabs(a[i][j] - b[i][j]);
            if (d > worst)
                worst = d;
        }
    return worst;
}

/* Replaces `a` by its inverse; answers the determinant, 0 when there is no inverse. */
static double invert(matrix a)
{
    int order[N];
    double determinant = 1;

    for (int k = 0; k < N; k++) {
        int best = k;
        for (int i = k + 1; i < N; i++)
            if (fabs(a[i][k]) > fabs(a[best][k]))
                best = i;
        order[k] = best;
        if (a[best][k] == 0)
            return 0;
        if (best != k) {
            double row[N];
            memcpy(row, a[k], sizeof row);
            memcpy(a[k], a[best], sizeof row);
            memcpy(a[best], row, sizeof row);
            determinant = -determinant;
        }
        double pivot = a[k][k];
        determinant *= pivot;
        a[k][k] = 1;
        for (int j = 0; j < N; j++)
            a[k][j] /= pivot;
        for (int i = 0; i < N; i++) {
            double factor = a[i][k];
            if (i == k)
                continue;
            a[i][k] = 0;
            for (int j = 0; j < N; j++)
                a[i][j] -= factor * a[k][j];
        }
    }
    for (int k = N - 1; k >= 0; k--)
        if (order[k] != k)
            for (int i = 0; i < N; i++) {
                double t = a[i][k];
                a[i][k] = a[i][order[k]];
                a[i][order[k]] = t;
            }
    return determinant;
}

static void transform(struct complex_number *x, int n, int direction)
{
    for (int i = 1, j = 0; i < n; i++) {
        int bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) {
            struct complex_number t = x[i];
            x[i] = x[j];
            x[j] = t;
        }
    }
    for (int width = 2; width <= n; width *= 2) {
        double angle = direction * 2 * 3.14159265358979323846 / width;
        struct complex_number step = {cos(angle), sin(angle)};
        for (int i = 0; i < n; i += width) {
            struct complex_number w = {1, 0};
            for (int k = 0; k < width / 2; k++) {
                struct complex_number a = x[i + k], b = times(w, x[i + k + width / 2]);
                struct complex_number minus = {-b.re, -b.im};
                x[i + k] = plus(a, b);
                x[i + k + width / 2] = plus(a, minus);
                w = times(w, step);
            }
        }
    }
}

/* Multiplies two polynomials with whole coefficients, directly and by the transform; answers how many coefficients
 * differ. */
static int multiply_polynomials(long *checksum)
{
    static struct complex_number a[POINTS], b[POINTS];
    static int p[POINTS / 2], q[POINTS / 2], r[POINTS];
    int wrong = 0;

    for (int i = 0; i < POINTS / 2; i++) {
        p[i] = i * 31 % 19 - 9;
        q[i] = i * i % 23 - 11;
        a[i].re = p[i];
        b[i].re = q[i];
    }
    for (int i = 0; i < POINTS / 2; i++)
        for (int j = 0; j < POINTS / 2; j++)
            r[i + j] += p[i] * q[j];
    transform(a, POINTS, 1);
    transform(b, POINTS, 1);
    for (int i = 0; i < POINTS; i++)
        a[i] = times(a[i], b[i]);
    transform(a, POINTS, -1);
    *checksum = 0;
    for (int i = 0; i < POINTS; i++) {
        wrong += (int)floor(a[i].re / POINTS + 0.5) != r[i];
        *checksum += (long)r[i] * (i % 5 + 1);
    }
    return wrong;
}

int main(void)
{
    static matrix a, b, c, d, inverse;
    long checksum;
    double trace = 0;

    fill(a, 1);
    fill(b, 2);
    multiply_rows(c, a, b);
    multiply_outer(d, a, b);
    printf("orders of loops differ by %.1e\n", largest_difference(c, d));
    for (int i = 0; i < N; i++)
        trace += c[i][i];
    printf("trace %.6f corner %.6f\n", trace, c[N - 1][N - 1]);
    memcpy(inverse, a, sizeof a);
    printf("determinant %.6e\n", invert(inverse));
    multiply_rows(c, a, inverse);
    memset(d, 0, sizeof d);
    for (int i = 0; i < N; i++)
        d[i][i] = 1;
    printf("inverse is %s\n", largest_difference(c, d) < 1e-9 ? "right" : "WRONG");
    printf("%d coefficients wrong", multiply_polynomials(&checksum));
    printf(", checksum %ld\n", checksum);
    struct vector3 u = {1, 2, 3}, v = {-2, 0.5f, 4}, w = cross(u, v);
    for (int i = 0; i < 50; i++) {
        struct vector3 t = cross(w, u);
        float scale = 8 / sqrtf(dot(t, t));
        w = (struct vector3){t.x * scale, t.y * scale, t.z * scale};
    }
    printf("%.4f %.4f %.4f\n", w.x, w.y, w.z);
    return 0;
}
