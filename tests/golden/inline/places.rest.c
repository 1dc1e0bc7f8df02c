// Calls the function on both paths.
int printf(const char* format, ...);
extern int g;
int f(int a);

int main(void) {
    for (int a = 0; a <= 1; ++a) printf("%d, g = %d\n", f(a), g);
    return 0;
}
