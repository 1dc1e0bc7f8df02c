/* A fast Fourier transform and back, in place. */
#include <math.h>
#include <stdio.h>

#define SIZE 1024
typedef struct {
    double re, im;
} number;

static number signal[SIZE];

static void reverse_order(number *x)
{
    for (int i = 1, j = 0; i < SIZE; i++) {
        int bit = SIZE >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) {
            number kept = x[i];
            x[i] = x[j];
            x[j] = kept;
        }
    }
}

static void transform(number *x, double sign)
{
    reverse_order(x);
    for (int length = 2; length <= SIZE; length <<= 1) {
        double angle = sign * 6.283185307179586 / length;
        number step = {cos(angle), sin(angle)};
        for (int start = 0; start < SIZE; start += length) {
            number w = {1, 0};
            for (int k = 0; k < length / 2; k++) {
                number *a = &x[start + k], *b = a + length / 2;
                number t = {b->re * w.re - b->im * w.im, b->re * w.im + b->im * w.re};
                number next = {w.re * step.re - w.im * step.im, w.re * step.im + w.im * step.re};
                b->re = a->re - t.re, b->im = a->im - t.im;
                a->re += t.re, a->im += t.im;
                w = next;
            }
        }
    }
}

int main(void)
{
    double error = 0;
    for (int i = 0; i < SIZE; i++) signal[i].re = (i * 37 % 101) - 50;
    for (int round = 0; round < 4; round++) {
        transform(signal, -1);
        transform(signal, 1);
        for (int i = 0; i < SIZE; i++) signal[i].re /= SIZE, signal[i].im /= SIZE;
    }
    for (int i = 0; i < SIZE; i++) error += fabs(signal[i].re - ((i * 37 % 101) - 50));
    printf("%s\n", error < 1e-6 ? "the same" : "different");
    return 0;
}
