// A function of another file.
int printf(const char* format, ...);
int elsewhere(int a) { return printf("elsewhere %d\n", a) + a; }
