// Calls each function; what they hand out is printed.
int printf(const char* format, ...);
extern int* gp;
int lent(int n), kept(int n), narrowed(int n), handed_on(int n, int* p), counted(int n);
int use(int a) { return printf("use %d\n", a); }

int main(void) {
    for (int n = 0; n <= 9; ++n) {
        int own = 70 + n;
        printf("%d %d %d %d\n", lent(n), narrowed(n), handed_on(n, &own), counted(n));
        printf("%d\n", kept(n));
        gp = 0;
    }
    return 0;
}
