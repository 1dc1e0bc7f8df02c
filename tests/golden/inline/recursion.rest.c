// Goes deeper than calls are expanded.
int printf(const char* format, ...);
extern int g;
void start(int n);

int main(void) {
    for (int n = 0; n <= 30; n += 5) {
        start(n);
        printf("%d\n", g);
    }
    return 0;
}
