/* Floating point in both sizes: five bodies under gravity by the leapfrog method, Romberg integration, roots by
 * Newton's method, and the Mandelbrot set in single precision.
 *
 * Every operation is written out, so that each result is the correctly rounded one and the output the same
 * wherever IEEE arithmetic is.
 */
#include <math.h>
#include <stdio.h>

struct body {
    double position[3], velocity[3], mass;
};

enum { BODIES = 5 };

static struct body bodies[BODIES] = { /* a star and four planets in units of its mass, its radius of 1 and 2 pi years */
    {{0, 0, 0}, {0, 0, 0}, 1},
    {{1.25, 0, 0.02}, {0, 0.91, 0}, 0.0009},
    {{0, -2.5, 0.1}, {0.64, 0, 0.01}, 0.0003},
    {{-4.75, 1.5, -0.3}, {-0.125, -0.42, 0}, 0.00005},
    {{3, 6.5, 0.25}, {-0.34, 0.155, -0.005}, 0.00004},
};

/* Gives the star the speed with which the centre of the whole stays where it is. */
static void balance(void)
{
    for (int b = 1; b < BODIES; b++)
        for (int k = 0; k < 3; k++)
            bodies[0].velocity[k] -= bodies[b].velocity[k] * bodies[b].mass;
}

static double energy(void)
{
    double e = 0;

    for (int i = 0; i < BODIES; i++) {
        const struct body *a = &bodies[i];
        double v2 = 0;
        for (int k = 0; k < 3; k++)
            v2 += a->velocity[k] * a->velocity[k];
        e += 0.5 * a->mass * v2;
        for (int j = i + 1; j < BODIES; j++) {
            double d2 = 0;
            for (int k = 0; k < 3; k++) {
                double d = a->position[k] - bodies[j].position[k];
                d2 += d * d;
            }
            e -= a->mass * bodies[j].mass / sqrt(d2);
        }
    }
    return e;
}

static void advance(double dt)
{
    for (int i = 0; i < BODIES; i++)
        for (int j = i + 1; j < BODIES; j++) {
            struct body *a = &bodies[i], *b = &bodies[j];
            double d[3], d2 = 0;
            for (int k = 0; k < 3; k++) {
                d[k] = a->position[k] - b->position[k];
                d2 += d[k] * d[k];
            }
            double f = dt / (d2 * sqrt(d2));
            for (int k = 0; k < 3; k++) {
                a->velocity[k] -= d[k] * b->mass * f;
                b->velocity[k] += d[k] * a->mass * f;
            }
        }
    for (int i = 0; i < BODIES; i++)
        for (int k = 0; k < 3; k++)
            bodies[i].position[k] += dt * bodies[i].velocity[k];
}

static double romberg(double (*f)(double), double a, double b, int steps)
{
    double table[12][12], h = b - a;

    table[0][0] = h * (f(a) + f(b)) / 2;
    for (int i = 1; i < steps; i++) {
        double sum = 0;
        h /= 2;
        for (int k = 1; k < 1 << i; k += 2)
            sum += f(a + k * h);
        table[i][0] = table[i - 1][0] / 2 + h * sum;
        double factor = 1;
        for (int j = 1; j <= i; j++) {
            factor *= 4;
            table[i][j] = table[i][j - 1] + (table[i][j - 1] - table[i - 1][j - 1]) / (factor - 1);
        }
    }
    return table[steps - 1][steps - 1];
}

static double witch(double x) { return 4 / (1 + x * x); }
static double semicircle(double x) { return x <= 1 ? sqrt(1 - x * x) : 0; }

static double cube_root(double x)
{
    double y = x > 1 ? x / 3 : 1;

    for (int i = 0; i < 60; i++) {
        double next = (2 * y + x / (y * y)) / 3;
        if (next == y)
            break;
        y = next;
    }
    return y;
}

static int escape_time(float x, float y, int limit)
{
    float a = 0, b = 0;
    int n = 0;

    for (; n < limit && a * a + b * b <= 4.0f; n++) {
        float t = a * a - b * b + x;
        b = 2 * a * b + y;
        a = t;
    }
    return n;
}

static void mandelbrot(void)
{
    static const char shades[] = " .:-=+*#%@";
    long total = 0;

    for (int row = 0; row < 21; row++) {
        char line[62];
        for (int column = 0; column < 61; column++) {
            int n = escape_time((float)(column - 42) / 20, (float)(row - 10) / 9, 90);
            total += n;
            line[column] = shades[n / 10];
        }
        line[61] = 0;
        puts(line);
    }
    printf("%ld steps\n", total);
}

int main(void)
{
    balance();
    printf("energy %.9f\n", energy());
    for (int i = 0; i < 2500; i++)
        advance(0.01);
    printf("energy %.9f\n", energy());
    printf("first planet at %.6f %.6f %.6f\n", bodies[1].position[0], bodies[1].position[1], bodies[1].position[2]);
    printf("pi %.12f %.6f\n", romberg(witch, 0, 1, 10), 4 * romberg(semicircle, 0, 1, 11));
    printf("cube roots %.10f %.10f %.10f\n", cube_root(2), cube_root(1e9), cube_root(0.001));
    mandelbrot();
    return 0;
}
