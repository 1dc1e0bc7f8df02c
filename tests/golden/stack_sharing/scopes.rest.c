// Writes into each place, and adds up what it held and holds.
int printf(const char* format, ...);
int siblings(int n), rounds(int n), outer(int n);
int put(char* p, int n) {
    for (int i = 0; i < 8; i++) p[i] = (char)(n + i);
    int sum = 0;
    for (int i = 0; i < 8; i++) sum += p[i];
    return sum;
}
int main(void) {
    printf("%d %d %d\n", siblings(3), rounds(5), outer(4));
    return 0;
}
