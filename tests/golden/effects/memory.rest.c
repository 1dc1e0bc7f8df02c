// Calls both functions, with memory of its own.
int printf(const char* format, ...);
void stores(int n, int* p);
int copies(int n, int* p);

int main(void) {
    for (int n = 0; n <= 3; ++n) {
        int own = 0;
        stores(n, &own);
        printf("%d %d\n", own, copies(n, &own));
    }
    return 0;
}
