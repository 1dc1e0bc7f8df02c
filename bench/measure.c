/* Runs a command with its output dropped, and prints its user and system time in seconds and its peak memory in bytes.

   A program of its own, since the peak of a process counts the pages of whoever forked it: those of a script's interpreter would hide small programs. */
#include <fcntl.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static double seconds(struct timeval time) { return (double)time.tv_sec + (double)time.tv_usec * 1e-6; }

int main(int argc, char **argv) {
    (void)argc;
    pid_t child = fork();
    if (child == 0) {
        int nowhere = open("/dev/null", O_RDWR);
        dup2(nowhere, 1);
        dup2(nowhere, 2);
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    int status;
    struct rusage usage;
    if (wait4(child, &status, 0, &usage) != child || status != 0) return 1;
    printf("%.6f %ld\n", seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss * 1024);
    return 0;
}
