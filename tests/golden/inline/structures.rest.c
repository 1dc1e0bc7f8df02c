// Prints the structures.
int printf(const char* format, ...);
struct point {
    int x, y;
};
extern struct point global;
int members(int a);
struct point returned(int a), chosen(int a);
void assigned(struct point* p, int a);

int main(void) {
    for (int a = 0; a <= 3; ++a) {
        struct point all[5] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}};
        global.x = a + 20, global.y = 30 - a;
        assigned(all, a);
        for (int i = 0; i < 5; ++i) printf("(%d, %d) ", all[i].x, all[i].y);
        const struct point sum = returned(a), one = chosen(a);
        printf("%d (%d, %d) (%d, %d)\n", members(a), sum.x, sum.y, one.x, one.y);
    }
    return 0;
}
