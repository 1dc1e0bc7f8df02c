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

TEST_F(PseudoOptions, AnItemWithEqualsSetsAValueUnderThePrefixUnlessItNamesOne) {
    add_pseudo_options("debug", "unroll=4,debug:limit=0x1F,disable:lcse=2,stop_in:gcse=1,stop_after=0");
    EXPECT_EQ(debug_switch("unroll"), 4);
    EXPECT_EQ(debug_switch("limit"), 31);
    EXPECT_EQ(disable_switch("lcse"), 2);
    EXPECT_EQ(debug_switch("stop_in:gcse"), 1) << "only the two prefixes make a whole key";
    EXPECT_EQ(pseudo_option("unroll"), 0);
    EXPECT_TRUE(has_debug_switch("stop_after")) << "0 is a value like others";
    EXPECT_FALSE(has_debug_switch("stop_before"));
}

TEST_F(PseudoOptions, TheSavedTableComesBackWhole) {
    add_pseudo_options("debug", "verify,level=2");
    save_pseudo_options();
    add_pseudo_options("debug", "level=5,zalloc");
    add_pseudo_options("disable", "simpcfg");
    restore_pseudo_options();
    EXPECT_EQ(debug_switch("verify"), 1);
    EXPECT_EQ(debug_switch("level"), 2);
    EXPECT_FALSE(has_debug_switch("zalloc"));
    EXPECT_EQ(disable_switch("simpcfg"), 0);
}

TEST_F(PseudoOptions, TheLastOfSeveralItemsCounts) {
    add_pseudo_options("debug", "unroll,unroll=7");
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
        EXPECT_EQ(debug_switch("k"), value) << item;
    }
}

} // namespace
} // namespace pelorus
