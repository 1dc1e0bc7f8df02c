// Goes round each loop.
int printf(const char *format, ...);
int g, h;
void act(void) {
    printf("act %d %d\n", g, h);
    if (h) --h;
}
void one(void), several(void), twice(void);

int main(void) {
    one();
    for (int turns = 0; turns <= 3; ++turns) {
        g = 5, h = turns;
        several();
        g = h = turns;
        twice();
        printf("%d %d\n", g, h);
    }
    return 0;
}
