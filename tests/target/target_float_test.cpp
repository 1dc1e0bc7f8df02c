// Floating-point text: exact reading, rounding to the target's formats, shortest text that reads back.
#include "target/target_float.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace pelorus {
namespace {

double parsed_float(const char* text, uint32_t bytes = 8) {
    TARGET_FLOAT number{};
    EXPECT_TRUE(target_float_parse(text, number, bytes)) << text;
    return number.value;
}

std::string text_of(double value, uint32_t bytes) {
    TARGET_FLOAT number{value, 0, 0};
    target_float_round(number, bytes);
    return target_float_text(number);
}

TEST(TargetFloat, ReadsWhatProducersWrite) {
    EXPECT_EQ(parsed_float("0.1"), 0.1);
    EXPECT_EQ(parsed_float("  -2.5E+3"), -2500);
    EXPECT_EQ(parsed_float("+7."), 7);
    EXPECT_EQ(parsed_float("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(parsed_float("1.00000000000000011102230246251565404236316680908203125"),
              1.0); // a tie goes to even
    EXPECT_EQ(parsed_float("-inf"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(parsed_float("nan")));
    EXPECT_TRUE(std::signbit(parsed_float("-0.0")));
}

// Just above the middle of two neighbouring floats; a double holds no more than the middle, a tie.
TEST(TargetFloat, ReadsAFloatWithOneRounding) {
    EXPECT_EQ(parsed_float("1.00000005960464477539062500000000001", 4), 1.00000011920928955078125);
    EXPECT_EQ(parsed_float("-1.00000017881393432617187499999999999", 4), -1.00000011920928955078125);
    EXPECT_EQ(parsed_float("1e39", 4), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float("1e-50", 4), 0);
    EXPECT_EQ(parsed_float("1.401298464324817e-45", 4), std::ldexp(1.0, -149));
}

TEST(TargetFloat, OutOfRangeIsInfinityOrZero) {
    EXPECT_EQ(parsed_float("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float("-1e400"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float("0.5e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float("1e+99999999999999999999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float((std::string(800, '7') + "e-100").c_str()),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(parsed_float("1e-400"), 0);
    EXPECT_EQ(parsed_float("1e-99999999999999999999"), 0);
    EXPECT_EQ(parsed_float(("0." + std::string(800, '0') + "7e+100").c_str()), 0);
    EXPECT_EQ(parsed_float(("0." + std::string(400, '0') + "1").c_str()), 0);
    EXPECT_EQ(parsed_float((std::string(400, '9') + ".5").c_str()), std::numeric_limits<double>::infinity());
}

TEST(TargetFloat, RefusesWhatIsNoNumber) {
    for (const char* text : {"", "-", "abc", "1.5x", "--1", "+-1", "1e", "0x10", "1 2", "."}) {
        TARGET_FLOAT number{5, 5, 5};
        EXPECT_FALSE(target_float_parse(text, number, 8)) << text;
        EXPECT_EQ(number.value, 0) << text;
    }
}

TEST(TargetFloat, RoundsToTheFormat) {
    TARGET_FLOAT number{16777217, 0, 0};
    target_float_round(number, 8);
    EXPECT_TRUE(number.value == 16777217 && number.bytes == 8);
    target_float_round(number, 4);
    EXPECT_TRUE(number.value == 16777216 && number.bytes == 4);
    TARGET_FLOAT large{1e39, 0, 0};
    target_float_round(large, 4);
    EXPECT_TRUE(std::isinf(large.value));
}

TEST(TargetFloat, TextReadsBackAsTheSameValue) {
    EXPECT_EQ(text_of(0.1, 4), "0.1");
    EXPECT_EQ(text_of(0.1, 8), "0.1");
    EXPECT_EQ(text_of(-0.0, 8), "-0");
    uint64_t state = 88172645463325252U;
    for (int i = 0; i < 20000; ++i) {
        state ^= state << 13, state ^= state >> 7, state ^= state << 17;
        for (uint32_t bytes : {4U, 8U}) {
            double value;
            float narrow;
            memcpy(&value, &state, 8), memcpy(&narrow, &state, 4);
            if (bytes == 4) value = static_cast<double>(narrow);
            if (std::isnan(value)) continue;
            TARGET_FLOAT again{};
            ASSERT_TRUE(target_float_parse(text_of(value, bytes), again, bytes));
            ASSERT_EQ(memcmp(&again.value, &value, 8), 0) << text_of(value, bytes);
        }
    }
}

// Sums, quotients and roots are proved by tests/target/oracle.py; here is what it does not see.
TEST(TargetFloat, NotANumberKeepsItsSignAndComesFirst) {
    const TARGET_FLOAT one{1, 8, 0};
    const TARGET_FLOAT nan{std::nan(""), 8, 0};
    const TARGET_FLOAT negative_nan = target_float_negate(nan);
    EXPECT_EQ(target_float_text(target_float_subtract(one, negative_nan)), "-nan");
    EXPECT_TRUE(target_float_same(target_float_add(nan, negative_nan), nan));
    EXPECT_TRUE(target_float_same(target_float_add(negative_nan, nan), negative_nan));
    const TARGET_FLOAT infinity{std::numeric_limits<double>::infinity(), 8, 0};
    EXPECT_EQ(target_float_text(target_float_subtract(infinity, infinity)), "nan");
    EXPECT_FALSE(target_float_same({0.0, 8, 0}, {-0.0, 8, 0}));
}

TEST(TargetFloat, WhatIsAnInteger) {
    INT96 integer{};
    EXPECT_FALSE(target_float_is_integer({-0.0, 8, 0}, integer)); // no integer is negative zero
    EXPECT_FALSE(target_float_is_integer({0.5, 8, 0}, integer));
    EXPECT_FALSE(target_float_is_integer({std::nan(""), 8, 0}, integer));
    EXPECT_TRUE(target_float_is_integer({-3.0, 4, 0}, integer));
    EXPECT_EQ(int96_text(integer), "-3");
    EXPECT_TRUE(target_float_is_integer({18446744073709549568.0, 8, 0}, integer));
    EXPECT_EQ(int96_text(integer), "18446744073709549568");
}

TEST(TargetFloat, ExactReciprocals) {
    TARGET_FLOAT reciprocal{};
    EXPECT_TRUE(target_float_exact_reciprocal({-4, 4, 0}, reciprocal));
    EXPECT_EQ(reciprocal.value, -0.25);
    for (const double value : {0.0, 3.0, 1e-320, 0x1p1023, std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(target_float_exact_reciprocal({value, 8, 0}, reciprocal))
            << value; // inexact, or a subnormal
    EXPECT_FALSE(target_float_exact_reciprocal({0x1p127, 4, 0}, reciprocal));
}

} // namespace
} // namespace pelorus
