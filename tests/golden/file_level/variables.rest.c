// Shows what the variables are.
int printf(const char* format, ...);
int elsewhere = 100;
extern const int const_elsewhere;
const int const_elsewhere = 101;
int integers(void), others(void), shown(void), plain(void), parts(int i), commons(void);
long long more(void);
double fractions(void);
extern int shared, tentative, replaceable;

int main(void) {
    for (int i = 0; i < 2; ++i) {
        printf("%d %d %d %d %d\n", integers(), others(), shown(), plain(), commons());
        printf("%d %lld %g\n", parts(i), more(), fractions());
        shared = tentative = replaceable = 50;
    }
    return 0;
}
