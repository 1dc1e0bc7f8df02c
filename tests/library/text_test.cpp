// Texts, memory and numbers of the library: results at the borders of the machine's types, and the calls that
// have no meaning.
#include "library/library_fixture.h"

#include <cerrno>

namespace pelorus {
namespace {

using testing::HasSubstr;

TEST_F(Library, CopiesThatOverlapAreTraps) {
    const ADDRESS place = text("abcdefgh");
    EXPECT_THAT(trapped("_memcpy", {place + 1, place, 4}), HasSubstr("overlap"));
    EXPECT_THAT(trapped("_memcpy", {place, place + 3, 4}), HasSubstr("overlap"));
    EXPECT_THAT(trapped("_strcpy", {place + 8, place}), HasSubstr("overlap")); // the zero byte is read, too
    EXPECT_THAT(trapped("_strcat", {place, place + 2}), HasSubstr("overlap"));
    EXPECT_THAT(trapped("_strncpy", {place, place + 4, 5}), HasSubstr("overlap"));
    EXPECT_EQ(trapped("_memcpy", {place, place + 4, 4}), "");
    EXPECT_EQ(trapped("_memcpy", {place, place, 8}), ""); // a structure assigned to itself
    EXPECT_EQ(at(word("_memmove", {place + 1, place, 5})), "efghegh");
}

TEST_F(Library, AccessesEndWithTheObjects) {
    const ADDRESS small = block(4);
    EXPECT_THAT(trapped("_memset", {small, 0, 5}), HasSubstr("access"));
    EXPECT_THAT(trapped("_strcpy", {small, text("four")}), HasSubstr("access"));
    EXPECT_THAT(trapped("_memcmp", {small, text("123456"), 5}), HasSubstr("access"));
    EXPECT_EQ(trapped("_memset", {0u, 0, 0}), "");
    // What lies behind the answer need not be there.
    store_at<uint32_t>(small, 0x64636261); // abcd, and no zero byte
    EXPECT_EQ(word("_memchr", {small, 'c', 1000}), small + 2);
    EXPECT_EQ(number("_strncmp", {small, text("abxx"), 1000}), 'c' - 'x');
    EXPECT_EQ(number("_strnlen", {small, 4}), 4);
    EXPECT_THAT(trapped("_strlen", {small}), HasSubstr("access"));
}

TEST_F(Library, BlocksAreFreedOnceAndFromTheirBeginning) {
    const ADDRESS a = block(10);
    EXPECT_THAT(trapped("_free", {a + 1}), HasSubstr("not the beginning"));
    EXPECT_EQ(trapped("_free", {a}), "");
    EXPECT_THAT(trapped("_free", {a}), HasSubstr("freed before"));
    EXPECT_THAT(trapped("_realloc", {a, 20}), HasSubstr("freed before"));
    EXPECT_THAT(trapped("_strlen", {a}), HasSubstr("access"));
    EXPECT_EQ(trapped("_free", {0u}), "");

    const ADDRESS b = text("kept");
    const ADDRESS grown = word("_realloc", {b, 100});
    EXPECT_EQ(at(grown), "kept");
    EXPECT_THAT(trapped("_free", {b}), HasSubstr("freed before"));
    EXPECT_EQ(word("_calloc", {0x10000u, 0x10001u}), 0u); // the product has more than 32 bits
    EXPECT_EQ(error(), ENOMEM);
    EXPECT_EQ(word("_malloc", {0xFFFFFFF0u}), 0u);
    EXPECT_NE(word("_malloc", {0}), word("_malloc", {0}));
    EXPECT_EQ(word("_aligned_alloc", {256, 40}) % 256, 0u);
}

TEST_F(Library, SearchesAnswerWithAddresses) {
    const ADDRESS place = text("hello, world");
    EXPECT_EQ(word("_strchr", {place, 'o'}), place + 4);
    EXPECT_EQ(word("_strrchr", {place, 'o'}), place + 8);
    EXPECT_EQ(word("_strchr", {place, 0}), place + 12);
    EXPECT_EQ(word("_strchr", {place, 'z'}), 0u);
    EXPECT_EQ(word("_strstr", {place, text("o, w")}), place + 4);
    EXPECT_EQ(word("_strpbrk", {place, text("xw,")}), place + 5);
    EXPECT_EQ(number("_strspn", {place, text("hel")}), 4);
    EXPECT_EQ(number("_strcspn", {place, text("xyz")}), 12);
    EXPECT_EQ(word("_memmem", {place, 12, text("worl"), 4}), place + 7);
    EXPECT_EQ(number("_strcasecmp", {place, text("HELLO, world")}), 0);
    EXPECT_LT(number("_strcmp", {text("a"), text("\xE4")}), 0); // bytes are unsigned
}

TEST_F(Library, TokensAreCutOutOfTheText) {
    const ADDRESS place = text(",a,,bc,"), separators = text(",");
    EXPECT_EQ(at(word("_strtok", {place, separators})), "a");
    EXPECT_EQ(at(word("_strtok", {0u, separators})), "bc");
    EXPECT_EQ(word("_strtok", {0u, separators}), 0u);
    EXPECT_EQ(word("_strtok", {0u, separators}), 0u);
    const ADDRESS state = block(4);
    store_at(state, text("x,,y"));
    EXPECT_EQ(at(word("_strsep", {state, separators})), "x");
    EXPECT_EQ(at(word("_strsep", {state, separators})), "");
    EXPECT_EQ(at(word("_strsep", {state, separators})), "y");
    EXPECT_EQ(word("_strsep", {state, separators}), 0u);
}

TEST_F(Library, NumbersFitALongOf32Bits) {
    const ADDRESS end = block(4), place = text("  -2147483649x");
    EXPECT_EQ(number("_strtol", {place, end, 10}), INT32_MIN);
    EXPECT_EQ(error(), ERANGE);
    EXPECT_EQ(load_at<ADDRESS>(end), place + 13);
    EXPECT_EQ(number("_strtol", {text("2147483648"), 0u, 10}), INT32_MAX);
    EXPECT_EQ(wide("_strtoll", {text("2147483648"), 0u, 10}), 2147483648);
    EXPECT_EQ(number("_strtol", {text("0x7fz"), 0u, 0}), 0x7f);
    EXPECT_EQ(number("_strtol", {place, end, 99}), 0); // no base
    EXPECT_EQ(load_at<ADDRESS>(end), place);
    const auto to_word = [&](const char* digits) {
        return static_cast<uint32_t>(number("_strtoul", {text(digits), 0u, 10}));
    };
    EXPECT_EQ(to_word("4294967295"), 4294967295u);
    EXPECT_EQ(to_word("4294967296"), 4294967295u);
    EXPECT_EQ(to_word("-1"), 4294967295u);
    EXPECT_EQ(to_word("-4294967295"), 1u);
    EXPECT_EQ(to_word("99999999999999999999"), 4294967295u);
    const ADDRESS none = text("none");
    number("_strtol", {none, end, 10});
    EXPECT_EQ(load_at<ADDRESS>(end), none);
    EXPECT_EQ(real("_strtod", {text("-1.5e3,"), 0u}), -1500.0);
    EXPECT_EQ(number("_abs", {INT32_MIN}), INT32_MIN);
    EXPECT_THAT(trapped("_div", {1, 0}), HasSubstr("division by zero"));
}

TEST_F(Library, RandomNumbersAreThoseOfTheTarget) {
    EXPECT_EQ(number("_rand", {}), 1804289383);
    EXPECT_EQ(number("_rand", {}), 846930886);
    call("_srand", {42}, GUEST_VALUE::NOTHING, 0);
    EXPECT_EQ(number("_rand", {}), 71876166);
    EXPECT_EQ(number("_rand", {}), 708592740);
}

TEST_F(Library, SortingKeepsEqualElementsInOrder) {
    // Sorted by the low byte only.
    const uint32_t count = 5;
    const uint32_t values[count] = {0x103, 0x201, 0x303, 0x401, 0x502};
    const ADDRESS array = block(sizeof values);
    for (uint32_t i = 0; i < count; ++i) store_at(array + 4 * i, values[i]);
    const ADDRESS compare = function([&](const std::vector<GUEST_VALUE>& two) {
        return int64_t{load_at<uint8_t>(two[0].address)} - load_at<uint8_t>(two[1].address);
    });
    EXPECT_EQ(trapped("_qsort", {array, count, 4, compare}), "");
    std::vector<uint32_t> sorted;
    for (uint32_t i = 0; i < count; ++i) sorted.push_back(load_at<uint32_t>(array + 4 * i));
    EXPECT_THAT(sorted, testing::ElementsAre(0x201, 0x401, 0x502, 0x103, 0x303));
    const ADDRESS key = text("\x02");
    EXPECT_EQ(word("_bsearch", {key, array, count, 4, compare}), array + 8);
    store_at<uint8_t>(key, 4);
    EXPECT_EQ(word("_bsearch", {key, array, count, 4, compare}), 0u);
}

TEST_F(Library, HelpersOfTheCompilerCountBits) {
    EXPECT_EQ(number("___clzsi2", {1}), 31);
    EXPECT_EQ(number("___ctzdi2", {1LL << 40}), 40);
    EXPECT_EQ(number("___clrsbsi2", {-1}), 31);
    EXPECT_EQ(number("___ffssi2", {0}), 0);
    EXPECT_EQ(number("___popcountsi2", {-1}), 32); // the extension of the sign does not count
    EXPECT_EQ(number("___paritydi2", {7LL}), 1);
    EXPECT_NE(trapped("___clzsi2", {0}), "");
    EXPECT_NE(trapped("___divsi3", {INT32_MIN, -1}), "");
    EXPECT_EQ(real("___powidf2", {2.0, -3}), 0.125);
}

TEST_F(Library, AtomicOperationsWorkInTheirOwnWidth) {
    const ADDRESS place = block(8);
    store_at<uint32_t>(place, 0xFFFFFFFF);
    EXPECT_EQ(number("___sync_fetch_and_add_1", {place, 1}), 0xFF);
    EXPECT_EQ(load_at<uint32_t>(place), 0xFFFFFF00);
    EXPECT_EQ(number("___sync_nand_and_fetch_2", {place, 0xFF}), 0xFFFF);
    EXPECT_EQ(number("___sync_bool_compare_and_swap_4", {place, -1, 5}), 1);
    EXPECT_EQ(load_at<uint32_t>(place), 5u);
    EXPECT_NE(trapped("___sync_fetch_and_add_4", {place + 2, 1}), "");
}

TEST_F(Library, ProgramsEndAfterTheirExitFunctions) {
    std::string order;
    const ADDRESS second = function([&](const auto&) { return order += "b", 0; });
    const ADDRESS first = function([&](const auto&) {
        order += "a";
        return number("_atexit", {second});
    });
    number("_atexit", {function([&](const auto&) { return order += "c", 0; })});
    number("_atexit", {first});
    try {
        call("_exit", {259}, GUEST_VALUE::NOTHING, 0);
        FAIL();
    } catch (const Exit& exit) {
        EXPECT_EQ(exit.status, 3);
    }
    EXPECT_EQ(order, "abc");
    EXPECT_EQ(machine.output[1], "[destructors]");
    EXPECT_THROW(call("_abort", {}, GUEST_VALUE::NOTHING, 0), Exit);
}

TEST_F(Library, HandlersGetTheSignalsThatAreRaised) {
    int64_t seen = 0;
    const ADDRESS handler = function([&](const auto& arguments) { return seen = arguments[0].integer; });
    EXPECT_EQ(word("_signal", {10, handler}), 0u);
    EXPECT_EQ(number("_raise", {10}), 0);
    EXPECT_EQ(seen, 10);
    EXPECT_EQ(word("_signal", {10, 1}), handler);
    EXPECT_EQ(number("_raise", {10}), 0); // ignored
    EXPECT_THROW(number("_raise", {11}), Exit);
    word("_signal", {6, handler});
    EXPECT_THROW(number("_abort", {}), Exit);
    EXPECT_EQ(seen, 6);
}

TEST_F(Library, TheClockRunsByItselfAndAlike) {
    const int32_t first = number("_clock", {});
    EXPECT_GT(number("_clock", {}), first);
    const ADDRESS time = block(4), calendar = block(44), line = block(80);
    store_at<int32_t>(time, 951782400); // the leap day of 2000
    EXPECT_EQ(word("_gmtime_r", {time, calendar}), calendar);
    number("_strftime", {line, 80, text("%Y-%m-%d %a"), calendar});
    EXPECT_EQ(at(line), "2000-02-29 Tue");
    store_at<int32_t>(calendar + 12, 30); // February has no 30th
    EXPECT_EQ(number("_mktime", {calendar}), 951782400 + 86400);
    EXPECT_EQ(load_at<int32_t>(calendar + 16), 2);
}

} // namespace
} // namespace pelorus
