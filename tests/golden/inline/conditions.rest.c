// Calls each function where the condition holds and where not.
int printf(const char* format, ...);
extern int g;
int test(int a), either(int a), negated(int a), value(int a), chosen(int a), inner(int a), selected(int a);
void dropped(int a);

int main(void) {
    int (*const functions[])(int) = {test, negated, value, chosen, inner, selected};
    for (int which = 0; which < 6; ++which)
        for (int a = -3; a <= 4; ++a) printf("%d(%d) = %d, g = %d\n", which, a, functions[which](a), g);
    for (int a = -3; a <= 4; ++a) {
        g = -1; // else the loop has no end
        printf("%d\n", either(a));
        dropped(a);
        printf("%d\n", g);
    }
    return 0;
}
