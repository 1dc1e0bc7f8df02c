// Takes and changes structures.
int printf(const char* format, ...);
struct rec {
    int x, y;
    char name[8];
};
int forms(int n);
int take(struct rec r) { return r.x + r.y; }
int put(char* p, int n) {
    p[0] = (char)(p[0] + n);
    return p[0];
}
int main(void) {
    printf("%d %d\n", forms(3), forms(4));
    return 0;
}
