/* The types whose way through a call is tested, one of each sort that the calling convention tells apart.
 *
 * ABI_TYPES(X) has a row X(name, type) for each. The functions are defined in abi_callee.c and called by
 * abi_caller.c, so that each side can be compiled by another compiler.
 */
#include <stdarg.h>
#include <string.h>

struct one_float {
    float a;
};
struct two_floats {
    float a, b;
};
struct four_doubles {
    double a[4];
};
struct five_doubles {
    double a[5];
};
struct nested_floats {
    struct one_float a[2];
    float b;
};
union float_union {
    float a;
    float b[3];
};
struct float_and_nothing {
    float a;
    struct {
    } b;
};
struct mixed {
    float a;
    int b;
};
struct double_float {
    double a;
    float b;
};
struct one_byte {
    char a;
};
struct two_bytes {
    short a;
};
struct three_bytes {
    char a[3];
};
struct one_word {
    int a;
};
struct bits {
    int a : 5;
    unsigned b : 20;
};
struct six_bytes {
    short a[3];
};
struct nine_bytes {
    char a[9];
};
struct two_words {
    int a, b;
};
struct long_word {
    long long a;
    int b;
};
struct aligned_words {
    int a[3];
} __attribute__((aligned(16)));
struct aligned_whole {
    int a, b;
} __attribute__((aligned(8)));
struct aligned_member {
    int a __attribute__((aligned(8)));
    int b;
};
struct aligned_large {
    int a[20];
} __attribute__((aligned(16)));
struct aligned_large_member {
    int a[20];
    int b __attribute__((aligned(8)));
};
struct holds_aligned {
    struct aligned_whole a;
};
struct aligned_packed {
    char a;
    long long b;
} __attribute__((packed, aligned(8)));
struct aligned_float {
    float a __attribute__((aligned(8)));
};
union aligned_union {
    int a;
    char b __attribute__((aligned(8)));
};
struct wide_bits {
    int a : 3;
    long long b : 5;
};
typedef int aligned_int __attribute__((aligned(8)));
typedef struct aligned_whole aligned_more __attribute__((aligned(16)));
struct packed_long {
    char a;
    long long b;
} __attribute__((packed));
struct sixty_four {
    int a[16];
};
struct sixty_five {
    char a[65];
};
struct long_large {
    long long a[9];
};
struct packed_large {
    char a;
    long long b[9];
} __attribute__((packed));
struct complex_pair {
    _Complex float a, b;
};
struct pointers {
    char* a;
    void (*b)(void);
};

typedef int int_vector __attribute__((vector_size(16)));
typedef float float_vector __attribute__((vector_size(16)));
typedef unsigned char byte_vector __attribute__((vector_size(8)));
typedef double double_vector __attribute__((vector_size(16)));
typedef long long long_vector __attribute__((vector_size(8)));
struct vectors {
    int_vector a;
    float_vector b[2];
};
struct small_vectors {
    byte_vector a, b;
    long_vector c;
};
struct mixed_vectors {
    byte_vector a;
    double b;
};
struct vector_and_int {
    int_vector a;
    int b;
};

/* clang-format off */
#ifdef VECTORS
#define ABI_TYPES(X) \
    X(int_vector, int_vector) \
    X(float_vector, float_vector) \
    X(byte_vector, byte_vector) \
    X(double_vector, double_vector) \
    X(long_vector, long_vector) \
    X(vectors, struct vectors) \
    X(small_vectors, struct small_vectors) \
    X(mixed_vectors, struct mixed_vectors) \
    X(vector_and_int, struct vector_and_int) \
    X(double_beside, double)
#else
#define ABI_TYPES(X) \
    X(two_floats, struct two_floats) \
    X(four_doubles, struct four_doubles) \
    X(five_doubles, struct five_doubles) \
    X(nested_floats, struct nested_floats) \
    X(float_union, union float_union) \
    X(float_and_nothing, struct float_and_nothing) \
    X(mixed, struct mixed) \
    X(double_float, struct double_float) \
    X(one_byte, struct one_byte) \
    X(two_bytes, struct two_bytes) \
    X(three_bytes, struct three_bytes) \
    X(one_word, struct one_word) \
    X(bits, struct bits) \
    X(six_bytes, struct six_bytes) \
    X(nine_bytes, struct nine_bytes) \
    X(two_words, struct two_words) \
    X(long_word, struct long_word) \
    X(aligned_words, struct aligned_words) \
    X(aligned_whole, struct aligned_whole) \
    X(aligned_member, struct aligned_member) \
    X(aligned_large, struct aligned_large) \
    X(aligned_large_member, struct aligned_large_member) \
    X(holds_aligned, struct holds_aligned) \
    X(aligned_packed, struct aligned_packed) \
    X(aligned_float, struct aligned_float) \
    X(aligned_union, union aligned_union) \
    X(wide_bits, struct wide_bits) \
    X(aligned_int, aligned_int) \
    X(aligned_more, aligned_more) \
    X(packed_long, struct packed_long) \
    X(sixty_four, struct sixty_four) \
    X(sixty_five, struct sixty_five) \
    X(long_large, struct long_large) \
    X(packed_large, struct packed_large) \
    X(pointers, struct pointers) \
    X(complex_float, _Complex float) \
    X(complex_double, _Complex double) \
    X(complex_char, _Complex char) \
    X(complex_int, _Complex int) \
    X(complex_long, _Complex long long) \
    X(complex_pair, struct complex_pair) \
    X(long_long, long long) \
    X(single, double)
#endif
/* clang-format on */

/* Fills an object with bytes that depend on `seed`, and says whether an object has them. */
static void fill(void* object, unsigned size, int seed) {
    unsigned char* p = object;
    for (unsigned i = 0; i < size; i++) p[i] = (unsigned char)(seed * 37 + (int)i * 11 + 1);
}

static int is_filled(const void* object, unsigned size, int seed) {
    const unsigned char* p = object;
    for (unsigned i = 0; i < size; i++)
        if (p[i] != (unsigned char)(seed * 37 + (int)i * 11 + 1)) return 0;
    return 1;
}

#define DECLARE(name, type)                                                                                  \
    type pass_##name(char c, type a, double d, type b, signed char s, type e, float f, long long l, type g); \
    type walk_##name(int count, ...);
ABI_TYPES(DECLARE)

struct nothing {};
int with_nothing(struct nothing a, int b, struct nothing c, double d);
float many_floats(float a, double b, float c, double d, float e, float f, float g, double h, float i, float j,
                  float k, float l, float m, double n, float o, double p);
long long many_words(int a, long long b, int c, short d, long long e, unsigned char f, _Bool g,
                     signed char h);
signed char narrow_char(int x);
unsigned short narrow_short(int x);
_Bool narrow_bool(int x);
int unprototyped();
int old_style();
extern int failures;
