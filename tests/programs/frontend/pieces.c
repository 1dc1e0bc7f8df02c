// Bit-fields of packed structures that no integer in the structure holds.
#include <stdio.h>
#include <string.h>

#define PACKED __attribute__((packed))
struct PACKED alone { unsigned f : 17; };
struct PACKED shifted { int a : 7; int b : 32; unsigned c : 1; };
struct PACKED longer { unsigned char c : 4; long long x : 62; short y : 13; unsigned long long z : 57; };
struct PACKED single { long long x : 50; };
union overlaid { struct alone alone; unsigned char bytes[3]; };

static struct longer constant = {5, -123456789012345LL, -3000, 1ULL << 56 | 3};
static struct alone table[3] = {{1}, {0x1ABCD}, {0x10000}};

static void show(const void *object, int size) {
    for (int i = 0; i < size; i++) printf("%02x", ((const unsigned char *)object)[i]);
    printf(" ");
}

static struct single make(long long x) { struct single s = {x}; return s; }

static void change(struct longer *p, struct shifted *s, int n) {
    p->x += 1LL << 40;
    p->x -= n;
    p->z ^= -1ULL;
    p->z >>= 3;
    p->y *= 2;
    p->y++;
    printf("%lld %d %lld ", p->x--, --p->y, (long long)(p->z = 1ULL << 60 | 77));
    s->b = -n, s->a |= 0x55, s->c = ~s->c;
    printf("%d %d %d %d\n", s->b <<= 2, s->b / 3, s->a, s->c);
}

int main(void) {
    struct shifted s = {-1, -2, 1};
    struct longer l = constant;
    union overlaid u;
    memset(&u, 0xA5, sizeof u);
    u.alone.f = 0;
    show(&u, sizeof u);
    u.alone.f = 0xFFFFFFFF;
    show(&u, sizeof u);
    printf("%d %d %d %d\n", (int)sizeof(struct alone), (int)sizeof s, (int)sizeof l, (int)sizeof(struct single));
    printf("%d %d %u %lld %d %llx\n", s.a, s.b, s.c, (long long)l.x, l.y, (unsigned long long)l.z);
    for (int i = 0; i < 3; i++) printf("%x ", table[i].f++);
    printf("%x %x ", table[0].f, table[1].f + table[2].f);
    change(&l, &s, 1000);
    show(&l, sizeof l), show(&s, sizeof s), show(table, sizeof table);
    printf("%lld %lld %d\n", (long long)make(-1LL << 49).x, (long long)make(3).x + (s.b ?: 5), s.b > 0 ? 1 : s.b && s.a);
    return 0;
}
