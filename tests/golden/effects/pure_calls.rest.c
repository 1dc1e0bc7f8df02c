// Counts the calls that have effects.
int printf(const char* format, ...);
extern volatile int v;
int f(int n), limit();
int limit(int a, int b) { return printf("limit %d %d\n", a, b); }

int main(void) {
    for (int n = 0; n <= 3; ++n) printf("%d %d\n", f(n), v);
    return 0;
}
