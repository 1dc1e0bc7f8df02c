/* What csmith hardly ever writes: goes into its programs in front of main, which calls planted() first. */
static int rare_calls;
static int rare_count(int step)
{
    rare_calls = rare_calls * 2 + step;
    return rare_calls;
}
static unsigned rare_fold(unsigned n, unsigned sum, unsigned step)
{
    if (n == 0)
        return sum;
    return rare_fold(n - 1, sum * 3 + n, step + sum);
}
static unsigned rare_swap_down(unsigned a, unsigned b)
{
    if (a < 3)
        return a * 16 + b;
    return rare_swap_down(b % a, a - 1);
}
static int rare_nested(int a, int b)
{
    int result = 7;
    if (a) {
        if (b)
            result = rare_count(a);
    }
    return result;
}
static unsigned rare_square(unsigned n)
{
    unsigned long long product = n;
    product = product * n + 5;
    product = product * 3;
    return (unsigned)(product >> 16);
}
static int rare_overwrite(int a)
{
    int result = rare_count(a);
    result = a * 3;
    return result + rare_calls;
}
static int rare_equal_tests(int a, int b, int way)
{
    if (way > 2) {
        rare_calls += 5;
        if (a < b)
            goto less;
        goto more;
    }
    rare_count(b);
    if (a < b)
        goto less;
    goto more;
less:
    rare_calls ^= 0x55;
    return rare_calls;
more:
    return rare_calls * 3;
}
static int rare_edge(unsigned value)
{
    int result = 0;
    while (value > 0u) {
        value /= 3u;
        ++result;
    }
    return result;
}
static void planted(void)
{
    int i;
    printf("%u %u\n", rare_fold(9, 1, 2), rare_swap_down(1000, 77));
    for (i = 0; i < 4; ++i)
        printf("%d %u %d %d %d\n", rare_nested(i & 1, i & 2), rare_square(70000u + i), rare_overwrite(i), rare_equal_tests(i, 2, i + 1),
               rare_edge(10u + i));
}
