// Takes different members of an array.
int printf(const char* format, ...);
struct pair {
    int first, second;
};
int f(struct pair* v, int i);

int main(void) {
    struct pair v[200];
    for (int i = 0; i < 200; ++i) v[i] = (struct pair){i * i, 7 - i};
    for (int i = 0; i < 10; ++i) printf("%d\n", f(v, i));
    return 0;
}
