// Structures that are filled.
int printf(const char* format, ...);
struct pair {
    int a, b, c[4];
};
int in_turn(int n), around(int n), by_elements(int n);
struct pair make(int n) {
    struct pair made = {n, 2, {3, n + 1, 5, 7}};
    return made;
}
int main(void) {
    printf("%d %d %d\n", in_turn(3), around(5), by_elements(4));
    return 0;
}
