// Shows what the calls do in which order.
int printf(const char* format, ...);
extern int g, v[4];
int memory(int a), quiet(int a), effects(int a), places(int* p, int i), arguments(int a), nested(int a);
int commas(int a), use();

int use(int a, int b, int c) {
    printf("use %d %d %d, g = %d\n", a, b, c, g);
    return a + 10 * b + 100 * c;
}

int main(void) {
    int (*const functions[])(int) = {memory, quiet, effects, arguments, nested, commas};
    for (int which = 0; which < 6; ++which)
        for (int a = 0; a <= 2; ++a) {
            printf("%d(%d) = %d, g = %d\n", which, a, functions[which](a), g);
            g = 0;
        }
    printf("%d %d: %d %d %d %d\n", places(v, 1), g, v[0], v[1], v[2], v[3]);
    return 0;
}
