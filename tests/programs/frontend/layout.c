// Layout: bit-fields of every declared type, packed structures, unaligned access, unions, volatile members, sizes.
#include <stdio.h>
#include <string.h>

struct fields { unsigned a : 3; signed b : 7; unsigned c : 22; unsigned long long d : 37; _Bool e : 1; signed char f : 5; unsigned short g : 9; };
struct __attribute__((packed)) tight { char c; int i; short s; double d; long long l; int array[3]; };
struct __attribute__((packed)) straddling { unsigned a : 6; unsigned b : 20; unsigned c : 13; unsigned long long d : 41; };
struct bits_of_enum { enum { P, Q, R } e : 2; int plain : 4; volatile unsigned v : 8; };
struct zero_width { unsigned a : 5; unsigned : 0; unsigned b : 5; char c; unsigned d : 3; };
typedef int any_int __attribute__((aligned(1)));
struct holds { struct tight inner; char end; };
union both { struct { unsigned low : 16, high : 16; }; unsigned all; unsigned char bytes[4]; };
struct __attribute__((aligned(16))) wide_aligned { char c; };
struct last { int n; char text[]; };

static void show(const void *object, size_t size) {
    for (size_t i = 0; i < size; i++) printf("%02x", ((const unsigned char *)object)[i]);
    printf("\n");
}

static void bit_fields(int n) {
    struct fields f;
    memset(&f, 0, sizeof f);
    f.a = n; f.b = -n; f.c = n * 1000; f.d = 0x1FFFFFFFFFull - n; f.e = n; f.f = -n; f.g = n * 100;
    printf("%u %d %u %llu %d %d %u\n", f.a, f.b, f.c, (unsigned long long)f.d, f.e, f.f, f.g);
    show(&f, sizeof f);
    printf("%d %d %d\n", f.a += 7, f.b -= 60, f.f++);
    printf("%d %d %llu\n", (f.a = 9), (f.f = 31), (unsigned long long)(f.d >>= 4));
    printf("%d %d %d\n", f.a - 5 < 0, f.c - 5 < 0, f.e ? 1 : 0);
    f.e ^= 1; f.g |= 0x1FF; --f.c; f.d *= 3;
    printf("%d %u %u %llu\n", f.e, f.g, f.c, (unsigned long long)f.d);
    struct bits_of_enum e = {R, -3, 200};
    e.v += 100; printf("%d %d %d\n", e.e, e.plain, e.v);
    struct zero_width z;
    memset(&z, 0, sizeof z); // an initializer says nothing of the bits between the members
    z.a = 31; z.b = 30; z.c = 'c'; z.d = 7; show(&z, sizeof z);
    struct straddling s = {.a = 33, .b = 0xABCDE, .c = 0x1555, .d = 0x123456789AALL};
    s.b++; s.d -= n; show(&s, sizeof s);
    printf("%u %u %u %llx\n", s.a, s.b, s.c, (unsigned long long)s.d);
}

static void packed(int n) {
    struct tight t = {1, n, 3, 4.5, 5, {6, 7, n}};
    struct holds h[2] = {{t, 'x'}, {t, 'y'}};
    struct tight *p = &h[1].inner;
    p->i++; p->d *= 2; p->l -= 10; p->array[2] += 5; p->array[n % 3] = 77;
    printf("%d %d %d %g %lld %d %d %c\n", p->c, p->i, p->s, p->d, p->l, p->array[2], p->array[n % 3], h[1].end);
    printf("%d %d %d\n", (int)sizeof t, (int)sizeof h, (int)__builtin_offsetof(struct holds, inner.array[1]));
    int total = 0;
    for (int i = 0; i < 3; i++) total += t.array[i];
    char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    printf("%d %x %x\n", total, *(any_int *)(bytes + 1), ((any_int *)(bytes + 3))[1]);
    struct tight copy = *p; printf("%g %d\n", copy.d, copy.array[1]);
}

int main(void) {
    union both u = {.all = 0x12345678};
    static struct { struct last last; char room[8]; } with_room = {{5}, "abc"};
    static const struct last given = {3, "flexible"};
    bit_fields(5);
    bit_fields(13);
    packed(4);
    u.high++; printf("%x %x %x\n", u.low, u.all, u.bytes[2]);
    printf("%d %d %s %c\n", (int)sizeof(struct wide_aligned), (int)_Alignof(struct wide_aligned), given.text, with_room.room[1]);
    printf("%d %d %d %d\n", (int)sizeof(struct fields), (int)sizeof(struct straddling), (int)sizeof(struct zero_width), (int)sizeof(union both));
    return 0;
}
