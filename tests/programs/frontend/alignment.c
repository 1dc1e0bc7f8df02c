// Objects that are less aligned than their type wants: packed to two bytes, single packed members, arrays in them; an alias of a static
// function that nothing else needs.
#include <stdio.h>
#include <string.h>
static int hidden(int x) { return x * 3; }
extern int visible(int) __attribute__((alias("hidden")));
#pragma pack(push, 2)
struct two { char c; double d[2]; long long l; int i[2]; };
#pragma pack(pop)
struct one { int a; char c; double d __attribute__((packed)); struct { char z; int y[2]; } __attribute__((packed)) in[2]; };
struct fl { double d; char c; } __attribute__((packed));
__attribute__((noinline)) double sum(struct two *t) { double s = 0; for (int i = 0; i < 2; i++) s += t->d[i] + t->i[i]; return s + t->l; }
__attribute__((noinline)) double sum1(struct one *t) { double s = t->d; for (int i = 0; i < 2; i++) for (int j = 0; j < 2; j++) s += t->in[i].y[j]; return s; }
__attribute__((noinline)) void fill(struct fl *f, int n) { for (int i = 0; i < n; i++) { f[i].d = i * 1.5; f[i].c = i; } }
int main(void) {
    char raw[200]; memset(raw, 0, sizeof raw);
    struct two *t = (struct two *)(raw + 2); t->d[0] = 1.5; t->d[1] = 2.5; t->l = 1LL << 33; t->i[0] = 7; t->i[1] = 8;
    struct one o = {1, 2, 3.25, {{1, {2, 3}}, {4, {5, 6}}}};
    struct fl f[5]; fill(f, 5); double d = 0; for (int i = 0; i < 5; i++) d += f[i].d + f[i].c;
    printf("%g %g %g %d %d %d\n", sum(t), sum1(&o), d, visible(4), (int)sizeof(struct two), (int)sizeof(struct one));
}
