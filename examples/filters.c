/* Fixed-point filters as a signal processor runs them: a low-pass FIR filter in Q15, a cascade of second-order
 * sections in Q14 with 64-bit accumulators, a running median, and G.711 companding.
 *
 * Exercises: multiply-accumulate, saturation, shifts of negative numbers, circular buffers, small tables.
 */
#include <stdint.h>
#include <stdio.h>

enum { TAPS = 31, SAMPLES = 4000 };

static int16_t saturate(int32_t x) { return (int16_t)(x > 32767 ? 32767 : x < -32768 ? -32768 : x); }

struct oscillator { /* a sine by rotation, in Q14 */
    int32_t cosine, sine, step_cosine, step_sine;
};

static int16_t next_sine(struct oscillator *o)
{
    int32_t c = (o->cosine * o->step_cosine - o->sine * o->step_sine + 8192) >> 14;
    int32_t s = (o->sine * o->step_cosine + o->cosine * o->step_sine + 8192) >> 14;

    o->cosine = c;
    o->sine = s;
    return saturate(s);
}

static const int16_t low_pass[TAPS] = {-28,  -39,  -37, 0,    91,   223,  343,  352,  156, -274, -833, -1279,
                                       -1274, -527, 1039, 3187, 5405, 7069, 7687, 7069, 5405, 3187, 1039, -527,
                                       -1274, -1279, -833, -274, 156,  352,  343};

static void fir(const int16_t *in, int16_t *out, int n)
{
    static int16_t delay[TAPS];
    int at = 0;

    for (int i = 0; i < TAPS; i++)
        delay[i] = 0;
    for (int i = 0; i < n; i++) {
        int32_t sum = 1 << 14;
        int k = at;
        delay[at] = in[i];
        for (int t = 0; t < TAPS; t++) {
            sum += delay[k] * low_pass[t];
            k = k == 0 ? TAPS - 1 : k - 1;
        }
        at = at + 1 == TAPS ? 0 : at + 1;
        out[i] = saturate(sum >> 15);
    }
}

struct section {
    int16_t b0, b1, b2, a1, a2; /* Q14 */
    int16_t x1, x2, y1, y2;
};

static void cascade(struct section *s, int sections, int16_t *data, int n)
{
    for (int k = 0; k < sections; k++, s++)
        for (int i = 0; i < n; i++) {
            int16_t x = data[i];
            int64_t sum = (int64_t)s->b0 * x + (int64_t)s->b1 * s->x1 + (int64_t)s->b2 * s->x2;
            sum -= (int64_t)s->a1 * s->y1 + (int64_t)s->a2 * s->y2;
            s->x2 = s->x1;
            s->x1 = x;
            s->y2 = s->y1;
            s->y1 = saturate((int32_t)((sum + 8192) >> 14));
            data[i] = s->y1;
        }
}

static void median5(const int16_t *in, int16_t *out, int n)
{
    for (int i = 0; i < n; i++) {
        int16_t w[5];
        for (int k = 0; k < 5; k++) {
            int j = i + k - 2;
            int16_t x = in[j < 0 ? 0 : j >= n ? n - 1 : j];
            int m = k;
            for (; m > 0 && w[m - 1] > x; m--)
                w[m] = w[m - 1];
            w[m] = x;
        }
        out[i] = w[2];
    }
}

static uint8_t to_mu_law(int16_t sample)
{
    int sign = sample < 0 ? 0x80 : 0, magnitude = sample < 0 ? -(sample + 1) : sample, exponent = 7;

    magnitude = (magnitude > 32635 ? 32635 : magnitude) + 132;
    for (int mask = 0x4000; !(magnitude & mask) && exponent > 0; mask >>= 1)
        exponent--;
    return (uint8_t)~(sign | exponent << 4 | ((magnitude >> (exponent + 3)) & 15));
}

static int16_t from_mu_law(uint8_t code)
{
    int bits = ~code & 0xFF, exponent = bits >> 4 & 7;
    int magnitude = (((bits & 15) << 3) + 132) << exponent;

    magnitude -= 132;
    return (int16_t)(bits & 0x80 ? -magnitude : magnitude);
}

static uint32_t digest(const int16_t *p, int n)
{
    uint32_t h = 2166136261u;

    for (int i = 0; i < n; i++)
        h = (h ^ (uint16_t)p[i]) * 16777619u;
    return h;
}

static int32_t power(const int16_t *p, int n)
{
    int64_t sum = 0;

    for (int i = 0; i < n; i++)
        sum += p[i] * p[i];
    return (int32_t)(sum / n);
}

static void report(const char *what, const int16_t *p)
{
    int low = p[0], high = p[0];

    for (int i = 1; i < SAMPLES; i++) {
        low = p[i] < low ? p[i] : low;
        high = p[i] > high ? p[i] : high;
    }
    printf("%-10s %6d..%6d  power %9ld  %08lx\n", what, low, high, (long)power(p, SAMPLES),
           (unsigned long)digest(p, SAMPLES));
}

int main(void)
{
    static int16_t signal[SAMPLES], filtered[SAMPLES], smooth[SAMPLES], companded[SAMPLES];
    struct oscillator slow = {12000, 0, 16372, 643}, fast = {9000, 0, 0, 16384};
    struct section sections[2] = {{1220, 2440, 1220, -18740, 7236, 0, 0, 0, 0},
                                  {16384, -32768, 16384, -30000, 14000, 0, 0, 0, 0}};
    uint32_t seed = 77;
    int worst = 0;

    for (int i = 0; i < SAMPLES; i++) {
        seed = seed * 69069 + 1;
        int32_t spike = i % 97 == 0 ? 25000 : 0;
        signal[i] = saturate(next_sine(&slow) + next_sine(&fast) + (int32_t)(seed >> 22) - 512 + spike);
    }
    report("signal", signal);
    fir(signal, filtered, SAMPLES);
    report("low pass", filtered);
    cascade(sections, 2, filtered, SAMPLES);
    report("cascade", filtered);
    median5(signal, smooth, SAMPLES);
    report("median", smooth);
    for (int i = 0; i < SAMPLES; i++) {
        companded[i] = from_mu_law(to_mu_law(signal[i]));
        int error = companded[i] - signal[i];
        worst = error < 0 ? (-error > worst ? -error : worst) : error > worst ? error : worst;
    }
    report("mu law", companded);
    printf("largest error of companding %d\n", worst);
    for (int code = 0; code < 256; code++) /* every code comes back, but for the two zeros */
        if (to_mu_law(from_mu_law((uint8_t)code)) != code && code != 0x7F)
            printf("CODE %02x DOES NOT COME BACK\n", code);
    return 0;
}
