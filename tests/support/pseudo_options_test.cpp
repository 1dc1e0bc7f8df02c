#include "support/pseudo_options.h"

#include <gtest/gtest.h>

namespace pelorus {
namespace {

class PseudoOptions : public testing::Test {
protected:
    void SetUp() override { clear_pseudo_options(); }
    void TearDown() override { clear_pseudo_options(); }
};

TEST_F(PseudoOptions, ItemsBecomeKeysUnderThePrefix) {
    EXPECT_EQ(debug_switch("zalloc"), 0);
    add_pseudo_options("debug", "zalloc,,allochist,");
    add_pseudo_options("disable", "downcounters");
    EXPECT_EQ(debug_switch("zalloc"), 1);
    EXPECT_EQ(pseudo_option("debug:allochist"), 1);
    EXPECT_EQ(disable_switch("downcounters"), 1);
    EXPECT_EQ(debug_switch("downcounters"), 0);
    EXPECT_EQ(debug_switch(""), 0) << "an empty item makes no key";
}

TEST_F(PseudoOptions, AnItemWithEqualsIsAWholeKey) {
    add_pseudo_options("debug", "debug:unroll=4,limit=0x1F,zalloc=1");
    EXPECT_EQ(debug_switch("unroll"), 4);
    EXPECT_EQ(pseudo_option("limit"), 31);
    EXPECT_EQ(debug_switch("zalloc"), 0) << "the prefix is not put in front of a key with a value";
    EXPECT_EQ(pseudo_option("zalloc"), 1);
}

TEST_F(PseudoOptions, TheLastOfSeveralItemsCounts) {
    add_pseudo_options("debug", "unroll,debug:unroll=7");
    EXPECT_EQ(debug_switch("unroll"), 7);
    add_pseudo_options("debug", "debug:unroll=0");
    EXPECT_EQ(debug_switch("unroll"), 0);
}

TEST_F(PseudoOptions, ValuesAre32BitNumbersOr0) {
    const struct {
        const char* item;
        int32_t value;
    } cases[] = {{"k=-12", -12},
                 {"k=010", 10},
                 {"k=0xFFFFFFFF", -1},
                 {"k=4294967296", 0},
                 {"k=-2147483649", 0},
                 {"k=12x", 0},
                 {"k=", 0},
                 {"k=-", 0},
                 {"k= 5", 0},
                 {"k=1=2", 0},
                 {"k=99999999999999999999", 0}};
    for (const auto& [item, value] : cases) {
        add_pseudo_options("debug", "k=55");
        add_pseudo_options("debug", item);
        EXPECT_EQ(pseudo_option("k"), value) << item;
    }
}

} // namespace
} // namespace pelorus
