// Inline assembly with operands: registers by letter and by name, memory, constants, several outputs, operands that are read and written.
#include <stdint.h>
#include <stdio.h>

static int object = 5, calls;
static int *counted(void) { return calls++, &object; }

static inline uint32_t reversed(uint32_t v) {
    uint32_t r;
    asm("rbit %0, %1" : "=r"(r) : "r"(v));
    return r;
}
static inline void product(uint32_t a, uint32_t b, uint32_t *high, uint32_t *low) {
    asm("umull %[low], %[high], %2, %3" : [low] "=&r"(*low), [high] "=&r"(*high) : "r"(a), "r"(b) : "cc");
}
static int in_named_registers(int a, int b) {
    register int r0 asm("r0") = a;
    register int r6 asm("r6") = b;
    asm volatile("add r0, r0, r6" : "+r"(r0) : "r"(r6) : "memory");
    return r0;
}
static int with_constants(int a) {
    int r, c;
    asm("add %0, %1, %2" : "=r"(r) : "r"(a), "I"(12));
    asm("mov %0, #%c1 @ $ {%=} %%" : "=r"(c) : "i"(sizeof(int) * 8 + 1));
    return r * c;
}
static int in_memory(int *p) {
    int r;
    asm volatile("ldr %0, %1\n\tadd %0, %0, #1\n\tstr %0, %2" : "=&r"(r) : "m"(*p), "m"(p[1]) : "memory");
    asm("str %1, %0" : "=m"(p[2]) : "r"(r + 70));
    asm("ldr %0, %1\n\tadd %0, %0, #7\n\tstr %0, %1" : "=&r"(r), "+m"(p[3]));
    return r;
}
static float single(float a, float b) {
    asm("vadd.f32 %0, %1, %2" : "=t"(a) : "t"(a), "t"(b));
    return a;
}
static double twice(double a) {
    asm("vadd.f64 %P0, %P0, %P0" : "+w"(a));
    return a;
}
static unsigned long long twice_long(unsigned long long v) {
    asm("adds %Q0, %Q0, %Q0\n\tadc %R0, %R0, %R0" : "+r"(v) : : "cc");
    return v;
}

struct bits { unsigned a : 5, b : 9; };

static void places(void) {
    int numbers[4] = {40, 41, 42, 43}, *next = numbers, value, i = 0;
    struct bits bits = {3, 4};
    const char *text = "text";
    signed char small = -5;
    _Bool truth = 1;
    long long tied;
    asm("" : "+r"(*counted()));
    asm("add %0, %0, #2" : "=r"(bits.b) : "0"(bits.b));
    asm("add %0, %0, %1" : "+r"(text) : "ri"(1));
    asm volatile("ldr %0, [%1], #4" : "=r"(value), "+r"(next));
    asm("eor %0, %0, #1" : "+r"(truth));
    asm("add %0, %0, #256" : "+r"(small));
    asm("" : "=r"(tied) : "0"(5LL));
    asm("mov %0, #7" : "=r"(numbers[i++]));
    asm volatile("mov r4, #9\n\tmov r5, #8" ::: "r4", "r5", "cc");
    printf("%d %d %d %d %s %d %d %d %d %lld %d %d\n", calls, object, bits.a, bits.b, text, value, (int)(next - numbers), truth, small, tied,
           numbers[0], i);
}

static int in_loop(int n) {
    int sum = 0;
    for (int i = 0; i < n; i++) {
        if (({ int odd; asm("and %0, %1, #1" : "=r"(odd) : "r"(i)); odd; })) continue;
        asm volatile("add %0, %0, %1" : "+r"(sum) : "r"(i));
    }
    return sum;
}

// Without code around the assembly.
struct five {
    int x[5];
};
__attribute__((naked)) static int naked_sum(int a, struct five b, long long c) {
    asm("ldr r2, [sp, #%c0]\n\tadd r0, r0, r2" ::"i"(8));
    asm("bx lr");
}

register char *stack asm("sp");
static __attribute__((noinline)) int near_stack(char *local) { return local - stack >= 0 && local - stack < 4096; }

// Builtin functions that are instructions. Those without a value are no less needed.
static int by_instructions(int n) {
    __builtin_arm_dmb(11), __builtin_arm_dsb(15);
    n ? __builtin_arm_isb(15) : (void)0;
    __builtin_arm_nop();
    return __builtin_arm_ssat(n, 8) + (int)__builtin_arm_usat(-n, 4) + __builtin_arm_qadd(0x7fffffff, n) / 2 +
           (int)__builtin_arm_rbit(n) + (int)__builtin_arm_clz(0);
}

int main(void) {
    uint32_t high, low;
    int numbers[4] = {3, 0, 9, 4};
    product(0xFFFFFFFFu, 0x10001, &high, &low);
    printf("%x %x %x %d %d\n", reversed(0x12345678), high, low, in_named_registers(3, 4), with_constants(5));
    printf("%d ", in_memory(numbers));
    printf("%d %d %d\n", numbers[1], numbers[2], numbers[3]);
    printf("%g %g %llx %d\n", single(1.5f, 2.25f), twice(1.25), twice_long(0x89ABCDEF01234567ull), in_loop(9));
    places();
    printf("%d\n", by_instructions(1000));
    printf("%d\n", naked_sum(5, (struct five){{1, 2, 3, 4, 5}}, 3));
    printf("%d\n", near_stack((char *)numbers));
    return 0;
}
