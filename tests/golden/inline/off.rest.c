// Calls the function.
int printf(const char* format, ...);
int f(void);

int main(void) {
    printf("%d\n", f());
    return 0;
}
