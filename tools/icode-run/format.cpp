// printf: see format.h.
//
// Each conversion is taken apart, its values are fetched as the machine has them, and the host's snprintf
// formats the number with the same flags, width and precision: int, long and size_t have 32 bits here, and a
// long double is a double. Texts come from the machine's memory.
#include "format.h"

#include <climits>

namespace pelorus {

UNNAMED unnamed_arguments(GUEST_CALL& call, uint32_t first) { return {call, first}; }

UNNAMED unnamed_of_va_list(GUEST_CALL& call, uint32_t index) {
    const GUEST_VALUE& list = argument(call, index);
    if (list.kind != GUEST_VALUE::STRUCTURE || list.structure_size != sizeof(ADDRESS))
        trap(call.machine, "argument %u is no va_list", index + 1);
    return {call, 0, true, load<ADDRESS>(call.machine, list.address)};
}

namespace {

template <typename T>
T next_in_memory(UNNAMED& values) {
    values.place = (values.place + (sizeof(T) - 1)) & ~static_cast<ADDRESS>(sizeof(T) - 1);
    const T value = load<T>(values.call.machine, values.place);
    values.place += sizeof(T);
    return value;
}

const GUEST_VALUE& next_argument(UNNAMED& values, const char* wanted, bool floating, uint32_t size) {
    if (values.next >= values.call.count)
        trap(values.call.machine, "the format wants more arguments than there are");
    const GUEST_VALUE& value = values.call.arguments[values.next++];
    const bool is_floating = value.kind == GUEST_VALUE::FLOATING;
    const bool is_structure = value.kind == GUEST_VALUE::STRUCTURE;
    if (is_structure || is_floating != floating || (size == 8) != (value.size == 8))
        trap(values.call.machine, "the format wants %s as argument %u", wanted, values.next);
    return value;
}

} // namespace

int32_t next_word(UNNAMED& values) {
    if (values.is_in_memory) return next_in_memory<int32_t>(values);
    const GUEST_VALUE& value = next_argument(values, "a value of 4 bytes", false, 4);
    return value.kind == GUEST_VALUE::POINTER ? static_cast<int32_t>(value.address)
                                              : static_cast<int32_t>(value.integer);
}

int64_t next_wide(UNNAMED& values) {
    if (values.is_in_memory) return next_in_memory<int64_t>(values);
    return next_argument(values, "an integer of 8 bytes", false, 8).integer;
}

double next_real(UNNAMED& values) {
    if (values.is_in_memory) return next_in_memory<double>(values);
    return next_argument(values, "a floating-point number", true, 8).floating;
}

namespace {

// Longer texts are no program's intent, and would take the host's memory.
constexpr int64_t LONGEST = 16 << 20;

constexpr int NONE = -1; // of a width or precision

enum class LENGTH : uint8_t { PLAIN, CHARACTER, SHORT, WIDE };

// A conversion, as the format has it after the percent sign.
struct PRINT_CONVERSION {
    std::string flags;
    int width = NONE;
    int precision = NONE;
    LENGTH length = LENGTH::PLAIN;
    bool is_long = false; // `l`, which says something of characters only
    char letter = 0;
};

// Reading a format.
struct FORMAT {
    std::string text;
    size_t next = 0;
    std::string made;

