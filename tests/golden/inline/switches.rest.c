// Takes each case.
int printf(const char* format, ...);
int twice(int a);

int main(void) {
    for (int a = -2; a <= 9; ++a) printf("%d\n", twice(a));
    return 0;
}
