/* The calling side. */
#include "abi_types.h"

#include <stdio.h>

static void expect(int condition, const char *what)
{
    if (condition)
        return;
    failures++;
    printf("%s went or came back wrong\n", what);
}

#define CALL(name, type)                                                                                               \
    static void call_##name(void)                                                                                      \
    {                                                                                                                  \
        type a, b, c, d, e;                                                                                            \
        type (*indirect)(char, type, double, type, signed char, type, float, long long, type) = pass_##name;           \
        fill(&a, sizeof a, 1);                                                                                         \
        fill(&b, sizeof b, 2);                                                                                         \
        fill(&c, sizeof c, 3);                                                                                         \
        fill(&d, sizeof d, 4);                                                                                         \
        e = pass_##name(200, a, 0.5, b, -100, c, -2.25f, -5000000000ll, d);                                            \
        expect(is_filled(&e, sizeof e, 5), #name);                                                                     \
        e = indirect(200, a, 0.5, b, -100, c, -2.25f, -5000000000ll, d);                                               \
        expect(is_filled(&e, sizeof e, 5), #name " through a pointer");                                                \
        fill(&e, sizeof e, 0);                                                                                         \
        e = walk_##name(4, e, 0, 0.0, a, 1, 0.5, b, 2, 1.0, c, 3, 1.5);                                                \
        expect(is_filled(&e, sizeof e, 6), #name " unnamed");                                                          \
        expect(is_filled(&a, sizeof a, 1) && is_filled(&d, sizeof d, 4), #name " after the call");                     \
    }
ABI_TYPES(CALL)

int main(void)
{
    struct nothing none;
#define RUN(name, type) call_##name();
    ABI_TYPES(RUN)
    expect(with_nothing(none, 7, none, 1.5), "an empty structure");
    expect(many_floats(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16) == 17, "floats");
    expect(many_words(1, 1ll << 40, -3, -4, -5, 250, 1, -8) == (1ll << 40) - 3, "words");
    expect(narrow_char(511) == -1 && narrow_short(-1) == 65535 && narrow_bool(256) == 1, "narrow results");
    expect(unprototyped(1, 2.5, 3ll), "unprototyped arguments");
    expect(old_style('a', 1.25, -7), "old-style arguments");
    printf("%d failures\n", failures);
    return failures != 0;
}
