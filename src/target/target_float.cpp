// See target_float.h. <charconv> rounds correctly and knows no locale.
//
// The host computes with the same two formats and the same rounding. It does not agree with the target on the
// sign of a NaN that an operation makes, nor, after the compiler has exchanged the operands of a sum, on
// which NaN is kept; so NaNs are settled here.
#include "target/target_float.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace pelorus {

namespace {

// from_chars leaves its result alone when the value is out of range. The place of the first digit that
// counts, moved by the exponent, tells overflow from underflow.
double out_of_range_value(std::string_view digits) {
    const size_t letter = std::min(digits.find_first_of("eE"), digits.size());
    int64_t place = 0;
    bool behind_point = false;
    bool counts = false;
    for (const char c : digits.substr(0, letter)) {
        counts |= c != '0' && c != '.';
        if (c == '.')
            behind_point = true;
        else if (counts != behind_point)
            place += counts ? 1 : -1;
    }
    int64_t exponent = 0;
    if (letter < digits.size()) {
        std::string_view text = digits.substr(letter + 1);
        if (text.starts_with("+")) text.remove_prefix(1);
        if (std::from_chars(text.data(), text.data() + text.size(), exponent).ec ==
            std::errc::result_out_of_range)
            exponent = text.starts_with("-") ? -INT64_MAX / 2 : INT64_MAX / 2;
    }
    return place + exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

// Text without a sign. Read as a double first, a float would be rounded twice.
template <class FORMAT>
std::optional<double> parsed_in_format(std::string_view text) {
    FORMAT value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument || stop != text.data() + text.size()) return std::nullopt;
    return error == std::errc::result_out_of_range ? out_of_range_value(text) : double{value};
}

} // namespace

bool target_float_parse(std::string_view text, TARGET_FLOAT& result, uint32_t bytes) {
    result = {0, bytes == 4 ? 4U : 8U, 0};
    while (text.starts_with(" ")) text.remove_prefix(1);
    const bool negative = text.starts_with("-");
    if (negative || text.starts_with("+")) text.remove_prefix(1);
    if (text.empty() || text.front() == '-') return false;
    const std::optional<double> value =
        bytes == 4 ? parsed_in_format<float>(text) : parsed_in_format<double>(text);
    if (!value) return false;
    result.value = negative ? -*value : *value;
    return true;
}

void target_float_round(TARGET_FLOAT& value, uint32_t bytes) {
    value.bytes = bytes == 4 ? 4 : 8;
    if (bytes == 4) value.value = static_cast<double>(static_cast<float>(value.value));
}

std::string target_float_text(const TARGET_FLOAT& value) {
    if (std::isnan(value.value)) return std::signbit(value.value) ? "-nan" : "nan";
    char buffer[64];
    const auto [end, error] =
        value.bytes == 4 ? std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(value.value))
                         : std::to_chars(buffer, buffer + sizeof buffer, value.value);
    return {buffer, error == std::errc() ? end : buffer};
}

// --- Arithmetic ---

namespace {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);
static_assert(FLT_EVAL_METHOD == 0, "a wider intermediate result would round twice");

TARGET_FLOAT in_format(double value, uint32_t bytes) {
    TARGET_FLOAT result{value, 0, 0};
    target_float_round(result, bytes);
    return result;
}

// `compute` is called with two floats or two doubles, neither of which is a NaN.
template <class F>
TARGET_FLOAT computed(const TARGET_FLOAT& a, const TARGET_FLOAT& b, F compute) {
    if (std::isnan(a.value)) return a;
    if (std::isnan(b.value)) return b;
    const double value =
        a.bytes == 4 ? static_cast<double>(compute(static_cast<float>(a.value), static_cast<float>(b.value)))
                     : compute(a.value, b.value);
    return in_format(std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value, a.bytes);
}

} // namespace

TARGET_FLOAT target_float_add(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    return computed(a, b, [](auto x, auto y) { return x + y; });
}

TARGET_FLOAT target_float_subtract(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    return computed(a, b, [](auto x, auto y) { return x - y; });
}

TARGET_FLOAT target_float_multiply(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    return computed(a, b, [](auto x, auto y) { return x * y; });
}

TARGET_FLOAT target_float_divide(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    return computed(a, b, [](auto x, auto y) { return x / y; });
}

TARGET_FLOAT target_float_sqrt(const TARGET_FLOAT& value) {
    return computed(value, value, [](auto x, auto) { return std::sqrt(x); });
}

TARGET_FLOAT target_float_negate(const TARGET_FLOAT& value) {
    return {std::copysign(value.value, std::signbit(value.value) ? 1.0 : -1.0), value.bytes, 0};
}

TARGET_FLOAT target_float_abs(const TARGET_FLOAT& value) {
    return {std::copysign(value.value, 1.0), value.bytes, 0};
}

std::partial_ordering target_float_compare(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    return a.value <=> b.value;
}

bool target_float_same(const TARGET_FLOAT& a, const TARGET_FLOAT& b) {
    if (a.bytes != b.bytes || std::signbit(a.value) != std::signbit(b.value)) return false;
    return std::isnan(a.value) ? std::isnan(b.value) : a.value == b.value;
}

// --- Conversions ---

TARGET_FLOAT target_float_convert(const TARGET_FLOAT& value, uint32_t bytes) {
    return in_format(value.value, bytes);
}

// Through a double, a long integer would be rounded twice on its way to a float.
TARGET_FLOAT target_float_from_integer(INT96 value, uint32_t bytes) {
    const int64_t bits = int96_to_int64(value);
    const bool is_signed = int96_fits_signed64(value);
    if (bytes != 4)
        return in_format(
            is_signed ? static_cast<double>(bits) : static_cast<double>(static_cast<uint64_t>(bits)), 8);
    const float single =
        is_signed ? static_cast<float>(bits) : static_cast<float>(static_cast<uint64_t>(bits));
    return in_format(static_cast<double>(single), 4);
}

bool target_float_to_integer(const TARGET_FLOAT& value, uint32_t bits, bool is_unsigned, INT96& integer) {
    const double whole = std::trunc(value.value);
    constexpr double TWO_TO_THE_63 = 9223372036854775808.0;
    INT96 result{};
    if (whole >= -TWO_TO_THE_63 && whole < TWO_TO_THE_63)
        result = int96_from_int64(static_cast<int64_t>(whole));
    else if (whole >= TWO_TO_THE_63 && whole < 2 * TWO_TO_THE_63)
        result = int96_from_uint64(static_cast<uint64_t>(whole));
    else
        return false;
    if (!int96_fits(result, bits, is_unsigned)) return false;
    integer = result;
    return true;
}

bool target_float_is_integer(const TARGET_FLOAT& value, INT96& integer) {
    if (value.value == 0 && std::signbit(value.value)) return false;
    if (std::trunc(value.value) != value.value) return false;
    return target_float_to_integer(value, 64, value.value >= 0, integer);
}

bool target_float_exact_reciprocal(const TARGET_FLOAT& value, TARGET_FLOAT& reciprocal) {
    int exponent = 0;
    if (!std::isfinite(value.value) || std::abs(std::frexp(value.value, &exponent)) != 0.5) return false;
    const TARGET_FLOAT inverse = in_format(1.0 / value.value, value.bytes);
    const double smallest = value.bytes == 4 ? static_cast<double>(FLT_MIN) : DBL_MIN;
    if (!std::isfinite(inverse.value) || std::abs(inverse.value) < smallest) return false;
    reciprocal = inverse;
    return true;
}

} // namespace pelorus
