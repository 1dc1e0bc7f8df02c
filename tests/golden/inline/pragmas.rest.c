// Counts the turns of the loops.
int printf(const char* format, ...);
extern int g;
void f(int a);
void work(int a) { printf("work %d\n", a); }

int main(void) {
    for (int a = 0; a <= 3; ++a) f(a);
    return g;
}
