// Ends in the body that never returns.
int printf(const char* format, ...);
int f(int a), last(int a);

int main(void) {
    printf("%d\n", last(1));
    return f(7);
}
