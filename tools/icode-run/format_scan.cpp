// scanf: see format.h.
//
// Each conversion takes the longest run of characters that can be one of its values; one character is looked
// at beyond it and goes back. The host converts the digits.
#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "format.h"

namespace pelorus {

namespace {

bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

int take(SCANNED& input) {
    const int c = input.stream ? read_character(*input.stream) : load_byte(input.machine, input.place);
    if (!input.stream && c == 0) return EOF; // a text's end is not passed
    if (c == EOF) return EOF;
    if (!input.stream) ++input.place;
    ++input.count;
    return c;
}

void give_back(SCANNED& input, int c) {
    if (c == EOF) return;
    if (input.stream)
        push_back(*input.stream, c);
    else
        --input.place;
    --input.count;
}

int look(SCANNED& input) {
    const int c = take(input);
    give_back(input, c);
    return c;
}

void skip_spaces(SCANNED& input) {
    int c = take(input);
    while (is_space(c)) c = take(input);
    give_back(input, c);
}

// The characters of one conversion.
struct FIELD_READER {
    SCANNED& input;
    uint32_t left; // how many more the width allows
    std::string text;

    int look() const { return left ? pelorus::look(input) : EOF; }
    void take() {
        text.push_back(static_cast<char>(pelorus::take(input)));
        --left;
    }
    template <typename PREDICATE>
    bool take_if(const PREDICATE& fits) {
        const int c = look();
        if (c == EOF || !fits(c)) return false;
        take();
        return true;
    }
    bool take_either(char a, char b) {
        return take_if([&](int c) { return c == a || c == b; });
    }
};

bool is_digit_of(int c, int base) {
    const int value = c >= '0' && c <= '9'                 ? c - '0'
                      : (c | 32) >= 'a' && (c | 32) <= 'z' ? (c | 32) - 'a' + 10
                                                           : 99;
    return value < base;
}

// Digits of a base, which `0x` and `0` may choose when it is 0. The base that holds then.
int take_integer(FIELD_READER& field, int base) {
    field.take_either('+', '-');
    if ((base == 0 || base == 16) && field.take_if([](int c) { return c == '0'; })) {
        if (field.take_either('x', 'X'))
            base = 16;
        else if (base == 0)
            base = 8;
    }
    if (base == 0) base = 10;
    while (field.take_if([&](int c) { return is_digit_of(c, base); })) continue;
    return base;
}

void take_word(FIELD_READER& field, std::string_view small_letters) {
    for (const char letter : small_letters)
        if (!field.take_either(letter, static_cast<char>(letter - 32))) return;
}

void take_real(FIELD_READER& field) {
    field.take_either('+', '-');
    const int first = field.look();
    if (first == 'i' || first == 'I') {
        take_word(field, "inf");
        if (field.look() == 'i' || field.look() == 'I') take_word(field, "inity");
        return;
    }
    if (first == 'n' || first == 'N') return take_word(field, "nan");
    int base = 10;
    if (field.take_if([](int c) { return c == '0'; }) && field.take_either('x', 'X')) base = 16;
    const auto digits = [&] {
        while (field.take_if([&](int c) { return is_digit_of(c, base); })) continue;
    };
    digits();
    if (field.take_either('.', '.')) digits();
    if (base == 10 ? field.take_either('e', 'E') : field.take_either('p', 'P')) {
        field.take_either('+', '-');
        while (field.take_if([](int c) { return is_digit_of(c, 10); })) continue;
    }
}

// A set of characters as `%[...]` writes it.
struct CHARACTER_SET {
    bool holds[256] = {};
};

// Reads the set from behind its bracket on; false when it does not end.
bool read_set(std::string_view format, size_t& next, CHARACTER_SET& set) {
    const bool inverted = next < format.size() && format[next] == '^';
    if (inverted) ++next;
    const size_t first = next;
    for (; next < format.size() && (next == first || format[next] != ']'); ++next) {
        const auto low = static_cast<unsigned char>(format[next]);
        unsigned char high = low;
        if (next + 2 < format.size() && format[next + 1] == '-' && format[next + 2] != ']') {
            high = static_cast<unsigned char>(format[next + 2]);
            next += 2;
        }
        for (int c = low; c <= high; ++c) set.holds[c] = true;
    }
    if (next == format.size()) return false;
    ++next;
    if (inverted)
        for (bool& held : set.holds) held = !held;
    return true;
}

enum class RESULT : uint8_t { STORED, NOT_STORED, MISMATCH, INPUT_ENDED };

struct SCAN_CONVERSION {
    bool is_dropped = false; // `*`
    uint32_t width = 0;      // 0: none
    uint8_t size = 4;        // bytes of an integer's place
    bool is_wide_real = false;
    char letter = 0;
};

void store_integer(MACHINE& machine, ADDRESS place, uint8_t size, int64_t value) {
    switch (size) {
    case 1: return store(machine, place, static_cast<int8_t>(value));
    case 2: return store(machine, place, static_cast<int16_t>(value));
    case 8: return store(machine, place, value);
    default: return store(machine, place, static_cast<int32_t>(value));
    }
}

// Values that a long cannot hold become the nearest that it can; then the place takes the low bits.
int64_t integer_of(const SCAN_CONVERSION& conversion, const std::string& text, int base) {
    const bool is_signed = conversion.letter == 'd' || conversion.letter == 'i';
    if (conversion.size == 8)
        return is_signed ? std::strtoll(text.c_str(), nullptr, base)
                         : static_cast<int64_t>(std::strtoull(text.c_str(), nullptr, base));
    const long long value = std::strtoll(text.c_str(), nullptr, base);
    if (is_signed) return std::clamp<long long>(value, INT32_MIN, INT32_MAX);
    return std::abs(value) > int64_t{UINT32_MAX} ? int64_t{UINT32_MAX} : value;
}

RESULT scan_integer(SCANNED& input, const SCAN_CONVERSION& conversion, UNNAMED& values, int base) {
    FIELD_READER field{input, conversion.width ? conversion.width : UINT32_MAX, {}};
    base = take_integer(field, base);
    char* end = nullptr;
    std::strtoull(field.text.c_str(), &end, base);
    if (field.text.empty() || *end || end == field.text.c_str()) return RESULT::MISMATCH;
    if (conversion.is_dropped) return RESULT::NOT_STORED;
    store_integer(input.machine, static_cast<ADDRESS>(next_word(values)), conversion.size,
                  integer_of(conversion, field.text, base));
    return RESULT::STORED;
}

RESULT scan_real(SCANNED& input, const SCAN_CONVERSION& conversion, UNNAMED& values) {
    FIELD_READER field{input, conversion.width ? conversion.width : UINT32_MAX, {}};
    take_real(field);
    char* end = nullptr;
    const double value = std::strtod(field.text.c_str(), &end);
    if (field.text.empty() || *end || end == field.text.c_str()) return RESULT::MISMATCH;
    if (conversion.is_dropped) return RESULT::NOT_STORED;
    const auto place = static_cast<ADDRESS>(next_word(values));
    if (conversion.is_wide_real)
        store(input.machine, place, value);
    else
        store(input.machine, place, std::strtof(field.text.c_str(), nullptr));
    return RESULT::STORED;
}

// A run of characters that `fits`, with a zero byte behind it when `is_text`.
template <typename PREDICATE>
RESULT scan_characters(SCANNED& input, const SCAN_CONVERSION& conversion, UNNAMED& values, bool is_text,
                       const PREDICATE& fits) {
    const uint32_t width = conversion.width ? conversion.width : is_text ? UINT32_MAX : 1;
    FIELD_READER field{input, width, {}};
    while (field.take_if(fits)) continue;
    if (field.text.empty() || (!is_text && field.left)) return RESULT::MISMATCH;
    if (conversion.is_dropped) return RESULT::NOT_STORED;
    const auto place = static_cast<ADDRESS>(next_word(values));
    if (is_text)
        write_text(input.machine, place, field.text);
    else
        std::memcpy(write_place(input.machine, place, width), field.text.data(), width);
    return RESULT::STORED;
}

void read_length(std::string_view format, size_t& next, SCAN_CONVERSION& conversion) {
    const char first = next < format.size() ? format[next] : '\0';
    if (!first || !std::strchr("hljztqL", first)) return;
    ++next;
    const bool twice = (first == 'h' || first == 'l') && next < format.size() && format[next] == first;
    if (twice) ++next;
    if (first == 'h') conversion.size = twice ? 1 : 2;
    if (first == 'j' || first == 'q' || first == 'L' || (first == 'l' && twice)) conversion.size = 8;
    conversion.is_wide_real = first == 'l' || first == 'L';
}

SCAN_CONVERSION read_conversion(std::string_view format, size_t& next) {
    SCAN_CONVERSION conversion;
    if (next < format.size() && format[next] == '*') {
        conversion.is_dropped = true;
        ++next;
    }
    for (; next < format.size() && format[next] >= '0' && format[next] <= '9'; ++next)
        conversion.width =
            std::min(conversion.width, 100000000u) * 10 + static_cast<uint32_t>(format[next] - '0');
    read_length(format, next, conversion);
    conversion.letter = next < format.size() ? format[next++] : '\0';
    return conversion;
}

RESULT convert(SCANNED& input, std::string_view format, size_t& next, UNNAMED& values) {
    const SCAN_CONVERSION conversion = read_conversion(format, next);
    MACHINE& machine = input.machine;
    const char letter = conversion.letter;
    CHARACTER_SET set;
    if (letter == '[' && !read_set(format, next, set)) trap(machine, "the format ends inside a conversion");
    if (letter == 'n') {
        if (conversion.is_dropped) return RESULT::NOT_STORED;
        store_integer(machine, static_cast<ADDRESS>(next_word(values)), conversion.size, input.count);
        return RESULT::NOT_STORED;
    }
    if (letter != 'c' && letter != '[') skip_spaces(input);
    const int first = look(input);
    if (first == EOF) return RESULT::INPUT_ENDED;
    switch (letter) {
    case '%':
        if (first != '%') return RESULT::MISMATCH;
        take(input);
        return RESULT::NOT_STORED;
    case 'd':
    case 'u': return scan_integer(input, conversion, values, 10);
    case 'i': return scan_integer(input, conversion, values, 0);
    case 'o': return scan_integer(input, conversion, values, 8);
    case 'x':
    case 'X':
    case 'p': return scan_integer(input, conversion, values, 16);
    case 'a':
    case 'A':
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G': return scan_real(input, conversion, values);
    case 'c': return scan_characters(input, conversion, values, false, [](int) { return true; });
    case 's': return scan_characters(input, conversion, values, true, [](int c) { return !is_space(c); });
    case '[': return scan_characters(input, conversion, values, true, [&](int c) { return set.holds[c]; });
    case '\0': trap(machine, "the format ends inside a conversion");
    default: unsupported(machine, "the conversion %%%c of a format", letter);
    }
}

} // namespace

int32_t scan_values(SCANNED& input, ADDRESS place, UNNAMED& values) {
    const std::string format(read_text(input.machine, place));
    int32_t stored = 0;
    bool converted = false;
    for (size_t next = 0; next < format.size();) {
        const char c = format[next++];
        if (is_space(static_cast<unsigned char>(c))) {
            skip_spaces(input);
        } else if (c == '%') {
            const RESULT result = convert(input, format, next, values);
            if (result == RESULT::MISMATCH) return stored;
            if (result == RESULT::INPUT_ENDED) return converted ? stored : EOF;
            converted |= format[next - 1] != 'n' && format[next - 1] != '%';
            stored += result == RESULT::STORED;
        } else {
            const int found = take(input);
            if (found == EOF) return converted ? stored : EOF;
            if (found != static_cast<unsigned char>(c)) {
                give_back(input, found);
                return stored;
            }
        }
    }
    return stored;
}

} // namespace pelorus
