// See target_float.h. <charconv> rounds correctly and knows no locale.
#include "target/target_float.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace pelorus {

namespace {

// from_chars leaves its result alone when the value is out of range. The place of the first digit that counts, moved by
// the exponent, tells overflow from underflow.
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

} // namespace

bool target_float_parse(std::string_view text, TARGET_FLOAT& result) {
    result = {};
    while (text.starts_with(" ")) text.remove_prefix(1);
    const bool negative = text.starts_with("-");
    if (negative || text.starts_with("+")) text.remove_prefix(1);
    if (text.empty() || text.front() == '-') return false;
    double value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument || stop != text.data() + text.size()) return false;
    if (error == std::errc::result_out_of_range) value = out_of_range_value(text);
    result.value = negative ? -value : value;
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

} // namespace pelorus
