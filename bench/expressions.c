// What the simplifier of trees finds, a function each: bench/run.py expressions counts the operators that are
// left of it. The names are the rows of its table.

typedef unsigned int u32;
typedef unsigned long long u64;
typedef long long s64;

// Absorption, complements, masks.
int or_and(int x, int y) { return (x | y) & x; }
int and_or(int x, int y) { return (x & y) | x; }
int xor_or(int x, int y) { return (x ^ y) | y; }
int or_complement(int x) { return x | ~x; }
int xor_complement(int x) { return x ^ ~x; }
int and_complement(int x) { return x & ~x; }
int xor_twice(int x, int y) { return (x ^ y) ^ y; }
int not_or(int x, int y) { return ~(~x | y); }
int masks_joined(int x) { return (x & 0xf0) | (x & 0x0f); }
int masks_nested(int x, int y) { return ((x & 12) | y) & 12; }

// Sums.
int sub_sub(int x, int y) { return x - (x - y); }
int add_sub(int x, int y) { return (x + y) - y; }
int pointer_distance(char* p, int n) { return (int)((p + n) - p); }
int negate_less_one(int x) { return -x - 1; }
int common_factor(int x, int y, int z) { return x * y + x * z; }
int and_plus_or(int x, int y) { return (x & y) + (x | y); }

// Equations.
int odd(int x) { return x % 2 != 0; }
int by_four(int x) { return x % 4 == 0; }
int ten_less(int x) { return 10 - x == 3; }
int shifted_zero(int x) { return (x << 3) == 0; }
int same_addend(int x, int y, int z) { return x + z == y + z; }
int bit_set(int x) { return (x | 1) != 0; }

// Signs and order.
int top_bit(u32 x) { return (x & 0x80000000) != 0; }
int top_shifted(u32 x) { return (x >> 31) != 0; }
int over_top(u32 x) { return x > 0x7fffffffu; }
int next_larger(u32 x) { return x + 1 > x; }

// Ranges.
int in_range(int x) { return x >= 5 && x <= 9; }
int one_of_two(int x) { return x == 3 || x == 4; }
int out_of_range(int x) { return x < 5 || x > 9; }

// Choices.
int choose_same(int x, int y) { return x == y ? x : y; }
int all_or_none(int x) { return x ? -1 : 0; }
int five_or_four(int c) { return c ? 5 : 4; }
int smaller(int x, int y) { return x < y ? x : y; }
int larger(int x, int y) { return x > y ? x : y; }
int absolute(int x) { return x < 0 ? -x : x; }

// Truth values.
int bool_not_zero(_Bool a) { return a != 0; }
int bool_is_one(_Bool a) { return a == 1; }
int bool_flipped(_Bool a) { return a ^ 1; }

// Widths.
int low_sum(int x, int y) { return (int)((s64)x + y); }
u32 low_half(u64 x) { return (u32)(x & 0xffffffff); }
u32 high_half(u64 x) { return (u32)(x >> 32); }
s64 wide_product(int x, int y) { return (s64)x * y; }
u32 rotate(u32 x) { return (x << 8) | (x >> 24); }
u32 swap_bytes(u32 x) { return x << 24 | (x & 0xff00) << 8 | (x >> 8 & 0xff00) | x >> 24; }

// Floating values.
double times_minus_one(double x) { return x * -1.0; }
double minus_negative(double x, double y) { return x - (-y); }
double negatives_product(double x, double y) { return -x * -y; }
int widened_less(float f) { return (double)f < 1.0; }

// Divisions by powers of two.
int divide_variable(int x) { return x / 8; }
int divide_sum(int x, int y) { return (x + y) / 8; }
int remainder_of_sum(int x, int y) { return (x + y) % 8; }
