// math.h: printed with fewer digits than the libraries of two machines may differ in.
#include <errno.h>
#include <math.h>
#include <stdio.h>

static const double samples[] = {0.0, -0.0, 0.5, -0.75, 1.0, 2.5, -3.5, 10.25, 1e-8, 700.0, -745.0};

static void one(double x) {
    printf("%g:", x);
    printf(" %.10g %.10g %.10g %.10g %.10g %.10g", sin(x), cos(x), tan(x), atan(x), sinh(x / 100), tanh(x));
    printf(" %.10g %.10g %.10g %.10g %.10g", exp(x), exp2(x), expm1(x), cbrt(x), erf(x));
    printf(" %g %g %g %g %g %g %g", floor(x), ceil(x), trunc(x), round(x), rint(x), nearbyint(x), fabs(x));
    if (x >= 0) printf(" %.10g %.10g %.10g %.10g %.10g", sqrt(x), log(x + 1), log2(x + 1), log10(x + 1), log1p(x));
    if (fabs(x) <= 1) printf(" %.10g %.10g %.10g", asin(x), acos(x), atanh(x / 2));
    printf(" %ld %ld %lld %d\n", lrint(x), lround(x), llround(x), ilogb(x + 1e-3));
}

static void several(void) {
    int exponent, quotient;
    double whole;
    float part;
    const double fraction = frexp(-12.5, &exponent);
    const double rest = modf(-3.75, &whole);
    const float part_rest = modff(2.5f, &part);
    printf("%g %d %g %g %g %g\n", fraction, exponent, rest, whole, (double)part_rest, (double)part);
    printf("%.10g %.10g %.10g %.10g\n", pow(2.5, 3.5), pow(-2, 3), atan2(-1, -2), hypot(3, 4));
    printf("%g %g %g %g %g\n", fmod(-7.5, 2), remainder(7.5, 2), fmax(1, 2), fmin(-0.5, 3), fdim(5, 3));
    printf("%g %g %g %g\n", ldexp(0.75, 4), scalbn(3, -2), copysign(2, -0.0), fma(2, 3, 4));
    const double remquo_rest = remquo(10, 4, &quotient);
    printf("%g %d %.10g %.10g\n", remquo_rest, quotient & 7, tgamma(5.5), lgamma(0.5));
    printf("%.10g %.10g %.10g\n", nextafter(1, 2) - 1, logb(10), (double)nextafterf(1, 2) - 1);
    printf("%.6g %.6g %.6g %.6g\n", (double)sinf(0.5f), (double)expf(1.5f), (double)powf(2, 0.5f), (double)sqrtf(2));
    printf("%d %d %d %d\n", isnan(nan("")), isinf(-HUGE_VAL), signbit(-0.0) != 0, fpclassify(1e-310) == FP_SUBNORMAL);
    volatile double minus = -1;
    errno = 0;
    const double root = sqrt(minus);
    printf("%d %d %f", root != root, errno == EDOM, root);
    errno = 0;
    printf(" %d", exp(-minus * 1000) == HUGE_VAL);
    printf(" %d\n", errno == ERANGE);
}

int main(void) {
    for (unsigned i = 0; i < sizeof samples / sizeof *samples; i++) one(samples[i]);
    several();
    return 0;
}
