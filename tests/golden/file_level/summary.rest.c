// A function of another file.
int printf(const char* format, ...);
int outside(int a) { return printf("outside %d\n", a) + a; }
