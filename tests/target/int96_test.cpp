// 96-bit integers: decimal text at the edges of the words, extension, and what fits where.
#include "target/int96.h"

#include <gtest/gtest.h>

namespace pelorus {
namespace {

INT96 parsed(const char* text) {
    INT96 value{7, 7, 7};
    EXPECT_TRUE(int96_parse(text, value)) << text;
    return value;
}

TEST(Int96, TextAndBack) {
    const struct {
        const char* text;
        INT96 value;
    } cases[] = {
        {"0", {0, 0, 0}},
        {"-1", {-1, -1, -1}},
        {"4294967295", {0, 0, -1}},
        {"4294967296", {0, 1, 0}},
        {"-4294967296", {-1, -1, 0}},
        {"-4294967297", {-1, -2, -1}},
        {"18446744073709551615", {0, -1, -1}},
        {"18446744073709551616", {1, 0, 0}},
        {"-18446744073709551617", {-2, -1, -1}},
        {"39614081257132168796771975167", {INT32_MAX, -1, -1}},
        {"-39614081257132168796771975168", {INT32_MIN, 0, 0}},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(parsed(text), value) << text;
        EXPECT_EQ(int96_text(value), text);
    }
}

TEST(Int96, TextThatIsNoPlainNumber) {
    EXPECT_EQ(parsed("-0"), (INT96{0, 0, 0}));
    EXPECT_EQ(parsed("0000000000000000000000000000000000012"), int96_signed(12));
    EXPECT_EQ(parsed("39614081257132168796771975168"), (INT96{INT32_MIN, 0, 0})); // wraps
    INT96 value{};
    for (const char* text : {"", "-", "+1", "12x", "--1", "1 "})
        EXPECT_FALSE(int96_parse(text, value)) << text;
}

TEST(Int96, Extension) {
    EXPECT_EQ(int96_signed(INT32_MIN), (INT96{-1, -1, INT32_MIN}));
    EXPECT_EQ(int96_unsigned(0x80000000U), (INT96{0, 0, INT32_MIN}));
    EXPECT_EQ(int96_text(int96_from_int64(INT64_MIN)), "-9223372036854775808");
    EXPECT_EQ(int96_text(int96_from_uint64(UINT64_MAX)), "18446744073709551615");
    EXPECT_EQ(int96_to_int64(int96_from_uint64(UINT64_MAX)), -1);
    EXPECT_EQ(int96_to_int64(int96_from_int64(-5)), -5);
}

TEST(Int96, NegationCarriesThroughTheWords) {
    for (const char* text : {"0", "1", "4294967296", "18446744073709551616", "123456789012345678901"}) {
        const INT96 value = parsed(text);
        const INT96 negated = int96_negate(value);
        EXPECT_EQ(int96_is_negative(negated), !int96_is_zero(value)) << text;
        EXPECT_EQ(int96_negate(negated), value) << text;
    }
    EXPECT_EQ(int96_negate({INT32_MIN, 0, 0}), (INT96{INT32_MIN, 0, 0}));
}

TEST(Int96, WhatFits) {
    const INT96 top = int96_unsigned(0x80000000U);
    EXPECT_TRUE(int96_fits_unsigned32(top) && !int96_fits_signed32(top));
    EXPECT_TRUE(int96_fits_signed32(int96_signed(-1)) && !int96_fits_unsigned32(int96_signed(-1)));
    const INT96 top64 = int96_from_uint64(UINT64_MAX);
    EXPECT_TRUE(int96_fits_unsigned64(top64) && !int96_fits_signed64(top64));
    EXPECT_TRUE(int96_fits_signed64(int96_from_int64(INT64_MIN)));
    EXPECT_FALSE(int96_fits_unsigned64({1, 0, 0}) || int96_fits_signed64({1, 0, 0}));
}

} // namespace
} // namespace pelorus
