// Variables that are assigned, read and exposed in unusual places: passes that track variables must see it all.
#include <stdio.h>

static int depth_of(const int* outer, int n) {
    const int* own = &(int){n}; // each call has a literal of its own, and the outer one lives on
    if (n == 0) return *outer;
    return depth_of(n == 3 ? own : outer, n - 1);
}

static int exchanged(int a, int b, int n) {
    if (n == 0) return a * 100 + b;
    return exchanged(b, (a += 1, a), n - 1);
}

static volatile int reads;
static int handed_on(volatile int a, int n) {
    if (n == 0) return a;
    reads += a;
    return handed_on(a, n - 1);
}

static long long wide(void) {
    long long y = ((long long){1} = 1LL << 40);
    return y;
}

struct pair {
    int first, second;
};

static struct pair make_pair(int a) { return (struct pair){a, a + 1}; }

static int members(int n) {
    int trace = 0;
    (trace++, (struct pair){n, n}).second; // no effect but the increment
    int second = ((struct pair){n, n + 1}).second = n + trace;
    ((struct pair){n, second}).first += second++;
    return second * 10 + make_pair(trace).second;
}

static int global = 5;
static int overwritten(int z) {
    z = global;
    return z + 1;
}

int main(void) {
    int start = 42;
    printf("%d\n", depth_of(&start, 5));
    printf("%d\n", exchanged(1, 2, 5));
    printf("%d %d\n", handed_on(6, 3), reads);
    printf("%lld\n", wide());
    printf("%d\n", members(3));
    printf("%d\n", overwritten(9));
    return 0;
}
