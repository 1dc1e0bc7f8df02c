// Atomic operations: the builtins of both dialects, <stdatomic.h>, operators on _Atomic objects.
#include <pthread.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>

enum { THREADS = 4, TURNS = 5000 };
typedef struct { short x, y; } PAIR;

static int plain;
static _Atomic int counter = 3;
static _Atomic long long wide = 1LL << 33;
static atomic_flag flag = ATOMIC_FLAG_INIT;
static unsigned char bytes[4];
static struct { char c; _Atomic unsigned short small; _Atomic(int *) place; } mixed = {1, 65535, &plain};

static void *work(void *unused) {
    for (int i = 0; i < TURNS; i++) {
        counter++;
        wide += 1LL << 20;
        __sync_fetch_and_add(&plain, 2);
        __atomic_add_fetch(&bytes[i & 3], 1, __ATOMIC_RELAXED);
        int seen = atomic_load(&counter);
        while (!atomic_compare_exchange_weak(&counter, &seen, seen + 1)) {}
        while (atomic_flag_test_and_set(&flag)) {}
        mixed.c++;
        atomic_flag_clear(&flag);
    }
    return unused;
}

static void by_gnu_builtins(void) {
    int value = 10, other = 5, result;
    float real = 1.5f, next = 2.5f;
    long long big = 7;
    void *pointer = &value;
    printf("%d ", __atomic_load_n(&value, __ATOMIC_ACQUIRE));
    __atomic_store_n(&value, 11, __ATOMIC_SEQ_CST);
    __atomic_store(&value, &other, __ATOMIC_RELEASE);
    __atomic_exchange(&value, &(int){40}, &result, __ATOMIC_ACQ_REL);
    printf("%d %d ", value, result);
    printf("%d %d ", __atomic_compare_exchange_n(&value, &other, 1, 0, __ATOMIC_SEQ_CST, __ATOMIC_RELAXED), other);
    printf("%d %d\n", __atomic_compare_exchange_n(&value, &other, 1, 1, __ATOMIC_SEQ_CST, __ATOMIC_RELAXED), value);
    printf("%d %d ", __atomic_fetch_nand(&value, 3, __ATOMIC_RELAXED), value);
    printf("%d %d ", __atomic_xor_fetch(&value, 9, __ATOMIC_RELAXED), __atomic_fetch_and(&value, ~1, __ATOMIC_RELAXED));
    printf("%lld %lld ", __atomic_exchange_n(&big, -1LL << 40, __ATOMIC_RELAXED), __atomic_sub_fetch(&big, 1, __ATOMIC_RELAXED));
    __atomic_exchange(&real, &next, &real, __ATOMIC_RELAXED);
    printf("%g ", real);
    printf("%d %d\n", pointer == __sync_lock_test_and_set(&pointer, &real), pointer == __atomic_load_n(&pointer, __ATOMIC_RELAXED));
    printf("%d ", __sync_bool_compare_and_swap(&pointer, &real, 0));
    printf("%d %lld ", __sync_val_compare_and_swap(&other, 40, 9), __sync_or_and_fetch(&big, 1LL));
    __sync_lock_release(&other);
    __sync_synchronize();
    printf("%d %d %d\n", other, __atomic_always_lock_free(sizeof(int), 0), __atomic_test_and_set(&bytes[3], __ATOMIC_RELAXED));
}

static void by_operators(void) {
    static int numbers[4] = {1, 2, 3, 4};
    _Atomic PAIR pair = (PAIR){1, 2};
    _Atomic double real = 0.5;
    _Atomic _Bool truth = 0;
    PAIR copy = pair;
    copy.x += 6;
    pair = copy;
    real = real + 1;
    truth = 7;
    mixed.small++;
    mixed.place = numbers;
    mixed.place++, ++mixed.place;
    printf("%d %d %g %d ", ((PAIR)pair).x, copy.y, (double)real, truth);
    printf("%d %d ", mixed.small, *mixed.place++);
    printf("%d %d %d ", *mixed.place, (int)(atomic_fetch_sub(&mixed.place, 1) - numbers), (int)(mixed.place - numbers));
    int twice = (counter = 8);
    counter |= 3, counter &= ~8, counter ^= 0x101;
    printf("%d %d %d\n", twice, counter--, --counter);
}

