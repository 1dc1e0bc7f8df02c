// setjmp and longjmp: what a function's variables hold after it has been come back to.
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

struct handler { jmp_buf place; struct handler *outer; volatile int status; };
static struct handler *innermost;
static volatile int sink;

static void fail(int status) {
    innermost->status = status;
    longjmp(innermost->place, 1);
}

static int risky(int n) {
    if (n % 3 == 0) fail(n + 100);
    return n * 2;
}

// In the manner of interpreters: an error leaves any number of calls.
static int protect(int (*function)(int), int argument, int *result) {
    struct handler own = {.outer = innermost, .status = 0};
    innermost = &own;
    if (setjmp(own.place) == 0) *result = function(argument);
    innermost = own.outer;
    return own.status;
}

static int nested(int n) {
    int inner = -1, status = protect(risky, n, &inner);
    if (status) fail(status + 1000);
    return inner + 1;
}

// Many live values, so that registers do not suffice; those that do not change after setjmp keep their values, and the
// volatile ones what they had last.
static int keep(int a, int b, int c, int d, double x, long long wide) {
    jmp_buf place;
    volatile int turns = 0, history = 0;
    const int e = a * b + sink, f = c * d + sink, g = a - d + sink, h = b ^ c;
    const double y = x * 3 + sink;
    int code = setjmp(place);
    history = history * 10 + code;
    if (turns < 3) {
        turns++;
        sink = e + f + g + h;
        longjmp(place, turns + 1);
    }
    sink = 0;
    printf("%d %d: %d %d %d %d %d %d %d %d %g %g %lld\n", turns, history, a, b, c, d, e, f, g, h, x, y, wide);
    return history;
}

static sigjmp_buf from_signal;
static void on_signal(int number) { siglongjmp(from_signal, number); }

static int by_signal(void) {
    volatile int raised = 0;
    signal(SIGUSR1, on_signal);
    switch (sigsetjmp(from_signal, 1)) {
    case 0:
        raised = 1;
        raise(SIGUSR1);
        return -1;
    case SIGUSR1:
        if (raised++ < 3) raise(SIGUSR1);
        return raised;
    default: return -2;
    }
}

static jmp_buf loop_place;
static int in_loop(int n) {
    volatile int caught = 0;
    int total = 0;
    for (volatile int i = 0; i < n; i++) {
        if (setjmp(loop_place)) {
            caught++;
            continue;
        }
        if (i % 4 == 1) longjmp(loop_place, i);
        total = i; // not read after a jump that it was assigned before
    }
    return caught * 100 + (total > 0);
}

int main(void) {
    int result = 0;
    for (int n = 1; n < 5; n++) {
        int status = protect(nested, n, &result);
        printf("%d %d, ", status, result);
    }
    printf("%d\n", innermost == NULL);
    printf("%d\n", keep(3, 4, 5, 6, 1.25, 1LL << 40));
    printf("%d %d\n", by_signal(), in_loop(10));
    return 0;
}
