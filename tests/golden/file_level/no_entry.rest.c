// The program that the file is a part of.
int printf(const char* format, ...);
int get(int a);
int main(void) { return printf("%d\n", get(3)); }
