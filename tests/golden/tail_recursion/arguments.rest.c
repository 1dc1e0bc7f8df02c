// Goes round each circle.
int printf(const char* format, ...);
int g = 5;
int count(int a), swap(int a, int b), keep(int a, int b), later(int a, int n);
void procedure(void);

int main(void) {
    procedure();
    for (int a = -4; a <= 0; ++a) printf("%d %d\n", count(-a), swap(a, a));
    printf("%d %d %d %d\n", keep(12, 3), keep(0, 1), later(1, 0), g);
    return 0;
}
