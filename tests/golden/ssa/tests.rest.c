// Calls each with what leads to all of its ways.
int printf(const char* format, ...);
int equal(int x), character(void), null(int* p, int n), selected(int n), joined(int n);
int both(unsigned a, int b), large(int n), wide(long long n);
double real(double d);
static int next = 90;
int f(int n) { return n * 3; }
int g(void) { return next += 7; }
int h(int* p) { return *p += 1; }
int main(void) {
    int counter = 0;
    for (int i = 0; i < 12; i++) printf("%d %d %d\n", equal(i), selected(i), joined(i));
    for (int i = 0; i < 3; i++) printf("%d %d\n", both(0, i), both(2, i));
    printf("%d %d %d\n", character(), null(0, 1), null(&counter, 5));
    printf("%d %d %d %d\n", counter, large(100000), wide(3), wide(9));
    printf("%g %g %g\n", real(-0.0), real(2.5), real(7));
    return 0;
}
