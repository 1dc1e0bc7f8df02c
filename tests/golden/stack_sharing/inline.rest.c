// Writes into each place, and adds up what it holds.
int printf(const char* format, ...);
int twice(int n), results(int n);
int put(char* p, int n) {
    for (int i = 0; i < 8; i++) p[i] = (char)(n + i);
    return p[n & 7];
}
int main(void) {
    printf("%d %d %d\n", twice(3), twice(9), results(2));
    return 0;
}
