// Bit-fields that no integer holds which lies in their packed structure, or between the members around them.
#include <stdio.h>
#include <string.h>

#define PACKED __attribute__((packed))
struct PACKED alone { unsigned f : 17; };
struct PACKED shifted { int a : 7; int b : 32; unsigned c : 1; };
struct PACKED longer { unsigned char c : 4; long long x : 62; short y : 13; unsigned long long z : 57; };
struct PACKED single { long long x : 50; };
struct before_char { int x : 17; char c; };
struct behind_char { char c; int x : 20, y : 4; };
struct wide { char c; long long x : 40; char d; int y : 24; short s; };
struct parted { unsigned f : 17; unsigned char : 0; unsigned g : 8; };
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

static unsigned between_members(struct before_char *a, struct behind_char *b, struct wide *w, struct parted *p) {
    unsigned n = 0;
    for (int i = -3; i < 70000; i += 7777) {
        a->c = i, a->x = i, n += a->x++, n += --a->x, a->x ^= 5, n = n * 31 + a->x + a->c;
        b->c = i, b->x = i, b->y = -i, b->x += i, n = n * 31 + b->x * 3 + b->y + (b->x < 0);
        p->f = i * 3, p->g = i, n = n * 31 + p->f + p->g, p->f += 70000;
        w->c = i, w->x = i * 1234567LL, w->d = i, w->y = i * 300, w->s = i;
        n = n * 31 + w->x + w->y + w->d, w->x >>= 3, w->y = w->x = -5;
    }
    show(a, sizeof *a), show(b, sizeof *b), show(w, sizeof *w), show(p, sizeof *p);
    return n;
}

int main(void) {
    static struct before_char a[2] = {{65535, 'a'}, {-65536, 'b'}};
    static struct behind_char b;
    static struct wide w;
    static struct parted p;
    printf("%u\n", between_members(&a[1], &b, &w, &p) + a[0].x);
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
