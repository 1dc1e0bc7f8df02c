// Takes each return.
int printf(const char* format, ...);
int assigned(int a), returned(int a), within(int a), count();
void dropped(int* p, int a);
int count(int a) { return printf("count %d\n", a); }

int main(void) {
    for (int a = -30; a <= 30; a += 6) {
        int kept = a;
        dropped(&kept, a);
        printf("%d %d %d %d\n", assigned(a), returned(a), within(a), kept);
    }
    return 0;
}