// Small objects: the results are values of the type, above the sign bit too, whatever else the library's functions leave in the register.
static void small(void) {
    unsigned char u = 250, u_seen = 200;
    signed char s = 120;
    unsigned short h = 65530, h_seen = 40000;
    printf("%d %d %d ", __atomic_add_fetch(&u, 10, 5), __atomic_sub_fetch(&u, 255, 5), __atomic_fetch_or(&u, 130, 5));
    printf("%d %d ", __atomic_add_fetch(&s, 10, 5), __atomic_nand_fetch(&s, 0x81, 5));
    printf("%d %d\n", __atomic_add_fetch(&h, 10, 5), __atomic_sub_fetch(&h, 5, 5));
    u = 200, h = 40000;
    printf("%d %d ", __atomic_compare_exchange_n(&u, &u_seen, 240, 0, 5, 5), u);
    printf("%d %d ", __atomic_compare_exchange_n(&u, &u_seen, 1, 0, 5, 5), u_seen);
    printf("%d %d ", __atomic_compare_exchange_n(&h, &h_seen, 50000, 0, 5, 5), h);
    printf("%d %d ", __sync_fetch_and_add(&u, 100), __sync_sub_and_fetch(&u, 100));
    printf("%d %d ", __sync_bool_compare_and_swap(&u, 240, 255), __sync_val_compare_and_swap(&u, 255, 129));
    printf("%d %d\n", __sync_lock_test_and_set(&u, 254), u);
}

// A load of 8 bytes does not write; what says how memory is ordered is evaluated.
static void double_words(void) {
    static const long long zero = 0, constant = 77;
    double real = 2.5, copy;
    int n = 1;
    __atomic_load(&real, &copy, __ATOMIC_ACQUIRE);
    printf("%lld %lld %g ", __atomic_load_n(&zero, n++), __atomic_load_n(&constant, __ATOMIC_SEQ_CST), copy);
    printf("%d\n", n);
}

// Operators that the library has no functions for, in conditions and for their values.
static _Atomic int looped = 5;
static _Atomic int *counted(int *n) { return ++*n, &looped; }
static void by_loops(void) {
    static _Atomic float f = 1.5f;
    static _Atomic double d = 2;
    static _Atomic _Bool b;
    static _Atomic unsigned char c = 200;
    static _Atomic long long l = 1;
    int n = 0, i = 3;
    looped *= 3, printf("%d ", looped <<= 2), printf("%d %d ", *counted(&n) %= 7, n);
    printf("%g ", (double)(f += 1)), printf("%g ", (double)f++), printf("%g ", (double)--f);
    d /= 4, d += 1, b |= 1, printf("%g %d ", (double)d, b), b ^= 1, printf("%d ", b), b += 5, b++, printf("%d ", b--);
    c *= 3, printf("%d ", c), printf("%d ", c >>= 1), l *= 1ll << 40, l |= 3, l %= 1000, printf("%lld\n", (long long)l);
    while ((looped -= 1) && (looped *= 2) < 100 && i--) printf("%d ", looped);
    printf("%d ", i < 0 ? (looped *= 2) : (looped *= 3));
    for (f = 0; (f += 0.5f) < 3; looped *= -1) i && (c *= 2);
    looped /= 2, printf("%d %d %g\n", looped, c, (double)f);
}

// Each thread multiplies; nothing is lost.
static _Atomic unsigned factor = 1;
static void *multiply(void *unused) {
    for (int i = 0; i < 1000; i++) factor *= 3;
    return unused;
}

int main(void) {
    pthread_t threads[THREADS];
    for (int i = 0; i < THREADS; i++) pthread_create(&threads[i], 0, work, 0);
    for (int i = 0; i < THREADS; i++) pthread_join(threads[i], 0);
    printf("%d %d %lld %d %d\n", counter, plain, (long long)wide, mixed.c, bytes[0]);
    by_gnu_builtins();
    by_operators();
    small();
    double_words();
    by_loops();
    for (int i = 0; i < THREADS; i++) pthread_create(&threads[i], 0, multiply, 0);
    for (int i = 0; i < THREADS; i++) pthread_join(threads[i], 0);
    printf("%u\n", factor);
    return 0;
}
