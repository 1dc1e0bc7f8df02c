/* The Mandelbrot set in characters: a loop of floating arithmetic with two ways out. */
#include <stdio.h>

static int steps(double x, double y)
{
    double a = 0, b = 0;
    int n = 0;
    while (n < 60 && a * a + b * b <= 4) {
        double next = a * a - b * b + x;
        b = 2 * a * b + y;
        a = next;
        n++;
    }
    return n;
}

int main(void)
{
    for (int row = 0; row < 32; row++) {
        char line[81];
        for (int column = 0; column < 80; column++) {
            int n = steps((column - 56) / 26.0, (row - 16) / 13.0);
            line[column] = n == 60 ? '#' : n > 8 ? '+' : n > 4 ? '.' : ' ';
        }
        line[80] = 0;
        puts(line);
    }
    return 0;
}
