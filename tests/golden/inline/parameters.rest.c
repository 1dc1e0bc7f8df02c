// Gives each parameter several values; short takes only a part of the last one.
int printf(const char *format, ...);
extern int g;
int f(int a, int b), same(int x);
static int kept;
void keep(int *p) { kept = *p += 2; }

int main(void) {
    for (int a = 0; a <= 3; ++a) {
        printf("%d, g = %d, kept %d\n", f(a, a == 3 ? 40000 : a), g, kept);
        printf("%d\n", same(a));
    }
    return 0;
}
