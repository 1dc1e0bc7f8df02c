// Initializers of static and automatic objects: designators, ranges, strings, unions, bit-fields, flexible arrays,
// addresses with offsets, compound literals.
#include <stdio.h>
#include <string.h>

struct point { int x, y; };
struct line { struct point from, to; char tag[4]; };
union word { unsigned u; unsigned char bytes[4]; float f; };
struct packet { unsigned version : 4, length : 12; signed delta : 5; unsigned : 3; unsigned flag : 1; unsigned char tail; };
struct flexible { int count; short items[]; };
struct nested { struct { int a; union { int b; char c[4]; }; }; int d; };

static int numbers[10] = {1, 2, [5] = 50, 51, [8 ... 9] = 99};
static const char text[] = "a\0b";
static char padded[8] = "xyz";
static char exact[3] = "abc";
static const char *names[] = {"zero", [2] = "two", &"three"[2]};
static struct line lines[] = {{{1, 2}, {3, 4}, "ab"}, {.to.y = 7, .tag = {'q'}}};
static union word as_float = {.f = 1.5f}, as_bytes = {.bytes = {1, 2, 3}};
static struct packet packet = {4, 0xABC, -3, 1, 0x7F};
static struct flexible flexible = {3, {10, 20, 30}};
static int *inside = &numbers[5], *before = numbers + 10 - 2;
static int (*printer)(const char *, ...) = printf;
static struct point *literal = &(struct point){11, 12};
static int *array_literal = (int[]){7, 8, 9};
static const unsigned address_low = (unsigned)(sizeof(struct line) * 2);
static double reals[] = {0.1, -0.0, 1e300, 1.0f / 3};
static long long longs[] = {-1, 0x123456789ABCDEFLL, [3] = 1LL << 62};
static _Bool truths[] = {0, 5, 1};
static const int wchar_t_like[] = {1};
static struct nested nested = {.b = 5, .d = 6, .a = 4};
static unsigned char large[5000] = {[0] = 1, [4500] = 2};
static const char *const table[2][2] = {{"00", "01"}, {"10", "11"}};
static enum color { RED, GREEN = 5, BLUE } color = BLUE;
static void *self = &self;
static char (*row)[8] = &padded;

static void show_bytes(const void *object, int count) {
    const unsigned char *bytes = object;
    for (int i = 0; i < count; i++) printf("%02x", bytes[i]);
    printf("\n");
}

static void show_statics(void) {
    for (int i = 0; i < 10; i++) printf("%d ", numbers[i]);
    printf("%d %d %d\n", (int)sizeof text, (int)sizeof exact, exact[2]);
    show_bytes(padded, 8);
    printf("%s %d %s %s\n", names[0], names[1] == 0, names[2], names[3]);
    printf("%d %d %d %s %d %d %d\n", lines[0].from.x, lines[0].to.y, lines[1].to.y, lines[0].tag, lines[1].tag[0], lines[1].tag[1],
           (int)(sizeof lines / sizeof *lines));
    printf("%08x %08x\n", as_float.u, as_bytes.u);
    printf("%u %u %d %u %u\n", packet.version, packet.length, packet.delta, packet.flag, packet.tail);
    show_bytes(&packet, sizeof packet);
    printf("%d %d %d %d\n", flexible.count, flexible.items[0], flexible.items[2], (int)sizeof flexible);
    printf("%d %d %d\n", *inside, *before, (int)(before - inside));
    printer("%d %d %d %u\n", literal->x, literal->y, array_literal[2], address_low);
    printf("%g %g %g %g\n", reals[0], reals[1], reals[2], reals[3]);
    printf("%lld %llx %lld %lld\n", longs[0], longs[1], longs[2], longs[3]);
    printf("%d %d %d %d\n", truths[0], truths[1], truths[2], wchar_t_like[0]);
    printf("%d %d %d %d\n", nested.a, nested.b, nested.c[0], nested.d);
    printf("%d %d %d %s %d\n", large[0], large[4500], large[4999], table[1][0], color);
    printf("%d %s\n", self == &self, *row);
}

static int sum(const int *values, int count) {
    int total = 0;
    while (count--) total += *values++;
    return total;
}

static void show_locals(int n) {
    int partial[20] = {n, n + 1, [10] = n * 2};
    int full[3] = {n, n, n};
    int constant[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    char word[] = "automatic";
    char wide[64] = "in a large array";
    char none[40] = {0};
    char exactly[4] = "four";
    struct line line = {.to = {n, -n}, .tag = "z"}, copy = line;
    struct point points[] = {[1] = {n, n}, {5}};
    union word bits = {n};
    struct packet field = {.length = n, .delta = -n};
    const char *strings[] = {"one", word, "three"};
    struct nested anonymous = {.c = {1, 2, 3, 4}, .a = n};
    struct point moved = *&(struct point){n, 9};
    struct { int a[2][3]; } grid = {{{1, 2, 3}, {n}}};
    int scalar = {n};
    printf("%d %d %d %d\n", sum(partial, 20), sum(full, 3), sum(constant, 12), scalar);
    printf("%s %s %d %d %c%c\n", word, wide, wide[63], sum((int *)none, 10), exactly[0], exactly[3]);
    printf("%d %d %s %d %d\n", line.from.x, copy.to.y, copy.tag, points[0].x, points[2].y);
    printf("%u %u %d %s %s\n", bits.u, field.length, field.delta, strings[1], strings[2]);
    printf("%d %d %d %d %d\n", anonymous.a, anonymous.b, moved.x + moved.y, grid.a[0][2], grid.a[1][0] + grid.a[1][2]);
    printf("%d %d\n", sum((int[]){n, n, n, 1}, 4), (int)strlen((char[]){'h', 'i', 0}));
}

static int count(void) {
    static int calls = 40, *where = &calls;
    static struct { int a, b; } pair = {.b = 2};
    return ++*where + pair.b;
}
static int other_count(void) { static int calls; return ++calls; }

int main(void) {
    show_statics();
    for (int i = 1; i < 3; i++) show_locals(i);
    printf("%d %d", count(), other_count());
    printf(" %d %d\n", count(), other_count());
    return 0;
}
