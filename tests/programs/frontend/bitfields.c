// Neighbouring bit-fields tested, assigned, copied, changed and read together, through pointers that may mean one object.
#include <stdio.h>
#include <string.h>

struct header { unsigned version : 4, kind : 3, urgent : 1; int priority : 5; unsigned length : 11, hops : 8; unsigned char tail; };
struct mixed { int a : 9, b : 14, c : 9; _Bool d : 1; signed char e : 7; enum { P, Q, R, S } f : 2; unsigned short g : 14; };
struct device { unsigned on : 1, mode : 3; volatile unsigned status : 4; unsigned level : 8; };
struct __attribute__((packed)) tight { char c; unsigned a : 7, b : 9, d : 16; };
struct barrier { unsigned char a : 3, : 0, b : 3; unsigned : 0; unsigned c : 20; };
union view { struct mixed fields; unsigned words[2]; };

static int calls;
static unsigned next(void) { return (unsigned)++calls * 37; }

static void print_bytes(const char *what, const void *object, size_t size) {
    printf("%s", what);
    for (size_t i = 0; i < size; i++) printf(" %02x", ((const unsigned char *)object)[i]);
    printf("\n");
}

static void fill(struct header *h, int x) {
    h->version = 4, h->kind = x, h->urgent = x > 2, h->priority = -x, h->length = x * 100, h->hops = 255 - x, h->tail = 7;
}

static void assign_some(struct mixed *m, struct mixed *from, int x) {
    m->a = x; m->c = from->a; m->b = -x * 3;
    m->d = from->d; m->f = R; m->e = x;
    x += 5;
    m->g = x * 999;
}

// The two may be one object.
static void copy_some(struct mixed *to, struct mixed *from) {
    to->a = from->a; to->b = from->b;
    to->d = from->d; to->e = from->e; to->g = from->g;
}

static void shuffle(struct mixed *to, struct mixed *from) { to->a = from->c; to->c = from->b; to->b = from->a; }

static void fill_by_calls(struct header *h) { h->version = next(); h->kind = next(); h->length = next(); h->hops = h->length; }

static int tests(const struct header *h, const struct header *other) {
    int n = 0;
    n = n * 2 + (h->version == 4 && h->kind == 2 && h->priority == -2);
    n = n * 2 + (h->urgent || h->hops == 253 || h->length);
    n = n * 2 + (h->priority != -2 || h->urgent || h->hops != 253);
    n = n * 2 + (h->kind == other->kind && h->priority == other->priority && h->hops == other->hops);
    n = n * 2 + (h->version != other->version || h->length != other->length);
    n = n * 2 + (h->version == 4 && next() % 2 && h->kind == 2);
    n = n * 2 + (h && !h->urgent && h->priority == 99 && h->kind == 2);
    n = n * 2 + (h->version == 4 && h->kind == 2 && h->version == 3);
    return n;
}

static void change(struct mixed *m, struct header *h, int x) {
    m->a += x; m->b -= 2; m->c++; m->d = !m->d; m->d ^= 1; m->d |= x; m->d = !m->d;
    m->e = ~m->e; m->g ^= x; m->g |= x << 3; m->e &= x; m->b++; --m->a;
    h->version += 15; h->urgent ^= 1; h->length -= x; h->hops += x; h->priority++; h->kind = h->kind + 9; h->kind |= 1;
    printf("%d %d %u %d\n", m->a++, m->b += 100, h->hops--, h->priority ^= 3);
}

static long long sum(const struct mixed *m, const struct header *h, int *place) {
    long long total = m->a + m->b * 3 + m->c * 7;
    *place = m->e;
    total += m->d + m->e + m->f + m->g;
    return total * 31 + h->version + h->kind + h->urgent + h->priority + h->length + h->hops;
}

static void others(int x) {
    struct device device = {1, 5, 9, 200};
    struct tight tight[2] = {{'a', 3, 300, 60000}, {'b', 100, 511, 1}};
    struct barrier barrier = {1, 2, 3};
    device.mode = x; device.level = x * 2; device.on = 0;
    tight[1].a = x; tight[1].b = x * 50; tight[1].d = tight[0].d; tight[0].b++;
    barrier.a = x; barrier.b = x; barrier.c = x;
    printf("%d %d %d\n", device.on == 0 && device.level == 6, device.mode == 3 && device.status == 9,
           tight[1].a == 3 && tight[1].b == 150 && tight[1].d == 60000);
    printf("%u %u %u, %u %u, %u %u %u\n", device.mode, device.status, device.level, tight[0].b, tight[1].b, barrier.a,
           barrier.b, barrier.c);
}

int main(void) {
    struct header h[3];
    union view views[2];
    memset(h, 0, sizeof h), memset(views, 0, sizeof views);
    for (int i = 0; i < 3; i++) fill(&h[i], i + 1);
    print_bytes("headers", h, sizeof h);
    struct mixed *m = &views[0].fields, *other = &views[1].fields;
    assign_some(other, other, 77), assign_some(m, other, -5);
    printf("%08x %08x %08x %08x\n", views[0].words[0], views[0].words[1], views[1].words[0], views[1].words[1]);
    copy_some(m, other), copy_some(other, other);
    print_bytes("copied", views, sizeof views);
    shuffle(m, m), shuffle(other, m);
    print_bytes("shuffled", views, sizeof views);
    views[1].fields.a = 1, views[1].words[0] ^= 0x12345678, views[1].fields.c = views[1].words[0] & 7;
    print_bytes("view", views, sizeof views);
    for (int i = 0; i < 3; i++) printf("%02x ", tests(&h[i], &h[1]));
    fill_by_calls(&h[2]);
    print_bytes("calls", h, sizeof h);
    for (int i = 0; i < 3; i++) change(&views[i & 1].fields, &h[i], i + 3);
    print_bytes("changed", views, sizeof views), print_bytes("changed", h, sizeof h);
    int place;
    for (int i = 0; i < 3; i++) printf("%lld %d\n", sum(&views[i & 1].fields, &h[i], &place), place);
    others(3);
    return 0;
}
