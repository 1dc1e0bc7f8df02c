// How names are linked: inline functions of both dialects, weak and other names, sections, code around main, tentative definitions.
#include <stdio.h>

inline int c99_inline(int x) { return x + 1; } // no external definition here...
extern int c99_inline(int x);                  // ... but for this
static inline int only_here(int x) { return x * 2; }
extern inline __attribute__((gnu_inline)) int abs(int x) { return x < 0 ? -x : x; } // the library's is the external one
extern inline __attribute__((gnu_inline)) int again(int x) { return x + 1; } // not what counts
static int before_again(void) { return again(1); }
int again(int x) { return x + 2; }
static inline int never_used(void) { extern int not_defined_anywhere(void); return not_defined_anywhere(); }

int real_name(int x) { return x + 10; }
int other_name(int x) __attribute__((alias("real_name")));
static int hidden_name(int x) __attribute__((alias("real_name"), unused));
static __typeof__(real_name) by_weakref __attribute__((weakref("real_name")));
extern int perhaps(void) __attribute__((weak));
int renamed(int x) __asm__("name_of_its_own");
int renamed(int x) { return x + 1000; }
__attribute__((weak)) int overridable = 6;
__attribute__((weak, noinline)) int weak_function(void) { return 3; }

int object = 42;
extern int same_object __attribute__((alias("object")));
int tentative;
int tentative;
static int also_tentative;
static int also_tentative;
extern int declared_late;
static int use_late(void) { return declared_late; }
int declared_late = 8;

__attribute__((section(".data.own"))) int in_section = 5;
__attribute__((section("entries"), used)) static const int first = 11, second = 22, third = 33;
extern const int __start_entries[], __stop_entries[];
__attribute__((section(".text.own"), noinline)) static int function_in_section(void) { return in_section; }
__attribute__((visibility("hidden"))) int hidden_object = 9;
__attribute__((aligned(64))) static char aligned_object[3];

static int order;
__attribute__((constructor(201))) static void second_before(void) { order = order * 10 + 2; }
__attribute__((constructor(200))) static void first_before(void) { order = order * 10 + 1; }
__attribute__((constructor)) static void last_before(void) { order = order * 10 + 3; }
__attribute__((destructor)) static void after(void) { printf("after %d\n", order); }
__attribute__((noreturn)) static void leave(int status) { extern void exit(int); exit(status); }

// What is known never to run needs no definition of what it calls.
extern int nowhere(int);
static int dead_code(int x) {
    if (x && 0) return nowhere(1);
    if (0 && nowhere(2)) x++;
    if (1 || nowhere(3)) x += sizeof(long) == 4 ? 1 : nowhere(4);
    switch (sizeof x) {
    case 8: nowhere(5); break;
    case 4: x += 2; break;
    default: while (x) x = nowhere(6);
    }
    while (0) nowhere(7);
    return x;
    for (;;) nowhere(8);
}

typedef union { int *i; unsigned *u; const void *any; } ANY __attribute__((transparent_union));
static int first_word(ANY p) { return *p.i; }

int main(void) {
    unsigned word = 77;
    printf("%d %d %d\n", c99_inline(1), only_here(4), abs(-5));
    printf("%d %d %d %d\n", other_name(1), by_weakref(2), renamed(3), perhaps ? perhaps() : -1);
    printf("%d %d %d\n", overridable, weak_function(), &same_object == &object);
    printf("%d %d %d %d\n", tentative, also_tentative, use_late(), hidden_object);
    int sum = 0;
    for (const int *entry = __start_entries; entry < __stop_entries; entry++) sum += *entry;
    printf("%d %d %d %d\n", function_in_section(), sum, (int)((unsigned long)aligned_object % 64), order);
    printf("%d %d\n", before_again(), again(10));
    printf("%d %d %d\n", dead_code(3), first_word(&word), first_word((int[]){78}));
    leave(2);
}
