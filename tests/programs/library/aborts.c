// A program that a signal ends: handlers run, a handler may jump away, functions of atexit are not called.
#include <assert.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

static jmp_buf away;
static void jump(int number) { longjmp(away, number); }
static void come_back(int number) { printf("handler %d\n", number); }
static void never(void) { printf("never\n"); }

static int descend(const void *a, const void *b) {
    if (*(const int *)a == 3) longjmp(away, 3);
    return *(const int *)a - *(const int *)b;
}

int main(void) {
    atexit(never);
    printf("%d\n", signal(SIGUSR2, SIG_IGN) == SIG_DFL);
    raise(SIGUSR2);
    signal(SIGABRT, jump);
    if (setjmp(away) == SIGABRT) {
        printf("back from abort\n");
    } else {
        abort();
    }
    int numbers[] = {1, 3, 2, 5};
    if (setjmp(away) == 3)
        printf("back from qsort\n");
    else
        qsort(numbers, 4, sizeof *numbers, descend);
    signal(SIGABRT, come_back);
    fflush(stdout);
    assert(numbers[0] == 99);
    return 0;
}
