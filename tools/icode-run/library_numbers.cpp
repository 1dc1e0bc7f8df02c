// Integers: texts to numbers, absolute values, quotients; stdlib.h and inttypes.h.
//
// The host's functions read the digits, from a copy of the part of the text that can belong to a number. What
// the machine's types cannot hold is cut here, since its long has 32 bits.
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

bool is_space(uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool may_be_in_number(uint8_t c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '+' ||
           c == '-' || c == '.' || c == '(' || c == ')' || c == '_';
}

// The text from the address on, as far as it can be a number.
std::string number_text(MACHINE& machine, ADDRESS place) {
    std::string text;
    uint8_t c = load_byte(machine, place);
    while (is_space(c)) {
        text.push_back(static_cast<char>(c));
        c = load_byte(machine, ++place);
    }
    while (may_be_in_number(c)) {
        text.push_back(static_cast<char>(c));
        c = load_byte(machine, ++place);
    }
    return text;
}

// For a base that does not exist the host says nothing of where the number ends.
template <typename CONVERT>
auto in_base(int base, const char* text, char** end, const CONVERT& convert) {
    if (base == 0 || (base >= 2 && base <= 36)) return convert(text, end, base);
    *end = const_cast<char*>(text);
    errno = EINVAL;
    return decltype(convert(text, end, base)){0};
}

// Reads a number from the first argument with `convert`, stores where it ends and what went wrong.
template <typename CONVERT>
auto converted(GUEST_CALL& call, bool has_end, const CONVERT& convert) {
    const ADDRESS place = word_argument(call, 0);
    std::string text = number_text(call.machine, place);
    char* end = text.data();
    errno = 0;
    const auto value = convert(text.c_str(), &end);
    if (errno) set_errno(call.library, errno);
    const ADDRESS end_place = has_end ? word_argument(call, 1) : 0;
    if (end_place) store(call.machine, end_place, place + static_cast<uint32_t>(end - text.c_str()));
    return value;
}

template <typename T>
void call_strto_signed(GUEST_CALL& call) {
    const int base = int_argument(call, 2);
    give(call, converted(call, true, [&](const char* text, char** end) -> int64_t {
             const int64_t value = in_base(base, text, end, std::strtoll);
             if (value >= std::numeric_limits<T>::min() && value <= std::numeric_limits<T>::max())
                 return value;
             errno = ERANGE;
             return value < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
         }));
}

// A minus sign negates the number in the type of the result, after its size was looked at.
uint32_t word_of_text(const char* text, char** end, int base) {
    const uint64_t value = in_base(base, text, end, std::strtoull);
    if (errno == ERANGE) return UINT32_MAX;
    const std::string_view sign(text, static_cast<size_t>(*end - text));
    const bool negative = sign.find('-') != std::string_view::npos;
    const uint64_t magnitude = negative ? 0 - value : value;
    if (magnitude <= UINT32_MAX) return static_cast<uint32_t>(value);
    errno = ERANGE;
    return UINT32_MAX;
}

void call_strtoul(GUEST_CALL& call) {
    const int base = int_argument(call, 2);
    give(call, converted(call, true, [&](const char* text, char** end) -> int64_t {
             return word_of_text(text, end, base);
         }));
}

void call_strtoull(GUEST_CALL& call) {
    const int base = int_argument(call, 2);
    give(call, converted(call, true, [&](const char* text, char** end) {
             return static_cast<int64_t>(in_base(base, text, end, std::strtoull));
         }));
}

void call_strtod(GUEST_CALL& call) {
    give_real(call,
              converted(call, true, [](const char* text, char** end) { return std::strtod(text, end); }));
}

void call_strtof(GUEST_CALL& call) {
    give_real(call, converted(call, true, [](const char* text, char** end) {
                  return static_cast<double>(std::strtof(text, end));
              }));
}

void call_atoi(GUEST_CALL& call) {
    give(call, static_cast<int32_t>(converted(
                   call, false, [](const char* text, char** end) { return std::strtoll(text, end, 10); })));
}

void call_atoll(GUEST_CALL& call) {
    give(call,
         converted(call, false, [](const char* text, char** end) { return std::strtoll(text, end, 10); }));
}

void call_atof(GUEST_CALL& call) {
    give_real(call,
              converted(call, false, [](const char* text, char** end) { return std::strtod(text, end); }));
}

// --- Absolute values and quotients ---

void call_abs(GUEST_CALL& call) {
    const int64_t value = int_argument(call, 0);
    give(call, static_cast<int32_t>(value < 0 ? -value : value));
}

void call_llabs(GUEST_CALL& call) {
    const int64_t value = wide_argument(call, 0);
    give(call, value < 0 ? static_cast<int64_t>(0 - static_cast<uint64_t>(value)) : value);
}

// Quotient and remainder as a structure of two.
template <typename T>
void call_div(GUEST_CALL& call) {
    const auto left = static_cast<T>(wide_argument(call, 0)), right = static_cast<T>(wide_argument(call, 1));
    if (right == 0) trap(call.machine, "div: division by zero");
    if (right == -1 && left == std::numeric_limits<T>::min())
        trap(call.machine, "div: the quotient does not fit");
    const T both[2] = {static_cast<T>(left / right), static_cast<T>(left % right)};
    give_structure(call, both, sizeof both);
}

const LIBRARY_ROW NUMBER_ROWS[] = {
    {"_strtol", call_strto_signed<int32_t>, CALL_EFFECT::INSIDE},
    {"_strtoll", call_strto_signed<int64_t>, CALL_EFFECT::INSIDE},
    {"_strtoimax", call_strto_signed<int64_t>, CALL_EFFECT::INSIDE},
    {"_strtoq", call_strto_signed<int64_t>, CALL_EFFECT::INSIDE},
    {"_strtoul", call_strtoul, CALL_EFFECT::INSIDE},
    {"_strtoull", call_strtoull, CALL_EFFECT::INSIDE},
    {"_strtoumax", call_strtoull, CALL_EFFECT::INSIDE},
    {"_strtouq", call_strtoull, CALL_EFFECT::INSIDE},
    {"_strtod", call_strtod, CALL_EFFECT::INSIDE},
    {"_strtold", call_strtod, CALL_EFFECT::INSIDE},
    {"_strtof", call_strtof, CALL_EFFECT::INSIDE},
    {"_atoi", call_atoi, CALL_EFFECT::NONE},
    {"_atol", call_atoi, CALL_EFFECT::NONE},
    {"_atoll", call_atoll, CALL_EFFECT::NONE},
    {"_atof", call_atof, CALL_EFFECT::NONE},
    {"_abs", call_abs, CALL_EFFECT::NONE},
    {"_labs", call_abs, CALL_EFFECT::NONE},
    {"_llabs", call_llabs, CALL_EFFECT::NONE},
    {"_imaxabs", call_llabs, CALL_EFFECT::NONE},
    {"_div", call_div<int32_t>, CALL_EFFECT::NONE},
    {"_ldiv", call_div<int32_t>, CALL_EFFECT::NONE},
    {"_lldiv", call_div<int64_t>, CALL_EFFECT::NONE},
    {"_imaxdiv", call_div<int64_t>, CALL_EFFECT::NONE},
};

} // namespace

std::span<const LIBRARY_ROW> number_functions() { return NUMBER_ROWS; }

} // namespace pelorus
