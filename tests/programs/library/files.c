// Streams on files of the current folder, their positions and errors, and the calendar.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static const char *const name = "library-files.txt";

static void writing(void) {
    FILE *file = fopen(name, "w");
    if (!file) exit(3);
    fputs("first line\nsecond line\n", file);
    fprintf(file, "%d %s\n", 42, "answer");
    const int numbers[4] = {1, -2, 3, -4};
    printf("%zu %ld\n", fwrite(numbers, sizeof *numbers, 4, file), ftell(file));
    printf("%d\n", fclose(file));
}

static void reading(void) {
    char line[40];
    FILE *file = fopen(name, "rb");
    printf("%s", fgets(line, sizeof line, file));
    printf("%s|", fgets(line, 5, file));
    const int next = fgetc(file);
    printf("%c", next);
    ungetc(next, file);
    printf("%c", getc(file));
    printf("%s", fgets(line, sizeof line, file));
    int number = 0;
    printf("%d %d %s\n", fscanf(file, "%d %39s", &number, line), number, line);
    int numbers[8] = {0};
    fgetc(file);
    printf("%zu %d %d\n", fread(numbers, sizeof *numbers, 8, file), numbers[1], numbers[3]);
    printf("%d %d %d\n", feof(file) != 0, ferror(file) != 0, fgetc(file));
    rewind(file);
    printf("%d %ld\n", feof(file) != 0, ftell(file));
    fseek(file, 6, SEEK_SET);
    printf("%c%ld", fgetc(file), ftell(file));
    fseek(file, -4, SEEK_END);
    printf(" %zu\n", fread(numbers, 1, 100, file));
    fclose(file);
}

static void updating(void) {
    FILE *file = fopen(name, "r+");
    fputs("FIRST", file);
    fclose(file);
    file = fopen(name, "a");
    fputs("tail", file);
    fclose(file);
    char text[8] = "";
    file = fopen(name, "r");
    fread(text, 1, 7, file);
    printf("%s", text);
    fseek(file, -4, SEEK_END);
    char *line = NULL;
    size_t room = 0;
    printf(" %zd %s\n", getline(&line, &room, file), line);
    free(line);
    fclose(file);
    printf("%d", rename(name, "library-other.txt"));
    printf(" %d", fopen(name, "r") == NULL);
    printf(" %d", errno == ENOENT);
    printf(" %d %d\n", remove("library-other.txt"), remove("library-other.txt"));
}

static void unnamed(void) {
    FILE *file = tmpfile();
    for (int i = 0; i < 5; i++) fprintf(file, "%d,", i * i);
    rewind(file);
    int sum = 0, number;
    while (fscanf(file, "%d,", &number) == 1) sum += number;
    printf("%d\n", sum);
    fclose(file);
}

static volatile sig_atomic_t seen;
static void handler(int number) { seen = number; }

static void calendar(void) {
    const time_t when = 951868799;
    struct tm date = *gmtime(&when);
    char text[80];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %j %A", &date);
    printf("%s %s", text, asctime(&date));
    date.tm_mday += 40;
    printf("%ld %d %d\n", (long)mktime(&date), date.tm_mon, date.tm_yday);
    signal(SIGUSR1, handler);
    raise(SIGUSR1);
    printf("%d %g\n", seen == SIGUSR1, difftime(100, 50));
}

int main(void) {
    writing();
    reading();
    updating();
    unnamed();
    calendar();
    return 0;
}
