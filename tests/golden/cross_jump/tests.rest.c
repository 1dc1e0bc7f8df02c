// Takes each way.
int printf(const char* format, ...);
int g, h;
double d;
void act(void) { printf("act %d\n", g); }
void same(void), other(void), floating(void);

int main(void) {
    void (*const functions[])(void) = {same, other, floating};
    for (int way = 0; way < 24; ++way) {
        g = way % 2;
        h = 4 + way / 2 % 4;
        d = way < 12 ? 5.0 : way < 18 ? 4.5 : 0.0 / (way - 20);
        functions[way % 3]();
        printf("%d %d\n", g, h);
    }
    return 0;
}