    char here() const { return next < text.size() ? text[next] : '\0'; }
    bool take(char c) {
        if (here() != c) return false;
        ++next;
        return true;
    }
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

void need_sane(UNNAMED& values, int64_t number) {
    if (number > LONGEST)
        unsupported(values.call.machine, "a format with the width or precision %lld",
                    static_cast<long long>(number));
}

// A number of the format or an argument.
int read_number(FORMAT& format, UNNAMED& values) {
    if (format.take('*')) {
        const int number = next_word(values);
        need_sane(values, std::abs(int64_t{number}));
        return number;
    }
    int64_t number = 0;
    while (is_digit(format.here())) {
        number = number * 10 + (format.text[format.next++] - '0');
        need_sane(values, number);
    }
    return static_cast<int>(number);
}

void read_length(FORMAT& format, PRINT_CONVERSION& conversion) {
    const char first = format.here();
    if (!first || !std::strchr("hljztqL", first)) return;
    ++format.next;
    const bool twice = (first == 'h' || first == 'l') && format.take(first);
    switch (first) {
    case 'h': conversion.length = twice ? LENGTH::CHARACTER : LENGTH::SHORT; break;
    case 'l':
        conversion.length = twice ? LENGTH::WIDE : LENGTH::PLAIN;
        conversion.is_long = !twice;
        break;
    case 'j':
    case 'q':
    case 'L': conversion.length = LENGTH::WIDE; break;
    default: break; // size_t and ptrdiff_t have 32 bits
    }
}

PRINT_CONVERSION read_conversion(FORMAT& format, UNNAMED& values) {
    PRINT_CONVERSION conversion;
    while (format.here() && std::strchr("-+ #0'", format.here()))
        conversion.flags.push_back(format.text[format.next++]);
    if (format.here() == '*' || is_digit(format.here())) {
        conversion.width = read_number(format, values);
        if (format.here() == '$') unsupported(values.call.machine, "a format that numbers its arguments");
        if (conversion.width < 0) {
            conversion.flags.push_back('-');
            conversion.width = -conversion.width;
        }
    }
    if (format.take('.')) {
        conversion.precision = read_number(format, values);
        if (conversion.precision < 0) conversion.precision = NONE;
    }
    read_length(format, conversion);
    conversion.letter = format.here();
    ++format.next;
    return conversion;
}

// The conversion for the host's snprintf, with its own length.
std::string host_format(const PRINT_CONVERSION& conversion, const char* length) {
    std::string text = "%" + conversion.flags;
    if (conversion.width != NONE) text += std::to_string(conversion.width);
    if (conversion.precision != NONE) text += "." + std::to_string(conversion.precision);
    return text + length + conversion.letter;
}

template <typename VALUE>
std::string host_text(const std::string& format, VALUE value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int size = snprintf(nullptr, 0, format.c_str(), value);
    if (size < 0) return "";
    std::string text(static_cast<size_t>(size) + 1, '\0');
    snprintf(text.data(), text.size(), format.c_str(), value);
#pragma GCC diagnostic pop
    text.pop_back();
    return text;
}

// Fetches an integer and cuts it to the length that the conversion says.
int64_t integer_value(const PRINT_CONVERSION& conversion, UNNAMED& values, bool is_signed) {
    switch (conversion.length) {
    case LENGTH::WIDE: return next_wide(values);
    case LENGTH::CHARACTER: {
        const int32_t word = next_word(values);
        return is_signed ? static_cast<int8_t>(word) : static_cast<int64_t>(static_cast<uint8_t>(word));
    }
    case LENGTH::SHORT: {
        const int32_t word = next_word(values);
        return is_signed ? static_cast<int16_t>(word) : static_cast<int64_t>(static_cast<uint16_t>(word));
    }
    case LENGTH::PLAIN: break;
    }
    const int32_t word = next_word(values);
    return is_signed ? word : static_cast<int64_t>(static_cast<uint32_t>(word));
}

std::string padded(const PRINT_CONVERSION& conversion, std::string text) {
    const size_t width = conversion.width == NONE ? 0 : static_cast<size_t>(conversion.width);
    if (text.size() >= width) return text;
    const std::string padding(width - text.size(), ' ');
    return conversion.flags.find('-') != std::string::npos ? text + padding : padding + text;
}

std::string text_value(const PRINT_CONVERSION& conversion, UNNAMED& values) {
    MACHINE& machine = values.call.machine;
    const auto place = static_cast<ADDRESS>(next_word(values));
    if (conversion.is_long) unsupported(machine, "a text of wide characters");
    const uint32_t limit =
        conversion.precision == NONE ? UINT32_MAX : static_cast<uint32_t>(conversion.precision);
    return padded(conversion, std::string(limit == UINT32_MAX ? read_text(machine, place)
                                                              : read_text_within(machine, place, limit)));
}

std::string pointer_text(PRINT_CONVERSION conversion, ADDRESS address) {
    if (!address) return padded(conversion, "(nil)");
    conversion.flags.push_back('#');
    conversion.letter = 'x';
    return host_text(host_format(conversion, ""), address);
}

// %n stores how much has been made so far.
void store_count(const PRINT_CONVERSION& conversion, UNNAMED& values, size_t count) {
    MACHINE& machine = values.call.machine;
    const auto place = static_cast<ADDRESS>(next_word(values));
    switch (conversion.length) {
    case LENGTH::WIDE: return store(machine, place, static_cast<int64_t>(count));
    case LENGTH::CHARACTER: return store(machine, place, static_cast<int8_t>(count));
    case LENGTH::SHORT: return store(machine, place, static_cast<int16_t>(count));
    case LENGTH::PLAIN: return store(machine, place, static_cast<int32_t>(count));
    }
}

void convert(FORMAT& format, UNNAMED& values) {
    const PRINT_CONVERSION conversion = read_conversion(format, values);
    switch (conversion.letter) {
    case '%': format.made += '%'; break;
    case 'd':
    case 'i':
        format.made += host_text(host_format(conversion, "ll"),
                                 static_cast<long long>(integer_value(conversion, values, true)));
        break;
    case 'o':
    case 'u':
    case 'x':
    case 'X':
        format.made += host_text(host_format(conversion, "ll"),
                                 static_cast<unsigned long long>(integer_value(conversion, values, false)));
        break;
    case 'a':
    case 'A':
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G': format.made += host_text(host_format(conversion, ""), next_real(values)); break;
    case 'c':
        if (conversion.is_long) unsupported(values.call.machine, "a wide character");
        format.made += padded(conversion, std::string(1, static_cast<char>(next_word(values))));
        break;
    case 's': format.made += text_value(conversion, values); break;
    case 'p': format.made += pointer_text(conversion, static_cast<ADDRESS>(next_word(values))); break;
    case 'n': store_count(conversion, values, format.made.size()); break;
    case '\0': trap(values.call.machine, "the format ends inside a conversion");
    default: unsupported(values.call.machine, "the conversion %%%c of a format", conversion.letter);
    }
}

} // namespace

std::string format_text(ADDRESS place, UNNAMED& values) {
    FORMAT format{std::string(read_text(values.call.machine, place)), 0, {}};
    while (format.next < format.text.size()) {
        const size_t percent = std::min(format.text.find('%', format.next), format.text.size());
        format.made.append(format.text, format.next, percent - format.next);
        format.next = percent + 1;
        if (percent < format.text.size()) convert(format, values);
        if (format.made.size() > static_cast<size_t>(LONGEST))
            unsupported(values.call.machine, "a formatted text of more than %lld bytes",
                        static_cast<long long>(LONGEST));
    }
    return std::move(format.made);
}

} // namespace pelorus
