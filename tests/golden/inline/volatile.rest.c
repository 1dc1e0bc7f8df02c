// Calls the function; what it reads and writes is compared.
int printf(const char* format, ...);
int f(int a);

int main(void) {
    for (int a = 0; a <= 5; ++a) printf("%d\n", f(a));
    return 0;
}
